#!/usr/bin/env bash
# The library at work, in one command on a fresh machine: installs what is
# missing, builds the library, Log.so, the board simulator and siuctl, starts
# the simulator on a pseudo-terminal with the example board, installs the
# example configuration beside a copy of the library, and drives the board
# with siuctl, then serves it as an XFS4IoT service with siud. The simulator
# is stopped and its link removed on the way out.
#   ./demo.sh          run it
#   ./demo.sh --keep   keep the run directory (configuration, logs) and say where
set -euo pipefail
cd "$(dirname "$0")"
keep=no
[ "${1:-}" = "--keep" ] && keep=yes

step() { printf '\n==> %s\n' "$*"; }
fail() { echo "demo: $*" >&2; exit 1; }
source scripts/await.sh

step "Dependencies"
./scripts/install-deps.sh
step "Build: the library, Log.so, siusim, siuctl and siud"
cmake --preset default >/dev/null
cmake --build build --target NorvaSensorBoard Log siusim siuctl siud siud-client

siusim=$PWD/build/bin/siusim
siuctl_bin=$PWD/build/bin/siuctl
run=$(mktemp -d "${TMPDIR:-/tmp}/siu-demo.XXXXXX")
link=$run/siu-line
sim_pid=
watch_pid=
siud_pid=
events_pid=

cleanup() {
  local status=$?
  set +e
  if [ -n "$watch_pid" ]; then
    kill -INT "$watch_pid" 2>/dev/null
    wait "$watch_pid" 2>/dev/null
  fi
  for pid in $events_pid $siud_pid; do
    kill -TERM "$pid" 2>/dev/null
    wait "$pid" 2>/dev/null
  done
  if [ -n "$sim_pid" ]; then
    "$siusim" --control "$link" quit >/dev/null 2>&1 || kill "$sim_pid" 2>/dev/null
    wait "$sim_pid" 2>/dev/null
  fi
  rm -f "$link" "$link.ctl"
  if [ "$keep" = yes ]; then
    echo "kept: $run (NorvaSensorBoard.ini, logs/)"
  else
    rm -rf "$run"
  fi
  exit "$status"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

step "Start siusim on $link with examples/siusim-board.ini"
"$siusim" --link "$link" --board examples/siusim-board.ini >"$run/siusim.log" 2>&1 &
sim_pid=$!
await '"$siusim" --control "$link" ping >/dev/null 2>&1 || ! kill -0 "$sim_pid" 2>/dev/null' || true
if ! "$siusim" --control "$link" ping >/dev/null 2>&1; then
  cat "$run/siusim.log" >&2
  fail "siusim did not start"
fi

step "Install the library, Log.so and examples/NorvaSensorBoard.ini in $run"
cp build/lib/libNorvaSensorBoard.so.1 build/lib/Log.so "$run/"
mkdir -p "$run/logs"
sed -e "s|^DevicePort *=.*|DevicePort = $link|" \
    -e "s|^LogPath *=.*|LogPath = $run/logs|" \
    examples/NorvaSensorBoard.ini >"$run/NorvaSensorBoard.ini"
grep -E '^(DevicePort|DeviceProtocol|LogPath) ' "$run/NorvaSensorBoard.ini"

siuctl() {
  echo "\$ siuctl $*"
  "$siuctl_bin" --lib "$run" "$@"
}

step "What the library finds"
siuctl info

step "Every item and its state"
siuctl status

step "An indicator"
siuctl indicator LED_GREEN on
outputs=$("$siusim" --control "$link" outputs)
echo "the simulator's outputs: ${outputs#OK }"

step "Watch while the safe-box door is opened on the simulator"
echo "\$ siuctl watch --interval 200"
"$siuctl_bin" --lib "$run" watch --interval 200 >"$run/watch.out" 2>"$run/watch.err" &
watch_pid=$!
await 'grep -q "watching" "$run/watch.err" || ! kill -0 "$watch_pid" 2>/dev/null' || true
grep -q "watching" "$run/watch.err" || { cat "$run/watch.err" >&2; fail "siuctl watch did not start"; }
echo "\$ siusim --control $link set-flag S 1 1 1"
"$siusim" --control "$link" set-flag S 1 1 1
await 'grep -q DOOR_SAFE_BOX "$run/watch.out"' || fail "siuctl watch did not see the door"
kill -INT "$watch_pid"
watch_status=0
wait "$watch_pid" || watch_status=$?
watch_pid=
head -n 1 "$run/watch.err"
cat "$run/watch.out"
tail -n +2 "$run/watch.err"
[ "$watch_status" -eq 0 ] || fail "siuctl watch ended with $watch_status"

step "siud: the board as an XFS4IoT service over WebSocket"
echo "\$ siusim --control $link set-flag S 1 1 0     # the safe-box door closed again"
"$siusim" --control "$link" set-flag S 1 1 0
sed -e "s|^port *=.*|port = 0|" -e "s|^library *=.*|library = $run|" examples/siud.ini >"$run/siud.ini"
echo "\$ siud --config siud.ini     (examples/siud.ini on a free port)"
build/bin/siud --config "$run/siud.ini" 2>"$run/siud.log" &
siud_pid=$!
await 'grep -q "listening on" "$run/siud.log" || ! kill -0 "$siud_pid" 2>/dev/null' || true
grep -q "listening on" "$run/siud.log" || { cat "$run/siud.log" >&2; fail "siud did not start"; }
cat "$run/siud.log"
url=$(sed -n 's/.*listening on //p' "$run/siud.log")/SIU
client=build/bin/siud-client
echo "\$ siud-client $url Common.Status     (the completion, without the norvaBoard section)"
"$client" "$url" Common.Status | jq -c 'select(.header.type == "completion") | del(.payload.norvaBoard)'
echo "\$ siud-client --events 1 $url Auxiliaries.Register '{\"safeDoor\": \"register\"}' &"
"$client" --events 1 --timeout 10000 "$url" Auxiliaries.Register '{"safeDoor": "register"}' \
  >"$run/events.out" 2>&1 &
events_pid=$!
await 'grep -q "\"completion\"" "$run/events.out"' || fail "siud-client did not register"
echo "\$ siusim --control $link set-flag S 1 1 1     # the safe-box door opened"
"$siusim" --control "$link" set-flag S 1 1 1
events_status=0
wait "$events_pid" || events_status=$?
events_pid=
jq -c 'if .header.type == "completion" then del(.payload) else . end' \
  "$run/events.out"
[ "$events_status" -eq 0 ] || fail "no StatusChangedEvent came"
kill -TERM "$siud_pid"
wait "$siud_pid" || fail "siud ended with $?"
siud_pid=
tail -n 1 "$run/siud.log"

step "Done: siusim stops and its link goes"
