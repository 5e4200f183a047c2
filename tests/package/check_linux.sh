#!/usr/bin/env bash
# Checks the Linux install and the Debian package: builds a Release tree for /usr, installs it
# into a staging folder, builds the consumer host against it with CMake and with pkg-config and
# runs both; then makes the .deb (cpack), checks it with lintian, unpacks it into a throw-away
# root (dpkg -x) and runs the command and the consumer built against that root.
# Usage: check_linux.sh SOURCE_DIR BUILD_DIR [JOBS]
set -euo pipefail
src=$(cd "$1" && pwd)
mkdir -p "$2"
out=$(cd "$2" && pwd)
jobs=${3:-2}
fail() { echo "check_linux: $*" >&2; exit 1; }

# The flags Debian builds its packages with (hardening), as dpkg-buildpackage would set them.
export DEB_BUILD_MAINT_OPTIONS=hardening=+all
export CXXFLAGS="$(dpkg-buildflags --get CXXFLAGS) $(dpkg-buildflags --get CPPFLAGS)"
export LDFLAGS="$(dpkg-buildflags --get LDFLAGS)"
cmake -S "$src" -B "$out/tree" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
  -DQORVINTR_TESTS=OFF >/dev/null
cmake --build "$out/tree" -j "$jobs"
unset CXXFLAGS LDFLAGS DEB_BUILD_MAINT_OPTIONS
libdir=$(sed -n 's/^CMAKE_INSTALL_LIBDIR:PATH=//p' "$out/tree/CMakeCache.txt")

# A host's view of one install root: the command answers, nothing points back into the build,
# and the consumer builds with find_package and with pkg-config and prints the script's value.
check_root() {
  local root=$1 name=$2 got
  got=$("$root/bin/qorvintr" eval --field Amount:Double=1250.5 'Format Amount, "#,##0.00"')
  [ "$got" = "$(printf 'Autodf1\tString\t1,250.50')" ] || fail "$name: qorvintr eval said: $got"
  echo "$name: qorvintr eval -> $got"
  if grep -rIl -e "$src" -e "$out" "$root/include" "$root/$libdir/cmake" "$root/$libdir/pkgconfig"; then
    fail "$name: installed files name the source or build folder"
  fi
  local want
  want=$(printf 'Autodf1\tString\t1,250.50\nbuilt against QorvIntr %s' "$version")
  rm -rf "$out/consumer-$name"
  cmake -S "$src/tests/package/consumer" -B "$out/consumer-$name/cmake" -G Ninja \
    -DCMAKE_PREFIX_PATH="$root" -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF >/dev/null
  cmake --build "$out/consumer-$name/cmake" >/dev/null
  got=$("$out/consumer-$name/cmake/consumer" 'Format Amount, "#,##0.00"')
  [ "$got" = "$want" ] || fail "$name: consumer (find_package) said: $got"
  echo "$name: consumer (find_package) -> ${got//$'\n'/ | }"
  local flags
  flags=$(PKG_CONFIG_PATH="$root/$libdir/pkgconfig" PKG_CONFIG_LIBDIR=/nonexistent \
          pkg-config --cflags --libs qorvintr)
  echo "$name: pkg-config --cflags --libs qorvintr -> $flags"
  # shellcheck disable=SC2086  # the flags are words
  g++ -std=c++20 -o "$out/consumer-$name/pc-consumer" "$src/tests/package/consumer/main.cpp" $flags
  got=$("$out/consumer-$name/pc-consumer" 'Amount * 2')
  want=$(printf 'Autodf3\tDouble\t2501\nbuilt against QorvIntr %s' "$version")
  [ "$got" = "$want" ] || fail "$name: consumer (pkg-config) said: $got"
  echo "$name: consumer (pkg-config) -> ${got//$'\n'/ | }"
}

version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$out/tree/CMakeCache.txt")
rm -rf "$out/stage"
cmake --install "$out/tree" --prefix "$out/stage" >/dev/null
check_root "$out/stage" install

rm -f "$out"/tree/*.deb
(cd "$out/tree" && cpack -G DEB >/dev/null)
deb=$(ls "$out"/tree/qorvintr_"$version"-1_*.deb)
echo "package: $(basename "$deb")"
dpkg-deb --contents "$deb" | awk '{print $1, $6}'
# lintian: errors and warnings fail the check; the rest is shown.
lintian_out=$(lintian --display-info "$deb" 2>&1) || true
[ -n "$lintian_out" ] && echo "$lintian_out"
if grep -E '^[EW]: ' <<< "$lintian_out"; then fail "lintian reports errors or warnings"; fi
echo "lintian: no error or warning"

rm -rf "$out/debroot"
dpkg -x "$deb" "$out/debroot"
check_root "$out/debroot/usr" deb
# The installed command finds the bundled example where the package keeps it.
(cd / && "$out/debroot/usr/bin/qorvintr" run) | grep -q "31 scripts, 0 answered Error" ||
  fail "deb: qorvintr run did not find or run the bundled example"
echo "deb: qorvintr run -> the bundled example"
echo "packaging (Linux): all checks passed"
