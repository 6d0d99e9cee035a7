"""Starts and kills the agent's service under the open window and reads the status line."""

import subprocess
import sys
import time
import unittest

from gi.repository import Atspi

from monitor import PATIENCE_SECONDS, Monitor, pump

PROGRAM = sys.argv.pop()
SERVICE = "/Library/Veltra/agent/bin/vxsvc"
RUNNING = "The agent service is running"
DOWN = "The agent service is not running"


class Agent(unittest.TestCase):
    def setUp(self):
        self.services = []
        self.monitor = None

    def tearDown(self):
        if self.monitor:
            self.monitor.end()
        for service in self.services:
            service.kill()
            service.wait()

    def start(self):
        self.services.append(subprocess.Popen([SERVICE, "1000"]))
        return self.services[-1]

    def open(self):
        self.monitor = Monitor(PROGRAM)
        return self.monitor

    def test_is_down_when_no_service_runs(self):
        self.open().expect_status(DOWN, "no service runs")

    def test_turns_when_the_service_is_killed_and_again_when_it_is_back(self):
        service = self.start()
        monitor = self.open()
        monitor.expect_status(RUNNING, "the service runs")

        for _ in range(2):
            service.kill()
            monitor.expect_status(DOWN, "the service was killed")
            monitor.expect_logged(f"terminated {service.pid}\n")
            service.wait()
            service = self.start()
            monitor.expect_status(RUNNING, "the service was started again")

        monitor.expect_logged("in processTimer\n")
        self.assertEqual(monitor.logged().count("terminated "), 2)

    def test_turns_when_the_service_ends_of_its_own_accord(self):
        service = self.start()
        monitor = self.open()
        monitor.expect_status(RUNNING, "the service runs")

        service.terminate()

        monitor.expect_status(DOWN, "the service ended")

    def test_watches_the_first_of_two_services(self):
        first = self.start()
        second = self.start()
        monitor = self.open()
        monitor.expect_status(RUNNING, "both run")

        second.kill()
        second.wait()
        first.kill()
        first.wait()

        monitor.expect_status(DOWN, "both were killed")
        self.assertEqual(monitor.logged().count("terminated "), 1)
        monitor.expect_logged(f"terminated {first.pid}\n")

    def test_tells_a_screen_reader(self):
        monitor = self.open()
        heard = []
        listener = Atspi.EventListener.new(lambda event: heard.append(event.source.get_name()))
        listener.register("object:property-change:accessible-name")

        # The program takes a moment to notice a new listener, so the first events may be missed.
        deadline = time.monotonic() + PATIENCE_SECONDS
        while DOWN not in heard and time.monotonic() < deadline:
            service = self.start()
            monitor.expect_status(RUNNING, "the service runs")
            service.kill()
            service.wait()
            monitor.expect_status(DOWN, "the service was killed")
            pump()

        self.assertIn(DOWN, heard)


if __name__ == "__main__":
    unittest.main()
