#!/usr/bin/env bash
# The long fuzzing campaign (not part of the test command): both fuzz targets of the fuzz-fast
# build (optimised, no sanitizers, the harness's own checks on) take turns on one core, each
# growing its own corpus, then each corpus is minimised and the totals are printed.
#
#   fuzz/campaign.sh [--minutes N] [--slice S] [--max-len L] [--out DIR] [--merge-only]
#     N: total fuzzing time (default 80), S: minutes per turn (default 5),
#     L: longest input in bytes (default 512), DIR: work folder (default build/campaign):
#     corpora, findings and one log per turn. --merge-only: no turns, only the minimising and
#     the totals of what DIR holds (after a campaign was stopped, or to add another DIR's
#     scripts/, structured/ and logs/ to it first).
# Throughput: perf showed libFuzzer's entropic bookkeeping (UpdateFeatureFrequency,
# AddRareFeature) taking 46% of a turn and inputs grown to 3 KB halving the rate; with
# -entropic=0 and 512-byte inputs a core runs about 11,000 scripts a second instead of 5,000.
# Field scripts are short; the long ones (level and length limits) stay in the kept corpora,
# which the test command replays whole.
# The corpora to keep end up in DIR/keep-scripts and DIR/keep-structured; copying them over
# fuzz/corpus and fuzz/corpus-structured keeps them in the repository (the tests replay them).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
minutes=80 slice=5 max_len=512 out=$root/build/campaign merge_only=0
while [ $# -gt 0 ]; do
  case $1 in
    --minutes) minutes=$2; shift 2 ;;
    --slice) slice=$2; shift 2 ;;
    --max-len) max_len=$2; shift 2 ;;
    --out) out=$2; shift 2 ;;
    --merge-only) merge_only=1; shift ;;
    *) echo "campaign.sh: unknown argument $1" >&2; exit 2 ;;
  esac
done
bin=$root/build/fuzz-fast/fuzz
[ -x "$bin/fuzz_scripts" ] && [ -x "$bin/fuzz_structured" ] || {
  echo "campaign.sh: build first: cmake --preset fuzz-fast && cmake --build --preset fuzz-fast --target fuzz_scripts fuzz_structured" >&2
  exit 2
}
mkdir -p "$out/scripts" "$out/structured" "$out/findings" "$out/logs"
# nice and one process (libFuzzer's default; -jobs would add a supervising process): the
# machine is shared. New inputs go to the first folder, the work corpus; the seeds are only read.
fuzz() {  # TARGET CORPUS SECONDS LOG SEEDS EXTRA...
  local target=$1 corpus=$2 seconds=$3 log=$4 seeds=$5
  shift 5
  nice -n 10 "$bin/$target" -max_total_time="$seconds" -timeout=10 -entropic=0 -max_len="$max_len" \
    -print_final_stats=1 -artifact_prefix="$out/findings/$target-" "$@" \
    "$out/$corpus" "$seeds" >"$log" 2>&1 || echo "turn $(basename "$log" .log): exit $? (see $log)"
}
end=$(( $(date +%s) + minutes * 60 ))
[ "$merge_only" = 1 ] && end=0
turn=0
while [ "$(date +%s)" -lt "$end" ]; do
  left=$(( end - $(date +%s) ))
  seconds=$(( slice * 60 < left ? slice * 60 : left ))
  turn=$((turn + 1))
  if [ $((turn % 2)) -eq 1 ]; then
    fuzz fuzz_scripts scripts "$seconds" "$out/logs/$(printf %03d $turn)-scripts.log" \
      "$root/fuzz/corpus" -dict="$root/fuzz/scripts.dict"
  else
    fuzz fuzz_structured structured "$seconds" "$out/logs/$(printf %03d $turn)-structured.log" \
      "$root/fuzz/corpus-structured"
  fi
done

# Minimising: the smallest set of inputs that keeps every feature the turns found (min-*), then
# the set the repository keeps (keep-*): every edge reached, hit counts left aside, which is
# about a fifth of the files.
for target in scripts structured; do
  seed=$root/fuzz/corpus
  [ "$target" = structured ] && seed=$root/fuzz/corpus-structured
  rm -rf "$out/min-$target" "$out/keep-$target"
  mkdir -p "$out/min-$target" "$out/keep-$target"
  nice -n 10 "$bin/fuzz_$target" -merge=1 -timeout=10 "$out/min-$target" "$seed" "$out/$target" \
    >"$out/logs/merge-$target.log" 2>&1 || echo "merge of $target: exit $? (see $out/logs/merge-$target.log)"
  nice -n 10 "$bin/fuzz_$target" -merge=1 -use_counters=0 -timeout=10 "$out/keep-$target" \
    "$out/min-$target" >"$out/logs/keep-$target.log" 2>&1 || echo "edge merge of $target: exit $?"
  echo "fuzz_$target: minimised corpus $(ls "$out/min-$target" | wc -l) files," \
    "kept $(ls "$out/keep-$target" | wc -l) files ($(du -sb "$out/keep-$target" | cut -f1) bytes)"
done

# Totals: executions per target over all turns, and the last coverage each reached.
for target in scripts structured; do
  execs=$(cat "$out"/logs/*-"$target".log 2>/dev/null |
          awk '/^stat::number_of_executed_units:/ { s += $2 } END { print s + 0 }')
  last=$(ls "$out"/logs/*-"$target".log 2>/dev/null | tail -1)
  cov=$(grep -a -E '^#[0-9]+[[:space:]]+(DONE|pulse|NEW|REDUCE)' "$last" 2>/dev/null | tail -1 |
        grep -o -E 'cov: [0-9]+ ft: [0-9]+' || true)
  echo "fuzz_$target: $execs executions, last $cov"
done
echo "findings: $(ls "$out/findings" | wc -l) file(s) in $out/findings"
