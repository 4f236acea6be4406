#!/usr/bin/env bash
# Builds and tests everything, on a fresh Debian 12 too: what is missing is installed first.
#
#   scripts/test.sh           all that CI runs
#   scripts/test.sh --quick   the format, the release build and its tests
#
#   1. format of the sources                     scripts/lint.sh --format-only
#   2. release build, warnings as errors, tests
#   3. the tests once more, under the address and undefined-behaviour sanitizers
#   4. each fuzzer for FUZZ_SECONDS (10)         scripts/fuzz.sh
#   5. reference without a warning               scripts/docs.sh
#   6. static analysis                           scripts/lint.sh
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

quick=
case "${1-}" in
  '') ;;
  --quick) quick=1 ;;
  *) fail "unknown option '$1'; see the head of this script" ;;
esac
cd "$qorcv_root"
started=$SECONDS
summary=()

# step NAME COMMAND...: runs one step and notes how long it took.
step() {
  local name=$1 begin=$SECONDS
  shift
  "$@"
  summary+=("$(printf '%5d s  %s' $((SECONDS - begin)) "$name")")
}

run_tests() {
  say "testing build/$1"
  ctest --preset "$1" -j "${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}" 2>&1 | tee "build/$1/ctest.log"
}

packages=(git binutils clang-format-14 dpkg-dev file pkg-config python3)
[ -n "$quick" ] || packages+=(clang clang-tidy-14 doxygen libclang-rt-dev libomp-dev)
need_packages --for 'the tests' "${packages[@]}"

step format scripts/lint.sh --format-only
step 'release build' build_preset release
step 'release tests' run_tests release
if [ -z "$quick" ]; then
  step 'sanitizer build' build_preset sanitize
  step 'sanitizer tests' run_tests sanitize
  step fuzzers scripts/fuzz.sh "${FUZZ_SECONDS:-10}"
  step reference scripts/docs.sh
  step analysis scripts/lint.sh
fi

say "all passed, in $((SECONDS - started)) s"
printf '%s\n' "${summary[@]}"
[ -n "$quick" ] || grep 'tests passed' build/sanitize/ctest.log | sed 's/^/   under the sanitizers: /'
grep 'tests passed' build/release/ctest.log
