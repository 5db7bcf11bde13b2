#!/usr/bin/env bash
# Installs what is missing, builds, and runs the demo host app. Arguments go to the demo.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh build/release
exec build/release/tools/corvana-demo "$@"
