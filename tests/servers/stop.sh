#!/usr/bin/env bash
# Stops every server that start.sh started for STATE_FOLDER, also after a start that failed half
# way, and fails if any of their processes is still there afterwards. Then removes the servers'
# private folder, keeping a copy of their logs in STATE_FOLDER/last-run.
# Usage: stop.sh STATE_FOLDER
set -uo pipefail
state="${1:?usage: stop.sh STATE_FOLDER}"
pids="$state/pids"
[ -d "$pids" ] || exit 0

# Each server runs as the leader of a process group of its own (start.sh starts it with setsid);
# its pid file holds the leader's pid and start time, so a pid that the system has since given to
# an unrelated process is never signalled. Processes are named "pid:start-time" below for the same
# reason.
# A process that has exited but waits to be reaped (state Z) counts as gone.
start_time() {
  local fields
  fields="$(sed 's/.*) //' "/proc/$1/stat" 2>/dev/null)" || return 1
  [ -n "$fields" ] && [ "${fields:0:1}" != Z ] || return 1
  cut -d' ' -f20 <<<"$fields"
}

still_running() {
  local process="$1"
  [ "$(start_time "${process%%:*}" 2>/dev/null)" = "${process#*:}" ]
}

# The group is ours while its leader is the process we started, or, with the leader gone, while
# processes of the group remain (a group number is not handed out again while it has members).
group_is_ours() {
  local group="$1" started="$2"
  if start_time "$group" >/dev/null; then
    still_running "$group:$started"
  else
    [ -n "$(pgrep -g "$group")" ]
  fi
}

# The group's members and all their descendants: squid puts its helpers in sessions of their own.
processes_of_group() {
  local table queue pid child
  table="$(ps -e -o pid=,ppid=)"
  mapfile -t queue < <(pgrep -g "$1")
  while [ ${#queue[@]} -gt 0 ]; do
    pid="${queue[0]}"
    queue=("${queue[@]:1}")
    local started
    started="$(start_time "$pid")" && echo "$pid:$started"
    for child in $(awk -v parent="$pid" '$2 == parent { print $1 }' <<<"$table"); do
      queue+=("$child")
    done
  done
}

groups=()
processes=()
for file in "$pids"/*.pid; do
  [ -e "$file" ] || continue
  group="" started=""
  read -r group started < "$file" || true
  [ -n "$group" ] && group_is_ours "$group" "$started" || continue
  groups+=("$group")
  mapfile -t -O ${#processes[@]} processes < <(processes_of_group "$group")
done

signal_all() {
  local signal="$1" group process
  for group in "${groups[@]}"; do
    kill "-$signal" -- "-$group" 2>/dev/null
  done
  for process in "${processes[@]}"; do
    still_running "$process" && kill "-$signal" "${process%%:*}" 2>/dev/null
  done
}

left() {
  local process
  for process in "${processes[@]}"; do
    still_running "$process" && echo "${process%%:*}"
  done
}

wait_for_exit() {
  local tries="$1"
  while [ -n "$(left)" ] && [ "$tries" -gt 0 ]; do
    sleep 0.1
    tries=$((tries - 1))
  done
}

if [ ${#processes[@]} -gt 0 ]; then
  signal_all TERM
  wait_for_exit 50
  if [ -n "$(left)" ]; then
    signal_all KILL
    wait_for_exit 30
  fi
  remaining="$(left)"
  if [ -n "$remaining" ]; then
    echo "servers: processes still running after SIGKILL:" >&2
    ps -o pid=,args= -p "$(tr '\n' ',' <<<"$remaining" | sed 's/,$//')" >&2
    exit 1
  fi
fi

rm -f "$pids"/*.pid "$state/ports.env"
work=""
[ -s "$state/work" ] && work="$(cat "$state/work")"
# Only a folder that start.sh made is removed.
case "$work" in
  /tmp/zureader-servers.*) [ -e "$work/.zureader-servers" ] || work="" ;;
  *) work="" ;;
esac
[ -n "$work" ] || exit 0
# A squid that had to be killed leaves its shared-memory segments behind.
if [ -s "$work/squid/service" ]; then
  rm -f /dev/shm/"$(cat "$work/squid/service")"-*.shm
fi
rm -rf "$state/last-run"
mkdir -p "$state/last-run"
(cd "$work" && find . \( -name '*.log' -o -name '*.out' -o -name '*.jsonl' \) -type f \
  -exec cp --parents {} "$state/last-run/" \; ) 2>/dev/null || true
rm -rf "$work" "$state/work"
exit 0
