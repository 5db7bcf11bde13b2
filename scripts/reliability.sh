#!/usr/bin/env bash
# Reproduces the figures of docs/RELIABILITY.md and rewrites it: every test as CI runs them (normal, ASan + UBSan
# and ThreadSanitizer stages, fuzzing for longer), the fault, security and stress tests with their figures, and
# the kill and power-cut tests in their long form.
#   scripts/reliability.sh [kill-rounds] [fuzz-seconds-per-target] [power-cut-rounds]   (default: 60, 120 s, 500)
set -uo pipefail
cd "$(dirname "$0")/.."

rounds="${1:-60}"
fuzz_seconds="${2:-120}"
power_rounds="${3:-500}"
figures="$PWD/build/figures"
rm -rf "$figures"
mkdir -p "$figures"
export CORVANA_FIGURES_DIR="$figures"

if ! command -v python3 >/dev/null; then
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get update -qq && DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq python3 >/dev/null
fi

started=$(date +%s)
echo "== every test, as CI runs them (fuzzing ${fuzz_seconds}s per target); log in $figures/test.log"
CORVANA_FUZZ_SECONDS="$fuzz_seconds" bash scripts/test.sh >"$figures/test.log" 2>&1
echo "$?" >"$figures/test.status"

echo "== fault, security and stress tests"
ctest --test-dir build/release -R 'FaultTolerance|RoundTrips\.AnEventStored|Security|Stress|LockOrder' \
  --output-junit "$figures/faults.xml" --output-on-failure >"$figures/faults.log" 2>&1
echo "$?" >"$figures/faults.status"

echo "== kill test, $rounds rounds"
CORVANA_KILL_ROUNDS="$rounds" build/release/tests/test_kill_recovery >"$figures/kill.log" 2>&1
echo "$?" >"$figures/kill.status"

echo "== power-cut test, $power_rounds rounds"
CORVANA_POWER_ROUNDS="$power_rounds" build/release/tests/test_power_cut >"$figures/power.log" 2>&1
echo "$?" >"$figures/power.status"

echo "$(( $(date +%s) - started ))" >"$figures/seconds"
python3 scripts/reliability_report.py "$figures" docs/RELIABILITY.md
