#!/bin/sh
# Runs `zf defaults` against suites in a scratch directory: values of every
# kind through write, read, export and import, delete, a damaged file, and
# watch seeing another zf process's write. Usage: zf_defaults_test.sh path/to/zf
set -u
ZF="$1"
DIR=$(mktemp -d)
WATCH=""
trap '[ -n "$WATCH" ] && kill "$WATCH" 2>/dev/null; rm -rf "$DIR"' EXIT
failures=0
fail() { echo "FAIL: $1"; failures=$((failures + 1)); }
check() {  # name, expected text, actual text
  if [ "$2" != "$3" ]; then
    echo "FAIL: $1"; echo "  expected: $2"; echo "  actual:   $3"
    failures=$((failures + 1))
  fi
}
zfd() { "$ZF" defaults --dir "$DIR/suites" "$@"; }
TAB=$(printf '\t')

# The values zf writes directly.
zfd write prefs name --string "Ada L" || fail "write --string"
zfd write prefs count --int -9007199254740993 || fail "write --int"
zfd write prefs on --bool false || fail "write --bool"
zfd write prefs ratio --double 0.1 || fail "write --double"
zfd write prefs layout --json '{"version":"1.2.0","rows":[1,2]}' || fail "write --json"
check "read string" "Ada L" "$(zfd read prefs name)"
check "read integer" "-9007199254740993" "$(zfd read prefs count)"
check "read boolean" "false" "$(zfd read prefs on)"
check "read double" "0.1" "$(zfd read prefs ratio)"
check "read JSON data" 'version 1.2.0
{
  "rows" : [
    1,
    2
  ],
  "version" : "1.2.0"
}' "$(zfd read prefs layout)"

# Every kind through import, then export -> import -> export gives the same file.
cat > "$DIR/all.json" <<'EOF'
{
  "arr": {"type": "array", "value": [{"type": "integer", "value": 1}, {"type": "boolean", "value": true}]},
  "b": {"type": "boolean", "value": true},
  "bytes": {"type": "data", "base64": "AAEC"},
  "d": {"type": "double", "value": 2.5},
  "date": {"type": "date", "value": 0.5},
  "dict": {"type": "dictionary", "value": {"k": {"type": "float", "value": "nan"}}},
  "f": {"type": "float", "value": 1.5},
  "i": {"type": "integer", "value": 3},
  "s": {"type": "string", "value": "x/y"},
  "u": {"type": "url", "value": "https://example.com/a?b=c"}
}
EOF
zfd import every "$DIR/all.json" || fail "import"
check "kinds after import" "arr${TAB}array
b${TAB}boolean
bytes${TAB}data
d${TAB}double
date${TAB}date
dict${TAB}dictionary
f${TAB}float
i${TAB}integer
s${TAB}string
u${TAB}url" "$(zfd list every)"
check "read float" "1.5" "$(zfd read every f)"
check "read date" "2001-01-01T00:00:00.500Z" "$(zfd read every date)"
check "read url" "https://example.com/a?b=c" "$(zfd read every u)"
check "read array" "[1, true]" "$(zfd read every arr)"
check "read bytes" "3 bytes: 000102
base64: AAEC" "$(zfd read every bytes)"
zfd export every "$DIR/every.json" || fail "export"
zfd import copy "$DIR/every.json" || fail "import of an export"
zfd export copy "$DIR/copy.json" || fail "export of the copy"
cmp -s "$DIR/every.json" "$DIR/copy.json" || fail "export -> import -> export changed the file"
zfd export prefs > "$DIR/prefs.json" || fail "export to standard output"
zfd import prefs-copy "$DIR/prefs.json" || fail "import of prefs"
check "kinds of written values survive export" "$(zfd list prefs)" "$(zfd list prefs-copy)"
check "suites" "copy
every
prefs
prefs-copy" "$(zfd list)"

# Refusals: exit status 1 and a message.
zfd read prefs missing 2>"$DIR/err"; check "missing key status" 1 "$?"
grep -q 'no value under "missing"' "$DIR/err" || fail "missing key message"
zfd write prefs k --json '{"a":' 2>"$DIR/err"; check "bad JSON status" 1 "$?"
grep -q "not JSON" "$DIR/err" || fail "bad JSON message"
zfd write prefs k --int 1 --bool true 2>/dev/null; check "two values status" 1 "$?"
printf '{"k": {"type": "integer", "value": 1.5}}' > "$DIR/bad.json"
zfd import prefs "$DIR/bad.json" 2>/dev/null; check "bad import status" 1 "$?"
zfd read nosuch k 2>/dev/null; check "missing suite status" 1 "$?"
[ -e "$DIR/suites/nosuch.sqlite" ] && fail "reading a missing suite created it"

zfd delete prefs name || fail "delete"
zfd read prefs name 2>/dev/null; check "deleted key status" 1 "$?"

# A damaged file: named in the error, left as it was.
head -c 10000 /dev/zero | tr '\0' 'x' > "$DIR/suites/broken.sqlite"
cp "$DIR/suites/broken.sqlite" "$DIR/broken.copy"
zfd read broken k 2>"$DIR/err"; check "damaged file status" 1 "$?"
grep -q "defaults database .*broken.sqlite: file is not a database" "$DIR/err" ||
  fail "damaged file message: $(cat "$DIR/err")"
cmp -s "$DIR/suites/broken.sqlite" "$DIR/broken.copy" || fail "the damaged file was changed"

# --app finds the suites under $XDG_CONFIG_HOME/<app>.
XDG_CONFIG_HOME="$DIR/config" "$ZF" defaults --app com.example.app write s k --int 1 ||
  fail "write with --app"
[ -f "$DIR/config/com.example.app/s.sqlite" ] || fail "--app directory"

# watch prints the value now, then another process's write.
waitFor() {  # text, file: waits up to 20 s for a line equal to text
  tries=0
  while ! grep -qx "$1" "$2" 2>/dev/null; do
    tries=$((tries + 1))
    [ "$tries" -gt 200 ] && return 1
    sleep 0.1
  done
}
# Started directly (not through zfd) so that $! is zf itself and kill reaches it.
"$ZF" defaults --dir "$DIR/suites" watch prefs count > "$DIR/watch.out" 2>&1 &
WATCH=$!
waitFor "count = -9007199254740993" "$DIR/watch.out" || fail "watch: no current value"
zfd write prefs count --int 7 || fail "write while watching"
waitFor "count = 7" "$DIR/watch.out" || fail "watch: the other process's write did not show"
zfd delete prefs count
waitFor "count absent" "$DIR/watch.out" || fail "watch: the removal did not show"
kill "$WATCH"; wait "$WATCH" 2>/dev/null; WATCH=""

[ "$failures" = 0 ] && echo "zf defaults: all checks passed"
exit "$failures"
