"""Ends what the open window talks to: helper, system bus and polkit.

$VELTRA_TEST_KILLS says how often that is done at random.
"""

import os
import random
import time
import unittest

import machine
from monitor import eventually
from session import Session

BUS = "dbus.service"
POLKIT = "polkit.service"
DISTURBED = "Send Events"  # the command that runs when something ends; these are the next ones:
OTHERS = {
    "Collect and Send Properties": "-p",
    "Check for New Policies": "-c",
    "Enforce Policies": "-e",
}
KILLS = int(os.environ.get("VELTRA_TEST_KILLS", "10"))


class Failures(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.session = Session()
        machine.install()

    def setUp(self):
        self.addCleanup(machine.HOLD.unlink, missing_ok=True)
        self.monitor = self.session.open(self)
        self.monitor.expect_information()

    def hold_command(self):
        """Has a command run that does not end."""
        machine.HOLD.touch()
        before = len(machine.calls())
        self.monitor.press(DISTURBED)
        self.monitor.expect(lambda: len(machine.calls()) > before, bool, "the command was not run")
        self.monitor.expect_running(DISTURBED)

    def expect_next_command(self, title):
        def runs():
            return machine.calls().count(OTHERS[title])

        before = runs()
        self.monitor.press(title)
        self.monitor.expect(lambda: runs() > before, bool, f"the command of {title} was not run")
        self.monitor.expect_ended(title)
        self.assertEqual(runs(), before + 1)

    def expect_alive(self):
        """The window is there and no command seems to run; the next ones do, and end."""
        self.monitor.expect_ended(DISTURBED)
        self.assertIsNone(self.monitor.process.poll(), self.monitor.logged())
        machine.HOLD.unlink(missing_ok=True)
        eventually(machine.is_bus_there, bool, "the bus did not come back")
        for title in OTHERS:
            self.expect_next_command(title)
        self.monitor.expect_information()

    def test_outlives_the_helper_and_its_command(self):
        self.hold_command()

        machine.kill(machine.HELPER_UNIT)

        self.expect_alive()

    def test_outlives_an_idle_helper(self):
        machine.kill(machine.HELPER_UNIT)

        self.expect_alive()

    def test_outlives_the_bus_and_a_command(self):
        self.hold_command()

        machine.kill(BUS)

        self.expect_alive()

    def test_outlives_an_idle_bus(self):
        machine.kill(BUS)

        self.expect_alive()

    def test_outlives_the_bus_when_the_helper_is_gone_already(self):
        machine.kill(machine.HELPER_UNIT)

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
            self.monitor.press(DISTURBED)
            time.sleep(moments.random() * 0.06)
            victim = moments.choice([machine.HELPER_UNIT, BUS, POLKIT])
            machine.kill(victim)

            begun = time.monotonic()
            with self.subTest(victim):
                self.expect_alive()
            slowest = max(slowest, time.monotonic() - begun)
        print(f"{KILLS} kills outlived, three further commands done within {slowest:.3f} s")


if __name__ == "__main__":
    unittest.main()
