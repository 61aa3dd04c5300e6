"""Signs in and out ten times and more and tells what that leaves behind at the sign-in screen: the processes, and the memory
that is theirs alone, as the ratio of the medians of the last rounds and the first. Run by bench/run."""

import pathlib
import statistics
import sys
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "app"))
from desk import until  # noqa: E402
from journey import PASSWORD, Journey  # noqa: E402
from processes import mebibytes, tree  # noqa: E402

ROUNDS = 10
AVERAGED = 3  # the network process keeps a few megabytes more or less
LIMIT = 1.05
SETTLING = 2  # seconds, in which the toolkit frees what it drew with


class Rounds(Journey):
    def test_rounds(self):
        self.open_page()
        figures = []
        for number in range(ROUNDS + AVERAGED):
            if number > 0:
                self.sign_in(PASSWORD)
            self.service.end_session()
            self.program.again("brisko://today")
            self.program.see_focus("Password")
            # The page's process ends a little after the page.
            until("the end of the page's process", lambda: "WebKitWebProces" not in self.program.engine().values())
            time.sleep(SETTLING)
            processes = tree(self.program.process.pid)
            figures.append((len(processes), mebibytes(processes)))
        first, last = (statistics.median(memory for _, memory in part)
                       for part in (figures[:AVERAGED], figures[-AVERAGED:]))
        print(f"  after the first round {figures[0][0]:4} processes {first:7.1f} MiB")
        print(f"  after {ROUNDS} more        {figures[-1][0]:4} processes {last:7.1f} MiB")
        print(f"  ratio {last / first:35.3f}       (at most {LIMIT})")


if __name__ == "__main__":
    unittest.main(verbosity=0)
