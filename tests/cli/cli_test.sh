#!/usr/bin/env bash
# Tests of the qorvintr command, one case per call:
#   cli_test.sh QORVINTR CASE SOURCE_DIR PROJECT_VERSION
# Each case runs the built program and compares its standard output, standard error and exit
# status with what is expected, byte for byte.
set -u

Q=$1
CASE=$2
SRC=$3
VERSION=$4

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
failures=0
NOW='3/14/2002 9:30:00 AM'
TAB=$'\t'
CR=$'\r'

# run CMD...: the output in $out, the messages in $err, the exit status in $rc (trailing line
# feeds kept).
run() {
  "$@" >"$tmp/out" 2>"$tmp/err" <"${RUN_INPUT:-/dev/null}"
  rc=$?
  out=$(cat "$tmp/out"; printf x); out=${out%x}
  err=$(cat "$tmp/err"; printf x); err=${err%x}
}
# run_in TEXT CMD...: the same with TEXT on standard input.
run_in() {
  printf '%s' "$1" >"$tmp/in"
  shift
  RUN_INPUT=$tmp/in run "$@"
}

fail() {
  failures=$((failures + 1))
  printf 'FAIL: %s\n' "$1"
  if [ $# -ge 3 ]; then
    printf '  expected: %q\n' "$2"
    printf '  actual:   %q\n' "$3"
  fi
}
expect_eq() {  # what expected actual
  if [ "$2" != "$3" ]; then fail "$1" "$2" "$3"; fi
}
expect_contains() {  # what needle haystack
  case "$3" in
    *"$2"*) ;;
    *) fail "$1: no '$2' in" "" "$3" ;;
  esac
}
# expect WHAT RC STDOUT STDERR: the last run gave exactly these.
expect() {
  expect_eq "$1: exit status" "$2" "$rc"
  expect_eq "$1: standard output" "$3" "$out"
  expect_eq "$1: standard error" "$4" "$err"
}
usage_message() {  # the message of a usage error, as printed
  printf 'qorvintr: %s\nTry '"'"'qorvintr --help'"'"'.\n' "$1"
}
# expect_usage WHAT MESSAGE: the last run was a usage error with this message.
expect_usage() {
  expect "$1" 2 "" "$(usage_message "$2")"$'\n'
}

banner() {  # the debug log's first entry, as --log-stderr prints it
  printf '\r\n%s\r\n------------------------------\r\n-     Interpreter - Init     -\r\n------------------------------\r\nInterpreter Version: %s\n' \
    "$NOW" "$RELEASE"
}

IFS=. read -r major minor revision <<<"$VERSION"
RELEASE=$(printf '%02d.%02d.%04d' "$major" "$minor" "$revision")

case_help() {
  run "$Q" --help
  local help=$out
  expect_eq "--help: exit status" 0 "$rc"
  expect_eq "--help: standard error" "" "$err"
  for needle in 'Usage:' 'qorvintr eval  [OPTIONS] SCRIPT' 'qorvintr batch [OPTIONS] [FILE | -]' \
      'qorvintr run   [--fields FILE] [--scripts FILE] [OPTIONS]' 'qorvintr --version' \
      '--field NAME=VALUE' '--field NAME:TYPE=VALUE' '--fields FILE' '--ini FILE' '--log-stderr' \
      '--errors' '--system NAME' '--application NAME' '--now DATETIME' '--scripts FILE' \
      'Boolean, Single, Double, Date or Variant' 'DataClass "Host"' 'default: Upload' \
      'default: qorvintr' 'NAME<TAB>DATATYPE<TAB>DATA' 'Nothing' 'Exit status' \
      'fields file' 'batch file' 'scripts file' 'FIELD<TAB>SCRIPT' 'ReportError: CODE | TEXT' \
      'qorvintr check [OPTIONS] SCRIPT|FILE|-' '--json' 'check: 0 no warning, 1 warnings' \
      'qorvintr explain [OPTIONS] SCRIPT'; do
    expect_contains "--help" "$needle" "$help"
  done
  for form in -h help; do
    run "$Q" "$form"
    expect "$form" 0 "$help" ""
  done
  for command in eval explain batch run check; do
    run "$Q" "$command" --help
    expect "$command --help" 0 "$help" ""
  done
  run "$Q"
  expect_usage "no command" "a command is needed: eval, explain, batch, run or check"
}

case_version() {
  run "$Q" --version
  expect "--version" 0 "qorvintr $VERSION (interpreter release $RELEASE)"$'\n' ""
}

case_eval_status() {
  run "$Q" eval '1 + 1'
  expect "a value" 0 "Autodf4${TAB}Long${TAB}2"$'\n' ""
  run "$Q" eval --field A=x A
  expect "a host field" 0 "A${TAB}String${TAB}x"$'\n' ""
  run "$Q" eval ')'
  expect "a failing script" 1 "Error${TAB}Boolean${TAB}False"$'\n' ""
  run "$Q" eval --field Error=x Error
  expect "a field named Error" 1 "Error${TAB}String${TAB}x"$'\n' ""
  run "$Q" eval ''
  expect "an empty script" 3 "Nothing"$'\n' ""
  run "$Q" eval '   '
  expect "a script of blanks" 3 "Nothing"$'\n' ""
  run "$Q" eval
  expect_usage "no script" "eval: a SCRIPT is needed"
  # After -- a word is the script even when it looks like an option (this one is no valid
  # script: the language has no sign operator).
  run "$Q" eval -- --field
  expect "a script after --" 1 "Error${TAB}Boolean${TAB}False"$'\n' ""
}

case_eval_fields() {
  local definition expected
  while IFS='|' read -r definition expected; do
    run "$Q" eval --field "$definition" N
    expect "--field $definition" 0 "${expected//\\t/$TAB}"$'\n' ""
  done <<'EOF'
N=12|N\tString\t12
N:String=12|N\tString\t12
N:Long=12|N\tLong\t12
N:long=-12|N\tLong\t-12
N:Integer=-7|N\tInteger\t-7
N:Boolean=True|N\tBoolean\tTrue
N:BOOLEAN=0|N\tBoolean\tFalse
N:Single=1.5|N\tSingle\t1.5
N:Double=0.1|N\tDouble\t0.1
N:Date=3/14/2002 9:30|N\tDate\t3/14/2002 9:30:00 AM
N:Date=March 14, 2002|N\tDate\t3/14/2002
N:Date=37329|N\tDate\t3/14/2002
N:Variant=007|N\tVariant\t007
 N : Long = 5|N\tLong\t5
N=a=b|N\tString\ta=b
N=|N\tString\t
EOF
  run "$Q" eval --field 'A:B:String=x' 'A:B'
  expect "a name with a colon" 0 "A:B${TAB}String${TAB}x"$'\n' ""
  run "$Q" eval --field N=1 --field n:Long=2 N
  expect "a later field replaces an earlier one" 0 "n${TAB}Long${TAB}2"$'\n' ""
  run "$Q" eval --field=N:Long=7 N
  expect "--field=DEFINITION" 0 "N${TAB}Long${TAB}7"$'\n' ""
  run "$Q" eval --field A:Long=2 --field B:Double=0.25 'A * B'
  expect "typed fields in an expression" 0 "Autodf2${TAB}Double${TAB}0.5"$'\n' ""
  run "$Q" eval --field A=10 --field B=9 'A < B'
  expect "two String fields compare as text" 0 "Autodf2${TAB}Boolean${TAB}True"$'\n' ""
  run "$Q" eval --field A=10 --field B:Long=9 'A < B'
  expect "a String and a Long field compare as numbers" 0 "Autodf2${TAB}Boolean${TAB}False"$'\n' ""
}

case_eval_output() {
  run "$Q" eval --field $'T=a\tb\\c\r\nd' T
  expect "tab, backslash and line break are escaped" 0 "T${TAB}String${TAB}a\\tb\\\\c\\r\\nd"$'\n' ""
  run "$Q" eval --field 'N=Žluťoučký kůň 😀' N
  expect "UTF-8 in and out" 0 "N${TAB}String${TAB}Žluťoučký kůň 😀"$'\n' ""
  run "$Q" eval --field 'Název=ü' 'název & "ß"'
  expect "a field name outside ASCII" 0 "Autodf3${TAB}String${TAB}üß"$'\n' ""
  run "$Q" eval --field Sex=F 'IF Sex = "M" THEN "male" ELSEIF Sex = "F" THEN "female" ELSE "other" END IF'
  expect "an IF result is shown through its default member" 0 "Autodf2${TAB}Variant${TAB}female"$'\n' ""
  run "$Q" eval --field D=03/14/2002 --field T='9:30 AM' 'DateCat D T'
  expect "a Date result" 0 "Autodf1${TAB}Date${TAB}3/14/2002 9:30:00 AM"$'\n' ""
}

case_usage_errors() {
  run "$Q" eval --field X X
  expect_usage "no =" "eval: --field: 'X' is not a field: write NAME=VALUE or NAME:TYPE=VALUE"
  run "$Q" eval --field =1 X
  expect_usage "no name" "eval: --field: '=1' has no field name before '='"
  run "$Q" eval --field ' :Long=1' X
  expect_usage "no name before the type" "eval: --field: ' :Long=1' has no field name before ':'"
  run "$Q" eval --field A:Money=1 A
  expect_usage "unknown type" "eval: --field: unknown type 'Money' for field 'A' (use String, Long, Integer, Boolean, Single, Double, Date or Variant)"
  run "$Q" eval --field A:Long=abc A
  expect_usage "not a number" "eval: --field: the value 'abc' of field 'A' cannot be converted to Long (error 13: Type mismatch)"
  run "$Q" eval --field A:Integer=40000 A
  expect_usage "out of range" "eval: --field: the value '40000' of field 'A' cannot be converted to Integer (error 6: Overflow)"
  run "$Q" eval --field A:Date=someday A
  expect_usage "not a date" "eval: --field: the value 'someday' of field 'A' cannot be converted to Date (error 13: Type mismatch)"
  run "$Q" eval --field
  expect_usage "no field after --field" "eval: option --field needs a value"
  run "$Q" eval --bogus x
  expect_usage "unknown option" "eval: unknown option '--bogus' (see qorvintr --help)"
  run "$Q" eval --scripts f x
  expect_usage "--scripts is for run" "eval: unknown option '--scripts' (see qorvintr --help)"
  run "$Q" eval --errors=yes x
  expect_usage "a switch with a value" "eval: option --errors takes no value"
  run "$Q" eval --fields "$tmp/missing.txt" x
  expect_usage "missing fields file" "cannot read fields file '$tmp/missing.txt'"
  run "$Q" eval --fields "$tmp" x
  expect_usage "fields file is a folder" "fields file '$tmp' is a folder, not a file"
  printf 'A=1\n\nB\n' >"$tmp/bad-fields.txt"
  run "$Q" eval --fields "$tmp/bad-fields.txt" x
  expect_usage "bad line in a fields file" "$tmp/bad-fields.txt:3: 'B' is not a field: write NAME=VALUE or NAME:TYPE=VALUE"
  printf 'A:Long=1\nB:Long=two\n' >"$tmp/bad-value.txt"
  run "$Q" eval --fields "$tmp/bad-value.txt" x
  expect_usage "bad value in a fields file" "$tmp/bad-value.txt:2: the value 'two' of field 'B' cannot be converted to Long (error 13: Type mismatch)"
  run "$Q" eval --ini "$tmp/missing.ini" x
  expect_usage "missing INI file" "cannot read INI file '$tmp/missing.ini'"
  run "$Q" eval --now someday x
  expect_usage "bad --now" "eval: --now 'someday' is not a date and time (write for instance \"3/14/2002 9:30:00 AM\")"
  run "$Q" eval a b
  expect_usage "two scripts" "eval: one SCRIPT only (quote a script that has blanks); got 'b' too"
  run "$Q" frobnicate
  expect_usage "unknown command" "unknown command 'frobnicate' (eval, explain, batch, run, check, help)"
  run "$Q" --frobnicate
  expect_usage "unknown option before a command" "unknown option '--frobnicate'"
  run "$Q" batch "$tmp/missing.txt"
  expect_usage "missing batch file" "cannot read batch file '$tmp/missing.txt'"
  run "$Q" batch a b
  expect_usage "two batch files" "batch: one FILE only; got 'b' too"
  run "$Q" run --scripts "$tmp/missing.txt"
  expect_usage "missing scripts file" "cannot read scripts file '$tmp/missing.txt'"
  run "$Q" run extra
  expect_usage "run takes no operand" "run: unexpected 'extra' (give files with --fields and --scripts)"
}

case_errors_option() {
  run "$Q" eval --errors --now "$NOW" --system Sys --application App '7 / 0'
  expect "division by zero reported" 1 "Error${TAB}Boolean${TAB}False"$'\n' \
    "ReportError: 150100 | Error: -2147220981 - Division by zero | $NOW | 4 | 15 |  | Sys | App | $RELEASE | Interpreter | EvaluateExpression"$'\n'
  run "$Q" eval --errors --now "$NOW" 'FormatHL7DateTime Nope'
  expect "argument error reported, default names" 0 "Autodf1${TAB}String${TAB}00000000"$'\n' \
    "ReportError: 150100 | Error: 449 - Argument not optional | $NOW | 4 | 15 |  | Upload | qorvintr | $RELEASE | Interpreter | PerformGetHL7DateTimeFormatArguments"$'\n'
  run "$Q" eval --now "$NOW" '7 / 0'
  expect "no --errors, no lines" 1 "Error${TAB}Boolean${TAB}False"$'\n' ""
  run "$Q" eval --errors ')'
  expect "the driver's own failures are not reported" 1 "Error${TAB}Boolean${TAB}False"$'\n' ""
}

case_log_stderr() {
  run "$Q" eval --log-stderr --now "$NOW" '1 + 1'
  expect "banner only" 0 "Autodf4${TAB}Long${TAB}2"$'\n' "$(banner)"$'\n'
  run "$Q" eval --log-stderr --now "$NOW" ')'
  expect "syntax error logged" 1 "Error${TAB}Boolean${TAB}False"$'\n' \
    "$(banner)"$'\n'"${CR}"$'\n'"$NOW${CR}"$'\n'"Interpreter - RealizeRegularExpression - Error Trap${CR}"$'\n'"Error: -2147218559${CR}"$'\n'"Syntax error${CR}"$'\n'"Expression:)${CR}"$'\n'"Word: )"$'\n'
  run "$Q" eval --log-stderr --errors --now "$NOW" '7 / 0'
  expect "log entries and ReportError lines in order" 1 "Error${TAB}Boolean${TAB}False"$'\n' \
    "$(banner)"$'\n'"${CR}"$'\n'"$NOW${CR}"$'\n'"Interpreter - EvaluateExpression - Error Trap${CR}"$'\n'"Error: -2147220981${CR}"$'\n'"Division by zero"$'\n'"ReportError: 150100 | Error: -2147220981 - Division by zero | $NOW | 4 | 15 |  | Upload | qorvintr | $RELEASE | Interpreter | EvaluateExpression"$'\n'"${CR}"$'\n'"$NOW${CR}"$'\n'"Interpreter - RealizeRegularExpression - Error Trap${CR}"$'\n'"Error: 91${CR}"$'\n'"Object variable or With block variable not set${CR}"$'\n'"Expression:7 / 0${CR}"$'\n'"Word: 0"$'\n'
  mkdir -p "$tmp/logs"
  printf '[Upload]\r\nWriteDebugLog=False\r\nDebugLogPath=%s\r\n' "$tmp/logs" >"$tmp/off.ini"
  run "$Q" eval --log-stderr --ini "$tmp/off.ini" --now "$NOW" ')'
  expect "the INI switches the log off" 1 "Error${TAB}Boolean${TAB}False"$'\n' ""
  printf '[Upload]\r\nWriteDebugLog=True\r\nDebugLogPath=%s\r\n' "$tmp/logs" >"$tmp/on.ini"
  run "$Q" eval --log-stderr --ini "$tmp/on.ini" --now "$NOW" '1 + 1'
  expect "the INI switches the log on" 0 "Autodf4${TAB}Long${TAB}2"$'\n' "$(banner)"$'\n'
  expect_eq "no log files beside standard error" "" "$(ls -A "$tmp/logs")"
  printf 'DateCompare A, B\n1 + 1\n' >"$tmp/two.txt"
  run "$Q" batch --log-stderr --now "$NOW" --field A=3/15/2002 --field B=3/14/2002 "$tmp/two.txt"
  expect_eq "batch: exit status" 0 "$rc"
  expect_eq "batch: one Init banner for all scripts" 1 "$(grep -c 'Interpreter - Init' <<<"$err")"
  expect_contains "batch: DateCompare traces" "vntDate1: A${CR}"$'\n'"vntDate2: B" "$err"
}

case_ini_file() {
  mkdir -p "$tmp/logs" "$tmp/cwd"
  printf '[Upload]\r\nWriteDebugLog=True\r\nDebugLogPath=%s\r\n' "$tmp/logs" >"$tmp/cwd/host.ini"
  run "$Q" eval --ini "$tmp/cwd/host.ini" --now "$NOW" ')'
  expect "log written to a file" 1 "Error${TAB}Boolean${TAB}False"$'\n' ""
  local expected
  expected=$(printf 'Debug Log\r\n\r\n%s\r\n------------------------------\r\n-     Interpreter - Init     -\r\n------------------------------\r\nInterpreter Version: %s\r\n<END OF ENTRY>\r\n\r\n%s\r\nInterpreter - RealizeRegularExpression - Error Trap\r\nError: -2147218559\r\nSyntax error\r\nExpression:)\r\nWord: )\r\n<END OF ENTRY>\r\nx' \
    "$NOW" "$RELEASE" "$NOW")
  local actual
  actual=$(cat "$tmp/logs/OrUpDebg.Log" 2>/dev/null; printf x)
  expect_eq "the log file" "$expected" "$actual"
  rm -f "$tmp/logs/"*
  # A relative INI name is taken from the current folder.
  cd "$tmp/cwd" || exit 1
  run "$Q" eval --ini host.ini --now "$NOW" '1 + 1'
  cd - >/dev/null || exit 1
  expect "relative INI name" 0 "Autodf4${TAB}Long${TAB}2"$'\n' ""
  [ -f "$tmp/logs/OrUpDebg.Log" ] || fail "relative INI name: no log file"
  rm -f "$tmp/logs/"*
  printf '[Upload]\r\nWriteDebugLog=true\r\nDebugLogPath=%s\r\n' "$tmp/logs" >"$tmp/lower.ini"
  run "$Q" eval --ini "$tmp/lower.ini" ')'
  expect "WriteDebugLog=true (lower case) leaves the log off" 1 "Error${TAB}Boolean${TAB}False"$'\n' ""
  expect_eq "no log file" "" "$(ls -A "$tmp/logs")"
}

case_fields_file() {
  printf '\xEF\xBB\xBF# the fields of a test\r\n\r\n   \r\n  # indented comment\r\nName=O'"'"'Brien\r\n Pad : long = 42\r\nMulti=line1\\r\\nline2\\tx\\\\y\\q\r\nEq=a=b\r\nEmpty=\r\nDt:Date=3/14/2002\r\nLast=no line end' >"$tmp/fields.txt"
  run_in $'Name\nPad\nMulti\nEq\nEmpty\nDt\nPad + 1\nLast\n' "$Q" batch --fields "$tmp/fields.txt" -
  expect "a fields file with comments, blanks, types, escapes and CR LF" 0 \
    "Name${TAB}String${TAB}O'Brien
Pad${TAB}Long${TAB}42
Multi${TAB}String${TAB}line1\\r\\nline2\\tx\\\\y\\\\q
Eq${TAB}String${TAB}a=b
Empty${TAB}String${TAB}
Dt${TAB}Date${TAB}3/14/2002
Autodf3${TAB}Long${TAB}43
Last${TAB}String${TAB}no line end
" ""
  run "$Q" eval --fields "$tmp/fields.txt" --field Pad:Long=1 'Pad + 1'
  expect "--field after --fields replaces a field" 0 "Autodf3${TAB}Long${TAB}2"$'\n' ""
  run "$Q" eval --field Pad:Long=1 --fields "$tmp/fields.txt" 'Pad + 1'
  expect "--fields after --field replaces a field" 0 "Autodf3${TAB}Long${TAB}43"$'\n' ""
  : >"$tmp/empty.txt"
  run "$Q" eval --fields "$tmp/empty.txt" '"x"'
  expect "an empty fields file" 0 "Autodf1${TAB}String${TAB}x"$'\n' ""
}

BATCH_SCRIPTS='1 + 1

)
IF A = 41 THEN\r\n"yes"\r\nELSE\r\n"no"\r\nEND IF
IF A = 40 THEN\r\n"yes"\r\nELSE\r\n"no"\r\nEND IF
"a" & "b"
7 \ 2
A \\ 2
A'
BATCH_RESULTS="Autodf4${TAB}Long${TAB}2
Nothing
Error${TAB}Boolean${TAB}False
Autodf1${TAB}Variant${TAB}yes
Autodf1${TAB}Variant${TAB}no
Autodf4${TAB}String${TAB}ab
Autodf4${TAB}Long${TAB}3
Autodf3${TAB}Long${TAB}20
A${TAB}Long${TAB}41
"

case_batch_file() {
  printf '%s\n' "$BATCH_SCRIPTS" >"$tmp/scripts.txt"
  run "$Q" batch --field A:Long=41 "$tmp/scripts.txt"
  expect "batch from a file" 0 "$BATCH_RESULTS" ""
  # CR LF line ends, no line end at the end.
  printf '%s' "${BATCH_SCRIPTS//$'\n'/$'\r\n'}" >"$tmp/crlf.txt"
  run "$Q" batch --field A:Long=41 "$tmp/crlf.txt"
  expect "batch from a CR LF file" 0 "$BATCH_RESULTS" ""
  : >"$tmp/none.txt"
  run "$Q" batch "$tmp/none.txt"
  expect "an empty batch file" 0 "" ""
  run "$Q" batch --errors --now "$NOW" --field A=x "$tmp/scripts.txt"
  expect_eq "batch with failures: exit status" 0 "$rc"
  expect_eq "batch with failures: one line per script" 9 "$(printf '%s' "$out" | wc -l)"
}

case_batch_stdin() {
  run_in "$BATCH_SCRIPTS" "$Q" batch --field A:Long=41
  expect "batch from standard input" 0 "$BATCH_RESULTS" ""
  run_in "$BATCH_SCRIPTS" "$Q" batch --field A:Long=41 -
  expect "batch from -" 0 "$BATCH_RESULTS" ""
  local many="" expected="" i
  for i in $(seq 1 500); do
    many+="$i * 2"$'\n'
    expected+="Autodf4${TAB}Long${TAB}$((i * 2))"$'\n'
  done
  run_in "$many" "$Q" batch
  expect "500 scripts in one process" 0 "$expected" ""
}

case_run_example() {
  cd "$SRC" || exit 1
  run "$Q" run --errors --fields examples/document-fields.txt --scripts examples/hl7-scripts.txt
  expect "the bundled example" 0 "$(cat tests/cli/expected/run-example.txt)"$'\n' ""
  local errors
  errors=$(awk 'NR > 5 && $2 == "Error"' <<<"$out")
  expect_eq "no Error row" "" "$errors"
}

case_check() {
  cd "$SRC" || exit 1
  # The bundled example: one warning, on the line that shows grouping from the right.
  run "$Q" check --fields examples/document-fields.txt examples/hl7-scripts.txt
  expect "check over the bundled example" 1 "$(cat tests/cli/expected/check-example.txt)"$'\n' ""
  # A clean script, and the fields known.
  run "$Q" check --field Amount:Double=1 'Format Amount, "0.00"'
  expect "a clean script" 0 "0 warnings in 0 of 1 script"$'\n' ""
  run "$Q" check 'A + 1'
  expect "no fields given" 0 "0 warnings in 0 of 1 script (no fields given: every name is taken for a field)"$'\n' ""
  # A trap: where it is, the line, a caret under it, the rewrite.
  run "$Q" check --field Phone=555.1 'Replace Phone, ".", "-"'
  expect "literal followed by a comma" 1 "script:1:16: warning [literal-comma]: the comma stays part of the word '\".\",', so the text is '.\",' instead of '.'; write a blank before the comma
    Replace Phone, \".\", \"-\"
                   ^
    rewrite: Replace Phone, \".\" , \"-\"
1 warning in 1 of 1 script
" ""
  # --json: one object per warning.
  run "$Q" check --json --field Phone=555.1 'Replace Phone, ".", "-"' 'Phone)'
  expect_eq "--json: exit status" 1 "$rc"
  expect_eq "--json: standard error" "" "$err"
  expect_eq "--json" '[
{"source":"script","file_line":null,"field":null,"line":1,"column":16,"kind":"literal-comma","word":"\".\",","message":"the comma stays part of the word '"'"'\".\",'"'"', so the text is '"'"'.\",'"'"' instead of '"'"'.'"'"'; write a blank before the comma","rewrite":"Replace Phone, \".\" , \"-\"","script":"Replace Phone, \".\", \"-\""},
{"source":"script","file_line":null,"field":null,"line":1,"column":1,"kind":"glued-paren","word":"Phone)","message":"'"'"'Phone)'"'"' is not read as Phone followed by '"'"')'"'"': a \")\" glued to a word stays part of it (Syntax error); write a blank before it","rewrite":"Phone )","script":"Phone)"}
]'$'\n' "$out"
  run "$Q" check --json 'A + 1'
  expect "--json without warnings" 0 "[]"$'\n' ""
  # Standard input, a batch file (no tabs), line and column in a script of several lines.
  run_in 'A * 2 + 1'$'\n''# a comment'$'\n''IF A THEN\r\n  "x"\r\nELSE\r\n  Format B, "0"\r\nEND IF'$'\n' "$Q" check -
  expect_eq "stdin: exit status" 1 "$rc"
  expect_contains "stdin: first line" "-:1:1:3: warning [right-grouping]" "$out"
  expect_contains "stdin: the IF's fourth line" "-:3:4:3: warning [branch-joined]" "$out"
  expect_contains "stdin: summary" "2 warnings in 2 of 2 scripts" "$out"
  # Usage errors.
  run "$Q" check
  expect_usage "check without a script" "check: a SCRIPT or a FILE is needed"
  run "$Q" check --jobs 2 'A'
  expect_usage "check --jobs" "check: unknown option '--jobs' (check takes --field, --fields and --json)"
  run "$Q" check examples
  expect_usage "check of a folder" "check: 'examples' is a folder, not a scripts file"
}

case_explain() {
  run "$Q" explain --field Pages:Long=3 'Pages * 2 + 1'
  expect "explain" 0 "  run at level 0: Pages * 2 + 1
  word: Pages
  push Pages = 3 (Long), the host's field
  word: *
  push Autodf1 = * (Operator), a temporary (held until the run ends)
  word: 2
  push Autodf2 = 2 (Long), a temporary (held until the run ends)
  word: +
  push Autodf3 = + (Operator), a temporary (held until the run ends)
  word: 1
  push Autodf4 = 1 (Long), a temporary (held until the run ends)
  reduce Autodf2 = 2 (Long)  +  Autodf4 = 1 (Long)  [the same DataType: the values as they are]  -> Autodf5 = 3 (Long)
  reduce Pages = 3 (Long)  *  Autodf5 = 3 (Long)  [the same DataType: the values as they are]  -> Autodf6 = 9 (Long)
  remove Autodf6 from the collection
  remove Autodf5 from the collection
  remove Autodf4 from the collection
  remove Autodf3 from the collection
  remove Autodf2 from the collection
  remove Autodf1 from the collection
  value of level 0: Autodf6 = 9 (Long)
Autodf6${TAB}Long${TAB}9
" ""
  # The same answer and status as eval, the trace before it.
  run "$Q" eval --field Pages:Long=3 'Pages * 2 + 1'
  expect "eval of the same script" 0 "Autodf6${TAB}Long${TAB}9"$'\n' ""
  run "$Q" explain 'Nope'
  expect "explain of a failing script" 1 "  run at level 0: Nope
  word: Nope
  the run fails at the word \"Nope\": error -2147218559, Syntax error; its value is the field named Error
  value of level 0: Error = False (Boolean)
Error${TAB}Boolean${TAB}False
" ""
  run "$Q" explain --now "$NOW" '1 / 0'
  expect_eq "explain 1 / 0: exit status" 1 "$rc"
  expect_contains "explain 1 / 0: the report among the steps" \
    "  ReportError: 150100 | Error: -2147220981 - Division by zero | $NOW | 4 | 15 |" "$out"
  run "$Q" explain
  expect_usage "explain without a script" "explain: a SCRIPT is needed"
}

case_run_defaults() {
  cd "$tmp" || exit 1
  run "$Q" run
  expect_eq "run without files: exit status" 0 "$rc"
  expect_eq "run without files: standard error" "" "$err"
  local body expected_body
  body=$(tail -n +4 <<<"$out")
  expected_body=$(tail -n +4 "$SRC/tests/cli/expected/run-example.txt")
  expect_eq "run without files: the bundled example" "$expected_body" "$body"
  expect_contains "run without files: header" "examples/document-fields.txt (27 fields)" "$out"
  run "$Q" run --field SexCode=M --field DocumentStatus=D --field PatientClass=O
  expect_eq "run --field: exit status" 0 "$rc"
  expect_contains "run --field: PID-8" $'\n'"PID-8   M      " "$out"
  expect_contains "run --field: PV1-2" $'\n'"PV1-2   O      " "$out"
  expect_contains "run --field: TXA-17" $'\n'"TXA-17  DI     " "$out"
  run "$Q" run --field DocumentStatus=X --field SexCode=?
  expect_contains "run --field: ELSE branches" $'\n'"TXA-17  IN     " "$out"
  expect_contains "run --field: ELSE branches" $'\n'"PID-8   U      " "$out"
}

case_run_user_files() {
  printf 'Name=Ann\nAge:Integer=41\n' >"$tmp/fields.txt"
  printf '# user scripts\n\nX-1\tName & "!"\nX-2\tAge + 1\nX-3\t)\n  X-4  \t\nX-5\t"tab\\there"\n' >"$tmp/scripts.txt"
  run "$Q" run --errors --fields "$tmp/fields.txt" --scripts "$tmp/scripts.txt"
  expect "a user's files with a failing script" 1 "Document fields: $tmp/fields.txt (2 fields)
HL7 field scripts: $tmp/scripts.txt (5 scripts)

FIELD  VALUE      SCRIPT
-----  ---------  ------
X-1    Ann!       Name & \"!\"
X-2    42         Age + 1
X-3    Error      )
X-4    (nothing)
X-5    tab\\there  \"tab\\there\"

5 scripts, 1 answered Error, 0 errors reported to the host
" ""
  printf 'X-1 Name\n' >"$tmp/notab.txt"
  run "$Q" run --fields "$tmp/fields.txt" --scripts "$tmp/notab.txt"
  expect_usage "a scripts line without a tab" "$tmp/notab.txt:1: expected FIELD<TAB>SCRIPT, found no tab"
  printf '\tName\n' >"$tmp/noname.txt"
  run "$Q" run --fields "$tmp/fields.txt" --scripts "$tmp/noname.txt"
  expect_usage "a scripts line without a field name" "$tmp/noname.txt:1: no field name before the tab"
  printf 'X-1\t7 / 0\n' >"$tmp/divide.txt"
  run "$Q" run --errors --now "$NOW" --fields "$tmp/fields.txt" --scripts "$tmp/divide.txt"
  expect_eq "reports counted: exit status" 1 "$rc"
  expect_contains "reports counted" "1 scripts, 1 answered Error, 1 errors reported to the host" "$out"
  expect_eq "reports printed" "ReportError: 150100 | Error: -2147220981 - Division by zero | $NOW | 4 | 15 |  | Upload | qorvintr | $RELEASE | Interpreter | EvaluateExpression"$'\n' "$err"
}

# run --hl7: the message the scripts make, segments ended by CR, nothing else on standard output.
case_run_hl7() {
  cd "$SRC" || exit 1
  local expected
  # The expected message is kept with LF line ends, one segment per line, to be readable.
  expected=$(tr '\n' '\r' <tests/cli/expected/run-example.hl7)
  run "$Q" run --hl7 --errors --fields examples/document-fields.txt --scripts examples/hl7-scripts.txt
  expect "the bundled example's message" 0 "$expected" ""
  run "$Q" run --hl7
  expect "the bundled example without files" 0 "$expected" ""

  printf 'V=a|b\\r\\nc\\\\d^e~f&g\n' >"$tmp/f.txt"
  printf 'PID-3\tV\nMSH-9\t"ADT^A01"\nMSH-7\t"200203141530"\n' >"$tmp/escape.txt"
  run "$Q" run --hl7 --fields "$tmp/f.txt" --scripts "$tmp/escape.txt"
  expect "escapes; MSH-7 and MSH-9 positions" 0 \
    "MSH|^~\\&|||||200203141530||ADT^A01${CR}PID|||a\\F\\b\\X0D\\\\X0A\\c\\E\\d^e~f&g${CR}" ""

  printf 'ZZ1-4\t"four"\nPID-2\t"two"\nZZ1-1\t"one"\nPID-5\t""\nPID-6\t"six"\nPID-9\t""\nZZ1-6\t)\n' \
    >"$tmp/gaps.txt"
  run "$Q" run --hl7 --errors --now "$NOW" --fields "$tmp/f.txt" --scripts "$tmp/gaps.txt"
  expect "gaps, order of first appearance, trailing empty fields, an Error field" 1 \
    "MSH|^~\\&${CR}ZZ1|one|||four${CR}PID||two||||six${CR}" \
    "qorvintr run: 7 scripts, 1 answered Error, 0 errors reported to the host"$'\n'

  printf 'MSH-3\t"APP"\nMSH-4\t\nEVN-1\t"A01"\nEVN-1\t"A02"\n' >"$tmp/nothing.txt"
  run "$Q" run --hl7 --fields "$tmp/f.txt" --scripts "$tmp/nothing.txt"
  expect "a Nothing field is empty; a later script for a field replaces the earlier" 0 \
    "MSH|^~\\&|APP${CR}EVN|A02${CR}" ""

  local name
  for name in X-1 PID5 PID-0 pid-5 PID-x PID-; do
    printf '%s\t"x"\n' "$name" >"$tmp/bad.txt"
    run "$Q" run --hl7 --errors --fields "$tmp/f.txt" --scripts "$tmp/bad.txt"
    expect_usage "field name $name" "run --hl7: '$name' is not an HL7 field: write SEG-N, for instance PID-5"
  done
  printf 'MSH-2\t"x"\n' >"$tmp/msh2.txt"
  run "$Q" run --hl7 --fields "$tmp/f.txt" --scripts "$tmp/msh2.txt"
  expect_usage "MSH-2" "run --hl7: 'MSH-2' is written by the message itself (MSH-1 is \"|\", MSH-2 is \"^~\\&\")"
  # Without --hl7 the same file still makes the table.
  run "$Q" run --fields "$tmp/f.txt" --scripts "$tmp/bad.txt"
  expect_eq "no --hl7: the table" 0 "$rc"
  run "$Q" run --hl7=yes
  expect_usage "--hl7 with a value" "run: option --hl7 takes no value"
  run "$Q" eval --hl7 x
  expect_usage "--hl7 is for run" "eval: unknown option '--hl7' (see qorvintr --help)"
  run "$Q" --help
  expect_contains "--help tells --hl7" "--hl7" "$out"
}

# Answers are read one at a time through pipes: each line is sent only after the answer to the
# one before has come back, so a command that waits for the end of its input, or keeps its
# answers in a buffer, fails here (after 10 seconds, never hanging).
case_batch_stream() {
  local jobs pair script want line in_fd out_fd pid i
  for jobs in 1 2; do
    coproc BATCH { exec "$Q" batch --jobs "$jobs" --errors --now "$NOW" --field A:Long=41 2>/dev/null; }
    pid=$BATCH_PID
    in_fd=${BATCH[1]}
    out_fd=${BATCH[0]}
    for pair in "A + 1|Autodf3${TAB}Long${TAB}42" ")|Error${TAB}Boolean${TAB}False" \
        "7 / 0|Error${TAB}Boolean${TAB}False" "\"a\" & \"b\"|Autodf4${TAB}String${TAB}ab" \
        "|Nothing"; do
      script=${pair%%|*}
      want=${pair#*|}
      printf '%s\n' "$script" >&"$in_fd"
      if IFS= read -r -t 10 line <&"$out_fd"; then
        expect_eq "--jobs $jobs: the answer to '$script' before the next line" "$want" "$line"
      else
        fail "--jobs $jobs: no answer to '$script' within 10 seconds"
        break
      fi
    done
    exec {in_fd}>&-
    if IFS= read -r -t 10 line <&"$out_fd"; then
      fail "--jobs $jobs: more output after the last answer" "" "$line"
    fi
    for i in $(seq 1 100); do
      kill -0 "$pid" 2>/dev/null || break
      sleep 0.1
    done
    if kill -0 "$pid" 2>/dev/null; then
      fail "--jobs $jobs: still running 10 seconds after its input ended"
      kill -9 "$pid" 2>/dev/null
    fi
    wait "$pid"
    expect_eq "--jobs $jobs: exit status at the end of the input" 0 "$?"
    exec {out_fd}<&- 2>/dev/null
  done
}

# The lines of standard input as they are read one at a time: a byte order mark, CR LF, a last
# line without its line end, empty lines.
case_batch_lines() {
  run_in $'\xEF\xBB\xBF' "$Q" batch
  expect "only a byte order mark: no lines" 0 "" ""
  run_in $'\xEF\xBB\xBF1 + 1\r\n\r\n\n2 + 2' "$Q" batch --jobs 1
  expect "mark, CR LF, empty lines, no last line end" 0 \
    "Autodf4${TAB}Long${TAB}2"$'\n'"Nothing"$'\n'"Nothing"$'\n'"Autodf4${TAB}Long${TAB}4"$'\n' ""
  run_in $'\n' "$Q" batch --jobs 2
  expect "one empty line" 0 "Nothing"$'\n' ""
  local long
  long=$(printf '1 + %.0s' $(seq 1 3000))
  # 3001 operands and 3000 operators are 6001 temporaries, the 3000 reductions 3000 more.
  run_in "${long}1"$'\n'"5 * 5"$'\n' "$Q" batch --jobs 1
  expect "a long line, then a short one" 0 "Autodf9001${TAB}Long${TAB}3001"$'\n'"Autodf4${TAB}Long${TAB}25"$'\n' ""
}

# Every line is answered as by a fresh interpreter: a failing script that leaves the name of a
# temporary taken changes nothing for the lines after it.
case_batch_fresh() {
  run_in $'3000000000\n1 + 1\n#notadate#\n1 + 1\n' "$Q" batch --jobs 1
  expect "names a failure took are free again" 0 \
    "Error${TAB}Boolean${TAB}False"$'\n'"Autodf4${TAB}Long${TAB}2"$'\n'"Error${TAB}Boolean${TAB}False"$'\n'"Autodf4${TAB}Long${TAB}2"$'\n' ""
  local many="" i
  for i in $(seq 1 33000); do many+=$'3000000000\n'; done
  many+=$'1 + 1\n'
  run_in "$many" "$Q" batch --jobs 1
  expect_eq "33000 failures: exit status" 0 "$rc"
  expect_eq "33000 failures, then a script that works" "Autodf4${TAB}Long${TAB}2" "$(tail -n 1 "$tmp/out")"
}

# --jobs N answers in the order of the lines, byte for byte as --jobs 1 does, on standard output
# and (--errors) standard error.
case_batch_jobs() {
  sed -n 's/^script: //p' "$SRC"/tests/scripts/*.cases >"$tmp/corpus.txt"
  sed -n 's/^field: //p' "$SRC"/tests/scripts/*.cases >"$tmp/corpus-fields.txt"
  local lines jobs
  lines=$(wc -l <"$tmp/corpus.txt")
  [ "$lines" -gt 200 ] || fail "the corpus has $lines scripts, expected more than 200"
  "$Q" batch --jobs 1 --errors --now "$NOW" --fields "$tmp/corpus-fields.txt" "$tmp/corpus.txt" \
    >"$tmp/one.out" 2>"$tmp/one.err"
  expect_eq "corpus, --jobs 1: one answer per line" "$lines" "$(wc -l <"$tmp/one.out")"
  [ -s "$tmp/one.err" ] || fail "corpus, --jobs 1: no ReportError lines"
  for jobs in 2 3 8; do
    "$Q" batch --jobs "$jobs" --errors --now "$NOW" --fields "$tmp/corpus-fields.txt" \
      "$tmp/corpus.txt" >"$tmp/many.out" 2>"$tmp/many.err"
    cmp -s "$tmp/one.out" "$tmp/many.out" || fail "corpus, --jobs $jobs: standard output differs"
    cmp -s "$tmp/one.err" "$tmp/many.err" || fail "corpus, --jobs $jobs: standard error differs"
  done
  # Both outputs to one file keep their order too.
  "$Q" batch --jobs 1 --errors --now "$NOW" --fields "$tmp/corpus-fields.txt" "$tmp/corpus.txt" \
    >"$tmp/one.both" 2>&1
  "$Q" batch --jobs 2 --errors --now "$NOW" --fields "$tmp/corpus-fields.txt" "$tmp/corpus.txt" \
    >"$tmp/many.both" 2>&1
  cmp -s "$tmp/one.both" "$tmp/many.both" || fail "corpus, both outputs in one file: they differ"
  # A long input: many times the window of lines in flight, failures and names left taken among
  # them, through a pipe.
  awk 'BEGIN {
    split("A + 1|Format B, \"#,##0.00\"|IF C = \"x\" THEN \"yes\" ELSE \"no\" END IF|7 / 0|3000000000|Replace D, \".\" , \"-\"|)|A * ( 2 + A )|\"abc\" * 2|DateCat #3/14/2002# #9:30#", s, "|")
    for (i = 0; i < 40000; i++) print s[(i * 7 + int(i / 13)) % 10 + 1]
  }' >"$tmp/long.txt"
  local opts=(--errors --now "$NOW" --field A:Long=41 --field B:Double=1250.5 --field C=x --field D=555.123.4567)
  "$Q" batch --jobs 1 "${opts[@]}" <"$tmp/long.txt" >"$tmp/long1.out" 2>"$tmp/long1.err"
  expect_eq "long input, --jobs 1: one answer per line" 40000 "$(wc -l <"$tmp/long1.out")"
  for jobs in 2 4; do
    cat "$tmp/long.txt" | "$Q" batch --jobs "$jobs" "${opts[@]}" >"$tmp/longn.out" 2>"$tmp/longn.err"
    cmp -s "$tmp/long1.out" "$tmp/longn.out" || fail "long input, --jobs $jobs: standard output differs"
    cmp -s "$tmp/long1.err" "$tmp/longn.err" || fail "long input, --jobs $jobs: standard error differs"
  done
  "$Q" batch "${opts[@]}" "$tmp/long.txt" >"$tmp/longd.out" 2>"$tmp/longd.err"
  cmp -s "$tmp/long1.out" "$tmp/longd.out" || fail "long input, default jobs: standard output differs"
  cmp -s "$tmp/long1.err" "$tmp/longd.err" || fail "long input, default jobs: standard error differs"
}

case_batch_options() {
  run_in $'1 + 1\n2 + 2\n' "$Q" batch --jobs 2 --stats
  expect_eq "--stats: exit status" 0 "$rc"
  expect_eq "--stats: the answers" "Autodf4${TAB}Long${TAB}2"$'\n'"Autodf4${TAB}Long${TAB}4"$'\n' "$out"
  if ! [[ $err =~ ^qorvintr\ batch:\ 2\ scripts\ in\ [0-9]+\.[0-9]{3}\ s,\ [0-9]+\ scripts\ per\ second,\ 2\ jobs$'\n'$ ]]; then
    fail "--stats: the line on standard error" "qorvintr batch: 2 scripts in S s, R scripts per second, 2 jobs" "$err"
  fi
  run_in $'1 + 1\n' "$Q" batch --jobs=1 --stats
  expect_contains "--stats, one job" ", 1 job"$'\n' "$err"
  run "$Q" batch --jobs 0
  expect_usage "--jobs 0" "batch: --jobs '0' is not a number from 1 to 256"
  run "$Q" batch --jobs 257
  expect_usage "--jobs 257" "batch: --jobs '257' is not a number from 1 to 256"
  run "$Q" batch --jobs two
  expect_usage "--jobs two" "batch: --jobs 'two' is not a number from 1 to 256"
  run "$Q" batch --jobs
  expect_usage "--jobs without a value" "batch: option --jobs needs a value"
  run "$Q" batch --stats=yes
  expect_usage "--stats with a value" "batch: option --stats takes no value"
  run "$Q" batch --jobs 2 --log-stderr
  expect_usage "--jobs 2 with the debug log" "batch: the debug log (--ini, --log-stderr) is written by one interpreter; use --jobs 1"
  run "$Q" eval --jobs 2 x
  expect_usage "--jobs is for batch" "eval: unknown option '--jobs' (see qorvintr --help)"
  run "$Q" run --stats
  expect_usage "--stats is for batch" "run: unknown option '--stats' (see qorvintr --help)"
  run "$Q" --help
  expect_contains "--help tells --jobs" "--jobs N" "$out"
  expect_contains "--help tells --stats" "--stats" "$out"
}

if ! declare -F "case_$CASE" >/dev/null; then
  echo "unknown case: $CASE" >&2
  exit 2
fi
"case_$CASE"
if [ "$failures" -gt 0 ]; then
  printf '%d check(s) failed in case %s\n' "$failures" "$CASE"
  exit 1
fi
echo "case $CASE: all checks passed"
