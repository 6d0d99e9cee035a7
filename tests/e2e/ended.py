"""Has the program end, and expects those who wait for its window to hear of it at once."""

import sys
import time
import unittest

from monitor import PATIENCE_SECONDS, Monitor

PROGRAM = sys.argv.pop()


class Ended(unittest.TestCase):
    def expect_failure(self, wait, *words):
        begun = time.monotonic()
        with self.assertRaises(AssertionError) as failure:
            wait()
        self.assertLess(time.monotonic() - begun, PATIENCE_SECONDS / 4)
        for word in words:
            self.assertIn(word, str(failure.exception))

    def test_before_its_window_opened(self):
        words = ("the window did not open", "ended with status 3", "its last word")
        self.expect_failure(lambda: Monitor("sh", "-c", "echo its last word; exit 3"), *words)

    def test_under_the_eyes_of_a_test(self):
        monitor = Monitor(PROGRAM)
        self.addCleanup(monitor.end)
        monitor.process.kill()

        words = ("never so", "ended with status -9")
        self.expect_failure(lambda: monitor.expect_status("another", "never so"), *words)
        self.expect_failure(lambda: monitor.expect_logged("another"), "ended with status -9")


if __name__ == "__main__":
    unittest.main()
