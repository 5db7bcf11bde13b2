#!/usr/bin/env bash
# Installs every Debian package the SDK, its tools and its tests need (only what is missing), then configures
# and builds one build folder: everything, or only the targets named in CORVANA_TARGETS (blank-separated).
#   [CORVANA_TARGETS="corvana-demo ..."] scripts/setup.sh [BUILD_DIR] [extra cmake arguments...]
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(
  g++ make cmake pkg-config
  libsqlite3-dev nlohmann-json3-dev libicu-dev uuid-dev libcurl4-openssl-dev
  libcpp-httplib-dev libssl-dev libstb-dev libcairo2-dev libpango1.0-dev libpng-dev
  libcli11-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  clang libclang-rt-14-dev
  faketime
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

build_dir="${1:-build/release}"
shift || true
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCORVANA_WERROR=ON "$@" >/dev/null
targets=()
for target in ${CORVANA_TARGETS:-}; do targets+=(--target "$target"); done
cmake --build "$build_dir" -j"$(nproc)" "${targets[@]}"
