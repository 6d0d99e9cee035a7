"""The machine that the tests run on: a container of their own, as root."""

import os
import pathlib
import pwd
import signal
import subprocess

from monitor import eventually

CONTENTS = "/opt/Veltra/VeltraAgentStatusMonitor.app/Contents"
PROGRAM = f"{CONTENTS}/Linux/VeltraAgentStatusMonitor"
ADMIN_TOOL = f"{CONTENTS}/Linux/veltra-admin-tool"
HELPER_COPY = pathlib.Path(f"{CONTENTS}/Library/LaunchServices/com.veltra.agentMonitor.helper")
HELPER = pathlib.Path("/Library/PrivilegedHelperTools/com.veltra.agentMonitor.helper")
OTHER_HELPER = pathlib.Path("/opt/veltra-test/other_helper")
HELPER_UNIT = "veltra-agentmonitor-helper.service"
RIGHT = "com.veltra.agentMonitor.helper.runCommandWithPath-authData-completion-"
LOGS = pathlib.Path("/var/Veltra/agent/logs")
AGENT = "/Library/Veltra/agent/bin/vxsvc"
CALLS = pathlib.Path("/run/veltra-test-calls")
HOLD = pathlib.Path("/run/veltra-test-hold")


def run(*words):
    return subprocess.run(words, check=True, capture_output=True, text=True).stdout


def uninstall():
    run(ADMIN_TOOL, "remove")


def install():
    """What an administrator consented to on an earlier day."""
    run(ADMIN_TOOL, "bless")
    run(ADMIN_TOOL, "add-right")


def is_right_registered():
    asked = subprocess.run(["pkaction", "--action-id", RIGHT], capture_output=True, check=False)
    return asked.returncode == 0


def calls():
    """What the agent's tool was asked for, each time."""
    return CALLS.read_text().splitlines() if CALLS.exists() else []


def write_log(text):
    """The agent's only log."""
    LOGS.mkdir(parents=True, exist_ok=True)
    (LOGS / "vxsvc_1.log").write_bytes(text)


def process_of(unit):
    return int(run("systemctl", "show", "--property=MainPID", "--value", unit))


def kill(unit):
    """Kills the unit's process, if there is one, and returns once it is gone."""
    pid = process_of(unit)
    if pid == 0:
        return
    os.kill(pid, signal.SIGKILL)
    eventually(lambda: process_of(unit) != pid, bool, f"{unit} was not killed")


def expect_end_of_helper():
    eventually(lambda: process_of(HELPER_UNIT) == 0, bool, "the helper did not end")


def is_bus_there():
    asked = subprocess.run(["busctl", "status", "org.freedesktop.systemd1"],
                           capture_output=True, check=False)
    return asked.returncode == 0


def user_id(name):
    return pwd.getpwnam(name).pw_uid


def put_other_helper():
    """In the installed one's place, as if an older program had installed it."""
    run("systemctl", "stop", HELPER_UNIT)
    run("install", "--mode=755", str(OTHER_HELPER), str(HELPER))
