"""A copy of the project under build/mutate, which can be changed and built without touching the files that people work on."""

import os
import pathlib
import shutil
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
OUTPUT = ROOT / "build" / "mutate"


def copy(name, keep=lambda path: False):
    """Brings the copy up to date, but for the files that the caller writes itself. Equal files keep their times, so that
    only what has changed is built again."""
    tree = OUTPUT / name
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=ROOT, check=True,
                            capture_output=True, text=True).stdout.split("\0")
    files = {name for name in listed if name and (ROOT / name).is_file()}
    for name in files:
        if keep(name):
            continue
        source, target = ROOT / name, tree / name
        if not target.is_file() or target.read_bytes() != source.read_bytes():
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source, target)
        elif source.stat().st_mode != target.stat().st_mode:
            shutil.copymode(source, target)
    for path in [path for path in tree.rglob("*") if path.is_file()]:
        inside = path.relative_to(tree)
        if inside.parts[0] != "build" and str(inside) not in files:
            path.unlink()
    return tree


def write(path, text, encoding="utf-8"):
    """Writes a file, unless it says so already."""
    content = text.encode(encoding)
    if not path.is_file() or path.read_bytes() != content:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)


def run(command, log, **options):
    """Runs a command with its output in a file; the status."""
    with open(log, "w") as output:
        return subprocess.run(command, stdout=output, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL, **options).returncode


def jobs():
    return len(os.sched_getaffinity(0))
