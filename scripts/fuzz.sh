#!/usr/bin/env bash
# Fuzzes every operation that the tests describe for some time: scripts/fuzz.sh [SECONDS] [FUZZER...]
#
# SECONDS is per fuzzer, 60 unless given. FUZZER is a name such as described_fuzz; all run unless some are given. Inputs
# that reach new code are kept in build/fuzz/corpus, an input that fails in build/fuzz/findings. To repeat one, give it
# to the fuzzer as its argument: build/fuzz/fuzzers/described_fuzz build/fuzz/findings/described_fuzz-crash-...
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

seconds=${1:-60}
[[ $seconds =~ ^[0-9]+$ ]] || fail "'$seconds' is not a number of seconds"
shift || true

need_packages --for 'the fuzzers' clang libclang-rt-dev libomp-dev
build_preset fuzz
cd "$qorcv_root/build/fuzz"
if [ $# -eq 0 ]; then
  mapfile -t names < <(cd fuzzers && ls)
  set -- "${names[@]}"
fi
mkdir -p findings
# The runtime's idle workers sleep: spinning ones would fight the fuzzer for the processors.
export OMP_WAIT_POLICY=passive
export LSAN_OPTIONS=suppressions=$qorcv_root/tests/fuzz/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1
for name in "$@"; do
  [ -x "fuzzers/$name" ] || fail "there is no fuzzer $name, only: $(cd fuzzers && echo *)"
  mkdir -p "corpus/$name"
  say "$name for $seconds s"
  if ! "fuzzers/$name" -max_total_time="$seconds" -timeout=60 -len_control=0 -max_len=4096 \
    -rss_limit_mb=4096 -artifact_prefix="findings/$name-" \
    -print_final_stats=1 "corpus/$name" >"$name.log" 2>&1; then
    cat "$name.log"
    fail "$name found a fault; its input is in build/fuzz/findings"
  fi
  sed -n 's/^stat::number_of_executed_units: */   inputs tried: /p' "$name.log"
done
