#!/usr/bin/env bash
# Installs what the build, the tests, the fuzzers and the benchmark need,
# from Debian's packages only. Installs nothing that is already there.
set -euo pipefail

packages=(
  build-essential cmake pkg-config python3 binutils
  libjsoncpp-dev googletest libgtest-dev libgmock-dev libbenchmark-dev
  clang libclang-rt-14-dev
  libavahi-core-dev iproute2
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi
echo "installing: ${missing[*]}"
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
