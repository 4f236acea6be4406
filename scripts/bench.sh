#!/usr/bin/env bash
# Builds the release and prints the benchmark table, each measured ratio beside its budget.
#
#   scripts/bench.sh [--json FILE] [--seconds S] [FILTER]
#   scripts/bench.sh --instructions [FILTER]
#
# FILTER is a regular expression on NAME/WIDTHxHEIGHT[/threads:N], such as qoriAbsDiff or '8u.*1920'.
# --json FILE      also writes the figures to FILE
# --seconds S      time for each row and size; 0.12 when not given
# --instructions   counts instructions per pixel under callgrind instead, one call of every row at 641x479: slower by
#                  far, but the same on every run
set -euo pipefail
# shellcheck source=setup.sh
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

usage() {
  sed -n '2,/^set/{/^set/d;s/^# \{0,1\}//;p}' "${BASH_SOURCE[0]}"
  exit "$1"
}

filter='' json='' seconds='' instructions=''
while [ $# -gt 0 ]; do
  case $1 in
    -h | --help) usage 0 ;;
    --instructions) instructions=1 ;;
    --json | --seconds)
      [ $# -ge 2 ] || usage 2 >&2
      printf -v "${1#--}" '%s' "$2"
      shift
      ;;
    -*) usage 2 >&2 ;;
    *)
      [ -z "$filter" ] || usage 2 >&2
      filter=$1
      ;;
  esac
  shift
done

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build_preset release qorcv-bench
program=$root/build/release/bench/qorcv-bench

if [ -n "$instructions" ]; then
  need_packages --for 'counting instructions' valgrind
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  # Every row's counted call runs inside one function: counting is on inside it, and leaving it writes one file, in the
  # order in which the program lists the rows. The program must not be started anew under the counter, so its threads
  # stay unbound; there is only one.
  if ! valgrind --tool=callgrind --toggle-collect=qorBenchCounted --dump-after=qorBenchCounted \
    --callgrind-out-file="$work/calls" --log-file="$work/log" \
    "$program" --count-calls "--benchmark_filter=${filter:-.}" >"$work/rows"; then
    cat "$work/log" >&2
    exit 1
  fi
  printf '%-50s %14s %12s %10s\n' row instructions pixels per-pixel
  n=0
  while read -r name pixels; do
    n=$((n + 1))
    awk -v name="$name" -v pixels="$pixels" \
      '/^(summary|totals):/ { count = $2 } END { printf "%-50s %14d %12d %10.3f\n", name, count, pixels, count / pixels }' \
      "$work/calls.$n"
  done <"$work/rows"
  exit 0
fi

options=("--benchmark_filter=${filter:-.}")
[ -z "$json" ] || options+=("--benchmark_out=$json" --benchmark_out_format=json)
[ -z "$seconds" ] || options+=("--seconds=$seconds")
# The program binds its own threads, one to a processor, and prints how.
exec "$program" "${options[@]}"
