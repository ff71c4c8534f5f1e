"""The check of the module's file finds what does not suit a receiver, and says what it found."""

import imp
import os
import shutil
import subprocess
import tempfile
import unittest

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
check_binary = imp.load_source("check_binary", os.path.join(PROJECT, "tools", "check_binary.py"))

SUITABLE = ["-Os", "-fPIC", "-shared", "-nostartfiles", "-s", "-march=mips32", "-mfp32",
            "-Wl,-z,relro,-z,now,-z,noexecstack", "-Wl,--hash-style=sysv"]
INITIALISER = "void initKelvaro(void) {}\n"
# An address that the loader puts in, so that something is to become read-only.
TABLE = "static const char letter; " \
    "static const char *const table[] __attribute__((used)) = {&letter};\n"


class CheckBinaryTest(unittest.TestCase):

    def setUp(self):
        self.directory = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.directory)

    def unmet(self, source=INITIALISER, options=(), target="mips32el"):
        """Compile `source` for MIPS; return {check: found} of what is not met."""
        path = os.path.join(self.directory, "module.so")
        compiler = subprocess.Popen(
            ["mipsel-linux-gnu-gcc", "-xc", "-", "-o", path] + SUITABLE + list(options),
            stdin=subprocess.PIPE, stderr=subprocess.PIPE)
        words = compiler.communicate(TABLE + source)[1]
        self.assertEqual(0, compiler.returncode, words)
        binary = check_binary.Binary(path)
        return dict((what, found) for met, what, found in check_binary.checks(binary, target)
                    if not met)

    def test_a_suitable_file_meets_all(self):
        self.assertEqual({}, self.unmet())

    def test_a_second_exported_symbol(self):
        self.assertEqual({"symbols exported, initKelvaro alone": "2 (initKelvaro, other)"},
                         self.unmet(INITIALISER + "void other(void) {}\n"))

    def test_a_library_that_receivers_may_lack(self):
        self.assertEqual({"libraries, of the C and C++ ones": "2 (ld.so.1, libc.so.6)"},
                         self.unmet(options=["-Wl,--no-as-needed", "-l:ld.so.1"]))

    def test_a_symbol_of_a_newer_library(self):
        self.assertEqual(
            {"symbol version GLIBC, at most 2.17": "2.25"},
            self.unmet("int getentropy(void *, unsigned);\n"
                       "void initKelvaro(void) { char c; getentropy(&c, 1); }\n"))

    def test_a_symbol_that_nobody_has(self):
        self.assertEqual({"symbols from neither the libraries nor the interpreter, none":
                          "1 (elsewhere)"},
                         self.unmet("void elsewhere(void);\n"
                                    "void initKelvaro(void) { elsewhere(); }\n"))

    def test_an_interpreter_with_wide_strings(self):
        self.assertEqual({"symbols of an interpreter with UCS-4 strings, none":
                          "1 (PyUnicodeUCS4_Decode)"},
                         self.unmet("void PyUnicodeUCS4_Decode(void);\n"
                                    "void initKelvaro(void) { PyUnicodeUCS4_Decode(); }\n"))

    def test_code_for_a_later_processor(self):
        self.assertEqual(["ABI flags: MIPS32 release 1", "header: MIPS32 release 1, o32"],
                         sorted(self.unmet(options=["-march=mips32r2"])))

    def test_soft_float(self):
        self.assertEqual(["ABI flags: hard float"],
                         list(self.unmet("double initKelvaro(double a) { return a; }\n",
                                         ["-msoft-float", "-nodefaultlibs"])))

    def test_another_processor(self):
        self.assertIn("32-bit ARM, little-endian", self.unmet(target="armhf"))

    def test_an_executable_stack(self):
        self.assertEqual({"stack, not executable": "RWE"},
                         self.unmet(options=["-Wl,-z,execstack"]))

    def test_writable_addresses_after_loading(self):
        self.assertEqual({"read-only after relocation, all at once": "0 segment, at once"},
                         self.unmet(options=["-Wl,-z,norelro"]))

    def test_a_symbol_table_that_old_loaders_do_not_know(self):
        self.assertEqual(["symbol table that old loaders know"],
                         list(self.unmet(options=["-Wl,--hash-style=gnu"])))

    def test_too_many_bytes(self):
        self.assertEqual(["bytes, at most 98304"], list(self.unmet(
            "const char filler[100000] __attribute__((used, visibility(\"hidden\"))) = {1};\n"
            + INITIALISER)))

    def test_symbols_for_debuggers(self):
        self.assertEqual({"sections for debuggers only, none": "1 (.symtab)"},
                         self.unmet(options=["-Wl,--emit-relocs"]))

    def test_a_file_of_another_kind(self):
        self.assertRaises(IOError, check_binary.Binary, os.path.abspath(__file__))


if __name__ == "__main__":
    unittest.main()
