#!/usr/bin/env bash
# Installs what is missing, builds the library and runs the Python package's tests with NumPy and without.
# Usage: scripts/test-python.sh [PYTHON]     (another interpreter than /usr/bin/python3 runs what it can)
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" python3 python3-numpy python3-pip python3-setuptools python3-wheel mypy
python=${1:-/usr/bin/python3}
cmake --preset release >/dev/null
cmake --build --preset release --target qel_unit
scripts/generate_python.py --check
export QEL_UNIT_LIBRARY=$PWD/build/release/src/libqel_unit.so PYTHONDONTWRITEBYTECODE=1
cd bindings/python
mypy --cache-dir=../../build/mypy qel_unit tests examples
# -W error: an unraisable warning of ours would be a leak or a deprecation.
if [ "$python" = /usr/bin/python3 ] || "$python" -c 'import numpy' 2>/dev/null; then
    "$python" -W error -m tests --with-numpy
fi
"$python" -W error -m tests --without-numpy
# What pip installs is whole: a wheel made of a copy, since a build leaves traces, and imported from where it lies.
built=$(mktemp -d)
trap 'rm -rf "$built"' EXIT
cp -r . "$built/source"
/usr/bin/python3 -m pip wheel --quiet --no-build-isolation --no-deps --no-index -w "$built" "$built/source"
/usr/bin/python3 -m zipfile -e "$built"/qel_unit-*.whl "$built/installed"
cmp "$built"/installed/qel_unit-*.dist-info/LICENSE ../../LICENSE
cd "$built"
PYTHONPATH=$built/installed /usr/bin/python3 -c "
import os, qel_unit
assert qel_unit.__file__.startswith(os.getcwd()), qel_unit.__file__
assert os.path.exists(os.path.join(os.path.dirname(qel_unit.__file__), 'py.typed'))
print('wheel: sqrt(81) =', qel_unit.tokens.sqrt(81))"
