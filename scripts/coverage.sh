#!/usr/bin/env bash
# Measures which lines and branches of src/ the tests run. Prints a table, writes build/coverage/report/index.html, and
# fails if a line is not run, or a branch is not taken that tests/coverage_exceptions.txt does not explain.
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" gcovr locales python3
cmake --preset coverage >/dev/null
cmake --build --preset coverage
find build/coverage -name '*.gcda' -delete # counts accumulate over runs
ctest --preset coverage --output-log build/coverage/tests.log --quiet ||
    { grep -A 20 'tests passed' build/coverage/tests.log >&2; exit 1; }
mkdir -p build/coverage/report
gcovr --root . --filter src/ --object-directory build/coverage --exclude-throw-branches --print-summary \
    --json build/coverage/report/coverage.json --html-details build/coverage/report/index.html \
    build/coverage/src >/dev/null
python3 scripts/check_coverage.py build/coverage/report/coverage.json
echo "report: build/coverage/report/index.html"
