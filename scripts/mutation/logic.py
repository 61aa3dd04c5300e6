"""How many mutants of the logic the tests of the logic find."""

import collections
import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import signal
import subprocess
import time

import sources
import tree

HELPERS = pathlib.Path(__file__).resolve().parent
BUILD = tree.OUTPUT / "logic"
PROGRAM = BUILD / "bin" / "brisko_core_tests"
UNFIT = tree.OUTPUT / "unfit.json"
MEMORY = 4 << 30  # bytes; a mutant that never stops collecting ends here
LEAST_CPU = 3  # seconds
SLACK = 10  # times what the tests take without a mutant
WALL = 20  # times the seconds of the processor, on a machine that does other things too
# The checks of the library end a mutant that would otherwise read what happens to be there, this way today and that way tomorrow.
FLAGS = f"-D_GLIBCXX_ASSERTIONS -w -Wno-c++11-narrowing -ferror-limit=0 -fno-caret-diagnostics -I{HELPERS}"
NEEDED_AT_COMPILE_TIME = re.compile("constant expression|captured|constexpr|template argument")
DIAGNOSTIC = re.compile(r"^(?P<file>[^\s:][^:]*):(?P<line>\d+):(?P<column>\d+): (?P<kind>error|note|fatal error): (?P<text>.*)$")
APPENDED = f"""
# Added to the copy that is mutated.
target_sources(brisko_core_tests PRIVATE {HELPERS}/Recorder.cpp)
set_property(SOURCE {HELPERS}/Recorder.cpp PROPERTY SKIP_PRECOMPILE_HEADERS ON)
set_property(SOURCE {HELPERS}/Recorder.cpp PROPERTY SKIP_UNITY_BUILD_INCLUSION ON)
target_link_libraries(brisko_core_tests PRIVATE nettle)
set_target_properties(brisko_core_tests PROPERTIES ENABLE_EXPORTS ON)
"""


def is_logic(name):
    path = pathlib.PurePath(name)
    return path.parts[0] == "src" and "linux" not in path.parts and path.suffix in (".cpp", ".h")


def configure(folder):
    lists = folder / "tests" / "CMakeLists.txt"
    tree.write(lists, (tree.ROOT / "tests" / "CMakeLists.txt").read_text() + APPENDED)
    status = tree.run(
        ["cmake", "-S", folder, "-B", BUILD, "-G", "Ninja", "-DCMAKE_C_COMPILER=clang-19", "-DCMAKE_CXX_COMPILER=clang++-19",
         "-DCMAKE_BUILD_TYPE=", "-DBRISKO_CORE_ONLY=ON", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON",
         f"-DCMAKE_CXX_FLAGS={FLAGS}"], tree.OUTPUT / "configure.log")
    if status != 0:
        raise SystemExit(f"The copy cannot be configured: {tree.OUTPUT}/configure.log")


def parse_arguments(command):
    """What the reader of the sources needs of a compiler's command line: not its output and no precompiled header."""
    words = shlex.split(command)[1:]
    start = next((index for index, word in enumerate(words) if word.startswith("-")), 0)
    kept, skip = [], 0
    for index, word in enumerate(words[start:], start):
        if skip:
            skip -= 1
        elif word in ("-o", "-c", "-MF", "-MT", "-include", "-Xclang"):
            skip = 1
        elif word.startswith(("-I", "-D", "-std", "-isystem")):
            kept.append(word)
            if word in ("-isystem", "-I", "-D"):
                kept.append(words[index + 1])
    return kept


def read_one(job):
    path, arguments = job

    def own(name):
        below = os.path.relpath(os.path.realpath(name), tree.ROOT)
        return is_logic(below)

    return sources.read_unit(path, arguments, tree.ROOT / "src", own)


def read():
    """The logic's files with the places at which they are mutated, and the mutants, numbered in the order of the text."""
    commands = json.loads((BUILD / "compile_commands.json").read_text())
    copied = tree.OUTPUT / "tree"
    jobs = {}
    for entry in commands:
        path = pathlib.Path(os.path.normpath(pathlib.Path(entry["directory"]) / entry["file"]))
        if path.is_relative_to(copied) and is_logic(path.relative_to(copied)):
            arguments = [each.replace(str(copied), str(tree.ROOT)) for each in parse_arguments(entry["command"])]
            jobs[str(tree.ROOT / path.relative_to(copied))] = arguments
    files = {}
    with concurrent.futures.ProcessPoolExecutor(tree.jobs()) as pool:
        for found in pool.map(read_one, sorted(jobs.items())):
            for name, content in found.items():
                files.setdefault(name, content)
    mutants = []
    for name in sorted(files):
        for place in sorted(files[name][1], key=lambda each: (each.start, each.end, each.rank)):
            mutants += place.mutants
    for number, mutant in enumerate(mutants, 1):
        mutant.number = number
    return files, mutants


class Build:
    """Writes and compiles the mutated sources until what remains of the mutants compiles."""

    def __init__(self, files, mutants):
        self.files = files
        self.mutants = mutants
        self.texts = {}

    def forget(self):
        """Drops at once what an earlier run has found not to compile."""
        known = json.loads(UNFIT.read_text()) if UNFIT.is_file() else []
        for mutant in keys(self.mutants, known).values():
            mutant.dropped = True

    def remember(self):
        UNFIT.write_text(json.dumps([key for key, mutant in keys(self.mutants).items() if mutant.dropped], indent=0))

    def write(self):
        for name, (text, places) in self.files.items():
            self.texts[name] = sources.written(text, places)
            tree.write(tree.OUTPUT / "tree" / "src" / name, self.texts[name].text, "latin-1")

    def mutants_at(self, file, line, column):
        """Those of the innermost place that holds this position."""
        path = pathlib.Path(os.path.normpath(BUILD / file))
        root = tree.OUTPUT / "tree" / "src"
        if not path.is_relative_to(root) or str(path.relative_to(root)) not in self.texts:
            return []
        text = self.texts[str(path.relative_to(root))]
        offset = 0
        for _ in range(line - 1):
            offset = text.text.index("\n", offset) + 1
        offset += column - 1
        around = [(end - start, who) for start, end, who in text.marks if start <= offset < end]
        return [mutant for mutant in min(around, key=lambda each: each[0])[1] if not mutant.dropped] if around else []

    def drop(self, log):
        """Drops those that the compiler complains about; how many."""
        complaints = []
        for line in log.read_text(errors="replace").splitlines():
            if match := DIAGNOSTIC.match(line):
                if match["kind"] != "note":
                    complaints.append([])
                if complaints:
                    complaints[-1].append(match)
        dropped = 0
        for complaint in complaints:
            declared = [match for match in complaint if "declared here" in match["text"]]
            if declared and NEEDED_AT_COMPILE_TIME.search(complaint[0]["text"]):
                complaint = declared + complaint
            for match in complaint:
                found = self.mutants_at(match["file"], int(match["line"]), int(match["column"]))
                if found:
                    for mutant in found:
                        mutant.dropped = True
                        dropped += 1
                    break
        return dropped

    def run(self):
        self.forget()
        # The logic first, as its sources are far quicker to compile again than all the tests.
        for target in ("brisko_time", "brisko_agent", "brisko_core", "brisko_core_tests"):
            for attempt in range(12):
                self.write()
                log = tree.OUTPUT / f"build-{target}.log"
                if tree.run(["cmake", "--build", BUILD, "--target", target, "--", "-k", "0"], log) == 0:
                    break
                if not self.drop(log):
                    raise SystemExit(f"The mutated sources do not compile, and no mutant is to blame: {log}")
            else:
                raise SystemExit(f"The mutated sources still do not compile: {log}")
        self.remember()

    def present(self):
        """The numbers of those that the logic's objects hold; the others stand where everything is known at compile time,
        or in code that the logic itself does not use."""
        commands = [shlex.split(entry["command"]) for entry in json.loads((BUILD / "compile_commands.json").read_text())]
        objects = [BUILD / words[words.index("-o") + 1] for words in commands]
        objects = [path for path in objects if path.is_relative_to(BUILD / "src")]
        symbols = subprocess.run(["nm", "-C", "--defined-only", *objects], capture_output=True, text=True, check=True).stdout
        return {int(number) for number in re.findall(r"mutation::asks<(\d+)>", symbols)}


def run_tests(number, names, seconds, record=None):
    """How the tests end with this mutant: passed, failed, crashed or endless."""
    environment = {**os.environ, "MUTANT": str(number)}
    command = ["prlimit", f"--cpu={seconds}:{seconds + 1}", f"--as={MEMORY}", "--core=0", PROGRAM,
               "--gtest_filter=" + ":".join(names)]
    if record:
        environment["MUTATION_RECORD"] = str(record)
    else:
        command.append("--gtest_fail_fast")
    process = subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    try:
        status = process.wait(seconds * WALL)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
        return "endless"
    if status in (-signal.SIGXCPU, -signal.SIGKILL):
        return "endless"
    return "passed" if status == 0 else "crashed" if status < 0 else "failed"


class Reach:
    """Which tests reach which mutants, of those tests that pass when no mutant is chosen."""

    def __init__(self):
        self.tests = collections.defaultdict(list)
        self.seconds = {}
        self.failing = set()
        self.everywhere = set()
        for attempt in range(2):
            self.record(tree.OUTPUT / f"reached-{attempt}.txt")

    def record(self, path):
        run_tests(0, ["*"], 1200, path)
        for line in path.read_text().splitlines():
            name, how, milliseconds, *numbers = line.split()
            if how == "outside":
                self.everywhere |= {int(number) for number in numbers}
                continue
            if how == "failed":
                self.failing.add(name)
            self.seconds[name] = int(milliseconds) / 1000
            for number in numbers:
                if name not in self.tests[int(number)]:
                    self.tests[int(number)].append(name)
        if not self.seconds:
            raise SystemExit(f"The tests do not run: {PROGRAM}")

    def of(self, number):
        names = self.seconds if number in self.everywhere else self.tests.get(number, [])
        return [name for name in names if name not in self.failing]


def test(mutant, reach):
    names = reach.of(mutant.number)
    if not names:
        return "not reached"
    seconds = LEAST_CPU + int(SLACK * sum(reach.seconds[name] for name in names))
    return run_tests(mutant.number, names, seconds)


def table(mutants, endings):
    lines = []
    files = collections.defaultdict(collections.Counter)
    for mutant in mutants:
        ending = endings[mutant.number]
        for name in (mutant.file, "in all"):
            files[name]["total"] += 1
            files[name][ending] += 1
            files[name]["killed"] += ending in ("failed", "crashed", "endless")
    lines.append(f"{'':44} killed  total         not reached")
    for name in [*sorted(set(files) - {"in all"}), "in all"]:
        counts = files[name]
        share = 100 * counts["killed"] / counts["total"]
        lines.append(f"{name:44} {counts['killed']:6} {counts['total']:6} {share:5.1f} % {counts['not reached']:9}")
    return lines


def keys(mutants, wanted=None):
    """A name for each that outlives changes elsewhere in its file; all of them, or those that are wanted."""
    seen = collections.Counter()
    named = {}
    for mutant in mutants:
        seen[mutant.key()] += 1
        named[f"{mutant.key()}|{seen[mutant.key()]}"] = mutant
    return named if wanted is None else {key: named[key] for key in wanted if key in named}


def compare(results, path):
    """What an earlier run found and this one does not."""
    before = json.loads(pathlib.Path(path).read_text())
    both = [key for key in results if key in before]
    killed = ("failed", "crashed", "endless")
    lost = [key for key in both if before[key][0] in killed and results[key][0] not in killed]
    won = [key for key in both if before[key][0] not in killed and results[key][0] in killed]
    lines = [f"Of {len(both)} mutants that both runs know, {len(lost)} are no longer found and {len(won)} newly are."]
    lines += [f"  no longer: {results[key][1]}" for key in lost]
    lines += [f"  newly: {results[key][1]}" for key in won]
    return lines


def run(arguments):
    began = time.monotonic()
    tree.OUTPUT.mkdir(parents=True, exist_ok=True)
    folder = tree.copy("tree", keep=lambda name: is_logic(name) or name == "tests/CMakeLists.txt")
    # The build's own description needs all sources to be there.
    for name in subprocess.run(["git", "ls-files", "src"], cwd=tree.ROOT, capture_output=True, text=True).stdout.split():
        if is_logic(name) and not (folder / name).is_file():
            tree.write(folder / name, (tree.ROOT / name).read_text())
    configure(folder)
    files, mutants = read()
    build = Build(files, mutants)
    build.run()
    present = build.present()
    alive = [mutant for mutant in mutants if not mutant.dropped and mutant.number in present]
    built = time.monotonic()
    print(f"{len(alive)} mutants ({sum(mutant.dropped for mutant in mutants)} more do not compile, "
          f"{len(mutants) - sum(mutant.dropped for mutant in mutants) - len(alive)} are in no object of the logic), "
          f"built in {built - began:.0f} s", flush=True)
    reach = Reach()
    if reach.failing:
        print("Left out, because they fail without any mutant (the key derivation has only a few rounds here): "
              + " ".join(sorted(reach.failing)))
    endings = {}
    with concurrent.futures.ThreadPoolExecutor(tree.jobs()) as pool:
        for mutant, ending in zip(alive, pool.map(lambda each: test(each, reach), alive)):
            endings[mutant.number] = ending
    lines = table(alive, endings)
    survivors = [f"{mutant}{'   never reached' if endings[mutant.number] == 'not reached' else ''}"
                 for mutant in alive if endings[mutant.number] in ("passed", "not reached")]
    results = {key: (endings[mutant.number], str(mutant)) for key, mutant in keys(alive).items()}
    if arguments.before:
        lines += compare(results, arguments.before)
    (tree.OUTPUT / "survivors.txt").write_text("".join(f"{line}\n" for line in survivors))
    (tree.OUTPUT / "mutants.json").write_text(json.dumps(results, indent=0, ensure_ascii=False))
    (tree.OUTPUT / "mutation.txt").write_text("".join(f"{line}\n" for line in lines))
    print("\n".join(lines))
    how = collections.Counter(endings.values())
    print(f"{how['failed']} failed a test, {how['crashed']} ended the program, {how['endless']} had to be stopped; "
          f"{time.monotonic() - built:.0f} s of tests. Survivors: {tree.OUTPUT / 'survivors.txt'}")
    return 0
