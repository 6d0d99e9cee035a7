"""Ends what the open window talks to: helper, system bus and polkit.

$VELTRA_TEST_KILLS says how often that is done at random.
"""

import os
import random
import time
import unittest

import machine
from monitor import Monitor, eventually
from session import Session

BUS = "dbus.service"
POLKIT = "polkit.service"
TITLES = ["Collect and Send Properties", "Send Events", "Check for New Policies", "Enforce Policies"]
KILLS = int(os.environ.get("VELTRA_TEST_KILLS", "10"))


class Failures(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.session = Session()
        machine.install()

    def setUp(self):
        self.addCleanup(machine.HOLD.unlink, missing_ok=True)
        self.monitor = Monitor(*self.session.command(machine.PROGRAM))
        self.addCleanup(self.monitor.end)
        self.monitor.expect_information()

    def hold_command(self, title):
        """Has a command run that does not end."""
        machine.HOLD.touch()
        self.press(title)
        self.monitor.expect_running(title)

    def press(self, title):
        """Returns once the tool was called."""
        before = len(machine.calls())
        self.monitor.press(title)
        eventually(lambda: len(machine.calls()) - before, lambda more: more > 0, f"no call by {title}")
        self.assertEqual(len(machine.calls()) - before, 1)

    def expect_alive(self):
        """The window is there and no command seems to run; the next one does, and ends."""
        for title in TITLES:
            self.monitor.expect_ended(title)
        machine.HOLD.unlink(missing_ok=True)
        self.assertIsNone(self.monitor.process.poll(), self.monitor.logged())
        eventually(machine.is_bus_there, bool, "the bus did not come back")
        for title in random.sample(TITLES, 2):
            self.press(title)
            self.monitor.expect_ended(title)
        self.monitor.expect_information()

    def test_outlives_the_helper_and_its_command(self):
        self.hold_command("Send Events")

        machine.kill(machine.HELPER_UNIT)

        self.expect_alive()

    def test_outlives_an_idle_helper(self):
        machine.kill(machine.HELPER_UNIT)

        self.expect_alive()

    def test_outlives_the_bus_and_a_command(self):
        self.hold_command("Send Events")

        machine.kill(BUS)

        self.expect_alive()

    def test_outlives_an_idle_bus(self):
        machine.kill(BUS)

        self.expect_alive()

    def test_outlives_polkit(self):
        machine.is_right_registered()
        self.assertNotEqual(machine.process_of(POLKIT), 0)

        machine.kill(POLKIT)

        self.expect_alive()

    def test_runs_its_commands_without_polkit(self):
        machine.run("systemctl", "mask", "--now", "--runtime", POLKIT)
        self.addCleanup(machine.run, "systemctl", "unmask", "--runtime", POLKIT)

        self.expect_alive()

    def test_outlives_all_of_them_at_any_moment(self):
        seed = random.randrange(1 << 32)
        print(f"seed {seed}")
        moments = random.Random(seed)
        slowest = 0.0
        for _ in range(KILLS):
            machine.is_right_registered()
            self.monitor.press(moments.choice(TITLES))
            time.sleep(moments.random() * 0.06)
            victim = moments.choice([machine.HELPER_UNIT, BUS, POLKIT])
            machine.kill(victim)

            begun = time.monotonic()
            with self.subTest(victim):
                self.expect_alive()
            slowest = max(slowest, time.monotonic() - begun)
        print(f"{KILLS} kills outlived, two further commands done within {slowest:.3f} s")


if __name__ == "__main__":
    unittest.main()
