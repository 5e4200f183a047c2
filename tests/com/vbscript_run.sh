#!/usr/bin/env bash
# Runs a self-checking VBScript under Wine's script host (cscript) and passes when it wrote no
# line starting with FAIL and ended with the line "done" (a script that stops on an error never
# gets there).
#
# usage: vbscript_run.sh --prefix WINEPREFIX SCRIPT.vbs
set -euo pipefail
[ "${1:-}" = --prefix ] && [ $# -eq 3 ] || { echo "usage: vbscript_run.sh --prefix P SCRIPT" >&2; exit 2; }
export WINEPREFIX=$2 WINEDEBUG=-all
script=$3
. "$(cd "$(dirname "$0")" && pwd)/wine_common.sh"
# A script host that started and wrote nothing at all, not even an error, never ran the script
# (seen once in a parallel test run): it gets one more start, said here.
for try in 1 2; do
  out=$(LC_ALL=en_US.UTF-8 LANG=en_US.UTF-8 wine cscript.exe //nologo \
          "$(windows_path "$script")" < /dev/null 2>&1 | tr -d '\r') || true
  [ -n "$out" ] && break
  echo "note: the script host wrote nothing at all (start $try of 2)"
done
echo "$out"
if grep -q '^FAIL' <<< "$out"; then exit 1; fi
[ "$(tail -n 1 <<< "$out")" = done ] || { echo "the script did not run to its end"; exit 1; }
