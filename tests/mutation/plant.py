#!/usr/bin/env python3
"""Plants one small fault at a time in the drivers and looks whether a test finds it.

Works in copies of the tree, never in the tree itself. Every result is noted at once,
so that a run that was stopped goes on where it was; the order is random but fixed by
the seed, so that what has been done at any time is a fair sample of the whole.
"""

import argparse
import json
import os
import random
import resource
import shutil
import signal
import subprocess
import sys
import threading
from collections import Counter
from dataclasses import dataclass, field
from pathlib import Path

from faults import Fault, faults_in

ROOT = Path(__file__).resolve().parents[2]
HERE = Path(__file__).resolve().parent
SOURCES = "runtime/drivers"
# What is done between two changes of the order; inside, one file after the other,
# because every change of file compiles two.
BATCH = 240
MEMORY = 6 << 30
CPU_SECONDS = 20
WALL_SECONDS = 120
# Programs that hold parts of the drivers in themselves, by what has to be built first.
STATIC_TESTS = ("tst_typedcommands",)
LAST_TESTS = ("tst_environment", "exports", "tst_driverloader", "tst_dissector", "tst_line", "tst_readwrite")
FOUND, SURVIVED, NOT_COMPILED = "found", "survived", "not compiled"


def main():
    options = arguments()
    planted = all_faults(options.files)
    excused = read_excused()
    if options.list:
        for fault in planted:
            print(fault, f"  # {excused[fault.id]}" if fault.id in excused else "")
        return 0
    results = Results(options.results)
    if not options.report:
        run(options, planted, excused, results)
    return 0 if report(planted, excused, results) else 1


def arguments():
    parser = argparse.ArgumentParser(prog="./test mutation", description=__doc__)
    parser.add_argument("--files", nargs="+", metavar="PART", help="only files whose path holds one of these")
    parser.add_argument("--sample", type=int, metavar="N", help="at most N faults, of all that are asked for")
    parser.add_argument("--ids", nargs="+", help="only these, whether or not they have a result")
    parser.add_argument("--again", action="store_true", help="those that survived the last time once more")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--work", type=Path, default=ROOT / "build/mutation", help="where the copies are made")
    parser.add_argument("--results", type=Path, help="the results file; default results.jsonl in the work folder")
    parser.add_argument("--list", action="store_true", help="only list the faults")
    parser.add_argument("--report", action="store_true", help="only sum up the results file")
    options = parser.parse_args()
    options.results = options.results or options.work / "results.jsonl"
    return options


def all_faults(parts):
    paths = sorted(p for p in (ROOT / SOURCES).rglob("*") if p.suffix in (".cpp", ".h"))
    names = [str(p.relative_to(ROOT)) for p in paths]
    chosen = [n for n in names if not parts or any(part in n for part in parts)]
    return [fault for name in chosen for fault in faults_in(name, (ROOT / name).read_text())]


def read_excused():
    """Faults that are none, by id: lines of an id and the reason."""
    path = HERE / "equivalent.txt"
    lines = path.read_text().splitlines() if path.exists() else []
    pairs = (line.split(maxsplit=1) for line in lines if line.strip() and not line.startswith("#"))
    return {id: reason for id, reason in pairs}


class Results:
    """One line of JSON for each fault tried; the last one counts."""

    def __init__(self, path):
        self.path = path
        self.by_id = {}
        self.lock = threading.Lock()
        if path.exists():
            for line in path.read_text().splitlines():
                entry = json.loads(line)
                self.by_id[entry["id"]] = entry

    def note(self, fault, status, by):
        entry = {"id": fault.id, "status": status, "by": by, "fault": str(fault)}
        with self.lock:
            self.by_id[fault.id] = entry
            self.path.parent.mkdir(parents=True, exist_ok=True)
            with self.path.open("a") as file:
                file.write(json.dumps(entry) + "\n")

    def status(self, fault):
        return self.by_id.get(fault.id, {}).get("status")


def chosen_faults(options, planted, excused, results):
    if options.ids:
        return [f for f in planted if f.id in options.ids]
    if options.again:
        return [f for f in planted if results.status(f) == SURVIVED and f.id not in excused]
    order = [f for f in planted if f.id not in excused]
    random.Random(options.seed).shuffle(order)
    order = order[: options.sample]
    batches = (order[i : i + BATCH] for i in range(0, len(order), BATCH))
    ordered = (f for batch in batches for f in sorted(batch, key=lambda f: (f.file, f.start)))
    return [f for f in ordered if results.status(f) is None]


def run(options, planted, excused, results):
    faults = chosen_faults(options, planted, excused, results)
    if not faults:
        return
    jobs = min(options.jobs, len(faults))
    say(f"{len(faults)} faults to plant, {jobs} at a time; results in {options.results}")
    queue = Queue(faults)
    copies = [Copy(options.work / f"copy{i}") for i in range(jobs)]
    workers = [threading.Thread(target=work, args=(copy, queue, results)) for copy in copies]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    for copy in copies:
        if copy.failure:
            raise SystemExit(copy.failure)


class Queue:
    """Hands out runs of faults in one file."""

    def __init__(self, faults):
        self.faults = faults
        self.total = len(faults)
        self.lock = threading.Lock()

    def take(self):
        with self.lock:
            count = 0
            while count < min(12, len(self.faults)) and self.faults[count].file == self.faults[0].file:
                count += 1
            taken, self.faults = self.faults[:count], self.faults[count:]
            if taken:
                say(f"{self.total - len(self.faults) - count}/{self.total} {taken[0].file}")
            return taken


def work(copy, queue, results):
    try:
        copy.prepare()
        while faults := queue.take():
            for fault in faults:
                results.note(fault, *copy.try_fault(fault))
            copy.restore()
    except Exception as error:  # of one worker; the others go on
        copy.failure = f"{copy.folder}: {error}"
        say(copy.failure)


@dataclass
class Copy:
    """A copy of the tree with a build of its own."""

    folder: Path
    failure: str = ""
    tests: dict = field(default_factory=dict)
    finders: dict = field(default_factory=dict)  # by source file, how often each test found a fault
    changed: Fault = None

    @property
    def build(self):
        return self.folder / "build"

    def prepare(self):
        self.update()
        if not (self.build / "build.ninja").exists():
            must(
                ["cmake", "-S", self.folder, "-B", self.build, "-G", "Ninja", "-DMLX_QT=5"]
                + ["-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -w"]
                + ["-DCMAKE_LINK_DEPENDS_NO_SHARED=ON"]
            )
        names = test_names()
        must(["ninja", "-C", self.build, "micrologix", *programs(names)])
        listing = must(["ctest", "--test-dir", self.build, "--show-only=json-v1"])
        for test in json.loads(listing)["tests"]:
            if test["name"] in names:
                properties = {p["name"]: p["value"] for p in test.get("properties", [])}
                self.tests[test["name"]] = (test["command"], properties["WORKING_DIRECTORY"])
        for name in self.tests:
            if not self.passes(name):
                raise RuntimeError(f"{name} fails without any fault")

    def update(self):
        """Copies what has changed, so that what has been built stays."""
        tracked = must(["git", "-C", ROOT, "ls-files", "-co", "--exclude-standard"]).splitlines()
        for name in tracked:
            source, target = ROOT / name, self.folder / name
            if not source.exists() or (target.exists() and source.read_bytes() == target.read_bytes()):
                continue
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source, target)
        kept = set(tracked)
        for path in (p for part in ("runtime", "tests") for p in (self.folder / part).rglob("*")):
            if path.is_file() and str(path.relative_to(self.folder)) not in kept:
                path.unlink()

    def write(self, file, text):
        (self.folder / file).write_text(text)

    def restore(self):
        if not self.changed:
            return
        self.write(self.changed.file, self.changed.source)
        # Else the tests would keep what they have of a faulty header, and fail ever after.
        if self.changed.file.endswith(".h"):
            must(["ninja", "-C", self.build, "micrologix", *programs(self.tests)])
        self.changed = None

    def try_fault(self, fault):
        self.write(fault.file, fault.planted())
        self.changed = fault
        is_header = fault.file.endswith(".h")
        if not self.builds("micrologix", *(programs(self.tests) if is_header else [])):
            return NOT_COMPILED, ""
        for name in self.likeliest_first(fault.file):
            if name in STATIC_TESTS and not self.builds(name):
                return NOT_COMPILED, ""
            if not self.passes(name):
                self.finders.setdefault(fault.file, Counter())[name] += 1
                return FOUND, name
        return SURVIVED, ""

    def builds(self, *targets):
        return run_bounded(["ninja", "-C", str(self.build), *targets], 900, None)

    def passes(self, name):
        command, folder = self.tests[name]
        return run_bounded(command, WALL_SECONDS, folder, limit)

    def likeliest_first(self, file):
        counts = self.finders.get(file, Counter())
        stem = Path(file).stem
        return sorted(
            self.tests,
            key=lambda name: (-counts[name], name in LAST_TESTS and stem not in name, stem not in name, name),
        )


def test_names():
    folders = ("tests/drivers", "tests/micrologix")
    names = {path.stem for folder in folders for path in (ROOT / folder).glob("tst_*.cpp")}
    return names | set(LAST_TESTS)


def programs(names):
    return [name for name in names if name.startswith("tst_")]


def limit():
    resource.setrlimit(resource.RLIMIT_CPU, (CPU_SECONDS, CPU_SECONDS))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))


def run_bounded(command, seconds, folder, before=None):
    """Whether the command succeeds in time; what it started ends with it."""
    process = subprocess.Popen(
        command,
        cwd=folder,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL,
        stdin=subprocess.DEVNULL,
        start_new_session=True,
        preexec_fn=before,
        env={**os.environ, "CCACHE_DISABLE": "1"},
    )
    try:
        return process.wait(timeout=seconds) == 0
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        process.wait()
        return False


def must(command):
    result = subprocess.run([str(part) for part in command], capture_output=True, text=True)
    if result.returncode != 0:
        raise RuntimeError(f"{command[0]} failed: {result.stdout[-2000:]}{result.stderr[-2000:]}")
    return result.stdout


def report(planted, excused, results):
    """Prints a table by file and the survivors; whether there are none."""
    counts = {}
    survivors = []
    for fault in planted:
        status = "equivalent" if fault.id in excused else results.status(fault) or "not tried"
        counts.setdefault(fault.file, Counter())[status] += 1
        if status == SURVIVED:
            survivors.append(fault)
    print(f"{'file':<50}{'found':>7}{'survived':>9}{'rate':>7}{'equivalent':>11}{'not compiled':>13}{'not tried':>10}")
    total = Counter()
    for file, count in counts.items():
        total += count
        print_row(file, count)
    print_row("all", total)
    for fault in survivors:
        print(fault)
    return not survivors


def print_row(name, count):
    counted = count[FOUND] + count[SURVIVED]
    rate = f"{100 * count[FOUND] / counted:.1f}%" if counted else "-"
    print(
        f"{name:<50}{count[FOUND]:>7}{count[SURVIVED]:>9}{rate:>7}"
        f"{count['equivalent']:>11}{count[NOT_COMPILED]:>13}{count['not tried']:>10}"
    )


def say(text):
    print(text, file=sys.stderr, flush=True)


if __name__ == "__main__":
    sys.exit(main())
