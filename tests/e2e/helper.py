"""Presses the buttons and reads what the agent's tool told by way of the privileged helper."""

import glob
import os
import shutil
import signal
import subprocess
import sys
import unittest

from monitor import Monitor, eventually

PROGRAM = sys.argv.pop()
BUNDLE = PROGRAM.split("/Contents/")[0]
COPY = f"{BUNDLE}/Contents/Library/LaunchServices/com.veltra.agentMonitor.helper"
HELPER = "/Library/PrivilegedHelperTools/com.veltra.agentMonitor.helper"
TOOL = "/Library/Veltra/agent/bin/trolex"
LOGS = "/var/Veltra/agent/logs"
CALLS = "/var/Veltra/calls"
VERSION = "5.7.1"
SERVER = "10.0.0.5"
COMMANDS = {
    "Collect and Send Properties": "-p",
    "Send Events": "-f",
    "Check for New Policies": "-c",
    "Enforce Policies": "-e",
}

# Notes what it is asked for. A shell writes each line at once, "-e" waits until it may end.
ANSWERS = f"""#!/bin/bash
printf '%s\\n' "$1" >>{CALLS}
case $1 in
-i)
    for line in 'AgentMode: 1' 'ZelServerLastUsed: 10.0.0.5' 'Version: 5.7.1'; do
        echo "$line"
    done
    ;;
-e) until [[ -e /var/Veltra/go ]]; do sleep 0.02; done ;;
esac
"""


def processes(executable):
    """The processes that run a program, also when its file was replaced."""
    found = []
    for link in glob.glob("/proc/[0-9]*/exe"):
        try:
            if os.readlink(link).removesuffix(" (deleted)") == executable:
                found.append(int(link.split("/")[2]))
        except OSError:
            pass
    return found


class Helper(unittest.TestCase):
    def setUp(self):
        for path in (CALLS, "/var/Veltra/go"):
            if os.path.exists(path):
                os.remove(path)
        shutil.rmtree(f"{os.environ['HOME']}/Desktop", ignore_errors=True)
        os.makedirs(f"{os.environ['HOME']}/Desktop")
        os.makedirs(LOGS, exist_ok=True)
        with open(f"{LOGS}/vxsvc_1.log", "w", encoding="utf-8") as log:
            log.write("2024-03-05 10:22:01.123 (1.2) vxsvc.Info: a line\n" * 3)
        self.answer(ANSWERS)
        self.monitors = []

    def tearDown(self):
        for monitor in self.monitors:
            monitor.end()
        self.end_helpers()

    def end_helpers(self):
        for helper in processes(HELPER):
            os.kill(helper, signal.SIGKILL)
        eventually(lambda: not processes(HELPER), bool, "the helper does not end")

    def answer(self, script):
        with open(f"{TOOL}.new", "w", encoding="utf-8") as tool:
            tool.write(script)
        os.chmod(f"{TOOL}.new", 0o755)
        os.rename(f"{TOOL}.new", TOOL)

    def open(self):
        self.monitors.append(Monitor(PROGRAM))
        return self.monitors[-1]

    def calls(self):
        try:
            with open(CALLS, encoding="utf-8") as calls:
                return calls.read().split()
        except FileNotFoundError:
            return []

    def test_installs_the_helper_at_the_first_start_and_not_at_the_second(self):
        if os.path.exists(HELPER):
            os.remove(HELPER)
        monitor = self.open()
        monitor.expect_information(VERSION, SERVER)
        installed = os.stat(HELPER)
        self.assertEqual((installed.st_uid, installed.st_mode & 0o7777), (0, 0o755))
        monitor.end()

        self.open().expect_information(VERSION, SERVER)

        self.assertEqual(os.stat(HELPER).st_ino, installed.st_ino)

    def test_installs_the_helper_that_does_not_answer_with_its_version(self):
        self.open().end()
        self.end_helpers()
        shutil.copy("/bin/false", f"{HELPER}.new")
        os.rename(f"{HELPER}.new", HELPER)

        self.open().expect_information(VERSION, SERVER)

        with open(HELPER, "rb") as installed, open(COPY, "rb") as copy:
            self.assertEqual(installed.read(), copy.read())

    def test_ends_with_status_0_when_the_helper_cannot_be_installed(self):
        if os.path.exists(HELPER):
            os.remove(HELPER)
        # A folder has the helper's name, so it cannot be installed.
        os.makedirs("/Library/kept", exist_ok=True)
        shutil.rmtree("/Library/PrivilegedHelperTools", ignore_errors=True)
        os.symlink("/Library/kept", "/Library/PrivilegedHelperTools")
        self.addCleanup(os.remove, "/Library/PrivilegedHelperTools")

        program = subprocess.run([PROGRAM], capture_output=True, timeout=60, check=False)

        self.assertEqual(program.returncode, 0)
        self.assertNotIn(b"read line", program.stderr)
        self.assertIn(b"The helper was not installed: ", program.stderr)
        self.assertIn(b"The program ends, since", program.stderr)

    def test_sends_the_command_of_each_button(self):
        monitor = self.open()
        monitor.expect_information(VERSION, SERVER)
        with open("/var/Veltra/go", "w", encoding="utf-8"):
            pass

        for name, option in COMMANDS.items():
            monitor.press(name)
            monitor.expect(self.calls, lambda seen, o=option: seen[-1:] == [o], f"{name} was sent")
            monitor.expect_ended(name)
            monitor.expect_label("Newest event", f"{name}: done")

        self.assertEqual(self.calls(), ["-i", "-p", "-f", "-c", "-e"])

    def test_tells_how_a_command_failed_and_shows_what_the_tool_printed(self):
        monitor = self.open()
        monitor.expect_information(VERSION, SERVER)
        self.answer("#!/bin/sh\necho '<b>the last words</b>' >&2\nexit 3\n")

        monitor.press("Send Events")

        monitor.expect_label("Newest event", "Send Events: ended with status 3")
        monitor.press("Tool Output")
        monitor.expect(
            monitor.tool_output, lambda text: text == "<b>the last words</b>\n", "the output"
        )
        os.remove(TOOL)
        monitor.press("Send Events")
        monitor.expect_label("Newest event", "Send Events: could not be run: ")

    def test_sends_two_commands_for_two_quick_clicks_and_shows_that_they_run(self):
        monitor = self.open()
        monitor.expect_information(VERSION, SERVER)

        for sent in (["-i", "-e"], ["-i", "-e", "-e"]):
            monitor.press("Enforce Policies")
            monitor.expect(self.calls, lambda calls, s=sent: calls == s, "each click is sent")

        monitor.expect_running("Enforce Policies")
        self.assertFalse(monitor.is_running("Send Events"))
        with open("/var/Veltra/go", "w", encoding="utf-8"):
            pass
        monitor.expect_ended("Enforce Policies")

    def test_saves_the_log_to_the_desktop(self):
        monitor = self.open()
        copy = f"{os.environ['HOME']}/Desktop/Agent_Monitor.log"

        monitor.press("Save Log to Desktop")

        monitor.expect(lambda: os.path.exists(copy), bool, "the copy is there")
        monitor.expect_label("Newest event", f"Saved to {copy}")
        with open(copy, "rb") as saved, open(f"{LOGS}/vxsvc_1.log", "rb") as log:
            self.assertEqual(saved.read(), log.read())

    def test_saves_to_the_folder_that_the_desktop_names(self):
        home = os.environ["HOME"]
        os.makedirs(f"{home}/.config", exist_ok=True)
        os.makedirs(f"{home}/Schreibtisch", exist_ok=True)
        with open(f"{home}/.config/user-dirs.dirs", "w", encoding="utf-8") as names:
            names.write('XDG_DESKTOP_DIR="$HOME/Schreibtisch"\n')
        self.addCleanup(os.remove, f"{home}/.config/user-dirs.dirs")
        monitor = self.open()

        monitor.press("Save Log to Desktop")

        copy = f"{home}/Schreibtisch/Agent_Monitor.log"
        monitor.expect(lambda: os.path.exists(copy), bool, "the copy is there")
        self.assertEqual(os.listdir(f"{home}/Desktop"), [])

    def test_lives_on_when_the_helper_is_killed_in_the_middle_of_a_command(self):
        monitor = self.open()
        monitor.expect_information(VERSION, SERVER)
        monitor.press("Enforce Policies")
        monitor.expect(self.calls, lambda calls: "-e" in calls, "the command runs")

        os.kill(processes(HELPER)[0], signal.SIGKILL)

        monitor.expect_ended("Enforce Policies")
        monitor.press("Send Events")
        monitor.expect(self.calls, lambda calls: calls[-1] == "-f", "the next command")
        monitor.expect_ended("Send Events")

    def test_lives_on_when_the_bus_goes_and_comes_back(self):
        monitor = self.open()
        monitor.expect_information(VERSION, SERVER)
        bus = next(p for p in processes("/usr/bin/dbus-daemon") if "system-bus.conf" in command(p))
        start = command(bus).split()

        os.kill(bus, signal.SIGKILL)
        monitor.press("Send Events")
        monitor.expect_logged("no connection to com.veltra.agentMonitor.helper: ")
        monitor.expect_ended("Send Events")
        monitor.expect_label("Newest event", "Send Events: the helper is not reachable: ")
        os.remove("/run/dbus/system_bus_socket")
        subprocess.Popen(start, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        eventually(lambda: os.path.exists("/run/dbus/system_bus_socket"), bool, "the bus is back")

        monitor.press("Check for New Policies")
        monitor.expect(self.calls, lambda calls: calls[-1] == "-c", "the next command")
        self.assertIsNone(monitor.process.poll())


def command(process):
    with open(f"/proc/{process}/cmdline", encoding="utf-8") as words:
        return words.read().replace("\0", " ").strip()


if __name__ == "__main__":
    unittest.main()
