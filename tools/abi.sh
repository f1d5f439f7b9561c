#!/usr/bin/env bash
# The exported interface of liborvane.so.11, recorded with libabigail.
#   tools/abi.sh [check]   compares the release build's library with the
#                          record abi/liborvane.so.11.abi; fails on any
#                          change of the exported functions, variables or
#                          the types of the public headers
#   tools/abi.sh update    writes the record anew from the release build
#                          (after a deliberate change of the interface)
# Needs abigail-tools (bash tools/deps.sh --abi) and the release build,
# which carries debug information for this.
set -euo pipefail
cd "$(dirname "$0")/.."

library=build/release/lib/liborvane.so.11.0.0
record=abi/liborvane.so.11.abi
headers=$(pwd)/include

if [ ! -f "$library" ]; then
  cmake --preset release
  cmake --build --preset release --target orvane
fi

case "${1:-check}" in
  update)
    mkdir -p abi
    abidw --headers-dir "$headers" --drop-private-types --no-corpus-path --no-comp-dir-path --short-locs \
      --out-file "$record" "$library"
    echo "abi.sh: $record written"
    ;;
  check)
    # Only changes of types that the public headers declare are reported,
    # besides every added, removed or changed exported symbol.
    if abidiff --headers-dir2 "$headers" "$record" "$library"; then
      echo "abi.sh: the exported interface is as recorded"
    else
      echo "abi.sh: the exported interface differs from $record (tools/abi.sh update records a deliberate change)" >&2
      exit 1
    fi
    ;;
  *)
    echo "abi.sh: unknown command $1" >&2
    exit 2
    ;;
esac
