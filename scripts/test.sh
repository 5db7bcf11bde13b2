#!/usr/bin/env bash
# Installs what is missing, builds and runs every test: a normal build, the same suite again with the system clock
# 400 days ahead (no test may depend on the day it runs), and an AddressSanitizer + UndefinedBehaviorSanitizer
# build. The tests that exercise threads run once more under ThreadSanitizer. Last, each fuzz target runs for a
# bounded time (CORVANA_FUZZ_SECONDS, default 30 s).
set -euo pipefail
cd "$(dirname "$0")/.."

jobs="$(nproc)"
status=0

echo "== normal build"
scripts/setup.sh build/release
ctest --test-dir build/release --output-on-failure -j"$jobs" || status=1

echo "== normal build, the clock 400 days ahead"
# Only the wall clock moves: a faked monotonic clock would break every timed wait. The fuzz replays read no clock.
FAKETIME_DONT_FAKE_MONOTONIC=1 faketime -f '+400d' \
  ctest --test-dir build/release --output-on-failure -j"$jobs" -LE fuzz-replay || status=1

echo "== AddressSanitizer + UndefinedBehaviorSanitizer build"
scripts/setup.sh build/asan -DCMAKE_BUILD_TYPE=Debug -DCORVANA_SANITIZE=ON
# The lock-order test runs 10,000 rounds in the normal build; the instrumented builds take fewer, since their locks
# cost ten times as much and ThreadSanitizer reports an inverted order from the first time it is seen.
CORVANA_LOCK_ROUNDS=2000 ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build/asan --output-on-failure -j"$jobs" || status=1

echo "== ThreadSanitizer build (concurrency tests)"
cmake -S . -B build/tsan -DCMAKE_BUILD_TYPE=Debug -DCORVANA_TSAN=ON -DCORVANA_WERROR=ON >/dev/null
cmake --build build/tsan -j"$jobs" --target concurrency-tests
# The service runs as the normal build's program: its HTTP library is not instrumented, so ThreadSanitizer
# would only report that library's own threads.
CORVANA_LOCK_ROUNDS=1000 CORVANA_SERVICE_BINARY="$PWD/build/release/tools/corvana-service" \
  TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
  ctest --test-dir build/tsan --output-on-failure -j"$jobs" -L concurrency || status=1

echo "== fuzzing (clang, libFuzzer, ASan + UBSan)"
bash scripts/fuzz.sh "${CORVANA_FUZZ_SECONDS:-30}" || status=1

exit $status
