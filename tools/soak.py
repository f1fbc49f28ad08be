#!/usr/bin/env python3
"""The whole program's burn-in soak: kx4test-sim in the automatic test, its
simulated terminal's events driven every second, and the program watched for
growth and loss. See tools/soak.sh and the README ("Soak").

Driven, one event a second in a ten-second round: a swipe (twice), a
contactless card on and off, an iButton key on and off, a device plugged into
a USB socket and pulled out again (stick, keyboard, serial converter, modem,
mouse in turn, over the four sockets), the mains off and on. Each swipe, card
and key carries a number of its own, so its line in the log is its own.

Faults, each once, at fixed shares of the run: the printer's paper runs out
while it prints a cycle (the next cycle's paper check says so every second
until a roll goes in), the log's disk is full for three seconds (the lines of
that moment are lost, nothing else), and the iButton reader's device goes
away while its worker reads with a key on the contact.

Checked: resident memory after the warm-up grows by less than 1 MB; open
descriptors and threads stay flat; every event driven shows in the log, whose
line numbers run unbroken but for the disk-full moment; the faults end in the
program's own lines while the other events go on; SIGTERM at the end gives
the closing lines and exit code 0.

Only the program this script starts is signalled; everything it makes lies
in one temporary folder (the program's copy, its log and settings, its
runtime and temporary folders, the simulated terminal's root), removed at
the end unless the run failed or --keep is given. No packet leaves the
machine: the platform is offscreen and the bench's ping is the simulated
terminal's stand-in.
"""
import argparse
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

ROUND = 10  # seconds: one of each event
USB_KINDS = ["stick", "keyboard", "serial", "modem", "mouse"]
RSS_LIMIT_KB = 1024
LINE = re.compile(r"^(\d+): \{\d\} (?:\[[^\]]*\] )+(.*)$")


def fail(msg):
    raise SystemExit("soak: FAIL: " + msg)


def say(msg):
    print("soak: " + msg, flush=True)


def crc8(data):
    """The 1-Wire ROM's CRC (x^8 + x^5 + x^4 + 1)."""
    crc = 0
    for byte in data:
        for _ in range(8):
            mix = (crc ^ byte) & 1
            crc >>= 1
            if mix:
                crc ^= 0x8C
            byte >>= 1
    return crc


class Control:
    """One connection to the terminal's control socket: a line, an answer."""

    def __init__(self, path):
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.sock.connect(path)
        self.sock.settimeout(30)
        self.buffer = b""

    def __call__(self, line, must=True):
        self.sock.sendall(line.encode() + b"\n")
        while b"\n" not in self.buffer:
            chunk = self.sock.recv(4096)
            if not chunk:
                fail("the control socket closed at: " + line)
            self.buffer += chunk
        answer, self.buffer = self.buffer.split(b"\n", 1)
        answer = answer.decode(errors="replace")
        if must and not answer.startswith("ok"):
            fail("%s -> %s" % (line, answer))
        return answer


class Program:
    def __init__(self, folder, binary):
        self.folder = folder
        self.program = os.path.join(folder, "kx4test-sim")
        shutil.copy2(binary, self.program)
        for sub in ("tmp", "runtime"):
            os.mkdir(os.path.join(folder, sub), 0o700)
        self.log = os.path.join(folder, "Log", "kx4test-sim.log")
        env = {k: v for k, v in os.environ.items() if not k.startswith(("KX4_", "QT_", "DISPLAY", "WAYLAND"))}
        env.update(QT_QPA_PLATFORM="offscreen", KX4_TEST_COUNTDOWN_MS="100",
                   TMPDIR=os.path.join(folder, "tmp"), XDG_RUNTIME_DIR=os.path.join(folder, "runtime"))
        self.out = open(os.path.join(folder, "stdout.txt"), "wb")
        self.err = open(os.path.join(folder, "stderr.txt"), "wb")
        self.proc = subprocess.Popen([self.program], cwd=folder, env=env, stdin=subprocess.DEVNULL,
                                     stdout=self.out, stderr=self.err)

    def alive(self):
        return self.proc.poll() is None

    def stdout(self):
        with open(os.path.join(self.folder, "stdout.txt"), errors="replace") as f:
            return f.read()

    def texts(self):
        """The log's numbered lines as (number, text)."""
        try:
            with open(self.log, "rb") as f:
                data = f.read().decode("utf-8", errors="replace")
        except FileNotFoundError:
            return []
        lines = []
        for raw in data.split("\n"):
            m = LINE.match(raw)
            if m:
                lines.append((int(m.group(1)), m.group(2)))
        return lines

    def wait_log(self, text, timeout, count=1):
        end = time.monotonic() + timeout
        while time.monotonic() < end:
            if sum(1 for _, t in self.texts() if text in t) >= count:
                return
            if not self.alive():
                fail("the program ended (code %s) while waiting for %r" % (self.proc.returncode, text))
            time.sleep(0.2)
        fail("%r did not show in the log within %d s" % (text, timeout))

    def sample(self):
        pid = self.proc.pid
        rss = 0
        with open("/proc/%d/status" % pid) as f:
            for line in f:
                if line.startswith("VmRSS:"):
                    rss = int(line.split()[1])
        return {"rss": rss, "fds": len(os.listdir("/proc/%d/fd" % pid)),
                "threads": len(os.listdir("/proc/%d/task" % pid))}


class Soak:
    def __init__(self, prog, ctl, seconds, warmup):
        self.p, self.ctl = prog, ctl
        self.seconds, self.warmup = seconds, warmup
        self.n = 0
        self.expect = []  # texts the log must hold, once each
        self.counts = {}  # text -> how often the log must hold it at least
        self.lost_from = self.lost_to = None  # the disk-full moment, by event number
        self.ibutton_alive = True
        self.usb_port = 0
        self.samples = []  # (t, sample) at the same point of every round

    def need(self, text, times=1):
        self.counts[text] = self.counts.get(text, 0) + times

    def event(self, second):
        """The event of this second of the round."""
        self.n += 1
        n = self.n
        step = second % ROUND
        cycle = second // ROUND
        if step in (0, 6):
            track1 = "%%B4000001234%06d^SOAK/EVENT^2512101?" % n
            self.ctl('swipe "%s" ";4000001234%06d=2512101?" ""' % (track1, n))
            return ["AutoTestForm: " + track1]
        if step == 1:
            self.usb_port = cycle % 4 + 1
            kind = USB_KINDS[cycle % len(USB_KINDS)]
            self.ctl("usb plug %d %s" % (self.usb_port, kind))
            self.need("AutoTestForm: USBSignal: Add USB device (1-1.%d)." % self.usb_port)
            return []
        if step == 5:
            self.ctl("usb unplug %d" % self.usb_port)
            self.need("AutoTestForm: USBSignal: Remove USB device (1-1.%d)." % self.usb_port)
            return []
        if step == 2:
            uid = "5A%06X" % (n & 0xFFFFFF)
            self.ctl("rfid on " + uid)
            return ["AutoTestForm: RFID: RFID card NO. is:" + uid.lower().encode().hex()]
        if step == 7:
            self.ctl("rfid off")
            return []
        if step == 3 and self.ibutton_alive:
            rom = bytes([0x01]) + n.to_bytes(6, "little")
            rom += bytes([crc8(rom)])
            self.ctl("ibutton on " + rom.hex().upper())
            self.last_key = "AutoTestForm: IB: " + rom[::-1].hex()
            return [self.last_key]
        if step == 8 and self.ibutton_alive:
            self.ctl("ibutton off")
            self.need("AutoTestForm: IB: IButton disconnect.")
            return []
        if step == 4:
            self.ctl("mains off")
            self.need("AutoTestForm: UPS status change: Discharging.")
            return []
        if step == 9:
            self.ctl("mains on")
            self.need("AutoTestForm: UPS status change: Charging.")
            return []
        return []

    def run(self):
        start = time.monotonic()
        faults = {}
        if self.seconds - self.warmup >= 60:
            span = self.seconds - self.warmup
            # The device goes in the fifth second of a round, while the
            # round's key is on the contact.
            gone = (self.warmup + int(span * 0.75)) // ROUND * ROUND + 5
            faults = {self.warmup + int(span * 0.15): self.paper_out,
                      self.warmup + int(span * 0.45): self.log_disk_full, gone: self.node_gone}
        else:
            say("run too short after the warm-up for the faults: none planted")
        second = 0
        pending = None  # a fault's follow-up: (second, function)
        while second < self.seconds:
            due = start + second
            delay = due - time.monotonic()
            if delay > 0:
                time.sleep(delay)
            if not self.p.alive():
                fail("the program ended (code %s) at %d s" % (self.p.proc.returncode, second))
            if second in faults:
                pending = faults[second]()
            elif pending and second >= pending[0]:
                pending = pending[1]()
            # Sampled at the quiet point of the round, before its first event:
            # every device out, the mains on, a second after the last event.
            if second % ROUND == 0:
                self.samples.append((second, self.p.sample()))
            lost = self.lost_from is not None and self.lost_to is None
            for text in self.event(second):
                if not lost:
                    self.expect.append(text)
            second += 1
        if pending:
            fail("a fault was still open at the end")

    # ---- Faults: each returns its next step as (second, function) or None.

    def paper_out(self):
        # A cycle prints, and the paper runs out under the head before the
        # cycle has come off the printer.
        say("fault: the paper runs out while a cycle prints")
        self.finishes = self.count("AutoTestForm: PRN: Print finish")
        self.ctl("touch butPrinterTest")
        self.p.wait_log("AutoTestForm: PRN: Print finish", 30, self.finishes + 1)
        self.ctl("paper out")
        printed = self.ctl("printed 1")
        self.paper_lines = int(re.search(r"lines=(\d+)", printed).group(1))
        # The next cycle's paper check finds the roll empty, and says so
        # every second, with a beep, until a roll goes in.
        self.ctl("touch butPrinterTest")
        self.paper_at = self.count("AutoTestForm: PRN: No paper.")
        return (self.now() + 4, self.paper_in)

    def paper_in(self):
        said = self.count("AutoTestForm: PRN: No paper.") - self.paper_at
        if said < 2:
            fail("paper out: %d \"PRN: No paper.\" lines in 4 s, not one a second" % said)
        self.ctl("paper in")
        self.p.wait_log("AutoTestForm: PRN: Print finish", 30, self.finishes + 2)
        lines = int(re.search(r"lines=(\d+)", self.ctl("printed 1")).group(1))
        if lines <= self.paper_lines:
            fail("paper in: the printer printed nothing more (%d lines)" % lines)
        say("fault: paper out ended in %d \"PRN: No paper.\" lines; the cycle finished with the new roll" % said)
        return None

    def log_disk_full(self):
        say("fault: the log's disk is full for 3 s")
        self.ctl("logdisk full")
        self.lost_from = self.n
        return (self.now() + 3, self.log_disk_free)

    def log_disk_free(self):
        self.ctl("logdisk free")
        self.lost_to = self.n
        return None

    def node_gone(self):
        # A key on the contact, then the reader's device goes while its
        # worker polls it: the worker reads nothing more, which it reports
        # as the key taken away, and the reader stays silent from then on.
        say("fault: the iButton reader's device goes while its worker reads")
        self.ibutton_alive = False
        self.p.wait_log(self.last_key, 10)
        self.gone_at = self.count("AutoTestForm: IB: IButton disconnect.")
        self.ctl("device gone /dev/omap_hdq0")
        self.p.wait_log("AutoTestForm: IB: IButton disconnect.", 10, self.gone_at + 1)
        return (self.now() + 2, self.node_back)

    def node_back(self):
        self.ctl("device back /dev/omap_hdq0")
        self.ctl("ibutton off")
        say("fault: the iButton device's loss ended in \"IB: IButton disconnect.\"")
        return None

    def now(self):
        return self.n  # one event a second: the count of events is the second

    def count(self, text):
        return sum(1 for _, t in self.p.texts() if t.startswith(text))


def check_growth(samples, warmup):
    after = [(t, s) for t, s in samples if t >= warmup]
    if len(after) < 2:
        fail("too few samples after the warm-up (%d); run longer" % len(after))
    first, last = after[0][1], after[-1][1]
    # Memory: the least of the last rounds against the most of the first
    # ones, so that a moment's allocation does not count and a steady growth
    # does.
    k = max(1, min(3, len(after) // 3))
    base = max(s["rss"] for _, s in after[:k])
    end = min(s["rss"] for _, s in after[-k:])
    growth = end - base
    say("resident memory after the warm-up: %d kB, at the end %d kB (%+d kB; limit %d kB)"
        % (base, end, growth, RSS_LIMIT_KB))
    say("resident memory by round (kB): " + " ".join(str(s["rss"]) for _, s in after))
    say("open descriptors %d -> %d, threads %d -> %d (sampled at the quiet point of every round)"
        % (first["fds"], last["fds"], first["threads"], last["threads"]))
    if growth >= RSS_LIMIT_KB:
        fail("resident memory grew by %d kB after the warm-up" % growth)
    for what in ("fds", "threads"):
        values = [s[what] for _, s in after]
        if min(values[-k:]) > max(values[:k]):
            fail("%s grew: %s" % (what, " ".join(map(str, values))))


def check_log(soak, texts):
    numbers = [n for n, _ in texts]
    gaps = [(a, b) for a, b in zip(numbers, numbers[1:]) if b != a + 1]
    # The lines of the start-up before the file was opened are counted too,
    # so the file starts at the number they left.
    allowed = 1 if soak.lost_from is not None else 0
    if len(gaps) != allowed:
        fail("the log's line numbers break %d times (%s); expected %d (the disk-full moment)"
             % (len(gaps), ", ".join("%d -> %d" % g for g in gaps[:5]), allowed))
    if gaps:
        say("log: %d lines lost while its disk was full, numbers unbroken before and after"
            % (gaps[0][1] - gaps[0][0] - 1))
    else:
        say("log: %d lines, numbers unbroken" % len(numbers))
    body = [t for _, t in texts]
    have = set(body)
    missing = [t for t in soak.expect if t not in have]
    if missing:
        fail("%d of %d events missing from the log, first: %s" % (len(missing), len(soak.expect), missing[:3]))
    for text, times in soak.counts.items():
        got = sum(1 for t in body if t.startswith(text))
        # The events of the disk-full moment may be lost: a round's worth.
        slack = 2 if soak.lost_from is not None else 0
        if got < times - slack:
            fail("%r shows %d times in the log, driven %d times" % (text, got, times))
    say("log: all %d numbered events and %d kinds of counted events show"
        % (len(soak.expect), len(soak.counts)))


def main():
    ap = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    ap.add_argument("--minutes", type=float, default=2.0, help="how long events are driven (2)")
    ap.add_argument("--warmup", type=int, default=30, help="seconds of events before memory is measured (30)")
    ap.add_argument("--program", default="build/kx4test-sim/kx4test-sim")
    ap.add_argument("--keep", action="store_true", help="keep the run's folder (log, output) afterwards")
    args = ap.parse_args()
    if not os.access(args.program, os.X_OK):
        raise SystemExit("soak: %s is not built" % args.program)
    seconds = int(args.minutes * 60)
    folder = tempfile.mkdtemp(prefix="kx4-soak-")
    ok = False
    prog = None
    try:
        prog = Program(folder, os.path.abspath(args.program))
        say("kx4test-sim runs as process %d in %s" % (prog.proc.pid, folder))
        prog.wait_log("AutoTestForm: Auto test main form created.", 120)
        m = None
        end = time.monotonic() + 30
        while not m and time.monotonic() < end:
            m = re.search(r"kx4test-sim: control socket (\S+) ", prog.stdout())
            time.sleep(0.1)
        if not m:
            fail("no control socket in the program's output")
        ctl = Control(m.group(1))
        ctl("ping answering")
        # The printer's first cycle happens in the warm-up: what it loads
        # once is no growth.
        ctl("touch butPrinterTest")
        prog.wait_log("AutoTestForm: PRN: Print finish", 30)
        soak = Soak(prog, ctl, seconds, args.warmup)
        say("driving events for %d s (warm-up %d s)" % (seconds, args.warmup))
        soak.run()
        time.sleep(2)  # the last events' lines
        check_growth(soak.samples, args.warmup)
        prog.proc.send_signal(signal.SIGTERM)
        try:
            code = prog.proc.wait(60)
        except subprocess.TimeoutExpired:
            fail("SIGTERM: the program did not end within 60 s")
        if code != 0:
            fail("SIGTERM: exit code %d" % code)
        texts = prog.texts()
        check_log(soak, texts)
        body = [t for _, t in texts]
        closing = [t for t in body[body.index("AutoTestForm: Signal <TERM>.") if "AutoTestForm: Signal <TERM>." in body
                                   else len(body):]
                   if t.startswith(("AutoTestForm: S", "main: "))]
        want = ["AutoTestForm: Signal <TERM>.", "AutoTestForm: Shutdown application.", "main: Work end...",
                "main: Return code: 0"]
        if closing != want:
            fail("SIGTERM: closing lines %s" % closing)
        say("SIGTERM: closing lines and exit code 0")
        ok = True
    finally:
        if prog and prog.alive():
            # Its own end first, so that it takes its stand-ins and its
            # terminal's root with it.
            prog.proc.terminate()
            try:
                prog.proc.wait(30)
            except subprocess.TimeoutExpired:
                prog.proc.kill()
                prog.proc.wait()
        with open("/proc/self/mounts") as f:
            mounted = any(line.split()[1].startswith(folder + "/") for line in f)
        if ok and not args.keep and not mounted:
            shutil.rmtree(folder, ignore_errors=True)
        else:
            say("the run's folder is kept: %s" % folder)
    say("passed")


if __name__ == "__main__":
    main()
