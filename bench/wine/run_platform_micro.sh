#!/usr/bin/env bash
# Builds bench/wine/platform_micro.cpp twice, natively (g++) and for Windows (mingw-w64, as the
# windows preset links: static C++ runtime), and runs both: the Linux figures, then the same
# program under Wine in a prefix of its own. What it prints is what makes the Windows build
# slower under Wine than on Linux, piece by piece (heap blocks, thread-locals, thread
# hand-overs, clocks, console writes).
#
# usage: run_platform_micro.sh BUILD_FOLDER [COUNT]   (COUNT: operations per piece, default 1000000)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
out=${1:?usage: run_platform_micro.sh BUILD_FOLDER [COUNT]}
count=${2:-1000000}
mkdir -p "$out"
out=$(cd "$out" && pwd)
g++ -O2 -std=c++20 -pthread -o "$out/platform_micro" "$here/platform_micro.cpp"
x86_64-w64-mingw32-g++-posix -O2 -std=c++20 -static -static-libgcc -static-libstdc++ \
  -o "$out/platform_micro.exe" "$here/platform_micro.cpp" -loleaut32
echo "== Linux"
"$out/platform_micro" "$count" 2> >(cat >/dev/null)
echo "== Windows build under Wine"
mkdir -p "$out/wine"
WINEPREFIX="$out/wine" WINEDEBUG=-all wine "$out/platform_micro.exe" "$count" 2> >(cat >/dev/null)
