"""Writes docs/performance.md and its pictures from the results of compare.py."""
import os
import platform
import re
import statistics
import subprocess
from pathlib import Path

import picture

LABELS = {"register": "the register", "map": "bare map", "bytes": "bare bytes", "qsettings": "QSettings",
          "kconfig": "KConfig", "gkeyfile": "GKeyFile", "propertytree": "Boost.PropertyTree", "lmdb": "LMDB",
          "sqlite": "SQLite"}
PACKAGES = {"QSettings": "libqt6core6", "KConfig": "libkf5configcore5", "GKeyFile": "libglib2.0-0",
            "Boost.PropertyTree": "libboost-dev", "LMDB": "liblmdb0", "SQLite": "libsqlite3-0"}

PAGE = """\
# Performance

`scripts/bench` generates this page. It measures the register and other settings stores with the same work
in the same run. The start (`load`) and a save matter first, because an application waits for them. Reads and
writes matter when there are many of them, memory when there are many properties. Most applications keep a few
thousand settings. At that size all of these stores are fast enough. The columns to the right show how they
scale.

The stores give different guarantees, so the figures do not say which store is better:

- The *bare map* is not a store. It is a `std::unordered_map` from the name to the bytes of the value, under
  one lock. It is the baseline for reads and writes. The *bare bytes* are the bytes of the register's file,
  without interpreting them. They are the baseline for load and save.
- SQLite and LMDB have transactions, and several processes may write. They do not load the whole file but read
  what is asked for. Therefore their load stays short and their reads take longer. Their save writes what has
  changed; the other stores write the whole file. Reads and writes are measured inside one transaction, which
  a save commits.
- QSettings, KConfig and GKeyFile keep text that people may edit. QSettings splits the file into sections
  when it opens it, and parses a section when something in it is read. KConfig and QSettings merge what other
  processes have written in the meantime.
- Boost.PropertyTree does not replace files safely. The benchmark forces its text to the disk and renames the
  file, as the register does.
- The files were in the page cache of the system. The first start after booting takes longer with every store.

## Goals

These are the project's own targets. A ratio ("a / b") is computed in each round. The table shows the median,
the lowest and the highest.

{goals}

## Reads and writes

Processor time in nanoseconds to read an integer, and to overwrite one with another. The number in brackets is
the multiple of the bare map.

![The cost of a read over the number of properties](img/read.svg)

{read}

{write}

## Load and save

Time in milliseconds to open the file and read one value; to open it and read all values; and to save one
change and force it to the disk. The number in brackets is the multiple of the bare bytes: reading the file
once, or writing it once to a new file with `fsync`. "Replaced" adds the `rename` and the `fsync` of the
directory that a safe replacement needs.

![The time of a load over the number of properties](img/load.svg)

{load}

{load_all}

{save}

## Sync with other processes

Time of `sync`, which saves and takes over what other processes have saved: with nothing to do,
after one change of this process, and after one change of another process, whose new value is then read.

{sync}

## Memory

Bytes of heap per property: after the load, after all values have been read, and after each value has been
overwritten with a text of ten characters. A "mapped" store keeps its file outside of the heap. A "paged" store
keeps a part of its file in a cache of fixed size.

{heap}

Peak memory of the process minus its memory before the load, in MiB: up to the end of the load, and up to the
end of a save.

{peak}

## The register in particular

{own}

If a longest wait is about as long as a save, the thread waits for the save and so for the disk. If it is about
as long as without saves, the thread does not wait for the save.

## Single operations of the register

`register-benchmark` measures these with 10,000 properties. The number in a name counts elements, bytes, members
or callbacks. The times are processor time in nanoseconds, or elapsed time (`real_time`).

{operations}

## How it is measured

`{command}`, on {date}, {rounds} rounds{limits}. The register is at commit {commit}.

{machine}

- Names have three levels, and a group has twenty properties: `application/group00123/property07`. The order of
  the visits is random and the same for all stores. The key objects have the store's own type and are created
  before the measurement, in the order of the visits. The loaded values are integers of up to six digits. The
  reads come before the writes, so they read the loaded values.
- Each store has its own program (`bench/stores/`) with the same workload (`bench/Workload.h`). A round runs the
  programs one after the other. Within a program, a figure is the median of up to five samples. A sample of
  reads or writes has at least 100,000 of them. Load and heap have one sample. The tables show the median over
  the rounds.
- Heap is the difference of `mallinfo2` (`uordblks` and `hblkhd`). It includes malloc's own overhead.
- *Bare bytes, read*: `open`, `fstat`, a new buffer, `read` of the whole file, `close`. *Written*: `open` of a
  new file, `write`, `fsync`, `close`. *Replaced*: also `rename` over the old file and `fsync` of the directory.
- The register's load is the construction of `_Register`, without the two saves of `initialize`. `initialize` is
  measured separately.
- Reads by scope use `findValue`. The user scope has the same groups as the other scopes, filled with other
  properties. "Callbacks elsewhere" are 100,000 callbacks under other names in the groups that are written to.
- Longest waits: one thread reads, or writes, while another thread saves several times. "Without saves" means
  that the other thread sleeps; this shows the effect of the scheduler.
- All values are compared with what was written: after the load, after the writes, and by a new process after
  the last save. A wrong value ends the run.
"""


def number(value):
    """Formats a value with three digits."""
    if value is None:
        return "–"
    return f"{value:,.0f}" if value >= 100 else f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|---|" + "--:|" * (len(head) - 1)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


def goals():
    """Each goal: text, number of properties, (store, metric), its baseline or None, limit ("least": a lower one)."""
    sizes = (1000, 10000, 100000, 1000000)
    for metric in ("read", "write"):
        for n in sizes:
            yield (f"{metric} an integer of {n:,} / the bare map", n, ("register", metric), ("map", metric),
                   1.1 if n == 1000000 else 1)
    for scope, where in (("global", "in global only"), ("temp", "in temp only"), ("nowhere", "in no scope")):
        for n in sizes[:3]:
            yield (f"read a name {where}, of {n:,} / in the user scope", n, ("register", f"find-{scope}"),
                   ("register", "find-user"), 1.5)
    n = 100000
    yield (f"write of {n:,} with 100,000 callbacks elsewhere / without", n, ("register", "write-callbacks"),
           ("register", "write-quiet"), 1.3)
    for metric, what, target in (("loaded", "loaded", 60), ("read", "loaded and all read", 60),
                                 ("numbers", "replaced by numbers", 75),
                                 ("grown", "replaced by texts of ten characters", 75)):
        yield f"heap per property of {n:,}, {what}, bytes", n, ("register", f"heap-{metric}"), None, target
    yield f"load of {n:,} / reading the bare bytes", n, ("register", "load"), ("bytes", "load"), 4
    yield f"save of {n:,} with one change / writing the bare bytes", n, ("register", "save"), ("bytes", "save"), 1.6
    yield (f"`initialize` at {n:,} / reading the bare bytes and writing them twice", n, ("register", "initialize"),
           ("bytes", "initialize"), 1.5)
    for n in sizes:
        yield (f"reads per second of eight threads, of {n:,} / the bare map", n, ("register", "threads"),
               ("map", "threads"), "least 1")


SYNC = (("nothing to do (µs)", "sync-idle"), ("one change here (ms)", "sync-own"),
        ("one change elsewhere (ms)", "sync-other"))

OWN = (("read, found in the user scope (ns)", "find-user"), ("… in global only (ns)", "find-global"),
       ("… in temp only (ns)", "find-temp"), ("… nowhere (ns)", "find-nowhere"),
       ("write without callbacks (ns)", "write-quiet"),
       ("write with 100,000 callbacks elsewhere (ns)", "write-callbacks"),
       ("`initialize` with its two saves (ms)", "initialize"),
       ("a save while another thread works (ms)", "wait-save"),
       ("longest wait of a reader during saves (ms)", "wait-read"), ("… without saves (ms)", "wait-read-idle"),
       ("longest wait of a writer during saves (ms)", "wait-write"), ("… without saves (ms)", "wait-write-idle"),
       ("eight threads reading (million reads/s)", "threads"))


class Page:
    def __init__(self, results, counts, rounds, operations):
        self.results, self.counts, self.rounds, self.operations = results, counts, rounds, operations
        self.built = {key[0] for key in results.values}

    def stores(self, metric):
        return [store for store in LABELS if self.results.median(store, metric, self.counts[0]) is not None]

    def cell(self, store, metric, count, base=None):
        ratios = self.results.ratios((store, metric), base, count) if base and store != base[0] else []
        return number(self.results.median(store, metric, count)) + (
            f" ({number(statistics.median(ratios))})" if ratios else "")

    def by_count(self, title, rows):
        return table([title] + [f"{n:,}" for n in self.counts], rows)

    def compared(self, title, metric, base, extra=()):
        rows = [[LABELS[store]] + [self.cell(store, metric, n, base) for n in self.counts]
                for store in self.stores(metric)]
        rows += [[label] + [self.cell(store, other, n) for n in self.counts] for label, store, other in extra]
        rows += [[label, "not built"] + [""] * (len(self.counts) - 1)
                 for store, label in LABELS.items() if store not in self.built]
        return self.by_count(title, rows)

    def goals(self):
        rows = []
        for work, count, above, below, target in goals():
            if count not in self.counts:
                continue
            measured = self.results.ratios(above, below, count) if below else list(
                self.results.of(*above, count).values())
            middle = statistics.median(measured)
            met = middle >= 1 if target == "least 1" else middle <= target
            rows.append([work, f"{middle:.2f} ({min(measured):.2f}..{max(measured):.2f})",
                         f"at {target}" if target == "least 1" else f"at most {target}", "yes" if met else "no"])
        return table(["work", "measured: median (lowest..highest)", "target", "met"], rows)

    def heap(self):
        count = max(n for n in self.counts if n <= 100000)
        kinds = {"lmdb": "mapped", "sqlite": "paged"}
        return table([f"{count:,} properties", "loaded", "all read", "grown"],
                     [[LABELS[store]] + [kinds.get(store) or self.cell(store, f"heap-{when}", count)
                                         for when in ("loaded", "read", "grown")]
                      for store in self.stores("heap-loaded")])

    def peak(self):
        def mebibytes(*what):
            value = self.results.median(*what)
            return number(value and value / 2 ** 20)

        return self.by_count("loaded, saved", [
            [LABELS[store]] + [f"{mebibytes(store, 'peak-loaded', n)}, {mebibytes(store, 'peak-saved', n)}"
                               for n in self.counts] for store in self.stores("peak-loaded")])

    def sync(self):
        counts = [n for n in self.counts if self.results.median("register", "sync-idle", n) is not None]
        return table(["`sync`"] + [f"{n:,}" for n in counts],
                     [[f"{what}, {LABELS[store]}"] + [self.cell(store, metric, n) for n in counts]
                      for what, metric in SYNC for store in self.stores(metric)])

    def own(self):
        rows = [[label] + [self.cell("register", metric, n) for n in self.counts] for label, metric in OWN]
        return self.by_count("work", rows + [["eight threads reading the bare map (million reads/s)"] +
                                             [self.cell("map", "threads", n) for n in self.counts]])

    def picture(self, title, metric, tick):
        return picture.draw(title, {
            store: (LABELS[store], [(n, self.results.median(store, metric, n)) for n in self.counts])
            for store in self.stores(metric)}, tick)

    def text(self):
        limits = ". At 1,000,000 properties,\nthe stores other than the register, the map and the bytes ran once" \
            if 1000000 in self.counts else ""
        return PAGE.format(
            goals=self.goals(),
            read=self.compared("read (ns)", "read", ("map", "read")),
            write=self.compared("write (ns)", "write", ("map", "write")),
            load=self.compared("load (ms)", "load", ("bytes", "load")),
            load_all=self.compared("load and read all (ms)", "load-all", ("bytes", "load")),
            save=self.compared("save (ms)", "save", ("bytes", "save"),
                               [("bare bytes, replaced", "bytes", "replace")]),
            sync=self.sync(), heap=self.heap(), peak=self.peak(), own=self.own(),
            operations=table(["operation", "ns"], [[f"`{name}`", number(time)] for name, time in self.operations]),
            rounds=self.rounds, limits=limits, **machine())


def said(*command):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False)
    return done.stdout.strip()


def machine():
    model = re.search(r"model name\s*: (.*)", Path("/proc/cpuinfo").read_text(encoding="utf-8"))
    system = re.search(r'PRETTY_NAME="(.*)"', Path("/etc/os-release").read_text(encoding="utf-8"))
    versions = [f"{name} {said('dpkg-query', '-W', '-f=${Version}', package)}" for name, package in PACKAGES.items()]
    changed = said("git", "status", "--porcelain", "--", "register", "filesystem", "exception")
    return {"machine": f"- {model[1] if model else platform.machine()}, {os.cpu_count()} cores, "
                       f"Linux {platform.release()}, {said('findmnt', '-no', 'FSTYPE', '-T', '.')}\n"
                       f"- {system[1]}, {said('c++', '--version').splitlines()[0]}, `-O3`\n- {', '.join(versions)}",
            "date": said("date", "-I"), "command": os.environ.get("BENCH_COMMAND", "scripts/bench"),
            "commit": said("git", "rev-parse", "--short", "HEAD") + (" with changes" if changed else "")}


def milliseconds(value):
    return f"{value * 1000:g} µs" if value < 1 else f"{value:g} ms" if value < 1000 else f"{value / 1000:g} s"


def write(path, *measured):
    page = Page(*measured)
    images = path.parent / "img"
    images.mkdir(parents=True, exist_ok=True)
    for file, text in ((path, page.text()),
                       (images / "read.svg", page.picture("A read of one integer", "read",
                                                          lambda ns: f"{ns:g} ns" if ns < 1000 else f"{ns / 1000:g} µs")),
                       (images / "load.svg", page.picture("Load: open the file and read one value", "load",
                                                          milliseconds))):
        file.write_text(text, encoding="utf-8")
