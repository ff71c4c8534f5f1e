"""Measures the implementations in turn and prints the table: see tools/bench/bench."""
from __future__ import print_function

import argparse
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
MODULES = [("python", "build/bench/python/Kelvaro.pyo"),
           ("cython", "build/bench/cython/Kelvaro.so"),
           ("module", "build/native/Kelvaro.so")]
VALGRIND = "/usr/libexec/valgrind"

#: Name of a row, and what it says.
TITLES = [
    ("import", "import"),
    ("parse_typical", "parse_xml, 48 KB"),
    ("parse_large", "parse_xml, 960 KB"),
    ("create_menu", "createMenu, 400 entries, without parse_xml"),
    ("key_yellow", "keyYellow, 60 of 1,500"),
    ("open_detail", "opening the detail screen"),
    ("body_text", "body text, 200 items"),
    ("upgradable_list", "upgradable list, 500 packages"),
    ("judge_listing", "judging 2,000 lines"),
]


class Failure(Exception):
    """A sentence for the user."""


class Worker(object):
    """The process that measures one implementation: tools/bench/worker.py, in the sandbox."""

    def __init__(self, module, counting):
        self._counts = tempfile.mkdtemp() if counting else None
        environment = dict(os.environ, KELVARO_MODULE=os.path.join(PROJECT, module))
        command = [os.path.join(PROJECT, "tools", "sandbox")]
        # The GUI that the module is loaded into is a C++ program: the C++ library is there.
        python = ["python2.7", "-O", "-m", "tools.bench.worker"]
        variables = ["env", "LD_PRELOAD=libstdc++.so.6"]
        if counting:
            # Counts only what runs within the interpreter's apply(), which has no other caller.
            launcher = os.path.join(self._counts, "valgrind")
            shutil.copy("/usr/bin/valgrind.bin", launcher)
            command += ["--readable", VALGRIND, "--writable", self._counts]
            variables += ["VALGRIND_LIB=" + VALGRIND]
            python = [launcher, "--tool=callgrind", "--quiet", "--toggle-collect=builtin_apply",
                      "--dump-after=builtin_apply",
                      "--callgrind-out-file=%s/counts" % self._counts,
                      os.environ["KELVARO_PYTHON"]] + python[1:]
        self._child = subprocess.Popen(command + variables + python, env=environment, cwd=PROJECT,
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def send(self, *request):
        self._child.stdin.write(json.dumps(request) + "\n")
        self._child.stdin.flush()

    def receive(self):
        answer = self._child.stdout.readline()
        if not answer:
            raise Failure("A measuring process ended: its message is above.")
        return json.loads(answer)

    def ask(self, *request):
        self.send(*request)
        return self.receive()

    def close(self):
        """End the process; return the instructions that each call of apply() took, if counted."""
        self._child.stdin.close()
        self._child.wait()
        if self._counts is None:
            return []
        counts = []
        for number in range(1, len(os.listdir(self._counts)) - 1):
            with open("%s/counts.%d" % (self._counts, number)) as stream:
                counts.append(int(re.search("(?m)^totals: (.*)", stream.read()).group(1)))
        shutil.rmtree(self._counts)
        return counts


def ask_all(workers, *request):
    """Ask all at once, and return their answers."""
    for worker in workers:
        worker.send(*request)
    return [worker.receive() for worker in workers]


def prepare(workers, row):
    """Set a row up for all; their results have to be the same."""
    if len(set(ask_all(workers, "prepare", row))) > 1:
        raise Failure("The implementations disagree about %s." % row)


def times(rows, rounds, least):
    """Return {row: [microseconds of each implementation]}; a sample takes at least `least`."""
    figures = {}
    workers = [Worker(module, False) for _, module in MODULES]
    for row in rows:
        samples = [[] for _ in MODULES]
        if row == "import":
            for _ in range(rounds):
                for who, (_, module) in enumerate(MODULES):
                    fresh = Worker(module, False)
                    samples[who].append(fresh.ask("sample_import"))
                    fresh.close()
        else:
            prepare(workers, row)
            repeat = [max(1, min(1000, int(least / worker.ask("sample", 1)) + 1))
                      for worker in workers]
            for _ in range(rounds):
                for who, worker in enumerate(workers):
                    samples[who].append(worker.ask("sample", repeat[who]))
        figures[row] = [min(values) for values in samples]
    for worker in workers:
        worker.close()
    return figures


def instructions(rows):
    """Return {row: [instructions of each implementation]}."""
    figures = {}
    # A process imports the module once: the import has its own.
    for some in (["import"] if "import" in rows else [], [row for row in rows if row != "import"]):
        workers = [Worker(module, True) for _, module in MODULES]
        for row in some:
            if row == "import":
                ask_all(workers, "sample_import")
            else:
                prepare(workers, row)
                ask_all(workers, "sample", 1)
        counts = [worker.close() for worker in workers]
        if any(len(each) != len(some) for each in counts):
            raise Failure("Nothing was counted: the interpreter of KELVARO_PYTHON has no symbols.")
        figures.update(zip(some, zip(*counts)))
    return figures


def main(arguments):
    parser = argparse.ArgumentParser(
        prog="tools/bench/bench", description="Compares the module with its model in plain Python, "
        "and with the model compiled by Cython.")
    parser.add_argument("--instructions", action="store_true", help="in place of time")
    parser.add_argument("--quick", action="store_true", help="one round, to see that it works")
    parser.add_argument("rows", nargs="*", metavar="ROW", choices=[[]] + [row for row, _ in TITLES])
    options = parser.parse_args(arguments)
    rows = [row for row, _ in TITLES if row in (options.rows or dict(TITLES))]
    try:
        if options.instructions:
            figures, unit = instructions(rows), "thousands of instructions"
        else:
            figures, unit = times(rows, *(1, 0) if options.quick else (15, 5000.0)), "milliseconds"
    except Failure as e:
        print("bench: %s" % e, file=sys.stderr)
        return 1
    print("%-44s %10s %10s %10s %9s %9s" % (unit, "Python", "Cython", "module",
                                            "/ Python", "/ Cython"))
    for row in rows:
        python, cython, module = figures[row]
        print("%-44s %10.2f %10.2f %10.2f %9.3f %9.3f" % (
            dict(TITLES)[row], python / 1e3, cython / 1e3, module / 1e3,
            module / float(python), module / float(cython)))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
