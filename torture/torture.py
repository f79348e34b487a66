#!/usr/bin/env python3
"""Injects faults into a settings store and reports what happened to the settings.

torture.py [--long] BUILD [SECTION ...]

BUILD is a build directory with the programs of torture/. Each section injects faults of one kind into
runs of a subject. The subject replaces settings of generation 1 with those of generation 2. The section
then checks what the next start finds: all of the old settings, or all of the new ones. Everything else
is a failure. A success that was reported but is not on the disk, a crash, a hang, and leftover files
after the next save are failures too.
"""
import argparse
import collections
import itertools
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

NOBODY = 65534
TIMEOUT = 20
IS_ROOT = os.geteuid() == 0
NEEDS_ROOT = ("disks: a full disk (mounts a tmpfs)",
              "disks: the superuser saving a user's file")


class Result:
    """The output and the exit code of one run of a subject."""

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


class Counter:
    """A torture-counter that runs in the background, and what it has reported."""

    def __init__(self, program, directory, name, way, saved, seen, rounds=()):
        self.name = name
        self.saved = saved  # the last count that each process has reported as saved
        self.least = {other: max(saved[other], seen.get(other, 0)) for other in saved}
        self.wrong = []
        self.log = open(f"{directory}-{name}.log", "w+b")
        self.process = subprocess.Popen([str(program), str(directory), name, way, *rounds], stdout=self.log)
        self.at = 0

    def stop(self):
        self.process.kill()
        self.process.wait()
        self.listen()
        self.log.close()
        if self.process.returncode not in (0, -signal.SIGKILL):
            self.wrong.append(f"exit code {self.process.returncode}")

    def listen(self):
        """Reads what the process has reported since. No count may be less than one that was seen or saved before."""
        said = os.pread(self.log.fileno(), 1 << 24, self.at)
        said = said[:said.rfind(b"\n") + 1]
        self.at += len(said)
        for line in said.decode().splitlines():
            word, *about = line.split()
            if word == "saved":
                self.saved[self.name] = int(about[0])
            elif word == "saw" and int(about[1]) >= self.least[about[0]]:
                self.least[about[0]] = int(about[1])
            else:
                self.wrong.append(f"{line}, at least {self.least}")


class Torture:
    def __init__(self, build, long, subject="torture/torture-subject", file="Brevolant.dat"):
        self.build = Path(build)
        self.long = long
        self.file = file
        self.previous = file + ".previous"
        self.lock = f".{file}.lock"
        self.work = Path(tempfile.mkdtemp(prefix="register-torture-"))
        self.work.chmod(0o755)
        self.failures = []
        self.faults = 0
        self.kept = ()  # contents that must still exist in a file after a fault
        self.environment = {}  # of the runs that save
        self.contents = ()  # the contents that the file may have after a fault; empty for any
        self.known = {None: "none"}  # the generation that each content of a file is loaded as
        self.subject = self.build / subject
        self.counter = self.build / "torture/torture-counter"
        self.empty = self.work / "empty"
        self.empty.mkdir()
        self.old = self.work / "old"
        self.old.mkdir()
        self.run(self.old, "1")

    # Runs

    def run(self, directory, generation=None, wrapper=(), prepare=None):
        command = [*wrapper, str(self.subject), str(directory)] + ([generation] if generation else [])
        environment = {**os.environ, **self.environment} if generation else None
        try:
            return Result(subprocess.run(command, capture_output=True, timeout=TIMEOUT, preexec_fn=prepare,
                                         env=environment, check=False))
        except subprocess.TimeoutExpired:
            self.failures.append(f"hang: {' '.join(command)}")
            return None

    def fresh(self, source=None):
        directory = self.work / "home"
        shutil.rmtree(directory, ignore_errors=True)
        shutil.copytree(source or self.old, directory, symlinks=True)
        return directory

    def loads_as(self, content):
        """Returns the generation that a file with this content is loaded as."""
        if content not in self.known:
            directory = self.work / "copy"
            directory.mkdir()
            (directory / self.file).write_bytes(content)
            run = self.run(directory)
            self.known[content] = run.loaded if run else "hang"
            shutil.rmtree(directory)
        return self.known[content]

    def check(self, what, directory, allowed, run=None):
        """Checks that the next start finds one of `allowed`, and that its save leaves no other files. The
        previous generation of the file may exist, and must then be complete."""
        if run is not None and run.code < 0 and run.code != -signal.SIGKILL:
            self.failures.append(f"{what}: the run crashed with signal {-run.code}: {run.error[-200:]}")
        if run is not None and run.saved:
            allowed = ["2"]
        if self.contents and (directory / self.file).read_bytes() not in self.contents:
            self.failures.append(f"{what}: the file has another content")
        after = self.run(directory)
        if after is None:
            return "hang"
        if after.loaded not in allowed or after.code != 0:
            self.failures.append(f"{what}: {after}, allowed was {allowed}")
        previous = directory / self.previous
        if previous.exists() and self.loads_as(previous.read_bytes()) in (None, "mixed"):
            self.failures.append(f"{what}: {previous} is not complete")
        litter = [name for name in os.listdir(directory)
                  if name not in (self.file, self.previous, self.lock) and not name.startswith(("keep", self.file + ".damaged"))]
        if litter:
            self.failures.append(f"{what}: leftover files {litter}")
        if (directory / self.lock).exists() and (directory / self.lock).stat().st_size > 0:
            self.failures.append(f"{what}: {self.lock} is not empty")
        contents = [path.read_bytes() for path in directory.iterdir()]
        if any(kept not in contents for kept in self.kept):
            self.failures.append(f"{what}: a content is lost")
        if after.loaded not in allowed:
            return "LOST"
        return {"1": "old", "none": "old"}.get(after.loaded, "new")

    def report(self, kind, outcomes):
        self.faults += sum(outcomes.values())
        shown = ", ".join(f"{count} {what}" for what, count in sorted(outcomes.items()))
        print(f"  {kind}: {sum(outcomes.values())} faults: {shown}", flush=True)

    # System calls

    def trace(self, directory, generation="2", options=()):
        """Returns the system calls of a run, each as (name, number among the calls of this name, line)."""
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
        """Returns the system calls from the first one that names the directory; with `whole`, all of them."""
        calls = self.trace(directory)
        named = [i for i, call in enumerate(calls) if f'"{directory}' in call[2] and call[0] != "execve"]
        return calls if whole else calls[named[0]:]

    def inject(self, call, number, fault, once=True):
        when = f"{number}" if once else f"{number}+"
        return ["strace", "-f", "-o", str(self.work / "injected"), "-e", f"trace={call}",
                "-e", f"inject={call}:{fault}:when={when}"]

    def injected(self):
        return "(INJECTED)" in (self.work / "injected").read_text(errors="replace")

    def inject_each(self, kind, calls, source, allowed, fault, once=True):
        """Injects the fault at each of the calls. Fails when more than 5 % of the faults were not injected.
        `calls` holds pairs: a call, and True when a run with the fault must not report "saved"."""
        outcomes = collections.Counter()
        for (call, number, line), must_fail in calls:
            what = f"{kind} at {call} {number} ({line})"
            directory = self.fresh(source)
            run = self.run(directory, "2", self.inject(call, number, fault, once))
            spoke = run is None or run.code < 0 or run.refused or run.saved or run.failed
            if not spoke:
                self.failures.append(f"{what}: the run reported nothing: {run} {run.error[-200:]}")
            if run is not None and run.saved and must_fail:
                self.failures.append(f"{what}: the run reported a successful save")
            hit = run is None or run.code == -signal.SIGKILL or self.injected()
            refused = run is not None and run.refused
            found = self.check(what, directory, allowed[:1] if refused else allowed, run)
            outcomes[found if hit else "missed"] += 1
        missed = outcomes.pop("missed", 0)
        if not calls or missed > len(calls) // 20:
            self.failures.append(f"{kind}: {missed} of {len(calls)} faults were not injected")
        self.report(kind, outcomes)

    def kill(self):
        """SIGKILL at every system call of start, save and exit."""
        for kind, source, old in (("kill, a file there", self.old, "1"), ("kill, a first start", self.empty, "none")):
            calls = [(call, False) for call in self.window(self.fresh(source), whole=self.long)
                     if call[0] not in ("exit_group", "execve")]
            self.inject_each(kind, calls, source, [old, "2"], "signal=SIGKILL")

    def errors(self):
        """Errors at every system call of start, save and exit: at one call, and at all calls from then on."""
        self.inject_errors("", self.window(self.fresh()), self.old)

    def inject_errors(self, kind, calls, source):
        # No errors are injected into calls that cannot fail or into writev, with which the subject reports.
        # brk does not return an error code: the C library would use one as an address. getrandom is never
        # interrupted for so few bytes: the C library would repeat it for ever.
        spared = {"exit_group", "execve", "futex", "rt_sigprocmask", "rt_sigaction", "brk", "getrandom", "writev"}
        if not self.long:
            spared |= {"mmap", "munmap", "mprotect"}
        said = {word: next((i for i, call in enumerate(calls) if f'"{word}' in call[2] and call[0] == "writev"), -1)
                for word in ("loaded", "saved")}
        needed = ("write", "fsync", "rename", "renameat", "renameat2")
        for error in ("EIO", "ENOSPC", "EDQUOT", "EACCES", "EINTR", "ENOMEM") if self.long else ("ENOSPC", "EINTR"):
            for once in (True, False):
                def must_fail(at, call, line, error=error, once=once):
                    """Returns True when the fault must make the save fail. A save needs every call in `needed`. It
                    repeats a call that is interrupted once. It copies a previous generation that it cannot rename."""
                    return (call in needed and at < said["saved"] and (at > said["loaded"] or not once) and
                            not (once and (error == "EINTR" or ".previous" in line)))

                wanted = [(call, must_fail(at, call[0], call[2])) for at, call in enumerate(calls)
                          if call[0] not in spared]
                if sum(must for _, must in wanted) < (0 if error == "EINTR" and once else 4):
                    self.failures.append(f"{error}: fewer than 4 calls were found without which a save must fail")
                self.inject_each(f"{kind}{error} {'once' if once else 'from then on'}", wanted, source, ["1", "2"],
                                 f"error={error}", once)

    def recovery(self):
        """SIGKILL and errors at every system call of a start that sets a damaged file aside."""
        damaged = self.work / "damaged"
        damaged.mkdir()
        (damaged / self.file).write_bytes(b"damaged")
        shutil.copy(self.old / self.file, damaged / self.previous)
        self.kept = (b"damaged",)
        os.environ["TORTURE_RECOVER"] = "1"
        calls = [(call, False) for call in self.window(self.fresh(damaged))
                 if call[0] not in ("exit_group", "execve", "futex", "writev", "getrandom", "munmap", "brk")]
        self.inject_each("kill", calls, damaged, ["1", "2"], "signal=SIGKILL")
        for error in ("EIO", "ENOSPC"):
            self.inject_each(f"{error} once", calls, damaged, ["1", "2"], f"error={error}")
        del os.environ["TORTURE_RECOVER"]
        self.kept = ()

    def sync(self):
        """SIGKILL and errors at every system call of a sync that merges a change of another process."""
        self.environment = {"TORTURE_FOREIGN": "keep-foreign"}
        shared, merged = self.fresh().rename(self.work / "shared"), self.work / "merged"
        foreign = shared / "keep-foreign"
        shutil.copytree(shared, merged)
        subprocess.run([str(self.counter), str(merged), "a", "sync", "1"], stdout=subprocess.DEVNULL, check=True)
        (merged / self.file).rename(foreign)
        calls = self.window(self.fresh(shared))
        after = self.work / "home" / self.file
        self.contents = (foreign.read_bytes(), after.read_bytes())
        first = next(at for at, call in enumerate(calls) if call[0] == "rename" and "keep-foreign" in call[2]) + 1
        saved = next(at for at, call in enumerate(calls) if '"saved' in call[2])
        calls = calls[first:]
        self.inject_each("kill", [(call, False) for call in calls if call[0] not in ("exit_group", "execve")], shared,
                         ["1", "2"], "signal=SIGKILL")
        self.inject_errors("", calls, shared)
        # Without the lock, a sync goes on and says so.
        locks = [call for call in calls[:saved - first] if "F_OFD_SETLK" in call[2] and "F_WRLCK" in call[2]]
        for call, number, line in locks:
            run = self.run(self.fresh(shared), "2", self.inject(call, number, "error=ENOLCK"))
            if not run.saved or ".lock: locking: No locks available" not in run.error:
                self.failures.append(f"{line}: without the lock: {run}, {run.failed}, {run.error}")
        if not locks or self.contents[0] == self.contents[1] or b"count49" not in self.contents[1]:
            self.failures.append("sync: the sync took no lock or merged nothing")
        self.environment, self.contents = {}, ()

    # Disks and rights

    def full_disk(self, room):
        """Saves on a disk with `room` free pages. Returns the run, and what the next start finds."""
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
        """Full disks and missing rights."""
        outcomes = collections.Counter()

        def expect(what, run, outcome, text, found):
            said = {"saved": run.saved and "saved", "failed": run.failed, "refused": run.refused}[outcome]
            if not said or text not in said:
                self.failures.append(f"{what}: expected {outcome} {text!r}, got {run}, {run.failed}, {run.error}")
            outcomes[found] += 1

        def owned(mode, file_mode):
            directory = self.fresh()
            for path, bits in ((directory / self.file, file_mode), (directory, mode)):
                if IS_ROOT:
                    os.chown(path, NOBODY, NOBODY)
                path.chmod(bits)
            return directory

        def nobody():
            if IS_ROOT:
                os.setgid(NOBODY)
                os.setuid(NOBODY)

        for what, mode, file_mode, outcome, text in (
                ("a read-only directory", 0o500, 0o600, "failed", "Permission denied"),
                ("a read-only file", 0o700, 0o400, "failed", "Permission denied"),
                ("an unreadable file", 0o700, 0o200, "refused", "Can't open"),
                ("a directory that cannot be searched", 0o600, 0o600, "refused", "Can't open")):
            directory = owned(mode, file_mode)
            run = self.run(directory, "2", prepare=nobody)
            directory.chmod(0o700)
            (directory / self.file).chmod(0o600)
            expect(what, run, outcome, text, self.check(what, directory, ["1"]))
        if IS_ROOT:
            for room in (0, 1):  # pages: none, or enough for a part of the file
                run, found = self.full_disk(room)
                expect("full disk", run, "failed", "No space left on device", found)
            what = "the superuser saving a user's file"
            directory = owned(0o700, 0o640)
            run = self.run(directory, "2")
            expect(what, run, "saved", "", self.check(what, directory, ["2"]))
            status = (directory / self.file).stat()
            if (status.st_uid, status.st_gid, status.st_mode & 0o7777) != (NOBODY, NOBODY, 0o640):
                self.failures.append(f"{what}: {status}")
        self.report("disks and rights", outcomes)

    # Several processes

    def processes(self):
        """Many processes save at once, and some are killed. The file is complete and from one that was not."""
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
            outcomes["LOST" if found == "LOST" else "complete"] += len(runs)
        self.report("processes at once", outcomes)

    def counting(self):
        """Processes that count in one file are killed at random times. No count that was saved or seen goes back."""
        for kind, ways in (("two that sync", {"a": "sync", "b": "sync"}),
                           ("two that sync and one that saves", {"a": "sync", "b": "sync", "c": "save"}),
                           ("two that write a common property", {"a": "common", "b": "common"})):
            self.count(kind, ways, 1500 if self.long else 100)

    def count(self, kind, ways, kills):
        directory = self.fresh(self.empty)
        saved = dict.fromkeys("abc", 0)
        runs, wrong = {}, []

        def start(name, *rounds):
            seen = runs[name].least if name in runs else {}
            runs[name] = Counter(self.counter, directory, name, ways[name], saved, seen, rounds)

        def stop(name):
            runs[name].stop()
            wrong.extend(runs[name].wrong)

        for name in ways:
            start(name)
        for _ in range(kills):
            time.sleep(random.uniform(0, 0.1))
            killed = random.choice(list(ways))
            stop(killed)
            for name in ways:
                if name != killed:
                    runs[name].listen()
            start(killed)
        for name in ways:
            stop(name)
        for name in ways:  # what the file holds at last
            start(name, "0")
            runs[name].process.wait(TIMEOUT)
            stop(name)
        self.failures += [f"counting, {kind}: {what}" for what in wrong[:5]]
        few = [name for name in ways if saved[name] < kills // 2 or
               any(run.least[name] < kills // 2 for run in runs.values())]
        if few:
            self.failures.append(f"counting, {kind}: {few} saved too little to prove anything: {saved}")
        self.report(f"{kind}, {sum(saved.values())} saves", {"killed": kills})

    # Loss of power

    def power(self):
        """Loss of power after every step of a save. Data that was not forced to the disk may be lost."""
        for kind, name, old in (("loss of power, a file there", "there", "1"),
                                ("loss of power, a first start", "new/directories", "none")):
            base = self.fresh(self.empty)
            if old == "1":
                shutil.copytree(self.old, base / name)
            before = {str(path.relative_to(base)): path.read_bytes() for path in base.rglob("*") if path.is_file()}
            calls = self.trace(base / name, options=["-y", "-xx", "-s", "1000000"])
            steps = list(disk_steps(calls, base))
            outcomes, bad = self.replay(steps, name, before, old)
            self.failures += bad
            self.report(kind, outcomes)
            # Checks the replay itself: without the fsync calls of one kind, it must find a failure.
            for without in ("file", "directory"):
                fewer = [step for step in steps if step[:2] != ("fsync", without)]
                if len(fewer) == len(steps) or not self.replay(fewer, name, before, old)[1]:
                    self.failures.append(f"{kind}: the replay finds no failure without fsync of a {without}")

    def replay(self, steps, directory, before, old):
        outcomes, bad = collections.Counter(), []
        for length in range(len(steps) + 1):
            # "none" is no file, or a file without settings, which a first start saves.
            for name, allowed in ((self.file, ["2"] if ("saved",) in steps[:length] else [old, "2"]),
                                  (self.previous, ["none", "1", "2"])):
                for content in crash_contents(steps[:length], f"{directory}/{name}", before):
                    loaded = self.loads_as(content)
                    outcomes[("new" if loaded == "2" else "old") if loaded in allowed else "LOST"] += 1
                    if loaded not in allowed:
                        bad.append(f"loss of power after step {length} ({steps[length - 1][0]}): {name} is {loaded}")
        return outcomes, bad


def decode(text):
    """Returns the bytes of a string that strace -xx has printed."""
    return bytes.fromhex(text.replace("\\x", ""))


def disk_steps(calls, base):
    """Yields the changes that a run makes to the files below the directory `base`, in order: ("mkdir", path),
    ("create", path), ("write", path, bytes), ("fsync", "file" or "directory", path), ("rename", path, path),
    ("link", path, path), ("unlink", path), ("saved",). Paths are relative to `base`. The calls come from
    strace -y -xx. It prints the path of a descriptor, so names relative to a descriptor are found too."""
    hexadecimal = r"((?:\\x[0-9a-f]{2})*)"
    argument = re.compile(rf'(?:(?:AT_FDCWD|\d+)(?:<{hexadecimal}>)?, )?"{hexadecimal}"')
    kinds = {"mkdir": "mkdir", "mkdirat": "mkdir", "rename": "rename", "renameat": "rename", "renameat2": "rename",
             "link": "link", "linkat": "link", "unlink": "unlink", "unlinkat": "unlink"}

    def relative(*parts):
        path = os.path.join(*(decode(part or "").decode(errors="replace") for part in parts))
        return os.path.relpath(path, base) if path.startswith(str(base)) else None

    for call, _, line in calls:
        if re.search(r"= -1 \w+", line):
            continue
        described = re.search(rf"\(\d+<{hexadecimal}>", line)
        opened = relative(described[1]) if described else None
        kind = kinds.get(call, "create" if call == "openat" and "O_CREAT" in line else None)
        if call == "writev" and decode(argument.search(line)[2]) == b"saved\n":
            yield ("saved",)
        elif call == "write" and opened:
            yield "write", opened, decode(argument.search(line)[2])[:int(line.rsplit("=", 1)[1])]
        elif call in ("fsync", "fdatasync") and opened:
            yield "fsync", "directory" if (base / opened).is_dir() else "file", opened
        elif kind:
            paths = [relative(*match.groups()) for match in argument.finditer(line)]
            if paths[0]:
                yield kind, *paths


def crash_contents(steps, path, before):
    """Returns all contents that a file may have after these steps and a loss of power; None is no file.
    `before` maps the files that existed before to their content.

    The changes of the names in a directory reach the disk in order. Of the changes that no fsync of that
    directory has forced to the disk, any number of the last ones may be missing. Of the bytes of a file
    that no fsync has forced to the disk, none, half or all may be on the disk.
    """
    files = [[content, content] for content in before.values()]  # all bytes, and the forced bytes
    names = {name: number for number, name in enumerate(before)}
    durable, pending = dict(names), collections.defaultdict(list)

    def change(changed):
        names.update(changed)
        pending[os.path.dirname(next(iter(changed))) or "."].append(changed)

    for step in steps:
        if step[0] == "mkdir":
            change({step[1]: -1})
        elif step[0] == "create" and names.get(step[1]) is None:
            files.append([b"", b""])
            change({step[1]: len(files) - 1})
        elif step[0] == "write":
            files[names[step[1]]][0] += step[2]
        elif step[0] == "link":
            change({step[2]: names[step[1]]})
        elif step[0] == "rename" and names.get(step[2]) != names[step[1]]:  # else it does nothing
            change({step[1]: None, step[2]: names[step[1]]})
        elif step[0] == "unlink":
            change({step[1]: None})
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
        if state.get(path) is None or not (before or all(state.get(parent) is not None for parent in parents)):
            contents.add(None)
            continue
        written, forced = files[state[path]]
        for extra in (0, (len(written) - len(forced)) // 2, len(written)):
            contents.add(written[:len(forced) + extra])
    return contents


SECTIONS = ("kill", "errors", "recovery", "sync", "disks", "processes", "counting", "power")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build")
    parser.add_argument("--long", action="store_true", help="every system call of the process, all error codes")
    parser.add_argument("sections", nargs="*", default=SECTIONS, metavar="SECTION", help=", ".join(SECTIONS))
    options = parser.parse_args()
    if not IS_ROOT:
        print("Left out, because it needs root:", *NEEDS_ROOT, sep="\n  ", flush=True)
    torture = Torture(options.build, options.long)
    try:
        for section in options.sections:
            print(getattr(torture, section).__doc__, flush=True)
            getattr(torture, section)()
    finally:
        shutil.rmtree(torture.work, ignore_errors=True)
    print(f"{torture.faults} faults, {len(torture.failures)} failures")
    for failure in torture.failures[:40]:
        print("FAILED", failure)
    return 1 if torture.failures else 0


if __name__ == "__main__":
    sys.exit(main())
