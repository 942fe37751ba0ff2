#!/usr/bin/env bash
# The plug-in's dynamic symbol table defines the client's and the room services' entry points
# and nothing else of ours.
set -euo pipefail
lib="$1"
defined=$(nm -D --defined-only "$lib" | awk '{print $3}' | sort)
expected=$(printf '%s\n' DestroyAtriumClient DestroyKRServiceConf DestroyKRServicePT GetAtriumClient GetKRServiceConf GetKRServicePT | sort)
if [ "$defined" != "$expected" ]; then
  echo "unexpected exports of $lib:"
  diff <(echo "$expected") <(echo "$defined") || true
  exit 1
fi
echo "exports: $(echo $defined)"
