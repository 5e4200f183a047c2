#!/usr/bin/env bash
# Checks the Windows zip of the cross build: makes it (cpack), checks what it holds, unpacks it
# into a fresh Wine prefix, runs register.cmd, a VBScript host (check_com.vbs) and qorvintr.exe
# from it, then unregister.cmd and checks the servers are gone.
# Usage: check_windows.sh SOURCE_DIR WINDOWS_BUILD_DIR
set -euo pipefail
src=$(cd "$1" && pwd)
win=$(cd "$2" && pwd)
fail() { echo "check_windows: $*" >&2; exit 1; }

version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$win/CMakeCache.txt")
name=QorvIntr-$version-win64
rm -f "$win/$name.zip"
(cd "$win" && cpack -G ZIP >/dev/null)
[ -f "$win/$name.zip" ] || fail "cpack made no $name.zip"
listing=$(cd "$win" && cmake -E tar tf "$name.zip" | grep -v '/$' | sort)
expected=$(printf "$name/%s\n" LICENSE QorvDFld.dll QorvIntr.dll QorvLog.dll README.md qorvintr.exe \
           register.cmd unregister.cmd | sort)
echo "$name.zip holds:"
echo "$listing"
[ "$listing" = "$expected" ] || fail "the zip does not hold exactly: $(echo $expected)"

prefix=$win/package-wine
rm -rf "$prefix"
mkdir -p "$prefix"
# The platform's locale of the hosts and the servers: en-US.
wine_env=(env WINEPREFIX="$prefix" WINEDEBUG=-all LC_ALL=en_US.UTF-8 LANG=en_US.UTF-8)
. "$src/tests/com/wine_common.sh"
make_wine_prefix "$prefix" || fail "wineboot made no working prefix in $prefix"
(cd "$prefix/drive_c" && cmake -E tar xf "$win/$name.zip")
dir="C:\\$name"
vbs=$(windows_path "$src/tests/package/check_com.vbs")
run() { "${wine_env[@]}" wine "$@" < /dev/null 2>&1 | tr -d '\r'; }

out=$(run cmd /c "$dir\\register.cmd") || fail "register.cmd failed: $out"
echo "register.cmd: $out"
grep -q 'registered from' <<< "$out" || fail "register.cmd did not finish"
out=$(run cscript.exe //nologo "$vbs") || true
echo "$out" | sed 's/^/cscript: /'
[ "$out" = "$(printf 'Autodf1 String 1,250.50\ndone')" ] || fail "the VBScript host failed"
out=$(run "$prefix/drive_c/$name/qorvintr.exe" eval --field Amount:Double=1250.5 'Amount * 2') \
  || fail "qorvintr.exe failed: $out"
echo "qorvintr.exe eval: $out"
[ "$out" = "$(printf 'Autodf3\tDouble\t2501')" ] || fail "qorvintr.exe answered: $out"
out=$(run cmd /c "$dir\\unregister.cmd") || fail "unregister.cmd failed: $out"
echo "unregister.cmd: $out"
out=$(run cscript.exe //nologo "$vbs" unregistered) || true
echo "$out" | sed 's/^/cscript: /'
[ "$(tail -n 1 <<< "$out")" = done ] || fail "the servers are still registered"
"${wine_env[@]}" wineserver -w || true
echo "packaging (Windows zip): all checks passed"
