#!/usr/bin/env bash
# Runs every test: installs what it needs (as root, with apt-get), then builds and tests the
# Linux build, the sanitizer build and the Windows cross build (checked under Wine).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
jobs=${JOBS:-$(nproc)}

log() { printf '\n== %s\n' "$*"; }

install_packages() {
  local need=()
  command -v cmake >/dev/null || need+=(cmake)
  command -v ninja >/dev/null || need+=(ninja-build)
  command -v g++ >/dev/null || need+=(g++)
  command -v clang++ >/dev/null || need+=(clang)
  [ -f /usr/include/gtest/gtest.h ] || need+=(libgtest-dev libgmock-dev)
  [ -f /usr/include/benchmark/benchmark.h ] || need+=(libbenchmark-dev)
  command -v x86_64-w64-mingw32-g++-posix >/dev/null || need+=(g++-mingw-w64-x86-64)
  command -v x86_64-w64-mingw32-widl >/dev/null || need+=(mingw-w64-tools)
  command -v wine >/dev/null || need+=(wine wine64)
  dpkg -s libclang-rt-14-dev >/dev/null 2>&1 || need+=(libclang-rt-14-dev)
  if [ ${#need[@]} -gt 0 ]; then
    if [ "$(id -u)" -ne 0 ]; then
      echo "missing packages: ${need[*]} (run as root to install them with apt-get)" >&2
      exit 1
    fi
    log "installing ${need[*]}"
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${need[@]}" >/dev/null
  fi
}

install_packages

werror=-DQORVINTR_WERROR=ON

log "Windows cross build (mingw-w64)"
cmake --preset windows $werror >/dev/null
cmake --build --preset windows -j "$jobs"
oracle_dir=$root/build/windows/tests/oracle

log "Linux build"
cmake --preset default $werror -DQORVINTR_ORACLE_EXE="$oracle_dir/oracle_win.exe" \
  -DQORVINTR_ORACLE_OURS_EXE="$oracle_dir/oracle_ours.exe" >/dev/null
cmake --build --preset default -j "$jobs"

log "Linux tests (unit tests and the Wine oracle)"
ctest --preset default -j "$jobs"

log "AddressSanitizer + UBSan build"
cmake --preset asan $werror >/dev/null
cmake --build --preset asan -j "$jobs"

log "AddressSanitizer + UBSan tests"
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --preset asan -j "$jobs" -E oracle

log "all tests passed"
