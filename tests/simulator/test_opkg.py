"""The package manager's stand-in does what opkg 0.3.5 was recorded to do."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest

from simulator.feedserver import FeedServer
from simulator.opkg import archive, database, versions
from simulator.packages import Package, build_feed, install_initial_state, installed_packages
from tests.support import transcripts
from tests.support.machine import run

OPKG = "/usr/bin/opkg"
CONFIGURATION = "/etc/opkg/"

#: What of the recording is not replayed: a command, its first word or its note, and why.
LEFT_OUT = dict.fromkeys((
    "--version", "list", "info", "status", "files", "print-architecture", "flag",
    "list-changed-conffiles", "-f", "-V0", "--noaction", "-t", "pattern"), "Nobody here uses it.")
LEFT_OUT.update({
    "an unknown option": "The stand-in knows no options.",
    "binary x.conf": "opkg crashes.",
    "mode 0, as root": "Root in the sandbox has no power over such a file.",
    "status file cut in half": "What is left depends on the length of each paragraph.",
    "Provides": "No package here provides another.",
    "remove --force-depends --autoremove virt-user": "Likewise.",
    "conflicts with app-one": "No package here conflicts with another.",
    "remove --force-depends --autoremove essential": "No package here is essential."})
#: A line that comes of a command left out.
HELD = "Not upgrading package Zeta which is marked hold (flags=0x2).\n"

#: What was run before the command of a note, and is not in the recording.
BEFORE = {"a directory x.conf": "update", "conflicts with app-one": "install app-one",
          "MD5Sum wrong": "remove {0}10 {0}11".format("enigma2-plugin-extensions-demo")}
#: The faults of each index under the notes about them; the lists were brought up to date before.
GONE = {"status": 404}
EMPTY = subprocess.check_output("gzip < /dev/null", shell=True)
ANSWERS = {
    "second of two feeds 404": {"mips32el": GONE}, "first of two feeds 404": {"all": GONE},
    "both 404": {"all": GONE, "mips32el": GONE}, "index: 500": {"all": {"status": 500}},
    "index: drop": {"all": {"drop": "headers"}}, "index: short": {"all": {"drop": "middle"}},
    "index: stall": {"all": {"stall": "middle", "seconds": 0.1, "drop": "middle"}},
    "index: garbage": {"all": {"body": "<html>Sign in</html>"}},
    "index: empty": {"all": {"body": EMPTY}}, "index: zero": {"all": {"body": ""}},
    "index: redirect": {"all": {"status": 302, "body": "", "headers": [("Location", "/")]}},
    "slash at the end": {"all/": {"body": EMPTY}}}
SOURCE = "src/gz Zirk-all ADDRESS/all"
FILES = {"all-feed.conf": SOURCE + "\n",
         "mips32el-feed.conf": "src/gz Zirk-mips32el ADDRESS/mips32el\n",
         "arch.conf": "arch all 1\narch any 6\narch noarch 11\narch mips32el 21\n"}
#: The files of the configuration that were others under the notes about them.
CHANGED = {
    "first feed refused": {"all-feed.conf": "src/gz Zirk-all http://127.0.0.1:1/all\n"},
    "host unknown": {"all-feed.conf": "src/gz Zirk-all http://no.such.host.invalid/all\n"},
    "CRLF": {"all-feed.conf": SOURCE + "\r\n"}, "no last line end": {"all-feed.conf": SOURCE},
    "slash at the end": {"all-feed.conf": SOURCE + "/\n"},
    "quoted name": {"all-feed.conf": 'src/gz "Zirk all" ADDRESS/all\n'},
    "a line 'foo bar'": {"x.conf": "foo bar\n"},
    "src/gz without an address": {"x.conf": "src/gz Zirk-other\n"},
    "arch without a priority": {"x.conf": "arch other\n"},
    "a source name twice": {"x.conf": "src/gz Zirk-all ADDRESS/mips32el\n"},
    "a directory x.conf": {"x.conf/y": ""}}


class StandInTest(unittest.TestCase):
    """A receiver with nothing installed and a feed with nothing on offer."""

    maxDiff = None

    def setUp(self):
        if not os.path.islink(OPKG):
            self.fail("run this in tools/sandbox: it changes /etc/opkg and /var/lib/opkg")
        self.feed = build_feed(tempfile.mkdtemp(), [])
        self.addCleanup(shutil.rmtree, self.feed)
        self.server = FeedServer(self.feed).start()
        self.addCleanup(self.server.stop)
        self.configure(FILES)
        self.addCleanup(self.configure, {})
        install_initial_state([])
        self.addCleanup(install_initial_state, [])

    def configure(self, files):
        """Have these files in the configuration, and no others."""
        shutil.rmtree(CONFIGURATION, ignore_errors=True)
        os.mkdir(CONFIGURATION)
        for name, text in files.items():
            database.write(CONFIGURATION + name,
                           text.replace("ADDRESS", os.path.dirname(self.server.url)))

    def opkg(self, command):
        """Run a command. Returns its exit status as text, its output and its errors."""
        status, out, err = run(OPKG, *command.split())
        base = os.path.dirname(self.server.url)
        return str(status), out.replace(base, "ADDRESS"), err.replace(base, "ADDRESS")

    def offer(self, *packages):
        """Offer packages and let the receiver know of them."""
        build_feed(self.feed, packages)
        self.opkg("update")


class RecordingTest(StandInTest):

    def offer_as_recorded(self, state):
        for feed, mips in ((self.feed, False), (self.mips_feed, True)):
            build_feed(feed, [each for each in transcripts.packages(state)
                              if (each.architecture == "mips32el") == mips])
        os.remove(self.feed + "/all/gone-file_1.0-r0_all.ipk")
        with open(self.feed + "/all/bad-sum_1.0-r0_all.ipk", "a") as stream:
            stream.write("one line more\n")

    def prepare(self, note):
        """Bring about what a note tells; return what takes it back."""
        self.server.clear()
        self.configure(FILES)
        if note in ANSWERS or note in BEFORE:
            self.opkg(BEFORE.get(note, "update"))
        for place, fault in ANSWERS.get(note, {}).items():
            self.server.fault(place + "/Packages.gz", **fault)
        self.configure(dict(FILES, **CHANGED.get(note, {})))
        if note == "v2":
            self.offer_as_recorded("v2")
        elif note == "a dangling link x.conf":
            os.symlink("nowhere", CONFIGURATION + "x.conf")
        elif note == "no configuration at all":
            self.configure({})
        elif note == "no /etc/opkg":
            shutil.rmtree(CONFIGURATION)
        elif note == "lock held":
            return database.take_lock().close
        elif note.startswith("status file"):
            status = database.read(database.STATUS)
            os.remove(database.STATUS)
            if note == "status file of zero bytes":
                database.write(database.STATUS, "\0" * len(status))
            return lambda: database.write(database.STATUS, status)
        return lambda: None

    def test_every_command_ends_and_prints_as_recorded(self):
        self.mips_feed = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.mips_feed)
        os.symlink(self.mips_feed + "/all", self.feed + "/mips32el")
        self.offer_as_recorded("v1")
        replayed, different = 0, []
        for command, note, status, out, err in transcripts.runs("0.3.5"):
            take_back = self.prepare(note)
            if not set((command, command.split(" ")[0], note)) & set(LEFT_OUT):
                replayed += 1
                found = self.opkg(command)
                # The sum of an address, whose port is another one each time.
                out, printed = [re.sub(r"(/var/cache/opkg/)[0-9a-f]{32}_", r"\1SUM_", text)
                                for text in (out, found[1])]
                found = found[0], printed, found[2]
                if found != (status, out.replace(HELD, ""), err):
                    different.append((command, note, (status, out, err), found))
            take_back()
        self.assertEqual((replayed, different), (117, []))


class TransactionTest(StandInTest):

    def test_the_newest_version_for_this_receiver_counts_wherever_it_stands(self):
        blue, blue_new = Package("blue", "3.4-r5"), Package("blue", "3.5-r0")
        for offered, listed in [
                ([blue_new, Package("blue", "3.10-r0"), blue], "blue - 3.4-r5 - 3.10-r0\n"),
                ([blue, Package("other", "0.9-r0")], ""),
                ([Package("blue", "4-r0", architecture="sh4")], "")]:
            install_initial_state([blue, Package("other", "1.0-r0")])
            self.offer(*offered)
            self.assertEqual(self.opkg("list-upgradable"), ("0", listed, ""))

    def test_a_dependency_in_too_low_a_version_is_missing(self):
        self.offer(Package("app", "1", ["lib (>= 2.0)"]), Package("lib", "1.9"))
        self.assertEqual(self.opkg("install app")[0], "255")
        self.assertEqual(installed_packages(), {})

    def test_a_file_that_is_gone_or_another_package_leaves_the_old_version(self):
        install_initial_state([Package("blue", "1")])
        self.offer(Package("blue", "2"))
        for fault in (GONE, {"body": Package("blue", "3").content()}):
            self.server.fault("all/blue_2_all.ipk", **fault)
            status, _, err = self.opkg("install blue")
            self.assertEqual((status, installed_packages()), ("255", {"blue": "1"}))
            self.assertIn(" * opkg_install_pkg: Failed to download blue. Perhaps", err)

    def test_a_file_that_is_no_such_package_leaves_the_old_version_without_sums_too(self):
        install_initial_state([Package("blue", "1")])
        self.server.fault("all/Packages.gz",
                          body="Package: blue\nVersion: 2\nFilename: blue_2_all.ipk\n\n")
        self.opkg("update")
        right = Package("blue", "2").content()
        half = right[:len(right) // 2]
        for content in ("", "Package: blue\nVersion: 2\n\n", half, half[:100], right[:-2],
                        right.replace("data.tar.gz/", "data.tar.xz/"), right.replace("\x1f", " "),
                        archive.pack("Version: 2\n", {}), Package("blue", "3").content()):
            self.server.fault("all/blue_2_all.ipk", body=content)
            status, _, err = self.opkg("install blue")
            self.assertEqual((status, installed_packages()), ("255", {"blue": "1"}), content)
            self.assertIn(" * opkg_install_pkg: Failed to unpack control files from ", err)
        self.server.fault("all/blue_2_all.ipk", body=right)
        self.assertEqual(self.opkg("install blue")[0], "0")
        self.assertEqual(installed_packages(), {"blue": "2"})

    def test_orphans_stay_without_autoremove_or_when_wanted_or_needed_elsewhere(self):
        wanted = [Package("app", "1-r0", ["libauto", "libwanted", "libshared"]),
                  Package("libauto", "1-r0", ["libdeep"], automatic=True),
                  Package("libwanted", "1-r0", ["libdeep"]), Package("app-two", "1-r0", ["libtwo"]),
                  Package("libdeep", "1-r0", automatic=True),
                  Package("libshared", "1-r0", automatic=True),
                  Package("libtwo", "1-r0", ["libshared"])]
        for options, gone in [("", []), ("--autoremove ", ["libauto"])]:
            install_initial_state(wanted)
            self.assertEqual(self.opkg("remove %sapp" % options)[0], "0")
            self.assertEqual(set(package.name for package in wanted) - set(installed_packages()),
                             set(["app"] + gone))

    def test_what_came_for_others_still_goes_with_them_after_its_upgrade(self):
        install_initial_state([Package("app", "1", ["lib"]), Package("lib", "1", automatic=True)])
        self.offer(Package("app", "1", ["lib"]), Package("lib", "2"))
        self.assertEqual(self.opkg("upgrade")[0], "0")
        self.assertEqual(installed_packages(), {"app": "1", "lib": "2"})
        self.opkg("remove --autoremove app")
        self.assertEqual(installed_packages(), {})


class VersionsTest(unittest.TestCase):

    def test_versions_rise_along_this_list(self):
        rising = ["0~~", "0~", "0", "0a", "0.1~rc1-r0", "0.1-r0", "0.1-r1", "0.1-r10", "0.1a-r0",
                  "0.1+git7-r0", "0.1+git10-r0", "0.1.1-r0", "0.2-r0", "0.10-r0", "1.0", "1.0-r0",
                  "20231001-r0", "1:0.1-r0", "2:0-r0"]
        for lower, higher in zip(rising, rising[1:]):
            self.assertLess(versions.key(lower), versions.key(higher))

    def test_dependencies_compare_with_each_operator_and_others_are_refused(self):
        for operator, fulfilled_by in (("<<", "1"), ("<=", "12"), ("<", "12"), ("=", "2"),
                                       (">=", "23"), (">", "23"), (">>", "3")):
            self.assertEqual(fulfilled_by, "".join(
                version for version in "123"
                if versions.satisfies(version, "name (%s 2)" % operator)))
        for text in ("", "name (2)", "name (=> 2)", "name >= 2"):
            self.assertRaises(ValueError, versions.split_dependency, text)
