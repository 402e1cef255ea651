#!/usr/bin/env bash
# Installs into a staging directory and builds two applications against the
# staged tree alone, one through pkg-config (C), one through find_package
# (C++); both then read the installed simulator's board through the installed
# library, its INI file beside it. The installed siuctl finds the installed
# library by its run path.
#   staged_install.sh BUILD_DIR LIBDIR CONFIG CC CXX
source "$(dirname "$0")/common.sh"
cc=$1 cxx=$2
stage=$tmp/stage
usr=$stage/usr
lib=$usr/$libdir

DESTDIR=$stage cmake --install "$build" --prefix /usr >"$tmp/install.log" || {
  cat "$tmp/install.log"; fail "cmake --install"; }
diff -u <(expected all) <(cd "$usr" && find . ! -type d | sed 's|^\./||' | sort) ||
  fail "the installed tree differs from tests/packaging/expected-files"

# C, through pkg-config, against the stage only.
flags=$(PKG_CONFIG_SYSROOT_DIR=$stage PKG_CONFIG_LIBDIR=$lib/pkgconfig \
        PKG_CONFIG_ALLOW_SYSTEM_CFLAGS=1 PKG_CONFIG_ALLOW_SYSTEM_LIBS=1 \
        pkg-config --cflags --libs 'NorvaSensorBoard >= 1.0')
echo "pkg-config: $flags"
"$cc" -std=c99 -Wall -Wextra -Werror -pedantic "$here/consumer/consumer.c" $flags -o "$tmp/c-consumer"

# C++, through the CMake package, with nothing but the stage to search.
cmake -S "$here/consumer" -B "$tmp/cxx" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_PREFIX_PATH="$usr" -DCMAKE_FIND_USE_CMAKE_SYSTEM_PATH=OFF >"$tmp/cxx.log" 2>&1 &&
  cmake --build "$tmp/cxx" >>"$tmp/cxx.log" 2>&1 || { cat "$tmp/cxx.log"; fail "find_package consumer"; }

# The simulator, with the installed example board, and the example
# configuration beside the installed library, pointed at the simulator.
link=$tmp/line
"$usr/bin/siusim" --link "$link" --board "$usr/share/doc/norvasensorboard-tools/examples/siusim-board.ini" \
  >"$tmp/siusim.log" 2>&1 &
sim=$!
cleanups+=("\"$usr/bin/siusim\" --control \"$link\" quit >/dev/null 2>&1 || kill $sim; wait $sim")
await '"$usr/bin/siusim" --control "$link" ping >/dev/null 2>&1 || ! kill -0 $sim' || true
"$usr/bin/siusim" --control "$link" ping >/dev/null || { cat "$tmp/siusim.log"; fail "siusim did not start"; }
mkdir "$tmp/logs"
sed -e "s|^DevicePort *=.*|DevicePort = $link|" -e "s|^LogPath *=.*|LogPath = $tmp/logs|" \
  "$usr/share/doc/norvasensorboard-tools/examples/NorvaSensorBoard.ini" >"$lib/NorvaSensorBoard.ini"

# 4 is NORVA_SIU_VALUE_CLOSED, 5 OPENED. The library writes the board's
# replies on standard output as well; only the consumer's line counts.
door() { LD_LIBRARY_PATH=$lib "$1" SIU | sed -n 's/^door 0: //p'; }
state=$(door "$tmp/c-consumer") && [ "$state" = 4 ] || fail "C consumer read '$state', not the closed door"
"$usr/bin/siusim" --control "$link" set-flag S 1 1 1 >/dev/null
state=$(door "$tmp/cxx/consumer") && [ "$state" = 5 ] || fail "C++ consumer read '$state', not the opened door"
out=$(env -u LD_LIBRARY_PATH "$usr/bin/siuctl" status) || fail "installed siuctl: $out"
grep -qx 'DOOR_SAFE_BOX *OPENED' <<<"$out" || fail "installed siuctl read: $out"
echo "both consumers and the installed siuctl read the board through the staged library"
