#!/usr/bin/env python3
"""Discovery latency and responder memory: our DNS-SD stack beside an
independent mDNS peer (Debian's avahi-daemon), measured in the same run.

Everything runs inside private network and mount namespaces, on loopback
only: nothing leaves this machine. Two columns:

- ours: rooms published by our responder (tessel-mdnsd, registrations made
  through libmdnsclient by mdns_bench_client) and browsed by a second
  tessel-mdnsd through mdns_bench_client.
- peer: rooms published by avahi-daemon from static service files (SIGHUP
  after adding or removing a file) and browsed by the same browser as in
  "ours" (a second tessel-mdnsd and mdns_bench_client).

The browse side is identical in both columns, so the columns differ only in
the publisher. Latencies are taken inside mdns_bench_client from the
monotonic clock (no process start in them), except the "cold tool" row,
which times a whole tessel-dnssd process (process start, in-process
responder start, browse, resolve). Each latency is measured REPS times
(some information rows 3 times) and printed as median / max.

Rows:
1. registration (ours: the DNSServiceRegister call; peer: the SIGHUP after
   the service file was written) to the browser's first resolved address,
   the browse already running.
2. browse start (the DNSServiceBrowse call of a browser whose responder
   has an empty cache) to the report of a room announced several seconds
   before: its announcements are over (SETTLE_AFTER_PUBLISH), and no browser
   had been answered for QUIET_GAP when this browser's responder started.
3. withdrawal (ours: DNSServiceRefDeallocate of the registration; peer: the
   SIGHUP after the file was removed) to the running browser's removal.
4. as 2, until every one of N rooms is reported.
5. VmRSS of the publishing responder: tessel-mdnsd with N registrations
   through one client connection, avahi-daemon with N static service files.

  bench_mdns.py BIN_DIR [--client PATH] [--reps N]
"""
import argparse
import os
import queue
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time

# The peer's configuration and its private bus, as the interoperability test
# sets them up.
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..",
                                "tests", "mdns"))
from netns_interop import AVAHI_CONF, BUS_CONF  # noqa: E402

MARK = "TESSEL_BENCH_NETNS_INSIDE"
ROOM_TYPE = "_tesselrooms._tcp"

SERVICE = """<?xml version="1.0" standalone='no'?>
<!DOCTYPE service-group SYSTEM "avahi-service.dtd">
<service-group>
  <name>%s</name>
  <service>
    <type>_tesselrooms._tcp</type>
    <port>7200</port>
    <txt-record>code=%s</txt-record>
  </service>
</service-group>
"""


# How long a browser responder runs before its browse starts, so that the
# browse figures hold the protocol's latency rather than the responder's
# start (the "cold tool" row has both).
SETTLE_AFTER_START = 0.3
# How long after its registration is established a room counts as "already
# announced": the stack announces three times, about 1 s and then 2 s apart,
# and does not multicast a record again within about a second of doing so
# (a browse started sooner gets only part of the answer at its first query).
SETTLE_AFTER_PUBLISH = 5.0
# The gap kept between one fresh browser's answer and the next browse.
QUIET_GAP = 1.1
# When the second browser of the "second browser" row starts its browse.
SECOND_AFTER = 0.3


def enter_namespace():
    if os.environ.get(MARK) == "1":
        return
    for tool in ("avahi-daemon", "dbus-daemon", "unshare", "ip", "mount"):
        if not shutil.which(tool):
            print("bench-mdns: %s is not installed" % tool, file=sys.stderr)
            sys.exit(1)
    probe = subprocess.run(["unshare", "-n", "-m", "true"], capture_output=True)
    if probe.returncode != 0:
        print("bench-mdns: cannot make private network and mount namespaces: "
              + probe.stderr.decode(errors="replace").strip(), file=sys.stderr)
        sys.exit(1)
    env = dict(os.environ, **{MARK: "1"})
    cmd = ["unshare", "-n", "-m", "sh", "-c",
           'ip link set lo up multicast on && exec "$@"', "sh",
           sys.executable, os.path.abspath(__file__)] + sys.argv[1:]
    sys.exit(subprocess.call(cmd, env=env))


def vm_rss_kib(pid):
    with open("/proc/%d/status" % pid) as f:
        for line in f:
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    return None


class Timeout(Exception):
    pass


class Client:
    """One mdns_bench_client against one responder socket, and its lines."""

    def __init__(self, path, socket_path):
        env = dict(os.environ, TESSEL_MDNS_SOCKET=socket_path)
        self.proc = subprocess.Popen([path], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=subprocess.DEVNULL, env=env, text=True, bufsize=1)
        self.lines = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()
        self.wait(lambda e, f: e == "ready", 10, "ready")

    def _read(self):
        for raw in self.proc.stdout:
            parts = raw.rstrip("\n").split("\t")
            if len(parts) >= 2:
                self.lines.put((parts[0], float(parts[1]) / 1000.0, parts[2:]))

    def say(self, text):
        self.proc.stdin.write(text + "\n")
        self.proc.stdin.flush()

    def wait(self, predicate, timeout, what):
        """The time (s, monotonic) and fields of the first line that matches."""
        deadline = time.monotonic() + timeout
        while True:
            left = deadline - time.monotonic()
            if left <= 0:
                raise Timeout(what)
            try:
                event, t, fields = self.lines.get(timeout=left)
            except queue.Empty:
                continue
            if event == "error":
                print("  (client error: %s)" % " ".join(fields), file=sys.stderr)
            if predicate(event, fields):
                return t, fields

    def end(self):
        if self.proc.poll() is None:
            try:
                self.say("quit")
                self.proc.wait(timeout=5)
            except (BrokenPipeError, subprocess.TimeoutExpired):
                self.proc.kill()
                self.proc.wait()


class Responder:
    """One tessel-mdnsd on a socket file of its own, on loopback only."""

    count = 0

    def __init__(self, bin_dir, work):
        Responder.count += 1
        self.socket = os.path.join(work, "mdnsd-%d.sock" % Responder.count)
        env = dict(os.environ, TESSEL_MDNS_SOCKET=self.socket, TESSEL_MDNS_INTERFACES="lo")
        self.proc = subprocess.Popen([os.path.join(bin_dir, "tessel-mdnsd")], env=env,
                                     stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def end(self):
        if self.proc.poll() is None:
            self.proc.send_signal(signal.SIGTERM)
            try:
                self.proc.wait(timeout=5)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()


class Peer:
    """avahi-daemon with a private D-Bus and its own services folder."""

    def __init__(self, work):
        self.work = work
        self.services = os.path.join(work, "services")
        run = os.path.join(work, "run")
        os.makedirs(self.services)
        os.makedirs(run)
        conf = os.path.join(work, "avahi.conf")
        with open(conf, "w") as f:
            f.write(AVAHI_CONF)
        bus = os.path.join(work, "bus")
        with open(os.path.join(work, "bus.conf"), "w") as f:
            f.write(BUS_CONF % bus)
        # Visible only in this mount namespace.
        subprocess.check_call(["mount", "--make-rprivate", "/"])
        subprocess.check_call(["mount", "--bind", self.services, "/etc/avahi/services"])
        subprocess.check_call(["mount", "--bind", run, "/run"])
        self.dbus = subprocess.Popen(["dbus-daemon", "--config-file=" + os.path.join(work, "bus.conf"),
                                      "--nofork", "--nopidfile"], stderr=subprocess.DEVNULL)
        for _ in range(200):
            if os.path.exists(bus):
                break
            time.sleep(0.02)
        env = dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS="unix:path=" + bus)
        self.log_path = os.path.join(work, "avahi.log")
        log = open(self.log_path, "w")
        self.proc = subprocess.Popen(["avahi-daemon", "-f", conf, "--no-drop-root", "--no-chroot",
                                      "--no-rlimits"], env=env, stdout=log, stderr=log)
        self.log = open(self.log_path)
        self.established = set()  # names of static services the log says are up
        self.wait_log(lambda line: "Server startup complete" in line, 10, "avahi-daemon start")

    def wait_log(self, predicate, timeout, what):
        deadline = time.monotonic() + timeout
        pending = ""
        while time.monotonic() < deadline:
            chunk = self.log.read()
            if not chunk:
                time.sleep(0.01)
                continue
            pending += chunk
            *lines, pending = pending.split("\n")
            for line in lines:
                if "successfully established" in line and '"' in line:
                    self.established.add(line.split('"')[1])
                if predicate(line):
                    return
        raise Timeout(what)

    def add(self, names):
        for name in names:
            with open(os.path.join(self.services, name + ".service"), "w") as f:
                f.write(SERVICE % (name, name))

    def remove(self, names):
        for name in names:
            os.unlink(os.path.join(self.services, name + ".service"))

    def clear(self):
        for entry in os.listdir(self.services):
            os.unlink(os.path.join(self.services, entry))

    def reload(self):
        """Sends SIGHUP; returns its time."""
        t = time.monotonic()
        self.proc.send_signal(signal.SIGHUP)
        return t

    def wait_established(self, names, timeout):
        names = set(names)
        if names <= self.established:
            return
        self.wait_log(lambda line: names <= self.established, timeout,
                      "%d static services established" % len(names))

    def end(self):
        for p in (self.proc, self.dbus):
            if p.poll() is None:
                p.send_signal(signal.SIGTERM)
                try:
                    p.wait(timeout=5)
                except subprocess.TimeoutExpired:
                    p.kill()
                    p.wait()


class Bench:
    def __init__(self, args, work):
        self.bin_dir = args.bin_dir
        self.client_path = args.client or os.path.join(args.bin_dir, "mdns_bench_client")
        self.reps = args.reps
        self.work = work
        self.results = {}  # (row, column) -> list of seconds, or a text
        self.failures = {}  # (row, column) -> count of timeouts
        self.quiet_until = 0.0
        self.started = time.monotonic()

    def phase(self, name):
        now = time.monotonic()
        print("[%5.1f s] %s" % (now - self.started, name), file=sys.stderr)

    def record(self, row, column, value):
        self.results.setdefault((row, column), []).append(value)

    def fail(self, row, column, what):
        self.failures[(row, column)] = self.failures.get((row, column), 0) + 1
        print("  timeout: %s (%s, %s)" % (what, row, column), file=sys.stderr)

    # A browser of its own, fresh: an empty cache. It starts after the quiet
    # gap, so that it has not cached the answers given to an earlier browser.
    def fresh_browser(self):
        self.quiet()
        responder = Responder(self.bin_dir, self.work)
        client = Client(self.client_path, responder.socket)
        time.sleep(SETTLE_AFTER_START)
        return responder, client

    def quiet(self):
        """Waits until no room was reported for QUIET_GAP: a responder does not
        multicast a record again within a second of having multicast it, so a
        fresh browser sooner after another one's answer waits for its own
        second query (the "second browser" row shows that case)."""
        left = self.quiet_until - time.monotonic()
        if left > 0:
            time.sleep(left)

    def answered(self):
        self.quiet_until = time.monotonic() + QUIET_GAP

    def browse_known(self, column, name):
        """Browse start to the already announced room NAME, then to its address."""
        for _ in range(self.reps):
            responder, client = self.fresh_browser()
            try:
                self.quiet()
                client.say("browse 1 " + name)
                t0, _ = client.wait(lambda e, f: e == "browse-start", 5, "browse start")
                try:
                    t1, _ = client.wait(lambda e, f: e == "add" and f[0] == name, 5, name)
                    self.record("known", column, t1 - t0)
                    t2, _ = client.wait(lambda e, f: e == "addr" and f[0] == name, 5,
                                        name + " address")
                    self.record("known-addr", column, t2 - t0)
                except Timeout as e:
                    self.fail("known", column, str(e))
                self.answered()
            finally:
                client.end()
                responder.end()

    def browse_second(self, column, name):
        """A browser whose responder starts just after another browser was
        answered (and has ended), browsing SECOND_AFTER after that answer:
        browse start to the room."""
        for _ in range(min(self.reps, 3)):
            first, c1 = self.fresh_browser()
            second = c2 = None
            try:
                c1.say("browse 0")
                answer, _ = c1.wait(lambda e, f: e == "add" and f[0] == name, 5, name)
                c1.end()
                first.end()
                second = Responder(self.bin_dir, self.work)
                c2 = Client(self.client_path, second.socket)
                time.sleep(max(0.0, answer + SECOND_AFTER - time.monotonic()))
                c2.say("browse 0")
                t0, _ = c2.wait(lambda e, f: e == "browse-start", 5, "browse start")
                try:
                    t1, _ = c2.wait(lambda e, f: e == "add" and f[0] == name, 5, name)
                    self.record("second", column, t1 - t0)
                except Timeout as e:
                    self.fail("second", column, str(e))
                self.answered()
            finally:
                for c in (c1, c2):
                    if c:
                        c.end()
                for r in (first, second):
                    if r:
                        r.end()

    def cold_tool(self, column, name):
        """A whole tessel-dnssd process: start to the room's resolved address."""
        env = dict(os.environ, TESSEL_MDNS_INTERFACES="lo")
        env.pop("TESSEL_MDNS_SOCKET", None)
        for _ in range(min(self.reps, 3)):
            self.quiet()
            t0 = time.monotonic()
            proc = subprocess.Popen([os.path.join(self.bin_dir, "tessel-dnssd"), "browse",
                                     ROOM_TYPE, "--resolve", "--time", "6"],
                                    stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                    stderr=subprocess.DEVNULL, text=True, env=env)
            found = None
            for raw in proc.stdout:
                if '"event":"resolve"' in raw and '"name":"%s"' % name in raw:
                    found = time.monotonic()
                    break
            proc.send_signal(signal.SIGTERM)
            proc.communicate(timeout=10)
            if found is None:
                self.fail("cold", column, "tessel-dnssd did not resolve " + name)
            else:
                self.record("cold", column, found - t0)
            self.answered()

    def browse_all(self, column, prefix, count):
        row = "all-%d" % count
        for _ in range(self.reps):
            responder, client = self.fresh_browser()
            try:
                self.quiet()
                client.say("browse 0")
                t0, _ = client.wait(lambda e, f: e == "browse-start", 5, "browse start")
                seen = set()
                last = None
                try:
                    while len(seen) < count:
                        t, fields = client.wait(lambda e, f: e == "add" and f[0].startswith(prefix),
                                                10, "%d of %d rooms" % (count - len(seen), count))
                        seen.add(fields[0])
                        last = t
                    self.record(row, column, last - t0)
                except Timeout as e:
                    self.fail(row, column, str(e))
                self.answered()
            finally:
                client.end()
                responder.end()

    def run(self):
        peer = Peer(os.path.join(self.work, "peer"))
        publisher = Responder(self.bin_dir, self.work)
        pub = Client(self.client_path, publisher.socket)
        try:
            self.record("rss-0", "ours", vm_rss_kib(publisher.proc.pid))
            self.record("rss-0", "peer", vm_rss_kib(peer.proc.pid))

            # 1 and 3: a browser that runs throughout; rooms come and go.
            self.phase("new rooms and withdrawals")
            responder, browser = self.fresh_browser()
            try:
                browser.say("browse 1")
                for k in range(self.reps):
                    name = "OursNew-%d" % k
                    pub.say("register k%d %s 7100" % (k, name))
                    t0, _ = pub.wait(lambda e, f: e == "reg-sent", 5, "register")
                    try:
                        t1, _ = browser.wait(lambda e, f: e == "add" and f[0] == name, 5, name)
                        self.record("new-add", "ours", t1 - t0)
                        t2, _ = browser.wait(lambda e, f: e == "addr" and f[0] == name, 5, name)
                        self.record("new", "ours", t2 - t0)
                    except Timeout as e:
                        self.fail("new", "ours", str(e))
                    time.sleep(0.2)
                    pub.say("unregister k%d" % k)
                    t0, _ = pub.wait(lambda e, f: e == "unreg", 5, "unregister")
                    try:
                        t1, _ = browser.wait(lambda e, f: e == "rm" and f[0] == name, 5, name)
                        self.record("gone", "ours", t1 - t0)
                    except Timeout as e:
                        self.fail("gone", "ours", str(e))
                    time.sleep(0.2)
                for k in range(self.reps):
                    name = "PeerNew-%d" % k
                    peer.add([name])
                    t0 = peer.reload()
                    try:
                        t1, _ = browser.wait(lambda e, f: e == "add" and f[0] == name, 5, name)
                        self.record("new-add", "peer", t1 - t0)
                        t2, _ = browser.wait(lambda e, f: e == "addr" and f[0] == name, 5, name)
                        self.record("new", "peer", t2 - t0)
                    except Timeout as e:
                        self.fail("new", "peer", str(e))
                    time.sleep(0.2)
                    peer.remove([name])
                    t0 = peer.reload()
                    try:
                        t1, _ = browser.wait(lambda e, f: e == "rm" and f[0] == name, 5, name)
                        self.record("gone", "peer", t1 - t0)
                    except Timeout as e:
                        self.fail("gone", "peer", str(e))
                    time.sleep(0.2)
            finally:
                browser.end()
                responder.end()

            # 2: one room announced well before the browse starts.
            self.phase("rooms already announced")
            pub.say("register here OursHere 7100")
            pub.wait(lambda e, f: e == "registered" and f[0] == "here", 10, "OursHere registered")
            time.sleep(SETTLE_AFTER_PUBLISH)
            self.browse_known("ours", "OursHere")
            self.browse_second("ours", "OursHere")
            self.cold_tool("ours", "OursHere")
            pub.say("unregister here")
            peer.add(["PeerHere"])
            peer.reload()
            peer.wait_established(["PeerHere"], 10)
            time.sleep(SETTLE_AFTER_PUBLISH)
            self.browse_known("peer", "PeerHere")
            self.browse_second("peer", "PeerHere")
            self.cold_tool("peer", "PeerHere")

            # 4 and 5: 1, 50 and 500 rooms, one publisher at a time.
            for count in (1, 50, 500):
                self.phase("%d rooms" % count)
                peer.clear()
                peer.reload()
                prefix = "OursN%d-" % count
                pub.say("register-many %s %d 7100" % (prefix[:-1], count))
                t0, _ = pub.wait(lambda e, f: e == "reg-sent-many", 5, "register-many")
                t1, fields = pub.wait(lambda e, f: e == "registered-all", 60,
                                      "%d registrations" % count)
                if fields[1] != "0":
                    print("  %s registrations failed" % fields[1], file=sys.stderr)
                self.record("reg-%d" % count, "ours", t1 - t0)
                time.sleep(SETTLE_AFTER_PUBLISH)
                self.browse_all("ours", prefix, count)
                if count == 500:
                    self.record("rss-500", "ours", vm_rss_kib(publisher.proc.pid))
                pub.say("unregister-all")
                pub.wait(lambda e, f: e == "unreg-all", 5, "unregister-all")
                time.sleep(0.5)

                prefix = "PeerN%d-" % count
                names = ["%s%04d" % (prefix, i) for i in range(count)]
                peer.add(names)
                t0 = peer.reload()
                peer.wait_established(names, 60)
                self.record("reg-%d" % count, "peer", time.monotonic() - t0)
                time.sleep(SETTLE_AFTER_PUBLISH)
                self.browse_all("peer", prefix, count)
                if count == 500:
                    self.record("rss-500", "peer", vm_rss_kib(peer.proc.pid))
        finally:
            self.phase("done")
            pub.end()
            publisher.end()
            peer.end()

    def table(self):
        ms = lambda v: "%.0f ms" % (v * 1000)

        def cell(row, column, unit):
            values = self.results.get((row, column), [])
            failed = self.failures.get((row, column), 0)
            if not values:
                return "n/a" + (" (%d timeouts)" % failed if failed else "")
            if unit == "kib":
                text = "%.1f MiB" % (values[-1] / 1024.0)
            elif len(values) == 1:
                text = ms(values[0])
            else:
                text = "%s / %s" % (ms(statistics.median(values)), ms(max(values)))
                if len(values) != self.reps:
                    text += " (of %d)" % len(values)
            if failed:
                text += " (%d timeouts)" % failed
            return text

        rows = [
            ("new", "1. registration -> resolved address", "< 1200 ms", "s"),
            ("new-add", "   registration -> browse report (info)", "", "s"),
            ("known", "2. browse start -> known room reported", "< 250 ms", "s"),
            ("known-addr", "   browse start -> its address (info)", "", "s"),
            ("second", "   same, browse 0.3 s after another browser's answer (info)", "", "s"),
            ("cold", "   cold tool: tessel-dnssd start -> address (info)", "", "s"),
            ("gone", "3. withdrawal -> removal reported", "< 1200 ms", "s"),
            ("all-1", "4. browse start -> all 1 room reported", "< 250 ms", "s"),
            ("all-50", "   browse start -> all 50 rooms reported", "", "s"),
            ("all-500", "   browse start -> all 500 rooms reported", "< 3000 ms", "s"),
            ("reg-1", "   publish 1 room -> established (info)", "", "s"),
            ("reg-50", "   publish 50 rooms -> established (info)", "", "s"),
            ("reg-500", "   publish 500 rooms -> established (info)", "", "s"),
            ("rss-0", "5. responder VmRSS, no rooms (info)", "", "kib"),
            ("rss-500", "   responder VmRSS, 500 rooms", "< 16 MiB", "kib"),
        ]
        head = ("measure (median / max of %d)" % self.reps, "target", "ours", "peer")
        body = [(label, target, cell(key, "ours", unit), cell(key, "peer", unit))
                for key, label, target, unit in rows]
        widths = [max(len(r[i]) for r in [head] + body) for i in range(4)]
        fmt = "  ".join("%%-%ds" % w for w in widths)
        lines = [fmt % head, fmt % tuple("-" * w for w in widths)]
        lines += [fmt % r for r in body]
        return "\n".join(line.rstrip() for line in lines)


def main():
    enter_namespace()
    parser = argparse.ArgumentParser()
    parser.add_argument("bin_dir")
    parser.add_argument("--client", help="mdns_bench_client (default: BIN_DIR/mdns_bench_client)")
    parser.add_argument("--reps", type=int, default=5)
    args = parser.parse_args()
    args.bin_dir = os.path.abspath(args.bin_dir)
    work = tempfile.mkdtemp(prefix="tessel-bench-mdns-")
    bench = Bench(args, work)
    started = time.monotonic()
    try:
        bench.run()
    finally:
        shutil.rmtree(work, ignore_errors=True)
    print("ours: rooms published by tessel-mdnsd (registrations through libmdnsclient)")
    print("peer: rooms published by avahi-daemon from static service files (SIGHUP)")
    print("both: browsed by another tessel-mdnsd through libmdnsclient (mdns_bench_client),")
    print("      a running one for rows 1 and 3, a fresh one (empty cache) for rows 2 and 4;")
    print("      times taken inside the client (the cold tool row: a whole tessel-dnssd run);")
    print("      loopback in a private network namespace; %.0f s in all" % (time.monotonic() - started))
    print(bench.table())


if __name__ == "__main__":
    main()
