"""What a program and all that it has started take."""

import pathlib


def tree(root):
    """The ids of a process and of all that it has started."""
    parents = {}
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            fields = (folder / "stat").read_text().rsplit(")", 1)[1].split()
        except OSError:
            continue
        if fields[0] != "Z":
            parents[int(folder.name)] = int(fields[1])
    found = {root}
    while more := {process for process, parent in parents.items() if parent in found} - found:
        found |= more
    return found


def mebibytes(processes):
    total = 0
    for process in processes:
        try:
            lines = pathlib.Path(f"/proc/{process}/smaps_rollup").read_text().splitlines()
        except OSError:
            continue
        total += sum(int(line.split()[1]) for line in lines if line.startswith("Private_Dirty:"))
    return total / 1024
