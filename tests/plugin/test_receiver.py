"""getInstalled lists the installed packages; getHeader names the image and the receiver."""

import os
import sys

from tests.support.receiver import (
    SCRATCH, Blank, Broken, ModuleTest, ReceiverTest, raising, write)

import enigma


class FromOpkg(ReceiverTest):
    """With a real shell and a script in place of opkg."""

    def test_installed_packages_are_the_first_words_of_the_lines_in_the_order_of_opkg(self):
        for listing, names in [("enigma2 - 3.1-r0\nbusybox - 1.24\nalone\n",
                                ["enigma2", "busybox", "alone"]), ("", [])]:
            self.install_opkg(installed=listing)
            found = self.module.getInstalled()
            self.assertEqual((type(found), found), (list, names))
            self.assertIsNot(self.module.getInstalled(), found)
            self.assertFiles(absent=[SCRATCH])


class Installed(ModuleTest):
    """With a command that runs nothing."""

    def scratch(self, content):
        """Let the command leave this in the scratch file."""
        self.box.patch(os, "system", lambda command: write(SCRATCH, content))

    def test_are_the_lines_as_they_stand(self):
        many = ["package-%d" % number for number in range(5000)]
        for content, names in [("one\ntwo\n", ["one", "two"]), ("one\ntwo", ["one", "two"]),
                               ("one\r\ntwo\rthree\n\n four \xff\n",
                                ["one", "two", "three", "", " four \xff"]),
                               ("\n".join(many), many)]:
            self.scratch(content)
            self.assertEqual(self.module.getInstalled(), names)
        self.assertIs(type(self.module.getInstalled()[0]), str)

    def test_are_none_without_a_file_and_those_of_a_former_file_when_it_is_left(self):
        self.box.patch(os, "system", lambda command: 256)
        self.assertEqual(self.module.getInstalled(), [])
        write(SCRATCH, "former\n")
        self.assertEqual(self.module.getInstalled(), ["former"])
        self.assertFiles(absent=[SCRATCH])

    def test_fail_with_the_closing_in_place_of_the_reading_where_both_fail(self):
        error = IOError(5, "close")

        class Stream(object):
            __enter__ = staticmethod(lambda: Blank(read=raising(Broken)))
            __exit__ = staticmethod(raising(error))

        self.scratch("one\n")
        self.replace(open=lambda *_: Stream())
        self.assertFails(error, ["getInstalled:47"], self.module.getInstalled)
        self.assertFiles([SCRATCH])

    def test_need_a_file_with_a_context(self):
        class Classic:
            def __enter__(self):
                raise AssertionError

        for stream in (Blank(read=lambda: ""), Classic()):
            self.scratch("one\n")
            self.replace(open=lambda *_: stream)
            self.assertFails(AttributeError, ["getInstalled:46"], self.module.getInstalled)

    def test_may_come_from_a_file_of_a_classic_class(self):
        left = []

        class Classic:
            def __enter__(self):
                return Blank(read=lambda: "one\ntwo\n")

            def __exit__(self, *exception):
                left.append(exception)

        self.scratch("")
        self.replace(open=lambda *_: Classic())
        self.assertEqual(self.module.getInstalled(), ["one", "two"])
        self.assertEqual(left, [(None, None, None)])

    def test_leave_a_real_file_closed_when_its_reading_fails(self):
        streams = []

        class Stream(type(sys.__stdin__)):
            read = raising(Broken)

        self.scratch("one\n")
        self.replace(open=lambda *args: streams.append(Stream(*args)) or streams[-1])
        self.assertFails(Broken, ["getInstalled:47"], self.module.getInstalled)
        self.assertTrue(streams[0].closed)


#: Model keys in the order of their comparison, and what the header says of each.
MODELS = (("duo", "Duo"), ("solo", "Solo"), ("uno", "Uno"), ("ultimo", "Ultimo"),
          ("solo2", "Solo2"), ("duo2", "Duo2"), ("solose", "Solo SE"), ("zero", "zero"),
          ("solo4k", "Solo 4K"), ("ultimo4k", "Ultimo 4K"), ("uno4k", "Uno 4K"),
          ("uno4kse", "Uno 4K SE"), ("zero4k", "Zero 4K"), ("duo4k", "Duo 4K"),
          ("duo4kse", "Duo 4K SE"))


class Header(ModuleTest):

    def header(self, model):
        self.module.vumodel = model
        return self.module.getHeader()

    def test_is_made_at_the_import_and_not_again(self):
        self.boot(model="uno4kse", image_version="4.2")
        enigma.zirk_version = "9"
        self.assertEqual(self.header("zero"), "Zirk 9 (Vu+ zero)\n")
        self.assertEqual(self.module.header, "Zirk 4.2 (Vu+ Uno 4K SE)\n")

    def test_names_each_model_by_its_whole_key_and_stays_open_for_others(self):
        for key, name in MODELS + ((u"uno4k", "Uno 4K"),):
            header = self.header(key)
            self.assertEqual((type(header), header), (str, "Zirk 3.1.0 (Vu+ %s)\n" % name))
        for key in ("", "du", "duo3", "Duo", "DUO", " duo", "duo ", "duo4k2", "solo 4k", None, 7):
            self.assertEqual(self.header(key), "Zirk 3.1.0 (Vu+ ")

    def test_holds_the_version_as_it_comes(self):
        for version in ("", " 3\n", "\xc3\xa4", u"3\xe4"):
            self.replace(getZirkVersionString=lambda: version)
            header = self.header("duo")
            self.assertEqual(header, "Zirk " + version + " (Vu+ Duo)\n")
            self.assertIs(type(header), type(version))

    def test_may_be_extended_in_place_by_the_version(self):
        class Version(object):
            def __init__(self):
                self.parts = []

            def add(self, *part):
                self.parts.append(part)
                return self

            def __radd__(self, text):
                return self.add(text, "+")

            def __add__(self, text):
                return self.add("+", text)

            def __iadd__(self, text):
                return self.add("+=", text)

        self.replace(getZirkVersionString=Version)
        self.assertEqual(self.header("duo").parts,
                         [("Zirk ", "+"), ("+", " (Vu+ "), ("+=", "Duo)\n")])
