# shellcheck shell=bash disable=SC2034  # the groups are used by name
# The Debian packages that the project needs, in groups, and their installation. Other scripts source
# this file.

# Each entry: a package, a colon, a command that succeeds if the package is there (none: dpkg is asked).
build_packages=(
    "g++:command -v g++"
    "cmake:command -v cmake"
    "ninja-build:command -v ninja"
    "rapidjson-dev:"
    "libgtest-dev:"
    "libssl-dev:"
    "libcgicc-dev:"
)
# A crashing process runs these tools.
run_packages=(
    "procps:command -v ps && command -v pmap"
)
# Uploads and the report server. No unit test needs them.
server_packages=(
    "curl:command -v curl"
    "openssl:command -v openssl"
    "lighttpd:command -v lighttpd || test -x /usr/sbin/lighttpd"
    "lighttpd-mod-openssl:"
)
# Tests of the release build that are skipped without them.
check_packages=(
    "valgrind:command -v valgrind"
    "python3:command -v python3"
)
fuzz_packages=(
    "clang:command -v clang++"
    "libclang-rt-14-dev:"
)
soak_packages=(
    "python3:command -v python3"
)
lint_packages=(
    "clang:command -v clang++"
    "clang-format:command -v clang-format"
    "clang-tidy:command -v clang-tidy"
    "shellcheck:command -v shellcheck"
    "pyflakes3:command -v pyflakes3"
)
bench_packages=(
    "libbenchmark-dev:"
    "binutils:command -v c++filt"
    "gnuplot-nox:command -v gnuplot"
    "python3:command -v python3"
)
coverage_packages=(
    "gcovr:command -v gcovr"
)

package_is_there() {  # package:test
    local package=${1%%:*} test=${1#*:}
    if [ -n "$test" ]; then
        bash -c "$test" >/dev/null 2>&1
    else
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ]
    fi
}

# Installs the missing packages of the group build and of the named groups, with sudo if the caller is
# not root. Does not touch the network if nothing is missing.
install_missing_packages() {  # [GROUP...]
    local group entry missing=()
    for group in build "$@"; do
        local -n entries=${group}_packages
        for entry in "${entries[@]}"; do
            package_is_there "$entry" || missing+=("${entry%%:*}")
        done
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "Missing packages: ${missing[*]}. Install them as root; there is no sudo here." >&2
            return 1
        fi
        as_root=(sudo)
        echo "Installing missing packages with sudo: ${missing[*]}"
    else
        echo "Installing missing packages: ${missing[*]}"
    fi
    "${as_root[@]}" bash -s -- "${missing[@]}" <<'ROOT'
set -eu
export DEBIAN_FRONTEND=noninteractive
# The installation of a web server would start it as a service, but only the program is needed. This
# policy keeps services from starting meanwhile; a policy that exists already stays in force.
policy=/usr/sbin/policy-rc.d
if [ ! -e "$policy" ]; then
    printf '#!/bin/sh\nexit 101\n' > "$policy"
    chmod 755 "$policy"
    trap 'rm -f "$policy"' EXIT
fi
apt-get update -qq
apt-get install -y -qq --no-install-recommends "$@" >/dev/null
ROOT
}
