"""What the desktop and viewer checks share: failures, commands, pictures and an installed prefix."""
import os, subprocess


class Failure(Exception):
    pass


def check(condition, message):
    if not condition:
        raise Failure(message)


def run(argv, env, timeout=60, cwd=None):
    try:
        return subprocess.run(argv, env=env, cwd=cwd, timeout=timeout, capture_output=True, text=True)
    except FileNotFoundError:
        raise Failure(f"{argv[0]} is not installed (PATH={env.get('PATH')})")


def picture(pixbuf):
    """Width, height, row stride, channels and pixel bytes of a GdkPixbuf."""
    return (pixbuf.get_width(), pixbuf.get_height(), pixbuf.get_rowstride(), pixbuf.get_n_channels(),
            pixbuf.get_pixels())


def load_png(path):
    """Loading through gdk-pixbuf also proves the PNG is whole."""
    import gi
    gi.require_version("GdkPixbuf", "2.0")
    from gi.repository import GdkPixbuf
    return picture(GdkPixbuf.Pixbuf.new_from_file(path))


def changed_pixels(a, b, threshold=48):
    """Pixels of two same-sized pictures that differ by more than threshold in a colour channel, as (x, y)."""
    (w, h, sa, ca, da), (w2, h2, sb, cb, db) = a, b
    check((w, h) == (w2, h2), f"pictures of {w}x{h} and {w2}x{h2} cannot be compared")
    out = []
    for y in range(h):
        ra, rb = da[y * sa:y * sa + w * ca], db[y * sb:y * sb + w * cb]
        if ra == rb and ca == cb:
            continue
        for x in range(w):
            pa, pb = ra[x * ca:x * ca + 3], rb[x * cb:x * cb + 3]
            if pa != pb and max(abs(p - q) for p, q in zip(pa, pb)) > threshold:
                out.append((x, y))
    return out


def expect_renderers_picture(label, shown, want, textless, least):
    """shown is the renderer's picture want, text included: it may differ in a tenth of the pixels the text
    covers (textless is want without its text), so a picture that lost its text fails. Returns both counts."""
    check(shown[:2] == want[:2], f"{label}: picture is {shown[0]}x{shown[1]}, the renderer's is {want[0]}x{want[1]}")
    text = len(changed_pixels(want, textless))
    allowed = max(least, text // 10)
    check(text > 4 * allowed, f"{label}: the text covers only {text} pixels, too few to tell")
    different = len(changed_pixels(shown, want))
    check(different <= allowed, f"{label}: {different} pixels differ from the renderer's picture (allowed "
                                f"{allowed}; a picture without text differs in {text})")
    return different, text


def install(build_dir, prefix):
    """The build installed under prefix with its MIME and desktop databases brought up to date; its share/."""
    done = run(["cmake", "--install", build_dir, "--prefix", prefix], os.environ, timeout=300)
    check(done.returncode == 0, f"cmake --install failed: {done.stderr.strip()}")
    share = os.path.join(prefix, "share")
    for tool, folder in (("update-mime-database", "mime"), ("update-desktop-database", "applications")):
        if os.path.isdir(os.path.join(share, folder)):
            done = run([tool, os.path.join(share, folder)], os.environ)
            check(done.returncode == 0, f"{tool} failed: {done.stderr.strip()}")
    return share
