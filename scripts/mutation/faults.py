"""Faults that hurt people, each of which some test has to find.

A file tests/faults/<area>.faults holds any number of them, with a blank line between two:

    # One sentence: what goes wrong for the person
    file: src/lock/Passcode.cpp
    test: ^brisko_core
    <<<<
    the text as it stands in that file, exactly once
    ====
    the text that makes the fault
    >>>>

`test` is a regular expression over the names that ctest knows; one of the tests that it names has to fail.
"""

import json
import re
import subprocess
import time
from dataclasses import dataclass

import tree

FAULT = re.compile(r"# (?P<title>[^\n]*(?:\n# [^\n]*)*)\nfile: (?P<file>[^\n]+)\ntest: (?P<test>[^\n]+)\n"
                   r"<<<<\n(?P<old>.*?)\n====\n(?P<new>.*?)\n?>>>>\n", re.DOTALL)


@dataclass
class Fault:
    area: str
    title: str
    file: str
    test: str
    old: str
    new: str


def read(path):
    text = path.read_text()
    found = [Fault(path.stem, match["title"].replace("\n# ", " "), match["file"].strip(), match["test"].strip(), match["old"],
                   match["new"]) for match in FAULT.finditer(text)]
    if rest := FAULT.sub("", text if text.endswith("\n") else text + "\n").strip():
        raise SystemExit(f"{path.relative_to(tree.ROOT)}: this is no fault: {rest[:200]}")
    return found


class Copy:
    """The project's copy, into which one fault at a time is put."""

    def __init__(self):
        self.folder = tree.copy("faults")
        self.build = self.folder / "build" / "dev"
        self.log = tree.OUTPUT / "faults.log"
        self.log.write_text("")
        self.sound = {}
        if not self.run(["cmake", "--preset", "dev"]) or not self.run(["cmake", "--build", self.build]):
            raise SystemExit(f"The copy of the project does not build: {self.log}")

    def run(self, command):
        with open(self.log, "a") as log:
            print("$", *command, file=log, flush=True)
            return subprocess.run(command, cwd=self.folder, stdin=subprocess.DEVNULL, stdout=log,
                                  stderr=subprocess.STDOUT).returncode == 0

    def targets(self, test):
        """What the tests of this name start; none when there are no such tests."""
        shown = subprocess.run(["ctest", "--test-dir", self.build, "-R", test, "--show-only=json-v1"], capture_output=True,
                               text=True, check=True).stdout
        words = re.findall(re.escape(str(self.build)) + r"/([^\s;\"',]+)", json.dumps(json.loads(shown)["tests"]))
        files = {word for word in words if (self.build / word).is_file()}
        known = subprocess.run(["ninja", "-C", self.build, "-t", "targets", "all"], capture_output=True, text=True,
                               check=True).stdout
        return sorted(file for file in files if f"{file}: " in known)

    def builds(self, targets):
        return self.run(["cmake", "--build", self.build, "--target", *targets])

    def passes(self, test):
        return self.run(["ctest", "--test-dir", self.build, "-R", test, "--stop-on-failure", "--output-on-failure", "-j",
                         str(tree.jobs())])

    def is_sound(self, test, targets):
        """Whether these tests pass without a fault; without that, a failure says nothing."""
        if test not in self.sound:
            self.sound[test] = self.builds(targets) and self.passes(test)
        return self.sound[test]

    def judge(self, fault):
        """What is wrong with the fault or with the tests; nothing when it is found."""
        path = self.folder / fault.file
        if not path.is_file():
            return "there is no such file"
        text = path.read_text()
        if (times := text.count(fault.old)) != 1:
            return f"its text is found {times} times in {fault.file}"
        targets = self.targets(fault.test)
        if not targets:
            return f"no test is called {fault.test}"
        if not self.is_sound(fault.test, targets):
            return f"{fault.test} fails without it"
        try:
            tree.write(path, text.replace(fault.old, fault.new))
            if not self.builds(targets):
                return "it does not compile"
            return f"{fault.test} does not find it" if self.passes(fault.test) else None
        finally:
            tree.write(path, text)


def run(arguments):
    faults = [fault for path in sorted((tree.ROOT / "tests" / "faults").glob("*.faults")) for fault in read(path)]
    faults = [fault for fault in faults if re.search(arguments.pattern, f"{fault.area}: {fault.title} {fault.file}")]
    if not faults:
        print("There is no such fault.")
        return 1
    tree.OUTPUT.mkdir(parents=True, exist_ok=True)
    copy = Copy()
    missed = 0
    for fault in faults:
        began = time.monotonic()
        complaint = copy.judge(fault)
        missed += complaint is not None
        print(f"{'MISSED' if complaint else 'found '} {fault.area}: {fault.title} ({time.monotonic() - began:.0f} s)", flush=True)
        if complaint:
            print(f"       {complaint}", flush=True)
    print(f"{len(faults) - missed} of {len(faults)} faults are found. What the tests said: {copy.log}")
    return 1 if missed else 0
