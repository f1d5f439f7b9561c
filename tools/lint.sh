#!/usr/bin/env bash
# Static checks: clang-format (no changes needed), clang-tidy over the Linux
# build's compile commands, and cppcheck. Run after a dev build:
#   cmake --preset dev && cmake --build --preset dev && bash tools/lint.sh
set -uo pipefail
cd "$(dirname "$0")/.."
status=0

sources=$(git ls-files '*.cpp' '*.h' | grep -v '^tests/support/' || true)
echo "== clang-format"
if ! clang-format --dry-run --Werror $sources; then status=1; fi

echo "== clang-tidy"
lib_sources=$(git ls-files 'source/*.cpp' 'tools/*.cpp' | grep -v '/win32/')
if clang-tidy -quiet -p build/dev $lib_sources 2>&1 | grep -E "warning:|error:"; then status=1; fi

echo "== cppcheck"
out=$(cppcheck --quiet --enable=warning,performance,portability --std=c++20 --language=c++ \
  --inline-suppr -I include -I source -I build/dev/source/generated $lib_sources 2>&1)
if [ -n "$out" ]; then echo "$out"; status=1; fi

exit $status
