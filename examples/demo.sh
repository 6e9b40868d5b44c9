#!/usr/bin/env bash
# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
# Shows a service process and its client processes on a private bus: answers, refusals, a time-out.
#
#   demo.sh BIN [LOG]    BIN holds event-service and event-client; LOG is served instead of
#                        the package manager's log
#
# Ends with status 0 when everything happened as announced, and leaves nothing behind either way.
set -u

bin=${1:?usage: demo.sh BIN [LOG]}
log=${2:-/var/log/dpkg.log}
service=
client=
client_name=
dir=

cleanup() {
  trap '' INT TERM HUP
  for process in $client $service; do
    kill -9 "$process" && wait "$process"
  done 2>/dev/null
  if [ -n "$dir" ]; then rm -rf "$dir"; fi
}
trap cleanup EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

if [ -t 1 ]; then bold=$'\e[1m' dim=$'\e[2m' plain=$'\e[0m'; else bold='' dim='' plain=''; fi

step() { printf '\n%s%s%s\n' "$bold" "$1" "$plain"; shift; printf '%s\n' "$@"; }
fail() { printf '\ndemo: not as announced: %s\n' "$1" >&2; exit 1; }
show() { sed -u "s/^/  ${dim}$(printf '%-7s' "$1") |${plain} /"; }

# wait_for WORD...: shows what the service writes until a line starts with WORD.
wait_for() {
  local line deadline=$((SECONDS + 20))
  while [ $SECONDS -lt $deadline ]; do
    if IFS= read -r -t 1 line <&3; then
      printf '%s\n' "$line" | show service
      if [[ $line == "$1"* ]]; then return; fi
    elif ! kill -0 "$service" 2>/dev/null; then
      fail "the service has ended"
    fi
  done
  fail "the service does not say '$1'"
}

start_service() {
  "$bin/event-service" --bus "local:$dir" --log "$log" --store "$dir/events.db" \
    --generate --limit 500 --delay 700 \
    >"$dir/service.out" 2>&1 3>&- &
  service=$!
  wait_for ready
}

# in_background NAME OPTION...: a client whose request the service is serving on return.
in_background() {
  "$bin/event-client" --bus "local:$dir" --name "$@" >"$dir/client.out" 2>&1 3>&- &
  client=$!
  client_name=$1
  wait_for serving
}

# The client from in_background ends with status $1.
expect_background() {
  local status=0
  wait "$client" || status=$?
  client=
  show "$client_name" <"$dir/client.out"
  [ $status -eq "$1" ] || fail "$client_name ended with status $status, not $1"
}

# expect STATUS NAME OPTION...: a client whose request the service does not serve ends with STATUS.
expect() {
  local wanted=$1
  shift
  "$bin/event-client" --bus "local:$dir" --name "$@" 2>&1 3>&- | show "$1"
  local status=${PIPESTATUS[0]}
  [ "$status" -eq "$wanted" ] || fail "$1 ended with status $status, not $wanted"
}

kill_service() {
  kill -9 "$service"
  wait "$service"
  service=
} 2>/dev/null

dir=$(mktemp -d "${TMPDIR:-/tmp}/velp-demo.XXXXXX") || exit 1
mkfifo -m 600 "$dir/service.out" || exit 1
exec 3<>"$dir/service.out"
printf 'A private bus: the directory %s, which only you may enter.\n' "$dir"
printf 'Lines that begin with a tag such as [INFO] are the log of the library itself.\n'

step '1. Ask for the event list' \
  'A service process joins the bus and a client process asks it for its events (message ID 50).' \
  'The service takes 0.7 s over each request, so that the next steps can look at it meanwhile.'
start_service
in_background Client1 --last 15
expect_background 0

step '2. A busy service refuses by itself' \
  'Client2 asks while the request of Client1 is being served: the library answers it at once' \
  'with error 7, and Client1 still gets its list.'
in_background Client1 --last 3
expect 5 Client2
expect_background 0

step '3. An unknown request is refused' \
  'No service code has to say no: nobody registered ID 77, so the library answers with error 1.'
expect 4 Client1 --id 77

step '4. The service dies in the middle of a request' \
  'kill -9 hits the service while it serves Client1: no answer can come, and Client1 gets -2' \
  'after its time-out of 2 s.'
in_background Client1 --timeout 2
kill_service
expect_background 6

step '5. The dead service is known to be absent' \
  'The next request is not even sent: sendTo returns false at once, and Client1 gets -1.'
expect 3 Client1

step '6. A restarted service takes its name at once' \
  'The name was held by the process alone, so nothing has to be cleaned up: the service starts' \
  'again and answers.'
start_service
in_background Client1 --last 3
expect_background 0

step '7. Remove events for good' \
  'Client1 has all events of the action "installed" removed (message ID 3). The service keeps its' \
  'events in an SQLite database and answers once the removal is on disk: after a kill -9 and a' \
  'restart they are still gone, although the log still tells of them.'
in_background Client1 --remove-text installed=
expect_background 0
kill_service
start_service
in_background Client1 --last 5
expect_background 0

printf '\nEverything happened as announced. The processes end and the bus directory goes.\n'
