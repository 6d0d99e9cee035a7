"""The program's window as assistive technology sees it, for the scripts in this folder.

They run inside the namespace of window-test, on whose display and buses nothing else lives.
"""

import subprocess
import tempfile
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402 (the version has to be named first)

PATIENCE_SECONDS = 60
BUTTONS = (Atspi.Role.PUSH_BUTTON, Atspi.Role.TOGGLE_BUTTON, Atspi.Role.CHECK_BOX)


def eventually(read, wanted, why, obstacle=lambda: None):
    """Returns what `read` gives once `wanted` is true of it; fails after a long while.

    Fails at once when `obstacle` tells of something that keeps it from ever being so.
    """
    deadline = time.monotonic() + PATIENCE_SECONDS
    while True:
        # Evaluated first: what existed before the obstacle counts.
        in_the_way = obstacle()
        try:
            value = read()
        except (GLib.Error, AttributeError):
            value = None
        if value is not None and wanted(value):
            return value
        if in_the_way:
            raise AssertionError(f"{why}; {in_the_way}")
        if time.monotonic() > deadline:
            raise AssertionError(f"{why}; last seen: {value!r}")
        time.sleep(0.005)


def pump():
    """Hands out the events that have arrived."""
    while GLib.MainContext.default().iteration(False):
        pass


def descendants(node, depth=0):
    """All widgets below `node`; the cells of a table are not visited."""
    yield node
    if depth > 12 or node.get_role() == Atspi.Role.TABLE:
        return
    for index in range(node.get_child_count()):
        child = node.get_child_at_index(index)
        if child is not None:
            yield from descendants(child, depth + 1)


class Monitor:
    """The program, and its window as assistive technology sees it."""

    def __init__(self, *command):
        self.log = tempfile.TemporaryFile(mode="w+")
        self.process = subprocess.Popen(command, stdout=self.log, stderr=self.log)
        try:
            self.frame = self.expect(self._find_frame, bool, "the window did not open")
        except AssertionError as missing:
            if self.process.poll() is not None:
                raise
            raise AssertionError(f"{missing}; the program said:\n{self.logged()}") from None

    def expect(self, read, wanted, why):
        """As eventually(), but fails at once when the program has ended."""
        return eventually(read, wanted, why, self._ending)

    def _ending(self):
        status = self.process.poll()
        if status is None:
            return None
        return f"the program ended with status {status}; it said:\n{self.logged()}"

    def _find_frame(self):
        desktop = Atspi.get_desktop(0)
        for index in range(desktop.get_child_count()):
            application = desktop.get_child_at_index(index)
            if application and application.get_process_id() == self.process.pid:
                return application.get_child_at_index(0)
        return None

    def windows(self):
        application = self.frame.get_application()
        return [
            application.get_child_at_index(i).get_role() for i in range(application.get_child_count())
        ]

    def table(self):
        return next(n for n in descendants(self.frame) if n.get_role() == Atspi.Role.TABLE)

    def label(self, description):
        """The label that a screen reader hears that description of."""
        return next(
            n
            for n in descendants(self.frame)
            if n.get_role() == Atspi.Role.LABEL and n.get_description() == description
        )

    def expect_label(self, description, text):
        self.expect(
            lambda: self.label(description).get_name(), lambda seen: text in seen, f"{text} is shown"
        )

    def status(self):
        return self.label("State of the agent service").get_name()

    def expect_status(self, text, why):
        self.expect(self.status, lambda seen: seen == text, why)

    def button(self, name):
        return next(
            n
            for n in descendants(self.frame)
            if n.get_role() in BUTTONS and n.get_name() == name
        )

    def press(self, name):
        if not self.button(name).get_action_iface().do_action(0):
            raise AssertionError(f"{name} cannot be pressed")

    def is_running(self, name):
        """Whether the button shows that a command of it runs."""
        return self.button(name).get_description() == "A command is running"

    def tool_output(self):
        """What is shown of the tool's output."""
        view = next(n for n in descendants(self.frame) if n.get_name() == "Tool Output" and n.get_text_iface())
        return Atspi.Text.get_text(view.get_text_iface(), 0, -1)

    def expect_running(self, name):
        self.expect(lambda: self.is_running(name), bool, f"the command of {name} is not shown")

    def expect_ended(self, name):
        self.expect(lambda: not self.is_running(name), bool, f"the command of {name} did not end")

    def information(self):
        """What is shown of the agent: its version and its server."""
        descriptions = ("Version of the agent", "Management server of the agent")
        return [self.label(description).get_name() for description in descriptions]

    def expect_information(self, version="7.4.2", server="10.0.40.12"):
        expected = [f"Veltra Agent version {version}", f"Management server: {server}"]
        why = "the agent's version and server"
        self.expect(self.information, lambda seen: seen == expected, why)

    def shown(self, most=10):
        """The rows from the top, as lists of texts."""
        table = self.table().get_table_iface()
        return [
            [table.get_accessible_at(row, column).get_name() for column in range(5)]
            for row in range(min(most, table.get_n_rows()))
        ]

    def expect_rows(self, expected, why):
        self.expect(lambda: self.shown(len(expected) + 1), lambda seen: seen == expected, why)

    def logged(self):
        position = self.log.tell()
        self.log.seek(0)
        text = self.log.read()
        self.log.seek(position)
        return text

    def expect_logged(self, text, times=1):
        self.expect(self.logged, lambda log: log.count(text) >= times, f"not logged: {text}")

    def end(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        self.log.close()
