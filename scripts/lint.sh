#!/usr/bin/env bash
# Format and static analysis: scripts/lint.sh [--format-only] [FILE...]
#
# Format: every C and C++ file under version control, by clang-format 14.
# Analysis: clang-tidy over the library's sources, or the sources given. Neither changes a file; to format, run
#   git ls-files '*.c' '*.cpp' '*.h' | xargs clang-format-14 -i
set -euo pipefail
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

format_only=
if [ "${1-}" = --format-only ]; then
  format_only=1
  shift
fi
cd "$qorcv_root"

# By version: another one breaks lines elsewhere.
need_packages --for 'the format check' git clang-format-14
say 'checking the format'
git ls-files -z '*.c' '*.cpp' '*.h' | xargs -0 -r clang-format-14 --dry-run -Werror
[ -z "$format_only" ] || exit 0

need_packages --for 'the analysis' clang-tidy-14 python3
[ -e build/release/compile_commands.json ] || build_preset release
# Each file once, as the wide level compiles it, without what clang does not know.
mkdir -p build/tidy
python3 - <<'END'
import json
with open("build/release/compile_commands.json") as all, open("build/tidy/compile_commands.json", "w") as once:
    entries = json.loads(all.read().replace(" -fno-ipa-sra", ""))
    json.dump(list({entry["file"]: entry for entry in entries}.values()), once)
END
say 'analysing'
[ $# -gt 0 ] || set -- "$qorcv_root/src/.*\.cpp$" "$qorcv_root/core/.*\.cpp$"
jobs=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
if ! run-clang-tidy-14 -p build/tidy -quiet -j "$jobs" "$@" >build/tidy.log 2>&1; then
  # A finding in a header comes once for every file that includes it.
  sed 's/\x1b\[[0-9;]*m//g' build/tidy.log | grep -E '(warning|error): ' | sort -u >&2
  fail 'clang-tidy has findings, told in full in build/tidy.log'
fi
