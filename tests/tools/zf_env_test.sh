#!/bin/sh
# Runs `zf env` with and without launch keys and checks what it reports.
# Usage: zf_env_test.sh path/to/zf
set -u
ZF="$1"
failures=0
fail() { echo "FAIL: $1"; failures=$((failures + 1)); }

plain=$(env -u Zorlan:TestConfigurationModel "$ZF" env) || fail "exit status"
echo "$plain" | grep -qx "mock services: no" || fail "no key: services mocked"
echo "$plain" | grep -qx "  success: 200 201 202 203 204 205 206 207 208 226" || fail "success codes"
[ "$(echo "$plain" | grep -c '/halcyra/sdk-config/.*/{deviceProfile}/{environment}\.json$')" = 2 ] ||
  fail "configuration addresses"

mocked=$(env Zorlan:TestConfigurationModel= XCODE_RUNNING_FOR_PREVIEWS=1 "$ZF" env)
echo "$mocked" | grep -qx "  Zorlan:TestConfigurationModel=" || fail "empty key not listed"
echo "$mocked" | grep -qx "mock services: yes" || fail "empty key: services not mocked"
echo "$mocked" | grep -qx "running for previews: yes" || fail "previews"

[ "$failures" = 0 ] && echo "zf env: all checks passed"
exit "$failures"
