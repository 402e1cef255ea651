#!/usr/bin/env bash
# Installs the build and test dependencies from Debian's packages, only when
# something is missing (a fresh machine has g++, cmake and gtest, little else).
set -euo pipefail

need=()
have_pkg() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"; }
for pkg in g++ cmake ninja-build libgtest-dev libgmock-dev libbenchmark-dev zlib1g-dev procps jq \
           clang libclang-rt-14-dev \
           groff-base man-db bsdextrautils pkgconf dpkg-dev file lintian \
           libboost-dev nlohmann-json3-dev libssl-dev openssl; do
  have_pkg "$pkg" || need+=("$pkg")
done
[ ${#need[@]} -eq 0 ] && exit 0

echo "installing: ${need[*]}"
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${need[@]}"
