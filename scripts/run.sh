#!/usr/bin/env bash
# Builds the qorvintr command and runs it on the bundled example.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset default >/dev/null
cmake --build --preset default --target qorvintr -j "$(nproc)" >/dev/null
build/default/qorvintr --version
build/default/qorvintr --help
