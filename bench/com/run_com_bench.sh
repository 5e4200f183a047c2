#!/usr/bin/env bash
# Times the COM servers against the platform's Script Control under Wine, from two hosts: the
# late-bound C++ host com_bench.exe and the VBScript host com_bench.vbs (cscript). Uses a Wine
# prefix of its own (created when missing, never the user's), registers the three DLLs there,
# and prints both tables. It reports figures and fails only when a host fails: a family that
# answers a wrong value, a server that cannot be created, a crash.
#
# usage: run_com_bench.sh --com-dir FOLDER_OF_THE_DLLS --prefix WINEPREFIX
#                         [--count N] [--rounds R] [--vbs-seconds S]
#   --count        calls per side and round of the C++ host, and the batch of the VBScript
#                  host (default 2000)
#   --rounds       rounds of each family, the tables show the medians (default 5)
#   --vbs-seconds  the least time the VBScript host measures per side and round: its Timer
#                  ticks in steps of several milliseconds, so it repeats its batch until this
#                  much has passed (default 0.5)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
dir= prefix= count=2000 rounds=5 vbs_seconds=0.5
while [ $# -gt 0 ]; do
  case "$1" in
    --com-dir) dir=$2; shift 2 ;;
    --prefix) prefix=$2; shift 2 ;;
    --count) count=$2; shift 2 ;;
    --rounds) rounds=$2; shift 2 ;;
    --vbs-seconds) vbs_seconds=$2; shift 2 ;;
    *) echo "unknown argument: $1" >&2; exit 2 ;;
  esac
done
[ -n "$dir" ] && [ -n "$prefix" ] || {
  echo "usage: run_com_bench.sh --com-dir D --prefix P [--count N] [--rounds R] [--vbs-seconds S]" >&2
  exit 2
}
for f in QorvIntr.dll QorvDFld.dll QorvLog.dll com_bench.exe; do
  [ -f "$dir/$f" ] || { echo "missing $dir/$f (cmake --build --preset windows)" >&2; exit 1; }
done
mkdir -p "$prefix"
prefix=$(cd "$prefix" && pwd)
# The platform's locale of the hosts and the servers: en-US.
wine_env=(env WINEPREFIX="$prefix" WINEDEBUG=-all LC_ALL=en_US.UTF-8 LANG=en_US.UTF-8)
. "$here/../../tests/com/wine_common.sh"
make_wine_prefix "$prefix" || exit 1
winpath() { windows_path "$1"; }
for d in QorvIntr QorvDFld QorvLog; do
  "${wine_env[@]}" wine regsvr32 /s "$(winpath "$dir/$d.dll")" \
    || { echo "regsvr32 $d.dll failed" >&2; exit 1; }
done

families=$(winpath "$here/families.tsv")
code=$(winpath "$here/script_control.vbs")
status=0
echo "== C++ host (com_bench.exe)"
"${wine_env[@]}" wine "$dir/com_bench.exe" "$families" "$code" --count "$count" --rounds "$rounds" < /dev/null \
  | tr -d '\r' || status=1
echo
echo "== VBScript host (cscript com_bench.vbs)"
# cscript's exit status says nothing of a script that stopped on an error: the host ends with
# the line "done" when it got through.
out=$("${wine_env[@]}" wine cscript.exe //nologo "$(winpath "$here/com_bench.vbs")" "$families" "$code" \
        "$count" "$rounds" "$vbs_seconds" < /dev/null 2>&1 | tr -d '\r') || true
echo "$out"
if grep -q '^FAILED' <<< "$out" || [ "$(tail -n 1 <<< "$out")" != done ]; then
  echo "the VBScript host failed" >&2
  status=1
fi
exit $status
