"""The sample feed is whole: what its files say of each other is true."""

import os
import shutil
import tempfile
import unittest

from simulator import SAMPLE_FEED, packages
from simulator.opkg import database, versions


def read(*path):
    with open(os.path.join(SAMPLE_FEED, *path), "rb") as stream:
        return stream.read()


class SampleFeedTest(unittest.TestCase):

    def setUp(self):
        self.index = dict((fields["Package"], fields)
                          for fields in database.parse(read("all", "Packages")))

    def test_the_index_is_that_of_the_files_which_are_named_after_what_they_hold(self):
        copy = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, copy)
        shutil.copytree(os.path.join(SAMPLE_FEED, "all"), os.path.join(copy, "all"))
        packages.index_feed(copy)
        with open(os.path.join(copy, "all", "Packages"), "rb") as stream:
            self.assertEqual(stream.read(), read("all", "Packages"))
        for fields in self.index.values():
            self.assertEqual("%(Package)s_%(Version)s_%(Architecture)s.ipk" % fields,
                             fields["Filename"])

    def test_every_dependency_is_on_offer_and_installed_with_what_needs_it(self):
        installed = dict((package.name, package) for package in packages.sample_installed())
        for name, fields in self.index.items():
            for (dependency,) in database.dependencies(fields):
                needed = versions.split_dependency(dependency)[0]
                self.assertTrue(versions.satisfies(self.index[needed]["Version"], dependency))
                self.assertTrue(name not in installed or needed in installed, name)


if __name__ == "__main__":
    unittest.main()
