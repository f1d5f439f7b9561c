#!/usr/bin/env bash
# Fuzz campaigns: runs libFuzzer targets for a number of executions each,
# starting from the seed corpus in fuzz/corpus/KIND, and merges the inputs
# that reach new coverage into that corpus.
#   tools/fuzz.sh                   every target, 10 million executions each
#   tools/fuzz.sh TARGET [EXECS]    one target (fuzz_xdr_memory, or its kind:
#                                   xdr), EXECS executions (default 10000000)
#   tools/fuzz.sh all EXECS         every target, EXECS executions each
# Each run appends a line to build/fuzz/campaigns.txt: date, target,
# executions, seconds, result ("clean", or the crash file's name). A crash
# stops that target's run; the input is kept in build/fuzz/findings/.
# CI keeps its brief runs (ctest --preset fuzz); this is for long campaigns.
set -euo pipefail
cd "$(dirname "$0")/.."

which=${1:-all}
execs=${2:-10000000}

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
manifest=build/fuzz/fuzz/targets.txt
bin=build/fuzz/bin
[ -f "$manifest" ] || { echo "fuzz.sh: no $manifest" >&2; exit 2; }
mkdir -p build/fuzz/findings build/fuzz/campaign
log=build/fuzz/campaigns.txt

found=0
failed=0
while read -r target kind max_len dict; do
  [ -n "$target" ] || continue
  if [ "$which" != all ] && [ "$which" != "$target" ] && [ "$which" != "$kind" ]; then
    continue
  fi
  found=1
  seeds=fuzz/corpus/$kind
  work=build/fuzz/campaign/$kind
  mkdir -p "$seeds" "$work"
  dict_arg=()
  [ "$dict" != - ] && dict_arg=("-dict=$dict")
  echo "=== $target: $execs executions" >&2
  start=$(date +%s)
  result=clean
  if ! "$bin/$target" "$work" "$seeds" "${dict_arg[@]}" -runs="$execs" -max_len="$max_len" \
      -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
      -artifact_prefix="build/fuzz/findings/$kind-" 2> "build/fuzz/campaign/$kind.log"; then
    result=$(ls -t build/fuzz/findings/"$kind"-* 2>/dev/null | head -1)
    result=${result:-"failed (see build/fuzz/campaign/$kind.log)"}
    failed=1
  fi
  seconds=$(( $(date +%s) - start ))
  done_runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "build/fuzz/campaign/$kind.log" | grep -o '[0-9]*$' || echo "?")
  # Inputs that reach coverage the seeds do not are merged into them.
  "$bin/$target" -merge=1 "$seeds" "$work" "${dict_arg[@]}" -max_len="$max_len" \
    2> "build/fuzz/campaign/$kind.merge.log" || true
  printf '%s %s %s %s %s\n' "$(date -u +%F)" "$target" "$done_runs" "$seconds" "$result" | tee -a "$log"
done < "$manifest"

[ "$found" = 1 ] || { echo "fuzz.sh: no target $which" >&2; exit 2; }
exit "$failed"
