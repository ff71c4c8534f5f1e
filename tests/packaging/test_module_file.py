"""The built module as a file: what it offers to the loader and what it asks of it."""

import re
import unittest

from tests.support.machine import MODULE, run


class ModuleFile(unittest.TestCase):

    def read(self, *command):
        result = run(*(command + (MODULE,)))
        self.assertEqual((result.status, result.stderr), (0, ""))
        return result.stdout

    def test_the_only_symbol_it_offers_is_the_initialiser(self):
        symbols = [line.split()[-2:] for line in
                   self.read("nm", "-D", "--defined-only").splitlines()]
        self.assertEqual(symbols, [["T", "initKelvaro"]])

    def test_it_needs_only_the_libraries_of_c_and_cpp(self):
        needed = re.findall(r"NEEDED.*\[(\w+)", self.read("readelf", "-d"))
        self.assertEqual(set(needed) - set(["libc", "libm", "libgcc_s", "libstdc"]), set())

    def test_it_uses_no_ucs4_function(self):
        undefined = self.read("nm", "-D", "--undefined-only")
        self.assertIn("PyUnicodeUCS2_", undefined)
        self.assertNotIn("PyUnicodeUCS4_", undefined)

    def test_its_stack_is_not_executable_and_its_text_has_no_relocations(self):
        stack = re.search(r"GNU_STACK(?:\s+0x\w+){5}\s+(\w+)", self.read("readelf", "-lW"))
        self.assertEqual(stack.group(1), "RW")
        self.assertNotIn("TEXTREL", self.read("readelf", "-d"))


if __name__ == "__main__":
    unittest.main()
