#!/bin/sh
# Runs `zf timepoints` on a small trace, as TimePoints writes it, and checks the lanes it prints
# and the SVG it draws (well-formed XML, one group per lane, one circle per mark); then bad input.
# Usage: zf_timepoints_test.sh path/to/zf
set -u
ZF="$1"
failures=0
fail() { echo "FAIL: $1"; failures=$((failures + 1)); }
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

cat > "$dir/trace.json" <<'JSON'
{"traceEvents":[
{"name":"process_name","ph":"M","pid":1,"tid":0,"args":{"name":"VideoStartup"}},
{"name":"thread_name","ph":"M","pid":1,"tid":2,"args":{"name":"one"}},
{"name":"thread_sort_index","ph":"M","pid":1,"tid":2,"args":{"sort_index":2}},
{"name":"thread_name","ph":"M","pid":1,"tid":3,"args":{"name":"two"}},
{"name":"thread_sort_index","ph":"M","pid":1,"tid":3,"args":{"sort_index":3}},
{"name":"[play tapped -> first frame]","cat":"span","ph":"X","pid":1,"tid":2,"ts":0,"dur":800000},
{"name":"[manifest <requested> -> manifest & keys]","cat":"span","ph":"X","pid":1,"tid":3,"ts":12500,"dur":227500},
{"name":"play tapped","cat":"mark","ph":"i","s":"t","pid":1,"tid":2,"ts":0},
{"name":"manifest <requested>","cat":"mark","ph":"i","s":"t","pid":1,"tid":3,"ts":12500},
{"name":"manifest & keys","cat":"mark","ph":"i","s":"t","pid":1,"tid":3,"ts":240000},
{"name":"first frame","cat":"mark","ph":"i","s":"t","pid":1,"tid":2,"ts":800000}
],"displayTimeUnit":"ms","otherData":{"identifier":"VideoStartup"}}
JSON

out=$("$ZF" timepoints "$dir/trace.json" --svg "$dir/lanes.svg") || fail "exit status"
echo "$out" | grep -qx "VideoStartup: 2 lanes, 4 marks, 2 spans" || fail "summary line"
[ "$(echo "$out" | grep -c '^lane ')" = 2 ] || fail "two lanes printed"
echo "$out" | grep -q "^  mark    800.000 ms  first frame$" || fail "mark time in ms"
echo "$out" | grep -q "^  span     12.500 ms +   227.500 ms  \[manifest <requested> -> manifest & keys\]$" ||
  fail "span with its duration"

# xmllint (libxml2-utils, installed by scripts/install-deps) parses the SVG.
xmllint --noout "$dir/lanes.svg" || fail "SVG is not well-formed XML"
count() { xmllint --xpath "count($1)" "$dir/lanes.svg"; }
[ "$(count '//*[local-name()="g"][@class="lane"]')" = 2 ] || fail "SVG lanes"
[ "$(count '//*[local-name()="circle"][@class="mark"]')" = 4 ] || fail "SVG marks"
[ "$(count '//*[local-name()="rect"][@class="span"]')" = 2 ] || fail "SVG spans"
grep -q '<requested>' "$dir/lanes.svg" && fail "unescaped '<' in the SVG"

printf 'not json' > "$dir/bad.json"
"$ZF" timepoints "$dir/bad.json" 2>"$dir/err"; status=$?
[ "$status" = 1 ] || fail "not JSON: exit $status"
grep -q "is not a trace" "$dir/err" || fail "not JSON: message"
printf '{"events":[]}' > "$dir/other.json"
"$ZF" timepoints "$dir/other.json" 2>/dev/null; [ $? = 1 ] || fail "no traceEvents: exit status"
"$ZF" timepoints "$dir/missing.json" 2>/dev/null; [ $? = 2 ] || fail "missing file: exit status"

[ "$failures" = 0 ] && echo "zf timepoints: all checks passed"
exit "$failures"
