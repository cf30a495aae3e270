#!/usr/bin/env bash
# Installs Chromium, builds the tool qel and makes the pictures of its pages in docs/images.
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" libcli11-dev zlib1g-dev chromium chromium-driver pngquant
cmake --preset release >/dev/null
cmake --build --preset release --target qel
export QEL=$PWD/build/release/tools/qel/qel TORUS=$PWD/examples/data/torus.abc PYTHONDONTWRITEBYTECODE=1
images=$PWD/docs/images
(cd tests/tool && python3 take_screenshots.py "$images")
scripts/make-web.sh >/dev/null
SOURCE=$PWD PAGE=$PWD/build/web/page/index.html python3 tests/web/take_screenshot.py "$images/web.png"
pngquant --force --ext .png --speed 1 128 "$images"/{view*,web}.png
ls -l "$images"/{view*,web}.png
