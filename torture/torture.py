#!/usr/bin/env python3
"""Tortures a settings store and says what became of the settings.

torture.py BUILD [--long] [--peers] [SECTION ...]

BUILD is a build directory with the programs of torture/. Each section injects faults of one kind into
runs of a subject that replaces settings of generation 1 by those of generation 2, and then looks at
what the next start finds. Every outcome but the whole old or the whole new settings is a failure, and
so are a success that was reported and is not there, a crash, a hang, and litter after the next save.
"""
import argparse
import collections
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

NOBODY = 65534
TIMEOUT = 20


class Result:
    """What one run of a subject said."""

    def __init__(self, process):
        self.code = process.returncode
        lines = process.stdout.decode(errors="replace").splitlines()
        self.error = process.stderr.decode(errors="replace")
        self.loaded = next((l.split(" ", 1)[1] for l in lines if l.startswith("loaded ")), None)
        self.refused = next((l for l in lines if l.startswith("refused ")), None)
        self.saved = "saved" in lines
        self.failed = next((l for l in lines if l.startswith("failed ")), None)

    def __str__(self):
        return self.refused or f"loaded {self.loaded}, exit code {self.code}"


class Torture:
    def __init__(self, build, long, subject="torture-subject", file="Brevolant.dat"):
        self.build = Path(build)
        self.long = long
        self.file = file
        self.work = Path(tempfile.mkdtemp(prefix="register-torture-"))
        self.work.chmod(0o755)
        self.failures = []
        self.rows = []
        self.subject = self.build / "torture" / subject
        self.old = self.work / "old"
        self.old.mkdir()
        self.run(self.old, "1")

    # Runs

    def run(self, directory, generation=None, wrapper=(), env=None, prepare=None):
        command = [*wrapper, str(self.subject), str(directory)] + ([generation] if generation else [])
        try:
            return Result(subprocess.run(command, capture_output=True, timeout=TIMEOUT, preexec_fn=prepare,
                                         env={**os.environ, **(env or {})}, check=False))
        except subprocess.TimeoutExpired:
            self.failures.append(f"hang: {' '.join(command)}")
            return None

    def fresh(self, source=None):
        directory = self.work / "home"
        shutil.rmtree(directory, ignore_errors=True)
        shutil.copytree(source or self.old, directory, symlinks=True)
        return directory

    def check(self, what, directory, allowed, run=None):
        """The next start must find one of `allowed`; its save must leave no litter."""
        if run is not None and run.code < 0 and run.code not in (-signal.SIGKILL, -signal.SIGXFSZ):
            self.failures.append(f"{what}: the run crashed with signal {-run.code}: {run.error[-200:]}")
        if run is not None and run.saved:
            allowed = ["2"]
        after = self.run(directory)
        if after is None:
            return "hang"
        if after.loaded not in allowed or after.code != 0:
            self.failures.append(f"{what}: {after}, allowed was {allowed}")
        litter = [name for name in os.listdir(directory) if name != self.file and not name.startswith("keep")]
        if litter:
            self.failures.append(f"{what}: litter {litter}")
        return {"1": "old", "2": "new", "none": "old"}.get(after.loaded, "LOST")

    def report(self, kind, outcomes):
        self.rows.append((kind, sum(outcomes.values()), dict(outcomes)))
        shown = ", ".join(f"{count} {what}" for what, count in sorted(outcomes.items()))
        print(f"  {kind}: {sum(outcomes.values())} faults: {shown}", flush=True)

    # System calls

    def trace(self, directory, generation="2", options=()):
        """The system calls of a run, each as (name, number of its kind, line)."""
        log = self.work / "trace"
        self.run(directory, generation, ["strace", "-f", "-o", str(log), *options])
        seen, calls = collections.Counter(), []
        for line in log.read_text(errors="replace").splitlines():
            match = re.match(r"\d+ +(\w+)\(", line)
            if match:
                seen[match[1]] += 1
                calls.append((match[1], seen[match[1]], line))
        return calls

    def window(self, directory):
        """The calls from the first that names the directory on, or all of them in the long form."""
        calls = self.trace(directory)
        named = [i for i, call in enumerate(calls) if f'"{directory}' in call[2] and call[0] != "execve"]
        return calls if self.long else calls[named[0]:]

    def inject(self, call, number, fault, once=True):
        when = f"{number}" if once else f"{number}+"
        return ["strace", "-f", "-o", "/dev/null", "-e", f"trace={call}",
                "-e", f"inject={call}:{fault}:when={when}"]

    def kill(self):
        """SIGKILL at every system call of start, save and exit."""
        for kind, source, allowed in (("kill, a file there", self.old, ["1", "2"]),
                                      ("kill, a first start", self.empty(), ["none", "2"])):
            outcomes = collections.Counter()
            for call, number, line in self.window(self.fresh(source)):
                if call in ("exit_group", "execve"):
                    continue
                directory = self.fresh(source)
                run = self.run(directory, "2", self.inject(call, number, "signal=SIGKILL"))
                outcomes[self.check(f"{kind} at {call} {number} ({line})", directory, allowed, run)] += 1
            self.report(kind, outcomes)

    def empty(self):
        directory = self.work / "empty"
        directory.mkdir(exist_ok=True)
        return directory

    def errors(self):
        """Errors at every system call, once and from then on."""
        spared = {"exit_group", "execve", "futex", "rt_sigprocmask", "rt_sigaction"}
        if not self.long:
            spared |= {"brk", "mmap", "munmap", "mprotect"}
        calls = [c for c in self.window(self.fresh()) if c[0] not in spared]
        errors = ("EIO", "ENOSPC", "EDQUOT", "EACCES", "EINTR", "ENOMEM")
        for error in errors if self.long else ("ENOSPC", "EINTR"):
            for once in (True, False):
                outcomes = collections.Counter()
                for call, number, line in calls:
                    if call == "writev":
                        continue  # that is how it reports
                    directory = self.fresh()
                    run = self.run(directory, "2", self.inject(call, number, f"error={error}", once))
                    what = f"{error} {'once' if once else 'from then on'} at {call} {number} ({line})"
                    allowed = ["1", "2"]
                    if run is not None and run.refused:
                        allowed = ["1"]
                    elif run is not None and not (run.saved or run.failed) and run.code >= 0:
                        self.failures.append(f"{what}: it said nothing: {run} {run.error[-200:]}")
                    outcomes[self.check(what, directory, allowed, run)] += 1
                self.report(f"{error} {'once' if once else 'from then on'}", outcomes)

    # Disks and rights

    def expect(self, what, run, outcome, text=""):
        """The run must have ended as said, with the text in what it said."""
        said = {"saved": run.saved and "saved", "failed": run.failed, "refused": run.refused}[outcome]
        if not said or text not in said:
            self.failures.append(f"{what}: expected {outcome} {text!r}, got {run}, {run.failed}, {run.error}")

    def full_disk(self, room):
        """Saves on a disk with some pages free: the run, and what the next start finds."""
        mounted = self.fresh()
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "none", str(mounted)], check=True)
        try:
            shutil.copy(self.old / self.file, mounted)
            with open(mounted / "keep-filler", "wb", buffering=0) as filler:
                try:
                    while True:
                        filler.write(b"x" * 4096)
                except OSError:
                    filler.truncate(filler.tell() - room * 4096)
                run = self.run(mounted, "2")
                filler.truncate(0)
            return run, self.check(f"a full disk with room for {room} pages", mounted, ["1"])
        finally:
            subprocess.run(["umount", str(mounted)], check=True)

    def disks(self):
        """Full disks, limits, rights, and things that are not the file that one expects."""
        outcomes = collections.Counter()

        def case(what, outcome, text, directory, run, allowed=("1",)):
            self.expect(what, run, outcome, text)
            outcomes[self.check(what, directory, list(allowed))] += 1

        directory = self.fresh()
        case("short writes", "saved", "", directory,
             self.run(directory, "2", env={"LD_PRELOAD": str(self.build / "torture/libshort-writes.so")}), "2")

        for room in (0, 1):  # pages: none, or enough for a part of the file
            run, found = self.full_disk(room)
            self.expect("full disk", run, "failed", "No space left on device")
            outcomes[found] += 1

        def limit(ignore):
            def prepare():
                if ignore:
                    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
                resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))
            return prepare

        directory = self.fresh()
        case("RLIMIT_FSIZE", "failed", "File too large", directory, self.run(directory, "2", prepare=limit(True)))
        directory = self.fresh()
        self.run(directory, "2", prepare=limit(False))
        outcomes[self.check("RLIMIT_FSIZE kills", directory, ["1"])] += 1

        def nobody():
            os.setgid(NOBODY)
            os.setuid(NOBODY)

        def owned(mode, file_mode):
            directory = self.fresh()
            for path, bits in ((directory / self.file, file_mode), (directory, mode)):
                os.chown(path, NOBODY, NOBODY)
                path.chmod(bits)
            return directory

        for what, mode, file_mode, outcome, text in (
                ("a read-only directory", 0o500, 0o600, "failed", "Permission denied"),
                ("a read-only file", 0o700, 0o400, "failed", "Permission denied"),
                ("an unreadable file", 0o700, 0o200, "refused", "Can't open"),
                ("a directory that cannot be searched", 0o600, 0o600, "refused", "Can't open")):
            directory = owned(mode, file_mode)
            case(what, outcome, text, directory, self.run(directory, "2", prepare=nobody))

        directory = self.fresh()
        (directory / self.file).unlink()
        (directory / self.file).mkdir()
        run = self.run(directory, "2")
        self.expect("a directory in its place", run, "refused", "Can't open")
        outcomes["old"] += (directory / self.file).is_dir()

        directory = self.fresh()
        (directory / self.file).unlink()
        (directory / self.file).symlink_to("keep-target")
        case("a dangling link", "saved", "", directory, self.run(directory, "2"), "2")
        if not (directory / self.file).is_symlink() or not (directory / "keep-target").is_file():
            self.failures.append("a dangling link: the link or its target has gone")

        directory = self.fresh()
        (directory / self.file).unlink()
        (directory / self.file).symlink_to(self.file)
        run = self.run(directory, "2")
        self.expect("a link to itself", run, "refused", "Can't open")
        outcomes["old"] += (directory / self.file).is_symlink()
        self.report("disks, limits, rights, links", outcomes)

    # Several processes

    def processes(self):
        """Many processes save at once, some of them killed; the file is one of theirs, whole."""
        outcomes = collections.Counter()
        for round_number in range(20 if self.long else 5):
            directory = self.fresh()
            command = [str(self.subject), str(directory), "2"]
            runs = [subprocess.Popen(command, stdout=subprocess.DEVNULL) for _ in range(12)]
            for run in runs[::3]:
                run.kill()
            for run in runs:
                if run.wait(TIMEOUT) not in (0, -signal.SIGKILL):
                    self.failures.append(f"processes: exit code {run.returncode}")
            outcomes[self.check(f"processes, round {round_number}", directory, ["2"])] += len(runs)
        self.report("processes at once", outcomes)

    # Loss of power

    def power(self):
        """Loses the power after every step of a save, with what was not forced to the disk."""
        directory = self.fresh()
        calls = self.trace(directory, options=["-y", "-xx", "-s", "1000000"])
        steps = list(disk_steps(calls, str(directory)))
        outcomes, bad = self.replay(steps)
        self.failures += bad
        self.report("loss of power", outcomes)
        # The replay itself must be able to fail: without the file's fsync a save is not safe.
        _, found = self.replay([step for step in steps if step[0] != "fsync"])
        if not found:
            self.failures.append("loss of power: the replay finds nothing wrong without fsync")

    def replay(self, steps):
        old = (self.old / self.file).read_bytes()
        outcomes, bad, known = collections.Counter(), [], {}
        saved = False
        for length in range(len(steps) + 1):
            saved = saved or (length > 0 and steps[length - 1][0] == "saved")
            for content in crash_contents(steps[:length], self.file, old):
                if content not in known:
                    directory = self.fresh()
                    (directory / self.file).write_bytes(content)
                    known[content] = self.run(directory)
                loaded = known[content].loaded
                outcomes[{"1": "old", "2": "new"}.get(loaded, "LOST")] += 1
                if loaded not in (["2"] if saved else ["1", "2"]):
                    bad.append(f"loss of power after step {length} {steps[length - 1][:2]}: {known[content]}")
        return outcomes, bad

    # Bytes

    def bytes(self):
        """A bit flipped in, and the file cut at, every byte; blocks of zeros; junk behind it."""
        good = (self.old / self.file).read_bytes()
        step = 1 if self.long else 37
        cases = [("bit flip", flip(good, at)) for at in range(0, len(good), step)]
        cases += [("truncation", good[:at]) for at in range(1, len(good), step)]
        cases += [("zeroed block", zeroed(good, at)) for at in range(0, len(good), 512)]
        cases += [("junk appended", good + junk) for junk in (b"\0", b"\n", good)]
        outcomes = collections.Counter()
        for what, content in cases:
            directory = self.fresh()
            (directory / self.file).write_bytes(content)
            run = self.run(directory, "2")
            untouched = (directory / self.file).read_bytes() == content
            outcomes["refused" if run.refused else "ACCEPTED"] += 1
            if not run.refused or not untouched or str(directory / self.file) not in run.refused:
                self.failures.append(f"{what}: {run}, untouched: {untouched}")
        self.report("damaged files", outcomes)


def flip(content, at):
    return content[:at] + bytes([content[at] ^ 1 << at % 8]) + content[at + 1:]


def zeroed(content, at):
    block = content[at:at + 512]
    return content[:at] + bytes(len(block)) + content[at + len(block):]


def decode(text):
    """The bytes of a string as strace -xx prints it."""
    return bytes.fromhex(text.replace("\\x", ""))


def disk_steps(calls, directory):
    """What a run does to the files of a directory, in order: ("create", file), ("write", file, bytes),
    ("fsync", file or ""), ("rename", file, file), ("unlink", file), ("saved",)."""
    def inside(path):
        return path.startswith(directory + "/") or path == directory

    for call, _, line in calls:
        strings = [decode(s).decode(errors="replace") if not call.startswith("write") else decode(s)
                   for s in re.findall(r'"((?:\\x[0-9a-f]{2})*)"', line)]
        handle = re.search(r"\((\d+)<((?:\\x[0-9a-f]{2})+)>", line)
        path = decode(handle[2]).decode(errors="replace") if handle else ""
        if re.search(r"= -1 \w+", line):
            continue
        name = os.path.relpath(path, directory) if inside(path) else None
        if call == "openat" and "O_CREAT" in line and strings and inside(strings[0]):
            yield "create", os.path.relpath(strings[0], directory)
        elif call == "write" and name:
            written = int(line.rsplit("=", 1)[1])
            yield "write", name, strings[0][:written]
        elif call == "writev" and strings == [b"saved\n"]:
            yield ("saved",)
        elif call in ("fsync", "fdatasync") and name:
            yield "fsync", "" if name == "." else name
        elif call in ("rename", "renameat", "renameat2") and inside(strings[0]):
            yield ("rename", *(os.path.relpath(s, directory) for s in strings[:2]))
        elif call in ("unlink", "unlinkat") and inside(strings[0]):
            yield "unlink", os.path.relpath(strings[0], directory)


def crash_contents(steps, name, old):
    """What the register file may hold after these steps and a loss of power.

    Changes of names reach the disk in order, but any number of the last ones that no fsync of the
    directory has forced may be missing. Of a file's bytes that no fsync has forced, none, a half or
    all may be there.
    """
    files = [{"bytes": old, "durable": old}]
    names, history = {name: 0}, [{name: 0}]  # history: what the names may be, the oldest first
    for step in steps:
        if step[0] == "create":
            files.append({"bytes": b"", "durable": b""})
            names = {**names, step[1]: len(files) - 1}
            history.append(names)
        elif step[0] == "write":
            files[names[step[1]]]["bytes"] += step[2]
        elif step[0] == "rename":
            names = {other: file for other, file in names.items() if other != step[1]} | {step[2]: names[step[1]]}
            history.append(names)
        elif step[0] == "unlink":
            names = {other: file for other, file in names.items() if other != step[1]}
            history.append(names)
        elif step[0] == "fsync" and step[1]:
            file = files[names[step[1]]]
            file["durable"] = file["bytes"]
        elif step[0] == "fsync":
            history = [names]
    contents = set()
    for possible in history:
        file = files[possible[name]]
        for extra in (0, (len(file["bytes"]) - len(file["durable"])) // 2, len(file["bytes"])):
            contents.add(file["bytes"][:len(file["durable"]) + extra])
    return contents


PEERS = {
    "register": ("torture-subject", "Brevolant.dat"),
    "QSettings": ("peers/peer-qsettings", "settings.ini"),
    "KConfig": ("peers/peer-kconfig", "settings.ini"),
    "GKeyFile": ("peers/peer-gkeyfile", "settings.ini"),
}


def compare(build, long):
    """The same faults for other stores: counts, not failures."""
    for store, (subject, file) in PEERS.items():
        torture = Torture(build, long, subject, file)
        good = (torture.old / file).read_bytes()
        kills, flips, cuts = (collections.Counter() for _ in range(3))
        for call, number, _ in torture.window(torture.fresh()):
            if call not in ("exit_group", "execve"):
                directory = torture.fresh()
                torture.run(directory, "2", torture.inject(call, number, "signal=SIGKILL"))
                kills[torture.check(call, directory, ["1", "2"])] += 1

        def damaged(content, torture=torture, file=file):
            directory = torture.fresh()
            (directory / file).write_bytes(content)
            run = torture.run(directory)
            if run is None:
                return "hung"
            if run.refused or run.code < 0:
                return "refused" if run.refused else "crashed"
            return "unharmed" if run.loaded == "1" else "silently changed"

        for at in range(0, len(good), 1 if long else 37):
            flips[damaged(flip(good, at))] += 1
            if at:
                cuts[damaged(good[:at])] += 1
        full = []
        for room in (0, 1):
            run, found = torture.full_disk(room)
            said = "hung" if run is None else "reported" if run.failed else "success reported"
            full.append(f"{found}, {said}")
        print(f"{store}:\n  kill {dict(kills)}\n  full disk: {full[0]}; with one page free: {full[1]}\n"
              f"  bit flips {dict(flips)}\n  truncations {dict(cuts)}", flush=True)
        shutil.rmtree(torture.work)


SECTIONS = ("kill", "errors", "disks", "processes", "power", "bytes")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build")
    parser.add_argument("--long", action="store_true", help="every system call of the process, every byte")
    parser.add_argument("sections", nargs="*", default=SECTIONS, metavar="SECTION", help=", ".join(SECTIONS))
    parser.add_argument("--peers", action="store_true", help="compare with other stores instead")
    options = parser.parse_args()
    if options.peers:
        return compare(options.build, options.long)
    torture = Torture(options.build, options.long)
    try:
        for section in options.sections:
            print(getattr(torture, section).__doc__, flush=True)
            getattr(torture, section)()
    finally:
        shutil.rmtree(torture.work, ignore_errors=True)
    total = sum(row[1] for row in torture.rows)
    print(f"{total} faults, {len(torture.failures)} failures")
    for failure in torture.failures[:40]:
        print("FAILED", failure)
    return 1 if torture.failures else 0


if __name__ == "__main__":
    sys.exit(main())
