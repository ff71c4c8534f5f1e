"""The packages that packaging/package makes: what is in them, and that a receiver can use it.

Each target is built twice, the second time from a copy of the sources elsewhere.
"""
from __future__ import print_function

import hashlib
import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest

from simulator import plugin_files
from tests.support import packages

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
DIRECTORY = "/usr/lib/enigma2/python/Plugins/SystemPlugins/ZIRKPanel"

#: Target to the feed's name of its architecture, and what readelf calls the machine.
TARGETS = {
    "native": (os.uname()[4], None),
    "mips32el": ("mips32el", "MIPS R3000"),
    "armhf": ("cortexa15hf-neon-vfpv4", "ARM"),
}


def run(command, **options):
    """Run a command in the project and return its standard output; its errors are shown."""
    options.setdefault("cwd", ROOT)
    return subprocess.check_output(command, **options)


def interpreter(target):
    """Return the path of a target's interpreter; other processors' run in emulation."""
    command = [os.path.join(ROOT, "tools", "python27")]
    return run(command if target == "native" else command + ["--target", target]).strip()


def copy_sources(place):
    """Copy the project's files, as they are now and without their history, to a directory."""
    names = run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"])
    for name in names.split("\0"):
        if name and os.path.exists(os.path.join(ROOT, name)):
            target = os.path.join(place, name)
            if not os.path.isdir(os.path.dirname(target)):
                os.makedirs(os.path.dirname(target))
            shutil.copy(os.path.join(ROOT, name), target)


def make(root, target, output, time, **environment):
    """Make a target's package; return its path and the line printed."""
    with open(os.path.join(output, "log"), "w+") as log:
        try:
            printed = run([os.path.join(root, "package"), "--output", output, target], cwd=root,
                          env=dict(os.environ, SOURCE_DATE_EPOCH=str(time), **environment),
                          stderr=log)
        except subprocess.CalledProcessError:
            log.seek(0)
            print(log.read())
            raise
    name, = [name for name in os.listdir(output) if name.endswith(".ipk")]
    return os.path.join(output, name), printed


class PackageTest(object):
    """The tests of one target's package; subclasses say which."""

    target = None

    @classmethod
    def setUpClass(cls):
        cls.architecture, cls.machine = TARGETS[cls.target]
        cls.work = tempfile.mkdtemp(prefix="kelvaro-package-")
        first, again = [os.path.join(cls.work, name) for name in ("first", "again")]
        os.mkdir(first)
        os.mkdir(again)
        with open(os.path.join(ROOT, "CMakeLists.txt")) as stream:
            cls.version = re.search(r"^project\(\w+ VERSION (\S+)", stream.read(), re.M).group(1)
        cls.time = int(run(["git", "log", "-1", "--format=%ct"]))
        cls.path, cls.printed = make(ROOT, cls.target, first, cls.time)
        cls.again = again
        cls.package = packages.Package(cls.path)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.work)

    def content(self, path):
        with open(path, "rb") as stream:
            return stream.read()

    def module(self):
        """Return the path of the module, unpacked."""
        path = os.path.join(self.work, "Kelvaro.so")
        with open(path, "wb") as stream:
            stream.write(self.package.files()[DIRECTORY + "/Kelvaro.so"])
        return path

    def test_the_file_is_named_after_package_version_and_architecture(self):
        self.assertEqual("kelvaro_%s-r0_%s.ipk" % (self.version, self.architecture),
                         os.path.basename(self.path))

    def test_its_path_size_and_checksum_are_printed(self):
        content = self.content(self.path)
        self.assertEqual("%s  %d bytes  SHA-256 %s\n" % (
            self.path, len(content), hashlib.sha256(content).hexdigest()), self.printed)

    def test_the_archive_holds_what_opkg_reads_in_this_order(self):
        self.assertEqual(["debian-binary", "control.tar.gz", "data.tar.gz"],
                         [name for name, _, _ in self.package.members])
        self.assertEqual("2.0\n", self.package.members[0][2])

    def test_the_control_fields_are_those_that_feeds_use(self):
        control = dict(self.package.control)
        size = int(control.pop("Installed-Size"))
        self.assertAlmostEqual(size, sum(map(len, self.package.files().values())) / 1024.0,
                               delta=64)
        description = control.pop("Description").split("\n")
        self.assertEqual("News and software updates for the receiver's Enigma2 screen",
                         description[0])
        self.assertEqual({
            "Package": "kelvaro",
            "Version": self.version + "-r0",
            "Architecture": self.architecture,
            "Depends": "python-core, python-netclient, python-pickle, python-xml",
            "Maintainer": "Kelvaro developers",
            "Section": "extra",
            "Priority": "optional",
        }, control)

    def test_all_is_roots_and_as_old_as_the_last_commit(self):
        for name, (time, owner, group, mode), _ in self.package.members:
            self.assertEqual((self.time, 0, 0), (time, owner, group), name)
        for info, _ in self.package.data + self.package.control_files:
            self.assertEqual((self.time, 0, 0, "root", "root", 0o755 if info.isdir() else 0o644),
                             (info.mtime, info.uid, info.gid, info.uname, info.gname, info.mode),
                             info.name)

    def test_the_members_are_sorted_files_and_directories_in_plain_tar(self):
        names = [info.name for info, _ in self.package.data]
        self.assertEqual(sorted(names), names)
        # opkg of the older kind knows neither extended headers nor other members.
        for info, _ in self.package.data + self.package.control_files:
            self.assertIn(info.type, ("0", "5"), info.name)
            self.assertEqual({}, info.pax_headers, info.name)

    def test_it_installs_the_plugins_files_and_nothing_else(self):
        files = self.package.files()
        self.assertEqual([DIRECTORY + "/" + name for name in (
            "Kelvaro.so", "locale/de/LC_MESSAGES/Kelvaro.mo", "pictures/update_info.png",
            "pictures/update_normal.png", "pictures/update_urgent.png", "skin_1280.xml",
            "skin_1920.xml")], sorted(files))
        expected = {"pictures/update_info.png": self.content(
            os.path.join(ROOT, "plugin", "pictures", "update_info.png"))}
        for width in (1280, 1920):  # as the simulator makes them
            expected["skin_%d.xml" % width] = plugin_files.skin_for(width)
        for name, content in expected.items():
            self.assertEqual(content, files[DIRECTORY + "/" + name])

    def test_the_module_is_stripped_and_for_the_targets_machine(self):
        sections = run(["readelf", "--wide", "--sections", self.module()])
        self.assertIn(".dynsym", sections)
        self.assertNotIn(".symtab", sections)
        self.assertNotIn(".debug_info", sections)
        if self.machine:
            self.assertRegexpMatches(run(["readelf", "--file-header", self.module()]),
                                     r"Machine: +%s" % self.machine)

    def test_the_module_is_the_one_built_and_tested_byte_for_byte(self):
        # The native one still has what debuggers need, which packing removes.
        if self.machine:
            self.assertEqual(
                self.content(os.path.join(ROOT, "build", self.target, "Kelvaro.so")),
                self.package.files()[DIRECTORY + "/Kelvaro.so"])

    def test_a_second_build_in_another_directory_gives_the_same_bytes(self):
        elsewhere = os.path.join(self.work, "a copy of the sources")
        copy_sources(elsewhere)
        path, _ = make(elsewhere, self.target, self.again, self.time)
        self.assertEqual(hashlib.sha256(self.content(self.path)).hexdigest(),
                         hashlib.sha256(self.content(path)).hexdigest())

    def test_the_plugins_code_imports_and_shows_it_on_an_empty_root(self):
        for width in ("1280", "1920"):
            printed = run([os.path.join(ROOT, "tools", "sandbox"), "--writable", self.work,
                           "python2.7", "-O", "-m", "tests.support.unpacked", self.path, width],
                          env=dict(os.environ, KELVARO_PYTHON=interpreter(self.target)))
            self.assertEqual([
                "Plugins.SystemPlugins.ZIRKPanel.Kelvaro",
                DIRECTORY + "/Kelvaro.so",
                "AllNews ['Bitte warten ...'] ['info']",
                "['info', 'normal', 'urgent']",
                "ZirkUpdateInfo Zirk 3.1.0 (Vu+ Duo2) Updates anzeigen",
            ], printed.splitlines())


class CommandTest(unittest.TestCase):

    def refused(self, *arguments, **environment):
        """Run packaging/package, which must refuse; return the sentence that it says."""
        process = subprocess.Popen((os.path.join(ROOT, "package"),) + arguments,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   env=dict(os.environ, **environment))
        output, errors = process.communicate()
        self.assertEqual((2, ""), (process.returncode, output))
        return errors

    def test_an_unknown_target_is_refused_with_the_known_ones(self):
        self.assertEqual("package: 'sparc' is no target: name mips32el, armhf or native.\n",
                         self.refused("armhf", "sparc"))

    def test_one_architectures_name_for_two_targets_is_refused(self):
        self.assertIn("name it, as in packaging/package armhf",
                      self.refused("native", "armhf", KELVARO_ARCHITECTURE="cortexa9hf-neon"))

    def test_an_architecture_can_be_given_another_name(self):
        work = tempfile.mkdtemp(prefix="kelvaro-package-")
        self.addCleanup(shutil.rmtree, work)
        path, _ = make(ROOT, "armhf", work, 0, KELVARO_ARCHITECTURE="cortexa9hf-neon")
        self.assertTrue(path.endswith("_cortexa9hf-neon.ipk"), path)
        self.assertEqual("cortexa9hf-neon", packages.Package(path).control["Architecture"])


def _presets():
    with open(os.path.join(ROOT, "CMakePresets.json")) as stream:
        return [str(preset["name"]) for preset in json.load(stream)["configurePresets"]]


for _name in _presets():
    if _name in TARGETS:
        _class = "%sPackageTest" % _name.capitalize()
        globals()[_class] = type(_class, (PackageTest, unittest.TestCase), {"target": _name})

if __name__ == "__main__":
    unittest.main()
