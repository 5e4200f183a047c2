#!/usr/bin/env bash
# The VBScript host against the qorvintr command: runs compare_host.vbs under Wine (cscript, the
# platform's script host) over a table of fields and scripts, runs the same table through
# "qorvintr batch", and fails on any difference in the result lines or the ReportError calls
# (their date argument compared by kind only: it is the time of the call).
#
# usage: vbscript_compare.sh --prefix WINEPREFIX --qorvintr EXE --fields FILE --scripts FILE
#                            --work DIR
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
prefix= qorvintr= fields= scripts= work=
while [ $# -gt 0 ]; do
  case "$1" in
    --prefix) prefix=$2; shift 2 ;;
    --qorvintr) qorvintr=$2; shift 2 ;;
    --fields) fields=$2; shift 2 ;;
    --scripts) scripts=$2; shift 2 ;;
    --work) work=$2; shift 2 ;;
    *) echo "unknown argument: $1" >&2; exit 2 ;;
  esac
done
[ -n "$prefix" ] && [ -n "$qorvintr" ] && [ -n "$fields" ] && [ -n "$scripts" ] && [ -n "$work" ] || {
  echo "usage: vbscript_compare.sh --prefix P --qorvintr EXE --fields F --scripts S --work DIR" >&2
  exit 2
}
# The platform's locale of the script host and the COM servers: en-US.
wine_env=(env WINEPREFIX="$prefix" WINEDEBUG=-all LC_ALL=en_US.UTF-8 LANG=en_US.UTF-8)
. "$here/wine_common.sh"
winpath() { windows_path "$1"; }
mkdir -p "$work"
rm -f "$work/vbs.utf16"

# The script host reads and writes Unicode (UTF-16) text files.
iconv -f UTF-8 -t UTF-16LE < "$fields" > "$work/fields.utf16"
iconv -f UTF-8 -t UTF-16LE < "$scripts" > "$work/scripts.utf16"

# The VBScript host. A script host that started and wrote nothing at all, not even an error,
# never ran the script (seen once in a parallel test run): it gets one more start, said here.
for try in 1 2; do
  rm -f "$work/vbs.utf16"
  "${wine_env[@]}" wine cscript.exe //nologo "$(winpath "$here/compare_host.vbs")" \
    "$(winpath "$work/fields.utf16")" "$(winpath "$work/scripts.utf16")" \
    "$(winpath "$work/vbs.utf16")" < /dev/null > "$work/vbs.stdout" 2> "$work/vbs.stderr" || {
    echo "cscript failed (exit $?):"; cat "$work/vbs.stdout" "$work/vbs.stderr"; exit 1; }
  if [ -s "$work/vbs.utf16" ] || [ -s "$work/vbs.stdout" ] || [ -s "$work/vbs.stderr" ]; then break; fi
  echo "note: the script host wrote nothing at all (start $try of 2)"
done
if [ ! -s "$work/vbs.utf16" ]; then
  echo "the VBScript host wrote nothing:"; cat "$work/vbs.stdout" "$work/vbs.stderr"; exit 1
fi
perl "$here/ascii_escape.pl" --utf16 < "$work/vbs.utf16" > "$work/vbs.out"
grep '^R ' "$work/vbs.out" | sed 's/^R //' > "$work/vbs.results" || true
grep '^E ' "$work/vbs.out" | sed 's/^E //' > "$work/vbs.errors" || true
if grep -v '^[VRE] ' "$work/vbs.out" > "$work/vbs.other"; then
  echo "unexpected output of the VBScript host:"; cat "$work/vbs.other"; exit 1
fi

# The qorvintr command on the same table.
status=0
"$qorvintr" batch --errors --system ComTest --application VBScript --fields "$fields" "$scripts" \
  > "$work/cli.raw" 2> "$work/cli.err" || status=$?
if [ "$status" -ne 0 ]; then echo "qorvintr batch failed (exit $status):"; cat "$work/cli.err"; exit 1; fi
perl "$here/ascii_escape.pl" < "$work/cli.raw" > "$work/cli.results"
perl "$here/ascii_escape.pl" < "$work/cli.err" \
  | awk -F' \\| ' 'BEGIN { OFS = " | " } { $3 = "Date"; print }' > "$work/cli.errors"

# The version properties against the command's version.
version=$("$qorvintr" --version | awk '{ print $2 }')
IFS=. read -r major minor revision <<< "$version"
expected_v=$(printf 'V %02d.%02d.%04d %d %d %d' "$major" "$minor" "$revision" "$major" "$minor" "$revision")
actual_v=$(grep '^V ' "$work/vbs.out" || true)

failed=0
if [ "$actual_v" != "$expected_v" ]; then
  echo "version properties: '$actual_v', expected '$expected_v'"; failed=1
fi
if ! diff -u "$work/cli.results" "$work/vbs.results"; then
  echo "result lines differ (--- qorvintr batch, +++ VBScript host)"; failed=1
fi
if ! diff -u "$work/cli.errors" "$work/vbs.errors"; then
  echo "ReportError calls differ (--- qorvintr batch, +++ VBScript host)"; failed=1
fi
scripts_n=$(wc -l < "$work/vbs.results")
errors_n=$(wc -l < "$work/vbs.errors")
if [ "$scripts_n" -eq 0 ]; then echo "no results at all"; failed=1; fi
echo "compared $scripts_n script results and $errors_n ReportError calls"
exit $failed
