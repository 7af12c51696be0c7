# shellcheck shell=bash
# What the scripts share; sourced, not run.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

say() { printf '%s\n' "$*" >&2; }

# Installs the packages that are missing, or says which and ends with 3.
require_packages() {
  local wanted missing=() package
  mapfile -t wanted < <(grep -v '^#' "$root/scripts/packages.txt")
  for package in "${wanted[@]}"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
      missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local install=(apt-get install -y --no-install-recommends "${missing[@]}")
  if [ "$(id -u)" -eq 0 ]; then
    as_root=(env DEBIAN_FRONTEND=noninteractive)
  elif command -v sudo >/dev/null && { [ -t 0 ] || sudo -n true 2>/dev/null; }; then
    as_root=(sudo DEBIAN_FRONTEND=noninteractive)
  else
    say "These packages are missing. Install them as root and try again:"
    say "  apt-get update && ${install[*]}"
    exit 3
  fi
  say "installing ${missing[*]}"
  quietly "${as_root[@]}" apt-get update
  quietly "${as_root[@]}" "${install[@]}"
}

# Runs a command without its output, unless it fails.
quietly() {
  local log status=0
  log=$(mktemp)
  "$@" >"$log" 2>&1 </dev/null || status=$?
  if [ $status -ne 0 ]; then
    cat "$log" >&2
    say "failed: $*"
  fi
  rm -f "$log"
  return $status
}

# build PRESET TARGET... [-- CMAKE OPTION...]: configures build/PRESET and builds the targets; all
# of them when none is named.
build() {
  local preset=$1 targets=() options=()
  shift
  while [ $# -gt 0 ] && [ "$1" != -- ]; do
    targets+=("$1")
    shift
  done
  [ $# -gt 0 ] && options=("${@:2}")
  say "building ($preset)"
  (cd "$root" && quietly cmake --preset "$preset" "${options[@]}")
  quietly cmake --build "$root/build/$preset" ${targets[0]:+--target "${targets[@]}"}
}
