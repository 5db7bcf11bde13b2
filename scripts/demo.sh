#!/usr/bin/env bash
# Installs what is missing, builds the SDK and the demo host app (no test program), and runs the demo. Arguments
# go to the demo.
set -euo pipefail
cd "$(dirname "$0")/.."
CORVANA_TARGETS="corvana-demo" scripts/setup.sh build/release
exec build/release/tools/corvana-demo "$@"
