#!/usr/bin/env bash
# The room-pairing demo in the reference host, run whole in one process and
# split into a main-application and a meeting process joined by the relay:
# both runs show the same pairing, and the split host reports a failing,
# crashed or hung meeting process instead of hanging on it.
#   tests/check_room_demo.sh HOST SCRIPT
set -euo pipefail
host="$1"
script="$2"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$host" "$script" >"$work/single.jsonl"
"$host" --split "$script" >"$work/split.jsonl"

python3 - "$work/single.jsonl" "$work/split.jsonl" <<'EOF'
import json, sys

def load(path):
    with open(path) as f:
        return [json.loads(l) for l in f if l.strip()]

def notes(lines, view, name):
    return [l["payload"]["result"]["data"] for l in lines
            if l["event"] == "script" and l["view"] == view and l["payload"]
            and l["payload"].get("result", {}).__class__ is dict
            and l["payload"]["result"].get("notification") == name]

def reply(lines, view, call_id):
    found = [l["payload"]["result"] for l in lines
             if l["event"] == "script" and l["view"] == view and l["payload"]
             and l["payload"].get("jsCallId") == call_id]
    assert len(found) == 1, (view, call_id, found)
    return found[0]

def check(lines, mode):
    assert not [l for l in lines if l["event"] == "error"], (mode, "error lines")
    requests = [l for l in lines if l["event"] == "krPairRequest"]
    assert requests and requests[0]["kind"] == 1 and requests[0]["sharingKey"] == "ABCDEF", requests
    sent = [(l["to"], json.loads(l["text"])["type"]) for l in lines if l["event"] == "roomMessage"]
    assert ("main", 1) in sent, sent
    assert ("meeting", 7) in sent and ("meeting", 10) in sent, sent
    assert len([l for l in lines if l["event"] == "webRequest"]) == 1, "one web request"

    room = {"roomName": "Atlas", "roomJID": "atlas@rooms.atrium.test"}
    conf = {}
    for view in ("kr-main", "kr-meeting"):
        statuses = notes(lines, view, "onUpdatePairStatus")
        codes = [s["status"] for s in statuses]
        assert 2 in codes and 3 in codes and codes.index(2) < codes.index(3), (view, codes)
        paired = [s for s in statuses if s["status"] == 3]
        for s in paired:
            assert {k: s.get(k) for k in room} == room, (view, s)
        assert len({s["showUIInConf"] for s in statuses}) == 1, (view, "one showUIInConf a view")
        conf[view] = statuses[0]["showUIInConf"]
        lists = notes(lines, view, "onUpdatePKRList")
        full = [rooms for rooms in lists if len(rooms) == 2]
        assert full, (view, lists)
        online = {r["jid"]: r["isOnline"] for r in full[-1]}
        assert online == {"atlas@rooms.atrium.test": True, "borealis@rooms.atrium.test": False}, online
    assert conf["kr-main"] is False and conf["kr-meeting"] is True, conf

    main_info, meeting_info = reply(lines, "kr-main", "m2"), reply(lines, "kr-meeting", "c3")
    assert main_info == meeting_info and main_info["isPaired"] is True, (main_info, meeting_info)
    assert {k: main_info[k] for k in room} == room, main_info

single = load(sys.argv[1])
split = load(sys.argv[2])
check(single, "single")
check(split, "split")

# Split: every line names its process, both processes printed, each its own pid.
assert all(l.get("process") in ("main", "meeting") for l in split), "a line without its process"
pids = {l["process"]: l["pid"] for l in split if l["event"] == "process"}
assert set(pids) == {"main", "meeting"} and pids["main"] != pids["meeting"], pids
# The room controller and the web service live in the main application; each
# window's page runs in its own process.
for l in split:
    if l["event"] in ("krPairRequest", "krConnect", "webRequest", "krPresence"):
        assert l["process"] == "main", l
    if l["event"] == "script":
        assert l["process"] == ("main" if l["view"] == "kr-main" else "meeting"), l
# The relay carries the messages faithfully: apart from the process and queue
# lines, the split transcript is the single-process one.
def body(lines):
    out = []
    for l in lines:
        if l["event"] in ("process", "mainQueue"):
            continue
        l = dict(l)
        l.pop("process", None)
        out.append(json.dumps(l, sort_keys=True))
    return out
assert body(single) == body(split), "split and single transcripts differ"
print(len(single), "lines single,", len(split), "lines split")
EOF

# The host's room operations in both modes: bad lines fail alone, a rename
# and a lost connection reach both halves, a destroyed service is unwired.
cat >"$work/ops.jsonl" <<'EOF'
{"op":"rooms.add","jid":5}
{"op":"room.attach","side":"main","id":"kr-main"}
{"op":"room.create","side":"elsewhere"}
{"op":"krc.answer"}
{"op":"web.completeRooms","rooms":[]}
{"op":"rooms.add","name":"Atlas","jid":"atlas@r","sharingKey":"ABCDEF"}
{"op":"webview.create","id":"kr-main"}
{"op":"room.create","side":"main"}
{"op":"room.attach","side":"main","id":"kr-main"}
{"op":"webview.create","id":"kr-meeting","process":"meeting"}
{"op":"room.create","side":"meeting","process":"meeting"}
{"op":"room.attach","side":"meeting","id":"kr-meeting","process":"meeting"}
{"op":"page.call","id":"kr-main","call":{"functionName":"pairWithRoomJid","params":{"jid":"atlas@r"},"jsCallId":"m1"}}
{"op":"krc.answer"}
{"op":"krc.finish"}
{"op":"main.run"}
{"op":"rooms.rename","jid":"atlas@r","name":"Atlas II"}
{"op":"main.run"}
{"op":"page.call","id":"kr-meeting","process":"meeting","call":{"functionName":"getRoomInfo","jsCallId":"c1"}}
{"op":"krc.lose","withCode":true,"code":7}
{"op":"main.run"}
{"op":"room.state","side":"main"}
{"op":"room.state","side":"meeting","process":"meeting"}
{"op":"room.destroy","side":"meeting","process":"meeting"}
{"op":"room.message","side":"meeting","text":"{}","process":"meeting"}
{"op":"page.call","id":"kr-main","call":{"functionName":"pairWithSharingKey","params":{"sharingKey":"ABCDEF"},"jsCallId":"m2"}}
{"op":"krc.answerError","code":5,"text":"busy"}
{"op":"main.run"}
EOF
status=0
"$host" "$work/ops.jsonl" >"$work/ops-single.jsonl" || status=$?
[ "$status" -eq 1 ] || { echo "failing lines gave status $status"; exit 1; }
status=0
"$host" --split "$work/ops.jsonl" >"$work/ops-split.jsonl" || status=$?
[ "$status" -eq 1 ] || { echo "split: failing lines gave status $status"; exit 1; }
python3 - "$work/ops-single.jsonl" "$work/ops-split.jsonl" <<'EOF'
import json, sys
for path, split in ((sys.argv[1], False), (sys.argv[2], True)):
    lines = [json.loads(l) for l in open(path)]
    errors = {l["line"]: l for l in lines if l["event"] == "error"}
    assert sorted(errors) == [1, 2, 3, 4, 5, 25], sorted(errors)
    if split:
        assert errors[25]["process"] == "meeting" and errors[1]["process"] == "main", errors
    info = [l["payload"]["result"] for l in lines if l["event"] == "script"
            and l["payload"] and l["payload"].get("jsCallId") == "c1"]
    assert info and info[0]["roomName"] == "Atlas II", info
    states = [(l["side"], l["pairState"], l["roomInfo"]) for l in lines if l["event"] == "roomState"]
    assert states == [("main", 0, None), ("meeting", 0, None)], states
    notices = [(l["side"], l["args"]["code"]) for l in lines
               if l["event"] == "roomHost" and l["call"] == "OnRoomNotice"]
    assert sorted(notices) == [("main", 7), ("meeting", 7)], notices
    failed = [l["payload"]["result"]["data"] for l in lines if l["event"] == "script"
              and l["view"] == "kr-main" and l["payload"]
              and isinstance(l["payload"]["result"], dict)
              and l["payload"]["result"].get("notification") == "onUpdatePairStatus"]
    assert {"status": 1, "code": 5, "errorMsg": "busy"}.items() <= failed[-1].items(), failed[-1]
    # Once destroyed, the meeting service hears nothing: its page gets no more lines.
    destroyed = lines.index(errors[25])
    assert not [l for l in lines[destroyed:] if l.get("view") == "kr-meeting"], "meeting page after destroy"
EOF

# A failing line in the meeting process fails the run and is reported there.
cat >"$work/fail.jsonl" <<'EOF'
{"op":"webview.create","id":"kr-meeting","process":"meeting"}
{"op":"room.attach","side":"meeting","id":"kr-meeting","process":"meeting"}
{"op":"note","text":"still running"}
EOF
status=0
"$host" --split "$work/fail.jsonl" >"$work/fail.out" || status=$?
[ "$status" -eq 1 ] || { echo "a failing meeting line gave status $status"; exit 1; }
python3 - "$work/fail.out" <<'EOF'
import json, sys
lines = [json.loads(l) for l in open(sys.argv[1])]
errors = [l for l in lines if l["event"] == "error"]
assert len(errors) == 1 and errors[0]["process"] == "meeting" and errors[0]["line"] == 2, errors
assert lines[-1]["event"] == "note", "the script goes on after the failure"
EOF

# A meeting process that is killed, or stops answering, is reported and
# reaped while the script goes on; the run fails.
python3 - "$host" <<'EOF'
import json, os, signal, subprocess, sys, time

host = sys.argv[1]

def start():
    env = dict(os.environ, ATRIUM_HOST_TIMEOUT_MS="1500")
    p = subprocess.Popen([host, "--split", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                         text=True, env=env)
    pids = {}
    while len(pids) < 2:
        line = json.loads(p.stdout.readline())
        pids[line["process"]] = line["pid"]
    return p, pids["meeting"]

def send(p, op):
    p.stdin.write(json.dumps(op) + "\n")
    p.stdin.flush()

def next_line(p):
    line = p.stdout.readline()
    assert line, "the host ended early"
    return json.loads(line)

def reaped(pid):
    try:
        with open("/proc/%d/stat" % pid) as f:
            return f.read().split(") ")[1][0] == "X"
    except FileNotFoundError:
        return True

for how in (signal.SIGKILL, signal.SIGSTOP):
    p, child = start()
    send(p, {"op": "note", "text": "ready", "process": "meeting"})
    assert next_line(p)["process"] == "meeting"
    send(p, {"op": "note", "text": "the meeting process has answered"})
    assert next_line(p)["process"] == "main"
    os.kill(child, how)
    started = time.monotonic()
    send(p, {"op": "note", "text": "after", "process": "meeting"})
    error = next_line(p)
    assert error["event"] == "error" and error["process"] == "meeting", error
    expected = "did not answer" if how == signal.SIGSTOP else "killed by signal 9"
    assert expected in error["message"], error
    assert reaped(child), "the meeting process was not reaped"
    send(p, {"op": "note", "text": "gone?", "process": "meeting"})
    assert "gone" in next_line(p)["message"]
    send(p, {"op": "note", "text": "main goes on"})
    assert next_line(p) == {"event": "note", "text": "main goes on", "process": "main"}
    send(p, {"op": "main.run"})
    assert next_line(p)["event"] == "mainQueue"
    p.stdin.close()
    assert p.wait(timeout=30) == 1, "a lost meeting process fails the run"
    assert time.monotonic() - started < 20, "the host waited too long"
print("meeting process failures reported")
EOF
