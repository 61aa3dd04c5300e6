"""Which lines of the platform's adapters all the tests together run."""

import collections
import json
import pathlib
import shutil
import subprocess

import tree

BUILD = tree.ROOT / "build" / "coverage"
PROFILES = BUILD / "profiles"  # as the preset says; programs that are killed count too, as the counters are in these files


def programs():
    """Everything that was built and holds counters of lines."""
    found = []
    for path in BUILD.rglob("*"):
        if path.is_file() and not path.is_symlink() and "CMakeFiles" not in path.parts and "profiles" not in path.parts:
            with open(path, "rb") as file:
                if file.read(4) != b"\x7fELF":
                    continue
            headers = subprocess.run(["readelf", "--section-headers", "--wide", path], capture_output=True, text=True).stdout
            if "__llvm_covmap" in headers and path.suffix not in (".o", ".a"):
                found.append(path)
    return sorted(found)


def place(path):
    """The room of an adapter, "logic", or none."""
    path = pathlib.Path(path)
    if not path.is_relative_to(tree.ROOT / "src"):
        return None
    room = path.relative_to(tree.ROOT / "src").parent
    return str(room) if "linux" in room.parts else "logic"


def summaries():
    profile = BUILD / "tests.profdata"
    subprocess.run(["llvm-profdata-19", "merge", "--sparse", "--failure-mode=all", "-o", profile, *PROFILES.glob("*.profraw")],
                   check=True)
    found = programs()
    objects = [word for program in found[1:] for word in ("--object", program)]
    exported = subprocess.run(["llvm-cov-19", "export", "--summary-only", f"--instr-profile={profile}", found[0], *objects],
                              check=True, capture_output=True, text=True).stdout
    return {each["filename"]: each["summary"]["lines"] for each in json.loads(exported)["data"][0]["files"]}


def report(lines):
    rooms = collections.defaultdict(collections.Counter)
    told = []
    for path, counts in sorted(lines.items()):
        room = place(path)
        if room is None:
            continue
        for name in {room, "logic" if room == "logic" else "adapters"}:
            rooms[name]["count"] += counts["count"]
            rooms[name]["covered"] += counts["covered"]
        if room != "logic":
            told.append((pathlib.Path(path).relative_to(tree.ROOT / "src"), counts))
    rows = [*told, ("", None), *((name, rooms[name]) for name in sorted(set(rooms) - {"adapters", "logic"})), ("", None),
            *((name, rooms[name]) for name in ("adapters", "logic"))]
    return [f"{str(name):56} {counts['covered']:6} {counts['count']:6} {100 * counts['covered'] / counts['count']:6.1f} %"
            if counts else "" for name, counts in rows]


def run(arguments):
    subprocess.run(["cmake", "--preset", "coverage"], cwd=tree.ROOT, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", "--preset", "coverage"], cwd=tree.ROOT, check=True)
    shutil.rmtree(PROFILES, ignore_errors=True)
    PROFILES.mkdir()
    tests = subprocess.run(["ctest", "--test-dir", BUILD, "--output-on-failure", "-j", str(tree.jobs()), *arguments.ctest])
    told = report(summaries())
    (BUILD / "coverage.txt").write_text("".join(f"{line}\n" for line in told))
    print("\n".join(told))
    return tests.returncode
