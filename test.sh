#!/usr/bin/env bash
# Installs what is missing, configures, builds and runs every test.
#   ./test.sh          the normal build (build/)
#   ./test.sh asan     the same under AddressSanitizer + UBSan (build-asan/)
#   ./test.sh tsan     the threads test under ThreadSanitizer (build-tsan/; its
#                      presets build and run only that test)
set -euo pipefail
cd "$(dirname "$0")"
preset="${1:-default}"

./scripts/install-deps.sh
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset"
