#!/usr/bin/env bash
# Builds the browser playground (preset "wasm": the engine compiled to WebAssembly with
# Emscripten) and serves it on http://127.0.0.1:PORT/ (default 8013) until Ctrl+C. The built
# page (build/wasm/web/index.html) also opens straight from the file, offline.
#   bash scripts/playground.sh [PORT]
set -euo pipefail
cd "$(dirname "$0")/.."
port=${1:-8013}
jobs=${JOBS:-2}
if ! command -v emcc >/dev/null; then
  echo "playground.sh: Emscripten is missing (as root: apt-get install emscripten node-acorn)" >&2
  exit 1
fi
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { cmake --preset wasm >"$log" 2>&1 && cmake --build --preset wasm -j "$jobs" >>"$log" 2>&1; }; then
  cat "$log" >&2
  echo "playground.sh: the build of the playground failed" >&2
  exit 1
fi
echo "The playground: http://127.0.0.1:$port/  (or open $PWD/build/wasm/web/index.html)"
exec python3 -m http.server "$port" --bind 127.0.0.1 --directory build/wasm/web
