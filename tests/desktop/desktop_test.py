#!/usr/bin/python3
"""Installs the project into a throw-away prefix and checks it the way a desktop uses it.

    desktop_test.py BUILD_DIR SOURCE_DIR PART [--sanitized] --reference PROGRAM [--kio-preview PROGRAM]

Parts: mime (shared-mime-info and gio know boards by name and content), exec (the .thumbnailer's Exec
line run as a file manager runs it), hostile (a deflate bomb through Exec), factory (GNOME's sandboxed
thumbnail factory), tumbler (Thunar's service on a private D-Bus), kio (Dolphin's preview job).
Every thumbnail is compared with the renderer's own picture (reference_picture), text included.
Exit 0 when everything held, 1 on the first failure, 77 (ctest's SKIP) when a part cannot run here.
"""

import argparse, configparser, hashlib, json, os, resource, shutil, subprocess, sys, tempfile, time, zipfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support"))
from desktop_checks import Failure, check, expect_renderers_picture, install, load_png, picture, run  # noqa: E402

BOARD_TYPE = "application/x-zorvi-board"
SIZE_CLASSES = {"NORMAL": 128, "LARGE": 256, "XLARGE": 512, "XXLARGE": 1024}
HELPERS = {}


class Skip(Exception):
    pass


class Prefix:
    """The project installed under /usr/local (the only place GNOME's sandbox shows besides /usr), with a
    copy of the example board in its work folder; removed again on exit."""

    def __init__(self, build_dir, source_dir, sanitized, need_sandbox_visible=False, board="Harbour Light.zorvi"):
        parent = "/usr/local"
        if not os.access(parent, os.W_OK):
            if need_sandbox_visible:
                raise Skip(f"{parent} is not writable, and GNOME's sandbox shows nothing outside /usr")
            parent = None
        self.path = tempfile.mkdtemp(prefix="zorvi-test-", dir=parent)
        self.work = tempfile.mkdtemp(prefix="zorvi-desktop-")
        try:
            self.share = install(build_dir, self.path)
            env = dict(os.environ)
            env["XDG_DATA_DIRS"] = f"{self.share}:{env.get('XDG_DATA_DIRS') or '/usr/local/share:/usr/share'}"
            env["PATH"] = f"{os.path.join(self.path, 'bin')}:{env.get('PATH', '/usr/bin:/bin')}"
            # Nothing of the user's own configuration or caches may decide the outcome.
            for name in ("HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"):
                env[name] = os.path.join(self.work, name.lower())
                os.makedirs(env[name], exist_ok=True)
            env["XDG_CURRENT_DESKTOP"] = "GNOME"
            env.pop("FONTCONFIG_FILE", None)
            if sanitized:  # fontconfig keeps its configuration until exit on purpose; only that is no leak of ours
                env["LSAN_OPTIONS"] = "print_suppressions=0:suppressions=" + os.path.join(source_dir, "tests", "lsan.supp")
            self.env = env
            self.board = os.path.join(self.work, board)
            shutil.copyfile(os.path.join(source_dir, "examples", "example.zorvi"), self.board)
        except BaseException:
            self.__exit__()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.path, ignore_errors=True)
        shutil.rmtree(self.work, ignore_errors=True)

    def thumbnailer(self):
        """The installed .thumbnailer file's keys."""
        path = os.path.join(self.share, "thumbnailers", "zorvi.thumbnailer")
        check(os.path.isfile(path), f"{path} was not installed")
        entry = configparser.ConfigParser(interpolation=None)
        entry.optionxform = str
        entry.read(path, encoding="utf-8")
        return dict(entry["Thumbnailer Entry"]) if entry.has_section("Thumbnailer Entry") else {}

    def reference(self, size, without_text=False):
        """The renderer's own picture of the board, made once per size."""
        out = os.path.join(self.work, f"reference-{size}{'-textless' if without_text else ''}.png")
        if not os.path.exists(out):
            env = dict(os.environ)
            if env.get("LSAN_OPTIONS"):  # a sanitizer build: the suppressions it used are no complaint
                env["LSAN_OPTIONS"] += ":print_suppressions=0"
            argv = [HELPERS["reference"], self.board, str(size), out] + (["--without-text"] if without_text else [])
            done = run(argv, env, timeout=120)
            check(done.returncode == 0 and done.stderr == "",
                  f"reference_picture failed ({done.returncode}): {done.stderr.strip()}")
        return load_png(out)

    def expect_thumbnail(self, label, shown, size):
        """The thumbnail shows what the renderer draws, text included, within a small tolerance."""
        expect_renderers_picture(label, shown, self.reference(size), self.reference(size, without_text=True), 8)


def exec_line(entry, board, output, size):
    """The argv a file manager builds from Exec: %i input path, %o output path, %s size, %% a percent."""
    return [word.replace("%%", "\0").replace("%i", board).replace("%o", output).replace("%s", str(size))
            .replace("\0", "%") for word in entry["Exec"].split()]


def deflate_bomb(folder):
    """A board whose only image entry inflates to 3 GiB of zeros from about 3 MB."""
    path, stamp = os.path.join(folder, "hostile.zorvi"), "2025-03-14T09:26:53Z"
    board = {"id": "6F1C2A3B-4D5E-4F60-8172-93A4B5C6D7E8", "name": "hostile", "createdAt": stamp, "modifiedAt": stamp,
             "canvas": {"backgroundColor": "#FFFFFF", "lastViewport": {"offsetX": 0, "offsetY": 0, "zoom": 1}}}
    item = {"id": "6F1C2A3B-4D5E-4F60-8172-000000000001", "image": "images/bomb.png", "thumbnail": "thumbnails/bomb.png",
            "frame": {"x": 0, "y": 0, "width": 400, "height": 300}}
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        archive.writestr("manifest.json", json.dumps({"schemaVersion": 8, "board": board, "items": [item]}))
        with archive.open("images/bomb.png", "w", force_zip64=True) as entry:
            for _ in range(192):
                entry.write(bytes(1 << 24))
    return path


def part_mime(prefix):
    renamed = os.path.join(prefix.work, "board-without-extension")
    shutil.copyfile(prefix.board, renamed)
    plain_zip, manifest_later = os.path.join(prefix.work, "plain.zip"), os.path.join(prefix.work, "manifest-later")
    with zipfile.ZipFile(plain_zip, "w") as archive:
        archive.writestr("notes.txt", "not a board")
    # A ZIP whose first entry is not manifest.json: content alone must not claim it.
    with zipfile.ZipFile(manifest_later, "w") as archive:
        archive.writestr("images/a.png", b"")
        archive.writestr("manifest.json", "{}")
    for label, path, want in [("board by name", prefix.board, BOARD_TYPE), ("board by content", renamed, BOARD_TYPE),
                              ("plain ZIP", plain_zip, "application/zip"),
                              ("ZIP with a later manifest", manifest_later, "application/zip")]:
        info = run(["gio", "info", "--attributes=standard::content-type", path], prefix.env)
        check(info.returncode == 0, f"{label}: gio info failed: {info.stderr.strip()}")
        got = info.stdout.split("standard::content-type:")[-1].strip()
        check(got == want, f"{label}: gio reports {got!r}, want {want!r}")
        query = run(["xdg-mime", "query", "filetype", path], prefix.env).stdout.strip()
        check(query == want, f"{label}: xdg-mime reports {query!r}, want {want!r}")

    entry = prefix.thumbnailer()
    check(BOARD_TYPE in entry.get("MimeType", "").split(";"), f"thumbnailer does not serve {BOARD_TYPE}: {entry}")
    for key in ("%i", "%o", "%s"):
        check(key in entry.get("Exec", ""), f"thumbnailer Exec lacks {key}: {entry.get('Exec')!r}")
    fonts = os.path.join(prefix.share, "zorvi", "fonts.conf")
    check(os.path.isfile(fonts), f"{fonts} was not installed")
    sans = run(["fc-match", "-f", "%{family}", "sans-serif"], dict(prefix.env, FONTCONFIG_FILE=fonts)).stdout
    check(sans.split(",")[0] == "DejaVu Sans", f"the thumbnailer's fonts.conf gives {sans!r} for sans-serif, want DejaVu Sans")


def part_exec(prefix):
    entry = prefix.thumbnailer()
    check(shutil.which(entry.get("TryExec", ""), path=prefix.env["PATH"]) is not None,
          f"TryExec {entry.get('TryExec')!r} is not found on the installed PATH")
    # A working folder beside a lib/ tree that is not the installed one: nothing may be taken from it.
    decoy = os.path.join(prefix.work, "decoy")
    for module in ("bin/zorvi/zorvi-text.so", "lib/zorvi/zorvi-text.so"):
        os.makedirs(os.path.dirname(os.path.join(decoy, module)), exist_ok=True)
        with open(os.path.join(decoy, module), "w") as f:
            f.write("not a module")
    for size in SIZE_CLASSES.values():
        label, out_dir = f"Exec at size {size}", tempfile.mkdtemp(dir=prefix.work)
        output = os.path.join(out_dir, "thumbnail.png")
        done = run(exec_line(entry, prefix.board, output, size), prefix.env, cwd=os.path.join(decoy, "bin"))
        check(done.returncode == 0, f"{label}: exit {done.returncode}: {done.stderr.strip()}")
        check(done.stderr == "", f"{label}: stderr is not empty: {done.stderr.strip()}")
        check(os.listdir(out_dir) == ["thumbnail.png"], f"{label}: wrote {sorted(os.listdir(out_dir))}, want only %o")
        prefix.expect_thumbnail(label, load_png(output), size)


def part_hostile(prefix):
    # The factory waits on the thumbnailer forever, so a hostile board must end by itself.
    out_dir = tempfile.mkdtemp(dir=prefix.work)
    argv = exec_line(prefix.thumbnailer(), deflate_bomb(prefix.work), os.path.join(out_dir, "thumbnail.png"), 256)
    started, before = time.monotonic(), resource.getrusage(resource.RUSAGE_CHILDREN)
    try:
        done = run(argv, prefix.env, timeout=60, cwd=out_dir)
    except subprocess.TimeoutExpired:
        raise Failure("deflate bomb: the thumbnailer was still running after 60 s")
    took, after = time.monotonic() - started, resource.getrusage(resource.RUSAGE_CHILDREN)
    cpu = (after.ru_utime - before.ru_utime) + (after.ru_stime - before.ru_stime)
    check(done.returncode != 0, "deflate bomb: exit 0, want a failure")
    check(os.listdir(out_dir) == [], f"deflate bomb: left {sorted(os.listdir(out_dir))}, want nothing")
    check(len(done.stderr.strip().splitlines()) == 1, f"deflate bomb: stderr is not one line: {done.stderr!r}")
    # CPU time is what the board costs; wall time on a shared machine also holds others' work, so it only
    # has to stay clear of a stall.
    check(cpu < 6, f"deflate bomb: used {cpu:.1f} s of CPU, want a few seconds")
    check(took < 30, f"deflate bomb: took {took:.1f} s, want it to end by itself")


def part_factory(prefix):
    # The factory reads the environment of its own process at first use. Its scratch folder (the sandbox's
    # /tmp) goes under TMPDIR and is left behind, with a warning, when the thumbnailer writes anything
    # besides its output.
    scratch = os.path.join(prefix.work, "tmp")
    os.makedirs(scratch)
    os.environ.clear()
    os.environ.update(prefix.env, TMPDIR=scratch)
    import gi
    gi.require_version("GnomeDesktop", "3.0")
    gi.require_version("GdkPixbuf", "2.0")
    from gi.repository import Gio, GnomeDesktop
    uri, mtime = Gio.File.new_for_path(prefix.board).get_uri(), int(os.stat(prefix.board).st_mtime)
    for name, size in SIZE_CLASSES.items():
        label = f"GNOME factory {name}"
        factory = GnomeDesktop.DesktopThumbnailFactory.new(getattr(GnomeDesktop.DesktopThumbnailSize, name))
        check(factory.can_thumbnail(uri, BOARD_TYPE, mtime), f"{label}: can_thumbnail is false for {uri}")
        try:
            pixbuf = factory.generate_thumbnail(uri, BOARD_TYPE, None)
        except Exception as error:  # the factory reports a failed thumbnailer as a GError
            raise Failure(f"{label}: generate_thumbnail failed: {error}")
        check(pixbuf is not None and pixbuf.get_width() > 1, f"{label}: got a failure entry")
        check(os.listdir(scratch) == [], f"{label}: the thumbnailer left {os.listdir(scratch)} in its sandbox")
        # Without /etc/fonts the text must still be set as outside the sandbox.
        prefix.expect_thumbnail(label, picture(pixbuf), size)


def part_tumbler(prefix):
    tumblerd = "/usr/lib/x86_64-linux-gnu/tumbler-1/tumblerd"
    if not os.path.exists(tumblerd) or shutil.which("dbus-daemon") is None:
        raise Failure("tumbler and dbus-daemon must be installed (scripts/setup.sh installs them)")
    import gi
    gi.require_version("GdkPixbuf", "2.0")
    from gi.repository import Gio, GLib
    uri = Gio.File.new_for_path(prefix.board).get_uri()
    # A bus of our own: tumblerd is started on it by D-Bus activation, with the prefix's environment, so it
    # finds the installed .thumbnailer file and the command as Thunar's session would.
    bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address=1"], env=prefix.env,
                           stdout=subprocess.PIPE, text=True)
    try:
        address = bus.stdout.readline().strip()
        check(address, "dbus-daemon gave no address")
        connection = Gio.DBusConnection.new_for_address_sync(
            address, Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION,
            None, None)
        for flavour, size in {"normal": 128, "large": 256, "x-large": 512, "xx-large": 1024}.items():
            label = f"tumbler {flavour}"
            outcome = tumbler_thumbnail(connection, GLib, uri, flavour)
            check(outcome == "ready", f"{label}: tumbler answered {outcome}")
            cached = os.path.join(prefix.env["XDG_CACHE_HOME"], "thumbnails", flavour,
                                  hashlib.md5(uri.encode()).hexdigest() + ".png")
            check(os.path.isfile(cached), f"{label}: no thumbnail at {cached}")
            prefix.expect_thumbnail(label, load_png(cached), size)
    finally:
        bus.terminate()
        bus.wait(timeout=30)


def tumbler_thumbnail(connection, GLib, uri, flavour):
    """Queues one thumbnail and waits for tumbler's Ready or Error signal: 'ready', or what failed."""
    loop, outcome, name = GLib.MainLoop(), {}, "org.freedesktop.thumbnails.Thumbnailer1"

    def on_signal(_connection, _sender, _path, _interface, signal, parameters):
        if signal in ("Ready", "Error"):
            outcome.setdefault("what", "ready" if signal == "Ready" else f"Error {parameters.unpack()[2:]}")
        elif signal == "Finished":
            loop.quit()

    path = "/" + name.replace(".", "/")
    subscription = connection.signal_subscribe(None, name, None, path, None, 0, on_signal)
    connection.call_sync(name, path, name, "Queue",
                         GLib.Variant("(asasssu)", ([uri], [BOARD_TYPE], flavour, "foreground", 0)), None, 0, 60000, None)
    GLib.timeout_add_seconds(60, loop.quit)
    loop.run()
    connection.signal_unsubscribe(subscription)
    return outcome.get("what", "nothing within 60 s")


def part_kio(prefix):
    plugins = os.path.join(prefix.path, "lib", "qt5", "plugins")
    check(os.path.isfile(os.path.join(plugins, "kf5", "thumbcreator", "zorvi-thumbnailer.so")),
          "the KDE thumbnail plugin was not installed into kf5/thumbcreator")
    env = dict(prefix.env, QT_PLUGIN_PATH=plugins, QT_QPA_PLATFORM="offscreen",
               XDG_RUNTIME_DIR=os.path.join(prefix.work, "runtime"))
    os.makedirs(env["XDG_RUNTIME_DIR"], mode=0o700)
    for size in (128, 256, 512):
        label, output = f"KIO preview at {size}", os.path.join(prefix.work, f"kio-{size}.png")
        done = run([HELPERS["kio_preview"], prefix.board, str(size), output], env, timeout=120)
        check(done.returncode == 0, f"{label}: exit {done.returncode}: {done.stderr.strip()[-400:]}")
        prefix.expect_thumbnail(label, load_png(output), size)
    # A hostile board costs the worker seconds, not its life or memory, and gives no picture.
    started = time.monotonic()
    done = run([HELPERS["kio_preview"], deflate_bomb(prefix.work), "256", os.path.join(prefix.work, "hostile.png")], env,
               timeout=120)
    check(done.returncode == 1, f"deflate bomb through KIO: exit {done.returncode}, want 1 (no preview)")
    check(time.monotonic() - started < 40, "deflate bomb through KIO: took longer than the limits allow")


# Each part, and why it cannot run in a sanitizer build (None: it can).
PARTS = {
    "mime": (part_mime, None),
    "exec": (part_exec, None),
    "hostile": (part_hostile, "its allocator reports a refused allocation at length; the time and memory caps "
                              "are checked in the plain build"),
    "factory": (part_factory, "the leak checker needs ptrace, which the factory's seccomp filter forbids"),
    "tumbler": (part_tumbler, None),
    "kio": (part_kio, "KIO's worker process is not built with the sanitizers"),
}


def sandbox_works():
    sandbox = subprocess.run(
        ["bwrap", "--ro-bind", "/usr", "/usr", "--symlink", "usr/lib", "/lib", "--symlink", "usr/lib64", "/lib64",
         "--proc", "/proc", "--dev", "/dev", "--unshare-all", "--die-with-parent", "/usr/bin/true"],
        capture_output=True, text=True)
    if sandbox.returncode != 0:
        raise Skip(f"bubblewrap cannot create its namespaces here ({sandbox.stderr.strip()}), "
                   "so GNOME's thumbnail sandbox cannot run")


def main():
    parser = argparse.ArgumentParser(usage=__doc__.strip().splitlines()[2].strip())
    parser.add_argument("build_dir")
    parser.add_argument("source_dir")
    parser.add_argument("part", choices=PARTS)
    parser.add_argument("--sanitized", action="store_true")
    parser.add_argument("--reference", required=True)
    parser.add_argument("--kio-preview")
    args = parser.parse_args()
    HELPERS.update(reference=args.reference, kio_preview=args.kio_preview)
    body, unsanitizable = PARTS[args.part]
    try:
        if args.sanitized and unsanitizable:
            raise Skip("sanitizer build: " + unsanitizable)
        if args.part == "factory":
            sandbox_works()
        # File managers pass names as they are: blanks and non-ASCII letters included.
        with Prefix(args.build_dir, args.source_dir, args.sanitized, need_sandbox_visible=args.part == "factory",
                    board="Hafen Übersicht.zorvi" if args.part == "exec" else "Harbour Light.zorvi") as prefix:
            body(prefix)
    except Skip as reason:
        print(f"skipped: {reason}")
        return 77
    except Failure as failure:
        print(f"FAILED: {failure}", file=sys.stderr)
        return 1
    print(f"{args.part}: ok")
    return 0


if __name__ == "__main__":
    sys.exit(main())
