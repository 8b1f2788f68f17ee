#!/usr/bin/env python3
"""Mutation check: do the tests notice small faults in the library?

Each mutant changes one point of the product code (a flipped comparison, an off-by-one constant, a
swapped branch, a removed statement). For each one the script applies it to a scratch copy of the
tree, rebuilds only the test programs of that concern, runs them, and restores the file. A mutant
is killed when a test fails, survives when every test passes, and is not viable when it does not
build. The working tree is never touched, so tests can be edited while a run is going on.

    nice -n 10 python3 scripts/mutate.py            # every mutant, against the working tree's tests
    python3 scripts/mutate.py --list                # the table
    python3 scripts/mutate.py --only render 84      # concerns or mutant numbers
    nice -n 10 python3 scripts/mutate.py --rev main --json build/mutate/main.json   # a commit's tests

--resume with --json keeps the verdicts already in that file and runs only the rest. Test programs run
directly, stopping at the first failure; a program that runs longer than a minute counts as killing.
"""
import argparse
import hashlib
import json
import os
import shutil
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutate"
TREE = WORK / "tree"
BUILD = WORK / "build"
TEST_TIMEOUT = 60
BUILD_TIMEOUT = 900
# Built with every concern: the renderer opens the text module at run time, so no test depends on it.
ALWAYS_BUILT = ["zorvi_text"]

# The test programs that own each concern: a mutant is built and judged against these only.
# The command's tests come last: they are slower, and they catch what only a whole run shows (limits,
# codecs missing at run time, files left behind).
CONCERNS = {
    "archive": ["board_archive_test", "archive_interop_test", "archive_crash_test", "example_board_test",
                "board_file_test", "zorvi_command_test", "thumbnail_command_test"],
    "manifest": ["manifest_coding_test", "manifest_reading_test", "manifest_quick_reading_test", "document_test",
                 "update_check_test"],
    "layout": ["board_layout_test", "board_renderer_test"],
    "geometry": ["item_geometry_test", "snapping_test", "arrangement_test", "canvas_transform_test"],
    "pages": ["pages_test", "html_exporter_test"],
    "export": ["html_exporter_test", "export_command_test"],
    "render": ["board_renderer_test", "board_preview_renderer_test", "thumbnail_provider_test",
               "text_measure_test", "image_prefetch_test", "thumbnail_command_test", "native_export_test"],
}

# (concern, file, original text, replacement). The original must occur exactly once in the file.
MUTANTS = [
    # archive reading and writing
    ("archive", "src/archive/board_archive_read.cpp", "if (stat.comp_size > unclaimed) throw", "if (stat.comp_size >= unclaimed + 1000) throw"),
    ("archive", "src/archive/board_archive_read.cpp", "if (stat.size > holdable) throw", "if (stat.size > holdable + 1) throw"),
    ("archive", "src/archive/board_archive_read.cpp", "const bool stored = stat.comp_method == ZIP_CM_STORE;", "const bool stored = stat.comp_method != ZIP_CM_STORE;"),
    ("archive", "src/archive/board_archive_read.cpp", "if (stat.encryption_method != ZIP_EM_NONE) throw corrupt(describe(ZIP_ER_ENCRNOTSUPP));", ""),
    ("archive", "src/archive/board_archive_read.cpp", "want);\n    if (got < 0) failReading(file.get());\n    if (got == 0) throw corrupt(\"entry holds fewer bytes than its declared size\");", "want);\n    if (got < 0) failReading(file.get());\n    if (got == 0) break;"),
    ("archive", "src/archive/board_archive_read.cpp", "if (extra > 0) throw corrupt(\"entry holds more bytes than its declared size\");", ""),
    ("archive", "src/archive/board_archive_read.cpp", "if (mode == S_IFLNK) return EntryKind::symlink;", ""),
    ("archive", "src/archive/board_archive_read.cpp", "if (manifest.schemaVersion > Manifest::currentSchemaVersion) {", "if (manifest.schemaVersion >= Manifest::currentSchemaVersion) {"),
    ("archive", "src/archive/board_archive_read.cpp", "if (index < 0) throw BoardArchiveError::manifestMissing();", "if (index < -1) throw BoardArchiveError::manifestMissing();"),
    ("archive", "src/archive/board_archive_read.cpp", "(entries[i].image ? bundle.images : bundle.thumbnails)", "(entries[i].image ? bundle.images : bundle.images)"),
    ("archive", "src/archive/board_archive_read.cpp", "if (failure) std::rethrow_exception(failure);", "if (failure) continue;"),
    ("archive", "src/archive/board_archive_read.cpp", "if (i > firstFailure.load()) continue;", ""),
    ("archive", "src/archive/board_archive_read.cpp", "if (info.st_size == 0) throw corrupt(describe(ZIP_ER_NOZIP));", ""),
    ("archive", "src/archive/board_archive_write.cpp", "addEntry(archive.get(), key, bytes.data(), bytes.size(), ZIP_CM_STORE);", "addEntry(archive.get(), key, bytes.data(), bytes.size(), ZIP_CM_DEFLATE);"),
    ("archive", "src/archive/board_archive_write.cpp", "if (::stat(path.c_str(), &existing) == 0 && S_ISREG(existing.st_mode)) ::fchmod(fd, existing.st_mode & 07777);", ""),
    ("archive", "src/archive/board_archive_write.cpp", "  } catch (...) {\n    ::unlink(temporary.c_str());\n    throw;", "  } catch (...) {\n    throw;"),
    ("archive", "src/archive/board_archive_write.cpp", "if (bytes.size() < start + length) bytes.resize(start + length);", "if (bytes.size() < start + length) bytes.resize(start + length - 1);"),
    # manifest coding
    ("manifest", "src/manifest/manifest_decoding.cpp", "r.orDefault(\"fontSize\", asNumber, 44.0)", "r.orDefault(\"fontSize\", asNumber, 45.0)"),
    ("manifest", "src/manifest/manifest_decoding.cpp", "item.locked = r.orDefault(\"locked\", asBoolean, false);", "item.locked = r.orDefault(\"locked\", asBoolean, true);"),
    ("manifest", "src/manifest/checked_json.hpp", "if (++depth_ <= maxDepth_) return true;", "if (++depth_ <= maxDepth_ + 1) return true;"),
    ("manifest", "src/manifest/utf8.cpp", "if (end - p > 1 && static_cast<unsigned char>(p[1]) >= 0xA0) return true;", "if (end - p > 1 && static_cast<unsigned char>(p[1]) > 0xA0) return true;"),
    ("manifest", "src/manifest/checked_json.hpp", "if (mantissa[0] != '0') return static_cast<std::int64_t>(dot) + exponent > 0;", "if (mantissa[0] != '0') return static_cast<std::int64_t>(dot) + exponent >= 0;"),
    ("manifest", "src/manifest/manifest_decoding.cpp", "if (asStringView(*orientation, r.pathOf(\"orientation\")) == \"landscape\") {", "if (asStringView(*orientation, r.pathOf(\"orientation\")) != \"landscape\") {"),
    ("manifest", "src/manifest/manifest_decoding.cpp", "if (!value.IsInt64()) {", "if (!value.IsNumber()) {"),
    ("manifest", "src/manifest/date_coding.cpp", "if (year < 0 || month < 1 || month > 12 || day < 1", "if (year < 0 || month < 1 || month > 13 || day < 1"),
    ("manifest", "src/manifest/date_coding.cpp", "return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);", "return year % 4 == 0 && (year % 100 != 0 || year % 400 != 0);"),
    ("manifest", "src/manifest/date_coding.cpp", "hour < 0 || hour > 23 ||", "hour < 0 || hour > 24 ||"),
    ("manifest", "src/manifest/date_coding.cpp", "if (text[19] != 'Z') return std::nullopt;", ""),
    ("manifest", "src/manifest/utf8.cpp", "if (lead == 0xED) secondHigh = 0x9F;", "if (lead == 0xED) secondHigh = 0xA0;"),
    ("manifest", "src/manifest/utf8.cpp", "if (lead == 0xF4) secondHigh = 0x8F;", ""),
    ("manifest", "src/manifest/utf8.cpp", "if (lead >= 0xC2 && lead <= 0xDF) {", "if (lead >= 0xC0 && lead <= 0xDF) {"),
    ("manifest", "src/manifest/manifest_encoding.cpp", "if (item.captionAlignment) w.string(\"captionAlignment\", rawValue(*item.captionAlignment));", ""),
    ("manifest", "src/manifest/manifest_encoding.cpp", "w.integer(\"height\", item.naturalSize->height);", "w.integer(\"height\", item.naturalSize->width);"),
    ("manifest", "src/manifest/manifest_encoding.cpp", "if (!std::isfinite(value)) {", "if (std::isnan(value)) {"),
    # layout
    ("layout", "src/layout/board_layout.cpp", "const auto byZIndex = [](const Entry& a, const Entry& b) { return a.zIndex < b.zIndex; };", "const auto byZIndex = [](const Entry& a, const Entry& b) { return a.zIndex > b.zIndex; };"),
    ("layout", "src/layout/board_layout.cpp", "std::stable_sort(entries.begin(), entries.end(), byZIndex);", "std::sort(entries.rbegin(), entries.rend(), [](const Entry& a, const Entry& b) { return b.zIndex < a.zIndex; });"),
    ("layout", "src/layout/board_layout.cpp", "if (entry == captionHeights.end() || !(entry->second > 0)) return std::nullopt;", "if (entry == captionHeights.end()) return std::nullopt;"),
    ("layout", "src/layout/board_layout.cpp", "frame.y + frame.height + CaptionStyle::gap, item.frame.width", "frame.y + frame.height, item.frame.width"),
    ("layout", "src/layout/board_layout.cpp", "item.drawing->strokeWidth * 0.5 : 0;", "item.drawing->strokeWidth * 1.0 : 0;"),
    ("layout", "src/layout/board_layout.cpp", "if (content.y < minY) minY = content.y;", ""),
    ("layout", "src/layout/board_layout.cpp", "if (maxX < right) maxX = right;", "if (maxX > right) maxX = right;"),
    ("layout", "src/layout/board_layout.cpp", "return a.x < b.x + b.width && b.x < a.x + a.width", "return a.x <= b.x + b.width && b.x < a.x + a.width"),
    ("layout", "src/layout/board_layout.cpp", "items.push_back(place(*item, bounds.x, bounds.y, captionHeights));", "items.push_back(place(*item, bounds.x, 0, captionHeights));"),
    # geometry
    ("geometry", "src/geometry/item_geometry.cpp", "if (t <= minScale) t = minScale;", "if (t < 0) t = minScale;"),
    ("geometry", "src/geometry/item_geometry.cpp", "const double signX = anchor.x > start.x ? -1.0 : 1.0;", "const double signX = anchor.x < start.x ? -1.0 : 1.0;"),
    ("geometry", "src/geometry/item_geometry.cpp", "if (hi - lo < minFrameDimension) {", "if (hi - lo < minFrameDimension * 0.5) {"),
    ("geometry", "src/geometry/item_geometry.cpp", "      else if (t >= 1)\n        t = 1;", ""),
    ("geometry", "src/geometry/item_geometry.cpp", "if (points.size() < 3 || !(minDistance > 0))", "if (points.size() < 2 || !(minDistance > 0))"),
    ("geometry", "src/geometry/item_geometry.cpp", "      return {{minX, maxY}, {maxX, minY}};", "      return {{maxX, minY}, {minX, maxY}};"),
    ("geometry", "src/geometry/canvas_transform.cpp", "if (z > maxZoom) z = maxZoom;", ""),
    ("geometry", "src/geometry/canvas_transform.cpp", "return {(screen.x - offset.x) / zoom, (screen.y - offset.y) / zoom};", "return {(screen.x - offset.x) / zoom, (screen.y + offset.y) / zoom};"),
    ("geometry", "src/geometry/canvas_transform.cpp", "const auto atLeastOne = [](double v) { return v <= 1 ? 1.0 : v; };", "const auto atLeastOne = [](double v) { return v <= 0 ? 1.0 : v; };"),
    ("geometry", "src/geometry/canvas_transform.cpp", "availW = atLeastOne(view.width - 2 * padding)", "availW = atLeastOne(view.width - padding)"),
    ("geometry", "src/geometry/arrangement.cpp", "if (frames.size() < 2) return changed;", "if (frames.size() < 3) return changed;"),
    ("geometry", "src/geometry/arrangement.cpp", "        f.x = maxX - f.width;", "        f.x = maxX;"),
    ("geometry", "src/geometry/arrangement.cpp", "static_cast<double>(n - 1);", "static_cast<double>(n);"),
    ("geometry", "src/geometry/arrangement.cpp", "if (gap >= 0) {", "if (gap > 0) {"),
    ("geometry", "src/geometry/snapping.cpp", "if (f.x + f.width >= maxX) maxX = f.x + f.width;", "if (f.x + f.width <= maxX) maxX = f.x + f.width;"),
    ("geometry", "src/geometry/snapping.cpp", "if (matchY) result.frame.y = moving.y + matchY->delta;", "if (matchY) result.frame.y = moving.y - matchY->delta;"),
    ("geometry", "src/geometry/snapping.cpp", "bool gridTakesPart(std::optional<double> grid) { return grid && *grid > 0; }", "bool gridTakesPart(std::optional<double> grid) { return grid && *grid >= 0; }"),
    ("geometry", "src/geometry/snapping.cpp", "if (nearestLine[i] && (!winner || nearestDistance[i] < nearestDistance[*winner])) winner = i;", "if (nearestLine[i] && (!winner || nearestDistance[i] <= nearestDistance[*winner])) winner = i;"),
    # page planning
    ("pages", "src/pages/page_grid.cpp", "const auto c1 = pageIndex(std::ceil((rect.x + rect.width) / pageSize.width) - 1);", "const auto c1 = pageIndex(std::floor((rect.x + rect.width) / pageSize.width));"),
    ("pages", "src/pages/page_grid.cpp", "if (columns >= cap || rows >= cap || (columns + 1) * (rows + 1) > cap) return std::nullopt;", "if (columns >= cap || rows >= cap || (columns + 1) * (rows + 1) > cap + 1) return std::nullopt;"),
    ("pages", "src/pages/page_grid.cpp", "if (!(rect.width > 0) || !(rect.height > 0)) return std::nullopt;", "if (!(rect.width >= 0) || !(rect.height > 0)) return std::nullopt;"),
    ("pages", "src/pages/page_grid.cpp", "for (std::int64_t c = cells->c0; c <= cells->c1; ++c) {", "for (std::int64_t c = cells->c0; c < cells->c1; ++c) {"),
    ("pages", "src/pages/page_export_plan.cpp", "cells.erase(std::unique(cells.begin(), cells.end()), cells.end());", ""),
    ("pages", "src/pages/page_export_plan.cpp", "std::sort(cells.begin(), cells.end());", "std::sort(cells.rbegin(), cells.rend());"),
    ("pages", "src/pages/page_export_plan.cpp", "if (ratio > scale) scale = ratio;", "if (ratio < scale) scale = ratio;"),
    ("pages", "src/pages/page_export_plan.cpp", "return std::min(maxEdge / edge, 1.0);", "return maxEdge / edge;"),
    ("pages", "src/pages/page_chrome.cpp", "atLeastZero(pageHeightPt - 2 * m - f)", "atLeastZero(pageHeightPt - 2 * m)"),
    ("pages", "src/pages/page_chrome.cpp", "if (!value.empty()) out.push_back({*label, std::string(value)});", "out.push_back({*label, std::string(value)});"),
    # HTML writing
    ("export", "src/export/html_elements.cpp", "if (!placed.item.drawing || placed.item.drawing->points.size() < 2) return false;", "if (!placed.item.drawing || placed.item.drawing->points.size() < 1) return false;"),
    ("export", "src/export/html_elements.cpp", "if (!(f.width - 2 * inset > 0)) return false;", "if (!(f.width - inset > 0)) return false;"),
    ("export", "src/export/html_elements.cpp", "    case CaptionAlignment::trailing:\n      return \"right\";", "    case CaptionAlignment::trailing:\n      return \"left\";"),
    ("export", "src/export/html_elements.cpp", "out += validColorView(text.color).value_or(\"#111111\");", "out += text.color;"),
    ("export", "src/export/html_elements.cpp", "appendSectionTitleElement(writer.out, placed, background);\n    appendCaptionElement", "appendCaptionElement"),
    ("export", "src/export/html_elements.cpp", "if (drawing.style == DrawingContent::LineStyle::dashed) {", "if (drawing.style != DrawingContent::LineStyle::dashed) {"),
    ("export", "src/export/html_text.cpp", "case '\\'': return \"&#39;\";", ""),
    ("export", "src/export/html_text.cpp", "if (!allHex || (digits != 3 && digits != 6)) return std::nullopt;", "if (!allHex || (digits != 3 && digits != 6 && digits != 8)) return std::nullopt;"),
    ("export", "src/export/html_text.cpp", "while (end[-1] == '0') --end;", ""),
    ("export", "src/export/html_text.cpp", "if (r >= -0x1p63 && r < 0x1p63) {", "if (r > -0x1p63 && r < 0x1p62) {"),
    ("export", "src/export/html_page.cpp", "*luminance >= 0.5 ? \"#000000\" : \"#FFFFFF\"", "*luminance > 0.6 ? \"#000000\" : \"#FFFFFF\""),
    # renderer
    ("render", "src/render/board_renderer.cpp", "return {frame.x, layoutHeight - frame.y - frame.height, frame.width, frame.height};", "return {frame.x, layoutHeight - frame.y, frame.width, frame.height};"),
    ("render", "src/render/board_renderer.cpp", "if (inset.width >= 0 && inset.height >= 0) context.strokeRect(inset, *stroke, w);", "if (inset.width > 0 && inset.height >= 0) context.strokeRect(inset, *stroke, w);"),
    ("render", "src/render/board_renderer.cpp", "const Rect inset{rect.x + w / 2, rect.y + w / 2, rect.width - w, rect.height - w};", "const Rect inset{rect.x, rect.y, rect.width, rect.height};"),
    ("render", "src/render/board_renderer.cpp", "if (drawing.points.size() < 2) return;", "if (drawing.points.size() < 1) return;"),
    ("render", "src/render/board_renderer.cpp", "points.push_back({rect.x + p.x * rect.width, rect.maxY() - p.y * rect.height});", "points.push_back({rect.x + p.x * rect.width, rect.y + p.y * rect.height});"),
    ("render", "src/render/board_renderer.cpp", "if (measurer.lineWidth(title, font) > available) truncate = available;", ""),
    ("render", "src/render/board_renderer.cpp", "if (negative && value != 0) return std::nullopt;", ""),
    ("render", "src/render/board_renderer.cpp", "const double boxHeight = std::max(rect.height, needed);", "const double boxHeight = rect.height;"),
    ("render", "src/render/image_prefetch.cpp", "if (!(pixels >= 1)) return 1;", "if (!(pixels >= 1)) return 0;"),
    ("render", "src/render/board_renderer.cpp", "      return skip(SkippedImage::Reason::codecMissing, std::move(*library));", "      return skip(SkippedImage::Reason::undecodable, std::move(*library));"),
    ("render", "src/render/board_renderer.cpp", "std::max(layout.width, 1.0), std::max(layout.height, 1.0)", "layout.width, layout.height"),
    ("render", "src/render/board_preview_renderer.cpp", "const double longer = width <= height ? height : width;", "const double longer = width <= height ? width : height;"),
    ("render", "src/render/board_preview_renderer.cpp", "return std::max<std::int64_t>(static_cast<std::int64_t>(rounded), 1);", "return std::max<std::int64_t>(static_cast<std::int64_t>(rounded), 0);"),
    ("render", "src/render/cairo/cairo_shapes.hpp", "if (stroke.dash) cairo_set_dash(cr, stroke.dash->data(), 2, 0);", ""),
]


def run(cmd, **kwargs):
    return subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace",
                          **kwargs)


# Where the scratch copy comes from: the working tree, or a commit unpacked by --rev.
SOURCE = ROOT


def tracked_files():
    if SOURCE != ROOT:
        return [str(p.relative_to(SOURCE)) for p in SOURCE.rglob("*") if p.is_file()]
    out = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                         cwd=ROOT, check=True, stdout=subprocess.PIPE).stdout
    return [p for p in out.decode().split("\0") if p and (ROOT / p).is_file()]


def unpack(rev):
    """The tree of a commit, so that a run can judge tests as they were while the work tree moves on."""
    target = WORK / "rev"
    shutil.rmtree(target, ignore_errors=True)
    target.mkdir(parents=True)
    archive = subprocess.run(["git", "archive", rev], cwd=ROOT, check=True, stdout=subprocess.PIPE).stdout
    subprocess.run(["tar", "-x", "-C", str(target)], input=archive, check=True)
    return target


def sync_tree():
    """Mirrors the source into the scratch copy, writing only changed files so that builds stay
    incremental."""
    wanted = set(tracked_files())
    for rel in wanted:
        src, dst = SOURCE / rel, TREE / rel
        data = src.read_bytes()
        if dst.is_file() and dst.read_bytes() == data:
            continue
        dst.parent.mkdir(parents=True, exist_ok=True)
        dst.write_bytes(data)
        shutil.copymode(src, dst)
    if TREE.is_dir():
        for path in TREE.rglob("*"):
            if path.is_file() and str(path.relative_to(TREE)) not in wanted:
                path.unlink()


def tree_digest(files):
    h = hashlib.sha256()
    for rel in sorted(files):
        h.update(rel.encode())
        h.update((TREE / rel).read_bytes())
    return h.hexdigest()


def configure():
    if not (BUILD / "build.ninja").is_file():
        r = run(["cmake", "-S", str(TREE), "-B", str(BUILD), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug"])
        if r.returncode != 0:
            sys.exit("mutate: configure failed\n" + r.stdout[-4000:])


def build(targets):
    try:
        r = run(["cmake", "--build", str(BUILD), "-j", "2", "--target", *targets, *ALWAYS_BUILT],
                timeout=BUILD_TIMEOUT)
    except subprocess.TimeoutExpired:
        return False, "build timed out"
    return r.returncode == 0, r.stdout


def test_binary(target):
    found = [p for p in BUILD.rglob(target) if p.is_file() and os.access(p, os.X_OK)]
    if len(found) != 1:
        sys.exit(f"mutate: cannot find the test program {target}: {found}")
    return found[0]


def run_tests(targets):
    """Returns None when every program passes, else the name of the first one that failed."""
    for target in targets:
        try:
            r = run([str(test_binary(target)), "--gtest_brief=1", "--gtest_fail_fast"],
                    timeout=TEST_TIMEOUT, cwd=BUILD)
        except subprocess.TimeoutExpired:
            return target + " (timeout)"
        if r.returncode != 0:
            return target
    return None


def check_table(mutants):
    for i, (concern, rel, before, after) in enumerate(mutants, 1):
        if concern not in CONCERNS:
            sys.exit(f"mutate: mutant {i}: unknown concern {concern}")
        text = (ROOT / rel).read_text()
        count = text.count(before)
        if count != 1:
            sys.exit(f"mutate: mutant {i} in {rel}: original text found {count} times, not once:\n{before}")
        if before == after:
            sys.exit(f"mutate: mutant {i} changes nothing")


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--list", action="store_true", help="print the table and stop")
    ap.add_argument("--only", nargs="*", default=[], help="concerns or mutant numbers to run")
    ap.add_argument("--json", help="write the results to this file, after each mutant")
    ap.add_argument("--rev", help="judge the tests of this commit instead of the working tree")
    ap.add_argument("--resume", action="store_true", help="keep the results already in --json, run the rest")
    args = ap.parse_args()

    check_table(MUTANTS)
    numbered = list(enumerate(MUTANTS, 1))
    if args.list:
        for i, (concern, rel, before, after) in numbered:
            print(f"{i:3} {concern:9} {rel}: {before!r} -> {after!r}")
        print(f"{len(MUTANTS)} mutants")
        return 0
    if args.only:
        numbered = [(i, m) for i, m in numbered if m[0] in args.only or str(i) in args.only]

    WORK.mkdir(parents=True, exist_ok=True)
    global SOURCE
    if args.rev:
        SOURCE = unpack(args.rev)
    sync_tree()
    files = tracked_files()
    digest = tree_digest(files)
    configure()
    concerns = sorted({m[0] for _, m in numbered})
    all_targets = sorted({t for c in concerns for t in CONCERNS[c]})

    print(f"mutate: building {len(all_targets)} test programs", flush=True)
    ok, log = build(all_targets)
    if not ok:
        sys.exit("mutate: the unchanged tree does not build\n" + log[-4000:])
    failed = run_tests(all_targets)
    if failed:
        sys.exit(f"mutate: {failed} fails on the unchanged tree; fix it before judging mutants")

    results = []
    if args.resume and args.json and Path(args.json).is_file():
        results = [r for r in json.loads(Path(args.json).read_text()) if r["id"] in {i for i, _ in numbered}]
        done = {r["id"] for r in results}
        numbered = [(i, m) for i, m in numbered if i not in done]
    started = time.time()
    try:
        for i, (concern, rel, before, after) in numbered:
            path = TREE / rel
            original = path.read_text()
            if original.count(before) != 1:
                sys.exit(f"mutate: mutant {i} does not apply to {rel} in the scratch tree")
            t0 = time.time()
            try:
                path.write_text(original.replace(before, after, 1))
                targets = CONCERNS[concern]
                ok, log = build(targets)
                if not ok:
                    verdict, by = "not viable", ""
                else:
                    by = run_tests(targets)
                    verdict = "killed" if by else "survived"
            finally:
                path.write_text(original)
            results.append({"id": i, "concern": concern, "file": rel, "from": before, "to": after,
                            "verdict": verdict, "by": by or ""})
            print(f"{i:3} {verdict:10} {concern:9} {rel} {by or ''} ({time.time() - t0:.0f} s)",
                  flush=True)
            if args.json:
                Path(args.json).write_text(json.dumps(results, indent=1))
    finally:
        if tree_digest(files) != digest:
            sys.exit("mutate: the scratch tree differs from the working tree after the run")

    results.sort(key=lambda r: r["id"])
    killed = sum(r["verdict"] == "killed" for r in results)
    survived = [r for r in results if r["verdict"] == "survived"]
    not_viable = [r for r in results if r["verdict"] == "not viable"]
    viable = killed + len(survived)
    print()
    print(f"mutants: {len(results)}, killed: {killed}, survived: {len(survived)}, "
          f"not viable: {len(not_viable)} ({time.time() - started:.0f} s)")
    if viable:
        print(f"kill rate: {killed}/{viable} = {100.0 * killed / viable:.1f}%")
    for r in survived:
        print(f"  survived {r['id']:3} {r['file']}: {r['from']!r} -> {r['to']!r}")
    for r in not_viable:
        print(f"  not viable {r['id']:3} {r['file']}: {r['from']!r} -> {r['to']!r}")
    status = subprocess.run(["git", "status", "--porcelain", "--", "src", "include", "tools"],
                            cwd=ROOT, stdout=subprocess.PIPE, text=True).stdout
    if status.strip():
        sys.exit("mutate: product code in the working tree has uncommitted changes:\n" + status)
    return 0


if __name__ == "__main__":
    sys.exit(main())
