#!/usr/bin/env bash
# Installs the Debian packages that the build needs and the machine lacks.
#   tools/deps.sh            native build and tests
#   tools/deps.sh --cross    also the mingw-w64 cross compilers and wine64
#   tools/deps.sh --bench    also Google Benchmark, RE2 and libtirpc (peers of bench_pattern, bench_xdr)
#   tools/deps.sh --fuzz     also clang and its libFuzzer runtime
#   tools/deps.sh --coverage also gcovr (tools/coverage.sh)
#   tools/deps.sh --abi      also abigail-tools (tools/abi.sh)
#   tools/deps.sh --docs     also doxygen (tools/apidocs.sh)
#   tools/deps.sh --package  also dpkg-dev and pkg-config (the Debian package and its consumer)
#   tools/deps.sh --all      everything CI uses
set -euo pipefail

cross=(g++-mingw-w64-x86-64 g++-mingw-w64-i686 wine64)
bench=(libbenchmark-dev libre2-dev libtirpc-dev)
fuzz=(clang libclang-rt-dev)
coverage=(gcovr)
abi=(abigail-tools)
docs=(doxygen)
package=(dpkg-dev pkgconf)

packages=(cmake ninja-build g++ googletest)
for arg in "$@"; do
  case "$arg" in
    --cross) packages+=("${cross[@]}") ;;
    --bench) packages+=("${bench[@]}") ;;
    --fuzz) packages+=("${fuzz[@]}") ;;
    --coverage) packages+=("${coverage[@]}") ;;
    --abi) packages+=("${abi[@]}") ;;
    --docs) packages+=("${docs[@]}") ;;
    --package) packages+=("${package[@]}") ;;
    --all) packages+=("${cross[@]}" "${bench[@]}" "${fuzz[@]}" "${abi[@]}" "${docs[@]}" "${package[@]}") ;;
    *) echo "deps.sh: unknown option $arg" >&2; exit 2 ;;
  esac
done

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "deps.sh: installing ${missing[*]}" >&2
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
