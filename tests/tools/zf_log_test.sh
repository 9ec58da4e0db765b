#!/bin/sh
# Runs `zf log` on log files written the way the library writes them and
# compares what it prints. Usage: zf_log_test.sh path/to/zf
set -u
ZF="$1"
DIR=$(mktemp -d)
trap 'rm -rf "$DIR"' EXIT
export TZ=UTC
failures=0

check() {  # name, expected text, actual text
  if [ "$2" != "$3" ]; then
    echo "FAIL: $1"; echo "  expected: $2"; echo "  actual:   $3"
    failures=$((failures + 1))
  fi
}

# Three events; the last one was cut off in the middle of a write.
printf '%s,\n%s,\n%s' \
  '{"message":"player started","loggedAt":1700000000.25}' \
  '{"message":"\u274c stall","loggedAt":1700000060.5,"line":12}' \
  '{"message":"cut off","logg' > "$DIR/cut.log"

out=$("$ZF" log "$DIR/cut.log" 2>"$DIR/err"); status=$?
check "plain lines" "2023-11-14 22:13:20.250  player started
2023-11-14 22:14:20.500  ❌ stall" "$out"
check "exit status for a cut-off file" 0 "$status"
grep -q "cut off at byte" "$DIR/err" || { echo "FAIL: the cut-off tail is not reported"; failures=$((failures + 1)); }

check "text filter" "2023-11-14 22:14:20.500  ❌ stall" "$("$ZF" log -g stall "$DIR/cut.log" 2>/dev/null)"
check "time range" "2023-11-14 22:13:20.250  player started" \
  "$("$ZF" log --since 1699999999 --until "2023-11-14 22:14:00" "$DIR/cut.log" 2>/dev/null)"
check "JSON lines" '{"message":"❌ stall","loggedAt":1.7000000605E9,"line":12}' \
  "$("$ZF" log --json -g stall "$DIR/cut.log" 2>/dev/null)"

printf 'not a log file' > "$DIR/bad.log"
"$ZF" log "$DIR/bad.log" >/dev/null 2>&1; check "exit status for a foreign file" 1 "$?"
"$ZF" log "$DIR/missing.log" >/dev/null 2>&1; check "exit status for a missing file" 2 "$?"

[ "$failures" -eq 0 ] && echo "zf log: all checks passed"
exit "$failures"
