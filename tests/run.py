"""Runs the tests: python2.7 tests/run.py [OPTION...] [PATTERN...]

Each test file has a process of its own: those of SANDBOXED run in a sandbox of their own, too
(tools/sandbox), those of tests/browser on the machine with Debian's Python 3, which has the
browser's driver, the others there as well. A PATTERN takes the tests whose file,
class or name it is found in, as text or as a shell pattern ("tests/simulator/test_simulator.py
TimerTest.*").
A file that ends by a signal, or does not end, counts as one failed test, which names the test that
ran.

Prints a line for each file, what the tests have printed behind "figure: " and, at the end, every
failure in full. --counts FILE writes the two numbers "PASSED FAILED" to FILE, --figures FILE a line
"WHAT<tab>VALUE" for each printed "figure: WHAT: VALUE". Exit status: 0, or 1 when a test failed or
none was found.
"""
from __future__ import print_function

import argparse
import fnmatch
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import traceback
import unittest

PROJECT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.path.dirname(os.environ.get(
    "KELVARO_MODULE", os.path.join(PROJECT, "build", "native", "Kelvaro.so")))
DURATIONS = os.path.join(BUILD, "test-seconds.json")
DIRECTORIES = ["tests/plugin", "tests/simulator", "tests/tools", "tests/page"]
SANDBOXED = ("tests/plugin/", "tests/simulator/")
ROWS = os.path.join(PROJECT, "build", "test-rows.json")
# Seconds for a test file; after that it says where it is, and ends.
TIMEOUT = int(os.environ.get("KELVARO_TIMEOUT", 300))
GRACE = 15     # more seconds for one that cannot even do that, being stuck in C code


# The process of one test file. It writes a report, one JSON list a line, while it goes:
# ["start", name], then ["passed", name, rows], ["failed", name, text] or ["skipped", name, reason],
# and ["end"] as the last line. The rows are what the test has recorded for docs/reliability.md.

class Report(unittest.TestResult):
    """Notes the outcome of every test in the report file at once."""

    def __init__(self, stream):
        unittest.TestResult.__init__(self)
        self._stream = stream
        self._failures = []
        self._skipped = False
        self._where = None

    def note(self, *values):
        self._stream.write(json.dumps(values) + "\n")
        self._stream.flush()

    def where(self):
        """Return the test that runs, as text; None between tests."""
        return self._where

    def startTest(self, test):
        unittest.TestResult.startTest(self, test)
        self._failures = []
        self._skipped = False
        self._where = label(test)
        self.note("start", self._where)

    def stopTest(self, test):
        unittest.TestResult.stopTest(self, test)
        if self._failures:
            self.note("failed", self._where, "\n".join(self._failures))
        elif not self._skipped:
            self.note("passed", self._where, getattr(test, "rows", []))
        self._where = None

    def _failed(self, test, text):
        if self._where is None:  # a class or a module that could not be set up
            self.note("failed", label(test), text)
        else:
            self._failures.append(text)

    def addError(self, test, err):
        self._failed(test, self._text(err, test))

    addFailure = addError

    def addSkip(self, test, reason):
        if os.environ.get("KELVARO_SANDBOX") == "proot":
            self._skipped = True  # what needs a file system of its own, say
            self.note("skipped", label(test), reason)
            return
        self._failed(test, "skipped (%s): a test that does not run shows nothing" % reason)

    def addExpectedFailure(self, test, err):
        self._failed(test, "expected to fail: say what is right instead")

    def addUnexpectedSuccess(self, test):
        self._failed(test, "expected to fail, and did not")

    def _text(self, err, test):
        text = self._exc_info_to_string(err, test)
        return text.decode("utf-8", "replace") if isinstance(text, bytes) else text


def label(test):
    """Return "Class.name" for a test, and what unittest calls it where it has no such name."""
    name = getattr(test, "_testMethodName", None)
    return "%s.%s" % (type(test).__name__, name) if name else str(test)


def tests_in(suite):
    """Yield the single tests of a suite."""
    for test in suite:
        if isinstance(test, unittest.TestSuite):
            for inner in tests_in(test):
                yield inner
        else:
            yield test


def matches(text, pattern):
    """Tell whether the pattern is found in the text, or is a shell pattern for all of it."""
    return pattern in text or fnmatch.fnmatchcase(text, pattern)


class Choice(object):
    """Which tests run: those that match one of `patterns`, or all; and none of `without`."""

    def __init__(self, patterns, without):
        self.patterns = patterns
        self.without = without

    def arguments(self):
        """Return the same for the command line."""
        return ["--without=" + pattern for pattern in self.without] + ["--"] + self.patterns

    def takes(self, path, name):
        """Tell whether a test of the file `path` runs."""
        whole = "%s %s" % (path, name)
        return ((not self.patterns or any(matches(whole, pattern) for pattern in self.patterns)) and
                not any(matches(whole, pattern) for pattern in self.without))

    def may_take_from(self, path):
        """Tell whether one may: a pattern that names a file says nothing of others."""
        files = [pattern.partition(".py") for pattern in self.patterns]
        return ((not files or any(not ending or matches(path, name + ending)
                                  for name, ending, _ in files)) and
                not any(matches(path, pattern) for pattern in self.without))


def run_file(path, report_path, choice):
    """Run the tests of one file in this process; what happens goes to the report."""
    sys.path[0] = PROJECT  # this script's own directory until now
    with open(report_path, "w") as stream:
        report = Report(stream)

        def too_long(number, frame):
            report.note("failed", report.where() or "loading the file",
                        "not done after %d seconds; at\n%s"
                        % (TIMEOUT, "".join(traceback.format_stack(frame))))
            os._exit(1)

        signal.signal(signal.SIGALRM, too_long)
        signal.alarm(TIMEOUT)
        module = path[:-len(".py")].replace("/", ".")
        suite = unittest.defaultTestLoader.loadTestsFromName(module)
        unittest.TestSuite([test for test in tests_in(suite)
                            if choice.takes(path, label(test))]).run(report)
        report.note("end")


# The process that starts them.

class TestFile(object):
    """A test file, its process and what has become of it."""

    def __init__(self, path, writable=()):
        self.path = path
        self.writable = list(writable)  # further directories that its sandbox shows as writable
        self.figures = []  # lines to be printed
        self.passed = 0
        self.failures = []  # pairs (name, text)
        self.skipped = []  # pairs (name, reason)
        self.rows = {}  # name of a passed test: what it has recorded
        self.seconds = 0.0

    def run(self, directory, choice):
        """Run it; `directory` is an empty one for its report, its output and what takes room."""
        report = os.path.join(directory, "report")
        command = ["python2.7", "-O", os.path.join(PROJECT, "tests", "run.py"),
                   "--file", self.path, "--report", report] + choice.arguments()
        if self.path.startswith(SANDBOXED):
            writable = [word for path in [directory] + self.writable
                        for word in ("--writable", path)]
            command = [os.path.join(PROJECT, "tools", "sandbox")] + writable + command
        elif self.path.startswith("tests/page/"):
            command[:2] = ["/usr/bin/python3"]
        else:
            command[0] = sys.executable
        environment = dict(os.environ, PYTHONDONTWRITEBYTECODE="1",
                           KELVARO_TEST_DIRECTORY=directory)
        begin = time.time()
        with open(os.path.join(directory, "output"), "w+b") as output:
            with open(os.devnull) as nothing:
                child = subprocess.Popen(command, cwd=PROJECT, env=environment, stdin=nothing,
                                         stdout=output, stderr=subprocess.STDOUT,
                                         preexec_fn=os.setsid)
            status = wait(child, TIMEOUT + GRACE)
            output.seek(0)
            text = output.read().decode("utf-8", "replace")
        self.seconds = time.time() - begin
        self._read(report, status)
        self.figures = re.findall("^figure: (.*)$", text, re.MULTILINE)
        if self.failures and text:
            self.failures.append(("(its output)", text))

    def _read(self, report, status):
        """Take in the report; `status` is that of the process."""
        running, complete, end = None, False, ending(status)
        try:
            with open(report) as lines:
                notes = [json.loads(line) for line in lines]
        except (IOError, ValueError):
            notes = []
        for note in notes:
            kind = note[0]
            if kind == "start":
                running = note[1]
            elif kind == "passed":
                self.passed += 1
                if note[2]:
                    self.rows[note[1]] = note[2]
                running = None
            elif kind == "skipped":
                self.skipped.append((note[1], note[2]))
                running = None
            elif kind == "failed":
                self._fail(note[1], note[2])
                running = None
            else:
                complete = True
        if running is not None:
            self._fail(running, "the process ended in this test: " + end)
        elif not complete and not self.failures:
            self._fail("the process", "it did not come to its end: " + end)
        elif complete and status != 0:
            # A crash of the interpreter's own end, say, or memory that a sanitizer found lost then.
            self._fail("the process", "all its tests were done, but " + end)

    def _fail(self, name, text):
        self.failures.append((name, text))

    @property
    def failed(self):
        return len([name for name, _ in self.failures if name != "(its output)"])


ended = threading.Event()  # set when the runner is to end before its time


def wait(child, seconds):
    """Wait for a child that leads its own process group; return its status as Popen has it.

    After `seconds`, or when the runner itself is ended, the group is ended, and the result is None.
    """
    end = time.time() + seconds
    while child.poll() is None:
        if time.time() > end or ended.is_set():
            for number in (signal.SIGTERM, signal.SIGKILL):
                try:
                    os.killpg(child.pid, number)
                except OSError:
                    break  # all are gone
                time.sleep(0.5)
            child.wait()
            return None
        time.sleep(0.02)
    return child.returncode


def ending(status):
    """Say how a process ended whose status is `status`."""
    if status is None:
        return "it was not done after %d seconds and did not answer" % (TIMEOUT + GRACE)
    number = -status if status < 0 else status - 128
    names = dict((getattr(signal, name), name) for name in dir(signal)
                 if name.startswith("SIG") and not name.startswith("SIG_"))
    if number in names:
        return "it ended by the signal %s" % names[number]
    return "it ended with status %d" % status


def run_all(files, choice, jobs):
    """Run the test files, `jobs` at a time, and print a line for each."""
    waiting = list(reversed(files))
    lock = threading.Lock()
    directory = tempfile.mkdtemp(prefix="kelvaro-tests.")

    def work():
        while True:
            with lock:
                if not waiting or ended.is_set():
                    return
                test_file = waiting.pop()
            own = os.path.join(directory, test_file.path.replace("/", "."))
            os.mkdir(own)
            try:
                test_file.run(own, choice)
            except Exception:
                test_file.failures.append((u"the runner", traceback.format_exc().decode("latin-1")))
            if test_file.passed or test_file.failed or test_file.skipped:
                with lock:
                    print("%-48s %6.1f s %4d passed%s" % (
                        test_file.path, test_file.seconds, test_file.passed,
                        ", %d failed" % test_file.failed if test_file.failed else ""))
                    for figure in test_file.figures:
                        print("    %s" % figure)
                    sys.stdout.flush()

    threads = [threading.Thread(target=work) for _ in range(jobs)]
    for thread in threads:
        thread.start()
    try:
        for thread in threads:
            while thread.is_alive():
                thread.join(1)  # with a time limit, so that signals get through
    finally:
        ended.set()
        for thread in threads:
            thread.join()
        shutil.rmtree(directory, ignore_errors=True)


def find_files(directories):
    """Return the paths of the test files in these directories, relative to the project."""
    return ["%s/%s" % (directory, name)
            for directory in directories
            for name in sorted(os.listdir(os.path.join(PROJECT, directory)))
            if name.startswith("test_") and name.endswith(".py")]


def last_durations():
    """Return {path: seconds} as the last runs of this module took; empty where there was none."""
    try:
        with open(DURATIONS) as stream:
            return json.load(stream)
    except (IOError, ValueError):
        return {}


def keep_durations(durations):
    """Remember what last_durations returns."""
    try:
        with open(DURATIONS, "w") as stream:
            json.dump(durations, stream, indent=0, sort_keys=True)
    except IOError:
        pass  # there is no build directory: nothing is lost but time


def keep_rows(files, whole):
    """Remember what the tests have recorded, for tools/reliability.py; None is for one skipped.

    files: the TestFiles that ran. whole: all have run, so that nothing else is to be kept.
    """
    rows = {}
    if not whole:
        try:
            with open(ROWS) as stream:
                rows = json.load(stream)
        except (IOError, ValueError):
            pass
    for test_file in files:
        for name, _ in test_file.failures:
            rows.pop("%s %s" % (test_file.path, name), None)
        for name, _ in test_file.skipped:
            rows["%s %s" % (test_file.path, name)] = None
        for name, recorded in test_file.rows.items():
            rows["%s %s" % (test_file.path, name)] = recorded
    try:
        with open(ROWS, "w") as stream:
            json.dump(rows, stream, indent=0, sort_keys=True)
    except IOError:
        pass  # there is no build directory, and no document made of them


def show(text):
    """Print text as UTF-8, whatever the terminal's encoding is."""
    print(text.encode("utf-8"))


def main(arguments):
    parser = argparse.ArgumentParser(description=__doc__.split(":")[0])
    parser.add_argument("--jobs", type=int, default=2, help="test files at a time")
    parser.add_argument("--counts", help="a file for the numbers of passed and failed tests")
    parser.add_argument("--figures", help="a file for the figures that the tests print")
    parser.add_argument("--in", dest="directories", action="append", metavar="DIRECTORY",
                        help="a directory of test files, in place of the usual ones")
    parser.add_argument("--writable", action="append", default=[], metavar="DIRECTORY",
                        help="a directory that the tests in sandboxes may write to")
    parser.add_argument("--without", action="append", default=[], metavar="PATTERN",
                        help="leaves out the tests whose file, class or name it is found in")
    parser.add_argument("--file", help=argparse.SUPPRESS)
    parser.add_argument("--report", help=argparse.SUPPRESS)
    parser.add_argument("patterns", nargs="*", metavar="PATTERN")
    options = parser.parse_args(arguments)
    choice = Choice(options.patterns, options.without)
    if options.file:
        run_file(options.file, options.report, choice)
        return 0

    def end(number, frame):
        raise SystemExit(128 + number)

    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, end)

    # The longest first, so that none is left alone at the end.
    durations = last_durations()
    paths = [path for path in find_files(options.directories or DIRECTORIES)
             if choice.may_take_from(path)]
    files = [TestFile(path, options.writable) for path in
             sorted(paths, key=lambda path: -durations.get(path, TIMEOUT))]
    run_all(files, choice, options.jobs)
    keep_rows(files, whole=not (options.patterns or options.without or options.directories))
    if not options.patterns:
        durations.update((test_file.path, test_file.seconds) for test_file in files)
        keep_durations(durations)
    for test_file in files:
        for name, reason in test_file.skipped:
            show(u"%s: %s: skipped: %s" % (test_file.path, name, reason))
        for name, text in test_file.failures:
            show(u"\n%s\n%s: %s\n%s" % (u"-" * 80, test_file.path, name, text.rstrip()))
    passed = sum(test_file.passed for test_file in files)
    failed = sum(test_file.failed for test_file in files)
    if passed + failed == 0:
        print("No test is chosen by: %s" % " ".join(choice.arguments()))
        failed = 1
    if options.counts:
        with open(options.counts, "w") as stream:
            stream.write("%d %d\n" % (passed, failed))
    if options.figures:
        with open(options.figures, "w") as stream:
            for figure in sorted(sum((test_file.figures for test_file in files), [])):
                stream.write("%s\t%s\n" % tuple(figure.rsplit(": ", 1)))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
