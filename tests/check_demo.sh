#!/usr/bin/env bash
# The reference host runs a script without a failing line, and its output is
# one JSON object a line.
set -euo pipefail
host="$1"
script="$2"
out=$("$host" "$script")
echo "$out" | python3 -c '
import json, sys
lines = [json.loads(l) for l in sys.stdin if l.strip()]
assert lines, "no output"
assert not [l for l in lines if l.get("event") == "error"], "error lines"
assert [l for l in lines if l.get("event") == "script" and l.get("payload") is not None], "no page traffic"
print(len(lines), "lines")
'
