#!/usr/bin/env bash
# Builds the API reference (build/release/docs/html) and fails when Doxygen
# warns about anything: an undocumented public name ("is not documented"), a
# parameter comment naming no parameter, a broken reference. Every warning
# counts, so that the reference stays complete and correct.
# Needs doxygen (bash tools/deps.sh --docs).
set -euo pipefail
cd "$(dirname "$0")/.."

build=build/release
log=$build/docs/doxygen-warnings.log

if [ ! -f "$build/build.ninja" ] || [ ! -f "$build/docs/Doxyfile" ]; then
  cmake --preset release >/dev/null
fi
cmake --build --preset release --target docs

if [ ! -f "$log" ]; then
  echo "apidocs.sh: no warning log $log (doxygen did not run?)" >&2
  exit 1
fi
if [ -s "$log" ]; then
  undocumented=$(grep -c "is not documented" "$log" || true)
  total=$(grep -c "warning:" "$log" || true)
  cat "$log" >&2
  echo "apidocs.sh: $total warnings, $undocumented of them undocumented public names (see $log)" >&2
  exit 1
fi
echo "apidocs.sh: the API reference is complete: $build/docs/html/index.html"
