#!/usr/bin/env python3
"""Injects the faults of torture/torture.py into several settings stores and counts the outcomes.

The counts are for docs/durability.md. No outcome is a failure of this program.

faults.py [--long] BUILD
"""
import argparse
import collections
import shutil
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent.parent / "torture"))
from torture import Torture  # noqa: E402

STORES = {
    "register": ("torture/torture-subject", "Brevolant.dat"),
    "QSettings": ("bench/peer-qsettings", "settings.ini"),
    "KConfig": ("bench/peer-kconfig", "settings.ini"),
    "GKeyFile": ("bench/peer-gkeyfile", "settings.ini"),
}


def kills(torture):
    outcomes = collections.Counter()
    for call, number, _ in torture.window(torture.fresh()):
        if call not in ("exit_group", "execve"):
            directory = torture.fresh()
            torture.run(directory, "2", torture.inject(call, number, "signal=SIGKILL"))
            outcomes[torture.check(call, directory, ["1", "2"])] += 1
    return outcomes


def flip(content, at):
    return content[:at] + bytes([content[at] ^ 1 << at % 8]) + content[at + 1:]


def damaged(torture, content):
    directory = torture.fresh()
    (directory / torture.file).write_bytes(content)
    run = torture.run(directory)
    if run is None:
        return "hung"
    if run.refused or run.code < 0:
        return "refused" if run.refused else "crashed"
    return "unharmed" if run.loaded == "1" else "silently changed"


def full_disk(torture, room):
    run, found = torture.full_disk(room)
    said = "hung" if run is None else "reported" if run.failed else "success reported"
    return f"{found}, {said}"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=Path)
    parser.add_argument("--long", action="store_true", help="every system call of the process, every byte")
    options = parser.parse_args()
    for store, (subject, file) in STORES.items():
        if not (options.build / subject).exists():
            print(f"{store}: not built")
            continue
        torture = Torture(options.build, options.long, subject, file)
        good = (torture.old / file).read_bytes()
        places = range(0, len(good), 1 if options.long else 37)
        print(f"{store}:\n  kill {dict(kills(torture))}\n"
              f"  full disk: {full_disk(torture, 0)}; with one page free: {full_disk(torture, 1)}\n"
              f"  bit flips {dict(collections.Counter(damaged(torture, flip(good, at)) for at in places))}\n"
              f"  truncations {dict(collections.Counter(damaged(torture, good[:at]) for at in places if at))}",
              flush=True)
        shutil.rmtree(torture.work)


if __name__ == "__main__":
    main()
