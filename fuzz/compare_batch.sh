#!/usr/bin/env bash
# Windows and Linux give the same answers: the kept fuzz corpora, turned into batch files (one
# script per line, by the replay programs), go through the Linux qorvintr batch and through the
# cross-built qorvintr.exe batch under Wine, with the fuzz host's fields and a fixed clock. The
# result lines (standard output) and the ReportError lines (standard error) must be equal, line
# for line. A CR that ends a Windows line is the console's line end and is dropped; a CR inside
# a result is written \r by both, so none is lost.
#
# usage: compare_batch.sh --linux QORVINTR --windows QORVINTR_EXE --prefix WINEPREFIX
#          --scripts-replay EXE --scripts DIR --structured-replay EXE --structured DIR [--keep DIR]
set -uo pipefail

linux= windows= prefix= scripts_replay= scripts= structured_replay= structured= keep=
while [ $# -gt 0 ]; do
  case $1 in
    --linux) linux=$2; shift 2 ;;
    --windows) windows=$2; shift 2 ;;
    --prefix) prefix=$2; shift 2 ;;
    --scripts-replay) scripts_replay=$2; shift 2 ;;
    --scripts) scripts=$2; shift 2 ;;
    --structured-replay) structured_replay=$2; shift 2 ;;
    --structured) structured=$2; shift 2 ;;
    --keep) keep=$2; shift 2 ;;
    *) echo "compare_batch.sh: unknown argument $1" >&2; exit 2 ;;
  esac
done
for v in linux windows prefix scripts_replay scripts structured_replay structured; do
  [ -n "${!v}" ] || { echo "compare_batch.sh: --${v//_/-} is needed" >&2; exit 2; }
done
[ -f "$windows" ] || { echo "compare_batch.sh: no $windows (build the windows preset)" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$scripts_replay" --fields >"$work/fields.txt" || exit 2
{
  "$scripts_replay" --batch "$scripts" || exit 2
  "$structured_replay" --batch "$structured" || exit 2
} >"$work/scripts.txt"
lines=$(wc -l <"$work/scripts.txt")

options=(batch --errors --now "3/14/2002 9:30:00 AM" --system Fuzz --application Batch)

"$linux" "${options[@]}" --fields "$work/fields.txt" "$work/scripts.txt" \
  >"$work/linux.out" 2>"$work/linux.err"
linux_status=$?

mkdir -p "$prefix" && prefix=$(realpath "$prefix")
. "$(cd "$(dirname "$0")" && pwd)/../tests/com/wine_common.sh"
make_wine_prefix "$prefix" || exit 1
wine_env=(env WINEPREFIX="$prefix" WINEDEBUG=-all LC_ALL=en_US.UTF-8 LANG=en_US.UTF-8)
win_fields=$(windows_path "$work/fields.txt")
win_scripts=$(windows_path "$work/scripts.txt")
"${wine_env[@]}" wine "$windows" "${options[@]}" --fields "$win_fields" "$win_scripts" \
  </dev/null >"$work/windows.out.raw" 2>"$work/windows.err.raw"
windows_status=$?
"${wine_env[@]}" wineserver -w >/dev/null 2>&1 || true
sed 's/\r$//' "$work/windows.out.raw" >"$work/windows.out"
sed 's/\r$//' "$work/windows.err.raw" >"$work/windows.err"

if [ -n "$keep" ]; then
  mkdir -p "$keep" && cp "$work"/*.txt "$work"/*.out "$work"/*.err "$keep/"
fi

status=0
if [ "$linux_status" -ne 0 ] || [ "$windows_status" -ne 0 ]; then
  echo "FAIL: exit status: Linux $linux_status, Windows $windows_status"
  head -5 "$work/windows.err"
  status=1
fi
out_lines=$(wc -l <"$work/linux.out")
if [ "$out_lines" -ne "$lines" ]; then
  echo "FAIL: $lines scripts but $out_lines result lines from Linux"
  status=1
fi
if ! diff -q "$work/linux.out" "$work/windows.out" >/dev/null; then
  echo "FAIL: result lines differ (--- Linux, +++ Windows under Wine), with the scripts:"
  diff -u "$work/linux.out" "$work/windows.out" | head -40
  diff <(cat "$work/linux.out") <(cat "$work/windows.out") | grep -E '^[0-9]' | head -10 |
    while IFS= read -r where; do
      n=${where%%[acd,]*}
      printf '  line %s: %s\n' "$n" "$(sed -n "${n}p" "$work/scripts.txt")"
    done
  status=1
fi
if ! diff -q "$work/linux.err" "$work/windows.err" >/dev/null; then
  echo "FAIL: ReportError lines differ (--- Linux, +++ Windows under Wine):"
  diff -u "$work/linux.err" "$work/windows.err" | head -40
  status=1
fi
if [ $status -eq 0 ]; then
  echo "Linux and Windows agree: $lines scripts, $out_lines result lines, $(wc -l <"$work/linux.err") ReportError lines"
fi
exit $status
