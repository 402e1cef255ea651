#!/usr/bin/env bash
# The manual pages render without a warning, as lintian and man-db render
# them, and they do not fall behind the code: every key the library reads is
# on the configuration file's page, every option and command of siuctl,
# siusim (and siud with its client, when built) on theirs.
#   man_pages.sh BUILD_DIR LIBDIR CONFIG SOURCE_DIR
source "$(dirname "$0")/common.sh"
source_dir=$1
pages=$build/man

for page in "$pages"/*.gz; do
  zcat "$page" | groff -man -Tutf8 -ww -z 2>"$tmp/groff.err"
  [ ! -s "$tmp/groff.err" ] || { cat "$tmp/groff.err"; fail "groff warns about ${page##*/}"; }
  LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z "$page" >/dev/null 2>"$tmp/man.err"
  [ ! -s "$tmp/man.err" ] || { cat "$tmp/man.err"; fail "man warns about ${page##*/}"; }
done

# rendered PAGE: the page as plain text.
rendered() { LC_ALL=C.UTF-8 MANWIDTH=200 man -l "$pages/$1" 2>/dev/null | col -b; }
missing=()
# need PAGE WORD...: each word must be on the page.
need() {
  local page=$1 text word
  shift
  text=$(rendered "$page")
  for word in "$@"; do
    grep -qF -- "$word" <<<"$text" || missing+=("$page: $word")
  done
}

# The device keys of the key table (Service is the section's name, not a
# key) and the keys read by name anywhere in the library.
keys=$(grep -oP '^\s*\{"\K\w+(?=", nullptr\})' "$source_dir/common/Configuration.cpp" | grep -vx Service)
keys+=" "$(cd "$source_dir" && grep -rhoP '(getConfig|getBoolConfig|readNumber)\([^;]*?"\K\w+(?=")' \
  common device manager transport interface | sort -u)
need NorvaSensorBoard.ini.5.gz $keys

# Options and commands as --help lists them.
help_words() {
  "$build/bin/$1" --help 2>&1 | grep -oE -- '--[a-z][a-z-]*' | sort -u
  "$build/bin/$1" --help 2>&1 | sed -n "/^$2/,/^\$/p" | grep -oE '^  [a-z][a-z-]*' | sed 's/^  //'
}
need siuctl.1.gz $(help_words siuctl Commands:)
need siusim.1.gz $(help_words siusim 'Control commands:')
if [[ " ${SIU_PACKAGING_WITH:-} " == *" siud "* ]]; then
  need siud.8.gz $(help_words siud Commands:)
  need siud-client.1.gz $(help_words siud-client Commands:)
fi

[ ${#missing[@]} -eq 0 ] || { printf '  %s\n' "${missing[@]}"; fail "pages miss what the code has"; }
echo "$(ls "$pages"/*.gz | wc -l) pages render cleanly and cover every key, option and command"
