# Shared by the packaging checks: arguments, a private temporary directory
# removed on exit, the expected file list.
#   BUILD_DIR LIBDIR CONFIG are the first three arguments of every check.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$1 libdir=$2 config=$3
shift 3
tmp=$(mktemp -d "${TMPDIR:-/tmp}/siu-packaging.XXXXXX")
cleanups=()
on_exit() {
  local i
  for ((i = ${#cleanups[@]} - 1; i >= 0; i--)); do eval "${cleanups[i]}" || true; done
  rm -rf "$tmp"
}
trap on_exit EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

# expected COMPONENT|all [deb]: the sorted paths under the prefix, those of
# the package with "deb"; SIU_PACKAGING_WITH lists the optional parts built.
expected() {
  local want=$1 deb=${2:-}
  sed -e '/^#/d' -e '/^$/d' -e "s|LIBDIR|$libdir|" -e "s|CONFIG|$config|" "$here/expected-files" |
    while read -r component path flag; do
      [ "$want" = all ] || [ "$want" = "$component" ] || continue
      case $flag in
        '') ;;
        deb) [ -n "$deb" ] || continue ;;
        *) [[ " ${SIU_PACKAGING_WITH:-} " == *" $flag "* ]] || continue ;;
      esac
      echo "$path"
    done | sort
}
source "$here/../../scripts/await.sh"
