"""The model compiled by Cython, with the compiler and the options that built the module."""

import glob
import hashlib
import os
import re
import shlex
import shutil
import subprocess

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
MODEL = os.path.join(PROJECT, "plugin", "model", "Kelvaro.py")


class Failure(Exception):
    """A sentence for the user."""


def command(*words):
    """Run a command quietly; its output comes with the Failure when it fails."""
    child = subprocess.Popen(words, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    output = child.communicate()[0]
    if child.returncode:
        raise Failure("This command failed: %s\n%s" % (" ".join(words), output))
    return output


class Build(object):
    """The compiler and options of a build directory of the module."""

    def __init__(self, directory):
        with open(os.path.join(directory, "CMakeCache.txt")) as stream:
            entries = dict(re.findall(r"(?m)^(\w+):\w+=(.*)$", stream.read()))
        kind = entries["CMAKE_BUILD_TYPE"].upper()
        # A toolchain file's compiler is not in the cache.
        found, = glob.glob(os.path.join(directory, "CMakeFiles", "*", "CMakeCXXCompiler.cmake"))
        with open(found) as stream:
            self.compiler = re.search(r'set\(CMAKE_CXX_COMPILER "(.*)"\)', stream.read()).group(1)
        self.strip = entries["CMAKE_STRIP"]
        self.flags = shlex.split(entries["CMAKE_CXX_FLAGS"] + " " +
                                 entries["CMAKE_CXX_FLAGS_" + kind])
        self.linker_flags = shlex.split(entries["CMAKE_MODULE_LINKER_FLAGS"])


def translate(build, python, directory, extra=()):
    """Make Kelvaro.so of the model below `directory`, unless it is there; return its path.

    python: the interpreter it is for. extra: compiler options behind those of the build.
    """
    headers = command(python, "-c", "import sysconfig, sys; "
                      "sys.stdout.write(sysconfig.get_paths()['include'])")
    cython = ["cython3", "-2"]
    # The C++ compiler takes C as well; of its library nothing is needed then. The options are
    # those of CMakeLists.txt that make a module smaller.
    compiler = ([build.compiler, "-x", "c", "-shared", "-fPIC", "-w", "-fno-strict-aliasing",
                 "-ffunction-sections", "-fdata-sections", "-I" + headers] + build.flags
                + list(extra) + build.linker_flags
                + ["-Wl,--as-needed", "-Wl,--gc-sections", "-Wl,-z,relro,-z,now"])
    with open(MODEL) as stream:
        key = hashlib.sha1(repr((cython, compiler, stream.read()))).hexdigest()[:16]
    made = os.path.join(directory, "cython-" + key)
    result = os.path.join(made, "Kelvaro.so")
    if not os.path.exists(result):
        if not os.path.isdir(made):
            os.makedirs(made)
        source = os.path.join(made, "Kelvaro.c")
        command(*(cython + [MODEL, "-o", source]))
        command(*(compiler + [source, "-o", result + ".part"]))
        os.rename(result + ".part", result)
    return result


def stripped_size(build, module):
    """Return the bytes of a module file without what only debuggers need."""
    copy = module + ".stripped"
    shutil.copyfile(module, copy)
    try:
        command(build.strip, "--strip-all", "--remove-section=.comment", copy)
        return os.path.getsize(copy)
    finally:
        os.remove(copy)
