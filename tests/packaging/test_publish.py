"""packaging/feed: a directory of packages becomes a feed that receivers read."""
from __future__ import print_function

import gzip
import hashlib
import io
import os
import shutil
import subprocess
import tarfile
import tempfile
import unittest

from tests.support import packages

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SCRIPT = os.path.join(ROOT, "packaging", "feed")

CONTROL = """\
Architecture: %(architecture)s
Description: One line
 and another one
Package: %(name)s
Version: %(version)s
"""


def archive_of(contents):
    """Return a gzipped tar archive (a byte string) of name to content."""
    target = io.BytesIO()
    with tarfile.open(fileobj=target, mode="w:gz") as archive:
        for name, content in sorted(contents.items()):
            info = tarfile.TarInfo(name)
            info.size = len(content)
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


class FeedTest(unittest.TestCase):

    def setUp(self):
        self.work = tempfile.mkdtemp(prefix="kelvaro-feed-")
        self.addCleanup(shutil.rmtree, self.work)
        self.packages = os.path.join(self.work, "made here")
        self.feed = os.path.join(self.work, "public", "the feed")
        os.makedirs(self.packages)

    def put(self, name, content):
        with open(os.path.join(self.packages, name), "wb") as stream:
            stream.write(content)

    def get(self, *names):
        with open(os.path.join(self.feed, *names), "rb") as stream:
            return stream.read()

    def publish(self, status=0):
        """Run the script; check its exit status; return what it says on standard error."""
        process = subprocess.Popen([SCRIPT, self.packages, self.feed], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE)
        _, errors = process.communicate()
        self.assertEqual(status, process.returncode, errors)
        return errors

    def index(self, architecture):
        """Return the paragraphs of an index, as fields."""
        return [packages.fields(paragraph)
                for paragraph in self.get(architecture, "Packages").split("\n\n") if paragraph]

    def test_a_paragraph_has_the_control_fields_and_where_size_and_sums_of_the_file(self):
        content = package("weather")
        self.put("weather.ipk", content)
        self.publish()
        self.assertEqual([{
            "Package": "weather", "Version": "1.0-r0", "Architecture": "all",
            "Description": "One line\n and another one",
            "Filename": "weather_1.0-r0_all.ipk", "Size": str(len(content)),
            "MD5Sum": hashlib.md5(content).hexdigest(),
            "SHA256sum": hashlib.sha256(content).hexdigest(),
        }], self.index("all"))
        self.assertEqual(content, self.get("all", "weather_1.0-r0_all.ipk"))
        self.assertTrue(self.get("all", "Packages").startswith("Package: weather\n"))

    def test_every_architecture_has_a_directory_and_all_is_always_there(self):
        self.put("a.ipk", package("a", architecture="mips32el"))
        self.put("b.ipk", package("b", architecture="cortexa15hf-neon-vfpv4"))
        self.publish()
        self.assertEqual(["a"], [fields["Package"] for fields in self.index("mips32el")])
        self.assertEqual(["b"], [fields["Package"]
                                 for fields in self.index("cortexa15hf-neon-vfpv4")])
        self.assertEqual([], self.index("all"))

    def test_the_gzipped_index_holds_the_same_and_no_time(self):
        self.put("a.ipk", package("a"))
        self.publish()
        packed = self.get("all", "Packages.gz")
        self.assertEqual(self.get("all", "Packages"),
                         gzip.GzipFile(fileobj=io.BytesIO(packed)).read())
        self.assertEqual("\0\0\0\0", packed[4:8])

    def test_packages_of_all_kinds_of_archives_are_read(self):
        self.put("a.ipk", package("a"))
        self.put("b.ipk", package("b", outer="tar"))
        self.put("c.ipk", package("c", member="control"))
        self.publish()
        self.assertEqual(["a", "b", "c"], [fields["Package"] for fields in self.index("all")])

    def test_packages_published_earlier_stay_until_their_file_is_deleted(self):
        self.put("a.ipk", package("a"))
        self.publish()
        os.remove(os.path.join(self.packages, "a.ipk"))
        self.put("b.ipk", package("b"))
        self.publish()
        self.assertEqual(["a", "b"], [fields["Package"] for fields in self.index("all")])
        os.remove(os.path.join(self.feed, "all", "a_1.0-r0_all.ipk"))
        self.publish()
        self.assertEqual(["b"], [fields["Package"] for fields in self.index("all")])

    def test_a_file_that_is_no_package_is_refused_and_changes_nothing(self):
        for content in ("", "no archive at all", ar_of([("debian-binary", "2.0\n")]),
                        package("../evil"), package("a", version="1 2")):
            self.put("good.ipk", package("good"))
            self.put("poor.ipk", content)
            self.assertRegexpMatches(self.publish(status=1),
                                     r"\Afeed: .*/poor\.ipk .*: take it out of .*\.\n\Z")
            self.assertFalse(os.path.exists(self.feed))

    def test_an_empty_directory_is_refused_with_the_remedy(self):
        self.assertIn("make packages with packaging/package", self.publish(status=2))

    def test_missing_news_are_reported_and_news_are_left_alone(self):
        self.put("a.ipk", package("a"))
        self.assertIn("zirknews.xml is missing", self.publish())
        with open(os.path.join(self.feed, "zirknews.xml"), "w") as stream:
            stream.write("<news/>")
        self.assertEqual("", self.publish())
        self.assertEqual("<news/>", self.get("zirknews.xml"))

    def test_the_receivers_package_manager_reads_the_feed(self):
        self.put("a.ipk", package("enigma2-skin-blue", "3.5-r0"))
        self.put("k.ipk", package("kelvaro", "1.0.1-r0", architecture="mips32el"))
        self.publish()
        printed = subprocess.check_output([
            os.path.join(ROOT, "tools", "sandbox"), "--writable", self.work,
            "python2.7", "-O", "-m", "tests.support.published", self.feed])
        self.assertEqual([
            "Downloading http://FEED/all/Packages.gz.",
            "Updated source 'Zirk-all'.",
            "Downloading http://FEED/mips32el/Packages.gz.",
            "Updated source 'Zirk-mips32el'.",
            "enigma2-skin-blue - 3.4-r5 - 3.5-r0",
            "kelvaro - 1.0.0-r0 - 1.0.1-r0",
            "the news: 200",
        ], printed.splitlines()[:4] + sorted(printed.splitlines()[4:]))


if __name__ == "__main__":
    unittest.main()
