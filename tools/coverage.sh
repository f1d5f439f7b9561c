#!/usr/bin/env bash
# Line and branch coverage of the library's portable code and its POSIX
# platform half over the whole test suite (the `coverage` preset), written
# as a text summary and an HTML report under build/coverage/report/.
#   tools/coverage.sh            build, run the suite, report
#   tools/coverage.sh --check    the same, and fail below 95 % of the lines
#                                or 85 % of the branches
# Needs gcovr (Debian's gcovr: tools/deps.sh --coverage).
set -euo pipefail
cd "$(dirname "$0")/.."

check=()
case "${1:-}" in
  --check) check=(--fail-under-line 95 --fail-under-branch 85) ;;
  "") ;;
  *) echo "coverage.sh: unknown option $1" >&2; exit 2 ;;
esac

cmake --preset coverage
cmake --build --preset coverage
# Counts from an earlier run would add up with this one's.
find build/coverage -name '*.gcda' -delete
# A failing test still leaves its counts; the report is written either way.
ctest --preset coverage || echo "coverage.sh: some tests failed; the report covers the run as it was" >&2

mkdir -p build/coverage/report
# Branches that the compiler adds for exception clean-up and that no source
# line shows are left out; so are lines and branches marked unreachable.
gcovr --root . --object-directory build/coverage --exclude-directories 'build/coverage/CMakeFiles$' \
  --filter 'source/common/' --filter 'source/platform/' --exclude 'source/platform/win32/' \
  --exclude-throw-branches --exclude-unreachable-branches \
  --txt build/coverage/report/summary.txt \
  --html-details build/coverage/report/index.html \
  --print-summary "${check[@]}"
