#!/usr/bin/env bash
# Installs what is missing (scripts/setup.sh), builds the benchmarks in Release, runs them all and writes the
# figures into docs/PERFORMANCE.md.
#   scripts/bench.sh [BUILD_DIR]        (default build/bench)
# The databases live under BUILD_DIR/bench-data, on the disk of the repository: the store's figures are those of
# that disk. Timings depend on what else the machine runs: the load average before and after is written with them.
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir="${1:-build/bench}"
command -v python3 >/dev/null || {
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get update -qq && DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends python3 >/dev/null
}
# setup.sh installs the packages (Google Benchmark among them), configures and builds; the later -D win.
scripts/setup.sh "$build_dir" -DCMAKE_BUILD_TYPE=Release -DCORVANA_BUILD_TESTS=OFF -DCORVANA_BUILD_BENCHMARKS=ON

out="$build_dir/bench-results"
data="$(pwd)/$build_dir/bench-data"
rm -rf "$out" "$data"
mkdir -p "$out" "$data"
export BENCH_DATA_DIR="$data"

load() { cut -d' ' -f1-3 /proc/loadavg; }
load_before="$(load)"

run() {  # run NAME [benchmark arguments...]
  local name="$1"; shift
  echo "bench: $name"
  "$build_dir/bench/$name" --benchmark_out="$out/$name.json" --benchmark_out_format=json "$@"
}
# Interleaved, so that the disk's fdatasync rate, the limit the store's rates are read against, is measured
# between the store's own runs rather than before or after all of them.
run bench_recording --benchmark_repetitions=3 --benchmark_report_aggregates_only=true \
  --benchmark_enable_random_interleaving=true
run bench_store
run bench_service
run bench_layouts
# Three runs of the memory host, one line each; the figures are their medians.
for run in 1 2 3; do
  echo "bench: memory_host, run $run"
  memory_dir="$(mktemp -d "$data/memory-XXXXXX")"
  "$build_dir/bench/memory_host" "$memory_dir" | tee -a "$out/memory.json"
done

library="$(readlink -f "$build_dir/libcorvana.so")"
strip --strip-all -o "$out/libcorvana.stripped.so" "$library"

load_after="$(load)"
disk_source="$(df --output=source "$data" | tail -1)"
disk_type="$(df --output=fstype "$data" | tail -1)"
disk_name="$(basename "$(readlink -f "$disk_source")")"
rotational="$(cat "/sys/block/$disk_name/queue/rotational" 2>/dev/null || echo '?')"
python3 - "$out/machine.json" <<PY
import json, os, platform, sys
cpu = next((l.split(":", 1)[1].strip() for l in open("/proc/cpuinfo") if l.startswith("model name")), "unknown")
json.dump({
    "cores": os.cpu_count(), "cpu": cpu, "kernel": platform.release(),
    "disk": "$disk_source ($disk_type, " + {"0": "non-rotational", "1": "rotational"}.get("$rotational", "rotation unknown") + ")",
    "date": "$(date -u +%Y-%m-%d\ %H:%M\ UTC)", "command": "scripts/bench.sh $build_dir",
    "load_before": "$load_before", "load_after": "$load_after",
    "library_bytes": os.path.getsize("$library"),
    "stripped_bytes": os.path.getsize("$out/libcorvana.stripped.so"),
}, open(sys.argv[1], "w"))
PY
python3 scripts/bench_report.py "$out" docs/PERFORMANCE.md
echo "bench: wrote docs/PERFORMANCE.md (load average before $load_before, after $load_after)"
