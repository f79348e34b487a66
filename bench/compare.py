#!/usr/bin/env python3
"""Runs the same workload over several settings stores and writes docs/performance.md.

Each store has its own program, build/.../bench/bench-STORE (bench/Workload.h says why). Each round runs all
stores, so that other work of the machine affects all of them. A ratio is computed within a round. The page
shows the medians over the rounds.
"""
import argparse
import collections
import json
import os
import shutil
import statistics
import subprocess
import sys
from pathlib import Path

import page

STORES = ("register", "map", "bytes", "qsettings", "kconfig", "gkeyfile", "propertytree", "lmdb", "sqlite")
# Those that only some stores have.
MODES = {"register": ("scopes", "callbacks", "numbers", "initialize", "waits", "sync"), "qsettings": ("sync",)}
LARGE = 1000000


class Results:
    def __init__(self):
        self.values = collections.defaultdict(dict)  # (store, metric, count): value by round

    def add(self, store, count, round_number, output):
        for line in output.splitlines():
            metric, value = line.split()
            self.values[store, metric, count][round_number] = float(value)
        if store == "bytes":  # the baseline for `initialize`, which reads once and writes twice
            read, written = (self.values[store, metric, count][round_number] for metric in ("load", "save"))
            self.values[store, "initialize", count][round_number] = read + 2 * written

    def of(self, store, metric, count):
        return self.values.get((store, metric, count), {})

    def median(self, store, metric, count):
        rounds = self.of(store, metric, count)
        return statistics.median(rounds.values()) if rounds else None

    def ratios(self, above, below, count):
        """The ratio of one (store, metric) to another, for each round that has both."""
        upper, lower = self.of(*above, count), self.of(*below, count)
        return [upper[number] / lower[number] for number in upper if number in lower]


class Comparison:
    def __init__(self, build, data):
        self.programs = {store: build / "bench" / f"bench-{store}" for store in STORES}
        self.programs = {store: path for store, path in self.programs.items() if path.exists()}
        self.data = data
        self.results = Results()

    def directory(self, store, count):
        return self.data / f"{'register' if store == 'bytes' else store}-{count}"

    def run(self, store, what, count, generation):
        command = [self.programs[store], what, self.directory(store, count), count, generation]
        done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, text=True, check=False)
        if done.returncode != 0:
            sys.exit(f"{' '.join(map(str, command))} failed")
        return done.stdout

    def measure(self, count, rounds):
        filed = [store for store in self.programs if store not in ("map", "bytes")]
        for store in filed:
            self.directory(store, count).mkdir(parents=True)
            self.run(store, "fill", count, 0)
        last = {}
        for number in range(1, rounds + 1):
            for store in self.programs:
                if count == LARGE and number > 1 and store not in ("register", "map", "bytes"):
                    continue  # some stores take a minute
                self.results.add(store, count, number, self.run(store, "run", count, number))
                last[store] = number
            for store, modes in MODES.items() if count < LARGE else ():
                for mode in modes:
                    self.results.add(store, count, number, self.run(store, mode, count, number))
        for store in filed:
            self.run(store, "check", count, last[store])
            shutil.rmtree(self.directory(store, count))


def operations(build):
    """The results of register-benchmark: (name, nanoseconds of the processor, or of the clock for "real_time")."""
    command = [str(build / "bench/register-benchmark"), "--benchmark_format=json", "--benchmark_min_time=0.2"]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    scale = {"ns": 1, "us": 1e3, "ms": 1e6}
    return [(run["name"], run["real_time" if "real_time" in run["name"] else "cpu_time"] * scale[run["time_unit"]])
            for run in json.loads(done.stdout)["benchmarks"]]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=Path, help="a build directory with the programs of bench/")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--quick", action="store_true", help="two rounds, up to 100,000 properties")
    parser.add_argument("--check", action="store_true", help="checks all stores with 1,000 properties, measures nothing")
    parser.add_argument("--data", type=Path, help="directory for the files, on a disk (default: BUILD)")
    parser.add_argument("--page", type=Path, default=Path("docs/performance.md"))
    options = parser.parse_args()

    data = ((options.data or options.build) / "bench-data").resolve()  # KConfig looks for relative names at home
    shutil.rmtree(data, ignore_errors=True)
    if options.check:
        os.environ["BENCH_CHECK"] = "1"
    comparison = Comparison(options.build, data)
    counts = (1000,) if options.check else (1000, 10000, 100000) if options.quick else (1000, 10000, 100000, LARGE)
    rounds = 1 if options.check else 2 if options.quick else options.rounds
    for count in counts:
        print(f"{count} properties", flush=True)
        comparison.measure(count, rounds)
    shutil.rmtree(data)
    missing = [store for store in STORES if store not in comparison.programs]
    print(f"All values were right. Not built: {', '.join(missing) or 'none'}.")
    if not options.check:
        page.write(options.page, comparison.results, counts, rounds, operations(options.build))


if __name__ == "__main__":
    main()
