# -*- coding: utf-8 -*-
"""The sample feed is whole: what its files say of each other is true, and it shows every case."""

import os
import shutil
import tempfile
import unittest
import xml.dom.minidom

from simulator import packages
from simulator.opkg import database, versions

SECTIONS = {"EXTENSIONS": "extensions", "SYSTEMPLUGINS": "systemplugins", "SKINS": "skin"}


def read(*path):
    with open(os.path.join(packages.SAMPLE_FEED, *path), "rb") as stream:
        return stream.read()


class PackagesTest(unittest.TestCase):

    def setUp(self):
        self.index = dict((fields["Package"], fields)
                          for fields in database.parse(read("all", "Packages")))

    def test_the_index_is_that_of_the_files(self):
        copy = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, copy)
        shutil.copytree(os.path.join(packages.SAMPLE_FEED, "all"), os.path.join(copy, "all"))
        packages.index_feed(copy)
        with open(os.path.join(copy, "all", "Packages"), "rb") as stream:
            self.assertEqual(stream.read(), read("all", "Packages"))

    def test_files_are_named_after_what_they_hold(self):
        for fields in self.index.values():
            self.assertEqual("%(Package)s_%(Version)s_%(Architecture)s.ipk" % fields,
                             fields["Filename"])

    def test_every_dependency_is_on_offer(self):
        for fields in self.index.values():
            for (dependency,) in database.dependencies(fields):
                name = versions.split_dependency(dependency)[0]
                self.assertTrue(versions.satisfies(self.index[name]["Version"], dependency),
                                "%s needs %s" % (fields["Package"], dependency))

    def test_the_statistics_rank_twenty_packages_on_offer_in_three_sections(self):
        text = read("zirkdlstat.txt")
        self.assertTrue(text.endswith("\n"))
        sections = []
        for line in text.splitlines():
            if line in SECTIONS:
                sections.append((line, []))
            else:
                name, count = line.split(";")
                self.assertIn("enigma2-plugin-%s-%s" % (SECTIONS[sections[-1][0]], name),
                              self.index)
                sections[-1][1].append(int(count))
        self.assertEqual(["EXTENSIONS", "SYSTEMPLUGINS", "SKINS"], [name for name, _ in sections])
        self.assertEqual(20, sum(len(counts) for _, counts in sections))
        for name, counts in sections:
            self.assertEqual(sorted(counts, reverse=True), counts, name)

    def behind(self, state):
        return [package.name for package in packages.sample_installed(state)
                if versions.key(package.version) <
                versions.key(self.index[package.name]["Version"])]

    def test_three_installed_packages_are_behind_and_more_than_ten_when_neglected(self):
        self.assertEqual(3, len(self.behind(packages.RECENT)))
        self.assertGreater(len(self.behind(packages.NEGLECTED)), 10)

    def test_installed_packages_have_what_they_need(self):
        for state in (packages.RECENT, packages.NEGLECTED):
            installed = packages.sample_installed(state)
            names = dict((package.name, package.version) for package in installed)
            self.assertEqual(len(installed), len(names))
            for package in installed:
                for dependency in package.depends:
                    name = versions.split_dependency(dependency)[0]
                    self.assertIn(name, names, "%s needs %s" % (package.name, name))


class NewsTest(unittest.TestCase):

    MODELS = ("duo solo uno ultimo solo2 duo2 solose zero solo4k ultimo4k uno4k uno4kse zero4k "
              "duo4k duo4kse").split()

    def setUp(self):
        self.document = xml.dom.minidom.parseString(read("zirknews.xml"))
        self.addCleanup(self.document.unlink)
        self.updates = self.document.getElementsByTagName("update")

    def elements(self, name):
        return self.document.getElementsByTagName(name)

    def test_every_receiver_shows_a_dozen_entries_or_about(self):
        for model in self.MODELS:
            shown = [update for update in self.updates if not update.hasAttribute("require") or
                     model in update.getAttribute("require").split(",")]
            self.assertIn(len(shown), (12, 13, 14), model)

    def test_every_kind_occurs_and_an_unknown_one_and_none(self):
        kinds = set(update.getAttribute("type") if update.hasAttribute("type") else None
                    for update in self.updates)
        self.assertTrue(kinds.issuperset(["normal", "info", "urgent", None]), kinds)
        self.assertGreater(len(kinds), 4)

    def test_every_title_is_plain_text(self):
        for update in self.updates:
            title, = update.getElementsByTagName("title")
            self.assertEqual(title.TEXT_NODE, title.firstChild.nodeType)

    def test_only_known_models_are_required_at_every_level(self):
        for name in ("update", "item", "description"):
            required = [element.getAttribute("require") for element in self.elements(name)
                        if element.hasAttribute("require")]
            self.assertTrue(required, name)
            for models in required:
                self.assertLessEqual(set(models.split(",")), set(self.MODELS))

    def test_items_occur_with_and_without_text_and_descriptions(self):
        forms = set((bool(item.getElementsByTagName("itemtext")),
                     bool(item.getElementsByTagName("description")))
                    for item in self.elements("item"))
        self.assertTrue(forms.issuperset([(True, True), (True, False), (False, True)]), forms)
        self.assertIn(0, [len(update.getElementsByTagName("item")) for update in self.updates])
        self.assertIn(None, [each.firstChild for each in self.elements("description")])

    def test_titles_and_texts_hold_characters_outside_ascii(self):
        for name in ("title", "itemtext", "description"):
            texts = [each.firstChild.data for each in self.elements(name) if each.firstChild]
            self.assertTrue([text for text in texts if text != text.encode("ascii", "ignore")],
                            name)


if __name__ == "__main__":
    unittest.main()
