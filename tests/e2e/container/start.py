"""Starts the program as an ordinary user for the first time, and at other times."""

import subprocess
import time
import unittest

import machine
from monitor import PATIENCE_SECONDS
from polkitagent import ScriptedAgent
from session import ADMINISTRATOR, Session

BLESS = "com.apple.ServiceManagement.blesshelper"


class Start(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.session = Session()

    def setUp(self):
        machine.uninstall()
        self.assertFalse(machine.is_right_registered())

    def agent(self, consents=True):
        agent = ScriptedAgent(self.session.identifier, consents)
        self.addCleanup(agent.end)
        return agent

    def expect_installed(self):
        self.assertEqual(machine.HELPER.read_bytes(), machine.HELPER_COPY.read_bytes())
        status = machine.HELPER.stat()
        self.assertEqual((status.st_uid, status.st_mode & 0o7777), (0, 0o755))

    def test_asks_once_installs_and_tells_of_the_agent_soon_after_consent(self):
        agent = self.agent()
        monitor = self.session.open(self)
        monitor.expect_information()
        shown = time.monotonic()

        print(f"version and server {shown - agent.consented:.3f} s after consent")
        self.assertEqual(agent.questions, [BLESS])
        self.assertEqual(agent.asked, [[machine.user_id(ADMINISTRATOR)]])
        self.expect_installed()
        self.assertTrue(machine.is_right_registered())

    def test_asks_nothing_when_all_is_installed(self):
        machine.install()
        agent = self.agent()
        begun = time.monotonic()
        monitor = self.session.open(self)
        opened = time.monotonic()
        monitor.expect_information()
        shown = time.monotonic()

        print(f"window {opened - begun:.3f} s after start, information {shown - opened:.3f} s on")
        self.assertEqual(agent.questions, [])

    def test_asks_nothing_for_a_missing_right_alone(self):
        machine.run(machine.ADMIN_TOOL, "bless")
        agent = self.agent()
        self.session.open(self).expect_information()

        self.assertEqual(agent.questions, [])
        self.assertTrue(machine.is_right_registered())

    def test_replaces_a_helper_of_another_version_after_one_question(self):
        machine.install()
        machine.put_other_helper()
        agent = self.agent()
        self.session.open(self).expect_information()

        self.assertEqual(agent.questions, [BLESS])
        self.expect_installed()

    def test_keeps_the_helper_of_another_version_when_refused(self):
        machine.install()
        machine.put_other_helper()
        agent = self.agent(consents=False)
        self.session.open(self).expect_information()

        self.assertEqual(agent.questions, [BLESS])
        self.assertEqual(machine.HELPER.read_bytes(), machine.OTHER_HELPER.read_bytes())

    def test_ends_with_status_0_and_without_a_window_when_refused(self):
        agent = self.agent(consents=False)
        self.expect_end_without_window()

        self.assertEqual(agent.questions, [BLESS])
        self.assertFalse(machine.HELPER.exists())

    def test_ends_with_status_0_and_without_a_window_where_nobody_can_be_asked(self):
        self.expect_end_without_window()

        self.assertFalse(machine.HELPER.exists())

    def expect_end_without_window(self):
        process = subprocess.Popen(self.session.command(machine.PROGRAM))
        deadline = time.monotonic() + PATIENCE_SECONDS
        windows = 0
        while process.poll() is None and time.monotonic() < deadline:
            windows += len(self.session.windows_of(process.pid))
            time.sleep(0.01)

        self.assertEqual(process.poll(), 0)
        self.assertEqual(windows, 0)


if __name__ == "__main__":
    unittest.main()
