#!/usr/bin/env bash
# Shows what the library does, on a picture of yours or on a built-in scene:
#
#   scripts/tour.sh [PICTURE]
#
# Installs what is missing of the Debian packages, builds, runs the tour and prints where its page is. All further
# options are those of the tour itself: scripts/tour.sh --help.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/setup.sh
source "$root/scripts/setup.sh"

need_packages --for 'the tour' libpng-dev libjpeg-dev >&2
build_preset release qorcv_tour >&2

# Files are named from where the user stands.
exec "$root/build/release/examples/qorcv-tour" "$@"
