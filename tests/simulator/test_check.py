"""What receivers show of a feed's documents, and each thing that is found wrong with these."""

import json
import os
import random
import re
import resource
import shutil
import sys
import tempfile
import unittest
from cStringIO import StringIO

from simulator import check, feed_problems
from simulator.feedserver import FeedServer
from simulator.problems import Problem
from simulator.receiver import Receiver
from tests.support import documents
from tests.support.sampling import sampled

NEWS = ("<news><update type='urgent'><title>Update now</title></update>"
        "<update><title>Release 3.1</title></update>"
        "<update type='info'><title>Meeting</title></update></news>")
STATISTICS = "EXTENSIONS\nfoo;12\nSYSTEMPLUGINS\nbar;7\nSKINS\nclear-hd;3\n"


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

    def check(self, model="all", **files):
        """Run the check of a sound feed, changed: news and statistics, None for no such file.

        Keeps its exit status, standard output and error in self.status, self.output, self.words;
        of the output what is shown, as lines, in self.shown, and the problems, tuples (place,
        severity, sentence), in self.problems.
        """
        for name, content in (("zirknews.xml", files.get("news", NEWS)),
                              ("zirkdlstat.txt", files.get("statistics", STATISTICS)),
                              ("all-feed.conf", files.get("configuration"))):
            if content is not None:
                with open(os.path.join(self.directory, name), "wb") as stream:
                    stream.write(content)
        streams = sys.stdout, sys.stderr
        sys.stdout, sys.stderr = StringIO(), StringIO()
        limit = resource.getrlimit(resource.RLIMIT_AS)
        try:
            self.status = check.main(self.directory, model)
        finally:
            self.output, self.words = sys.stdout.getvalue(), sys.stderr.getvalue()
            sys.stdout, sys.stderr = streams
            resource.setrlimit(resource.RLIMIT_AS, limit)
        found = json.loads(self.output)
        self.shown = [" ".join(row) for outcome in found["outcomes"] for row in
                      [[outcome["message"] or outcome["restart"] or ""]] + outcome["rows"]]
        self.shown += [row for _, rows in found["top20"] for row in rows]
        self.problems = []
        for problem in found["problems"]:
            place, severity, text = unicode(Problem(**problem)).split(": ", 2)  # noqa: F821
            self.problems.append((place, severity, text))
            self.assertRegexpMatches(text, r"\A[^:].*: [a-z].*[^.]\.\Z")

    def problem(self, place, severity, *words, **files):
        """Check a feed that has one problem, with these words in its sentence, on one model.

        place: a line of the news, or the file's name and the line. shown: what is shown besides.
        """
        shown = files.pop("shown", "")
        self.check("duo2", **files)
        self.assertEqual((self.status, self.words), (0, ""))
        self.assertEqual([problem[:2] for problem in self.problems],
                         [("zirknews.xml:%d" % place if isinstance(place, int) else place,
                           severity)], self.output)
        for word in words:
            self.assertIn(word.decode("utf-8"), self.problems[0][2])
        self.assertTrue([text for text in self.shown if text.startswith(shown.decode("utf-8"))],
                        (shown, self.shown))

    def none(self, **files):
        self.check("duo2", **files)
        self.assertEqual((self.problems, self.status), ([], 0))


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
            self.problem(line, "error", words, "restart", news=news, shown=error)

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
                         shown="UnicodeEncodeError")

    def test_documents_that_are_not_well_formed(self):
        self.problem(3, "error", "not well-formed (mismatched tag)", "column",
                     news="<news>\n<update>\n</news>", shown="The news file can not be "
                     "analyzed, please be patient and try again later")
        for content in ("", "Nothing here", "<html><br></html>", "<n>\xfc</n>"):
            self.check("duo2", news=content)
            self.assertEqual([problem[1] for problem in self.problems], ["error"])
            self.assertIn("not well-formed", self.problems[0][2])

    def test_documents_that_the_interpreter_does_not_read(self):
        xml, deep = "<?xml version='1.0' encoding='%s'?>" + NEWS, "<a>" * 400 + "</a>" * 400
        for error, remedy, news in [
                ("LookupError", "save it as UTF-8", xml % "bogus"),
                ("ValueError", "save it as UTF-8", xml % "shift_jis"),
                ("RuntimeError", "less deeply", NEWS.replace("</news>", deep + "</news>"))]:
            self.problem("zirknews.xml", "error", error, remedy, news=news, shown=error)
        self.check("duo2", news=NEWS.replace("</news>", "<title>%s</title></news>" % (deep * 3)))
        self.assertIn("error", [problem[1] for problem in self.problems])

    def test_other_encodings_are_read_as_receivers_read_them(self):
        text = u"<?xml version='1.0' encoding='%s'?><n>\n<update><title>f\xfcr</title></update></n>"
        for name in ("iso-8859-1", "utf-16"):
            self.problem(2, "warning", "ASCII", news=(text % name).encode(name),
                         shown="normal f\xc3\xbcr")

    def test_a_missing_document(self):
        self.problem("zirknews.xml", "error", "missing", news=None, shown="It seems that")

    def test_what_reading_finds_is_what_stops_receivers(self):
        met = set()
        with FeedServer(self.directory) as server:
            with Receiver(model="duo2", feed_url=server.url) as box:
                for seed in sampled(range(800)):
                    content = documents.generate(random.Random(seed))[1]
                    server.fault("zirknews.xml", body=content)
                    problems = feed_problems.news_problems(content)
                    malformed = [problem for problem in problems
                                 if problem.text.startswith("The document is not well-formed")]
                    try:
                        status = box.module.parse_xml()
                    except IndexError:
                        status = "shape"
                        self.assertTrue(problems.restarts, (seed, content))
                    except AttributeError as e:
                        status = "shape"
                        if "has no attribute 'data'" in str(e):  # the others are a codec's
                            self.assertTrue(problems.restarts, (seed, content))
                    except Exception:
                        status = "parser"
                    self.assertEqual(bool(malformed), status == 3, (seed, content))
                    met.add((status, bool(malformed), problems.restarts))
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
                (7, "warning", ['"foo;1k"', "no number"], STATISTICS + "foo;1k\n"),
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
            self.problem("zirkdlstat.txt", "error", "restart", "chooser", statistics=content)
        os.remove(os.path.join(self.directory, "zirkdlstat.txt"))
        self.problem("zirkdlstat.txt", "error", "missing", "yellow", statistics=None)
        self.assertEqual(json.loads(self.output)["top20"], [])

    def test_empty_lines_and_further_fields_do_not_matter(self):
        self.none(statistics="\n%s\nfoo;1;2;3" % STATISTICS)
        self.assertIn("Foo   (1) - Install", self.shown)


class ConfigurationTest(CheckTest):

    LINE = "src/gz Zirk-all http://feed.example/zirk/all"

    def test_a_line_from_which_the_news_are_not_found(self):
        for line, words in [
                (self.LINE, ['makes "http://feed.example"', "end the line with a line feed"]),
                (self.LINE + "/\n", ["zirk/zirknews.xml/", "without a slash"]),
                (self.LINE.replace("feed", "small") + "\n",
                 ["http://smzirknews.xml.example/zirk/zirknews.xml", "out of the names"]),
                (self.LINE.replace("Zirk-all", "Zirk-extra") + "\n",
                 ['"extra http://', "name the feed Zirk-all"]),
                (self.LINE + "/mips\n", ["zirk/zirknews.xml/mips", "end in /all"]),
                ("# A comment\n%s\n" % self.LINE, ["no feed"]), ("", ["no feed"]),
                (self.LINE + "\r\n", ["opkg ignores", "carriage return"])]:
            self.problem("all-feed.conf:1", "error", *words, configuration=line)
        self.none(configuration=self.LINE + "\nsrc/gz Zirk-small http://small.example/all")


class SizeTest(CheckTest):

    ENTITIES = "<!DOCTYPE n [<!ENTITY a '%s'>%s]>" % ("x" * 1000, "".join(
        "<!ENTITY %s '%s'>" % (name, ("&%s;" % inner) * 30)
        for inner, name in zip("abcde", "bcdef")))

    def test_entities_that_grow_beyond_the_memory(self):
        for body in ("<title>&f;</title>", "<title a='&f;'>a</title>", "<title>&d;</title>"):
            self.problem("zirknews.xml", "error", "memory", "the entities", shown="MemoryError",
                         news="%s<n><update>%s</update></n>" % (self.ENTITIES, body))

    def test_a_document_that_takes_a_receiver_more_than_a_second(self):
        body = "<n>%s</n>" % ("<update><title>%s</title></update>" % ("x" * 490) * 900)
        self.problem("zirknews.xml", "warning", "%d characters" % len(body), "second", news=body)
        self.problem("zirknews.xml", "warning", "more than a second", news=(
            self.ENTITIES + "<n><update><title>&c;</title></update></n>"))
        self.none(news=self.ENTITIES + "<n><update><title>&b;</title></update></n>")
