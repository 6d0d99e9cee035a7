"""Opens the program on logs of every kind and reads its window over the accessibility bus.

Runs inside the namespace of window-test, so that the agent's log folder can be written.
"""

import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402 (the version has to be named first)

PROGRAM = sys.argv.pop()
FOLDER = "/var/Veltra/agent/logs"
PATIENCE_SECONDS = 30


def eventually(read, wanted, why):
    """Returns what `read` gives once `wanted` is true of it; fails after a long while."""
    deadline = time.monotonic() + PATIENCE_SECONDS
    while True:
        try:
            value = read()
        except (GLib.Error, AttributeError):
            value = None
        if value is not None and wanted(value):
            return value
        if time.monotonic() > deadline:
            raise AssertionError(f"{why}; last seen: {value!r}")
        time.sleep(0.005)


def line(number, severity="Info", message=None):
    """One line of a log, and the row that it makes."""
    message = message or f"message {number}"
    text = f"2024-03-05 10:22:{number % 60:02}.123 (1.2) vxsvc.{severity}: {message}\n"
    row = ["2024-03-05", f"10:22:{number % 60:02}", "vxsvc", severity, message]
    return text, row


def lines(numbers):
    return "".join(line(n)[0] for n in numbers)


def rows(numbers):
    return [line(n)[1] for n in numbers]


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

    def __init__(self):
        self.log = tempfile.TemporaryFile(mode="w+")
        self.process = subprocess.Popen([PROGRAM], stdout=self.log, stderr=self.log)
        try:
            self.frame = eventually(self._find_frame, bool, "the window did not open")
        except AssertionError as missing:
            raise AssertionError(f"{missing}; the program said:\n{self.logged()}") from None

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

    def button(self, name):
        return next(
            n
            for n in descendants(self.frame)
            if n.get_role() == Atspi.Role.PUSH_BUTTON and n.get_name() == name
        )

    def shown(self, most=10):
        """The rows from the top, as lists of texts."""
        table = self.table().get_table_iface()
        return [
            [table.get_accessible_at(row, column).get_name() for column in range(5)]
            for row in range(min(most, table.get_n_rows()))
        ]

    def expect_rows(self, expected, why):
        eventually(lambda: self.shown(len(expected) + 1), lambda seen: seen == expected, why)

    def logged(self):
        position = self.log.tell()
        self.log.seek(0)
        text = self.log.read()
        self.log.seek(position)
        return text

    def expect_logged(self, text, times=1):
        eventually(self.logged, lambda log: log.count(text) >= times, f"not logged: {text}")

    def end(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        self.log.close()


class Window(unittest.TestCase):
    def setUp(self):
        shutil.rmtree("/var/Veltra/agent", ignore_errors=True)
        self.monitors = []

    def tearDown(self):
        for monitor in self.monitors:
            monitor.end()

    def open(self):
        self.monitors.append(Monitor())
        return self.monitors[-1]

    def write(self, name, text):
        os.makedirs(FOLDER, exist_ok=True)
        with open(f"{FOLDER}/{name}", "w", encoding="utf-8") as log:
            log.write(text)

    def append(self, name, text):
        with open(f"{FOLDER}/{name}", "a", encoding="utf-8") as log:
            log.write(text)

    def test_shows_the_log_that_is_there_and_then_what_is_appended(self):
        self.write("vxsvc_1.log", lines(range(1, 5)))
        monitor = self.open()
        monitor.expect_rows(rows([2, 3, 4]), "the first rows")

        self.append("vxsvc_1.log", lines([5, 6, 7]))

        monitor.expect_rows(rows([6, 7, 2, 3, 4]), "the appended rows on top")

    def test_shows_an_appended_line_within_a_second(self):
        self.write("vxsvc_1.log", lines(range(1, 5)))
        monitor = self.open()
        monitor.expect_rows(rows([2, 3, 4]), "the first rows")
        delays = []
        for number in range(10, 30, 2):
            before = time.monotonic()
            self.append("vxsvc_1.log", lines([number, number + 1]))
            eventually(
                lambda: monitor.shown(1),
                lambda seen, n=number: seen == rows([n + 1]),
                "an appended row",
            )
            delays.append(time.monotonic() - before)

        self.assertLess(max(delays), 1.0)

    def test_goes_on_with_the_log_of_the_start_after_a_rotation(self):
        self.write("vxsvc_1.log", lines(range(1, 5)))
        monitor = self.open()
        monitor.expect_rows(rows([2, 3, 4]), "the first rows")

        self.write("vxsvc_2.log", lines(range(40, 50)))
        self.append("vxsvc_1.log", lines([5, 6]))

        monitor.expect_rows(rows([6, 2, 3, 4]), "only what the first log got")
        self.assertNotIn("message 41", monitor.logged())

    def test_has_the_texts_of_a_finished_product(self):
        self.write("vxsvc_1.log", lines([1, 2]))
        monitor = self.open()
        monitor.expect_rows(rows([2]), "the first row")

        table = monitor.table().get_table_iface()
        titles = [table.get_column_description(column) for column in range(5)]
        self.assertEqual(monitor.frame.get_name(), "Veltra Agent Status Monitor")
        self.assertEqual(titles, ["Date", "Time", "Component", "Message Type", "Message"])

    def test_ends_with_status_0_when_close_is_pressed(self):
        self.write("vxsvc_1.log", lines([1, 2]))
        monitor = self.open()
        monitor.expect_rows(rows([2]), "the first row")

        self.assertTrue(monitor.button("Close").get_action_iface().do_action(0))

        self.assertEqual(monitor.process.wait(PATIENCE_SECONDS), 0)

    def test_starts_without_a_log_folder_and_says_so_in_the_log_alone(self):
        monitor = self.open()

        monitor.expect_logged("Error in reading files: ")
        monitor.expect_logged("No vxsvc log file present")
        self.assertEqual(monitor.shown(), [])
        self.assertEqual(monitor.windows(), [Atspi.Role.FRAME])

    def test_starts_on_an_empty_folder_and_stays_empty(self):
        os.makedirs(FOLDER)
        monitor = self.open()
        monitor.expect_logged("No logs available to parse")

        self.write("vxsvc_1.log", lines(range(1, 5)))

        monitor.expect_logged("No logs available to parse", times=2)
        self.assertEqual(monitor.shown(), [])
        self.assertEqual(monitor.windows(), [Atspi.Role.FRAME])

    def test_keeps_its_rows_when_the_log_disappears(self):
        self.write("vxsvc_1.log", lines(range(1, 5)))
        monitor = self.open()
        monitor.expect_rows(rows([2, 3, 4]), "the first rows")

        os.remove(f"{FOLDER}/vxsvc_1.log")

        monitor.expect_logged("No vxsvc log file present")
        self.assertEqual(monitor.shown(), rows([2, 3, 4]))

    def test_is_not_held_up_by_a_fifo_or_a_folder_named_like_a_log(self):
        for make in (lambda path: os.mkfifo(path), lambda path: os.mkdir(path)):
            with self.subTest(make):
                self.setUp()
                os.makedirs(FOLDER)
                make(f"{FOLDER}/vxsvc_1.log")
                monitor = self.open()

                monitor.expect_logged("No logs available to parse")
                self.assertEqual(monitor.shown(), [])
                monitor.end()

    def test_shows_what_stands_around_bytes_that_are_no_text(self):
        os.makedirs(FOLDER)
        odd = b"2024-03-05 10:22:08.1 (1.2) vxsvc.Info: \xff\xfe broken\n"
        nul = b"2024-03-05 10:22:09.1 (1.2) vxsvc.Info: nul \x00 inside\n"
        with open(f"{FOLDER}/vxsvc_1.log", "wb") as log:
            log.write(lines([1, 2]).encode() + nul + odd + lines([3, 4]).encode())
        monitor = self.open()
        eventually(lambda: len(monitor.shown()), lambda count: count == 2, "rows before the bytes")

        self.append("vxsvc_1.log", lines([5]))

        eventually(
            lambda: monitor.shown(2), lambda seen: seen == rows([4, 5]), "rows behind the bytes"
        )


if __name__ == "__main__":
    unittest.main()
