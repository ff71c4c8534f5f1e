"""tools/check_binary.py refuses a file for the one thing that does not suit a receiver."""

import re
import subprocess
import unittest

from tests.support.machine import directory, run, write

SUITABLE = ["-Os", "-fPIC", "-shared", "-nostartfiles", "-s", "-march=mips32", "-mfp32",
            "-Wl,-z,now,-z,noexecstack,-z,max-page-size=4096",
            "-Wl,--hash-style=sysv"]
INITIALISER = "void initKelvaro(void) {}\n"
CALL = "void %s(void);\nvoid initKelvaro(void) { %s(); }\n"

#: What is wrong: the source, compiler options, and what is found wrong.
WRONG = {
    "too_many_bytes": (
        "__attribute__((used, visibility(\"hidden\"))) const char filler[100000] = {1};\n"
        + INITIALISER, [], ["bytes, at most 95232: "]),
    "symbols_for_debuggers": (
        INITIALISER, ["-Wl,--emit-relocs"], ["sections for debuggers only, none: 1 (.symtab)"]),
    "a_second_exported_symbol": (
        INITIALISER + "void other(void) {}", [],
        ["symbols exported, initKelvaro alone: 2 (initKelvaro, other)"]),
    "a_symbol_that_nobody_has": (
        CALL % ("elsewhere", "elsewhere"), [],
        ["symbols from neither the libraries nor the interpreter, none: 1 (elsewhere)"]),
    "an_interpreter_with_wide_strings": (
        CALL % (("PyUnicodeUCS4_Decode",) * 2), [],
        ["symbols of an interpreter with UCS-4 strings, none: 1 (PyUnicodeUCS4_Decode)"]),
    "a_library_that_receivers_may_lack": (
        INITIALISER, ["-Wl,--no-as-needed", "-l:ld.so.1"],
        ["libraries, of the C and C++ ones: 2 (ld.so.1, libc.so.6)"]),
    "a_symbol_of_a_newer_library": (
        CALL % (("getentropy",) * 2), [], ["symbol version GLIBC, at most 2.17: 2.25"]),
    "a_symbol_table_that_old_loaders_do_not_know": (
        INITIALISER, ["-Wl,--hash-style=gnu"],
        ["symbol table that old loaders know: no"]),
    "an_executable_stack": (
        INITIALISER, ["-Wl,-z,execstack"], ["stack, not executable: 1 (RWE)"]),
    "symbols_that_are_found_late": (
        INITIALISER, ["-Wl,-z,lazy"], ["symbols found when it is loaded: no"]),
    "a_hole_for_larger_pages": (
        INITIALISER, ["-Wl,-z,max-page-size=65536"],
        ["alignment of segments, to pages of 4096 bytes: 65536"]),
    "code_for_a_later_processor": (
        INITIALISER, ["-march=mips32r2"],
        ["header: MIPS32 release 1, o32: no", "ABI flags: MIPS32 release 1: no"]),
    "soft_float": (
        "double initKelvaro(double a) { return a; }", ["-msoft-float", "-nodefaultlibs"],
        ["ABI flags: hard float: no"]),
}


class CheckBinary(unittest.TestCase):

    def unmet(self, source=INITIALISER, options=(), target="mips32el"):
        """Return what the check finds wrong in a library made of this source."""
        with directory() as here:
            compiler = subprocess.Popen(
                ["mipsel-linux-gnu-gcc", "-xc", "-", "-o", here + "/module.so"] + SUITABLE
                + list(options), stdin=subprocess.PIPE, stderr=subprocess.PIPE)
            words = compiler.communicate(source)[1]
            self.assertEqual(compiler.returncode, 0, words)
            result = run("tools/check_binary.py", target, here + "/module.so")
            found = re.findall("(?m)^FAILED (.*)", result.stdout)
            self.assertEqual((result.status, result.stderr), (1 if found else 0, ""))
            return found

    def test_takes_a_suitable_file(self):
        self.assertEqual(self.unmet(), [])

    def test_refuses_a_file_for_another_processor(self):
        self.assertEqual(self.unmet(target="armhf"), ["32 bits, little-endian, EM_ARM: no"])

    def test_says_that_a_file_of_another_kind_cannot_be_read(self):
        with directory() as here:
            write(here + "/none.c", "")
            run("mipsel-linux-gnu-gcc", "-c", "-s", here + "/none.c", "-o", here + "/object.o")
            for path in (__file__, here + "/object.o", here + "/missing"):
                result = run("tools/check_binary.py", "mips32el", path)
                self.assertEqual((result.status, result.stderr.count("\n")), (2, 1), result)


def refuses(source, options, expected):
    """Return a test of one thing that is wrong."""
    def test(self):
        found = self.unmet(source, options)
        self.assertEqual(len(found), len(expected), found)
        for line, beginning in zip(found, expected):
            self.assertTrue(line.startswith(beginning), line)
    return test


for _name, _wrong in WRONG.items():
    setattr(CheckBinary, "test_refuses_" + _name, refuses(*_wrong))
