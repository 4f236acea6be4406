#!/usr/bin/env bash
# Builds the release and prints the benchmark table: both build levels, measured in turns, and at the end their ratios
# beside the bounds in bench/ratios.tsv.
#
#   scripts/bench.sh [--record] [--json FILE] [--seconds S] [FILTER]
#   scripts/bench.sh --instructions [--record] [FILTER]
#
# FILTER is a regular expression on NAME/WIDTHxHEIGHT[/threads:N], such as qoriAbsDiff or '8u.*1920'.
# --json FILE      also writes the figures to FILE
# --seconds S      time for each row and size; 0.12 when not given
# --instructions   counts instructions per pixel under callgrind instead, one call of every row at 641x479: slower by
#                  far, but the same on every run and every machine
# --record         puts the figures into bench/best.tsv, by which later runs tell what has become slower: times where
#                  they beat what stands there, instructions as they are. To begin anew, delete a row's line
set -euo pipefail
# shellcheck source=setup.sh
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

usage() {
  sed -n '2,/^set/{/^set/d;s/^# \{0,1\}//;p}' "${BASH_SOURCE[0]}"
  exit "$1"
}

filter='' json='' seconds='' instructions='' record=''
while [ $# -gt 0 ]; do
  case $1 in
    -h | --help) usage 0 ;;
    --instructions) instructions=1 ;;
    --record) record=1 ;;
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

build_preset release qorcv-bench qorcv
build=$qorcv_root/build/release
program=$build/bench/qorcv-bench
best=$qorcv_root/bench/best.tsv

if [ -n "$instructions" ]; then
  need_packages --for 'counting instructions' valgrind
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  # Every row's counted call runs inside one function: counting is on inside it, and leaving it writes one file, in the
  # order in which the program lists the calls. The program must not be started anew under the counter, so its threads
  # stay unbound; there is only one.
  if ! valgrind --tool=callgrind --toggle-collect=qorBenchCounted --dump-after=qorBenchCounted \
    --callgrind-out-file="$work/calls" --log-file="$work/log" \
    "$program" --count-calls "--benchmark_filter=${filter:-.}" >"$work/rows"; then
    cat "$work/log" >&2
    exit 1
  fi
  # The recorded table with the new counts in it, and the rows that were counted.
  for n in $(seq "$(wc -l <"$work/rows")"); do
    awk '/^(summary|totals):/ { count = $2 } END { print count }' "$work/calls.$n"
  done | paste "$work/rows" - | awk -F '\t' -v OFS='\t' -v recorded="$best" -v table="$work/table" '
    { count[$1, $2] = $4 / $3; if (!($1 in seen)) names[++n] = $1; seen[$1] }
    END {
      while ((getline <recorded) > 0) {
        was[$1, 0] = $4; was[$1, 1] = $5
        for (level = 0; level < 2; ++level) if (($1, level) in count) $(4 + level) = sprintf("%.4g", count[$1, level])
        print >table
      }
      printf "%-60s %10s %10s %6s\n", "instructions per pixel", "plain", "wide", "w/p"
      for (i = 1; i <= n; ++i) {
        more = ""
        for (level = 0; level < 2; ++level) {
          before = was[names[i], level]
          if (before > 0 && count[names[i], level] > before * 1.02)
            more = more sprintf("  %s MORE than the %s recorded", level ? "wide" : "plain", before)
        }
        plain = count[names[i], 0]; wide = count[names[i], 1]
        printf "%-60s %10.3f %10.3f %6.2f%s\n", names[i], plain, wide, wide / plain, more
      }
    }'
  [ -z "$record" ] || cp "$work/table" "$best"
  exit 0
fi

options=("--benchmark_filter=${filter:-.}" "--best=$best" "--ratios=$qorcv_root/bench/ratios.tsv")
[ -z "$json" ] || options+=("--benchmark_out=$json" --benchmark_out_format=json)
[ -z "$seconds" ] || options+=("--seconds=$seconds")
[ -z "$record" ] || options+=(--record)
# The text of the libraries: the one in the sub-folder is the wide one.
(cd "$build/src" && find . -name 'libqorcvt6.so.*' -exec size {} +)
# The program binds its own threads, one to a processor, and prints how.
exec "$program" "${options[@]}"
