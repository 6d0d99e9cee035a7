"""The part of idle that runs inside the namespace."""

import os
import sys

from measuring import RUNNING, idle, start_service
from monitor import Monitor  # found through the line above

PROGRAM = sys.argv.pop()
SECONDS = int(os.environ["VELTRA_BENCH_SECONDS"])
# Qt ends the threads that it needed for the start once they have been idle for half a minute.
SETTLING_SECONDS = 35


def main():
    service = start_service()
    monitor = Monitor(PROGRAM)
    monitor.expect_status(RUNNING, "the service runs")
    threads = idle(monitor.process.pid, SECONDS, SETTLING_SECONDS)
    monitor.end()
    service.kill()
    service.wait()

    threads.append(("all", *(sum(thread[i] for thread in threads) for i in (1, 2))))
    print(f"{'idle for ' + str(SECONDS) + ' s':26}{'wake-ups':>10}{'processor time':>18}")
    for name, switches, spent in threads:
        print(f"{name:26}{switches:10}{spent:15} ms")


main()
