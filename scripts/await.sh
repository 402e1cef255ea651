# await CONDITION: evaluates the shell condition every 50 ms for at most 10 s;
# false when it never held. Sourced by demo.sh and the packaging checks.
await() {
  local i
  for i in $(seq 200); do
    if eval "$1"; then return 0; fi
    sleep 0.05
  done
  return 1
}
