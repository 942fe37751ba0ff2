#!/usr/bin/env python3
"""A room found over IPv6 link-local addresses only, between two hosts.

Two private network namespaces are joined by a veth pair that carries IPv6
link-local addresses and no IPv4: tessel-dnssd announces a room in one of
them and browses and resolves it from the other, each with its own responder
restricted to its end of the pair. Nothing leaves this machine; the
namespaces (and with them the pair) are deleted at the end. Exits 77
(skipped) where namespaces cannot be made.

  netns_ipv6.py BIN_DIR
"""
import os
import re
import secrets
import shutil
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from netns_discovery import Tool  # noqa: E402

ROOM_IF = "veth-room"
BROWSE_IF = "veth-browse"


def ip(*args):
    subprocess.run(["ip"] + list(args), check=True, capture_output=True, text=True)


def link_local(ns, interface):
    """The interface's link-local address once it is usable, else None."""
    out = subprocess.run(["ip", "-n", ns, "-6", "-o", "addr", "show", "dev", interface,
                          "scope", "link"], capture_output=True, text=True).stdout
    match = re.search(r"inet6 (fe80::[0-9a-f:]+)/64", out)
    return match.group(1) if match and "tentative" not in out else None


def make_host(ns, interface):
    """Loopback and the pair's end up, IPv6 on it without address checks."""
    for key in ("disable_ipv6", "accept_dad"):
        subprocess.run(["ip", "netns", "exec", ns, "sysctl", "-qw",
                        "net.ipv6.conf.%s.%s=0" % (interface, key)], check=True)
    ip("-n", ns, "link", "set", "lo", "up")
    ip("-n", ns, "link", "set", interface, "up", "multicast", "on")


def wrapper(folder, ns, interface, bin_dir):
    """A tessel-dnssd that runs in the namespace on that interface only."""
    os.mkdir(folder)
    path = os.path.join(folder, "tessel-dnssd")
    with open(path, "w") as f:
        f.write('#!/bin/sh\nexec ip netns exec %s env TESSEL_MDNS_INTERFACES=%s %s "$@"\n'
                % (ns, interface, os.path.join(os.path.abspath(bin_dir), "tessel-dnssd")))
    os.chmod(path, 0o755)
    return folder


def main():
    bin_dir = sys.argv[1]
    if not shutil.which("ip") or not os.path.isdir("/proc/sys/net/ipv6"):
        print("SKIP: needs iproute2 and a kernel with IPv6")
        sys.exit(77)
    suffix = secrets.token_hex(4)
    room_ns, browse_ns = "tessel6-room-" + suffix, "tessel6-browse-" + suffix
    made = []
    work = tempfile.mkdtemp(prefix="tessel-netns-ipv6-")
    room = browser = None
    try:
        for ns in (room_ns, browse_ns):
            probe = subprocess.run(["ip", "netns", "add", ns], capture_output=True, text=True)
            if probe.returncode != 0:
                print("SKIP: cannot make a network namespace: " + probe.stderr.strip())
                sys.exit(77)
            made.append(ns)
        # Made inside the first namespace, its peer moved straight into the
        # second: the pair never appears on this machine's own network.
        ip("-n", room_ns, "link", "add", ROOM_IF, "type", "veth",
           "peer", "name", BROWSE_IF, "netns", browse_ns)
        make_host(room_ns, ROOM_IF)
        make_host(browse_ns, BROWSE_IF)
        deadline = time.monotonic() + 10
        while not (link_local(room_ns, ROOM_IF) and link_local(browse_ns, BROWSE_IF)):
            if time.monotonic() > deadline:
                raise AssertionError("no usable link-local addresses on the pair")
            time.sleep(0.05)
        room_address = link_local(room_ns, ROOM_IF)
        browse_index = subprocess.run(["ip", "-n", browse_ns, "-o", "link", "show", BROWSE_IF],
                                      capture_output=True, text=True,
                                      check=True).stdout.split(":")[0]

        rooms = "_tesselrooms._tcp"
        room = Tool(wrapper(os.path.join(work, "room"), room_ns, ROOM_IF, bin_dir),
                    "room", "Atlas", "4321", "--port", "7100")
        reg, _ = room.wait_for("registration", lambda l: l["event"] == "register")
        assert reg["error"] == 0 and reg["name"] == "Atlas", reg

        browser = Tool(wrapper(os.path.join(work, "browse"), browse_ns, BROWSE_IF, bin_dir),
                       "browse", rooms, "--resolve")
        added, t_browse = browser.wait_for(
            "the room", lambda l: l["event"] == "browse" and l["name"] == "Atlas" and l["added"],
            timeout=10)
        assert added["error"] == 0 and added["type"].startswith(rooms), added
        res, _ = browser.wait_for("its address", lambda l: l["event"] == "resolve", timeout=10)
        assert res["error"] == 0 and res["port"] == 7100 and res["host"], res
        assert res["txt"].get("code") == "4321", res
        # The room's own link-local address, usable only with the interface
        # it was found on.
        assert res["ipv4"] is False, res
        address, _, zone = res["address"].partition("%")
        assert address == room_address, (room_address, res)
        assert zone in (BROWSE_IF, browse_index), \
            "link-local %s without its interface (%s or %s)" % (res["address"], BROWSE_IF,
                                                                 browse_index)
        print("found the room in %.0f ms, resolved to [%s]:%d (%s)"
              % (t_browse * 1000, res["address"], res["port"], res["host"]))

        room.say("withdraw")
        room.wait_for("withdrawal", lambda l: l["event"] == "withdrawn")
        _, t_gone = browser.wait_for(
            "the removal", lambda l: l["event"] == "browse" and l["name"] == "Atlas"
            and not l["added"])
        print("removal reported after %.0f ms" % (t_gone * 1000))
        browser.end()
        room.end()
    finally:
        for tool in (room, browser):
            if tool and tool.proc.poll() is None:
                tool.proc.kill()
                tool.proc.wait()
        for ns in made:
            subprocess.run(["ip", "netns", "del", ns], capture_output=True)
        shutil.rmtree(work, ignore_errors=True)
    print("ok")


if __name__ == "__main__":
    main()
