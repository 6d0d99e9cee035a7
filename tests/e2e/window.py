"""Opens the program on logs of every kind and reads its window over the accessibility bus."""

import os
import shutil
import subprocess
import sys
import time
import unittest

from gi.repository import Atspi

from monitor import PATIENCE_SECONDS, Monitor, descendants, pump

PROGRAM = sys.argv.pop()
FOLDER = "/var/Veltra/agent/logs"


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


class Window(unittest.TestCase):
    def setUp(self):
        shutil.rmtree("/var/Veltra/agent", ignore_errors=True)
        self.monitors = []

    def tearDown(self):
        for monitor in self.monitors:
            monitor.end()

    def open(self):
        self.monitors.append(Monitor(PROGRAM))
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
            monitor.expect(
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
        self.assertEqual(monitor.table().get_name(), "Agent log")
        names = [node.get_name() for node in descendants(monitor.frame)]
        self.assertIn("State of the agent service", names)

    def test_ends_with_status_0_when_close_is_pressed(self):
        self.write("vxsvc_1.log", lines([1, 2]))
        monitor = self.open()
        monitor.expect_rows(rows([2]), "the first row")

        self.assertTrue(monitor.button("Close").get_action_iface().do_action(0))

        self.assertEqual(monitor.process.wait(PATIENCE_SECONDS), 0)

    def test_takes_no_options_and_lets_qt_take_none(self):
        self.write("vxsvc_1.log", lines([1, 2]))
        options = ("-platform", "offscreen", "-name", "other", "-style", "nonsense", "--help")
        self.monitors.append(Monitor(PROGRAM, *options))

        self.monitors[-1].expect_rows(rows([2]), "the first row")

        found = subprocess.run(
            ("xdotool", "search", "--classname", "^VeltraAgentStatusMonitor$"), check=False
        )
        self.assertEqual(found.returncode, 0)

    def test_is_known_to_the_desktop_by_name_and_icon(self):
        self.write("vxsvc_1.log", lines([1, 2]))
        self.open().expect_rows(rows([2]), "the first row")

        search = ("xdotool", "search", "--onlyvisible", "--class", "^VeltraAgentStatusMonitor$")
        window = subprocess.check_output(search, text=True).split()[0]
        show = ("xprop", "-id", window, "-notype", "_NET_WM_ICON", "WM_CLASS")
        shown = subprocess.check_output(show, text=True)

        self.assertIn("Icon (128 x 128)", shown)
        self.assertIn('"VeltraAgentStatusMonitor", "VeltraAgentStatusMonitor"', shown)

    def test_speaks_german_where_the_user_does_and_so_does_qt(self):
        self.write("vxsvc_1.log", lines([1, 2]))
        self.monitors.append(Monitor("env", "LANGUAGE=de", PROGRAM))
        monitor = self.monitors[-1]
        monitor.expect_label("Verfolgtes Protokoll", "vxsvc_1.log, 1 Zeile")

        # Qt's own words for what can be done with a button.
        monitor.expect(
            lambda: monitor.button("Schließen").get_action_iface().get_action_description(0),
            lambda text: text == "Aktion auslösen",
            "Qt speaks German",
        )

    def test_says_in_the_footer_what_it_follows_and_that_a_newer_log_has_begun(self):
        self.write("vxsvc_1.log", lines(range(1, 5)))
        monitor = self.open()
        monitor.expect_label("Followed log", "vxsvc_1.log, 3 rows")

        self.write("vxsvc_2.log", lines(range(40, 50)))

        monitor.expect_label("Notice", "A newer log has begun: vxsvc_2.log.")
        self.append("vxsvc_1.log", lines([5, 6]))
        monitor.expect_label("Followed log", "vxsvc_1.log, 4 rows")

    def test_tells_a_screen_reader_what_the_footer_says(self):
        self.write("vxsvc_1.log", lines(range(1, 5)))
        monitor = self.open()
        heard = []
        listener = Atspi.EventListener.new(lambda event: heard.append(event.source.get_name()))
        listener.register("object:property-change:accessible-name")

        # The program learns of a new listener in its own time, and may miss the first changes.
        deadline = time.monotonic() + PATIENCE_SECONDS
        while not any("newer log" in name for name in heard) and time.monotonic() < deadline:
            self.append("vxsvc_2.log", lines([40]))
            monitor.expect_label("Notice", "A newer log has begun: vxsvc_2.log.")
            self.append("vxsvc_1.log", lines([5]))
            monitor.expect(
                lambda: monitor.label("Notice").get_name(), lambda name: name == "", "it is over"
            )
            pump()

        self.assertTrue(any("newer log" in name for name in heard), heard)

    def test_says_why_the_table_is_empty_until_the_first_row(self):
        self.write("vxsvc_1.log", "no row\n" * 3)
        monitor = self.open()
        monitor.expect_label("Why the table is empty", "(lines read: 3)")

        self.append("vxsvc_1.log", lines([1, 2]))

        monitor.expect_rows(rows([2]), "the first row")
        notice = monitor.label("Why the table is empty").get_state_set()
        self.assertFalse(notice.contains(Atspi.StateType.SHOWING))

    def test_starts_without_a_log_folder_and_says_so_in_its_place(self):
        monitor = self.open()

        monitor.expect_logged("Error in reading files: ")
        monitor.expect_logged("No vxsvc log file present")
        monitor.expect_label("Why the table is empty", f"There is no log folder {FOLDER}/.")
        self.assertEqual(monitor.shown(), [])
        self.assertEqual(monitor.windows(), [Atspi.Role.FRAME])

    def test_starts_on_an_empty_folder_and_stays_empty(self):
        os.makedirs(FOLDER)
        monitor = self.open()
        monitor.expect_logged("No logs available to parse")
        monitor.expect_label("Why the table is empty", f"There is no log of the agent in {FOLDER}/")

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
        monitor.expect(lambda: len(monitor.shown()), lambda n: n == 2, "rows before the bytes")

        self.append("vxsvc_1.log", lines([5]))

        monitor.expect(
            lambda: monitor.shown(2), lambda seen: seen == rows([4, 5]), "rows behind the bytes"
        )


if __name__ == "__main__":
    unittest.main()
