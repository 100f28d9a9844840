#!/usr/bin/env bash
# Runs the C99 host against the loopback servers: nginx's pattern file from disk and over HTTP, a
# missing resource, and the icecast radio. Usage: c99_host_test.sh PROGRAM [EMULATOR]
set -euo pipefail
program="$1"
emulator="${2:-}"
# Values may hold blanks: the file is read, not sourced.
value() { sed -n "s/^$1=//p" "$ZU_TEST_SERVERS"; }
file="$(value NGINX_ROOT)/pattern.bin"
http="http://127.0.0.1:$(value NGINX_HTTP)"
# The Windows program reaches the file through Wine's drive for the root folder.
[ -z "$emulator" ] || file="Z:${file//\//\\}"
timeout 90 $emulator "$program" "$file" "$(value PATTERN_SIZE)" "$http/pattern.bin" "$http/no/such/file.bin" \
  "http://127.0.0.1:$(value ICECAST)$(value ICECAST_MOUNT)"
