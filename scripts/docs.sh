#!/usr/bin/env bash
# Builds the API reference (public headers + docs/host-guide.md) with Doxygen.
#   scripts/docs.sh [output dir]     default: build/docs, pages in <dir>/html
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh doxygen
out=${1:-build/docs}
mkdir -p "$out"
version=$(sed -n 's/^project(oru_dgw_sdk VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
# Later settings win: the checked-in Doxyfile stays free of machine paths.
{ cat docs/Doxyfile; echo "OUTPUT_DIRECTORY = $out"; echo "PROJECT_NUMBER = $version"; } | doxygen -
echo "API reference: $out/html/index.html"
