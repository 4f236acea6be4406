#!/usr/bin/env bash
# Builds two revisions side by side and prints the figures of both, measured in turns.
#
#   scripts/bench-compare.sh REVISION_A REVISION_B [FILTER]
#
# Each is checked out and built in a folder of its own, with its own benchmark; rows that only one of them has are left
# out. Compared are the medians of copies, which a busy neighbour disturbs less than times, over the rounds: ROUNDS=N, 3
# when not given. A row is called faster or slower when the medians differ by 10% or more and the rounds of one revision
# lie all on one side of those of the other. The plain level is compared; LEVEL=wide compares the other.
set -euo pipefail
# shellcheck source=setup.sh
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

if [ $# -lt 2 ] || [ $# -gt 3 ]; then
  sed -n '2,/^set/{/^set/d;s/^# \{0,1\}//;p}' "${BASH_SOURCE[0]}" >&2
  exit 2
fi
revisions=("$1" "$2")
filter=${3:-.}
rounds=${ROUNDS:-3}
prefix=
[ "${LEVEL:-plain}" = plain ] || prefix=${LEVEL}_
need_packages --for 'comparing revisions' git jq

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
work=$(mktemp -d)
clean() {
  local side
  for side in 0 1; do git -C "$root" worktree remove --force "$work/$side" 2>/dev/null || true; done
  rm -rf "$work"
}
trap clean EXIT

for side in 0 1; do
  git -C "$root" worktree add --quiet --detach "$work/$side" "${revisions[side]}"
  # In a shell of its own, with the set-up of that revision.
  (cd "$work/$side" && bash -euo pipefail -c '. scripts/setup.sh && build_preset release qorcv-bench')
done

for round in $(seq "$rounds"); do
  for side in 0 1; do
    say "round $round of $rounds: ${revisions[side]}"
    "$work/$side/build/release/bench/qorcv-bench" "--benchmark_filter=$filter" --benchmark_out_format=json \
      "--benchmark_out=$work/$side.$round.json" >"$work/table" || fail "$(grep FAILED "$work/table" || tail -n 3 "$work/table")"
  done
done

# Of each row over the rounds of a side: the least time and the median of copies.
digest() {
  jq -s --arg ns "${prefix}ns_per_pixel" --arg copies "${prefix}copies" '
    def median: sort | if length % 2 == 1 then .[length / 2 | floor] else (.[length / 2 - 1] + .[length / 2]) / 2 end;
    [.[].benchmarks[] | select(.error_occurred | not)] | group_by(.name)
    | map({key: (.[0].name | sub("/manual_time$"; "")),
           value: {ns: (map(.[$ns]) | min), copies: (map(.[$copies]) | median),
                   low: (map(.[$copies]) | min), high: (map(.[$copies]) | max)}})
    | from_entries' "$work/$1".*.json
}
digest 0 >"$work/a"
digest 1 >"$work/b"

printf '\nA: %s\nB: %s\n\n' "$(git -C "$work/0" log -1 --format='%h %s')" "$(git -C "$work/1" log -1 --format='%h %s')"
printf '%-50s %10s %10s %10s %10s %7s\n' row 'A ns/px' 'B ns/px' 'A copies' 'B copies' B/A
jq -rn --slurpfile a "$work/a" --slurpfile b "$work/b" '
  $a[0] | to_entries[] | select($b[0][.key]) | . as $row | $b[0][.key] as $new
  | [$row.key, $row.value.ns, $new.ns, $row.value.copies, $new.copies, $new.copies / $row.value.copies,
     if $new.high < $row.value.low then "faster" elif $new.low > $row.value.high then "SLOWER" else "" end] | @tsv' |
  awk -F '\t' '{
    verdict = $6 < 1 / 1.1 || $6 > 1.1 ? $7 : ""
    printf "%-50s %10.4f %10.4f %10.2f %10.2f %7.2f  %s\n", $1, $2, $3, $4, $5, $6, verdict
  }'
