#!/usr/bin/env bash
# The bash completion of siuctl offers its commands, options and words, and
# the service and item names of the configuration beside the library it
# would load, found through --lib or LD_LIBRARY_PATH.
#   completion.sh BUILD_DIR LIBDIR CONFIG SOURCE_DIR
source "$(dirname "$0")/common.sh"
source_dir=$1
source "$source_dir/packaging/siuctl.bash-completion"
[ ! -e /Norva/NorvaAPI/NorvaSensorBoard.ini ] || { echo "a system configuration exists; skipped"; exit 0; }

lib=$tmp/lib
mkdir "$lib"
cp "$source_dir/examples/NorvaSensorBoard.ini" "$lib/"
touch "$lib/libNorvaSensorBoard.so.1"

failures=0
# offers "COMMAND LINE|" EXPECTED: completes at the end of the line ("|"
# marks the cursor; a trailing blank starts a new word).
offers() {
  local line=${1%|} expected=$2 got
  read -ra COMP_WORDS <<<"$line"
  [[ $line == *' ' ]] && COMP_WORDS+=("")
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMPREPLY=()
  _siuctl || true
  got=$(printf '%s\n' "${COMPREPLY[@]}" | sort | xargs)
  if [ "$got" != "$expected" ]; then
    echo "'$1': offered '$got', expected '$expected'" >&2
    failures=$((failures + 1))
  fi
}

offers "siuctl |" "buzzer ekey indicator info motion power-cycle reset reset-sensors status watch"
offers "siuctl re|" "reset reset-sensors"
offers "siuctl status --|" "--help --json --lib --service --verbose --version"
offers "siuctl watch --|" "--help --interval --json --lib --service --verbose --version"
offers "siuctl --lib $lib -s |" "SIU"
offers "siuctl --lib $lib indicator INDICATOR_LED|" "INDICATOR_LED_GREEN INDICATOR_LED_ORANGE INDICATOR_LED_RED"
offers "siuctl --lib $lib/libNorvaSensorBoard.so.1 indicator INDICATOR_LED_RED |" "blink off on"
offers "siuctl --lib $lib reset-sensors DOOR_SAFE_BOX SENSOR_S|" "SENSOR_SEISMIC SENSOR_SKIMMING SENSOR_SKIMMING_BARRIER SENSOR_SKIMMING_ZONE1 SENSOR_SKIMMING_ZONE2 SENSOR_SKIMMING_ZONE3 SENSOR_SKIMMING_ZONE4 SENSOR_SMOKE"
offers "siuctl --lib $lib -s OTHER indicator |" ""
offers "siuctl buzzer |" "blink off on"
LD_LIBRARY_PATH=$tmp/none:$lib offers "siuctl indicator INDICATOR_P|" "INDICATOR_PINPAD"

[ "$failures" -eq 0 ] || fail "$failures completions differ"
echo "every completion as expected"
