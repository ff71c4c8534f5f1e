"""Runs commands and the project's scripts for tests."""

import collections
import contextlib
import os
import shutil
import subprocess
import tempfile

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

Result = collections.namedtuple("Result", "status stdout stderr")


def run(*command, **environment):
    """Run a command in the project, without standard input; return its Result.

    A relative name of a program is one of the project's. Keyword arguments change the
    environment; None takes a variable away.
    """
    changed = dict(os.environ)
    for name, value in environment.items():
        changed.pop(name, None)
        if value is not None:
            changed[name] = value
    if "/" in command[0]:
        command = (os.path.join(PROJECT, command[0]),) + command[1:]
    with open(os.devnull) as nothing:
        child = subprocess.Popen(command, cwd=PROJECT, env=changed, stdin=nothing,
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    stdout, stderr = child.communicate()
    return Result(child.returncode, stdout, stderr)


@contextlib.contextmanager
def directory():
    """A directory for the length of a with statement."""
    path = os.path.realpath(tempfile.mkdtemp(prefix="kelvaro-desk."))
    try:
        yield path
    finally:
        shutil.rmtree(path)


def write(path, text, mode=0o644):
    """Write a file, with directories above it that are missing."""
    if not os.path.isdir(os.path.dirname(path)):
        os.makedirs(os.path.dirname(path))
    with open(path, "w") as stream:
        stream.write(text)
    os.chmod(path, mode)
