# What the Wine test and benchmark scripts share; source it.

# The path of FILE as Windows programs see it under Wine (its drive Z: is the root), made
# without starting a Wine program: winepath itself fails now and then under a loaded Wine, and
# its empty answer made a script host run nothing.
windows_path() {
  local p
  p=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
  printf 'Z:%s\n' "${p//\//\\}"
}

# Makes PREFIX a working Wine prefix, or checks that it is one: a prefix whose making was cut
# short (seen once on a loaded machine: "could not load kernel32.dll" for every program after)
# is removed and made again, up to three times, each time said. Fails when none works.
make_wine_prefix() {
  local prefix=$1 try
  for try in 1 2 3; do
    if [ -f "$prefix/system.reg" ] &&
       WINEPREFIX="$prefix" WINEDEBUG=-all wine cmd /c exit 0 < /dev/null > /dev/null 2>&1; then
      return 0
    fi
    if [ -e "$prefix/system.reg" ]; then
      echo "note: the Wine prefix $prefix does not run programs; made again (try $try of 3)"
    fi
    WINEPREFIX="$prefix" wineserver -k > /dev/null 2>&1 || true
    rm -rf "$prefix"
    mkdir -p "$prefix"
    WINEPREFIX="$prefix" WINEDEBUG=-all wineboot -i < /dev/null > /dev/null 2>&1 || true
    WINEPREFIX="$prefix" wineserver -w || true
  done
  [ -f "$prefix/system.reg" ] &&
    WINEPREFIX="$prefix" WINEDEBUG=-all wine cmd /c exit 0 < /dev/null > /dev/null 2>&1 || {
    echo "no working Wine prefix could be made in $prefix"
    return 1
  }
}
