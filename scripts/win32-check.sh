#!/usr/bin/env bash
# Keeps the Windows side compiling: every source of the plug-in (its
# platform layer and DNS-SD layer included), the simulated host and the
# reference host goes through the MinGW-w64 compiler (syntax and types only;
# linking waits for a Windows build of jsoncpp).
set -euo pipefail
cd "$(dirname "$0")/.."
cxx=x86_64-w64-mingw32-g++-posix
if ! command -v "$cxx" >/dev/null; then
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends \
    g++-mingw-w64-x86-64-posix >/dev/null
fi
# jsoncpp's headers are the same on every platform.
mkdir -p build-win32/include
ln -sfn /usr/include/jsoncpp/json build-win32/include/json
flags=(-std=c++17 -Wall -Wextra -fsyntax-only -Ibuild-win32/include -Ihostsdk/include -Ihostsim/include
       -Iinclude/atrium -Isrc -Itools/atrium-host)
# The platform layer and the DNS-SD layer also see the DNS-SD headers.
dnssd_flags=(-Ias/Common/bonjour -Ias)
count=0
for f in src/*/*.cpp; do
  extra=()
  case "$f" in src/Platform/*) extra=("${dnssd_flags[@]}") ;; esac
  "$cxx" "${flags[@]}" "${extra[@]}" -DATRIUM_BUILDING_PLUGIN "$f"
  count=$((count + 1))
done
for f in as/Common/bonjour/*.cpp; do
  [ -e "$f" ] || continue  # the layer has no sources yet
  "$cxx" "${flags[@]}" "${dnssd_flags[@]}" -DATRIUM_BUILDING_PLUGIN "$f"
  count=$((count + 1))
done
for f in hostsim/src/*.cpp; do
  "$cxx" "${flags[@]}" -DKIT_BUILDING_HOST "$f"
  count=$((count + 1))
done
for f in tools/atrium-host/*.cpp; do
  "$cxx" "${flags[@]}" "$f"
  count=$((count + 1))
done
echo "win32: $count sources compile"
