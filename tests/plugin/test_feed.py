# -*- coding: utf-8 -*-
"""The feed's address, the filter for receivers and the cache of the news."""

import cPickle
import os
import pickle
import shutil
import tempfile
import xml.dom.minidom

from tests.support.receiver import (
    CACHE, CONFIGURATION, Blank, ModuleTest, configure, read, write)

KEYWORD = "src/gz Zirk-all "
NEWS = [(u"Öl", [(None, []), (u"item", [u"a", u"b"])], "normal"),
        (u"", [], u"urgent"), (u"\ud83d\udcfa", [(u"x", [u""])], u"")]


class Address(ModuleTest):

    def check(self, *rows):
        """rows: the configuration, the file asked for (if any), the address."""
        for row in rows:
            configure(row[0])
            found = self.module.newsURL(*row[1:-1])
            self.assertEqual((type(found), found), (str, row[-1]), row)

    def test_is_that_of_the_file_asked_for_or_of_the_news_document(self):
        self.check((KEYWORD + "http://h.example/3.1/all\n", "http://h.example/3.1/zirknews.xml"),
                   (KEYWORD + "http://h/all\n", "zirknews.xml", "http://h/zirknews.xml"),
                   (KEYWORD + "http://h/all\n", "X", "http://h/X"),
                   (KEYWORD + "http://h/any\n", "X", "http://h/any"))
        configure(KEYWORD + "http://h/all\n")
        self.assertEqual(self.module.newsURL(f_name="zirkdlstat.txt"), "http://h/zirkdlstat.txt")

    def test_has_every_all_replaced_but_none_that_the_name_brings(self):
        self.check((KEYWORD + "http://smallbox.example/alltoall/all\n", "X",
                    "http://smXbox.example/XtoX/X"),
                   (KEYWORD + "http://h/aallll\n", "X", "http://h/aXll"),
                   (KEYWORD + "http://h/all\n", "all", "http://h/all"),
                   (KEYWORD + "http://h/allall\n", "balll", "http://h/balllballl"))

    def test_loses_characters_of_the_keyword_at_both_ends_up_to_the_line_feed(self):
        self.check(("http://h/all\n", "X", "http://h/X"),
                   ("all all gz/gz-src http://h/all\n", "X", "http://h/X"),
                   ("skills.example/all\n", "X", ".example/X"),
                   ("ZzSh/all\n", "X", "Sh/X"),
                   ("src/gz Other-all http://h/all\n", "X", "Other-X http://h/X"),
                   (KEYWORD + "http://feed.example/all/2", "X", "http://feed.example/X/2"),
                   # Without a line feed the last component goes, with the slash before it.
                   (KEYWORD + "http://feed.box/all", "X", "http://feed.box"))

    def test_loses_white_space_at_both_ends_after_that(self):
        self.check((KEYWORD + "\t\x0b http://h/all\t\r\n", "X", "http://h/X"),
                   (KEYWORD + "http://h/all \n", "X", "http://h/X"),
                   ("\tsrc http://h/all \r\n", "X", "src http://h/X"))

    def test_stands_in_the_first_line_whatever_that_holds(self):
        self.check((KEYWORD + "http://one/all\nhttp://two/all\n", "X", "http://one/X"),
                   (KEYWORD + "http://h\xff\xfe\x00/all\n", "X", "http://h\xff\xfe\x00/X"),
                   (KEYWORD + "http://h/%s/all\n" % ("x" * 100000), "X",
                    "http://h/%s/X" % ("x" * 100000)))

    def test_is_empty_for_a_line_without_one(self):
        for content in ("", "\n", KEYWORD, KEYWORD + "\n", " \t \n"):
            self.check((content, ""))

    def test_is_unicode_for_a_unicode_name(self):
        configure(KEYWORD + "http://h/all\n")
        found = self.module.newsURL(u"x\xe4")
        self.assertEqual((type(found), found), (type(u""), u"http://h/x\xe4"))

    def test_needs_a_text_for_a_name(self):
        configure(KEYWORD + "http://h/all\n")
        for name in (None, 5, []):
            self.assertFails(TypeError, ["newsURL:109"], self.module.newsURL, name)

    def test_needs_the_configuration(self):
        configure(None)
        error = self.assertFails(IOError, ["newsURL:105"], self.module.newsURL)
        self.assertEqual(str(error), "[Errno 2] No such file or directory: '%s'" % CONFIGURATION)
        os.mkdir(CONFIGURATION)
        self.addCleanup(os.rmdir, CONFIGURATION)
        self.assertFails(IOError, ["newsURL:105"], self.module.newsURL)


class SkipEntry(ModuleTest):
    """The receiver of the tests is a "duo2"."""

    def test_tells_whether_the_model_is_missing_among_those_that_an_element_requires(self):
        for attributes, answer in [("", False), ("require='duo2'", False), ("require='x'", True),
                                   ("require=''", True), ("Require='x'", False)]:
            element = xml.dom.minidom.parseString("<e %s/>" % attributes).documentElement
            self.assertIs(self.module.skip_entry(element), answer, attributes)

    def test_keeps_an_element_whose_list_is_empty(self):
        element = Blank(hasAttribute=len, getAttribute=lambda name: Blank(split=lambda by: []))
        self.assertIs(self.module.skip_entry(element), False)


class CacheTest(ModuleTest):

    def setUp(self):
        super(CacheTest, self).setUp()
        self.directory = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.directory)

    def use(self, *parts):
        """Make a file below the test's own directory the cache file; return its path."""
        self.module.cache_file = os.path.join(self.directory, *parts)
        return self.module.cache_file


class Writing(CacheTest):

    def test_leaves_exactly_the_pickle_of_the_highest_protocol(self):
        self.module.write_cache(["x" * 10000])
        shared = [u"same"]
        for value in (NEWS, [], None, u"text", [shared, shared], {"any": (1, 2.5, True)}):
            self.assertIsNone(self.module.write_cache(value))
            self.assertEqual(read(CACHE), cPickle.dumps(value, -1))
            self.assertEqual(read(CACHE)[:2], "\x80\x02")  # protocol 2

    def test_makes_the_missing_directory_and_none_above_it(self):
        path = self.use("missing", "news")
        self.module.write_cache([1])
        self.assertEqual(self.module.load_cache(), [1])
        shutil.rmtree(os.path.dirname(path))
        path = self.use("missing", "too", "news")
        error = self.assertFails(IOError, ["write_cache:94"], self.module.write_cache, [])
        self.assertEqual((error.filename, os.listdir(self.directory)), (path, []))

    def test_of_what_cannot_be_pickled_leaves_a_damaged_file(self):
        self.module.write_cache(["former"])
        self.assertFails(TypeError, ["write_cache:95"], self.module.write_cache,
                         [u"text", (value for value in ())])
        self.assertNotEqual(read(CACHE), cPickle.dumps(["former"], -1))
        with self.assertRaises(Exception):
            self.module.load_cache()

    def test_to_a_bare_name_tries_to_make_the_empty_directory(self):
        made, opened = [], []
        self.box.patch(os, "mkdir", made.append)
        self.replace(cache_file="bare", dump=lambda *_: None,
                     open=lambda *args: opened.append(args) or Blank(close=lambda: None))
        self.module.write_cache([])
        self.assertEqual((made, opened), ([""], [("bare", "w")]))


class Loading(CacheTest):

    def test_gives_what_was_written_with_every_type_and_anew_each_time(self):
        for value in (NEWS, [], None, [u"ä", "\xff", 3], (True, 2.5)):
            self.module.write_cache(value)
            self.assertEqual(repr(self.module.load_cache()), repr(value))
        self.module.write_cache(NEWS)
        self.assertIsNot(self.module.load_cache(), self.module.load_cache())

    def test_reads_the_first_object_of_the_file_in_any_protocol(self):
        for protocol in (0, 1, 2):
            write(CACHE, pickle.dumps(NEWS, protocol) + "rest")
            self.assertEqual(self.module.load_cache(), NEWS)

    def test_of_a_damaged_file_fails_as_the_unpickling_does(self):
        whole = cPickle.dumps(NEWS, -1)
        for content, error in [("", EOFError), (whole[:-1], EOFError), ("\x80\x09.", ValueError),
                               ("nonsense", cPickle.UnpicklingError)]:
            write(CACHE, content)
            self.assertFails(error, ["load_cache:100"], self.module.load_cache)
