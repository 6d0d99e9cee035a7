"""Presses the buttons of the installed program, whose commands run as root, and ends the agent."""

import subprocess
import unittest

import machine
from monitor import PATIENCE_SECONDS
from session import Session

OPTIONS = {
    "Collect and Send Properties": "-p",
    "Send Events": "-f",
    "Check for New Policies": "-c",
    "Enforce Policies": "-e",
}
LOG = b"".join(
    b"2024-03-05 10:22:0%d.123 (1.2) vxsvc.Info: message \xc3\xa4\xff\n" % n for n in range(9)
)


class Commands(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.session = Session()
        machine.install()
        machine.write_log(LOG)

    def setUp(self):
        machine.CALLS.unlink(missing_ok=True)
        self.addCleanup(machine.HOLD.unlink, missing_ok=True)
        self.monitor = self.session.open(self)
        self.monitor.expect_information()

    def test_run_the_agents_tool_as_root_with_the_buttons_option(self):
        expected = ["-i"]
        for title, option in OPTIONS.items():
            self.monitor.press(title)
            expected.append(option)
            self.monitor.expect(machine.calls, lambda seen: seen == expected, f"tool's {option}")

        self.assertEqual(machine.CALLS.stat().st_uid, 0)

    def test_are_shown_while_they_run(self):
        for title in OPTIONS:
            machine.HOLD.touch()
            self.monitor.press(title)
            self.monitor.expect_running(title)
            self.assertEqual([name for name in OPTIONS if self.monitor.is_running(name)], [title])

            machine.HOLD.unlink()
            self.monitor.expect_ended(title)

    def test_can_be_asked_for_while_another_runs(self):
        machine.HOLD.touch()
        for title in OPTIONS:
            self.monitor.press(title)
        self.monitor.expect(machine.calls, lambda seen: len(seen) == 5, "all of them")
        self.assertEqual(sorted(machine.calls()), sorted(["-i", *OPTIONS.values()]))

        machine.HOLD.unlink()

        for title in OPTIONS:
            self.monitor.expect_ended(title)

    def test_copy_the_log_to_the_desktop_as_the_users_file(self):
        self.monitor.press("Save Log to Desktop")

        copy = self.session.desktop / "Agent_Monitor.log"
        self.monitor.expect(copy.exists, bool, "the copy")
        self.assertEqual(copy.read_bytes(), LOG)
        self.assertEqual(copy.stat().st_uid, self.session.user.pw_uid)
        self.assertEqual(machine.calls(), ["-i"])

    def test_end_the_program_with_status_0(self):
        self.monitor.press("Close")

        self.assertEqual(self.monitor.process.wait(PATIENCE_SECONDS), 0)

    def test_end_the_helper_with_the_program(self):
        self.assertNotEqual(machine.process_of(machine.HELPER_UNIT), 0)

        self.monitor.press("Close")

        machine.expect_end_of_helper()

    def test_go_on_telling_whether_the_agent_runs(self):
        self.monitor.expect_status("The agent service is not running", "no agent runs")
        agent = subprocess.Popen([machine.AGENT, "1000"])
        self.monitor.expect_status("The agent service is running", "the agent was started")

        agent.kill()
        agent.wait()
        self.monitor.expect_status("The agent service is not running", "the agent was killed")

        agent = subprocess.Popen([machine.AGENT, "1000"])
        self.addCleanup(agent.wait)
        self.addCleanup(agent.kill)
        self.monitor.expect_status("The agent service is running", "the agent is back")


if __name__ == "__main__":
    unittest.main()
