#!/usr/bin/env bash
# Cuts the three Debian packages with CPack and checks their files against
# expected-files, their control fields and control files, and, when lintian
# is installed, that lintian finds no error (its warnings are shown).
#   packages.sh BUILD_DIR LIBDIR CONFIG VERSION
source "$(dirname "$0")/common.sh"
version=$1-1

cpack --config "$build/CPackConfig.cmake" -B "$tmp/debs" >"$tmp/cpack.log" 2>&1 || {
  cat "$tmp/cpack.log"; fail "cpack"; }
declare -A deb=(
  [runtime]=$tmp/debs/libnorvasensorboard1_${version}_$(dpkg --print-architecture).deb
  [dev]=$tmp/debs/libnorvasensorboard-dev_${version}_$(dpkg --print-architecture).deb
  [tools]=$tmp/debs/norvasensorboard-tools_${version}_$(dpkg --print-architecture).deb)

for component in runtime dev tools; do
  [ -f "${deb[$component]}" ] || { ls "$tmp/debs"; fail "no package ${deb[$component]##*/}"; }
  diff -u <(expected "$component" deb | sed 's|^|./usr/|') \
          <(dpkg-deb -c "${deb[$component]}" | grep -v '^d' | awk '{print $6}' | sort) ||
    fail "the $component package's files differ from tests/packaging/expected-files"
done

# field PACKAGE FIELD: one control field.
field() { dpkg-deb -f "${deb[$1]}" "$2"; }
# has TEXT PATTERN WHAT: TEXT matches the extended regular expression.
has() { grep -qE -- "$2" <<<"$1" || fail "$3: '$1' does not match '$2'"; }

has "$(field runtime Package) $(field runtime Section) $(field runtime Version)" \
    "^libnorvasensorboard1 libs $version\$" "runtime package"
# Computed by dpkg-shlibdeps from the library and Log.so.
has "$(field runtime Depends)" "libc6 .*libstdc\+\+6 .*zlib1g " "runtime Depends"
has "$(dpkg-deb -I "${deb[runtime]}" shlibs)" "^libNorvaSensorBoard 1 libnorvasensorboard1 \(>= $version\)\$" "shlibs"
has "$(dpkg-deb -I "${deb[runtime]}" triggers)" "^activate-noawait ldconfig\$" "triggers"

has "$(field dev Package) $(field dev Section)" "^libnorvasensorboard-dev libdevel\$" "dev package"
has "$(field dev Depends)" "^libnorvasensorboard1 \(= $version\)\$" "dev Depends"
# The pkg-config file names the prefix the package installs under, not the
# build's.
has "$(dpkg-deb --fsys-tarfile "${deb[dev]}" | tar -xO "./usr/$libdir/pkgconfig/NorvaSensorBoard.pc" | head -n 1)" \
    "^prefix=/usr\$" "the packaged pkg-config file"

has "$(field tools Package) $(field tools Section)" "^norvasensorboard-tools utils\$" "tools package"
has "$(field tools Depends)" "^libnorvasensorboard1 \(>= $version\), libc6 " "tools Depends"

for component in runtime dev tools; do
  for name in Maintainer Homepage Description; do
    [ -n "$(field "$component" "$name")" ] || fail "$component has no $name"
  done
done
echo "three packages with the expected files and control fields"

if command -v lintian >/dev/null; then
  status=0
  report=$(lintian --no-cfg --fail-on error "${deb[@]}" 2>&1) || status=$?
  grep -v 'running with root privileges' <<<"$report" || true
  [ "$status" -eq 0 ] || fail "lintian reports errors"
  echo "lintian: no errors"
else
  echo "lintian is not installed; not run"
fi
