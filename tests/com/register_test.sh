#!/usr/bin/env bash
# Self-registration of the three COM servers under Wine, as a Windows user does it with
# regsvr32: every key the DLLs write is there after registering, none is left after
# unregistering, and they are registered again at the end for the tests that use them.
# Creates the Wine prefix when it does not exist yet.
#
# usage: register_test.sh --prefix WINEPREFIX --com-dir FOLDER_OF_THE_DLLS
set -euo pipefail
prefix= dir=
while [ $# -gt 0 ]; do
  case "$1" in
    --prefix) prefix=$2; shift 2 ;;
    --com-dir) dir=$2; shift 2 ;;
    *) echo "unknown argument: $1" >&2; exit 2 ;;
  esac
done
[ -n "$prefix" ] && [ -n "$dir" ] || { echo "usage: register_test.sh --prefix P --com-dir D" >&2; exit 2; }
export WINEPREFIX=$prefix WINEDEBUG=-all
. "$(cd "$(dirname "$0")" && pwd)/wine_common.sh"
make_wine_prefix "$prefix" || exit 1

dlls=(QorvIntr QorvDFld QorvLog)
for d in "${dlls[@]}"; do
  [ -f "$dir/$d.dll" ] || { echo "missing $dir/$d.dll"; exit 1; }
done

# Every key a DLL writes: its ProgIDs and classes, and its type library with its interfaces.
keys_QorvIntr=(
  'HKCR\QorvIntr.Interpreter\CLSID'
  'HKCR\CLSID\{942AD119-FDB3-463A-B7B8-BED4779577AE}\InprocServer32'
  'HKCR\CLSID\{942AD119-FDB3-463A-B7B8-BED4779577AE}\ProgID'
  'HKCR\CLSID\{942AD119-FDB3-463A-B7B8-BED4779577AE}\TypeLib'
  'HKCR\TypeLib\{AC2A7610-90BE-4B13-B45F-601FB034EB9A}'
  'HKCR\Interface\{EE005AC6-7435-489C-AF8C-E72E6EBC8F91}'
)
keys_QorvDFld=(
  'HKCR\QorvDFld.DataField\CLSID'
  'HKCR\QorvDFld.DataFields\CLSID'
  'HKCR\CLSID\{8F147EA3-2B00-4CB0-B28B-C7B1A4AE7DBD}\InprocServer32'
  'HKCR\CLSID\{4E81AF22-842C-435C-BFC0-180CBD378D9A}\InprocServer32'
  'HKCR\TypeLib\{09D4F25C-6FF4-483B-995B-F930DA3C0B56}'
  'HKCR\Interface\{A77D7F32-173F-422F-A636-021410DF96DE}'
  'HKCR\Interface\{35BD51C3-FFD8-4739-A7DB-39F4E0819475}'
  'HKCR\Interface\{042F1620-BBF4-4822-839C-9A3F4C30F086}'
)
keys_QorvLog=(
  'HKCR\QorvLog.Log\CLSID'
  'HKCR\CLSID\{7FBCE9C2-3D0C-4AED-8C95-C8B07CE1FC05}\InprocServer32'
  'HKCR\TypeLib\{FD62134D-3659-45D6-9BD3-64D4E9ABA6F6}'
  'HKCR\Interface\{2FF6087D-037F-4CB0-9723-623B7D7E07D1}'
)
# The top keys unregistering must remove entirely (nothing left beneath them).
tops=(
  'HKCR\QorvIntr.Interpreter' 'HKCR\QorvDFld.DataField' 'HKCR\QorvDFld.DataFields' 'HKCR\QorvLog.Log'
  'HKCR\CLSID\{942AD119-FDB3-463A-B7B8-BED4779577AE}' 'HKCR\CLSID\{8F147EA3-2B00-4CB0-B28B-C7B1A4AE7DBD}'
  'HKCR\CLSID\{4E81AF22-842C-435C-BFC0-180CBD378D9A}' 'HKCR\CLSID\{7FBCE9C2-3D0C-4AED-8C95-C8B07CE1FC05}'
  'HKCR\TypeLib\{AC2A7610-90BE-4B13-B45F-601FB034EB9A}' 'HKCR\TypeLib\{09D4F25C-6FF4-483B-995B-F930DA3C0B56}'
  'HKCR\TypeLib\{FD62134D-3659-45D6-9BD3-64D4E9ABA6F6}'
  'HKCR\Interface\{EE005AC6-7435-489C-AF8C-E72E6EBC8F91}' 'HKCR\Interface\{A77D7F32-173F-422F-A636-021410DF96DE}'
  'HKCR\Interface\{35BD51C3-FFD8-4739-A7DB-39F4E0819475}' 'HKCR\Interface\{042F1620-BBF4-4822-839C-9A3F4C30F086}'
  'HKCR\Interface\{2FF6087D-037F-4CB0-9723-623B7D7E07D1}'
)

failed=0
fail() { echo "FAILED: $*"; failed=1; }
# A key counts as present when a query finds it. A query can fail for reasons of its own while
# other Wine programs start beside it (seen once under a parallel test run), so a key is only
# taken as missing when three queries in a row do not find it.
exists() {
  local try
  for try in 1 2 3; do
    wine reg query "$1" >/dev/null 2>&1 && return 0
    [ "$try" -lt 3 ] && sleep 1
  done
  return 1
}
# The DLL's path as Windows programs see it (Wine's drive Z: is the root).
dll_path() { windows_path "$dir/$d.dll"; }
# regsvr32, tried up to three times: under a loaded Wine a registry call inside it fails now and
# then (seen in parallel test runs, never in a quiet one); a retry is said, a third failure fails.
regsvr() {
  local try status=0
  for try in 1 2 3; do
    wine regsvr32 /s "$@" "$(dll_path)" && return 0
    status=$?
    echo "note: regsvr32 $* $d.dll: exit $status (try $try of 3)"
    [ "$try" -lt 3 ] && sleep 1
  done
  return $status
}

all_present() {
  local d k
  for d in "${dlls[@]}"; do
    local -n keys="keys_$d"
    for k in "${keys[@]}"; do exists "$k" || fail "after registering $d: $k is missing"; done
  done
}
all_gone() {
  local k
  for k in "${tops[@]}"; do
    ! wine reg query "$k" >/dev/null 2>&1 || fail "after unregistering: $k is still there"
  done
}

# A clean start (a run before may have left them registered).
for d in "${dlls[@]}"; do regsvr /u || true; done
all_gone

for d in "${dlls[@]}"; do regsvr || fail "regsvr32 $d.dll: exit $?"; done
all_present
# The class of each DLL points at that DLL, in the apartment model.
inproc=$(wine reg query 'HKCR\CLSID\{942AD119-FDB3-463A-B7B8-BED4779577AE}\InprocServer32' | tr -d '\r')
expected_path=$(d=QorvIntr; dll_path)
grep -qF "REG_SZ    $expected_path" <<< "$inproc" || fail "InprocServer32 is not $expected_path: $inproc"
grep -qE 'ThreadingModel +REG_SZ +Apartment' <<< "$inproc" || fail "ThreadingModel is not Apartment: $inproc"
progid=$(wine reg query 'HKCR\QorvIntr.Interpreter\CLSID' | tr -d '\r')
grep -qF '{942AD119-FDB3-463A-B7B8-BED4779577AE}' <<< "$progid" || fail "ProgID points elsewhere: $progid"
win64=$(wine reg query 'HKCR\TypeLib\{AC2A7610-90BE-4B13-B45F-601FB034EB9A}\2.1\0\win64' 2>&1 | tr -d '\r' || true)
grep -qF "$expected_path" <<< "$win64" || echo "note: type library key: $win64"

for d in "${dlls[@]}"; do regsvr /u || fail "regsvr32 /u $d.dll: exit $?"; done
all_gone

# Registered again for the other tests.
for d in "${dlls[@]}"; do regsvr || fail "regsvr32 $d.dll (again): exit $?"; done
all_present

[ "$failed" -eq 0 ] && echo "registration round trip: ${#tops[@]} keys written and removed"
exit $failed
