#!/usr/bin/env bash
# Runs every libFuzzer harness for the given number of seconds each (default 30), starting
# from a scratch copy of its checked-in corpus, so that new inputs never land in the source
# tree. Build the fuzzers first (cmake --workflow is not needed):
#
#   cmake --preset fuzz && cmake --build --preset fuzz
#   tests/fuzz/run_fuzzers.sh 60
#
# Prints the executions and seconds of each harness, and exits non-zero when any harness
# reported a crash, a timeout (an input running longer than 5 s; 20 s for eigen_fuzz, see
# below), a leak, running out of memory or a sanitizer error; the reproducers are kept under
# the scratch directory, whose path is printed. FUZZ_BUILD_DIR selects another build tree (default build/fuzz), and
# FUZZ_HARNESSES a space-separated subset of the harnesses (default all).
set -uo pipefail

seconds="${1:-30}"
root="$(cd "$(dirname "$0")/../.." && pwd)"
build="${FUZZ_BUILD_DIR:-$root/build/fuzz}"
corpus="$root/tests/fuzz/corpus"
scratch="$(mktemp -d "${TMPDIR:-/tmp}/paskosda-fuzz.XXXXXX")"

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}"

harnesses="${FUZZ_HARNESSES:-$(cd "$corpus" && ls -d -- */ | tr -d /)}"
failed=()
count=0
printf '%-18s %12s %8s  %s\n' harness executions seconds result
for h in $harnesses; do
  count=$((count + 1))
  exe="$build/tests/fuzz/$h"
  if [ ! -x "$exe" ]; then
    echo "missing fuzzer $exe (configure with the fuzz preset and build first)" >&2
    failed+=("$h")
    continue
  fi
  mkdir -p "$scratch/$h/corpus" "$scratch/$h/artifacts"
  cp -- "$corpus/$h"/* "$scratch/$h/corpus/"
  log="$scratch/$h/fuzz.log"
  start=$(date +%s)
  # An input that runs longer than this is a hang. The one exception is the symmetric
  # eigen-solver, whose safeguard of 10,000,000 rotations is legitimately reached by symmetric
  # matrices with a tolerance of 0 or below the rounding of their entries (when the states do
  # not repeat): about 1 s in a release build, up to 10 s under this build's sanitizers and
  # coverage instrumentation.
  timeout=5
  [ "$h" = eigen_fuzz ] && timeout=20
  "$exe" -max_total_time="$seconds" -timeout="$timeout" -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$scratch/$h/artifacts/" "$scratch/$h/corpus" >"$log" 2>&1
  status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  # libFuzzer's own count of seconds when the run lasted its time, else the wall clock.
  time=$(sed -n 's/^Done [0-9]* runs in \([0-9]*\) second.*/\1/p' "$log" | tail -n 1)
  [ -n "$time" ] || time=$(($(date +%s) - start))
  result=ok
  if [ "$status" -ne 0 ]; then
    result="FAILED (exit $status): $(grep -m 1 -E '^(==[0-9]+==ERROR|SUMMARY|.*promise broken|.*runtime error|ALARM)' "$log")"
    failed+=("$h")
  fi
  printf '%-18s %12s %8s  %s\n' "$h" "${runs:--}" "${time:--}" "$result"
done

echo "fuzzers: $((count - ${#failed[@]})) passed, ${#failed[@]} failed"
if [ ${#failed[@]} -gt 0 ]; then
  echo "fuzzing found problems in: ${failed[*]}; logs and reproducers under $scratch" >&2
  exit 1
fi
rm -rf -- "$scratch"
