#!/usr/bin/env bash
# Installs the Debian packages the build needs, only those that are missing.
set -euo pipefail
packages=(g++ make cmake libprotobuf-dev protobuf-compiler libgtest-dev libgmock-dev libbenchmark-dev libabsl-dev ccache
          yosys nlohmann-json3-dev nextpnr-generic python3 bc)
# `install_deps.sh fuzz` adds clang 14 and its runtime for the libFuzzer targets only.
if [ "${1:-}" = "fuzz" ]; then packages=(clang-14 libclang-rt-14-dev); fi
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    SUDO=""
    [ "$(id -u)" -ne 0 ] && SUDO="sudo"
    $SUDO apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}"
fi
