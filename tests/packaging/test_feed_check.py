"""./run --check: a feed as a whole, sound and with every kind of fault, and at an address."""

import hashlib
import json
import os
import random
import re
import time
import unittest

from simulator.feedserver import FeedServer
from simulator.opkg.archive import compress
from tests.packaging.test_feed import ar_of, archive_of, key_of
from tests.support.machine import directory, run, write

DOCUMENT = "<news><update type='urgent'><title>Update</title></update></news>\n"
CONTROL = "Package: %s\nVersion: 1.0-r0\nArchitecture: all\nDepends: base\n"

DATA = archive_of({"./usr/share/data": "data"})
NEWS, STATISTICS = "zirknews.xml", "zirkdlstat.txt"
INDEX, BASE = "all/Packages.gz", "all/base_all.ipk"

CHECK = ("/usr/bin/python3", "-B", "-m", "tools.feed_check")
# The same with other limits in tools/feed_check/trees.py.
LIMITED = "import sys; from tools.feed_check import __main__, trees; vars(trees).update(%r); " \
    "sys.exit(__main__.main(sys.argv[1:]))"

#: What is wrong with a package: where it is changed ("both": in the package, and so in the index;
#: "index"; "file"), a pattern there, its replacement (None: the file goes), and the problem: the
#: line in the paragraph (None: the file of the package), the severity, words.
PACKAGES = [
    ("both", "Package: .*", "Package: a b", 0, "error", "can't be asked for 'a b'"),
    ("both", "Version: .*", "Version: 1 2", 1, "error", "The version '1 2' of"),
    ("both", "Version: .*", "Version: 1.0rc1", 1, "warning", "write 1.0~rc1"),
    ("both", "Architecture: .*", "Architecture: mips32el", 2, "error", "and lies in all"),
    ("both", "Depends: .*", "Depends: nowhere", 3, "warning", "fulfils 'nowhere'"),
    ("both", "Depends: .*", "Depends: base (>= 9)", 3, "warning", "fulfils 'base (>= 9)'"),
    ("both", "Depends: .*", "Depends: base >= 1", 3, "error", "can't read the dependency"),
    ("index", "Version: .*\n", "", 0, "error", "has no Version"),
    ("index", "Version: .*", "Version: 1.0-r1", 1, "error", "'1.0-r1' here and '1.0-r0' in"),
    ("index", "SHA256sum: ", "sha256sum: ", 7, "error", "case-sensitive: write SHA256sum"),
    ("index", "(Depends: .*)", r"\1\n\1", 4, "warning", "Depends stands there twice"),
    ("index", "(Depends: .*)", r"\1\nNothing", 4, "error", "passes over 'Nothing'"),
    ("index", "Size: .*", "Size: 1", 5, "error", "bytes and not 1"),
    ("index", "MD5Sum: .*", "MD5Sum: 0", 6, "error", "has another MD5Sum"),
    ("index", "SHA256sum: .*", "SHA256sum: 0", 7, "error", "has another SHA256sum"),
    ("index", "MD5Sum: .*\n.*\n", "", 0, "warning", "has no sum"),
    ("index", r"(?s)(.*\n)\n", r"\1\n\1\n", 9, "error", "is listed in line"),
    ("file", ".*", None, 4, "error", "is missing"),
    ("file", "(?s).{200}$", "", None, "error", "can't be opened"),
    ("file", "control.tar.gz", "another.tar.gz", None, "error", "no control.tar.gz"),
]


class Tree(object):
    """A feed of packages in a directory; the faulty ones among them are those asked for."""

    def __init__(self, path, faults=(), size=400):
        self.path = path
        self.expected = []  # (place, severity, words)
        text = []
        line = 1
        for number in range(size * 3 // 4):
            name = "base" if number == 0 else "enigma2-plugin-extensions-n%d" % number
            is_faulty = number % 10 == 5 and number // 10 < len(faults)
            fault = faults[number // 10] if is_faulty else None
            paragraph = self._package("all", name, fault)
            if fault:
                place = ("all/%s_all.ipk" % name if fault[3] is None else
                         "all/Packages:%d" % (line + fault[3]))
                self.expected.append((place,) + fault[4:])
            text.append(paragraph)
            line += paragraph.count("\n")
        self.index("all", "".join(text))
        for place in ("mips32el", "cortexa15"):
            self.index(place, "".join(
                self._package(place, "enigma2-plugin-skin-%s%d" % (place, number))
                for number in range(size // 8)))
        write(path + "/zirknews.xml", DOCUMENT)
        write(path + "/zirkdlstat.txt", "EXTENSIONS\nn1;12\nn2;7\n")

    def _package(self, place, name, fault=None, version=None, time=0):
        """Write a package; return its paragraph."""
        where, pattern, replacement = (fault or (None, "", ""))[:3]
        control = (CONTROL % name).replace("Architecture: all", "Architecture: " + place)
        if version:
            control = control.replace("1.0-r0", version)
        if where == "both":
            control = re.sub(pattern, replacement, control)
        content = ar_of([("debian-binary", "2.0\n"),
                         ("control.tar.gz", archive_of({"./control": control}, time)),
                         ("data.tar.gz", DATA)])
        if where == "file" and replacement is not None:
            content = re.sub(pattern, replacement, content)
        file_name = "%s%s_%s.ipk" % (name, version or "", place)
        if replacement is not None:
            write("%s/%s/%s" % (self.path, place, file_name), content)
        paragraph = "%sFilename: %s\nSize: %d\nMD5Sum: %s\nSHA256sum: %s\n\n" % (
            control, file_name, len(content), hashlib.md5(content).hexdigest(),
            hashlib.sha256(content).hexdigest())
        return re.sub(pattern, replacement, paragraph, 1) if where == "index" else paragraph

    def index(self, place, text, packed=None):
        """Write the index of a directory."""
        write("%s/%s/Packages" % (self.path, place), text)
        write("%s/%s/Packages.gz" % (self.path, place), compress(packed or text))

    def break_more(self, key):
        """Break directories of packages, signatures, the statistics and the configuration.

        key: a function that writes the signature of a directory's index.
        """
        indexes = dict((place, self._package(place, "in-" + place)) for place in (
            "changed", "different", "missing", "nonsense", "open", "torn", "unlisted", "unpacked",
            "unsigned"))
        indexes["versions"] = (self._package("versions", "v", version="1.9-r0", time=20)
                               + self._package("versions", "v", version="1.10-r0", time=10))
        for place, text in indexes.items():
            self.index(place, text)
        self.index("open", indexes["open"][:-2])
        for place in list(indexes) + ["all", "mips32el", "cortexa15"]:
            key(self.path + "/" + place)
        self.index("changed", indexes["changed"].replace("Filename: ", "Filename:  "))
        self.index("different", indexes["different"].replace("base", "base "),
                   indexes["different"])
        os.remove(self.path + "/missing/Packages.gz")
        write(self.path + "/nonsense/Packages.asc", "yes\n")
        with open(self.path + "/torn/Packages.gz", "r+b") as stream:
            stream.truncate(60)
        write(self.path + "/unlisted/more.ipk", "")
        write(self.path + "/unpacked/Packages.gz", "<html>Log in</html>")
        os.remove(self.path + "/unsigned/Packages.asc")
        write(self.path + "/zirkdlstat.txt",
              "EXTENSIONS\nn1;12\ngone;7\nn2;many\nSKINS\nmips32el0;1\n")
        write(self.path + "/all-feed.conf", "src/gz Zirk-all http://feed.example/zirk/all")
        self.expected += [
            ("all-feed.conf:1", "error", "end the line with a line feed"),
            ("changed/Packages.asc", "error", "not that of the index"),
            ("different/Packages:4", "error", "something else from this line on"),
            ("missing/Packages.gz", "error", "The index is missing"),
            ("nonsense/Packages.asc", "error", "no signature"),
            ("open/Packages:8", "warning", "last line has no end"),
            ("torn/Packages.gz", "error", "breaks off"),
            ("unlisted/more.ipk", "warning", "No index lists"),
            ("unpacked/Packages.gz", "error", "can't be unpacked"),
            ("unsigned/Packages.asc", "error", "The signature is missing"),
            ("versions/Packages:2", "warning", "v 1.9-r0 was made last"),
            ("zirkdlstat.txt:3", "error", "enigma2-plugin-extensions-gone, which no directory"),
            ("zirkdlstat.txt:4", "warning", "no number"),
            ("zirkdlstat.txt:6", "warning", "only mips32el has it"),
        ]


class CheckTest(unittest.TestCase):
    """What the tests of the check have in common."""

    def setUp(self):
        context = directory()
        self.work = context.__enter__()
        self.addCleanup(context.__exit__, None, None, None)
        self.feed = self.work + "/the feed"

    def check(self, *arguments, **limits):
        """Run the check; keep its output, return its problems, (place, severity, words) each."""
        self.result = run(*CHECK[:2] + ("-c", LIMITED % limits) + arguments)
        self.assertIn(self.result.status, (0, 1), self.result)
        self.assertNotIn("Traceback", self.result.stderr)
        found = re.findall(r"(?m)^(\S+?): (error|warning): (.*: .*\.)$", self.result.stdout)
        self.assertEqual(self.result.status, 1 if "error" in [each[1] for each in found] else 0)
        return found

    def compare(self, expected, found):
        """Compare problems: each is there, at its place, with its words ..., and nothing else."""
        self.assertEqual(sorted(each[:2] for each in expected),
                         sorted(each[:2] for each in found))
        for place, severity, words in expected:
            self.assertTrue([text for its, _, text in found if its == place and all(
                part in text for part in words.split(" ... "))],
                            (place, words, found))


class FolderTest(CheckTest):

    def key(self):
        """Make a key; return a function that signs the index of a directory with it."""
        gpg = key_of(self, self.work + "/gpg", "feed")
        write(self.work + "/key.asc", run(*gpg + ["--armor", "--export"]).stdout)

        def sign(place):
            self.assertEqual(0, run(*gpg + ["--armor", "--output", place + "/Packages.asc",
                                            "--detach-sign", place + "/Packages"]).status)
        return sign

    def test_a_sound_feed_of_2000_packages_has_no_problems_and_takes_less_than_10_seconds(self):
        Tree(self.feed, size=2000)
        started = time.time()
        self.assertEqual([], self.check(self.feed))
        self.assertLess(time.time() - started, 10)
        self.assertIn("check: all: 1500 packages\n", self.result.stderr)
        self.assertTrue(self.result.stdout.endswith(
            "\nNo errors and no warnings on 15 models.\n"), self.result.stdout)

    def test_every_kind_of_fault_is_found_at_its_place_and_nothing_else(self):
        tree = Tree(self.feed, PACKAGES)
        tree.break_more(self.key())
        self.assertGreater(len(tree.expected), 30)
        self.compare(tree.expected, self.check(self.feed, "--model", "duo2", "--key",
                                               self.work + "/key.asc"))

    def test_what_the_image_has_installed_counts(self):
        Tree(self.feed, PACKAGES[4:6], size=100)
        write(self.work + "/installed", "nowhere - 1.0-r0\nenigma2-plugin-extensions-n1 - 1.0-r1\n")
        self.compare([("all/Packages:139", "error", "Nothing in the feed or installed fulfils"),
                      ("all/Packages:11", "warning", "The image has 1.0-r1 of")],
                     self.check(self.feed, "--model", "duo2", "--installed",
                                self.work + "/installed"))

    def test_other_formats_have_the_problems_alone(self):
        write(self.feed + "/zirknews.xml", "<n>\n<update/></n>")
        lines = self.check(self.feed, "--model", "duo2")
        result = run("./run", "--check=" + self.feed, "--model=duo2", "--format=json")
        self.assertEqual(result.status, 1)
        self.assertEqual([("%(file)s:%(line)d" % one if one["line"] else one["file"],
                           one["severity"], "%(text)s: %(remedy)s." % one)
                          for one in json.loads(result.stdout)["problems"]], lines)

    def test_the_sample_feed_has_its_traps_and_texts_that_are_not_ascii_and_no_other_problem(self):
        self.compare([("zirknews.xml:89", "warning", "reads \"* None\""),
                      ("zirknews.xml:117", "error", "\"Urgent\" of update 8 is unknown"),
                      ("zirknews.xml:124", "error", "\"event\" of update 9 is unknown")],
                     [each for each in self.check("simulator/sample-feed", "--model", "duo2")
                      if "default encoding is ASCII" not in each[2]])

    def test_the_documents_alone_are_shown_model_by_model(self):
        write(self.feed + "/zirkdlstat.txt", "SKINS\nclear-hd;3\n")
        write(self.feed + "/zirknews.xml",
              "<n><update require='duo'/><update type='urgent' require='solo,duo'><title>One&#10;"
              "two</title></update><update type='info' require='solo'><title>I</title></update>"
              "</n>")
        self.check(self.feed)
        restart = "the menus restart (IndexError: list index out of range)"
        others = "uno, ultimo, solo2, duo2, solose, zero, solo4k, ultimo4k, uno4k, uno4kse, " \
                 "zero4k, duo4k, duo4kse"
        lines = self.result.stdout.split("\n")
        self.assertEqual(lines[:14], [
            "News on duo:", "  " + restart, "",
            "News on solo:", "  urgent  One\\ntwo", "  info    I", "",
            "News on %s:" % others, "  an empty list", "",
            "Top 20, Skins:", "  Clear-Hd   (3) - Install", "",
            "zirknews.xml:1: error: update 1 has no <title>, and its receivers restart their menus "
            "when the browser opens: give it one with a text."])
        self.assertEqual(lines[17:21] + lines[-4:], [
            "model     urgent  info  normal  first entry",
            "duo            0     0       0  " + restart,
            "solo           1     1       0  One\\ntwo",
            "uno            0     0       0  an empty list",
            "duo4kse        0     0       0  an empty list", "",
            "1 error and 2 warnings on 15 models.", ""])

    def test_what_can_not_be_checked_gets_one_sentence_and_2(self):
        write(self.feed + "/zirknews.xml", DOCUMENT)
        for words, command in [
                ("neither zirknews.xml nor zirkdlstat.txt", CHECK + (self.work,)),
                ("no feed folder", CHECK + (self.feed + "/none",)),
                ("no model 'abacus'", CHECK + (self.feed, "--model", "abacus")),
                ("none can't be read", CHECK + (self.feed, "--conf", self.work + "/none")),
                ("unrecognized", ("./run", "--check", self.feed, "--tour"))]:
            result = run(*command)
            self.assertEqual((result.status, result.stdout), (2, ""))
            self.assertRegexpMatches(result.stderr, r"\Acheck: .*%s.*; .*\.\n\Z" % words)

    def test_broken_packages_and_indexes_are_lines_whatever_is_broken(self):
        Tree(self.feed)
        generator = random.Random(1)
        for place, _, names in os.walk(self.feed):
            for name in sorted(names):
                if place.endswith("/all") and name != "Packages.gz" or name == "Packages":
                    with open(os.path.join(place, name), "r+b") as stream:
                        content = bytearray(stream.read())
                        for _ in range(3):
                            content[generator.randrange(len(content))] = generator.randrange(256)
                        stream.seek(0)
                        stream.write(content)
                if name == "Packages.gz":  # the other one is read in its place
                    os.remove(os.path.join(place, name))
        self.assertTrue(self.check(self.feed, "--model", "duo2"))


class AddressTest(CheckTest):
    """A feed at an address, with faults of its server."""

    def setUp(self):
        CheckTest.setUp(self)
        Tree(self.feed, size=20)
        self.server = FeedServer(self.feed)
        self.server.start()
        self.addCleanup(self.server.stop)

    def compare_at_address(self, *faults, **limits):
        """Check the address with faults of files: the name, the fault, and the problem it makes."""
        self.server.clear()
        self.server.fault(INDEX, headers=[("Last-Modified", "Thu, 02 Jan 2020 00:00:00 GMT")])
        for fault in faults:
            self.server.fault(fault[0], **fault[1])
        self.compare([fault[2:] for fault in faults], self.check(
            self.server.url, "--model", "duo2", "--architecture", "mips32el", **limits))

    def test_a_sound_feed_has_no_problems(self):
        self.compare_at_address()
        self.assertIn("/feed/all/base_all.ipk", self.server.requests)

    def test_an_answer_that_is_silent_or_drips_is_given_up(self):
        self.compare_at_address((NEWS, {"stall": "headers"}, NEWS, "error",
                                 "is silent for 1 seconds, and receivers restart"), SILENCE=1)
        late = "The answer does not come as a whole (it takes more than 1 seconds), and "
        self.compare_at_address(
            (NEWS, {"answer": ["HTTP/1.0 200 OK\r\n"] + ["X: y\r\n", 1] * 9},
             NEWS, "error", late + "the news browser"),
            (STATISTICS, {"answer": ["HTTP/1.0 200 OK\r\n\r\n"] + ["x", 1] * 9},
             STATISTICS, "error", late + "\"Top 20\""), LONGEST=1)

    def test_faults_of_the_server_and_what_receivers_do(self):
        missing, newer = {"status": 404}, {
            "headers": [("Last-Modified", "Fri, 03 Jan 2020 00:00:00 GMT")]}
        moved = {"status": 302, "headers": [("Location", self.server.address("other.xml"))]}
        packed = {"body": compress(DOCUMENT), "headers": [("Content-Encoding", "gzip")]}
        write(self.feed + "/other.xml", DOCUMENT)
        for together in [
                [(NEWS, {"status": 503}, NEWS, "error", "503, and the news browser reports"),
                 (STATISTICS, missing, STATISTICS, "error", "status 404, and \"Top 20\""),
                 (BASE, missing, BASE, "error", "status 404, and installing")],
                [(NEWS, moved, NEWS, "warning", "redirects to"),
                 (BASE, moved, BASE, "error", "redirects ... installing")],
                [(NEWS, {"stall": "middle", "seconds": 1.1}, NEWS, "warning", "menus stand still"),
                 (INDEX, missing, INDEX, "error", "status 404, and opkg keeps")],
                [(NEWS, {"drop": "headers"}, NEWS, "error", "come as a whole ... analyzed"),
                 (INDEX, moved, INDEX, "error", "does not follow, takes")],
                [(NEWS, {"drop": "middle"}, NEWS, "error", "come as a whole ... analyzed"),
                 (INDEX, {"body": "<html>Log in</html>"}, INDEX, "error", "can't be unpacked")],
                [(NEWS, packed, NEWS, "error", "encoded (gzip) ... don't undo"),
                 (BASE, {"body": "short"}, "all/Packages:6", "error", "has 5 bytes and not")],
                [(NEWS, newer, NEWS, "warning", "newer than the index"),
                 (BASE, newer, INDEX, "warning", "older than packages of it (1, all/base_all")]]:
            self.compare_at_address(*together)
