"""The part of agent-status that runs inside the namespace."""

import os
import statistics
import subprocess
import sys
import time
from pathlib import Path

from gi.repository import Atspi, GLib

sys.path.insert(0, str(Path(__file__).parent.parent / "tests" / "e2e"))
from monitor import Monitor  # noqa: E402 (found by way of the line above)

PROGRAM = sys.argv.pop()
KILLS = int(os.environ["VELTRA_BENCH_KILLS"])
SERVICE = "/Library/Veltra/agent/bin/vxsvc"
RUNNING = "The agent service is running"
DOWN = "The agent service is not running"
IDLE_SECONDS = 20


class StatusLine:
    """Tells when the window announces another text, by the event that a screen reader gets."""

    def __init__(self):
        self._text = None
        self._listener = Atspi.EventListener.new(self._hear)
        self._listener.register("object:property-change:accessible-name")

    def _hear(self, event):
        name = event.source.get_name()
        if name in (RUNNING, DOWN):
            self._text = name

    def seconds_until(self, text, since):
        while self._text != text:
            if not GLib.MainContext.default().iteration(False):
                time.sleep(0.0005)
            if time.monotonic() - since > 30:
                raise SystemExit(f"the window never said: {text}")
        return time.monotonic() - since


def start_service():
    return subprocess.Popen([SERVICE, "100000"])


def wake_ups(pid):
    """How often the program's threads went to sleep of their own accord, and its processor time."""
    switches = ticks = 0
    for task in Path(f"/proc/{pid}/task").iterdir():
        for line in (task / "status").read_text().splitlines():
            if line.startswith("voluntary_ctxt_switches"):
                switches += int(line.split()[1])
        fields = (task / "stat").read_text().rsplit(")", 1)[1].split()
        ticks += int(fields[11]) + int(fields[12])
    return switches, ticks


def resources(pid):
    status = Path(f"/proc/{pid}/status").read_text()
    resident = next(line.split()[1] for line in status.splitlines() if line.startswith("VmRSS"))
    threads = len(list(Path(f"/proc/{pid}/task").iterdir()))
    return f"{len(os.listdir(f'/proc/{pid}/fd'))} descriptors, {threads} threads, {resident} kB"


def idle(pid, what):
    time.sleep(2)
    before = wake_ups(pid)
    time.sleep(IDLE_SECONDS)
    switches, ticks = (after - start for after, start in zip(wake_ups(pid), before))
    print(f"{what} for {IDLE_SECONDS} s: {switches} wake-ups, {ticks * 10} ms of processor time")


def milliseconds(seconds):
    return f"median {statistics.median(seconds) * 1000:.1f} ms, worst {max(seconds) * 1000:.1f} ms"


def main():
    service = start_service()
    monitor = Monitor(PROGRAM)
    pid = monitor.process.pid
    monitor.expect_status(RUNNING, "the service runs")
    line = StatusLine()
    idle(pid, "the service runs")
    print("before:", resources(pid))

    down, back = [], []
    for _ in range(KILLS):
        since = time.monotonic()
        service.kill()
        down.append(line.seconds_until(DOWN, since))
        service.wait()
        since = time.monotonic()
        service = start_service()
        back.append(line.seconds_until(RUNNING, since))
    print(f"{KILLS} kills, down text announced after: {milliseconds(down)}")
    print(f"{KILLS} starts, running text announced after: {milliseconds(back)}")
    print("after:", resources(pid))

    service.kill()
    line.seconds_until(DOWN, time.monotonic())
    service.wait()
    idle(pid, "the service is down")
    monitor.end()


main()
