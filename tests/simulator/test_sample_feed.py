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

    def test_the_packages_are_made_again_with_the_same_bytes(self):
        copy = packages.build_feed(tempfile.mkdtemp(), packages.sample_packages())
        self.addCleanup(shutil.rmtree, copy)
        names = os.listdir(os.path.join(copy, "all"))
        self.assertEqual(sorted(names), sorted(os.listdir(os.path.join(SAMPLE_FEED, "all"))))
        for name in names:
            with open(os.path.join(copy, "all", name), "rb") as stream:
                self.assertEqual(stream.read(), read("all", name), name)

    def test_every_dependency_is_on_offer_and_installed_with_what_needs_it(self):
        installed = dict((package.name, package) for package in packages.sample_installed())
        for name, fields in self.index.items():
            for (dependency,) in database.dependencies(fields):
                needed = versions.split_dependency(dependency)[0]
                self.assertTrue(versions.satisfies(self.index[needed]["Version"], dependency))
                self.assertTrue(name not in installed or needed in installed, name)
