#!/usr/bin/env bash
# Makes the API reference from the headers, build/docs/html/index.html. A warning is an error.
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need_packages --for 'the reference' doxygen
cd "$qorcv_root"
mkdir -p build/docs
say 'making the reference'
version=$(sed -n 's/^project(qorcv VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
{
  cat docs/Doxyfile
  echo "PROJECT_NUMBER = $version"
} | doxygen -
say 'the reference is build/docs/html/index.html'
