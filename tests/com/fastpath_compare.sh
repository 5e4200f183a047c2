#!/usr/bin/env bash
# Our objects' own dispatch against the type library's: runs a transcript host twice under Wine,
# once with QORVINTR_COM_GENERIC_INVOKE=1 (every call through ITypeInfo::Invoke, and our DLLs
# calling each other through IDispatch) and once without, and fails on any difference.
#   C++:      com_fastpath.exe (late-bound calls of every fast member, in every shape)
#   VBScript: fastpath_host.vbs (the same members as a script calls them)
#
# usage: fastpath_compare.sh --prefix WINEPREFIX --com-dir DIR --work DIR
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
prefix= dir= work=
while [ $# -gt 0 ]; do
  case "$1" in
    --prefix) prefix=$2; shift 2 ;;
    --com-dir) dir=$2; shift 2 ;;
    --work) work=$2; shift 2 ;;
    *) echo "unknown argument: $1" >&2; exit 2 ;;
  esac
done
mkdir -p "$work"
wine_env=(env WINEPREFIX="$prefix" WINEDEBUG=-all LC_ALL=en_US.UTF-8 LANG=en_US.UTF-8)
. "$here/wine_common.sh"
vbs=$(windows_path "$here/fastpath_host.vbs")
failed=0
# A transcript cut short (seen once in CI: one of the four ended part way, with
# no error) is taken again once, and said; a real difference gives two whole transcripts.
complete() {
  case "$1" in
    cpp) grep -q '^steps: ' "$2" ;;
    vbs) [ "$(tail -n 1 "$2")" = done ] ;;
  esac
}
run_host() {
  local host=$1 mode=$2
  case "$host" in
    cpp) "${wine_env[@]}" QORVINTR_COM_GENERIC_INVOKE=$mode wine "$dir/com_fastpath.exe" \
           < /dev/null | tr -d '\r' > "$work/cpp.$mode" ;;
    vbs) "${wine_env[@]}" QORVINTR_COM_GENERIC_INVOKE=$mode wine cscript.exe //nologo "$vbs" \
           < /dev/null 2>&1 | tr -d '\r' > "$work/vbs.$mode" || true ;;
  esac
}
for mode in 1 0; do
  for host in cpp vbs; do
    for try in 1 2; do
      status=0
      run_host "$host" "$mode" || status=$?
      if complete "$host" "$work/$host.$mode"; then break; fi
      echo "note: the $host transcript (mode $mode) stopped after" \
           "$(wc -l < "$work/$host.$mode") lines, exit $status (run $try of 2)"
    done
    [ "$status" = 0 ] || { echo "$host failed (mode $mode): exit $status"; failed=1; }
  done
done
for host in cpp vbs; do
  lines=$(wc -l < "$work/$host.1")
  if [ "$lines" -lt 20 ]; then echo "$host: only $lines lines"; cat "$work/$host.1"; failed=1; fi
  if ! diff -u "$work/$host.1" "$work/$host.0"; then
    echo "$host: answers differ (--- type library, +++ own dispatch)"; failed=1
  fi
  echo "$host: $lines lines compared"
done
for mode in 1 0; do
  complete cpp "$work/cpp.$mode" || { echo "com_fastpath.exe did not finish (mode $mode)"; failed=1; }
  complete vbs "$work/vbs.$mode" || { echo "fastpath_host.vbs did not finish (mode $mode)"; failed=1; }
done
exit $failed
