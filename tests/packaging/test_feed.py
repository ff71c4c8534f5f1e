"""packaging/feed: a directory of packages becomes a feed that receivers read."""

import gzip
import hashlib
import io
import os
import tarfile
import unittest

from tests.support import package_file
from tests.support.machine import directory, run, write

CONTROL = """\
Architecture: %(architecture)s
Description: One line
 and another one
Package: %(name)s
Version: %(version)s
"""


def archive_of(contents, time=0):
    """Return a gzipped tar archive (a byte string) of name to content, made at a time."""
    target = io.BytesIO()
    with tarfile.open(fileobj=target, mode="w:gz") as archive:
        for name, content in sorted(contents.items()):
            info = tarfile.TarInfo(name)
            info.size = len(content)
            info.mtime = time
            archive.addfile(info, io.BytesIO(content))
    return target.getvalue()


def ar_of(members):
    """Return an ar archive of (name, content) pairs."""
    return "!<arch>\n" + "".join(
        "%-16s%-12d%-6d%-6d%-8s%-10d`\n" % (name, 0, 0, 0, "100644", len(content))
        + content + "\n" * (len(content) % 2)
        for name, content in members)


def package(name, version="1.0-r0", architecture="all", member="./control", outer="ar"):
    """Return a package's bytes: an archive of the kind `outer` with a control file."""
    control = CONTROL % {"name": name, "version": version, "architecture": architecture}
    members = [("debian-binary", "2.0\n"), ("control.tar.gz", archive_of({member: control})),
               ("data.tar.gz", archive_of({"./usr/share/" + name: "content of " + name}))]
    if outer == "ar":
        return ar_of(members)
    return archive_of(dict(("./" + name, content) for name, content in members))


def key_of(test, home, name):
    """Make a key in a directory of gpg's own, for a test; return the command of gpg that has it."""
    os.mkdir(home, 0o700)
    test.addCleanup(run, "gpgconf", "--homedir", home, "--kill", "all")
    gpg = ["gpg", "--homedir", home, "--batch", "--yes", "--passphrase", ""]
    test.assertEqual(0, run(*gpg + ["--quick-gen-key", name, "ed25519"]).status)
    return gpg


class FeedTest(unittest.TestCase):

    def setUp(self):
        context = directory()
        self.work = context.__enter__()
        self.addCleanup(context.__exit__, None, None, None)
        self.packages = os.path.join(self.work, "made here")
        self.feed = os.path.join(self.work, "public", "the feed")
        os.makedirs(self.packages)

    def get(self, *names):
        with open(os.path.join(self.feed, *names), "rb") as stream:
            return stream.read()

    def publish(self, status=0, sign=None, **contents):
        """Run the script for packages of these names; return what it says on standard error."""
        for name, content in contents.items():
            write("%s/%s.ipk" % (self.packages, name), content)
        options = [] if sign is None else ["--sign", sign]
        result = run("packaging/feed", *options + [self.packages, self.feed],
                     GNUPGHOME=self.work + "/gpg")
        self.assertEqual(status, result.status, result)
        return result.stderr

    def index(self, architecture):
        """Return the paragraphs of an index, as fields."""
        return [package_file.fields(paragraph)
                for paragraph in self.get(architecture, "Packages").split("\n\n") if paragraph]

    def names(self, architecture):
        return [fields["Package"] for fields in self.index(architecture)]

    def test_a_paragraph_has_the_control_fields_and_where_size_and_sums_of_the_file(self):
        content = package("weather")
        self.publish(weather=content)
        self.assertEqual([{
            "Package": "weather", "Version": "1.0-r0", "Architecture": "all",
            "Description": "One line\n and another one",
            "Filename": "weather_1.0-r0_all.ipk", "Size": str(len(content)),
            "MD5Sum": hashlib.md5(content).hexdigest(),
            "SHA256sum": hashlib.sha256(content).hexdigest(),
        }], self.index("all"))
        self.assertEqual(content, self.get("all", "weather_1.0-r0_all.ipk"))
        self.assertTrue(self.get("all", "Packages").startswith("Package: weather\n"))
        packed = self.get("all", "Packages.gz")
        self.assertEqual(self.get("all", "Packages"),
                         gzip.GzipFile(fileobj=io.BytesIO(packed)).read())
        self.assertEqual("\0\0\0\0", packed[4:8])  # no time: the same files give the same bytes

    def test_every_architecture_has_a_directory_and_all_is_always_there(self):
        self.publish(a=package("a", architecture="mips32el"),
                     b=package("b", architecture="cortexa15hf-neon-vfpv4"))
        self.assertEqual((["a"], ["b"], []), (
            self.names("mips32el"), self.names("cortexa15hf-neon-vfpv4"), self.names("all")))

    def test_packages_of_all_kinds_of_archives_are_read(self):
        self.publish(a=package("a"), b=package("b", outer="tar"), c=package("c", member="control"))
        self.assertEqual(["a", "b", "c"], self.names("all"))

    def test_packages_published_earlier_stay_until_their_file_is_deleted(self):
        self.publish(a=package("a"))
        os.remove(self.packages + "/a.ipk")
        self.publish(b=package("b"))
        self.assertEqual(["a", "b"], self.names("all"))
        os.remove(self.feed + "/all/a_1.0-r0_all.ipk")
        self.publish()
        self.assertEqual(["b"], self.names("all"))

    def test_a_file_that_is_no_package_is_refused_and_changes_nothing(self):
        for content in ("", "no archive at all", ar_of([("debian-binary", "2.0\n")]),
                        package("../evil"), package("a", version="1 2")):
            self.assertRegexpMatches(self.publish(1, good=package("good"), poor=content),
                                     r"\Afeed: .*/poor\.ipk .*: take it out of .*\.\n\Z")
            self.assertFalse(os.path.exists(self.feed))

    def test_an_empty_directory_is_refused_with_the_remedy(self):
        self.assertIn("make packages with packaging/package", self.publish(2))

    def test_missing_news_are_reported_and_news_are_left_alone(self):
        self.assertIn("zirknews.xml is missing", self.publish(a=package("a")))
        write(self.feed + "/zirknews.xml", "<news/>")
        self.assertEqual("", self.publish())
        self.assertEqual("<news/>", self.get("zirknews.xml"))

    def test_each_index_is_signed_by_the_key_and_a_changed_byte_is_noticed(self):
        gpg = key_of(self, self.work + "/gpg", "The feed")
        self.assertIn("no secret key 'Nobody'", self.publish(2, sign="Nobody", a=package("a")))
        self.publish(sign="The feed", m=package("m", architecture="mips32el"))
        for place in ("all", "mips32el"):
            self.assertTrue(self.get(place, "Packages.asc").startswith("-----BEGIN PGP SIGNATURE"))
            verify = gpg + ["--verify"] + ["%s/%s/Packages%s" % (self.feed, place, kind)
                                           for kind in (".asc", "")]
            self.assertIn('Good signature from "The feed"', run(*verify).stderr)
            write(verify[-1], self.get(place, "Packages") + "\n")
            self.assertIn('BAD signature from "The feed"', run(*verify).stderr)
        self.publish()
        self.assertFalse(os.path.exists(self.feed + "/all/Packages.asc"))

    def test_the_receivers_package_manager_reads_the_feed(self):
        self.publish(a=package("enigma2-skin-blue", "3.5-r0"),
                     k=package("kelvaro", "1.0.1-r0", architecture="mips32el"))
        printed = run("tools/sandbox", "--writable", self.work, "python2.7", "-O", "-m",
                      "tests.support.published", self.feed).stdout.splitlines()
        self.assertEqual([
            "Downloading http://FEED/all/Packages.gz.",
            "Updated source 'Zirk-all'.",
            "Downloading http://FEED/mips32el/Packages.gz.",
            "Updated source 'Zirk-mips32el'.",
            "enigma2-skin-blue - 3.4-r5 - 3.5-r0",
            "kelvaro - 1.0.0-r0 - 1.0.1-r0",
            "the news: 200",
        ], printed[:4] + sorted(printed[4:]))
