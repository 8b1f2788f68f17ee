#!/usr/bin/env bash
# Builds the Debian packages in BUILD_DIR (kept between runs, so a second run only rebuilds what
# changed), runs lintian on them (errors fail, warnings are listed), checks their contents and
# relations, and draws a board with the command as the packages lay it out.
# usage: package_test.sh SOURCE_DIR BUILD_DIR RUNTIME_PACKAGE
set -euo pipefail
source=$1 build=$2 runtime=$3
cmake -S "$source" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
      -DZORVI_BUILD_TESTS=OFF -Wno-dev > "$build.configure.log" 2>&1 || { cat "$build.configure.log"; exit 1; }
rm -f "$build"/*.deb
cmake --build "$build" --target package -j 2 > "$build/package.log" 2>&1 || { tail -40 "$build/package.log"; exit 1; }
cd "$build"
status=0
check() {  # check WHAT ACTUAL EXPECTED
  if [ "$2" != "$3" ]; then echo "FAIL $1: got '$2', expected '$3'"; status=1; fi
}
contains() {  # contains WHAT TEXT NEEDLE
  case $2 in *"$3"*) ;; *) echo "FAIL $1: '$3' not in '$2'"; status=1 ;; esac
}

check "packages" "$(ls -- *.deb | sed 's/_.*//' | sort | paste -sd ' ')" "libzorvi-dev $runtime zorvi zorvi-view"
lintian --tag-display-limit 0 -- *.deb > lintian.log 2>&1 || true
grep -E '^E: ' lintian.log && status=1
echo "lintian: $(grep -c '^E: ' lintian.log || true) errors, $(grep -c '^W: ' lintian.log || true) warnings"
grep -E '^W: ' lintian.log || true

for deb in *.deb; do
  package=${deb%%_*}
  contains "$package: copyright" "$(dpkg-deb -c "$deb")" "./usr/share/doc/$package/copyright"
done
contains "runtime: Recommends" "$(dpkg-deb -f "$runtime"_*.deb Recommends)" "libavif"
contains "runtime: shlibs" "$(dpkg-deb -I "$runtime"_*.deb shlibs)" "libzorvi-core 0.1 $runtime"
contains "runtime: triggers" "$(dpkg-deb -I "$runtime"_*.deb triggers)" "activate-noawait ldconfig"
contains "dev: Depends" "$(dpkg-deb -f libzorvi-dev_*.deb Depends)" "$runtime (="
contains "zorvi: Depends" "$(dpkg-deb -f zorvi_*.deb Depends)" "$runtime (="
contains "zorvi: Depends from shlibdeps" "$(dpkg-deb -f zorvi_*.deb Depends)" "libc6"
files=$(dpkg-deb -c zorvi_*.deb)
for file in usr/bin/zorvi usr/share/thumbnailers/zorvi.thumbnailer usr/share/mime/packages/zorvi-mime.xml \
            usr/share/zorvi/fonts.conf usr/share/man/man1/zorvi.1.gz usr/share/bash-completion/completions/zorvi; do
  contains "zorvi: files" "$files" "./$file"
done
# shared-mime-info's own trigger watches this folder: no maintainer script of ours needs to run.
check "zorvi: maintainer scripts" "$(dpkg-deb --ctrl-tarfile zorvi_*.deb | tar -t | grep -cE 'postinst|postrm' || true)" 0

files=$(dpkg-deb -c zorvi-view_*.deb)
for file in usr/bin/zorvi-view usr/share/applications/zorvi-view.desktop usr/share/icons/hicolor/scalable/apps/zorvi-view.svg; do
  contains "zorvi-view: files" "$files" "./$file"
done
contains "zorvi-view: Depends from shlibdeps" "$(dpkg-deb -f zorvi-view_*.deb Depends)" "libgtk-4-1"

root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
for deb in *.deb; do dpkg-deb -x "$deb" "$root"; done
check "installed command" "$("$root/usr/bin/zorvi" --version)" "zorvi $(sed -n 's/^project(zorvi VERSION \([0-9.]*\).*/\1/p' "$source/CMakeLists.txt")"
"$root/usr/bin/zorvi" thumbnail "$source/examples/example.zorvi" "$root/board.png" --size 64 || status=1
check "installed thumbnail" "$(head -c 4 "$root/board.png" | od -An -c | tr -d ' ')" '211PNG'
exit $status
