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

NEWS = ("<news><update type='urgent'><title>Update now</title></update>"
        "<update><title>Release 3.1</title></update>"
        "<update type='info'><title>Meeting</title></update></news>")
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
        # Nothing is installed; the stand-in takes longer to say so.
        os.rename("/usr/bin/opkg", "/usr/bin/opkg.away")
        self.addCleanup(os.rename, "/usr/bin/opkg.away", "/usr/bin/opkg")
        with open("/usr/bin/opkg", "w") as script:
            script.write("#!/bin/sh\n")
        os.chmod("/usr/bin/opkg", 0o755)

    def check(self, *options, **files):
        """Run the check of a sound feed, changed: news and statistics, None for no such file.

        Keeps its exit status, standard output and error in self.status, self.output, self.words,
        and the problems, tuples (place, severity, sentence), in self.problems.
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
        self.problems = []
        for name, line, severity, sentence in PROBLEM.findall(self.output):
            self.problems.append((name + (":" + line if line else ""), severity, sentence))
            self.assertRegexpMatches(sentence, r"\A[^:].*: [a-z].*[^.]\.\Z")

    def problem(self, place, severity, *words, **files):
        """Check a feed that has one problem, with these words in its sentence, on one model.

        place: a line of the news, or the file's name and the line. shown: what is shown besides.
        """
        shown = files.pop("shown", "")
        self.check("--model", "duo2", **files)
        self.assertEqual([problem[:2] for problem in self.problems],
                         [("zirknews.xml:%d" % place if isinstance(place, int) else place,
                           severity)], self.output)
        for word in words:
            self.assertIn(word, self.problems[0][2])
        self.assertIn(shown, self.output)
        self.assertEqual(self.status, 1 if severity == "error" else 0)
        self.assertTrue(self.output.endswith(
            "\n1 error and no warnings on 1 model.\n" if severity == "error" else
            "\nNo errors and 1 warning on 1 model.\n"), self.output)

    def none(self, **files):
        self.check("--model", "duo2", **files)
        self.assertEqual((self.problems, self.status), ([], 0))


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
        self.check(news="<n><update require='duo2,solo'><title>Two</title></update>"
                        "<update require='zero' type='info'><title>Z</title></update>"
                        "<update require='uno,duo'/><update require='solo,duo2,zero,uno,duo'>"
                        "<title>All</title></update></n>")
        others = [model for model in MODELS
                  if model not in ("solo", "duo2", "zero", "uno", "duo")]
        self.assertEqual(self.output.split("\n\n")[:4], [
            "News on duo, uno:\n  the menus restart (IndexError: list index out of range)",
            "News on solo, duo2:\n  normal  Two\n  normal  All",
            "News on %s:\n  an empty list" % ", ".join(others),
            "News on zero:\n  info    Z\n  normal  All"])
        self.assertEqual(self.status, 1)

    def test_control_characters_of_texts_are_written_out(self):
        self.check("--model", "duo2", news=update("<title>One&#10;two&#9;&#13;</title>",
                                                  " type='a&#10;b'"))
        self.assertIn("  normal  One\\ntwo\\t\\r\n", self.output)
        self.assertIn('"a\\nb"', self.problems[0][2])

    def test_problems_stand_by_file_and_line(self):
        self.check(news="<news>\n<update type='x'>\n<item require=''/></update></news>",
                   statistics="foo;1\nfoo\nSKINS\nbar;1\n")
        self.assertEqual([problem[:2] for problem in self.problems], [
            ("zirknews.xml:2", "error"), ("zirknews.xml:2", "error"),
            ("zirknews.xml:3", "error"), ("zirknews.xml:3", "warning"),
            ("zirkdlstat.txt:1", "error"), ("zirkdlstat.txt:2", "error")])
        self.assertTrue(self.output.endswith("\n5 errors and 1 warning on 15 models.\n"))
        self.assertEqual(self.status, 1)


class NewsTest(CheckTest):

    def test_elements_are_numbered_within_the_one_around_them(self):
        one = "<update><title>1</title><item><itemtext>a</itemtext></item>"
        self.problem(1, "error", "description 2 of item 2 of update 2 ", news=(
            "<n>%s</update>%s<wrap><item><itemtext>a</itemtext><description/><description require"
            "=''/></item></wrap></update></n>" % (one, one)))

    def test_what_restarts_the_menus(self):
        broken = "itemtext 1 of item 1 of update 1"
        for line, words, news, error in [
                (2, "update 1 has no <title>", update("<item><itemtext>a</itemtext></item>"),
                 "IndexError"),
                (3, "title 1 of update 1 is empty", update("<title/>"), "AttributeError"),
                (3, "title 1 of update 1 begins with <b>", update("<title><b>a</b></title>"),
                 "AttributeError"),
                (4, broken, item("<itemtext><b>a</b></itemtext>"), "AttributeError"),
                (4, broken.replace("itemtext", "description"),
                 item("<itemtext>a</itemtext><description><b>a</b></description>"),
                 "AttributeError")]:
            self.problem(line, "error", words, "restart", news=news,
                         shown="  the menus restart (" + error)

    def test_texts_that_are_not_shown_as_they_stand(self):
        for text, severity, words in [
                ("<!-- c -->Text", "error", "begins with a comment"),
                ("<?p i?>Text", "error", "begins with a comment"),
                ("a <b>b</b>", "error", "only up to"), ("a<!-- c -->b", "error", "only up to"),
                ("a<![CDATA[b]]>", "error", "only up to"),
                ("<![CDATA[a]]>b", "error", "only up to"), ("  ", "warning", "white space"),
                ("\na", "warning", "white space"), ("a ", "warning", "white space"),
                ("a\nb", "warning", "white space")]:
            self.problem(4, severity, "itemtext 1 of item 1 of update 1", words,
                         news=item("<itemtext>%s</itemtext>" % text))
        self.problem(3, "error", "title 1 of update 1", news=update("<title>  </title>"))
        for text in ("a<b/>", "a<!-- c -->", "a<!-- c -->\n", "a &amp; b", "<![CDATA[a <b>]]>"):
            self.none(news=item("<itemtext>%s</itemtext>" % text))

    def test_elements_that_do_not_count_or_are_lacking(self):
        for place, words, news in [
                (4, "title 2 of update 1 is not shown", update("<title>a</title>\n<title/>")),
                (4, "itemtext 1 of item 1 of update 1 is not shown",
                 item("<itemtext>a</itemtext>\n<itemtext>b</itemtext><itemtext/>")),
                (4, 'item 1 of update 1 has no text and reads "* None"', item("<itemtext/>")),
                ("zirknews.xml", "no <update>", "<news/>"),
                (4, "update 2 stands in update 1",
                 update("<title>a</title>\n<update><title>b</title></update>")),
                (5, "item 2 of update 1 stands in item 1 of update 1",
                 item("\n<item><itemtext>a</itemtext></item><itemtext>b</itemtext>"))]:
            self.problem(place, "warning", words, news=news)

    def test_elements_and_attributes_that_have_no_effect(self):
        title, text = "<title>a</title>", "<itemtext>a</itemtext>"
        for line, words, news in [
                (4, ["Item 1 is passed over", "<item>"], update(title + "\n<Item><b/></Item>")),
                (2, ["Type", "write type"], update(title, " Type='info'")),
                (3, ["require", "title 1 of update 1", "to the <update>"],
                 update("<title require='duo'>a</title>")),
                (4, ["require", "itemtext 1 of item 1", "to the <item>"],
                 item("<itemtext require='duo'>a</itemtext>")),
                (4, ["type", "item 1 of update 1", "to the <update>"], item(text, " type='info'")),
                (2, ['"Urgent"', "update 1", "normal icon"], update(title, " type='Urgent'")),
                (2, ['""', "update 1", "normal icon"], update(title, " type=''"))]:
            self.problem(line, "error", *words, news=news)
        for name, place in (("title", "update"), ("item", "update"), ("itemtext", "item"),
                            ("description", "item")):
            content = "<{0}>a</{0}>".format(name)
            if place == "item":
                content = "<update>%s%s</update>" % (title, content)
            self.problem(3, "error", "%s 1 " % name, "outside <%s>" % place,
                         news="<news><update>%s</update>\n\n%s</news>" % (title, content))
        self.none(news="<r><u/><update xmlns='u' date='x'><p><title id='1' xml:lang='de'>a</title>"
                       "</p><date>1</date></update></r>")

    def test_models_that_no_receiver_answers_to(self):
        for require, fault, words in [
                ("duo,duo5", "duo5", ["duo4kse"]), ("duo5,duo", "duo5", []), ("solo,", "", []),
                ("solo,Duo2", "Duo2", ["capitals", 'write "duo2"']),
                ("solo ,duo", "solo ", ["blanks", 'write "solo"']),
                ("solo, Duo", " Duo", ["blanks", 'write "duo"'])]:
            self.problem(4, "error", "item 1 of update 1", '"%s"' % fault, *words,
                         news=item("<itemtext>a</itemtext>", " require='%s'" % require))
        self.problem(5, "error", "description 1 of item 1 of update 1", "every receiver", news=item(
            "<itemtext>a</itemtext>\n<description require=''>b</description>"))
        self.check(news=update("<title>a</title>", " require='duo, solo,SOLO,x'"))
        self.assertEqual([re.search('requires "(.*?)"', problem[2]).group(1)
                          for problem in self.problems], [" solo", "SOLO", "x"])

    def test_characters_that_an_encoding_lacks(self):
        texts = [(3, "title 1 of update 1", "browser", update("<title>f\xc3\xbcr</title>")),
                 (4, "itemtext 1 of item 1", "entry", item("<itemtext>f\xc3\xbcr</itemtext>")),
                 (4, "description 1 of item 1", "entry",
                  item("<itemtext>a</itemtext><description>\xc3\xbc</description>"))]
        for line, words, place, news in texts:
            self.problem(line, "warning", words, '"\xc3\xbc"', "ASCII", "when the " + place,
                         news=news)
        self.none(news=update("<title>a</title><!-- \xc3\xbc --><p n='\xc3\xbc'>\xc3\xbc</p>"))
        # UTF-8 has them all. A platform with another default encoding would not:
        self.addCleanup(setattr, feed_problems, "ENCODINGS", feed_problems.ENCODINGS)
        feed_problems.ENCODINGS = [("ascii", "error")]
        for line, words, _, news in texts:
            self.problem(line, "error", words, "restart", news=news,
                         shown="  the menus restart (UnicodeEncodeError")

    def test_documents_that_are_not_well_formed(self):
        self.problem(3, "error", "not well-formed (mismatched tag)", "column",
                     news="<news>\n<update>\n</news>", shown='  nothing but the message "The news '
                     'file can not be analyzed, please be patient and try again later"\n')
        for content in ("", "Nothing here", "<html><br></html>", "<n>\xfc</n>"):
            self.check("--model", "duo2", news=content)
            self.assertEqual([problem[1] for problem in self.problems], ["error"])
            self.assertIn("not well-formed", self.problems[0][2])

    def test_documents_that_the_interpreter_does_not_read(self):
        xml, deep = "<?xml version='1.0' encoding='%s'?>" + NEWS, "<a>" * 400 + "</a>" * 400
        for error, remedy, news in [
                ("LookupError", "save it as UTF-8", xml % "bogus"),
                ("ValueError", "save it as UTF-8", xml % "shift_jis"),
                ("RuntimeError", "less deeply", NEWS.replace("</news>", deep + "</news>"))]:
            self.problem("zirknews.xml", "error", error, remedy, news=news,
                         shown="  the menus restart (" + error)
        self.check("--model", "duo2",
                   news=NEWS.replace("</news>", "<title>%s</title></news>" % (deep * 3)))
        self.assertEqual(self.status, 1)

    def test_other_encodings_are_read_as_receivers_read_them(self):
        text = u"<?xml version='1.0' encoding='%s'?><n>\n<update><title>f\xfcr</title></update></n>"
        for name in ("iso-8859-1", "utf-16"):
            self.problem(2, "warning", "ASCII", news=(text % name).encode(name),
                         shown="  normal  f\xc3\xbcr\n")

    def test_a_missing_document(self):
        self.problem("zirknews.xml", "error", "missing", news=None,
                     shown="  nothing but the message \"It seems that")

    def test_what_reading_finds_is_what_stops_receivers(self):
        met = set()
        with FeedServer(self.directory) as server:
            with Receiver(model="duo2", feed_url=server.url) as box:
                for seed in range(200):
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

    def test_lines_that_are_not_shown_as_they_stand(self):
        for line, severity, words, content in [
                (1, "error", ['"foo;1"', "first section"], "foo;1\n" + STATISTICS),
                (7, "error", ['"foo"', "NAME;COUNT"], STATISTICS + "foo\n"),
                (7, "error", ['"PICONS"'], STATISTICS + "PICONS\nfoo;1\n"),
                (7, "error", ['"_install"'], STATISTICS + "my_installer;1\n"),
                (7, "warning", ['"foo;"'], STATISTICS + "foo;\n"),
                (1, "error", ["carriage return", "6 in all"], STATISTICS.replace("\n", "\r\n")),
                (2, "error", ["carriage return", "1 in all"], STATISTICS.replace("12", "12\r"))]:
            self.problem("zirkdlstat.txt:%d" % line, severity, *words, statistics=content)
        for name in ("Skins", "SKINS ", "SKINS;", "SKINS:", "\xef\xbb\xbfSKINS"):
            self.problem("zirkdlstat.txt:1", "error", '"%s"' % name, "write SKINS",
                         statistics="%s\nfoo;1\n%s" % (name, STATISTICS))
        for name in ("", "foo bar", " foo", "f\xc3\xbcr", "foo/"):
            self.problem("zirkdlstat.txt:7", "error", '"%s;1"' % name,
                         statistics="%s%s;1\n" % (STATISTICS, name))

    def test_no_record_or_no_file(self):
        for content in ("", "EXTENSIONS\nSKINS\n", "\n"):
            self.problem("zirkdlstat.txt", "warning", "opens empty", statistics=content)
        os.remove(os.path.join(self.directory, "zirkdlstat.txt"))
        self.problem("zirkdlstat.txt", "error", "missing", "yellow", statistics=None)
        self.assertNotIn("Top 20,", self.output)

    def test_empty_lines_and_further_fields_do_not_matter(self):
        self.none(statistics="\n%s\nfoo;1;2;3" % STATISTICS)
        self.assertIn("  Foo   (1) - Install\n", self.output)


class RefusalTest(CheckTest):

    def refused(self, words, *options):
        self.check(*options, news=None, statistics=None)
        self.assertEqual((self.status, self.output), (2, ""))
        self.assertRegexpMatches(self.words, r"\Acheck: .*%s.*[;:] .*\.\n\Z" % words)

    def test_what_can_not_be_checked_gets_one_sentence_and_status_2(self):
        news = os.path.join(self.directory, "zirknews.xml")
        self.refused("no model 'abacus'", "--model", "abacus")
        self.refused("--tour", "--tour")
        self.refused("arguments", "another")
        self.refused("neither zirknews.xml nor zirkdlstat.txt")
        os.symlink("../elsewhere.xml", news)
        self.refused("zirknews.xml is a link")
        os.remove(news)
        os.mkdir(news)
        self.refused("zirknews.xml can't be read")
        os.rmdir(news)
        os.rmdir(self.directory)
        self.refused("no feed folder '%s'" % self.directory)
        os.mkdir(self.directory)


if __name__ == "__main__":
    unittest.main()
