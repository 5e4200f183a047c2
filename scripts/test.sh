#!/usr/bin/env bash
# Runs every test: installs what it needs (as root, with apt-get), then builds and tests the
# Linux build (with the browser playground, built for WebAssembly and driven in headless
# Chromium), the sanitizer builds and the Windows cross build (checked under Wine), then builds
# the benchmarks, fuzzes the interpreter for a minute and checks the packages. The kept fuzz
# corpora are replayed as tests (natively, under valgrind, under ASan + UBSan, and through the
# Linux and the Windows qorvintr batch); the long campaign is fuzz/campaign.sh, run by hand.
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
  [ -f /usr/include/lua5.4/lua.h ] || need+=(liblua5.4-dev)
  command -v pkg-config >/dev/null || need+=(pkg-config)
  command -v x86_64-w64-mingw32-g++-posix >/dev/null || need+=(g++-mingw-w64-x86-64)
  command -v x86_64-w64-mingw32-widl >/dev/null || need+=(mingw-w64-tools)
  command -v wine >/dev/null || need+=(wine wine64)
  dpkg -s libclang-rt-14-dev >/dev/null 2>&1 || need+=(libclang-rt-14-dev)
  command -v dpkg-shlibdeps >/dev/null || need+=(dpkg-dev)
  command -v lintian >/dev/null || need+=(lintian)
  # The browser playground: Emscripten (its optimiser needs acorn from node-acorn) and Chromium.
  command -v emcc >/dev/null || need+=(emscripten)
  [ -f /usr/share/nodejs/acorn/package.json ] || need+=(node-acorn)
  command -v valgrind >/dev/null || need+=(valgrind)
  if [ ${#need[@]} -gt 0 ]; then
    if [ "$(id -u)" -ne 0 ]; then
      echo "missing packages: ${need[*]} (run as root to install them with apt-get)" >&2
      exit 1
    fi
    log "installing ${need[*]}"
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${need[@]}" >/dev/null
  fi
  # Without a browser the playground's browser test says so and is skipped; a missing browser
  # that cannot be installed does not stop the other tests.
  if ! command -v chromium >/dev/null && [ "$(id -u)" -eq 0 ]; then
    log "installing chromium"
    { apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq chromium >/dev/null; } ||
      echo "chromium could not be installed: the playground's browser test will be skipped" >&2
  fi
}

install_packages

werror=-DQORVINTR_WERROR=ON

log "Windows cross build (mingw-w64)"
cmake --preset windows $werror >/dev/null
cmake --build --preset windows -j "$jobs"
oracle_dir=$root/build/windows/tests/oracle

log "Browser playground: the engine compiled to WebAssembly (Emscripten)"
cmake --preset wasm $werror >/dev/null
cmake --build --preset wasm -j "$jobs"

log "Linux build"
cmake --preset default $werror -DQORVINTR_ORACLE_EXE="$oracle_dir/oracle_win.exe" \
  -DQORVINTR_ORACLE_OURS_EXE="$oracle_dir/oracle_ours.exe" \
  -DQORVINTR_COM_DIR="$root/build/windows/com" \
  -DQORVINTR_PLAYGROUND_DIR="$root/build/wasm/web" \
  -DQORVINTR_WINDOWS_CLI_EXE="$root/build/windows/qorvintr.exe" >/dev/null
cmake --build --preset default -j "$jobs"

log "Linux tests (unit tests, the Wine oracle, the playground in headless Chromium, the fuzz corpora natively, under valgrind and against qorvintr.exe under Wine)"
ctest --preset default -j "$jobs"

log "COM benchmark under Wine: QorvIntr against the Script Control (figures only; fails on a wrong answer)"
bash "$root/bench/com/run_com_bench.sh" --com-dir "$root/build/windows/com" \
  --prefix "$root/build/bench-wine" --count 1000 --rounds 3 --vbs-seconds 0.05

log "COM soak under Wine: one interpreter, 20000 scripts (figures; fails on a failing call)"
WINEPREFIX="$root/build/bench-wine" WINEDEBUG=-all wine "$root/build/windows/com/com_soak.exe" \
  --runs 20000 </dev/null | tr -d '\r'

log "AddressSanitizer + UBSan build"
cmake --preset asan $werror >/dev/null
cmake --build --preset asan -j "$jobs"

log "AddressSanitizer + UBSan tests (the fuzz corpora replayed too)"
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --preset asan -j "$jobs" -E oracle

log "ThreadSanitizer: eight threads over the script corpus (the threads test only)"
cmake --preset tsan $werror >/dev/null
cmake --build --preset tsan -j "$jobs" --target threads_test
ctest --preset tsan

log "Benchmarks build (Release + Google Benchmark, with the Lua 5.4 comparison); one quick figure"
cmake --preset bench $werror >/dev/null
cmake --build --preset bench -j "$jobs"
"$root/build/bench/bench/qorvintr_bench" --benchmark_filter='^Script/Operators/FieldPlusNumber$' \
  --benchmark_min_time=0.05
"$root/build/bench/bench/qorvintr_soak" --runs 20000 --part library --reset

log "Fuzzing: libFuzzer with ASan + UBSan, 30 seconds over arbitrary scripts, 30 over built ones"
# -O1 instead of the preset's -O0 for more executions per second; still a debug build.
cmake --preset fuzz $werror -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" >/dev/null
cmake --build --preset fuzz -j "$jobs" --target fuzz_scripts fuzz_structured
fuzz_run=$root/build/fuzz/run
rm -rf "$fuzz_run"
for target in scripts structured; do
  mkdir -p "$fuzz_run/corpus-$target" "$fuzz_run/findings"
  seeds=$root/fuzz/corpus
  extra=(-dict="$root/fuzz/scripts.dict")
  if [ "$target" = structured ]; then seeds=$root/fuzz/corpus-structured; extra=(); fi
  fuzz_rc=0
  "$root/build/fuzz/fuzz/fuzz_$target" -max_total_time=30 -timeout=10 -print_final_stats=1 \
    "${extra[@]}" -artifact_prefix="$fuzz_run/findings/$target-" \
    "$fuzz_run/corpus-$target" "$seeds" >"$fuzz_run/fuzz-$target.log" 2>&1 || fuzz_rc=$?
  grep -a -E '^#[0-9]+[[:space:]]+(INITED|DONE)' "$fuzz_run/fuzz-$target.log" || true
  grep -a -E '^stat::(number_of_executed_units|average_exec_per_sec|new_units_added|peak_rss_mb)' \
    "$fuzz_run/fuzz-$target.log" || true
  if [ "$fuzz_rc" -ne 0 ]; then
    echo "fuzzing found a problem (exit $fuzz_rc); the end of its log ($fuzz_run/fuzz-$target.log):" >&2
    grep -a -v -E '^#[0-9]+[[:space:]]+(NEW|REDUCE|pulse)' "$fuzz_run/fuzz-$target.log" | tail -40 >&2
    echo "findings: $(ls "$fuzz_run/findings")" >&2
    echo "replay one: $root/build/fuzz/fuzz/fuzz_$target $fuzz_run/findings/<file>" >&2
    exit 1
  fi
done
echo "fuzzing: no finding"

log "Packages: install, find_package and pkg-config consumers, the Debian package (lintian, dpkg -x)"
bash "$root/tests/package/check_linux.sh" "$root" "$root/build/package" "$jobs"

log "Packages: the Windows zip, registered and run in a fresh Wine prefix"
bash "$root/tests/package/check_windows.sh" "$root" "$root/build/windows"

log "all tests passed"
