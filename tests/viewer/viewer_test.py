#!/usr/bin/env python3
"""The board viewer as a person meets it: installed into a scratch prefix and XDG data folder, found as
the board type's default application, opened by xdg-open, driven by real key presses, and its picture
compared with the renderer's own picture of the same view.

xvfb-run viewer_test.py --viewer BIN --reference BIN --board BOARD --build-dir DIR --work DIR"""
import argparse, os, shutil, subprocess, sys, tempfile, time
from collections import Counter

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from desktop_checks import Failure, changed_pixels, check, expect_renderers_picture, install, load_png, run  # noqa: E402


def snapshot(viewer, board, out, env):
    done = run([viewer, "--snapshot", out, board], env, timeout=120)
    check(done.returncode == 0, f"zorvi-view --snapshot exited {done.returncode}: {done.stderr.strip()}")
    return done


def part_matches_renderer(args, env, work):
    """The first picture, once sharp, is the renderer's picture of the same view, text included."""
    out = os.path.join(work, "window.png")
    done = snapshot(args.viewer, args.board, out, env)
    fields = done.stdout.split()
    check(len(fields) == 4 and fields[0] == "transform", f"no transform line on stdout: {done.stdout!r}")
    zoom, ox, oy = fields[1:]
    picture = load_png(out)
    width, height = picture[0], picture[1]

    def reference(name, *extra):
        path = os.path.join(work, name)
        made = run([args.reference, args.board, zoom, ox, oy, str(width), str(height), path, *extra], env, 120)
        check(made.returncode == 0, f"reference_picture failed: {made.stderr.strip()}")
        return load_png(path)

    different, text = expect_renderers_picture("the view", picture, reference("reference.png"),
                                               reference("reference-textless.png", "--without-text"), 50)
    print(f"window: {width}x{height} at zoom {float(zoom):.3f}; {different} pixels differ, text covers {text}")


def part_unreadable_board(args, env, work):
    """A board that cannot be read gives the command's one-line error, in the window and on stderr."""
    broken = os.path.join(work, "broken.zorvi")
    with open(broken, "wb") as f:
        f.write(b"PK\x03\x04 this is not a board")
    out = os.path.join(work, "broken.png")
    done = snapshot(args.viewer, broken, out, env)
    lines = done.stderr.strip().splitlines()
    check(any(line.startswith("zorvi-view: archiveCorrupt") for line in lines),
          f"no archiveCorrupt line on stderr: {done.stderr!r}")
    w, h, stride, channels, data = load_png(out)
    # The message label stands in the middle of a plain grey area.
    middle = {bytes(data[y * stride + x * channels:y * stride + x * channels + 3])
              for y in range(h // 2 - 20, h // 2 + 20) for x in range(w // 4, 3 * w // 4)}
    check(len(middle) > 2, "the window does not show the error")


def part_default_application(args, env, work):
    """Installed, the viewer is what the board type opens with, and xdg-open opens a board in it;
    its keys then move the picture as they say."""
    prefix = os.path.join(work, "prefix")
    install(args.build_dir, prefix)
    env = dict(env, XDG_DATA_HOME=os.path.join(work, "data-home"), XDG_DATA_DIRS=os.path.join(prefix, "share"),
               XDG_CONFIG_HOME=os.path.join(work, "config"), PATH=os.path.join(prefix, "bin") + ":" + env["PATH"], XDG_CURRENT_DESKTOP="GNOME")
    os.makedirs(env["XDG_DATA_HOME"], exist_ok=True)
    board = os.path.join(work, "moodboard.zorvi")
    shutil.copy(args.board, board)
    # As GNOME Files and xdg-open under GNOME see the file: through GLib's reading of the MIME database.
    kind = run(["gio", "info", "-a", "standard::content-type", board], env).stdout.split()[-1]
    check(kind == "application/x-zorvi-board", f"the board is seen as {kind!r}")
    default = run(["xdg-mime", "query", "default", kind], env).stdout.strip()
    check(default == "zorvi-view.desktop", f"the board type opens with {default!r}")

    opened = subprocess.Popen(["xdg-open", board], env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        found = run(["xdotool", "search", "--sync", "--onlyvisible", "--name", "Harbour Light"], env, timeout=60)
        check(found.returncode == 0 and found.stdout.strip(), "xdg-open showed no viewer window")
        window = found.stdout.split()[0]
        run(["xdotool", "windowfocus", "--sync", window], env)

        def press(key):
            """The window's picture after the key (none: as it is), once the sharp pictures have arrived."""
            if key:
                run(["xdotool", "key", "--window", window, key], env)
            time.sleep(1.5)
            path = os.path.join(work, f"after-{len(os.listdir(work))}.png")
            done = run(["import", "-window", window, path], env)
            check(done.returncode == 0, f"import failed: {done.stderr.strip()}")
            return load_png(path)

        start, fitted = press(None), press("0")
        check(len(changed_pixels(start, fitted)) > 10000, "0 (fit) did not change the view")
        check(len(changed_pixels(fitted, press("1"))) > 10000, "1 (actual size) did not change the view")
        refitted = press("0")
        check(len(changed_pixels(fitted, refitted)) == 0, "0 after 1 did not give the fitted view back")
        changed = changed_pixels(refitted, press("p"))
        check(len(changed) > 200, f"p (page grid) changed only {len(changed)} pixels")
        # The grid adds lines: the changed pixels fill whole rows or columns of the board area.
        longest = max(max(Counter(x for x, _ in changed).values()), max(Counter(y for _, y in changed).values()))
        check(longest > 200, f"p drew no sheet edge (longest changed line {longest} pixels)")
        check(len(changed_pixels(refitted, press("p"))) == 0, "pressing p again did not take the grid away")
    finally:
        subprocess.run(["pkill", "-f", os.path.join(prefix, "bin", "zorvi-view")])
        opened.wait(timeout=30)


def main():
    parser = argparse.ArgumentParser()
    for name in ("viewer", "reference", "board", "build-dir", "work"):
        parser.add_argument(f"--{name}", required=True)
    args = parser.parse_args()
    work = args.work
    shutil.rmtree(work, ignore_errors=True)
    os.makedirs(work)
    with tempfile.TemporaryDirectory() as runtime:
        os.chmod(runtime, 0o700)
        env = dict(os.environ, XDG_RUNTIME_DIR=runtime, GDK_BACKEND="x11", GSK_RENDERER="cairo", NO_AT_BRIDGE="1")
        env.pop("WAYLAND_DISPLAY", None)
        try:
            for part in (part_matches_renderer, part_unreadable_board, part_default_application):
                part(args, env, work)
        except Failure as failure:
            sys.exit(f"FAIL: {failure}")
    print("viewer: all checks passed")


if __name__ == "__main__":
    main()
