#!/usr/bin/env bash
# Installs Chromium, builds the tool qel and makes the pictures of its pages in docs/images.
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" libcli11-dev zlib1g-dev chromium chromium-driver pngquant
cmake --preset release >/dev/null
cmake --build --preset release --target qel
export QEL=$PWD/build/release/tools/qel/qel TORUS=$PWD/examples/data/torus.abc PYTHONDONTWRITEBYTECODE=1
images=$PWD/docs/images
(cd tests/tool && python3 take_screenshots.py "$images")
pngquant --force --ext .png --speed 1 128 "$images"/view*.png
ls -l "$images"/view*.png
