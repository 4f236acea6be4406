# Set-up shared by the scripts beside it. Source it:   . "$(dirname "${BASH_SOURCE[0]}")/setup.sh"
#
#   need_packages [--for PURPOSE] NAME...   installs the Debian packages of these names that are missing
#   build_preset NAME [TARGET...]           installs the build tools, configures build/NAME by the preset of that name
#                                           and builds it: everything, or the targets given
#
# QORCV_SKIP_PACKAGES=1 installs nothing and trusts that everything is there, under whatever names.
# CMAKE_BUILD_PARALLEL_LEVEL=N limits the build to N jobs. A ccache that is installed is used.
# shellcheck shell=bash

qorcv_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
qorcv_apt_updated=

say() { printf '== %s\n' "$*"; }

fail() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# Runs a command as root: directly, or through sudo, which may ask for the password.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  else
    sudo "$@"
  fi
}

apt_get() {
  as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=600 -o Acquire::Retries=3 "$@"
}

package_installed() { [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null || true)" = installed ]; }

need_packages() {
  local purpose='the build' name missing=()
  if [ "${1-}" = --for ]; then
    purpose=$2
    shift 2
  fi
  [ -z "${QORCV_SKIP_PACKAGES-}" ] || return 0
  if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    fail "cannot install what $purpose needs, for this is not a Debian system. Install the counterparts of these
Debian packages by hand and run it again with QORCV_SKIP_PACKAGES=1:
  $*"
  fi
  for name in "$@"; do
    package_installed "$name" || missing+=("$name")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  if [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; then
    fail "packages that $purpose needs are missing, and there is neither root nor sudo to install them. As root, run
  apt-get update && apt-get install --no-install-recommends ${missing[*]}"
  fi
  say "installing packages for $purpose: ${missing[*]}"
  if [ -z "$qorcv_apt_updated" ]; then
    apt_get update || fail 'apt-get update failed: is the network up, and are the package sources right?'
    qorcv_apt_updated=1
  fi
  apt_get install -y --no-install-recommends "${missing[@]}" || fail "could not install: ${missing[*]}"
}

build_preset() {
  local preset=$1
  shift
  [ "$(uname -s)-$(uname -m)" = Linux-x86_64 ] || fail "qorCV is for x86-64 Linux, this is $(uname -s) on $(uname -m)"
  # The tests, the benchmarks and the tour are part of every preset, so the libraries they use are needed to configure.
  need_packages --for 'the build' cmake ninja-build g++ pkg-config python3 libgtest-dev libbenchmark-dev libpng-dev libjpeg-dev
  if command -v ccache >/dev/null; then
    export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
  fi
  say "building preset $preset in build/$preset"
  # A subshell, so that the caller's folder stays and paths given to it keep their meaning.
  (
    cd "$qorcv_root"
    cmake --preset "$preset"
    cmake --build --preset "$preset" ${1:+--target "$@"}
  )
}
