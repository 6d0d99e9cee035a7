"""The part of startup that runs inside the namespace. Takes the log on its standard input."""

import mmap
import os
import shutil
import statistics
import struct
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from gi.repository import Atspi

from measuring import RUNNING, start_service
from monitor import Monitor, eventually  # found through the line above

PROGRAM = sys.argv.pop()
STARTS = int(os.environ["VELTRA_BENCH_STARTS"])
LOG = Path("/var/Veltra/agent/logs/vxsvc_1.log")
HELPER = "com.veltra.agentMonitor.helper"
STRIP_HEIGHT = 100
PATIENCE_SECONDS = 60


class Screen:
    """A separate display whose pixels are read from memory, which does not slow it down."""

    def __init__(self):
        folder = tempfile.mkdtemp()
        numbers, told = os.pipe()
        subprocess.Popen(
            ["Xvfb", "-displayfd", str(told), "-screen", "0", "1280x800x24", "-nolisten", "tcp"]
            + ["-noreset", "-nocursor", "-fbdir", folder],
            pass_fds=[told],
            stderr=subprocess.DEVNULL,
        )
        os.close(told)
        with os.fdopen(numbers) as number:
            self.name = ":" + number.readline().strip()
        with open(f"{folder}/Xvfb_screen0", "rb") as file:
            self._memory = mmap.mmap(file.fileno(), 0, prot=mmap.PROT_READ)
        # The file is an X window dump: a header of big-endian words, colours, then the pixels.
        header = struct.unpack(">25I", self._memory[:100])
        self._line = header[12]
        self._pixels = header[0] + 12 * header[19]

    def strip(self, top):
        """The pixels of the compared lines of the screen, starting at `top`."""
        begin = self._pixels + top * self._line
        return self._memory[begin : begin + STRIP_HEIGHT * self._line]


class Bus:
    """Finds out from the bus traffic when the program called the helper and when it was answered."""

    def __init__(self):
        self._traffic = tempfile.NamedTemporaryFile("r", encoding="utf-8")
        subprocess.Popen(
            ["dbus-monitor", "--system", "--profile"], stdout=open(self._traffic.name, "wb")
        )
        eventually(lambda: os.stat(self._traffic.name).st_size, bool, "the bus cannot be watched")

    def await_no_helper(self):
        """Waits until the helper has ended, as it does when no client is left."""
        eventually(self._is_helper_there, lambda is_there: not is_there, "the helper does not end")
        # Its process ends only after it has released its name.
        time.sleep(0.3)

    def _is_helper_there(self):
        question = ["dbus-send", "--system", "--print-reply", "--dest=org.freedesktop.DBus", "/"]
        question += ["org.freedesktop.DBus.NameHasOwner", f"string:{HELPER}"]
        return b"boolean true" in subprocess.run(question, capture_output=True, check=True).stdout

    def helper_times(self, begun):
        """When the program opened a connection to the helper and when it was told its version."""
        opened = asked = None
        for line in self._traffic.read().splitlines():
            words = line.split("\t")
            if words[0] not in ("mc", "mr") or float(words[1]) < begun:
                continue
            if words[0] == "mc" and words[7] == "Prove":
                opened = float(words[1])
            elif words[0] == "mc" and words[7] == "getVersionWithCompletion":
                asked = (words[3], words[2])
            elif words[0] == "mr" and asked == (words[4], words[5]):
                return opened, float(words[1])
        raise SystemExit("the program did not ask its helper")


def is_filled(monitor):
    """Whether there are rows, if the log has any."""
    return LOG.stat().st_size == 0 or monitor.shown(1) != []


def picture(screen):
    """Where on the screen the table begins, and its pixels when everything is painted."""
    monitor = Monitor(PROGRAM)
    monitor.expect_status(RUNNING, "the service runs")
    monitor.expect(lambda: is_filled(monitor), bool, "the table shows no rows")
    top = monitor.table().get_component_iface().get_extents(Atspi.CoordType.SCREEN).y
    time.sleep(2)
    seen = screen.strip(top)
    monitor.end()
    eventually(lambda: screen.strip(top), lambda now: now != seen, "the window does not go")
    return top, seen


def start(screen, bus, top, painted):
    """The seconds until the helper was asked, had answered and the table was painted."""
    bus.await_no_helper()
    # Qt serves no accessibility client here except a screen reader that announces itself.
    environment = {k: v for k, v in os.environ.items() if k != "QT_LINUX_ACCESSIBILITY_ALWAYS_ON"}
    with tempfile.TemporaryFile() as log:
        begun = time.time()
        program = subprocess.Popen([PROGRAM], stdout=log, stderr=log, env=environment)
        while screen.strip(top) != painted:
            if time.time() > begun + PATIENCE_SECONDS:
                raise SystemExit("the window never looked as it did before")
            time.sleep(0.0005)
        seen = time.time()
        program.kill()
        program.wait()
    eventually(lambda: screen.strip(top), lambda now: now != painted, "the window does not go")
    return [at - begun for at in (*bus.helper_times(begun), seen)]


def report(what, times):
    print(f"{what:42}{statistics.median(times) * 1000:8.0f} ms{max(times) * 1000:8.0f} ms")


def measure(screen, bus, top, painted, painted_what):
    asked, answered, seen = zip(*(start(screen, bus, top, painted) for _ in range(STARTS)))
    heading = f"log of {LOG.stat().st_size / 1e6:.1f} MB, {STARTS} starts"
    print(f"\n{heading:42}{'median':>11}{'worst':>11}")
    report("start until the helper is asked", asked)
    report("  the helper's answer", [b - a for a, b in zip(asked, answered)])
    report(f"  answer until {painted_what}", [b - a for a, b in zip(answered, seen)])
    report(f"start until {painted_what}", seen)


def main():
    screen = Screen()
    os.environ["DISPLAY"] = screen.name
    service = start_service()
    bus = Bus()

    LOG.touch()
    # This also installs the helper.
    top, empty = picture(screen)
    measure(screen, bus, top, empty, "the empty table is painted")

    with LOG.open("wb") as log:
        shutil.copyfileobj(sys.stdin.buffer, log)
    top, filled = picture(screen)
    if filled == empty:
        raise SystemExit("the rows cannot be told from an empty table")
    measure(screen, bus, top, filled, "the first rows are painted")
    service.kill()


main()
