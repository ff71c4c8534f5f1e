# -*- coding: utf-8 -*-
"""The publisher's check of a feed: what it shows of one, and each thing that it finds wrong."""

import os
import random
import re
import shutil
import sys
import tempfile
import unittest
from cStringIO import StringIO

from simulator import check, feed_problems
from simulator.feedserver import FeedServer
from simulator.models import MODELS
from simulator.receiver import Receiver
from tests.support import documents
from tests.support.driving import NEWS, NOT_ANALYZED, document

STATISTICS = "EXTENSIONS\nfoo;12\nSYSTEMPLUGINS\nbar;7\nSKINS\nclear-hd;3\n"

PROBLEM = re.compile(r"(zirknews\.xml|zirkdlstat\.txt)(?::(\d+))?: (error|warning): (.*)")


def update(content, attributes=""):
    """A document with one <update>, which begins on line 2; its content begins on line 3."""
    return "<news>\n<update%s>\n%s</update>\n</news>\n" % (attributes, content)


def item(content, attributes=""):
    """The same with a title on line 3 and an <item> on line 4, whose content follows at once."""
    return update("<title>News</title>\n<item%s>%s</item>\n" % (attributes, content))


class CheckTest(unittest.TestCase):

    def setUp(self):
        self.directory = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.directory)

    def check(self, *options, **files):
        """Run the check of a sound feed, changed: news and statistics, None for no such file.

        Keeps its exit status, standard output and error in self.status, self.output, self.words,
        and the problems, tuples (file, line, severity, sentence), in self.problems.
        """
        for name, content in (("zirknews.xml", files.get("news", NEWS)),
                              ("zirkdlstat.txt", files.get("statistics", STATISTICS))):
            if content is not None:
                with open(os.path.join(self.directory, name), "wb") as stream:
                    stream.write(content)
        streams = sys.stdout, sys.stderr
        sys.stdout, sys.stderr = StringIO(), StringIO()
        try:
            self.status = check.main((self.directory,) + options)
        except SystemExit as e:
            self.status = e.code
        finally:
            self.output, self.words = sys.stdout.getvalue(), sys.stderr.getvalue()
            sys.stdout, sys.stderr = streams
        self.problems = [PROBLEM.match(line).groups() for line in self.output.split("\n")
                         if PROBLEM.match(line)]
        for _, _, _, sentence in self.problems:
            self.assertRegexpMatches(sentence, r"\A[^:].*: [a-z].*[^.]\.\Z")

    def only(self, place, severity, *words, **files):
        """Check a feed that has one problem, with these words in its sentence."""
        self.check(**files)
        self.assertEqual(len(self.problems), 1, self.output)
        name, line, found, sentence = self.problems[0]
        self.assertEqual((name if line is None else "%s:%s" % (name, line), found),
                         (place, severity))
        for word in words:
            self.assertIn(word, sentence)
        self.assertEqual(self.status, 1 if severity == "error" else 0)
        self.assertTrue(self.output.endswith(
            "\n1 error and no warnings on 15 models.\n" if severity == "error" else
            "\nNo errors and 1 warning on 15 models.\n"), self.output)


class OutputTest(CheckTest):

    def test_a_sound_feed_has_rows_and_no_problems(self):
        self.check()
        self.assertEqual((self.status, self.words), (0, ""))
        self.assertEqual(self.output, """\
News on %s:
  urgent  Update now
  normal  Release 3.1
  info    Meeting

Top 20, Extensions:
  Foo   (12) - Install

Top 20, Systemplugins:
  Bar   (7) - Install

Top 20, Skins:
  Clear-Hd   (3) - Install

No errors and no warnings on 15 models.
""" % ", ".join(MODELS))

    def test_models_that_show_the_same_are_named_together(self):
        self.check(news=document("<update require='duo2,solo'><title>Two</title></update>",
                                 "<update require='zero' type='info'><title>Z</title></update>",
                                 "<update><title>All</title></update>"))
        others = [model for model in MODELS if model not in ("solo", "duo2", "zero")]
        self.assertEqual(self.output.split("\n\n")[:3], [
            "News on %s:\n  normal  All" % ", ".join(others),
            "News on solo, duo2:\n  normal  Two\n  normal  All",
            "News on zero:\n  info    Z\n  normal  All"])

    def test_one_model_can_be_asked_for(self):
        self.check("--model", "zero")
        self.assertIn("News on zero:\n", self.output)
        self.assertTrue(self.output.endswith("\nNo errors and no warnings on 1 model.\n"))
        whole = self.output
        self.check("--model", "all")
        self.assertEqual(self.output.replace(", ".join(MODELS), "zero").replace("15 models",
                                                                                "1 model"), whole)

    def test_a_model_without_news_has_an_empty_list(self):
        self.check("--model", "duo2",
                   news=document("<update require='zero'><title>Z</title></update>"))
        self.assertIn("News on duo2:\n  an empty list\n", self.output)
        self.assertEqual(self.status, 0)

    def test_rows_are_the_modules_own(self):
        # Where the titles of two updates are nested, the rows are not what one would expect.
        self.check("--model", "duo2",
                   news="<n><update><update><title>In</title></update></update></n>")
        self.assertIn("  normal  In\n  normal  In\n", self.output)

    def test_control_characters_of_texts_are_written_out(self):
        self.check(news=update("<title>One&#10;two&#9;&#13;</title>"))
        self.assertIn("  normal  One\\ntwo\\t\\r\n", self.output)
        self.check(news=update("<title>One</title>", " type='a&#10;b'"))
        self.assertIn('"a\\nb"', self.problems[0][3])

    def test_only_receivers_that_an_update_is_for_restart_at_it(self):
        self.check(news=document("<update require='duo2,zero'/>",
                                 "<update><title>All</title></update>"))
        self.assertIn("News on duo2, zero:\n  the menus restart (IndexError: list index out of "
                      "range)\n", self.output)
        self.assertIn("News on duo, solo, uno, ultimo, solo2, solose, solo4k, ultimo4k, uno4k, "
                      "uno4kse, zero4k, duo4k, duo4kse:\n  normal  All\n", self.output)
        self.assertEqual(self.status, 1)

    def test_problems_stand_by_file_and_line(self):
        self.check(news="<news>\n<update type='x'>\n<item require=''/></update></news>",
                   statistics="foo;1\nfoo\nSKINS\nbar;1\n")
        self.assertEqual([problem[:3] for problem in self.problems], [
            ("zirknews.xml", "2", "error"), ("zirknews.xml", "2", "error"),
            ("zirknews.xml", "3", "error"), ("zirknews.xml", "3", "warning"),
            ("zirkdlstat.txt", "1", "error"), ("zirkdlstat.txt", "2", "error")])
        self.assertTrue(self.output.endswith("\n5 errors and 1 warning on 15 models.\n"))
        self.assertEqual(self.status, 1)


class ElementTest(CheckTest):

    def test_elements_are_numbered_within_the_one_around_them(self):
        description = "<description require=''/>"
        self.check(news=document(
            "<update><title>1</title><item><itemtext>a</itemtext></item></update>",
            "<update><title>2</title><item><itemtext>a</itemtext></item>",
            "<wrap><item><itemtext>a</itemtext><description/>%s</item></wrap></update>"
            % description))
        self.assertEqual(len(self.problems), 1)
        self.assertIn("description 2 of item 2 of update 2 ", self.problems[0][3])

    def test_an_update_without_a_title(self):
        self.only("zirknews.xml:2", "error", "update 1 has no <title>", "restart",
                  news=update("<item><itemtext>a</itemtext></item>"))
        self.assertIn("  the menus restart (IndexError", self.output)

    def test_an_empty_title(self):
        self.only("zirknews.xml:3", "error", "title 1 of update 1 is empty", "restart",
                  news=update("<title/>"))
        self.assertIn("  the menus restart (AttributeError", self.output)

    def test_a_title_of_blanks(self):
        self.only("zirknews.xml:3", "error", "title 1 of update 1", "white space",
                  news=update("<title>  </title>"))

    def test_texts_that_begin_with_an_element(self):
        self.only("zirknews.xml:3", "error", "title 1 of update 1 begins with <b>", "restart",
                  news=update("<title><b>a</b></title>"))
        self.assertIn("  the menus restart (AttributeError", self.output)
        for name in ("itemtext", "description"):
            texts = {"itemtext": "<itemtext>a</itemtext>"}
            texts[name] = "<%s><b>a</b></%s>" % (name, name)
            self.only("zirknews.xml:4", "error", "%s 1 of item 1 of update 1" % name, "restart",
                      news=item("".join(texts.values())))
            self.assertIn("  the menus restart (AttributeError", self.output)

    def test_texts_that_begin_with_a_comment(self):
        for first in ("<!-- c -->", "<?p i?>"):
            self.only("zirknews.xml:3", "error", "title 1", "begins with a comment",
                      news=update("<title>%sText</title>" % first))

    def test_texts_of_several_pieces(self):
        for text in ("a <b>b</b>", "a<!-- c -->b", "a<![CDATA[b]]>", "<![CDATA[a]]>b"):
            self.only("zirknews.xml:4", "error", "itemtext 1 of item 1 of update 1", "only up to",
                      news=item("<itemtext>%s</itemtext>" % text))

    def test_pieces_without_text_cost_nothing(self):
        for text in ("a<b/>", "a<!-- c -->", "a<!-- c -->\n", "a &amp; b", "<![CDATA[a <b>]]>"):
            self.check(news=item("<itemtext>%s</itemtext>" % text))
            self.assertEqual(self.problems, [])

    def test_white_space_at_an_end_and_line_breaks(self):
        for text in ("\na", "a ", "a\nb"):
            self.only("zirknews.xml:3", "warning", "title 1 of update 1", "white space",
                      news=update("<title>%s</title>" % text))

    def test_a_second_title(self):
        self.only("zirknews.xml:4", "warning", "title 2 of update 1 is not shown",
                  news=update("<title>a</title>\n<title/>"))

    def test_a_second_text_of_an_item(self):
        self.only("zirknews.xml:4", "warning", "itemtext 1 of item 1 of update 1 is not shown",
                  news=item("<itemtext>a</itemtext>\n<itemtext>b</itemtext><itemtext/>"))

    def test_an_item_without_a_text(self):
        for content in ("", "<itemtext/>", "<description>a</description>"):
            self.only("zirknews.xml:4", "warning", "item 1 of update 1", '"* None"',
                      news=item(content))

    def test_nested_updates_and_items(self):
        self.only("zirknews.xml:4", "warning", "update 2 stands in update 1",
                  news=update("<title>a</title>\n<update><title>b</title></update>"))
        self.assertIn("  normal  a\n  normal  b\n", self.output)
        self.only("zirknews.xml:5", "warning", "item 2 of update 1 stands in item 1 of update 1",
                  news=item("\n<item><itemtext>a</itemtext></item><itemtext>b</itemtext>"))

    def test_elements_in_the_wrong_place(self):
        for name, place in (("title", "update"), ("item", "update"), ("itemtext", "item"),
                            ("description", "item")):
            around = "<{0}>%s</{0}>".format("news" if place == "update" else "update")
            self.only("zirknews.xml:3", "error", "%s 1 " % name, "outside <%s>" % place,
                      news="<news><update><title>a</title></update>\n\n%s</news>" % (
                          around % "<title>a</title><{0}>a</{0}>".format(name)
                          if place == "item" else "<{0}>a</{0}>".format(name)))

    def test_names_with_capitals(self):
        self.only("zirknews.xml:4", "error", "Item 1 is passed over", "<item>",
                  news=update("<title>a</title>\n<Item><b/></Item>"))
        self.only("zirknews.xml:2", "error", "Type", "write type",
                  news=update("<title>a</title>", " Type='info'"))

    def test_attributes_without_effect(self):
        self.only("zirknews.xml:3", "error", "require", "title 1 of update 1", "to the <update>",
                  news=update("<title require='duo'>a</title>"))
        self.only("zirknews.xml:4", "error", "require", "itemtext 1 of item 1", "to the <item>",
                  news=item("<itemtext require='duo'>a</itemtext>"))
        self.only("zirknews.xml:4", "error", "type", "item 1 of update 1", "to the <update>",
                  news=item("<itemtext>a</itemtext>", " type='info'"))

    def test_attributes_of_others_are_passed_over(self):
        self.check(news=update("<title id='1' xml:lang='de'>a</title>", " xmlns='u' date='x'"))
        self.assertEqual(self.problems, [])

    def test_an_unknown_kind(self):
        for kind in ("Urgent", "event", ""):
            self.only("zirknews.xml:2", "error", '"%s"' % kind, "update 1", "normal icon",
                      news=update("<title>a</title>", " type='%s'" % kind))
            self.assertIn("  normal  a\n", self.output)

    def test_a_feed_without_updates(self):
        self.only("zirknews.xml", "warning", "no <update>", news="<news/>")

    def test_unknown_elements_are_passed_over(self):
        self.check(news="<r><u/><update><p><title>a</title></p><date>1</date></update></r>")
        self.assertEqual(self.problems, [])


class RequireTest(CheckTest):

    def test_a_model_that_does_not_exist(self):
        for require in ("duo5", "duo,duo5", "duo5,duo"):
            self.only("zirknews.xml:2", "error", "update 1", '"duo5"', "duo4kse",
                      news=update("<title>a</title>", " require='%s'" % require))

    def test_blanks(self):
        for require, key in (("solo, duo", " duo"), ("solo ,duo", "solo "), (" duo", " duo"),
                             ("solo, Duo", " Duo")):
            self.only("zirknews.xml:4", "error", "item 1 of update 1", '"%s"' % key, "blanks",
                      'write "%s"' % key.strip().lower(),
                      news=item("<itemtext>a</itemtext>", " require='%s'" % require))

    def test_capitals(self):
        self.only("zirknews.xml:2", "error", '"Duo2"', "capitals", 'write "duo2"',
                  news=update("<title>a</title>", " require='solo,Duo2'"))

    def test_an_empty_one(self):
        self.only("zirknews.xml:5", "error", "description 1 of item 1 of update 1",
                  "every receiver", news=item("<itemtext>a</itemtext>\n"
                                              "<description require=''>b</description>"))

    def test_a_comma_too_many(self):
        self.only("zirknews.xml:2", "error", '""',
                  news=update("<title>a</title>", " require='solo,'"))

    def test_every_fault_of_a_list_is_named(self):
        self.check(news=update("<title>a</title>", " require='duo, solo,SOLO,x'"))
        self.assertEqual([re.search('requires "(.*?)"', problem[3]).group(1)
                          for problem in self.problems], [" solo", "SOLO", "x"])


class CharactersTest(CheckTest):

    def test_those_outside_ascii_are_warned_of(self):
        self.only("zirknews.xml:3", "warning", "title 1 of update 1", '"\xc3\xbc"', "ASCII",
                  "when the browser opens", news=update("<title>f\xc3\xbcr</title>"))
        self.assertIn("  normal  f\xc3\xbcr\n", self.output)
        for name in ("itemtext", "description"):
            texts = {"itemtext": "<itemtext>a</itemtext>"}
            texts[name] = "<{0}>\xf0\x9f\x93\xba</{0}>".format(name)
            self.only("zirknews.xml:4", "warning", "%s 1 of item 1 of update 1" % name,
                      '"\xf0\x9f\x93\xba"', "when the entry opens",
                      news=item("".join(texts.values())))

    def test_those_that_are_not_shown_do_not_matter(self):
        self.check(news=update("<title>a</title><!-- \xc3\xbc --><p n='\xc3\xbc'>\xc3\xbc</p>"))
        self.assertEqual(self.problems, [])

    def test_those_that_the_platforms_encoding_lacks_are_errors(self):
        # UTF-8 has them all. A platform with another default encoding would not:
        encodings = feed_problems.ENCODINGS
        self.addCleanup(setattr, feed_problems, "ENCODINGS", encodings)
        feed_problems.ENCODINGS = [("ascii", "error")]
        self.only("zirknews.xml:3", "error", "title 1 of update 1", '"\xc3\xbc"', "restart",
                  news=update("<title>f\xc3\xbcr</title>"))
        self.assertIn("  the menus restart (UnicodeEncodeError", self.output)
        self.only("zirknews.xml:4", "error", "itemtext 1 of item 1 of update 1", "restart",
                  news=item("<itemtext>f\xc3\xbcr</itemtext>"))
        self.assertIn("  normal  News\n  the menus restart (UnicodeEncodeError", self.output)


class DocumentTest(CheckTest):

    def test_one_that_is_not_well_formed(self):
        self.only("zirknews.xml:3", "error", "not well-formed (mismatched tag)", "column",
                  news="<news>\n<update>\n</news>")
        self.assertIn('  nothing but the message "%s"\n' % NOT_ANALYZED, self.output)

    def test_one_that_is_empty_or_is_no_xml(self):
        for content in ("", "\n", "Nothing here", "<html><br></html>", "<n>\xfc</n>"):
            self.check(news=content)
            self.assertEqual([problem[2] for problem in self.problems], ["error"])
            self.assertIn("not well-formed", self.problems[0][3])

    def test_an_encoding_that_the_interpreter_lacks(self):
        for name, error in (("bogus", "LookupError"), ("shift_jis", "ValueError")):
            self.only("zirknews.xml", "error", error, "save it as UTF-8",
                      news="<?xml version='1.0' encoding='%s'?>%s" % (name, NEWS))
            self.assertIn("  the menus restart (%s" % error, self.output)

    def test_other_encodings_are_read_as_receivers_read_them(self):
        text = u"<?xml version='1.0' encoding='%s'?><n>\n<update type='x'><title>f\xfcr</title>" \
               u"</update></n>"
        for name in ("iso-8859-1", "utf-16"):
            self.check(news=(text % name).encode(name))
            self.assertEqual([problem[:3] for problem in self.problems],
                             [("zirknews.xml", "2", "error"), ("zirknews.xml", "2", "warning")])
            self.assertIn("  normal  f\xc3\xbcr\n", self.output)

    def test_one_that_nests_too_deeply(self):
        deep = "<a>" * 400 + "</a>" * 400
        self.only("zirknews.xml", "error", "RuntimeError", "less deeply",
                  news=NEWS.replace("</news>", deep + "</news>"))
        self.check(news=NEWS.replace("</news>", "<title>%s</title></news>" % (deep * 3)))
        self.assertEqual(self.status, 1)

    def test_a_missing_one(self):
        self.only("zirknews.xml", "error", "missing", news=None)
        self.assertIn("  nothing but the message \"It seems that", self.output)

    def test_what_reading_finds_is_what_stops_receivers(self):
        met = set()
        with FeedServer(self.directory) as server:
            with Receiver(model="duo2", feed_url=server.url) as box:
                for seed in range(800):
                    content = documents.generate(random.Random(seed))[1]
                    server.fault("zirknews.xml", body=content)
                    problems = feed_problems.news_problems(content)
                    malformed = [problem for problem in problems
                                 if problem.text.startswith("The document is not well-formed")]
                    restarts = [problem for problem in problems if problem.restarts]
                    try:
                        status = box.module.parse_xml()
                    except IndexError:
                        status = "shape"
                        self.assertTrue(restarts, (seed, content))
                    except AttributeError as e:
                        status = "shape"
                        # The rest of this kind is a codec's.
                        self.assertTrue(restarts or "has no attribute 'data'" not in str(e),
                                        (seed, content))
                    except Exception:
                        status = "parser"
                    self.assertEqual(bool(malformed), status == 3, (seed, content))
                    met.add((status, bool(malformed), bool(restarts)))
        self.assertGreaterEqual(met, set([(1, False, False), (3, True, False),
                                          ("shape", False, True), ("parser", False, False)]))


class StatisticsTest(CheckTest):

    def test_a_record_in_front_of_the_sections(self):
        self.only("zirkdlstat.txt:1", "error", '"foo;1"', "first section",
                  statistics="foo;1\n" + STATISTICS)

    def test_a_record_with_too_few_fields(self):
        self.only("zirkdlstat.txt:7", "error", '"foo"', "NAME;COUNT",
                  statistics=STATISTICS + "foo\n")

    def test_a_section_that_is_not_written_exactly_so(self):
        for name in ("Skins", "SKINS ", "SKINS;", "SKINS:", "\xef\xbb\xbfSKINS"):
            self.only("zirkdlstat.txt:1", "error", '"%s"' % name, "write SKINS",
                      statistics="%s\nfoo;1\n%s" % (name, STATISTICS))

    def test_a_section_that_does_not_exist(self):
        self.only("zirkdlstat.txt:7", "error", '"PICONS"',
                  statistics=STATISTICS + "PICONS\nfoo;1\n")

    def test_carriage_returns(self):
        self.only("zirkdlstat.txt:1", "error", "carriage return", "6 in all",
                  statistics=STATISTICS.replace("\n", "\r\n"))
        self.only("zirkdlstat.txt:2", "error", "carriage return", "1 in all",
                  statistics=STATISTICS.replace("foo;12", "foo;12\r"))

    def test_a_name_with_the_text_that_receivers_remove(self):
        self.only("zirkdlstat.txt:7", "error", '"_install"',
                  statistics=STATISTICS + "my_installer;1\n")

    def test_a_name_that_is_no_packages(self):
        for name in ("", "foo bar", " foo", "f\xc3\xbcr", "foo/"):
            self.only("zirkdlstat.txt:7", "error", '"%s;1"' % name,
                      statistics="%s%s;1\n" % (STATISTICS, name))

    def test_an_empty_count(self):
        self.only("zirkdlstat.txt:7", "warning", '"foo;"', statistics=STATISTICS + "foo;\n")

    def test_no_record_at_all(self):
        for content in ("", "EXTENSIONS\nSKINS\n", "\n"):
            self.only("zirkdlstat.txt", "warning", "opens empty", statistics=content)

    def test_empty_lines_and_further_fields_do_not_matter(self):
        self.check(statistics="\n%s\nfoo;1;2;3" % STATISTICS)
        self.assertEqual(self.problems, [])
        self.assertIn("  Foo   (1) - Install\n", self.output)

    def test_missing_ones(self):
        self.only("zirkdlstat.txt", "error", "missing", "yellow", statistics=None)
        self.assertNotIn("Top 20,", self.output)


class RefusalTest(CheckTest):
    """What can't be checked gets one sentence and the status 2."""

    def refused(self, words, *options, **files):
        self.check(*options, **files)
        self.assertEqual((self.status, self.output), (2, ""))
        self.assertRegexpMatches(self.words, r"\Acheck: .*%s.*[;:] .*\.\n\Z" % words)

    def test_a_model_that_does_not_exist(self):
        self.refused("no model 'abacus'", "--model", "abacus")

    def test_options_that_do_not_exist(self):
        self.refused("--tour", "--tour")
        self.refused("arguments", "another")

    def test_a_folder_without_either_file(self):
        self.refused("neither zirknews.xml nor zirkdlstat.txt", news=None, statistics=None)

    def test_a_folder_that_does_not_exist(self):
        os.rmdir(self.directory)
        self.refused("no feed folder '%s'" % self.directory, news=None, statistics=None)
        os.mkdir(self.directory)

    def test_a_file_that_can_not_be_read(self):
        os.mkdir(os.path.join(self.directory, "zirknews.xml"))
        self.refused("zirknews.xml can't be read", news=None)

    def test_a_link_out_of_the_folder(self):
        os.symlink("../elsewhere.xml", os.path.join(self.directory, "zirknews.xml"))
        self.refused("zirknews.xml is a link", news=None)


if __name__ == "__main__":
    unittest.main()
