"""The part of agent-status that runs inside the namespace."""

import os
import sys
import time
from pathlib import Path

from gi.repository import Atspi, GLib

from measuring import DOWN, RUNNING, idle, milliseconds, start_service
from monitor import Monitor  # found through the line above

PROGRAM = sys.argv.pop()
KILLS = int(os.environ["VELTRA_BENCH_KILLS"])
IDLE_SECONDS = 20


class StatusLine:
    """Notices when the window announces a new text, from the event that a screen reader gets."""

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


def resources(pid):
    status = Path(f"/proc/{pid}/status").read_text()
    resident = next(line.split()[1] for line in status.splitlines() if line.startswith("VmRSS"))
    threads = len(list(Path(f"/proc/{pid}/task").iterdir()))
    return f"{len(os.listdir(f'/proc/{pid}/fd'))} descriptors, {threads} threads, {resident} kB"


def report_idle(pid, what):
    threads = idle(pid, IDLE_SECONDS)
    switches = sum(switches for _, switches, _ in threads)
    spent = sum(spent for _, _, spent in threads)
    print(f"{what} for {IDLE_SECONDS} s: {switches} wake-ups, {spent} ms of processor time")


def main():
    service = start_service()
    monitor = Monitor(PROGRAM)
    pid = monitor.process.pid
    monitor.expect_status(RUNNING, "the service runs")
    line = StatusLine()
    report_idle(pid, "the service runs")
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
    report_idle(pid, "the service is down")
    monitor.end()


main()
