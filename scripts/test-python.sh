#!/usr/bin/env bash
# Installs missing packages, builds the libraries and runs the Python package's tests with NumPy and without. Usage:
# scripts/test-python.sh [PYTHON]     (an interpreter other than /usr/bin/python3 skips tests without their packages)
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" python3 python3-numpy python3-pip python3-setuptools python3-wheel mypy
# If installing it would remove an installed package, the page with the picture is not run, and the tests report that.
(need python3-matplotlib) || echo "Without python3-matplotlib the notebook page is not run" >&2
python=${1:-/usr/bin/python3}
cmake --preset release >/dev/null
cmake --build --preset release --target qel_unit --target qel_archive
export QEL_UNIT_LIBRARY=$PWD/build/release/src/libqel_unit.so PYTHONDONTWRITEBYTECODE=1 # the second library is beside it
cd bindings/python
mypy --cache-dir=../../build/mypy qel_unit tests examples benchmarks
# -W error: a warning would be a leak or a deprecation of the package.
if [ "$python" = /usr/bin/python3 ] || "$python" -c 'import numpy' 2>/dev/null; then
    "$python" -W error -m tests --with-numpy
fi
"$python" -W error -m tests --without-numpy
# pip installs the wheel without an index; both libraries are found in it and nowhere else.
built=$(mktemp -d)
trap 'rm -rf "$built"' EXIT
../../scripts/make-wheel.sh "$built" >/dev/null
/usr/bin/python3 -m pip install --quiet --root-user-action=ignore --no-index --no-deps --target "$built/installed" "$built"/qel_unit-*.whl
harbour=$(realpath ../../examples/data/harbour.abc)
cmp "$built"/installed/qel_unit-*.dist-info/LICENSE ../../LICENSE
cd "$built"
unset QEL_UNIT_LIBRARY
PYTHONPATH=$built/installed /usr/bin/python3 -c "
import importlib.metadata, os, sys, qel_unit
assert importlib.metadata.version('qel-unit') == qel_unit.__version__
with qel_unit.open_archive(sys.argv[1]) as archive:
    assert archive['/harbour/sea'].mesh().vertex_count == 441
mapped = {line.split()[-1] for line in open('/proc/self/maps') if 'libqel_' in line}
assert mapped == {os.path.dirname(qel_unit.__file__) + '/libqel_' + name + '.so' for name in ('unit', 'archive')}, mapped
assert qel_unit.__file__.startswith(os.getcwd()), qel_unit.__file__
assert os.path.exists(os.path.join(os.path.dirname(qel_unit.__file__), 'py.typed'))
print('wheel: both libraries; sqrt(81) =', qel_unit.tokens.sqrt(81))" "$harbour"
