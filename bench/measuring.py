"""Shared by the benchmarks that open the window in the namespace of window-test."""

import statistics
import subprocess
import sys
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent.parent / "tests" / "e2e"))

SERVICE = "/Library/Veltra/agent/bin/vxsvc"
RUNNING = "The agent service is running"
DOWN = "The agent service is not running"


def start_service():
    return subprocess.Popen([SERVICE, "100000"])


def milliseconds(seconds):
    return f"median {statistics.median(seconds) * 1000:.1f} ms, worst {max(seconds) * 1000:.1f} ms"


def wake_ups(pid):
    """By thread: its name, how often it went to sleep voluntarily, and its processor time."""
    threads = {}
    for task in Path(f"/proc/{pid}/task").iterdir():
        status = dict(line.split(":", 1) for line in (task / "status").read_text().splitlines())
        fields = (task / "stat").read_text().rsplit(")", 1)[1].split()
        ticks = int(fields[11]) + int(fields[12])
        threads[task.name] = (status["Name"].strip(), int(status["voluntary_ctxt_switches"]), ticks)
    return threads


def idle(pid, seconds, settling=2):
    """The name, wake-ups and processor milliseconds of each thread while the settled program idles.

    A new thread counts from its start; a thread that ended counts as having woken up at least once.
    The kernel counts processor time in hundredths of a second, so smaller amounts are not seen.
    """
    time.sleep(settling)
    before = wake_ups(pid)
    time.sleep(seconds)
    after = wake_ups(pid)
    threads = [(name + ", ended", 1, 0) for t, (name, _, _) in before.items() if t not in after]
    for thread, (name, switches, ticks) in after.items():
        _, first_switches, first_ticks = before.get(thread, (name, 0, 0))
        threads.append((name, switches - first_switches, (ticks - first_ticks) * 10))
    return threads
