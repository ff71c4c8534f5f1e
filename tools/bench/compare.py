"""Measures the implementations in turn and prints the table: see tools/bench/bench.

python2.7 tools/bench/compare.py [--target TARGET] [--quick] [--rounds N] [--only ROW]
"""
from __future__ import print_function

import argparse
import json
import os
import subprocess
import sys

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path[0] = PROJECT  # this script's own directory until now

from tools.bench import picture, table, translated  # noqa: E402

SANDBOX = os.path.join(PROJECT, "tools", "sandbox")
IMPLEMENTATIONS = ("python", "cython", "module")
FLOORS = tuple(name for names in sorted(table.FLOORS.values()) for name in names)
# The rows that are measured by calling something again and again: those of rows.py.
ROWS = tuple(name for name, _, _ in table.DESCRIPTIONS
             if name not in ("import_cost", "import_memory", "peak_large", "size"))


class Worker(object):
    """The process that measures one implementation: tools/bench/worker.py."""

    def __init__(self, bench, module):
        self._child = bench.start(module, "rows", stdin=subprocess.PIPE)

    def ask(self, *request):
        self._child.stdin.write(json.dumps(request) + "\n")
        self._child.stdin.flush()
        answer = self._child.stdout.readline()
        if not answer:
            raise translated.Failure("A measuring process ended: its message is above.")
        return json.loads(answer)

    def close(self):
        self._child.stdin.close()
        self._child.wait()


class Bench(object):
    """How things are measured: for this machine or for a target, quickly or well."""

    def __init__(self, target, quick, rounds):
        self.target = target
        self.directory = os.path.join(PROJECT, "build", "bench")
        if not os.path.isdir(self.directory):
            os.makedirs(self.directory)
        self.native = target == "native"
        self.rounds = rounds or (2 if quick or not self.native else 15)
        # A sample takes at least so long, in microseconds; instructions can be told apart anyway.
        self.least = 0 if quick or not self.native else 5000.0
        self.unit = "us" if self.native else "instructions"
        build = translated.Build(os.path.join(PROJECT, "build", target))
        self.modules = {
            "module": os.path.join(PROJECT, "build", target, "Kelvaro.so"),
            "cython": translated.translate(build, os.environ["KELVARO_PYTHON"], self.directory),
            "python": self._compiled_model(),
        }
        smallest = translated.translate(build, os.environ["KELVARO_PYTHON"], self.directory,
                                        [] if "-Os" in build.flags else ["-Os"])
        self.sizes = {
            "module": translated.stripped_size(build, self.modules["module"]),
            "cython": translated.stripped_size(build, smallest),
            "python": os.path.getsize(self.modules["python"]),
        }
        self._counter = None if self.native else self._compiled_counter()

    def start(self, module, task, **pipes):
        """Start the worker for a module file in a sandbox; return the process."""
        environment = dict(os.environ, KELVARO_MODULE=module, KELVARO_BENCH_METER=(
            "time" if self.native else "instructions"))
        # The GUI that the module is loaded into is a C++ program: the C++ library is there.
        if self.native:
            variables = ["LD_PRELOAD=libstdc++.so.6"]
        else:
            variables = ["QEMU_SET_ENV=LD_PRELOAD=libstdc++.so.6",
                         "QEMU_PLUGIN=file=" + self._counter]
        python = ["python2.7", "-O", "-m", "tools.bench.worker", task]
        command = [SANDBOX, "env"] + variables + python
        return subprocess.Popen(command, env=environment, stdout=subprocess.PIPE, **pipes)

    def _compiled_model(self):
        # As plug-ins written in Python come to a receiver.
        result = os.path.join(self.directory, "Kelvaro.pyo")
        translated.command(sys.executable, "-O", "-c",
                           "import py_compile, sys; py_compile.compile(*sys.argv[1:], doraise=1)",
                           translated.MODEL, result)
        return result

    def _compiled_counter(self):
        result = os.path.join(self.directory, "instructions.so")
        translated.command("g++", "-O2", "-shared", "-fPIC", "-Wall", "-o", result,
                           os.path.join(PROJECT, "tools", "bench", "instructions.cpp"))
        return result

    # Measuring. All results are {implementation: [a figure for each round]}.

    def imports(self, task):
        """Return the figures of the module's import, each in a process of its own."""
        figures = dict((name, []) for name in IMPLEMENTATIONS)
        for _ in range(self.rounds):
            for name in IMPLEMENTATIONS:
                child = self.start(self.modules[name], task)
                answer = child.communicate()[0]
                if child.returncode:
                    raise translated.Failure("The import failed: its message is above.")
                figures[name].append(json.loads(answer))
        return figures

    def row(self, workers, name):
        """Return what a call costs; `workers`: {implementation: Worker}."""
        outcomes = dict((who, worker.ask("prepare", name)) for who, worker in workers.items())
        if len(set(outcomes.values())) > 1:
            raise translated.Failure("The implementations disagree about %s." % name)
        # With what they all have made once; so that each sample takes the least time.
        times = dict((who, self._repetitions(worker)) for who, worker in workers.items())
        figures = dict((who, []) for who in workers)
        for number in range(self.rounds):
            order = sorted(workers)
            for who in order[number % len(order):] + order[:number % len(order)]:
                figures[who].append(workers[who].ask("sample", times[who]))
        return figures

    def _repetitions(self, worker):
        cost = worker.ask("sample", 1)
        return max(1, min(1000, int(self.least / max(cost, 1.0)) + 1))

    def peaks(self, name):
        """Return by how much a call raises the peak of memory, in a process of its own each."""
        figures = dict((who, []) for who in IMPLEMENTATIONS)
        for _ in range(min(self.rounds, 3)):
            for who in IMPLEMENTATIONS:
                worker = Worker(self, self.modules[who])
                figures[who].append(worker.ask("peak", name))
                worker.close()
        return figures

    def everything(self, only=None):
        """Return all figures: {row: {implementation, or "floor": [figure, ...]}}."""
        figures = {}
        chosen = [name for name in ROWS if only in (None, name)]
        workers = dict((name, Worker(self, self.modules[name])) for name in IMPLEMENTATIONS)
        # The floors are measured in the same rounds, in a process that has done nothing else.
        floors = Worker(self, self.modules["python"])
        for name in chosen:
            say("measuring " + name)
            figures[name] = self.row(workers, name)
        if only is None:
            for name in FLOORS:
                say("measuring " + name)
                figures[name] = {"floor": self.row({"floor": floors}, name)["floor"]}
        for worker in list(workers.values()) + [floors]:
            worker.close()
        if only is None:
            say("measuring memory")
            figures["peak_large"] = self.peaks("parse_large")
            say("measuring the import")
            for task in ("import_cost", "import_memory"):
                figures[task] = self.imports(task)
            figures["size"] = dict((name, [size]) for name, size in self.sizes.items())
        return figures


def say(text):
    print("bench: " + text, file=sys.stderr)


def main(arguments):
    parser = argparse.ArgumentParser(prog="tools/bench/bench", description="Compares the module with the "
                                     "model in plain Python and with that compiled by Cython.")
    parser.add_argument("--target", default="native", choices=("native", "mips32el"))
    parser.add_argument("--quick", action="store_true", help="two rounds, to see that it works")
    parser.add_argument("--rounds", type=int, help="samples of each figure")
    parser.add_argument("--only", choices=ROWS, help="just this row; nothing is written")
    options = parser.parse_args(arguments)
    try:
        bench = Bench(options.target, options.quick, options.rounds)
        results = table.Results(bench.everything(options.only), bench.unit)
    except translated.Failure as e:
        print("bench: %s" % e, file=sys.stderr)
        return 1
    print(results.text())
    if options.only is None:
        path = os.path.join(bench.directory, options.target)
        with open(path + ".json", "w") as stream:
            json.dump(results.data(options.target, bench.rounds), stream, indent=1,
                      sort_keys=True)
            stream.write("\n")
        with open(path + ".svg", "w") as stream:
            stream.write(picture.draw(results, options.target))
        print("The figures: %s.json, as a picture: %s.svg"
              % ((os.path.relpath(path, PROJECT),) * 2))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
