#!/usr/bin/env bash
# End-to-end tests of corvane-xml: each subcommand on the sample documents (compared with
# the expected outputs beside this script), exit statuses, error lines, standard input.
# Usage: run_tool_tests.sh TOOL SOURCE_DIR WORK_DIR
set -uo pipefail
tool=$1 src=$2 work=$3
data=$src/examples/data expected=$src/tests/tools/expected
rm -rf "$work" && mkdir -p "$work"
failures=0

fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# check NAME STATUS EXPECTED_STDOUT_FILE|- STDERR_PATTERN|EMPTY|- -- COMMAND...
check() {
  local name=$1 status=$2 out=$3 err=$4
  shift 5
  "$@" >"$work/$name.out" 2>"$work/$name.err"
  local got=$?
  [[ $got == "$status" ]] || fail "$name: exit status $got, expected $status ($(head -c 300 "$work/$name.err"))"
  if [[ $out != - ]] && ! cmp -s "$out" "$work/$name.out"; then
    fail "$name: standard output differs from $out"
    diff "$out" "$work/$name.out" | head -20
  fi
  if [[ $err == EMPTY ]]; then
    [[ -s $work/$name.err ]] && fail "$name: standard error not empty: $(cat "$work/$name.err")"
  elif [[ $err != - ]] && ! grep -qE -- "$err" "$work/$name.err"; then
    fail "$name: standard error does not match '$err': $(cat "$work/$name.err")"
  fi
}

check tree 0 "$expected/tree.xml" EMPTY -- "$tool" tree "$data/tree.xml"
check tree_weight 0 "$expected/tree-weight-prefix.xml" - -- \
  "$tool" tree "$data/tree.xml" --order weight --prefix x:
check tree_dump 0 "$expected/tree.dump" - -- "$tool" tree --dump "$data/tree.xml"
check tree_stdin 0 "$expected/tree.xml" - -- sh -c "\"$tool\" tree - < \"$data/tree.xml\""
# The tree the tool writes reads back to the same text.
check tree_again 0 "$expected/tree.xml" - -- sh -c "\"$tool\" tree \"$data/tree.xml\" | \"$tool\" tree -"
check study 0 "$expected/study.txt" - -- "$tool" study "$data/study.xml"
check study_typed 0 "$expected/study-typed.txt" - -- \
  "$tool" study "$data/study.xml" --types "$data/study-types.txt"
check records 0 "$expected/records.txt" - -- "$tool" records "$data/patient-harddelete.xml"
check validate 0 - EMPTY -- "$tool" validate "$data/valid.xml" "$data/schema.xsd"
grep -qx "$data/valid.xml: valid" "$work/validate.out" || fail "validate: $(cat "$work/validate.out")"
check validate_invalid 1 "$expected/validate-invalid.txt" EMPTY -- sh -c \
  "cd \"$data\" && \"$tool\" validate invalid.xml schema.xsd"
check validate_not_schema 1 - 'valid.xml: not an XML Schema document' -- \
  "$tool" validate "$data/valid.xml" "$data/valid.xml"
check select 0 "$expected/select.txt" EMPTY -- \
  "$tool" select "$data/valid.xml" '//Study[ImageCount > 100]/@uid | //PatientName'
check select_stdin 0 "$expected/select.txt" - -- sh -c \
  "\"$tool\" select - '//Study[ImageCount > 100]/@uid | //PatientName' < \"$data/valid.xml\""
check select_bad_xpath 2 - "bad XPath expression '//\\['" -- "$tool" select "$data/valid.xml" '//['

# Broken documents: exit 1, one line naming file, line and column; no library log lines.
printf '<a><b>x</b>\n<c></a>' >"$work/broken.xml"
for command in tree study records select validate; do
  check "broken_$command" 1 - "^corvane-xml: .*broken.xml:2:6: expected end of tag 'c'$" -- \
    "$tool" "$command" "$work/broken.xml" $(case $command in select) echo //a ;; validate) echo "$data/schema.xsd" ;; esac)
  [[ $(wc -l <"$work/broken_$command.err") == 1 ]] || fail "broken_$command: more than one error line"
done
check broken_verbose 1 - 'XmlHandler::fatalError' -- "$tool" --verbose tree "$work/broken.xml"
check broken_stdin 1 - '^corvane-xml: <stdin>:2:6: ' -- sh -c "\"$tool\" study - < \"$work/broken.xml\""
check records_incomplete 1 - 'patient record incomplete' -- "$tool" records "$data/tree.xml"
check outer_val 1 - 'outermost element is named val' -- sh -c "printf '<val>1</val>' | \"$tool\" tree -"

# Usage and file errors: exit 2.
check no_command 2 - '^usage: corvane-xml' -- "$tool"
check unknown_command 2 - "unknown command 'bogus'" -- "$tool" bogus
check missing_operand 2 - 'expected 1 operand, got 0' -- "$tool" tree
check bad_order 2 - '--order takes key or weight' -- "$tool" tree "$data/tree.xml" --order size
check unknown_option 2 - 'unknown option --colour' -- "$tool" records "$data/tree.xml" --colour
check missing_file 2 - 'no-such.xml: No such file or directory' -- "$tool" tree "$work/no-such.xml"
printf '00280010 integer\n' >"$work/bad-types.txt"
check bad_types 2 - "bad-types.txt:1: unknown type 'integer'" -- \
  "$tool" study "$data/study.xml" --types "$work/bad-types.txt"
check help 0 - EMPTY -- "$tool" --help
check command_help 0 - EMPTY -- "$tool" study --help
grep -q 'TYPES maps tags' "$work/command_help.out" || fail "command_help: no description"

# escape / unescape through standard input, in blocks: the unescape of the escape is the
# text (zero bytes aside), also across the tool's 64 KiB block boundaries.
printf 'a<b & "c"\n' >"$work/text.txt"
check escape 0 - - -- sh -c "\"$tool\" escape < \"$work/text.txt\""
[[ $(cat "$work/escape.out") == 'a&lt;b &amp; &quot;c&quot;&#xA;' ]] || fail "escape: $(cat "$work/escape.out")"
python3 - "$work/big.txt" <<'PY'
import random, sys
random.seed(7)
alphabet = b"ab<>&\"';\n\r\t x"
data = bytes(random.choice(alphabet) for _ in range(300000))
open(sys.argv[1], "wb").write(data)
PY
check roundtrip 0 "$work/big.txt" - -- sh -c "\"$tool\" escape < \"$work/big.txt\" | \"$tool\" unescape"
printf '&lt;&amp;lt;&#10;&quot' >"$work/entities.txt"
check unescape 0 - - -- sh -c "\"$tool\" unescape < \"$work/entities.txt\""
[[ $(cat "$work/unescape.out") == '<&lt;&#10;&quot' ]] || fail "unescape: $(cat "$work/unescape.out")"

if ((failures > 0)); then
  echo "$failures failure(s)"
  exit 1
fi
echo "all tool tests passed"
