#!/bin/sh
# Installs the Debian packages that the build, the tests and the tool need; does nothing when all are there.
#
#     scripts/install_packages.sh            build, tests, tool
#     scripts/install_packages.sh --checks   and what the static checks need (clang, its format and tidy tools)
#
# As root, or as a user who may call sudo. Plain sh, because a bare system has nothing more.
set -eu

packages="build-essential cmake ninja-build ccache pkg-config git ca-certificates python3
    libboost-dev libboost-thread-dev libboost-system-dev libboost-date-time-dev
    libfmt-dev libspdlog-dev libhwy-dev libzimg-dev libpng-dev libcli11-dev rapidjson-dev libzip-dev
    libavformat-dev libavcodec-dev libavutil-dev libswscale-dev ffmpeg
    frei0r-plugins frei0r-plugins-dev
    libgtest-dev libgmock-dev libbenchmark-dev"

case "${1:-}" in
"") ;;
--checks) packages="$packages clang clang-format clang-tidy libclang-rt-14-dev" ;;
*)
    echo "usage: $0 [--checks]" >&2
    exit 64
    ;;
esac

missing=""
for package in $packages; do
    status=$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

if [ "$(id -u)" -eq 0 ]; then
    as_root=""
elif command -v sudo >/dev/null; then
    as_root="sudo"
else
    echo "These packages are missing, and without root or sudo they can't be installed:$missing" >&2
    exit 1
fi

echo "Installing:$missing"
$as_root apt-get update --quiet
# The variable is given on the command line because sudo drops it from the environment.
$as_root env DEBIAN_FRONTEND=noninteractive apt-get install --quiet --yes --no-install-recommends $missing
