# Which Debian packages the project needs, and their installation. Sourced by the other scripts.

# package, and a command that tells whether it is there ("" asks dpkg)
build_packages=(
    "g++:command -v g++"
    "cmake:command -v cmake"
    "ninja-build:command -v ninja"
    "rapidjson-dev:"
    "libgtest-dev:"
    "libssl-dev:"
    "libcgicc-dev:"
)
run_packages=(
    "procps:command -v ps && command -v pmap"
    "curl:command -v curl"
    "openssl:command -v openssl"
    "lighttpd:command -v lighttpd || test -x /usr/sbin/lighttpd"
    "lighttpd-mod-openssl:"
)
# Wanted by checks alone, not by building or running.
check_packages=(
    "clang:command -v clang++"
    "libclang-rt-14-dev:"
    "valgrind:command -v valgrind"
    "python3:command -v python3"
)
soak_packages=(
    "python3:command -v python3"
)
lint_packages=(
    "clang:command -v clang++"
    "clang-format:command -v clang-format"
    "clang-tidy:command -v clang-tidy"
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

# Installs what is missing, with sudo when not root. Does not touch the network when all is there.
# Further entries, such as those of check_packages, come as arguments.
install_missing_packages() {  # [package:test...]
    local entry missing=()
    for entry in "${build_packages[@]}" "${run_packages[@]}" "$@"; do
        package_is_there "$entry" || missing+=("${entry%%:*}")
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
# Installing a web server would start it as a service. Only its program is wanted, so services are
# kept from starting meanwhile, where nobody has set a policy of their own.
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
