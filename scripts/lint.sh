#!/usr/bin/env bash
# Checks format, style and lint over the sources. Usage: scripts/lint.sh [--fix]
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" clang clang-format clang-tidy git
cmake --preset release >/dev/null # for compile_commands.json
mapfile -t all < <(git ls-files '*.h' '*.c' '*.cpp')
mapfile -t sources < <(git ls-files 'src/*.cpp')
[ ${#sources[@]} -gt 0 ] || { echo "git lists no sources here" >&2; exit 2; }
if [ "${1:-}" = --fix ]; then
    clang-format -i "${all[@]}"
    exit
fi
clang-format --dry-run --Werror "${all[@]}"
echo "format: ${#all[@]} files agree with .clang-format"
scripts/check_style.py
python3 -B scripts/generate_javascript.py --check # test-python.sh checks the files generated for Python
printf '%s\n' "${sources[@]}" | xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build/release
echo "lint: ${#sources[@]} files clean"
