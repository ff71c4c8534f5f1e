"""The packages that packaging/package makes: what is in them, and that a receiver can use it."""

import glob
import hashlib
import os
import shutil
import tempfile
import unittest

from simulator import plugin_files
from tests.support import package_file
from tests.support.machine import PROJECT, directory, run, write
from tests.support.sampling import ONE_IN

DIRECTORY = "/usr/lib/enigma2/python/Plugins/SystemPlugins/ZIRKPanel"
NEWEST = 999999999
# What another user's environment may have, and must not matter.
ANOTHERS = dict(
    TZ="Asia/Tokyo", CXX="clang++", CXXFLAGS="-fsyntax-only", CFLAGS="-O0", CPATH="/nowhere",
    LDFLAGS="-Wl,-z,execstack", CMAKE_BUILD_TYPE="Debug", DESTDIR="/nowhere",
    CMAKE_GENERATOR="Unix Makefiles", TAR_OPTIONS="--owner=them:1000", GZIP="-1")
DEPENDS = "python-core, python-netclient, python-pickle, python-xml"

# A module with nothing in it that suits receivers, for what does not depend on the real one.
SMALL = """
#include "python/api.h"
const PyMethodDef functions[] = {{"name", nullptr, 0, nullptr}, {}};
PyMODINIT_FUNC __attribute__((visibility("default"))) initKelvaro() {
  Py_InitModule("Kelvaro", const_cast<PyMethodDef*>(functions));
}
"""


def content(path):
    with open(path, "rb") as stream:
        return stream.read()


def make(output, *arguments, **environment):
    """Make the packages of the sources there; return the Result."""
    project = environment.pop("project", PROJECT)
    environment.setdefault("SOURCE_DATE_EPOCH", "1000000000")
    return run(project + "/packaging/package", *(arguments + ("--output", output)), **environment)


def copy_of_sources(place):
    """Copy the project's sources, without their history and what others may just be making.

    All files are older than NEWEST.
    """
    shutil.copytree(PROJECT, place, ignore=shutil.ignore_patterns("build", ".git", "all", "*.pyc"))
    for above, _, names in os.walk(place):
        for name in names:
            os.utime(os.path.join(above, name), (NEWEST - 9, NEWEST - 9))


def small_copy_of_sources(place):
    """The same with a module that is built in no time, whose files are the newest."""
    copy_of_sources(place)
    for path in glob.glob(place + "/plugin/src/*.cpp") + \
            glob.glob(place + "/plugin/src/python/*.cpp"):
        write(path, SMALL if path.endswith("/module.cpp") else "")
        os.utime(path, (NEWEST, NEWEST))


class PackageTest(object):
    """The tests of one target's package, which another user makes; subclasses say which."""

    target = architecture = None

    @classmethod
    def setUpClass(cls):
        cls.work = tempfile.mkdtemp(prefix="kelvaro-package-")
        copy_of_sources(cls.work + "/another user")
        cache = os.environ.get("XDG_CACHE_HOME") or os.path.expanduser("~/.cache")
        os.mkdir(cls.work + "/cache")
        os.symlink(cache + "/kelvaro", cls.work + "/cache/kelvaro")
        mask = os.umask(0o077)
        result = make(cls.work + "/output", cls.target, project=cls.work + "/another user",
                      XDG_CACHE_HOME=cls.work + "/cache", **ANOTHERS)
        os.umask(mask)
        assert result.status == 0, result.stderr
        cls.printed = result.stdout
        cls.path, = glob.glob(cls.work + "/output/*.ipk")
        cls.package = package_file.Package(cls.path)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.work)

    def test_its_file_is_named_by_its_fields_and_printed_with_size_and_checksum(self):
        packed = content(self.path)
        self.assertEqual("kelvaro_1.0.0-r0_%s.ipk" % self.architecture, os.path.basename(self.path))
        self.assertEqual("%s  %d bytes  SHA-256 %s\n" % (
            self.path, len(packed), hashlib.sha256(packed).hexdigest()), self.printed)

    def test_the_control_fields_are_those_that_feeds_use(self):
        control = dict(self.package.control)
        self.assertRegexpMatches(control.pop("Description"), r"\A\S.*\S\n \S.*\S\Z")
        self.assertRegexpMatches(control.pop("Maintainer"), r"\A\S.* <\S+@\S+>\Z")
        self.assertEqual({
            "Package": "kelvaro",
            "Version": "1.0.0-r0",
            "Architecture": self.architecture,
            "Depends": DEPENDS,
            "Source": "kelvaro",
            "License": "MIT",
            "Section": "extra",
            "Priority": "optional",
            # opkg takes it for bytes, where Debian's packages have KiB.
            "Installed-Size": str(sum(map(len, self.package.files().values()))),
        }, control)

    def test_old_releases_of_opkg_and_of_its_index_can_read_it_and_all_is_roots(self):
        self.assertEqual(["debian-binary/", "control.tar.gz/", "data.tar.gz/"],
                         [name for name, _, _ in self.package.members])
        self.assertEqual("2.0\n", self.package.members[0][2])
        for name, (_, owner, group, _), _ in self.package.members:
            self.assertEqual((0, 0), (owner, group), name)
        for info, _ in self.package.data + self.package.control_files:
            # Files and directories in plain tar, without extended headers.
            self.assertIn(info.type, ("0", "5"), info.name)
            self.assertEqual({}, info.pax_headers, info.name)
            self.assertEqual((1000000000, 0, 0, 0o755 if info.isdir() else 0o644),
                             (info.mtime, info.uid, info.gid, info.mode), info.name)

    def test_it_installs_the_plugins_files_and_nothing_else(self):
        files = self.package.files()
        languages = [os.path.basename(path)[:-len(".po")]
                     for path in sorted(glob.glob(PROJECT + "/plugin/po/*.po"))]
        self.assertEqual([DIRECTORY + "/" + name for name in ["Kelvaro.so"] + [
            "locale/%s/LC_MESSAGES/Kelvaro.mo" % language for language in languages] + [
            "pictures/update_info.png", "pictures/update_normal.png", "pictures/update_urgent.png",
            "skin_1280.xml", "skin_1920.xml"]], sorted(files))
        self.assertEqual(content(PROJECT + "/plugin/pictures/update_info.png"),
                         files[DIRECTORY + "/pictures/update_info.png"])
        for width in (1280, 1920):  # as the simulator makes them
            self.assertEqual(plugin_files.skin_for(width),
                             files["%s/skin_%d.xml" % (DIRECTORY, width)])
        # The very module that all other tests are about.
        built = "%s/build/%s/Kelvaro.so" % (PROJECT, self.target)
        self.assertEqual(content(built), files[DIRECTORY + "/Kelvaro.so"])
        self.assertEqual(content(built + ".debug"), content(self.path[:-len("ipk")] + "debug"))

    def test_the_plugins_code_imports_and_shows_it_on_an_empty_root(self):
        interpreter = run("tools/python27", "--target", self.target).stdout.strip()
        result = run("tools/sandbox", "--writable", self.work, "python2.7", "-O", "-m",
                     "tests.support.unpacked", self.path, KELVARO_PYTHON=interpreter)
        self.assertEqual([
            "Plugins.SystemPlugins.ZIRKPanel.Kelvaro",
            DIRECTORY + "/Kelvaro.so",
            "AllNews ['Bitte warten ...'] ['info']",
            "['info', 'normal', 'urgent']",
            "ZirkUpdateInfo Zirk 3.1.0 (Vu+ Duo2) Updates anzeigen",
        ] * 2, result.stdout.splitlines(), result.stderr)


class Mips32el(PackageTest, unittest.TestCase):
    target = architecture = "mips32el"


if ONE_IN == 1:
    class Armhf(PackageTest, unittest.TestCase):
        target, architecture = "armhf", "cortexa15hf-neon-vfpv4"


class SmallTest(unittest.TestCase):
    """Copies of the project with a module that is built in no time."""

    def setUp(self):
        context = directory()
        self.work = context.__enter__()
        self.addCleanup(context.__exit__, None, None, None)
        self.sources = self.work + "/repository/sources"
        self.output = self.work + "/output"
        small_copy_of_sources(self.sources)

    def package(self, target, **environment):
        result = make(self.output, target, project=self.sources, **environment)
        self.assertEqual(0, result.status, result.stderr)
        return package_file.Package(result.stdout.split("  ")[0])

    def test_an_image_sets_the_fields_the_files_and_its_own_headers(self):
        interpreter = run("tools/python27", "--target", "armhf").stdout.strip()
        headers = os.path.dirname(os.path.dirname(interpreter)) + "/include/python2.7"
        package = self.package(
            "armhf", KELVARO_ARCHITECTURE="another", KELVARO_REVISION="r7",
            KELVARO_FILES="skins texts", KELVARO_LANGUAGES="fr no",
            KELVARO_PLUGIN_PACKAGE="enigma2-plugin-zirk", KELVARO_HOMEPAGE="http://zirk.example",
            KELVARO_MAINTAINER="Zirk <images@zirk.example>", KELVARO_PYTHON_INCLUDE=headers,
            XDG_CACHE_HOME="/no cache: a Python cannot be built here")
        self.assertEqual(["kelvaro_1.0.0-r7_another.debug", "kelvaro_1.0.0-r7_another.ipk"],
                         sorted(os.listdir(self.output)))
        expected = {"Architecture": "another", "Version": "1.0.0-r7",
                    "Depends": DEPENDS + ", enigma2-plugin-zirk",
                    "Homepage": "http://zirk.example", "Maintainer": "Zirk <images@zirk.example>"}
        self.assertEqual(expected, {name: package.control.get(name) for name in expected})
        self.assertEqual(
            ["Kelvaro.so", "locale/fr/LC_MESSAGES/Kelvaro.mo", "locale/no/LC_MESSAGES/Kelvaro.mo",
             "skin_1280.xml", "skin_1920.xml"],
            sorted(os.path.relpath(name, DIRECTORY) for name in package.files()))

    def test_a_module_that_does_not_suit_receivers_is_not_packed(self):
        write(self.sources + "/plugin/src/module.cpp", "")
        result = make(self.output, "mips32el", project=self.sources)
        self.assertEqual((1, ""), (result.status, result.stdout))
        self.assertRegexpMatches(
            result.stderr, r"FAILED symbols exported, initKelvaro alone: 0\n[^$]*"
            r"\npackage: the module for mips32el does not suit receivers, .*\n\Z")
        self.assertFalse(os.path.exists(self.output))

    def test_sources_without_a_history_are_as_old_as_their_newest_file_whoever_makes_it(self):
        run("git", "init", self.work + "/repository")  # of other things
        package = self.package("armhf", SOURCE_DATE_EPOCH=None)
        self.assertEqual({NEWEST}, {info.mtime for info, _ in package.data})
        self.assertEqual("cortexa15hf-neon-vfpv4", package.control["Architecture"])
        ours, self.output = self.output, self.work + "/theirs"
        self.package("armhf", SOURCE_DATE_EPOCH=None, **ANOTHERS)
        for name in os.listdir(ours):
            self.assertEqual(content(ours + "/" + name), content(self.output + "/" + name), name)

    def test_a_history_that_git_cannot_read_gets_gits_own_reason(self):
        run("git", "init", "--initial-branch", "main", self.sources)
        result = make(self.output, project=self.sources, SOURCE_DATE_EPOCH=None)
        self.assertEqual((2, ""), (result.status, result.stdout))
        self.assertRegexpMatches(
            result.stderr, r"\Afatal: .* 'main' does not have any commits yet\npackage: git .*\n\Z")


class CommandTest(unittest.TestCase):

    def test_wrong_usage_is_refused_in_one_sentence(self):
        one = "%s is for one target: name it, as in packaging/package armhf."
        for arguments, name, sentence in (
                (["armhf", "sparc"], None,
                 "'sparc' is no target: name mips32el, armhf, or none for both."),
                (["mips32el", "armhf"], "KELVARO_ARCHITECTURE", one % "KELVARO_ARCHITECTURE"),
                ([], "KELVARO_PYTHON_INCLUDE", one % "KELVARO_PYTHON_INCLUDE"),
                (["armhf", "--output"], None, "--output needs a directory.")):
            settings = {name: "a"} if name else {}
            self.assertEqual((2, "", "package: %s\n" % sentence),
                             run("packaging/package", *arguments, **settings))
