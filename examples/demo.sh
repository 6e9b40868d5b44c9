#!/usr/bin/env bash
# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
# Shows three service processes and their clients on a private bus: answers, refusals, progress, a
# fault, and kills at bad moments.
#
#   demo.sh BIN [LOG]    BIN holds the services and clients; LOG is served instead of the package
#                        manager's log
#
# Ends with status 0 when everything happened as announced, and leaves nothing behind either way.
set -u

bin=${1:?usage: demo.sh BIN [LOG]}
log=${2:-/var/log/dpkg.log}
client=
client_name=
dir=
declare -A services=()
# Where the output of each service arrives, and that of the client from in_background.
declare -rA outputs=([events]=3 [report]=4 [faults]=5 [client]=6)

cleanup() {
  trap '' INT TERM HUP
  for process in $client "${services[@]}"; do
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

# run PROGRAM OPTION...: becomes the program, in a subshell.
run() { exec "$bin/$1" --bus "local:$dir" "${@:2}" 3>&- 4>&- 5>&- 6>&-; }

# wait_for SOURCE LABEL WORD: shows what arrives from a source until a line has WORD in it.
wait_for() {
  local line status=0
  while IFS= read -r -t 20 line <&"${outputs[$1]}" || { status=$?; false; }; do
    printf '%s\n' "$line" | show "$2"
    if [[ $line == *"$3"* ]]; then return; fi
  done
  if [ $status -gt 128 ]; then fail "$2 does not say '$3'"; fi
  fail "$2 has ended"
}

# start NAME PROGRAM OPTION...: a service that is on the bus on return.
start() {
  run "${@:2}" >"$dir/$1.out" 2>&1 &
  services[$1]=$!
  # Opens when the other end does, and closes when the service ends.
  eval "exec ${outputs[$1]}<\"\$dir/$1.out\""
  wait_for "$1" "$1" ready
}

# start_events [OPTION...]
start_events() {
  start events event-service --log "$log" --store "$dir/events.db" --generate --limit 500 "$@"
}

start_report() {
  start report report-service --source "$dir/logs" --output "$dir/archives" --pace 25
}

kill_service() {
  kill -9 "${services[$1]}"
  wait "${services[$1]}"
  unset "services[$1]"
} 2>/dev/null

# in_background NAME PROGRAM OPTION...: a client that need not have ended on return.
in_background() {
  client_name=$1
  run "$2" --name "$1" "${@:3}" >"$dir/client.out" 2>&1 &
  client=$!
  exec 6<"$dir/client.out"
}

# ask_events NAME OPTION... and ask_report NAME: the same, and the service is serving on return.
ask_events() {
  in_background "$1" event-client "${@:2}"
  wait_for events events serving
}

ask_report() {
  in_background "$1" report-client --timeout 2
  wait_for report report serving
}

# The client from in_background ends with status $1.
expect_background() {
  local status=0
  show "$client_name" <&6
  wait "$client" || status=$?
  client=
  [ $status -eq "$1" ] || fail "$client_name ended with status $status, not $1"
}

# expect STATUS NAME PROGRAM OPTION...: a client ends with STATUS; shows all but its progress.
expect() {
  local wanted=$1 name=$2 status
  run "$3" --name "$2" "${@:4}" 2>&1 | grep -v '^ *[0-9]* %  ' | show "$name"
  status=${PIPESTATUS[0]}
  [ "$status" -eq "$wanted" ] || fail "$name ended with status $status, not $wanted"
}

dir=$(mktemp -d "${TMPDIR:-/tmp}/velp-demo.XXXXXX") || exit 1
mkfifo -m 600 "$dir"/{events,report,faults,client}.out || exit 1
printf 'A private bus: the directory %s, which only you may enter.\n' "$dir"
printf 'Lines that begin with a tag such as [INFO] are the log of the library itself.\n'

step '1. Ask for the event list' \
  'The event service joins the bus and a client process asks it for its events (message ID 50).' \
  'It takes 3 s over each request, so that the next steps can look at it meanwhile.'
start_events --delay 3000
ask_events Client1 --last 15
expect_background 0

step '2. A busy service refuses by itself' \
  'Client2 asks while the request of Client1 is being served: the library answers it at once' \
  'with error 7, and Client1 still gets its list.'
ask_events Client1 --last 3
expect 5 Client2 event-client
expect_background 0

step '3. An unknown request is refused' \
  'No service code has to say no: nobody registered ID 77, so the library answers with error 1.'
expect 4 Client1 event-client --id 77

step '4. The service dies in the middle of a request' \
  'kill -9 hits the event service while it serves Client1: no answer can come, and Client1 gets' \
  '-2 after its time-out of 2 s.'
ask_events Client1 --timeout 2
kill_service events
expect_background 6

step '5. The dead service is known to be absent' \
  'The next request is not even sent: sendTo returns false at once, and Client1 gets -1.'
expect 3 Client1 event-client

step '6. A restarted service takes its name at once' \
  'The name was held by the process alone, so nothing has to be cleaned up: the service starts' \
  'again and answers, without delay from now on.'
start_events
ask_events Client1 --last 3
expect_background 0

step '7. Remove events for good' \
  'Client1 has all events of the action "installed" removed (message ID 3). The service keeps its' \
  'events in an SQLite database and answers once the removal is on disk: after a kill -9 and a' \
  'restart they are still gone, although the log still tells of them.'
ask_events Client1 --remove-text installed=
expect_background 0
kill_service events
start_events
ask_events Client1 --last 5
expect_background 0

step '8. A long request reports its progress' \
  'The report service packs files into an archive (message ID 1001). Client1 waits 2 s at most' \
  'for an answer, but each sign of progress starts its time-out anew; on a terminal it would draw' \
  'a bar. Client2 is refused meanwhile. The answer names the archive, and tar lists it.'
mkdir -p "$dir"/archives "$dir"/logs/{packages,system} || exit 1
for name in packages/apt packages/dpkg system/kernel system/mail; do
  yes "a line of $name" | head -c 16384 >"$dir/logs/$name.log"
done
start_report
ask_report Client1
wait_for client Client1 Packing
expect 5 Client2 report-client
expect_background 0
wait_for report report packed
tar tzf "$dir"/archives/*.tar.gz | show tar

step '9. A fault is filed, and its end' \
  'The directory for the archives is moved away: the report service answers with error 11, and' \
  'files a record with the fault service. Once the directory is back, reports work again, and a' \
  'second record says so. Both are in the file of the fault service.'
start faults fault-service --records "$dir/faults.log"
mv "$dir/archives" "$dir/away"
expect 2 Client1 report-client packages
wait_for report report refused
wait_for faults faults active=1
mv "$dir/away" "$dir/archives"
expect 0 Client1 report-client packages
wait_for report report 'work again'
wait_for faults faults active=0
show file <"$dir/faults.log"

step '10. The service dies in the middle of a report' \
  'kill -9 hits the report service while it packs: Client1 hears nothing more and gives up after' \
  '2 s. No archive has come into being, only a hidden unfinished file, which the restarted' \
  'service removes before it serves again.'
ask_report Client1
wait_for client Client1 Packing
kill_service report
expect_background 6
(cd "$dir/archives" && find . -name '.*.part') | show find
start_report
expect 0 Client1 report-client packages
wait_for report report packed

printf '\nEverything happened as announced. The processes end and the bus directory goes.\n'
