"""Locks and unlocks the program over a page of 300 tasks, with the key and before the machine sleeps, and tells how soon
nothing of the page is on the screen, and what the rounds leave behind. Run by bench/run; ROUNDS says how many."""

import os
import pathlib
import statistics
import subprocess
import sys
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "app"))
import desk  # noqa: E402
from desk import DEADLINE, until  # noqa: E402
from locking import LockJourney  # noqa: E402
from processes import mebibytes, tree  # noqa: E402

ROUNDS = int(os.environ.get("ROUNDS", "20"))
TASKS = 300
FRAME = 1000 / 60  # milliseconds
PAGE = "6d60f2"  # a button of the page
LOCK = ("Control_L", "Super_L", "l")
AVERAGED = 5
MEMORY_LIMIT = 1.05
RELEASE_LIMIT = 200  # milliseconds


def tell(what, times, limit):
    print(f"  {what:32} {statistics.median(times):7.1f} ms, slowest {max(times):7.1f} ms   (at most {limit:.1f})")


class Rounds(LockJourney):
    def setUp(self):
        super().setUp()
        self.sign_in_with_passcode()
        tasks = [{"title": f"Task {number}"} for number in range(TASKS)]
        self.service.send("POST", "/api/tasks/import", {"tasks": tasks})
        with self.page.renewed():
            desk.press("ctrl+r")

    def lock_with_the_key(self):
        return float(subprocess.run([os.environ["BRISKO_KEY_TO_PIXEL"], PAGE, *LOCK], check=True,
                                    stdout=subprocess.PIPE, text=True).stdout)

    def lock_before_sleep(self):
        until("the inhibitor", self.login.holds_sleep_up)
        start = time.monotonic()
        self.login.sleep(True)
        self.assertFalse(self.login.holds_sleep_up(DEADLINE))
        taken = time.monotonic() - start
        self.login.sleep(False)
        return taken * 1000

    def test_rounds(self):
        locks, sleeps, memory = [], [], []
        for number in range(ROUNDS):
            for times, lock in ((locks, self.lock_with_the_key), (sleeps, self.lock_before_sleep)):
                times.append(until("the page", lock))
                self.unlock()
            if number < AVERAGED or number >= ROUNDS - AVERAGED:
                memory.append(mebibytes(tree(self.program.process.pid)))
        tell("key to locked frame", locks, 2 * FRAME)
        tell("PrepareForSleep to release", sleeps, RELEASE_LIMIT)
        print(f"  memory, last rounds to first {statistics.median(memory[-AVERAGED:]) / statistics.median(memory[:AVERAGED]):10.3f}"
              f"   (at most {MEMORY_LIMIT})")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + ["Rounds"], verbosity=0)
