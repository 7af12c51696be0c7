# shellcheck shell=bash
# What the scripts of this folder share. Sourced, with `set -euo pipefail` in force.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# The Debian 12 packages that each purpose needs.
build_packages=(g++ cmake ninja-build qtbase5-dev libqt5sql5-sqlite libboost-dev libfccp-dev)
test_packages=("${build_packages[@]}" libgtest-dev libgmock-dev umockdev libumockdev-dev
    fonts-dejavu-core fonts-wqy-microhei mount util-linux valgrind)
# shellcheck disable=SC2034
format_packages=(clang-format git shellcheck)
# shellcheck disable=SC2034
lint_packages=("${test_packages[@]}" "${format_packages[@]}" libbenchmark-dev libmodbus-dev
    libsqlite3-dev clang-tidy)
# shellcheck disable=SC2034
fuzz_packages=("${build_packages[@]}" clang libclang-rt-14-dev libsqlite3-dev)
# shellcheck disable=SC2034
coverage_packages=("${test_packages[@]}" gcovr)

# say LINE...: to standard error, because standard output belongs to the program that a script runs.
say() {
    printf '%s\n' "$@" >&2
}

# fail STATUS LINE...
fail() {
    local status=$1
    shift
    say "$@"
    exit "$status"
}

# quietly LOG COMMAND...: the command's output goes to the log, and is shown only when it fails.
quietly() {
    local log=$1 status=0
    shift
    mkdir -p "$(dirname "$log")"
    "$@" >"$log" 2>&1 </dev/null || status=$?
    if [ "$status" -ne 0 ]; then
        cat "$log" >&2
        say "Failed with status $status: $*"
    fi
    return "$status"
}

is_installed() {
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# Prints what runs a command as root: nothing for root, sudo where it works. Fails where nothing does.
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        return 0
    fi
    command -v sudo >/dev/null || return 1
    if sudo -n true 2>/dev/null || { [ -t 0 ] && [ -t 2 ]; }; then
        echo sudo
        return 0
    fi
    return 1
}

# apt_install PACKAGE...: the lists of packages are fetched only when those that are there do not do.
apt_install() {
    local prefix=$1
    shift
    local install=(env DEBIAN_FRONTEND=noninteractive apt-get -y -o DPkg::Lock::Timeout=300)
    # shellcheck disable=SC2086 # the prefix is one word or none
    $prefix "${install[@]}" install --no-install-recommends "$@" && return 0
    # shellcheck disable=SC2086
    $prefix "${install[@]}" update && $prefix "${install[@]}" install --no-install-recommends "$@"
}

# need_packages PACKAGE...: installs those that are missing, or says how to and stops with 3.
need_packages() {
    command -v dpkg-query >/dev/null || return 0 # not Debian: whoever came here has his own ways
    local missing=() package prefix
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    local by_hand="apt-get update && apt-get install --no-install-recommends ${missing[*]}"
    prefix=$(as_root) || fail 3 "Some packages are missing. As root, run:" "  $by_hand"
    say "Installing ${missing[*]} ..."
    # Asked for here: the installation itself cannot be seen.
    [ -z "$prefix" ] || sudo -v || fail 3 "Some packages are missing. As root, run:" "  $by_hand"
    quietly "$root/build/apt.log" apt_install "$prefix" "${missing[@]}" ||
        fail 3 "Some packages could not be installed. As root, run:" "  $by_hand"
}

# Whoever has a compiler cache has it used; an own choice stands.
if [ -z "${CMAKE_CXX_COMPILER_LAUNCHER+set}" ] && command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi

# configure PRESET FOLDER OPTION...: only when there is nothing yet or the options are other ones;
# for what changes in the tree the build itself configures again.
configure() {
    local preset=$1 folder=$2
    shift 2
    local options="$root $preset $*"
    if [ "$(cat "$folder/.configured" 2>/dev/null)" = "$options" ] &&
        [ "$folder/.configured" -nt "$root/CMakePresets.json" ]; then
        return 0
    fi
    say "Configuring ${folder#"$root"/} ..."
    (
        cd "$root" || return
        quietly "$folder/configure.log" cmake --preset "$preset" --fresh -B "$folder" "$@"
    )
    printf '%s\n' "$options" >"$folder/.configured"
}

# build FOLDER OPTION...: with options of cmake --build, which tell what to build. One build of a
# folder at a time.
build() {
    local folder=$1
    shift
    say "Building ${folder#"$root"/} ..."
    (
        cd "$root" || return
        flock 9
        quietly "$folder/build.log" "${undisturbed[@]}" cmake --build "$@"
    ) 9>"$folder/.lock"
}

# In front of programs with a sanitizer: their memory must lie where the sanitizer expects it, which
# address randomization with many bits thwarts. Empty where it cannot be switched off.
undisturbed=()
if setarch "$(uname -m)" -R true 2>/dev/null; then
    undisturbed=(setarch "$(uname -m)" -R)
fi
