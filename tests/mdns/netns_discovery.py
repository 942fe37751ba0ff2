#!/usr/bin/env python3
"""Rooms found over real mDNS, inside a private network namespace.

Runs tessel-dnssd (the plug-in's DNS-SD layer with the own client library and
responder) as a room and as a browser, each process with its own responder,
on the loopback interface of a namespace of its own: nothing leaves this
machine. Exits 77 (skipped) where no namespace can be made.

  netns_discovery.py BIN_DIR
"""
import json
import os
import queue
import subprocess
import sys
import threading
import time

MARK = "TESSEL_NETNS_INSIDE"


def enter_namespace():
    if os.environ.get(MARK) == "1":
        return
    env = dict(os.environ, **{MARK: "1"})
    probe = subprocess.run(["unshare", "-n", "true"], capture_output=True)
    if probe.returncode != 0:
        print("SKIP: cannot make a private network namespace (unshare -n): "
              + probe.stderr.decode(errors="replace").strip())
        sys.exit(77)
    cmd = ["unshare", "-n", "sh", "-c",
           'ip link set lo up multicast on && exec "$@"', "sh",
           sys.executable, os.path.abspath(__file__)] + sys.argv[1:]
    sys.exit(subprocess.call(cmd, env=env))


class Tool:
    """One tessel-dnssd process and its JSON lines."""

    def __init__(self, bin_dir, *args):
        env = dict(os.environ, TESSEL_MDNS_INTERFACES="lo")
        env.pop("TESSEL_MDNS_SOCKET", None)
        self.args = args
        self.proc = subprocess.Popen([os.path.join(bin_dir, "tessel-dnssd")] + list(args),
                                     stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=subprocess.PIPE, env=env, text=True, bufsize=1)
        self.lines = queue.Queue()
        self.seen = []
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for raw in self.proc.stdout:
            try:
                self.lines.put(json.loads(raw))
            except ValueError:
                self.lines.put({"event": "unparsable", "text": raw})

    def wait_for(self, what, predicate, timeout=5.0):
        started = time.monotonic()
        deadline = started + timeout
        while True:
            left = deadline - time.monotonic()
            if left <= 0:
                raise AssertionError("%s: no %s within %.1fs; lines: %s"
                                     % (" ".join(self.args), what, timeout, self.seen))
            try:
                line = self.lines.get(timeout=left)
            except queue.Empty:
                continue
            self.seen.append(line)
            if predicate(line):
                return line, time.monotonic() - started

    def say(self, text):
        self.proc.stdin.write(text + "\n")
        self.proc.stdin.flush()

    def end(self):
        try:
            self.say("quit")
        except BrokenPipeError:
            pass
        try:
            self.proc.wait(timeout=10)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            raise AssertionError("%s did not end on 'quit'" % " ".join(self.args))
        err = self.proc.stderr.read()
        if self.proc.returncode != 0:
            raise AssertionError("%s exited %d: %s" % (" ".join(self.args), self.proc.returncode, err))


def main():
    enter_namespace()
    bin_dir = sys.argv[1]
    rooms = "_tesselrooms._tcp"
    room = Tool(bin_dir, "room", "Atlas", "4321", "--port", "7100")
    browser = None
    try:
        reg, _ = room.wait_for("registration", lambda l: l["event"] == "register")
        assert reg["error"] == 0 and reg["name"] == "Atlas", reg

        browser = Tool(bin_dir, "browse", rooms, "--resolve")
        added, t_browse = browser.wait_for(
            "the room", lambda l: l["event"] == "browse" and l["name"] == "Atlas" and l["added"])
        assert added["error"] == 0 and added["type"].startswith(rooms), added
        res, _ = browser.wait_for(
            "an IPv4 address", lambda l: l["event"] == "resolve" and l["ipv4"])
        assert res["error"] == 0 and res["port"] == 7100, res
        assert res["txt"].get("code") == "4321", res
        assert res["address"] == "127.0.0.1" and res["host"], res
        print("found the room in %.0f ms, resolved to %s:%d (%s)"
              % (t_browse * 1000, res["address"], res["port"], res["host"]))

        room.say("withdraw")
        room.wait_for("withdrawal", lambda l: l["event"] == "withdrawn")
        _, t_gone = browser.wait_for(
            "the removal", lambda l: l["event"] == "browse" and l["name"] == "Atlas"
            and not l["added"])
        print("removal reported after %.0f ms" % (t_gone * 1000))

        # Announced again: a fresh browse finds it.
        room.say("announce")
        browser.end()
        browser = Tool(bin_dir, "browse", rooms)
        browser.wait_for("the room again",
                         lambda l: l["event"] == "browse" and l["name"] == "Atlas" and l["added"])
        browser.end()
        browser = None
        room.end()
    finally:
        for tool in (room, browser):
            if tool and tool.proc.poll() is None:
                tool.proc.kill()
    print("ok")


if __name__ == "__main__":
    main()
