"""An ordinary user's session at the screen, with a display and accessibility."""

import os
import pathlib
import pwd
import subprocess

from machine import PROGRAM, expect_end_of_helper, run
from monitor import Monitor, eventually

USER = "veltra-user"
ADMINISTRATOR = "veltra-admin"
DISPLAY = "/opt/veltra-test/on-virtual-display"
UNIT = "veltra-session"
# Only the user may connect to the session bus, which knows the address of the accessibility bus.
ACCESSIBILITY = (
    "AT_SPI_BUS_ADDRESS=$(dbus-send --session --print-reply=literal --dest=org.a11y.Bus"
    " /org/a11y/bus org.a11y.Bus.GetAddress | tr -d ' ')"
)


class Session:
    """The session, which is the active one. It lasts as long as the container."""

    def __init__(self):
        run("useradd", "--create-home", "--shell=/bin/bash", USER)
        run("useradd", "--groups=sudo", ADMINISTRATOR)
        self.user = pwd.getpwnam(USER)
        self.desktop = pathlib.Path(self.user.pw_dir, "Desktop")
        run("install", "--directory", f"--owner={USER}", self.desktop)
        self._environment = self._start()
        self.identifier = self._environment["XDG_SESSION_ID"]
        # Joins the user's session: polkit looks at nothing else, and accepts an agent only from there.
        (self._control_group() / "cgroup.procs").write_text(str(os.getpid()))
        os.environ.update(self._environment)
        # If this is set, Qt does not register with the accessibility bus.
        del self._environment["AT_SPI_BUS_ADDRESS"]

    def command(self, *words):
        """What these words start, as a command line for the user."""
        variables = [f"{name}={value}" for name, value in self._environment.items()]
        become = ["setpriv", f"--reuid={USER}", f"--regid={USER}", "--init-groups"]
        return become + ["env", "-i", *variables, *words]

    def open(self, test):
        """The program's window, until the test ends. The helper ends with it, at its own pace."""
        test.addCleanup(expect_end_of_helper)
        monitor = Monitor(*self.command(PROGRAM))
        test.addCleanup(monitor.end)
        return monitor

    def _start(self):
        told = pathlib.Path("/home", USER, "session-environment")
        tell = f"{ACCESSIBILITY} env -0 >{told}.new && mv {told}.new {told}"
        variables = ["XDG_SEAT=seat0", "XDG_SESSION_TYPE=x11", "XDG_SESSION_CLASS=user"]
        login = [f"--uid={USER}", "--property=PAMName=login", *(f"--setenv={v}" for v in variables)]
        run("systemd-run", f"--unit={UNIT}", *login, DISPLAY, "sh", "-c",
            f"{tell} && exec sleep infinity")
        eventually(told.exists, bool, "the session did not start")
        return dict(word.split("=", 1) for word in told.read_text().split("\0") if word)

    def _control_group(self):
        scope = f"session-{self.identifier}.scope"
        group = run("systemctl", "show", "--property=ControlGroup", "--value", scope).strip()
        tree = "/sys/fs/cgroup"
        unified = f"{tree}/unified" if os.path.isdir(f"{tree}/unified") else tree
        return pathlib.Path(unified + group)

    def windows_of(self, pid):
        """The windows on the display that say they are of that process."""
        asked = subprocess.run(["xdotool", "search", "--onlyvisible", "--pid", str(pid)],
                               capture_output=True, text=True, check=False)
        return asked.stdout.split()
