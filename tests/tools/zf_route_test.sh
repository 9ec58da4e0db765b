#!/bin/sh
# Runs `zf route` on a pattern and on a file of routes and checks its report.
# Usage: zf_route_test.sh path/to/zf
set -u
ZF="$1"
failures=0
fail() { echo "FAIL: $1"; failures=$((failures + 1)); }
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

out=$("$ZF" route 'myapp://show/${id}/season/${n:[0-9]+}/' 'MYAPP://show/a%20b/season/3?x=1' \
  'myapp://show/a/season/x')
status=$?
[ "$status" = 1 ] || fail "exit status $status with an unmatched URL"
echo "$out" | grep -qxF 'pattern: myapp://show/${id}/season/${n:[0-9]+}' || fail "pattern"
echo "$out" | grep -qxF '  variable(n:[0-9]+)' || fail "tokens"
echo "$out" | grep -qxF 'expression: myapp://show/([^/]+)/season/([0-9]+)' || fail "expression"
echo "$out" | grep -qxF 'MYAPP://show/a%20b/season/3?x=1: id=a%20b n=3' || fail "variables"
echo "$out" | grep -qxF 'myapp://show/a/season/x: no match' || fail "no match"

cat > "$dir/routes" <<'ROUTES'
# deep links
myapp://show/${id}
myapp://show/*

myapp://movie/${id}
ROUTES
out=$("$ZF" route --routes "$dir/routes" 'myapp://show/7' 'myapp://movie/8/') ||
  fail "exit status with every URL matched"
expected='myapp://show/7
  line 2: myapp://show/${id}  id=7
  line 3: myapp://show/*  (no variables)
myapp://movie/8/
  line 5: myapp://movie/${id}  id=8'
[ "$out" = "$expected" ] || fail "routes file: got
$out"
"$ZF" route --routes "$dir/missing" 'myapp://x' >/dev/null 2>&1
[ $? = 2 ] || fail "missing routes file"

[ "$failures" = 0 ] && echo "zf route: all checks passed"
exit "$failures"
