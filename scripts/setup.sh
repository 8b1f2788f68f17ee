#!/usr/bin/env bash
# Installs every build, test and benchmark dependency from Debian 12's packages.
# Safe to run again: apt-get skips what is already there.
set -euo pipefail

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi

packages=(
  # toolchain and test frameworks
  build-essential cmake ninja-build pkg-config clang-14 libclang-rt-14-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  # core library
  rapidjson-dev libsimdjson-dev libutf8proc-dev libzip-dev zlib1g-dev libdeflate-dev
  # rendering, text and image decoding
  libcairo2-dev libpixman-1-dev libpango1.0-dev libfontconfig-dev
  libjpeg62-turbo-dev libspng-dev libwebp-dev libavif-dev
  libturbojpeg0-dev
  libgdk-pixbuf-2.0-dev libheif-dev libjxl-dev
  fonts-dejavu-core
  # the thumbnail plugin for Dolphin and other KIO applications
  libkf5kio-dev
  # the board viewer, and the display its tests run it on
  libgtk-4-dev xvfb xauth xdotool desktop-file-utils
  # tools the tests and benchmarks drive
  zip unzip libarchive-tools python3 imagemagick webp libavif-bin libheif-examples libjxl-tools
  libvips-tools libgdk-pixbuf2.0-bin shared-mime-info libglib2.0-bin xdg-utils
  python3-gi gir1.2-gnomedesktop-3.0 bubblewrap
  tumbler dbus kio-extras
  chromium poppler-utils time
  hyperfine
  # Debian packages: CPack's dependency scan and the package checker
  dpkg-dev file lintian
  # the completion test loads bash-completion's helpers, as an interactive shell does
  bash-completion
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  "${sudo_cmd[@]}" apt-get update
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y --no-install-recommends "${missing[@]}"
fi
