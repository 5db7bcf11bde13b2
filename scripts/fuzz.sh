#!/usr/bin/env bash
# Builds the libFuzzer targets of tests/fuzz with clang (build/fuzz, -DCORVANA_FUZZ=ON) and runs each of them for
# a bounded time, two at a time, over a scratch copy of its committed inputs (seeds and regressions; the committed
# folders are never written). Prints, per target, the executions, the seconds, the corpus size at the end and the
# crashes (inputs kept for any finding), and writes the same to $CORVANA_FIGURES_DIR/fuzz.json when that folder is
# given. Exits non-zero when any target found a crash, a leak, a time-out, an out-of-memory or a sanitizer report:
# the input is then in build/fuzz/run/artifacts/<target>/; fix the SDK and commit the input under
# tests/fuzz/<target>/regressions/.
#
#   scripts/fuzz.sh [seconds-per-target] [target...]     (default: 30 seconds, every target)
#   scripts/fuzz.sh 600                                   (a longer run by hand)
# The targets' scratch folders go under $CORVANA_FUZZ_TMP (default /dev/shm, else build/fuzz/run).
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:-30}"
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(campaign sync colour deeplink push components valueconv)
build=build/fuzz
run="$build/run"
parallel=2
[ "$(nproc)" -ge 2 ] || parallel=1

# Longest input libFuzzer makes per target: a little more than the largest committed input.
declare -A max_len=([campaign]=8192 [sync]=20000 [colour]=64 [deeplink]=512 [push]=1024 [components]=2048
  [valueconv]=64)

fuzzer_library="$(clang++ -print-file-name=libclang_rt.fuzzer-x86_64.a 2>/dev/null || true)"
if [ "${fuzzer_library#/}" = "$fuzzer_library" ]; then  # not found: the name comes back as it was
  echo "fuzz: clang++ and libFuzzer are missing: run scripts/setup.sh first" >&2
  exit 2
fi

echo "== fuzz: building $build"
build_start=$EPOCHREALTIME
cmake -S . -B "$build" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE= \
  -DCMAKE_C_FLAGS=-O1 -DCMAKE_CXX_FLAGS=-O1 -DCORVANA_FUZZ=ON -DCORVANA_WERROR=ON >/dev/null
if ! cmake --build "$build" -j"$parallel" --target fuzz-programs >"$build/build.log" 2>&1; then
  cat "$build/build.log"
  exit 1
fi
build_seconds=$(awk -v a="$build_start" -v b="$EPOCHREALTIME" 'BEGIN { printf "%.1f", b - a }')

rm -rf "$run"
mkdir -p "$run"
scratch="$(mktemp -d "${CORVANA_FUZZ_TMP:-/dev/shm}/corvana-fuzz.XXXXXX" 2>/dev/null ||
  mktemp -d "$PWD/$run/tmp.XXXXXX")"
trap 'rm -rf "$scratch"' EXIT

export LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp"
export ASAN_OPTIONS="halt_on_error=1:detect_leaks=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
# A GLib critical (Pango refusing a value the SDK handed it) is a finding too.
export G_DEBUG=fatal-criticals

fuzz_one() {
  local name="$1" corpus="$run/corpus/$1" artifacts="$run/artifacts/$1/" start status
  mkdir -p "$corpus" "$artifacts" "$scratch/$name"
  cp tests/fuzz/"$name"/seeds/* "$corpus"/
  [ -d "tests/fuzz/$name/regressions" ] && cp tests/fuzz/"$name"/regressions/* "$corpus"/ 2>/dev/null || true
  start=$EPOCHREALTIME
  set +e
  TMPDIR="$scratch/$name" "$build/tests/fuzz/fuzz_$name" "$corpus" -dict="tests/fuzz/$name/$name.dict" \
    -max_total_time="$seconds" -max_len="${max_len[$name]}" -timeout=20 -rss_limit_mb=2048 \
    -artifact_prefix="$artifacts" -print_final_stats=1 >"$run/$name.log" 2>&1
  status=$?
  set -e
  local elapsed executions files crashes
  elapsed=$(awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN { printf "%.1f", b - a }')
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$run/$name.log" | tail -1)
  # A run that stopped on a finding prints no final statistics: its last status line counts.
  [ -n "$executions" ] || executions=$(sed -n 's/^#\([0-9][0-9]*\)[[:space:]].*/\1/p' "$run/$name.log" | tail -1)
  files=$(find "$corpus" -type f | wc -l)
  crashes=$(find "$artifacts" -type f | wc -l)
  echo "${executions:-0} $elapsed $files $crashes $status" >"$run/$name.result"
}

echo "== fuzz: ${#targets[@]} targets, ${seconds}s each, $parallel at a time"
running=0
for name in "${targets[@]}"; do
  if [ ! -f "tests/fuzz/fuzz_$name.cpp" ]; then echo "fuzz: no target $name" >&2; exit 2; fi
  fuzz_one "$name" &
  running=$((running + 1))
  if [ "$running" -ge "$parallel" ]; then wait -n; running=$((running - 1)); fi
done
wait

status=0
printf '%-12s %12s %8s %8s %8s\n' target executions seconds corpus crashes
for name in "${targets[@]}"; do
  read -r executions elapsed files crashes code <"$run/$name.result"
  printf '%-12s %12s %8s %8s %8s\n' "$name" "$executions" "$elapsed" "$files" "$crashes"
  if [ "$code" -ne 0 ] || [ "$crashes" -ne 0 ]; then
    status=1
    echo "fuzz: $name failed (exit $code); its log:" >&2
    grep -E -A30 "ERROR: |runtime error|CRITICAL|deadly signal|ALARM|out-of-memory|fuzz: " "$run/$name.log" |
      head -60 >&2 || tail -40 "$run/$name.log" >&2
    echo "fuzz: inputs in $run/artifacts/$name/" >&2
  fi
done
echo "build ${build_seconds}s"

if [ -n "${CORVANA_FIGURES_DIR:-}" ]; then
  mkdir -p "$CORVANA_FIGURES_DIR"
  {
    printf '{"seconds_per_target": %s, "build_seconds": %s, "targets": [' "$seconds" "$build_seconds"
    separator=""
    for name in "${targets[@]}"; do
      read -r executions elapsed files crashes code <"$run/$name.result"
      printf '%s\n  {"target": "%s", "executions": %s, "seconds": %s, "corpus_files": %s, "crashes": %s,' \
        "$separator" "$name" "$executions" "$elapsed" "$files" "$crashes"
      printf ' "exit_code": %s}' "$code"
      separator=","
    done
    printf '\n]}\n'
  } >"$CORVANA_FIGURES_DIR/fuzz.json"
fi
exit $status
