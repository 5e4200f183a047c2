#!/usr/bin/env bash
# Runs the corpus through the platform's own runtime (oracle_win.exe under Wine) and through our
# automation layer (oracle_linux), and compares every answer. Fails on any disagreement that
# deviations.tsv does not list, on a malformed case, and on a crash of either side.
#
# deviations.tsv: <case line (with its own TABs)> TAB <Wine's answer> TAB <our answer> TAB <reason>
# A Wine answer of * matches any answer of Wine's (for cases where Wine prints unstable garbage).
#
# usage: compare.sh --wine-exe EXE --ours EXE --corpus DIR --deviations FILE --prefix WINEPREFIX
#                   [--keep DIR]   (keep both answer files in DIR)
set -u

wine_exe= ours= corpus= deviations= prefix= keep=
while [ $# -gt 0 ]; do
  case "$1" in
    --wine-exe) wine_exe=$2; shift 2 ;;
    --ours) ours=$2; shift 2 ;;
    --corpus) corpus=$2; shift 2 ;;
    --deviations) deviations=$2; shift 2 ;;
    --prefix) prefix=$2; shift 2 ;;
    --keep) keep=$2; shift 2 ;;
    *) echo "compare.sh: unknown argument $1" >&2; exit 2 ;;
  esac
done
for v in wine_exe ours corpus deviations prefix; do
  if [ -z "${!v}" ]; then echo "compare.sh: --${v//_/-} is required" >&2; exit 2; fi
done
# Absolute paths: the runs below happen inside the corpus folder.
wine_exe=$(realpath "$wine_exe") ours=$(realpath "$ours") deviations=$(realpath "$deviations")
prefix=$(realpath -m "$prefix")
[ -n "$keep" ] && keep=$(realpath -m "$keep")
[ -r "$deviations" ] || { echo "compare.sh: no deviations file at $deviations" >&2; exit 2; }
[ -f "$wine_exe" ] || { echo "compare.sh: no oracle program at $wine_exe" >&2; exit 2; }
[ -x "$ours" ] || { echo "compare.sh: no answerer at $ours" >&2; exit 2; }
command -v wine >/dev/null || { echo "compare.sh: wine is not installed" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cd "$corpus" || exit 2
shopt -s nullglob
files=(*.tsv)
[ ${#files[@]} -gt 0 ] || { echo "compare.sh: no case files in $corpus" >&2; exit 2; }

# Runs one side over all cases; a case that kills the side is answered CRASH and the side is
# restarted after it (-s), so one crash costs one answer, not the rest of the corpus.
#   run_side OUTFILE ERRFILE TIMEOUT COMMAND...   (sets side_failed=1 when it cannot go on)
run_side() {
  local out=$1 err=$2 limit=$3; shift 3
  local done=0 rc attempt last
  : >"$out"; : >"$err"
  side_failed=0
  for attempt in $(seq 1 200); do
    timeout "$limit" "$@" -n -s "$done" "${files[@]}" >>"$out" 2>>"$err" </dev/null
    rc=$?
    if [ -s "$out" ] && [ "$(tail -c1 "$out" | od -An -c | tr -d ' ')" != '\n' ]; then
      echo "CRASH:exit $rc" >>"$out"
    fi
    last=$done
    done=$(wc -l <"$out")
    [ $rc -eq 0 ] && return 0
    if [ "$done" -eq "$last" ]; then
      echo "$(basename "$out" .out) stopped with exit code $rc before answering anything more" >>"$err"
      side_failed=1
      return 1
    fi
  done
  side_failed=1
}

# The platform's answers: en-US user locale (operators convert texts with it), a throwaway
# prefix (created on first use), no Wine debug chatter.
mkdir -p "$prefix"
run_side "$work/wine.out" "$work/wine.err" 180 \
  env LC_ALL=en_US.UTF-8 LANG=en_US.UTF-8 WINEPREFIX="$prefix" WINEDEBUG=-all wine "$wine_exe"
wine_failed=$side_failed
run_side "$work/ours.out" "$work/ours.err" 60 "$ours"
ours_failed=$side_failed

if [ -n "$keep" ]; then
  mkdir -p "$keep" && cp "$work/wine.out" "$work/ours.out" "$keep/"
fi

status=0
if [ $wine_failed -ne 0 ]; then
  echo "FAIL: the Windows oracle could not answer every case"; sed 's/^/  wine: /' "$work/wine.err" | head -20; status=1
fi
if grep -q 'oracle: warning' "$work/wine.err"; then
  echo "FAIL: the Windows oracle did not run in en-US:"; grep 'oracle: warning' "$work/wine.err" | head -3; status=1
fi
if [ $ours_failed -ne 0 ]; then
  echo "FAIL: our answerer could not answer every case"; sed 's/^/  ours: /' "$work/ours.err" | head -20; status=1
fi

awk -F'\t' -v devfile="$deviations" '
  function caseof(   i, s) { s = $2; for (i = 3; i <= NF - 2; i++) s = s "\t" $i; return s }
  function bad(a) { return a ~ /^(BADCASE|CRASH|VT[0-9])/ }
  BEGIN {
    while ((getline line < devfile) > 0) {
      ++devline
      if (line ~ /^#/ || line ~ /^[ \t]*$/) continue
      n = split(line, f, "\t")
      if (n < 5 || f[n] == "") { printf "FAIL: deviations.tsv line %d needs case, Wine, ours, reason\n", devline; broken = 1; continue }
      c = f[1]; for (i = 2; i <= n - 3; i++) c = c "\t" f[i]
      k = c "\x1f" f[n-2] "\x1f" f[n-1]
      if (k in dev) continue   # the same entry twice: the first one counts
      dev[k] = devline
      devcase[devline] = c
    }
    nareas = 0
  }
  { side = (FILENAME == ARGV[1]) ? 1 : 2 }
  {
    if (NF < 4 || $(NF-1) != "=>") { printf "FAIL: unreadable answer line: %s\n", $0; broken = 1; next }
    key = $1; ans = $NF
    if (side == 1) {
      if (!(key in wine)) order[++n_order] = key
      wine[key] = ans; cs[key] = caseof()
    } else {
      ours[key] = ans; if (!(key in cs)) cs[key] = caseof()
    }
  }
  END {
    for (k in ours) if (!(k in wine)) order[++n_order] = k
    for (i = 1; i <= n_order; i++) {
      k = order[i]; area = k; sub(/:[0-9]+$/, "", area)
      if (!(area in cases)) { areas[++nareas] = area; cases[area] = agree[area] = listed[area] = unexp[area] = 0 }
      cases[area]++
      w = (k in wine) ? wine[k] : "(no answer)"; o = (k in ours) ? ours[k] : "(no answer)"
      d = cs[k] "\x1f" w "\x1f" o
      if (w == o && !bad(w)) { agree[area]++ }
      else if (w != o && ((d in dev) || ((cs[k] "\x1f*\x1f" o) in dev))) {
        listed[area]++; used[(d in dev) ? dev[d] : dev[cs[k] "\x1f*\x1f" o]] = 1
      }
      else {
        unexp[area]++
        msg[++nmsg] = sprintf("  %s\t%s\n      Wine: %s\n      ours: %s", k, cs[k], w, o)
      }
    }
    printf "%-14s %6s %6s %6s %6s\n", "area", "cases", "agree", "listed", "UNEXP"
    for (i = 1; i <= nareas; i++) {
      a = areas[i]
      printf "%-14s %6d %6d %6d %6d\n", a, cases[a], agree[a], listed[a], unexp[a]
      tc += cases[a]; ta += agree[a]; tl += listed[a]; tu += unexp[a]
    }
    printf "%-14s %6d %6d %6d %6d\n", "total", tc, ta, tl, tu
    if (nmsg) {
      printf "\nUnexpected disagreements (not in deviations.tsv):\n"
      for (i = 1; i <= nmsg; i++) print msg[i]
    }
    for (l in devcase) if (!(l in used)) printf "note: deviations.tsv line %d no longer occurs: %s\n", l, devcase[l]
    exit (tu > 0 || broken) ? 1 : 0
  }
' "$work/wine.out" "$work/ours.out" || status=1

[ $status -eq 0 ] && echo "oracle: every answer agrees, or is a listed deviation"
exit $status
