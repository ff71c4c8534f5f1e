"""getInstalled lists the installed packages; getHeader names the image and the receiver."""

import os
import sys
import unittest

from simulator import packages
from simulator.receiver import Receiver  # before the host's modules
import enigma
from tests.support.receiver import OPKG, SCRATCH, Blank, ModuleTest, raising

COMMAND = "/usr/bin/opkg list-installed | cut -f'0' -d ' ' > /tmp/.installed"


class InstalledTest(ModuleTest):

    def setUp(self):
        super(InstalledTest, self).setUp()
        link = os.readlink(OPKG)

        def restore():
            if os.path.lexists(OPKG):
                os.remove(OPKG)
            os.symlink(link, OPKG)

        self.addCleanup(restore)

    def opkg_prints(self, text):
        """Make `opkg list-installed` print this, and be wrong about anything else."""
        with open("/tmp/printed", "wb") as stream:
            stream.write(text)
        self.addCleanup(os.remove, "/tmp/printed")
        os.remove(OPKG)
        with open(OPKG, "w") as stream:
            stream.write("#!/bin/sh\n[ \"$*\" = list-installed ] && cat /tmp/printed\n")
        os.chmod(OPKG, 0o755)

    def scratch(self, content):
        """Let the command leave this in the scratch file without running anything."""
        def system(command):
            with open(SCRATCH, "wb") as stream:
                stream.write(content)

        self.box.patch(os, "system", system)


class InstalledPackages(InstalledTest):

    def test_are_the_first_words_of_the_lines_that_opkg_prints(self):
        self.opkg_prints("enigma2 - 3.1-r0\nbusybox - 1.24\nalone\n")
        self.assertEqual(self.module.getInstalled(), ["enigma2", "busybox", "alone"])

    def test_come_from_the_package_manager_in_its_order(self):
        packages.install_initial_state([packages.Package("enigma2-skin-blue", "3.4-r5"),
                                        packages.Package("busybox", "1.24"),
                                        packages.Package("aaa", "1")])
        self.addCleanup(packages.install_initial_state, [])
        found = self.module.getInstalled()
        self.assertEqual(found, sorted(packages.installed_packages()))
        self.assertEqual(len(found), 3)

    def test_are_plain_strings_in_a_new_list(self):
        self.opkg_prints("one - 1\n")
        found = self.module.getInstalled()
        self.assertIs(type(found), list)
        self.assertIs(type(found[0]), str)
        self.assertIsNot(self.module.getInstalled(), found)

    def test_are_none_when_nothing_is_installed(self):
        self.opkg_prints("")
        self.assertEqual(self.module.getInstalled(), [])

    def test_are_none_without_the_package_manager(self):
        os.remove(OPKG)
        # What the shell says about it is not the module's and goes nowhere here.
        stderr = os.dup(2)
        nothing = os.open(os.devnull, os.O_WRONLY)
        os.dup2(nothing, 2)
        try:
            self.assertEqual(self.module.getInstalled(), [])
        finally:
            os.dup2(stderr, 2)
            os.close(stderr)
            os.close(nothing)
        self.assertFalse(os.path.exists(SCRATCH))

    def test_leave_no_scratch_file(self):
        self.opkg_prints("one - 1\n")
        self.module.getInstalled()
        self.assertFalse(os.path.exists(SCRATCH))

    def test_are_the_same_with_and_without_a_final_line_end(self):
        for content in ("one\ntwo\n", "one\ntwo"):
            self.scratch(content)
            self.assertEqual(self.module.getInstalled(), ["one", "two"])

    def test_are_the_lines_as_they_stand(self):
        self.scratch("one\r\ntwo\rthree\n\n four \xff\n")
        self.assertEqual(self.module.getInstalled(), ["one", "two", "three", "", " four \xff"])

    def test_may_be_many(self):
        names = ["package-%d" % number for number in range(5000)]
        self.scratch("\n".join(names))
        self.assertEqual(self.module.getInstalled(), names)

    def test_are_none_when_the_command_leaves_no_file(self):
        self.box.patch(os, "system", lambda command: 0)
        self.assertEqual(self.module.getInstalled(), [])

    def test_are_read_from_a_former_file_when_the_command_leaves_it(self):
        self.scratch("former\n")
        os.system("")
        self.box.patch(os, "system", lambda command: 256)
        self.assertEqual(self.module.getInstalled(), ["former"])
        self.assertFalse(os.path.exists(SCRATCH))

    def test_are_asked_for_by_exactly_this_command(self):
        commands = []
        self.box.patch(os, "system", lambda *arguments: commands.append(arguments))
        self.module.getInstalled()
        self.assertEqual(commands, [(COMMAND,)])

    def test_go_through_the_file_that_the_module_names(self):
        commands = []
        self.box.patch(os, "system", commands.append)
        self.module.packageinstalledfile = "/tmp/elsewhere"
        with open("/tmp/elsewhere", "w") as stream:
            stream.write("one\n")
        self.assertEqual(self.module.getInstalled(), ["one"])
        self.assertFalse(os.path.exists("/tmp/elsewhere"))
        self.assertEqual(commands, [COMMAND.replace(SCRATCH, "/tmp/elsewhere")])

    def test_are_opened_as_binary_and_closed_before_the_removal(self):
        opened, closed = [], []

        def keep(*arguments):
            opened.append((arguments, open(*arguments)))
            return opened[-1][1]

        self.scratch("one\n")
        self.replace(open=keep, remove=lambda name: closed.append((name, opened[0][1].closed)))
        self.module.getInstalled()
        self.assertEqual([arguments for arguments, _ in opened], [(SCRATCH, "rb")])
        self.assertEqual(closed, [(SCRATCH, True)])


class InstalledFailures(InstalledTest):

    def test_of_the_command_itself_pass(self):
        error = KeyError("system")
        self.box.patch(os, "system", raising(error))
        self.assertFails(error, ["getInstalled:44"], self.module.getInstalled)

    def test_of_the_look_at_the_file_pass(self):
        error = KeyError("exists")
        self.scratch("one\n")
        self.replace(os_path=Blank(exists=raising(error)))
        self.assertFails(error, ["getInstalled:45"], self.module.getInstalled)
        self.assertTrue(os.path.exists(SCRATCH))

    def test_of_the_opening_pass_and_the_file_stays(self):
        self.box.patch(os, "system", lambda _: os.mkdir(SCRATCH))
        self.addCleanup(os.rmdir, SCRATCH)
        self.assertFails(IOError, ["getInstalled:46"], self.module.getInstalled)

    def test_of_the_removal_pass(self):
        error = OSError(13, "no")
        self.scratch("one\n")
        self.replace(remove=raising(error))
        self.assertFails(error, ["getInstalled:48"], self.module.getInstalled)

    def check_reading(self, entries, error, entered=None, exit=None, removed=False):
        """Check a failure, or with error None the result, when `open` gives a certain context.

        entered: what its __enter__ gives. exit: replaces its __exit__, given the exception.
        removed: whether the scratch file goes. Returns what __exit__ was called with.
        """
        exits = []

        class Stream(object):
            def __enter__(self):
                return entered

            def __exit__(self, *exception):
                exits.append(exception[:2])
                return exit(exception) if exit else None

        self.scratch("one\n")
        self.replace(open=lambda *_: Stream())
        if error is None:
            self.assertEqual(self.module.getInstalled(), entries)
        else:
            self.assertFails(error, entries, self.module.getInstalled)
        self.assertEqual(os.path.exists(SCRATCH), not removed)
        return exits

    def test_of_the_reading_pass_after_the_file_is_closed_and_it_stays(self):
        error = IOError(5, "read")
        exits = self.check_reading(["getInstalled:47"], error, Blank(read=raising(error)))
        self.assertEqual(exits, [(IOError, error)])

    def test_of_the_splitting_pass_after_the_file_is_closed_and_it_stays(self):
        exits = self.check_reading(["getInstalled:47"], AttributeError,
                                   Blank(read=lambda: None))
        self.assertEqual([kind for kind, _ in exits], [AttributeError])

    def test_of_the_closing_pass_and_the_file_stays(self):
        error = IOError(5, "close")
        exits = self.check_reading(["getInstalled:47"], error, Blank(read=lambda: "one"),
                                   raising(error))
        self.assertEqual(exits, [(None, None)])

    def test_of_the_closing_replace_those_of_the_reading(self):
        error = IOError(5, "close")
        first = KeyError("read")
        exits = self.check_reading(["getInstalled:47"], error, Blank(read=raising(first)),
                                   raising(error))
        self.assertEqual(exits, [(KeyError, first)])

    def test_of_the_reading_that_the_file_swallows_leave_an_empty_list(self):
        self.check_reading([], None, Blank(read=raising(KeyError())), lambda _: True, removed=True)

    def test_of_what_has_no_context_pass(self):
        self.scratch("one\n")
        self.replace(open=lambda *_: Blank(read=lambda: ""))
        self.assertFails(AttributeError, ["getInstalled:46"], self.module.getInstalled)

    def test_close_a_real_file(self):
        streams = []

        class Stream(type(sys.__stdin__)):
            def read(self):
                raise KeyError("read")

        self.scratch("one\n")
        self.replace(open=lambda *a: streams.append(Stream(*a)) or streams[-1])
        self.assertFails(KeyError, ["getInstalled:47"], self.module.getInstalled)
        self.assertTrue(streams[0].closed)


#: Model keys in the order of their comparison, and what the header says of each.
MODELS = (("duo", "Duo"), ("solo", "Solo"), ("uno", "Uno"), ("ultimo", "Ultimo"),
          ("solo2", "Solo2"), ("duo2", "Duo2"), ("solose", "Solo SE"), ("zero", "zero"),
          ("solo4k", "Solo 4K"), ("ultimo4k", "Ultimo 4K"), ("uno4k", "Uno 4K"),
          ("uno4kse", "Uno 4K SE"), ("zero4k", "Zero 4K"), ("duo4k", "Duo 4K"),
          ("duo4kse", "Duo 4K SE"))


class HeaderAtImport(unittest.TestCase):

    def test_names_the_version_and_the_model_of_the_receiver(self):
        for key, name in MODELS:
            with Receiver(model=key, image_version="4.2", plugin_package=False) as box:
                self.assertEqual(box.module.header, "Zirk 4.2 (Vu+ %s)\n" % name)
                self.assertEqual(box.module.vumodel, key)

    def test_stays_open_for_a_model_that_is_not_known(self):
        with Receiver(model="cube", image_version="4.2", plugin_package=False) as box:
            self.assertEqual(box.module.header, "Zirk 4.2 (Vu+ ")

    def test_is_not_made_again_later(self):
        with Receiver(plugin_package=False) as box:
            enigma.zirk_version = "9"
            box.module.vumodel = "solo"
            self.assertEqual(box.module.header, "Zirk 3.1.0 (Vu+ Duo2)\n")
            self.assertEqual(box.module.getHeader(), "Zirk 9 (Vu+ Solo)\n")


class Header(ModuleTest):

    def header(self, model):
        self.module.vumodel = model
        return self.module.getHeader()

    def test_has_the_text_of_each_model(self):
        for key, name in MODELS:
            header = self.header(key)
            self.assertEqual(header, "Zirk 3.1.0 (Vu+ %s)\n" % name)
            self.assertIs(type(header), str)

    def test_compares_whole_keys(self):
        for key in ("", "du", "duo3", "Duo", "DUO", " duo", "duo ", "duo4k2", "solo 4k", None, 7):
            self.assertEqual(self.header(key), "Zirk 3.1.0 (Vu+ ")

    def test_compares_by_equality_in_the_order_of_the_table_up_to_the_first_match(self):
        for wanted in range(len(MODELS)):
            compared = []

            class Key(object):
                def __eq__(self, other):
                    compared.append(other)
                    return len(compared) > wanted

            self.assertEqual(self.header(Key()), "Zirk 3.1.0 (Vu+ %s)\n" % MODELS[wanted][1])
            self.assertEqual(compared, [key for key, _ in MODELS[:wanted + 1]])

    def test_takes_a_unicode_key(self):
        self.assertEqual(self.header(u"uno4k"), "Zirk 3.1.0 (Vu+ Uno 4K)\n")

    def test_holds_the_version_as_it_comes(self):
        for version in ("", " 3\n", "\xc3\xa4", u"3\xe4"):
            self.replace(getZirkVersionString=lambda: version)
            header = self.header("duo")
            self.assertEqual(header, "Zirk " + version + " (Vu+ Duo)\n")
            self.assertIs(type(header), type(version))

    def test_fails_as_the_version_does(self):
        error = KeyError("version")
        self.replace(getZirkVersionString=raising(error))
        self.assertFails(error, ["getHeader:52"], self.module.getHeader)

    def test_needs_a_text_for_a_version(self):
        for version in (None, 3, []):
            self.replace(getZirkVersionString=lambda: version)
            error = self.assertFails(TypeError, ["getHeader:53"], self.module.getHeader)
            self.assertEqual(str(error), "cannot concatenate 'str' and '%s' objects"
                             % type(version).__name__)

    def test_names_the_line_of_a_failing_comparison(self):
        error = KeyError("compare")
        for number in range(len(MODELS)):
            compared = []

            class Key(object):
                def __eq__(self, other):
                    compared.append(other)
                    if len(compared) > number:
                        raise error
                    return False

            self.module.vumodel = Key()
            self.assertFails(error, ["getHeader:%d" % (54 + 2 * number)], self.module.getHeader)
