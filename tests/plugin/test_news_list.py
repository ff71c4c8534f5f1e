# -*- coding: utf-8 -*-
"""parse_xml turns the news document into the news list, leaving out what is for other receivers.

The receiver of these tests is a "duo2".
"""

import __builtin__
import codecs
import itertools
import os
import random
import sys
import unittest
import xml.dom.minidom
import xml.dom.pulldom
import xml.sax

from simulator import ROOT
from tests.support import documents, reading, twins
from tests.support.leaks import LeakCheckedTest
from tests.support.receiver import FeedTest, read
from tests.support.sampling import ONE_IN, sampled

try:
    import ctypes
except ImportError:  # the receivers' interpreters in emulation
    ctypes = None

SEEDS = os.path.join(ROOT, "tools", "fuzz", "seeds")
MODELS = ["duo2", "duo2", "uno4kse", "solo", "", u"duo2", "d\xfco2", None, 7]


def item(text, *descriptions):
    return (text, list(descriptions))


def plain(*titles):
    """News of the usual kind and without items."""
    return [(title, [], "normal") for title in titles]


class NewsTest(FeedTest):
    """Base: documents come from the server, lists are read back from the cache."""

    def stored(self, document):
        """Return the news list that a document gives; Unicode is sent as UTF-8."""
        self.serve(document.encode("utf-8") if isinstance(document, type(u"")) else document)
        self.assertEqual(self.module.parse_xml(), 1)
        return self.module.load_cache()

    def entry(self, content, attributes=""):
        """Return the one entry of a document with one update."""
        entry, = self.stored(u"<news><update %s>%s</update></news>" % (attributes, content))
        return entry

    def check_titles(self, *rows):
        """rows: what stands within <title>, the entry's title."""
        for content, title in rows:
            self.assertEqual(self.entry(u"<title>%s</title>" % content)[0], title, content)

    def check_items(self, *rows):
        """rows: what stands below the update, its items."""
        for content, items in rows:
            self.assertEqual(self.entry(u"<title>T</title>" + content)[1], items, content)


class Entries(NewsTest):

    def test_come_in_the_order_of_the_document_with_all_their_parts(self):
        news = self.stored(u"""<?xml version="1.0" encoding="UTF-8"?>
            <zirknews>
              <update type="urgent"><title>Öl</title>
                <item><itemtext>eins</itemtext>
                  <description>a</description><description>b</description></item>
                <item><itemtext>zwei</itemtext></item>
              </update>
              <update type="info"><title>Second</title></update>
              <update><title>Third</title><item/></update>
              <update type='normal'><title>Fourth</title></update>
            </zirknews>""")
        expected = [
            (u"Öl", [item(u"eins", u"a", u"b"), item(u"zwei")], u"urgent"),
            (u"Second", [], u"info"), (u"Third", [item(None)], "normal"),
            (u"Fourth", [], u"normal")]
        self.assertEqual(reading.typed(news), reading.typed(expected))

    def test_are_the_elements_of_that_name_at_any_depth_the_root_included(self):
        for document in ("<zirknews/>", "<news>text<item/></news>", "<title>T</title>",
                         "<news><UPDATE/><Update/><updates/></news>"):
            self.assertEqual(self.stored(document), [])
        self.assertEqual(self.stored("<update><title>Root</title></update>"), plain(u"Root"))
        self.assertEqual(
            self.stored("<a><b><c><update><x><title>T</title></x><y><item><z><itemtext>"
                        "i</itemtext><description>d</description></z></item></y></update></c></b>"
                        "</a>"),
            [(u"T", [item(u"i", u"d")], "normal")])

    def test_within_another_are_entries_too_and_lend_it_their_title_and_items(self):
        self.assertEqual(
            self.stored("<news><update><title>Outer</title><item><itemtext>1</itemtext></item>"
                        "<update type='info'><title>Inner</title>"
                        "<item><itemtext>2</itemtext></item></update></update></news>"),
            [(u"Outer", [item(u"1"), item(u"2")], "normal"), (u"Inner", [item(u"2")], u"info")])
        self.assertEqual(self.stored("<update><update><title>Inner</title></update>"
                                     "<title>Outer</title></update>"), plain(u"Inner", u"Inner"))
        self.assertEqual(self.stored("<news><update require='solo'><update><title>Inner</title>"
                                     "</update></update></news>"), plain(u"Inner"))

    def test_may_be_many(self):
        titles = [u"%d" % number for number in range(3000)]
        self.assertEqual(self.stored("<news>%s</news>" % "".join(
            "<update><title>%s</title></update>" % title for title in titles)), plain(*titles))

    def test_have_the_kind_that_the_attribute_says_as_it_stands(self):
        for attributes, kind in [(u"", "normal"), (u'type=""', u""), (u'type="urgent"', u"urgent"),
                                 (u'type=" Ä "', u" Ä "), (u'type="normal"', u"normal"),
                                 (u'type="&lt;&#65;&amp;"', u"<A&"), (u'Type="x"', "normal"),
                                 (u'types="x"', "normal"),
                                 (u'xmlns:x="u" x:type="urgent"', "normal")]:
            found = self.entry("<title>T</title>", attributes)[2]
            self.assertEqual(reading.typed(found), reading.typed(kind))

    def test_have_the_title_that_comes_first(self):
        for content, title in [(u"<title>one</title><title>two</title>", u"one"),
                               (u"<item><title>deep</title></item><title>two</title>", u"deep")]:
            self.assertEqual(self.entry(content)[0], title)


class Texts(NewsTest):

    def test_are_the_data_of_the_first_child_whatever_its_kind(self):
        self.check_titles(
            (u"plain", u"plain"), (u" \n ", u" \n "), (u"<![CDATA[<b> & ]]>", u"<b> & "),
            (u"text<b>bold</b>more", u"text"), (u"one<!-- c -->two", u"one"),
            (u"<!-- c -->News", u" c "), (u"<!---->News", u""), (u"\n<b/>", u"\n"),
            (u"<?target data ?>News", u"data "), (u"a<![CDATA[b]]>c", u"a"),
            (u"<![CDATA[]]>after", u"after"))

    def test_join_references_and_what_stands_round_them_with_line_ends_of_one_kind(self):
        self.check_titles((u"a &amp; b&#65;&#xe4;&lt;", u"a & bAä<"),
                          (u"a\r\nb\rc&#13;d", u"a\nb\nc\rd"))

    def test_may_have_any_character_and_be_long(self):
        for text in (u"日本", u"\ufeff", u"\U0001f4fa", u"\x85\u2028", 70000 * u"x"):
            self.check_titles((text, text))
        self.check_titles((u"&#x1f4fa;", u"\ud83d\udcfa"))

    def test_of_items_are_those_of_the_last_itemtext_that_has_a_child(self):
        self.check_items(
            ("<item><itemtext>one</itemtext><itemtext>two</itemtext></item>", [item(u"two")]),
            ("<item><itemtext>one</itemtext><itemtext/></item>", [item(u"one")]),
            ("<item/>", [item(None)]), ("<item><itemtext/></item>", [item(None)]),
            ("<item><itemtext></itemtext><itemtext/></item>", [item(None)]),
            ("<item><itemtext><![CDATA[]]></itemtext></item>", [item(None)]),
            ("<item><itemtext><!----></itemtext></item>", [item(u"")]),
            ("<item><itemtext require='solo'>i</itemtext></item>", [item(u"i")]),
            ("<item><itemtext>1</itemtext><item><itemtext>2</itemtext>"
             "<description>d</description></item></item>", [item(u"2", u"d"), item(u"2", u"d")]))

    def test_of_descriptions_come_in_order_wherever_they_stand_but_for_empty_ones(self):
        self.check_items(
            ("<item><description>1</description><itemtext>i</itemtext>"
             "<description>2</description></item>", [item(u"i", u"1", u"2")]),
            ("<item><description/><description>a</description><description></description></item>",
             [item(None, u"a")]))

    def test_are_read_in_the_encoding_declared_or_in_that_of_the_mark(self):
        text = u"<update><title>Grüße</title></update>"
        for name in ("utf-8", "UTF-8", "iso-8859-1", "windows-1252", "cp1250", "iso-8859-15"):
            declaration = u'<?xml version="1.0" encoding="%s"?>' % name
            self.assertEqual(self.stored((declaration + text).encode(name)), plain(u"Grüße"), name)
        for document in (text.encode("utf-8"), codecs.BOM_UTF8 + text.encode("utf-8"),
                         text.encode("utf-16"), codecs.BOM_UTF16_BE + text.encode("utf-16-be")):
            self.assertEqual(self.stored(document), plain(u"Grüße"))
        for name, error in [("bogus", LookupError), ("shift_jis", ValueError)]:
            self.serve('<?xml version="1.0" encoding="%s"?><n/>' % name)
            self.assertFails(error, ["parse_xml:140"], self.module.parse_xml)

    def test_may_come_from_entities_but_not_from_defaults_of_attributes(self):
        self.assertEqual(self.stored(
            "<!DOCTYPE n [<!ENTITY who 'ZIRK'><!ENTITY all '<title>T</title>'>]>"
            "<n><update><title>by &who;!</title></update><update>&all;</update></n>"),
            plain(u"by ZIRK!", u"T"))
        self.assertEqual(self.stored(
            "<!DOCTYPE n [<!ATTLIST update type CDATA 'info' require CDATA 'solo'>]>"
            "<n><update><title>T</title></update></n>"), plain(u"T"))
        self.module.vumodel = "solo duo"
        self.assertEqual(self.stored(
            "<!DOCTYPE n [<!ATTLIST update require NMTOKENS #IMPLIED>]>"
            "<n><update require='  solo   duo '><title>T</title></update></n>"), plain(u"T"))

    def test_count_by_the_name_as_written(self):
        self.assertEqual(self.stored(
            "<n xmlns:x='u' xmlns='v'><x:update><title>no</title></x:update>"
            "<update x:type='info'><title>yes</title></update></n>"), plain(u"yes"))


class Filter(NewsTest):

    def test_leaves_updates_items_and_descriptions_of_other_models_out(self):
        news = self.stored(u"""<news>
            <update require="solo,uno"><title>not here</title></update>
            <update require="solo,duo2"><title>here</title>
              <item require="uno"><itemtext>not here</itemtext></item>
              <item require="duo2"><itemtext>here</itemtext>
                <description require="duo">not here</description>
                <description require="duo2">here</description></item>
            </update></news>""")
        self.assertEqual(news, [(u"here", [item(u"here", u"here")], "normal")])
        self.assertEqual(self.stored("<n><update require='solo'/><update require='uno'/></n>"), [])

    def test_compares_whole_names(self):
        for model, require, kept in [
                ("duo", "solo,duo", True), ("duo2", "solo,duo", False),
                ("duo", "solo, duo", False), ("duo", "solo,duo ", False), (" duo", "a, duo", True),
                ("duo", "DUO", False), ("duo", "duo,duo", True), ("duo", "duo2,uno", False),
                ("", "", True), ("duo", "", False), ("duo", ",", False), ("", "a,", True)]:
            self.module.vumodel = model
            news = self.stored('<update require="%s"><title>T</title></update>' % require)
            self.assertEqual(len(news), kept, (model, require))

    def test_does_not_look_at_the_shape_of_what_it_leaves_out(self):
        self.assertEqual(self.stored("<n><update require='x'><title/></update></n>"), [])
        self.check_items(("<item require='x'><itemtext><b/></itemtext></item>", []),
                         ("<item><description require='x'><b/></description></item>", [item(None)]))


class DocumentsAgree(LeakCheckedTest):
    """The module makes of every document what the model does, which asks minidom."""

    def test_of_the_seeds_of_fuzzing(self):
        for name in sorted(os.listdir(SEEDS)):
            document = read(os.path.join(SEEDS, name))
            for model in ("duo2", "solo"):
                reading.agree(document, model, name)

    def test_cut_off_at_any_place(self):
        document = ("<n><update type='a' require='duo2'><title>t&amp;<![CDATA[s]]><!--c--><?p q?>"
                    "</title></update></n>")
        for size in range(len(document) + 1):
            reading.agree(document[:size])

    def test_with_texts_round_the_sizes_of_the_parsers_buffers(self):
        for size in (1023, 1024, 8191, 8192, 8193, 65536, 200000):
            for around in ("%s", "<![CDATA[%s]]>", "<!--%s-->", "a&amp;%s"):
                reading.agree("<n><update type='%s'><title>%s</title></update></n>" % (
                    "x" * size, around % ("x" * size)))
        reading.agree("<update><title>%s</title></update>" % ("&amp;" * 9000))

    def test_with_the_encodings_that_expat_knows_in_any_case_and_with_others(self):
        for name in documents.KNOWN + documents.DECODED + documents.REFUSED + documents.WIDE:
            for text in ("a", "\xdc", "\xc3\x9c"):
                reading.agree("<?xml version='1.0' encoding='%s'?><n><update><title>%s</title>"
                              "</update></n>" % (name, text))


class ManyDocumentsAgree(unittest.TestCase):
    """Many of them, so that each is read once only."""

    def test_by_random_numbers(self):
        statuses = {}
        for seed in sampled(range(8000)):
            rng = random.Random(seed)
            kind, document = documents.generate(rng)
            result, _ = reading.agree(document, rng.choice(MODELS), "seed %d (%s)" % (seed, kind))
            statuses[result[:2]] = statuses.get(result[:2], 0) + 1
        # They are worth comparing: each of these comes many times.
        for often in (("returned", 1), ("returned", 3), ("raised", "IndexError"),
                      ("raised", "AttributeError")):
            self.assertGreater(statuses.get(often, 0), 50 // ONE_IN, (often, statuses))

    def test_mostly_without_minidom_where_they_are_plain(self):
        with reading.Counting() as minidom:
            for seed in range(100):
                document = documents.generate(random.Random(seed), "plain")[1]
                reading.outcome(twins.module(), document, "duo2")
        self.assertLess(minidom.count, 33)

    def test_with_hundreds_of_everything_in_a_row(self):
        for require, name, content in sampled(itertools.product(
                ("", " require='x'", " require='x,duo2'"),
                ("update", "title", "item", "itemtext", "description", "other"),
                ("<title>t</title>", "t", ""))):
            many = "<%s%s>%s</%s>" % (name, require, content, name) * 300
            reading.agree("<n><update><title>t</title><item>%s</item>%s</update>%s</n>"
                          % (many, many, many))

    def test_from_deep_in_the_stack(self):
        def deeper(levels, call):
            return call() if levels == 0 else deeper(levels - 1, call)

        for levels in (10, 60, 150, 400, 700, 900):
            for seed in sampled(range(96)):
                rng = random.Random(seed)
                document = documents.generate(rng, rng.choice(["deep", "plain"]))[1]
                deeper(levels, lambda: reading.agree(
                    document, "duo2", "%d frames, seed %d" % (levels, seed)))

    def test_with_any_limit_to_recursion(self):
        self.addCleanup(sys.setrecursionlimit, sys.getrecursionlimit())
        deep = [documents.generate(random.Random(seed), "deep")[1]
                for seed in sampled(range(40))]
        deep += [documents.deep(random.Random(0), levels) for levels in (255, 256, 257, 258)]
        for limit in (200, 350, 2500):
            for number, document in enumerate(deep):
                sys.setrecursionlimit(limit)
                try:
                    reading.agree(document, "duo2", "limit %d, number %d" % (limit, number))
                finally:
                    sys.setrecursionlimit(1000)


class Replaced(LeakCheckedTest):
    """What others have put in the place of names of the module or of minidom is honoured."""

    def test_filter_is_asked_for_the_same_elements(self):
        for seed in sampled(range(150)):
            asked = []

            def skip_entry(entry):
                asked.append(entry.tagName)
                return len(asked) % 3 == 0
            document = documents.generate(random.Random(seed), "plain")[1]
            expected = reading.outcome(twins.model(), document, "duo2", skip_entry=skip_entry)
            by_model, asked = asked, []
            found = reading.outcome(twins.module(), document, "duo2", skip_entry=skip_entry)
            self.assertEqual((found, asked), (expected, by_model), seed)

    def test_parser_is_called(self):
        called = []
        original = xml.dom.minidom.parseString

        def parseString(*args):
            called.append(args)
            return original(*args)
        self.addCleanup(setattr, xml.dom.minidom, "parseString", original)
        xml.dom.minidom.parseString = parseString
        reading.agree("<a><update><title>t</title></update></a>")
        self.assertEqual(len(called), 2)

    def test_parser_may_be_another_function_of_minidom(self):
        self.addCleanup(setattr, xml.dom.minidom, "parseString", xml.dom.minidom.parseString)
        xml.dom.minidom.parseString = xml.dom.minidom.parse
        outcome, _ = reading.agree("<a><update><title>t</title></update></a>")
        self.assertEqual(outcome[:2], ("raised", "IOError"))  # it takes the name of a file

    def test_minidom_may_be_another_module(self):
        self.addCleanup(setattr, xml.dom, "minidom", xml.dom.minidom)
        for module in (xml.sax, xml.dom.pulldom):
            xml.dom.minidom = module
            outcome, _ = reading.agree("<update><title>t</title></update>")
            self.assertEqual(outcome[0], "raised")

    def test_import_of_the_parser_comes_before_the_names_that_judge(self):
        own = __builtin__.__import__
        self.addCleanup(setattr, __builtin__, "__import__", own)

        def outcome(twin):
            asked = []

            def import_(path, *others):
                if others and others[0]["__name__"] == "xml.dom.minidom":
                    asked.append((path, others[2]))
                    twin.module.vumodel = "solo"
                return own(path, *others)
            __builtin__.__import__ = import_
            document = "<update require='duo2'><title>t</title></update>"
            return reading.outcome(twin, document, "duo2"), asked
        expected = outcome(twins.model())
        self.assertEqual(outcome(twins.module()), expected)
        self.assertEqual(expected[0][1], ("list", [("list", [])]))

    def test_parser_may_have_been_given_other_code(self):
        def parseString(string, parser=None):
            raise LookupError(string)
        function = xml.dom.minidom.parseString
        self.addCleanup(setattr, function, "func_code", function.func_code)
        function.func_code = parseString.func_code
        outcome, _ = reading.agree("<a><update><title>t</title></update></a>")
        self.assertEqual(outcome[:2], ("raised", "LookupError"))

    def test_model_may_become_anything_while_the_elements_are_judged(self):
        """It is never taken for a string that it is not: this number lies in memory as "duo2"."""
        number = 0x326f7564 << 90

        class Name(object):
            """Found before one of the module's own names; it then binds the model's anew."""

            def __init__(self, name, namespace, left):
                self.name, self.namespace, self.left = name, namespace, left

            def __hash__(self):
                return hash(self.name)

            def __eq__(self, other):
                self.left -= 1
                if self.left == 0:
                    self.namespace["vumodel"] = number
                return False

        document = "<n>%s</n>" % ("<update require='duo2'><title>t</title></update>" * 4)
        namespace = vars(twins.module().module)
        for name, left in itertools.product(("vumodel", "skip_entry"), range(1, 6)):
            value = namespace.pop(name)
            namespace[Name(name, namespace, left)] = None
            namespace[name] = value
            stored = reading.outcome(twins.module(), document, "".join(["so", "lo"]))
            self.assertEqual(stored, (("returned", 1), ("list", [("list", [])])))


class Expat(unittest.TestCase):
    """The interpreter's expat is used where it is one of those that the module is written for."""

    def setUp(self):
        import pyexpat
        self.pyexpat = pyexpat
        self.addCleanup(setattr, pyexpat, "expat_CAPI", pyexpat.expat_CAPI)
        api = ctypes.pythonapi
        api.PyCapsule_GetPointer.restype = ctypes.c_void_p
        api.PyCapsule_GetPointer.argtypes = [ctypes.py_object, ctypes.c_char_p]
        api.PyCapsule_New.restype = ctypes.py_object
        api.PyCapsule_New.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p]

        class Head(ctypes.Structure):
            """How the structure begins that the capsule holds."""
            _fields_ = [("magic", ctypes.c_char_p), ("size", ctypes.c_int),
                        ("major", ctypes.c_int), ("minor", ctypes.c_int), ("micro", ctypes.c_int),
                        ("functions", ctypes.c_void_p * 6)]

        self.name = ctypes.create_string_buffer("pyexpat.expat_CAPI")
        own = api.PyCapsule_GetPointer(pyexpat.expat_CAPI, self.name)
        # Longer by 8 bytes than what the interpreter has: a later version may be.
        self.bytes = ctypes.create_string_buffer(
            ctypes.string_at(own, Head.from_address(own).size) + 8 * "\0")
        self.head = Head.from_buffer(self.bytes)

    def assertMinidom(self, times):
        """minidom has to parse a plain document so many times."""
        self.pyexpat.expat_CAPI = ctypes.pythonapi.PyCapsule_New(
            ctypes.addressof(self.bytes), self.name, None)
        self.assertParsed(times)

    def assertParsed(self, times):
        with reading.Counting() as minidom:
            result = reading.outcome(twins.module(), "<update><title>t</title></update>", "duo2")
        self.assertEqual(result[0], ("returned", 1))
        self.assertEqual(minidom.count, times)

    def test_of_a_later_version_will_do(self):
        self.assertMinidom(0)
        self.head.size += 8
        self.head.minor += 4
        self.assertMinidom(0)

    def test_of_another_kind_is_not_used(self):
        for field, value in (("magic", "pyexpat.expat_CAPI 1.0"), ("size", self.head.size - 8),
                             ("major", 3)):
            before = getattr(self.head, field)
            setattr(self.head, field, value)
            self.assertMinidom(1)
            setattr(self.head, field, before)

    def test_that_is_missing_is_not_used(self):
        self.pyexpat.expat_CAPI = None
        self.assertParsed(1)
        del self.pyexpat.expat_CAPI
        self.assertParsed(1)

    def test_that_makes_no_parser_is_not_used(self):
        none = ctypes.CFUNCTYPE(ctypes.c_void_p, *[ctypes.c_void_p] * 3)(lambda *_: None)
        self.head.functions[5] = ctypes.cast(none, ctypes.c_void_p).value  # ParserCreate_MM
        self.assertMinidom(1)


if ctypes is None:
    del Expat
