"""The packages that packaging/package makes: what is in them, and that a receiver can use it."""
from __future__ import print_function

import hashlib
import os
import re
import shutil
import tempfile
import unittest

from simulator import plugin_files
from tests.support import package_file
from tests.support.machine import PROJECT, directory, run

DIRECTORY = "/usr/lib/enigma2/python/Plugins/SystemPlugins/ZIRKPanel"


def content(path):
    with open(path, "rb") as stream:
        return stream.read()


class PackageTest(object):
    """The tests of one target's package; subclasses say which."""

    target = architecture = None

    @classmethod
    def setUpClass(cls):
        cls.work = tempfile.mkdtemp(prefix="kelvaro-package-")
        cls.version = re.search(r"(?m)^project\(\w+ VERSION (\S+)",
                                content(PROJECT + "/CMakeLists.txt")).group(1)
        cls.path, cls.printed = cls.make(PROJECT, "first")
        cls.package = package_file.Package(cls.path)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.work)

    @classmethod
    def make(cls, project, output):
        """Make the package from the sources there; return its path and the line printed."""
        output = os.path.join(cls.work, output)
        result = run(project + "/packaging/package", "--output", output, cls.target,
                     SOURCE_DATE_EPOCH="1000000000")
        if result.status != 0:
            raise AssertionError(result.stderr)
        name, = os.listdir(output)
        return os.path.join(output, name), result.stdout

    def test_its_file_is_named_by_its_fields_and_printed_with_size_and_checksum(self):
        packed = content(self.path)
        self.assertEqual("kelvaro_%s-r0_%s.ipk" % (self.version, self.architecture),
                         os.path.basename(self.path))
        self.assertEqual("%s  %d bytes  SHA-256 %s\n" % (
            self.path, len(packed), hashlib.sha256(packed).hexdigest()), self.printed)

    def test_the_control_fields_are_those_that_feeds_use(self):
        control = dict(self.package.control)
        size = int(control.pop("Installed-Size"))
        self.assertAlmostEqual(size, sum(map(len, self.package.files().values())) / 1024.0,
                               delta=64)
        self.assertEqual("News and software updates for the receiver's Enigma2 screen",
                         control.pop("Description").split("\n")[0])
        self.assertEqual({
            "Package": "kelvaro",
            "Version": self.version + "-r0",
            "Architecture": self.architecture,
            "Depends": "python-core, python-netclient, python-pickle, python-xml",
            "Maintainer": "Kelvaro developers",
            "Section": "extra",
            "Priority": "optional",
        }, control)

    def test_old_releases_of_opkg_can_read_it_and_all_is_roots(self):
        self.assertEqual(["debian-binary", "control.tar.gz", "data.tar.gz"],
                         [name for name, _, _ in self.package.members])
        self.assertEqual("2.0\n", self.package.members[0][2])
        for name, (time, owner, group, _), _ in self.package.members:
            self.assertEqual((1000000000, 0, 0), (time, owner, group), name)
        for info, _ in self.package.data + self.package.control_files:
            # Files and directories in plain tar, without extended headers.
            self.assertIn(info.type, ("0", "5"), info.name)
            self.assertEqual({}, info.pax_headers, info.name)
            self.assertEqual((1000000000, 0, 0, 0o755 if info.isdir() else 0o644),
                             (info.mtime, info.uid, info.gid, info.mode), info.name)

    def test_it_installs_the_plugins_files_and_nothing_else(self):
        files = self.package.files()
        self.assertEqual([DIRECTORY + "/" + name for name in (
            "Kelvaro.so", "locale/de/LC_MESSAGES/Kelvaro.mo", "pictures/update_info.png",
            "pictures/update_normal.png", "pictures/update_urgent.png", "skin_1280.xml",
            "skin_1920.xml")], sorted(files))
        self.assertEqual(content(PROJECT + "/plugin/pictures/update_info.png"),
                         files[DIRECTORY + "/pictures/update_info.png"])
        for width in (1280, 1920):  # as the simulator makes them
            self.assertEqual(plugin_files.skin_for(width),
                             files["%s/skin_%d.xml" % (DIRECTORY, width)])
        # The native module still has what debuggers need, which packing removes.
        if self.target != "native":
            self.assertEqual(content("%s/build/%s/Kelvaro.so" % (PROJECT, self.target)),
                             files[DIRECTORY + "/Kelvaro.so"])

    def test_the_same_sources_in_another_directory_give_the_same_bytes(self):
        elsewhere = os.path.join(self.work, "a copy of the sources")
        shutil.copytree(PROJECT, elsewhere, ignore=shutil.ignore_patterns("build", ".git"))
        self.assertEqual(content(self.path), content(self.make(elsewhere, "again")[0]))

    def test_the_plugins_code_imports_and_shows_it_on_an_empty_root(self):
        target = [] if self.target == "native" else ["--target", self.target]
        interpreter = run("tools/python27", *target).stdout.strip()
        for width in ("1280", "1920"):
            result = run("tools/sandbox", "--writable", self.work, "python2.7", "-O", "-m",
                         "tests.support.unpacked", self.path, width, KELVARO_PYTHON=interpreter)
            self.assertEqual([
                "Plugins.SystemPlugins.ZIRKPanel.Kelvaro",
                DIRECTORY + "/Kelvaro.so",
                "AllNews ['Bitte warten ...'] ['info']",
                "['info', 'normal', 'urgent']",
                "ZirkUpdateInfo Zirk 3.1.0 (Vu+ Duo2) Updates anzeigen",
            ], result.stdout.splitlines(), result.stderr)


class Native(PackageTest, unittest.TestCase):
    target, architecture = "native", os.uname()[4]
    # For the time: those of the receivers show it.
    test_the_same_sources_in_another_directory_give_the_same_bytes = None


class Mips32el(PackageTest, unittest.TestCase):
    target = architecture = "mips32el"


class Armhf(PackageTest, unittest.TestCase):
    target, architecture = "armhf", "cortexa15hf-neon-vfpv4"


class CommandTest(unittest.TestCase):

    def test_wrong_usage_is_refused_in_one_sentence(self):
        for arguments, name, sentence in (
                (["armhf", "sparc"], None, "'sparc' is no target: name mips32el, armhf or native."),
                (["native", "armhf"], "cortexa9hf-neon", "KELVARO_ARCHITECTURE is for one target: "
                 "name it, as in packaging/package armhf."),
                (["--output"], None, "--output needs a directory.")):
            self.assertEqual(
                run("packaging/package", *arguments, KELVARO_ARCHITECTURE=name),
                (2, "", "package: %s\n" % sentence))

    def test_an_architecture_can_be_given_another_name(self):
        with directory() as here:
            result = run("packaging/package", "--output", here, "native",
                         KELVARO_ARCHITECTURE="another", SOURCE_DATE_EPOCH="0")
            self.assertEqual(result.status, 0, result)
            name, = os.listdir(here)
            self.assertTrue(name.endswith("_another.ipk"), name)
            self.assertEqual("another",
                             package_file.Package(here + "/" + name).control["Architecture"])


if __name__ == "__main__":
    unittest.main()
