#!/usr/bin/env python3
"""Tortures a settings store and says what became of the settings.

torture.py [--long] BUILD [SECTION ...]

BUILD is a build directory with the programs of torture/. Each section injects faults of one kind into
runs of a subject that replaces settings of generation 1 by those of generation 2, and then looks at
what the next start finds. Every outcome but the whole old or the whole new settings is a failure, and
so are a success that was reported and is not there, a crash, a hang, and litter after the next save.
"""
import argparse
import collections
import itertools
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = os.geteuid() == 0
NOBODY = 65534
# Rights do not bind the superuser until the capabilities are gone.
BOUND_BY_RIGHTS = ["setpriv", "--bounding-set=-all", "--inh-caps=-all"] if ROOT else []
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
    def __init__(self, build, long, subject="torture/torture-subject", file="Brevolant.dat"):
        self.build = Path(build)
        self.long = long
        self.file = file
        self.work = Path(tempfile.mkdtemp(prefix="register-torture-"))
        self.failures = []
        self.rows = []
        self.subject = self.build / subject
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
        if after.loaded not in allowed:
            return "LOST"
        return {"1": "old", "none": "old"}.get(after.loaded, "new")

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

    def window(self, directory, whole=False):
        """The calls from the first that names the directory on, or all of them."""
        calls = self.trace(directory)
        named = [i for i, call in enumerate(calls) if f'"{directory}' in call[2] and call[0] != "execve"]
        return calls if whole else calls[named[0]:]

    def inject(self, call, number, fault, once=True):
        when = f"{number}" if once else f"{number}+"
        return ["strace", "-f", "-o", str(self.work / "injected"), "-e", f"trace={call}",
                "-e", f"inject={call}:{fault}:when={when}"]

    def injected(self):
        return "(INJECTED)" in (self.work / "injected").read_text(errors="replace")

    def faults(self, kind, calls, wanted, fault):
        """`fault` for each of the wanted calls; nearly all must have been injected, or it proves nothing."""
        wanted = [call for call in calls if wanted(call)]
        outcomes = collections.Counter()
        for call in wanted:
            outcomes[fault(*call)] += 1
        missed = outcomes.pop("missed", 0)
        if not wanted or missed > len(wanted) // 20:
            self.failures.append(f"{kind}: {missed} of {len(wanted)} faults were not injected")
        self.report(kind, outcomes)

    def kill(self):
        """SIGKILL at every system call of start, save and exit."""
        for kind, source, allowed in (("kill, a file there", self.old, ["1", "2"]),
                                      ("kill, a first start", self.empty(), ["none", "2"])):
            def fault(call, number, line, kind=kind, source=source, allowed=allowed):
                directory = self.fresh(source)
                run = self.run(directory, "2", self.inject(call, number, "signal=SIGKILL"))
                found = self.check(f"{kind} at {call} {number} ({line})", directory, allowed, run)
                return found if run is None or run.code == -signal.SIGKILL else "missed"

            calls = self.window(self.fresh(source), whole=self.long)
            self.faults(kind, calls, lambda call: call[0] not in ("exit_group", "execve"), fault)

    def empty(self):
        directory = self.work / "empty"
        directory.mkdir(exist_ok=True)
        return directory

    def errors(self):
        """Errors at every system call of start, save and exit, once and from then on."""
        # Those that cannot fail (brk does not return an error code: the C library would take one for an
        # address), and writev, with which the subject reports.
        spared = {"exit_group", "execve", "futex", "rt_sigprocmask", "rt_sigaction", "brk", "writev"}
        if not self.long:
            spared |= {"mmap", "munmap", "mprotect"}
        calls = self.window(self.fresh())
        errors = ("EIO", "ENOSPC", "EDQUOT", "EACCES", "EINTR", "ENOMEM")
        for error in errors if self.long else ("ENOSPC", "EINTR"):
            for once in (True, False):
                kind = f"{error} {'once' if once else 'from then on'}"

                def fault(call, number, line, error=error, once=once, kind=kind):
                    directory = self.fresh()
                    run = self.run(directory, "2", self.inject(call, number, f"error={error}", once))
                    what = f"{kind} at {call} {number} ({line})"
                    allowed = ["1", "2"]
                    if run is not None and run.refused:
                        allowed = ["1"]
                    elif run is not None and not (run.saved or run.failed) and run.code >= 0:
                        self.failures.append(f"{what}: it said nothing: {run} {run.error[-200:]}")
                    found = self.check(what, directory, allowed, run)
                    return found if run is None or self.injected() else "missed"

                self.faults(kind, calls, lambda call: call[0] not in spared, fault)

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

        for room in (0, 1) if ROOT else ():  # pages: none, or enough for a part of the file
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

        for what, mode, file_mode, outcome, text in (
                ("a read-only directory", 0o500, 0o600, "failed", "Permission denied"),
                ("a read-only file", 0o700, 0o400, "failed", "Permission denied"),
                ("an unreadable file", 0o700, 0o200, "refused", "Can't open"),
                ("a directory that cannot be searched", 0o600, 0o600, "refused", "Can't open")):
            directory = self.fresh()
            (directory / self.file).chmod(file_mode)
            directory.chmod(mode)
            run = self.run(directory, "2", BOUND_BY_RIGHTS)
            directory.chmod(0o700)
            (directory / self.file).chmod(0o600)
            case(what, outcome, text, directory, run)

        if ROOT:
            directory = self.fresh()
            (directory / self.file).chmod(0o640)
            os.chown(directory / self.file, NOBODY, NOBODY)
            case("the superuser saving a user's file", "saved", "", directory, self.run(directory, "2"), "2")
            status = (directory / self.file).stat()
            if (status.st_uid, status.st_gid, status.st_mode & 0o7777) != (NOBODY, NOBODY, 0o640):
                self.failures.append(f"the superuser saving a user's file: {status}")

        directory = self.fresh()
        os.truncate(directory / self.file, 1 << 40)
        run = self.run(directory, "2")
        self.expect("a file of a terabyte of nothing", run, "refused", "Can't open")
        outcomes["old"] += (directory / self.file).stat().st_size == 1 << 40

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
            runs = [subprocess.Popen([str(self.subject), str(directory), f"process{i}"], stdout=subprocess.PIPE)
                    for i in range(12)]
            for run in runs[::3]:
                run.kill()
            for i, run in enumerate(runs):
                said = run.communicate(timeout=TIMEOUT)[0].decode()
                if i % 3 != 0 and (run.returncode != 0 or "saved\n" not in said):
                    self.failures.append(f"processes: exit code {run.returncode}, {said}")
            survivors = [f"process{i}" for i in range(12) if i % 3 != 0]
            found = self.check(f"processes, round {round_number}", directory, survivors)
            outcomes["LOST" if found == "LOST" else "one of theirs"] += len(runs)
        self.report("processes at once", outcomes)

    # Loss of power

    def power(self):
        """Loses the power after every step of a save, with what was not forced to the disk."""
        base = self.fresh(self.empty())
        shutil.copytree(self.old, base / "there")
        for kind, directory, old in (("loss of power, a file there", "there", (self.old / self.file).read_bytes()),
                                     ("loss of power, a first start", "new/directories", None)):
            calls = self.trace(base / directory, options=["-y", "-xx", "-s", "1000000"])
            steps = list(disk_steps(calls, str(base)))
            outcomes, bad = self.replay(steps, f"{directory}/{self.file}", old)
            self.failures += bad
            self.report(kind, outcomes)
            # The replay itself must be able to fail: without any fsync, or one of a kind, no save is safe.
            for without in ("file", "directory"):
                fewer = [step for step in steps if step[:2] != ("fsync", without)]
                if len(fewer) == len(steps) or not self.replay(fewer, f"{directory}/{self.file}", old)[1]:
                    self.failures.append(f"{kind}: nothing wrong is found without fsync of a {without}")
            base = self.fresh(self.empty())

    def replay(self, steps, path, old):
        outcomes, bad, known = collections.Counter(), [], {None: "none"}
        before = "none" if old is None else "1"
        saved = False
        for length in range(len(steps) + 1):
            saved = saved or (length > 0 and steps[length - 1][0] == "saved")
            for content in crash_contents(steps[:length], path, old):
                if content not in known:
                    directory = self.work / "crashed"
                    directory.mkdir(exist_ok=True)
                    (directory / self.file).write_bytes(content)
                    known[content] = self.run(directory).loaded
                    shutil.rmtree(directory)
                loaded = known[content]
                # A start saves what it has found, so "nothing" may have become an empty file.
                allowed = ["2"] if saved else [before, "2"]
                outcomes[("new" if loaded == "2" else "old") if loaded in allowed else "LOST"] += 1
                if loaded not in allowed:
                    bad.append(f"loss of power after step {length} ({steps[length - 1][0]}): loaded {loaded}")
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


def disk_steps(calls, base):
    """What a run does to the files below a directory, in order: ("mkdir", path), ("create", path),
    ("write", path, bytes), ("fsync", "file" or "directory", path), ("rename", path, path),
    ("unlink", path), ("saved",). Paths are relative to it."""
    def relative(path):
        return os.path.relpath(path, base) if path.startswith(base) else None

    for call, _, line in calls:
        raw = [decode(s) for s in re.findall(r'"((?:\\x[0-9a-f]{2})*)"', line)]
        paths = [] if call.startswith("write") else [relative(s.decode(errors="replace")) for s in raw]
        handle = re.search(r"\((\d+)<((?:\\x[0-9a-f]{2})+)>", line)
        opened = relative(decode(handle[2]).decode(errors="replace")) if handle else None
        if re.search(r"= -1 \w+", line):
            continue
        if call == "writev" and raw == [b"saved\n"]:
            yield ("saved",)
        elif call == "write" and opened:
            yield "write", opened, raw[0][:int(line.rsplit("=", 1)[1])]
        elif call in ("fsync", "fdatasync") and opened:
            yield "fsync", "file" if ".saving-" in opened else "directory", opened
        elif not paths or not paths[0]:
            continue
        elif call == "mkdir":
            yield "mkdir", paths[0]
        elif call == "openat" and "O_CREAT" in line:
            yield "create", paths[0]
        elif call in ("rename", "renameat", "renameat2"):
            yield "rename", paths[0], paths[1]
        elif call in ("unlink", "unlinkat"):
            yield "unlink", paths[0]


def crash_contents(steps, path, old):
    """What the register file may hold after these steps and a loss of power; None for no file.

    The changes of the names in a directory reach the disk in order, but any number of the last ones that
    no fsync of that directory has forced may be missing. Of a file's bytes that no fsync has forced,
    none, a half or all may be there.
    """
    files = {0: [old or b"", old or b""]}  # by number: the bytes, and those that were forced
    names = {} if old is None else {path: 0}
    durable, pending = dict(names), collections.defaultdict(list)

    def change(where, changed):
        pending[os.path.dirname(where) or "."].append(changed)
        for name, file in changed.items():
            names.pop(name, None)
            if file is not None:
                names[name] = file

    for step in steps:
        if step[0] == "mkdir":
            change(step[1], {step[1]: -1})
        elif step[0] == "create":
            files[len(files)] = [b"", b""]
            change(step[1], {step[1]: len(files) - 1})
        elif step[0] == "write":
            files[names[step[1]]][0] += step[2]
        elif step[0] == "rename":
            change(step[1], {step[1]: None, step[2]: names[step[1]]})
        elif step[0] == "unlink":
            change(step[1], {step[1]: None})
        elif step[:2] == ("fsync", "file"):
            file = files[names[step[2]]]
            file[1] = file[0]
        elif step[0] == "fsync":
            for forced in pending.pop(step[2], []):
                durable.update(forced)

    contents = set()
    for kept in itertools.product(*(range(len(changes) + 1) for changes in pending.values())):
        state = dict(durable)
        for count, changes in zip(kept, pending.values()):
            for survived in changes[:count]:
                state.update(survived)
        parents = [p for p in map(str, Path(path).parents) if p != "."]
        reachable = all(old is not None or state.get(parent) is not None for parent in parents)
        if not reachable or state.get(path) is None:
            contents.add(None)
            continue
        written, forced = files[state[path]]
        for extra in (0, (len(written) - len(forced)) // 2, len(written)):
            contents.add(written[:len(forced) + extra])
    return contents


SECTIONS = ("kill", "errors", "disks", "processes", "power", "bytes")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build")
    parser.add_argument("--long", action="store_true", help="every system call of the process, every byte")
    parser.add_argument("sections", nargs="*", default=SECTIONS, metavar="SECTION", help=", ".join(SECTIONS))
    options = parser.parse_args()
    left_out = "" if ROOT else "Left out, since they need root: full disks, and the superuser saving a user's file.\n"
    print(left_out, end="", flush=True)
    torture = Torture(options.build, options.long)
    try:
        for section in options.sections:
            print(getattr(torture, section).__doc__, flush=True)
            getattr(torture, section)()
    finally:
        shutil.rmtree(torture.work, ignore_errors=True)
    total = sum(row[1] for row in torture.rows)
    print(f"{left_out}{total} faults, {len(torture.failures)} failures")
    for failure in torture.failures[:40]:
        print("FAILED", failure)
    return 1 if torture.failures else 0


if __name__ == "__main__":
    sys.exit(main())
