#!/usr/bin/env python3
"""Interoperability with an independent mDNS peer (Debian's avahi-daemon),
inside a private network and mount namespace: nothing leaves this machine.

- avahi-daemon publishes a room from a static service file; the plug-in's
  DNS-SD layer (tessel-dnssd) browses and resolves it.
- tessel-dnssd announces a room; avahi-browse, the peer's own query tool,
  lists and resolves it.

The peer runs without the machine's D-Bus: a private bus in the namespace
serves only it and its query tool. Exits 77 (skipped) where namespaces
cannot be made or the peer is not installed.

  netns_interop.py BIN_DIR
"""
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from netns_discovery import Tool  # noqa: E402

MARK = "TESSEL_NETNS_INSIDE"

AVAHI_CONF = """[server]
use-ipv4=yes
use-ipv6=no
allow-interfaces=lo
enable-dbus=yes
ratelimit-interval-usec=1000000
ratelimit-burst=1000
[wide-area]
enable-wide-area=no
[publish]
publish-hinfo=no
publish-workstation=no
"""

SERVICE = """<?xml version="1.0" standalone='no'?>
<!DOCTYPE service-group SYSTEM "avahi-service.dtd">
<service-group>
  <name>Lobby</name>
  <service>
    <type>_tesselrooms._tcp</type>
    <port>7200</port>
    <txt-record>code=9876</txt-record>
  </service>
</service-group>
"""

BUS_CONF = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path=%s</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
  </policy>
</busconfig>
"""


def enter_namespace():
    if os.environ.get(MARK) == "1":
        return
    for tool in ("avahi-daemon", "avahi-browse", "dbus-daemon", "unshare", "ip"):
        if not shutil.which(tool):
            print("SKIP: %s is not installed" % tool)
            sys.exit(77)
    probe = subprocess.run(["unshare", "-n", "-m", "true"], capture_output=True)
    if probe.returncode != 0:
        print("SKIP: cannot make private network and mount namespaces: "
              + probe.stderr.decode(errors="replace").strip())
        sys.exit(77)
    env = dict(os.environ, **{MARK: "1"})
    cmd = ["unshare", "-n", "-m", "sh", "-c",
           'ip link set lo up multicast on && exec "$@"', "sh",
           sys.executable, os.path.abspath(__file__)] + sys.argv[1:]
    sys.exit(subprocess.call(cmd, env=env))


def main():
    enter_namespace()
    bin_dir = sys.argv[1]
    work = tempfile.mkdtemp(prefix="tessel-interop-")
    procs = []
    try:
        # The peer's own files, visible only in this mount namespace.
        services = os.path.join(work, "services")
        run = os.path.join(work, "run")
        os.makedirs(services)
        os.makedirs(run)
        with open(os.path.join(services, "lobby.service"), "w") as f:
            f.write(SERVICE)
        conf = os.path.join(work, "avahi.conf")
        with open(conf, "w") as f:
            f.write(AVAHI_CONF)
        bus = os.path.join(work, "bus")
        with open(os.path.join(work, "bus.conf"), "w") as f:
            f.write(BUS_CONF % bus)
        subprocess.check_call(["mount", "--make-rprivate", "/"])
        subprocess.check_call(["mount", "--bind", services, "/etc/avahi/services"])
        subprocess.check_call(["mount", "--bind", run, "/run"])

        dbus = subprocess.Popen(["dbus-daemon", "--config-file=" + os.path.join(work, "bus.conf"),
                                 "--nofork", "--nopidfile"], stderr=subprocess.DEVNULL)
        procs.append(dbus)
        for _ in range(100):
            if os.path.exists(bus):
                break
            time.sleep(0.05)
        env = dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS="unix:path=" + bus)
        log = open(os.path.join(work, "avahi.log"), "w")
        avahi = subprocess.Popen(["avahi-daemon", "-f", conf, "--no-drop-root", "--no-chroot",
                                  "--no-rlimits"], env=env, stdout=log, stderr=log)
        procs.append(avahi)

        # Our browse finds the peer's room.
        browser = Tool(bin_dir, "browse", "_tesselrooms._tcp", "--resolve")
        try:
            res, t = browser.wait_for("the peer's room", lambda l: l["event"] == "resolve"
                                      and l["name"] == "Lobby" and l["ipv4"], timeout=10)
            assert res["port"] == 7200 and res["txt"].get("code") == "9876", res
            print("the peer's room resolved after %.0f ms: %s:%d code %s"
                  % (t * 1000, res["address"], res["port"], res["txt"]["code"]))
        finally:
            browser.end()

        # The peer finds ours.
        room = Tool(bin_dir, "room", "Atlas", "4321", "--port", "7100")
        try:
            room.wait_for("registration", lambda l: l["event"] == "register" and l["error"] == 0)
            found = None
            deadline = time.monotonic() + 10
            while time.monotonic() < deadline and not found:
                out = subprocess.run(["avahi-browse", "-rpt", "_tesselrooms._tcp"], env=env,
                                     capture_output=True, text=True, timeout=20).stdout
                found = [l for l in out.splitlines() if l.startswith("=;") and ";Atlas;" in l]
                if not found:
                    time.sleep(0.3)
            assert found, "avahi-browse did not resolve Atlas:\n" + out
            fields = found[0].split(";")
            assert fields[8] == "7100" and '"code=4321"' in fields[9], found[0]
            print("the peer resolved ours: " + found[0])
        finally:
            room.end()
    finally:
        for p in reversed(procs):
            if p.poll() is None:
                p.send_signal(signal.SIGTERM)
                try:
                    p.wait(timeout=5)
                except subprocess.TimeoutExpired:
                    p.kill()
        shutil.rmtree(work, ignore_errors=True)
    print("ok")


if __name__ == "__main__":
    main()
