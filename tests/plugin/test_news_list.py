# -*- coding: utf-8 -*-
"""parse_xml turns the news document into the news list; skip_entry filters it for the receiver.

The receiver of these tests is a "duo2".
"""

import codecs
import cPickle
import xml.dom.minidom

from tests.support.receiver import Blank, FeedTest, ModuleTest

NORMAL = "normal"


def item(text, *descriptions):
    return (text, list(descriptions))


class NewsTest(FeedTest):
    """Base: documents come from the server, lists are read back from the cache."""

    def read(self, document):
        """Return the news list that a document gives. It may be Unicode, sent as UTF-8."""
        if isinstance(document, type(u"")):
            document = document.encode("utf-8")
        self.serve(document)
        self.assertEqual(self.module.parse_xml(), 1)
        with open("/tmp/.updatecache", "rb") as stream:
            return cPickle.load(stream)

    def entry(self, content, attributes=""):
        """Return the one entry of a document with one update of this content."""
        news = self.read(u"<news><update %s>%s</update></news>" % (attributes, content))
        self.assertEqual(len(news), 1)
        return news[0]

    def items(self, content):
        return self.entry(u"<title>T</title>" + content)[1]

    def descriptions(self, content):
        (_, texts), = self.items(u"<item>%s</item>" % content)
        return texts

    def title(self, element):
        return self.entry(element)[0]


class Entries(NewsTest):

    def test_come_in_the_order_of_the_document_with_all_their_parts(self):
        news = self.read(u"""<?xml version="1.0" encoding="UTF-8"?>
            <zirknews>
              <update type="urgent"><title>Öl</title>
                <item><itemtext>eins</itemtext>
                  <description>a</description><description>b</description></item>
                <item><itemtext>zwei</itemtext></item>
              </update>
              <update type="info"><title>Second</title></update>
              <update><title>Third</title><item/></update>
            </zirknews>""")
        self.assertEqual(news, [
            (u"Öl", [item(u"eins", u"a", u"b"), item(u"zwei")], u"urgent"),
            (u"Second", [], u"info"),
            (u"Third", [item(None)], NORMAL)])

    def test_are_made_of_exact_types(self):
        news = self.read(u"<n><update><title>t</title><item><itemtext>i</itemtext>"
                         u"<description>d</description></item></update>"
                         u"<update type='normal'><title>t</title></update></n>")
        text = type(u"")
        first, second = news
        (entry_item,) = first[1]
        self.assertEqual([type(value) for value in (
            news, first, first[0], first[1], first[2], entry_item, entry_item[0], entry_item[1],
            entry_item[1][0], second[2])], [list, tuple, text, list, str, tuple, text, list,
                                            text, text])

    def test_of_a_document_without_updates_are_none(self):
        for document in ("<zirknews/>", "<news>text<item/></news>", "<title>T</title>",
                         "<news><UPDATE/><Update/><updates/></news>"):
            self.assertEqual(self.read(document), [])

    def test_include_the_root_element_whose_name_is_free_otherwise(self):
        self.assertEqual(self.read("<update><title>Root</title></update>"),
                         [(u"Root", [], NORMAL)])

    def test_are_found_at_any_depth(self):
        self.assertEqual(self.read("<a><b><c><update><x><title>T</title></x><y><item><z><itemtext>"
                                   "i</itemtext><description>d</description></z></item></y>"
                                   "</update></c></b></a>"),
                         [(u"T", [item(u"i", u"d")], NORMAL)])

    def test_within_another_are_entries_of_their_own_and_lend_it_their_items(self):
        news = self.read("<news><update><title>Outer</title><item><itemtext>1</itemtext></item>"
                         "<update type='info'><title>Inner</title>"
                         "<item><itemtext>2</itemtext></item></update></update></news>")
        self.assertEqual(news, [(u"Outer", [item(u"1"), item(u"2")], NORMAL),
                                (u"Inner", [item(u"2")], u"info")])

    def test_within_another_lend_it_their_title_when_it_comes_first(self):
        news = self.read("<update><update><title>Inner</title></update>"
                         "<title>Outer</title></update>")
        self.assertEqual([title for title, _, _ in news], [u"Inner", u"Inner"])

    def test_within_a_skipped_one_are_entries_all_the_same(self):
        news = self.read("<news><update require='solo'><update><title>Inner</title></update>"
                         "</update></news>")
        self.assertEqual(news, [(u"Inner", [], NORMAL)])

    def test_may_be_many(self):
        news = self.read("<news>" + "".join(
            "<update><title>%d</title></update>" % number for number in range(3000)) + "</news>")
        self.assertEqual([title for title, _, _ in news], [u"%d" % n for n in range(3000)])


class Kinds(NewsTest):

    def kind(self, attributes):
        return self.entry("<title>T</title>", attributes)[2]

    def test_are_normal_without_the_attribute(self):
        self.assertEqual(self.kind(""), "normal")

    def test_are_the_attribute_as_it_stands(self):
        for value in (u"urgent", u"info", u"normal", u"Urgent", u" urgent ", u"ä", u"other"):
            self.assertEqual(self.kind(u'type="%s"' % value), value)

    def test_are_empty_for_an_empty_attribute(self):
        self.assertEqual(self.kind('type=""'), u"")

    def test_are_of_the_attribute_of_that_very_name(self):
        for attribute in ("Type", "types", "x:type"):
            self.assertEqual(self.kind('xmlns:x="u" %s="urgent"' % attribute), "normal")

    def test_may_hold_references(self):
        self.assertEqual(self.kind('type="&lt;&#65;&amp;"'), u"<A&")


class Titles(NewsTest):

    def test_are_those_of_the_first_title_element(self):
        self.assertEqual(self.title("<title>one</title><title>two</title>"), u"one")
        self.assertEqual(self.title("<item><title>deep</title></item><title>two</title>"), u"deep")

    def test_are_the_data_of_the_first_child_whatever_its_kind(self):
        for content, title in [
                (u"plain", u"plain"), (u" \n ", u" \n "), (u"<![CDATA[<b> & ]]>", u"<b> & "),
                (u"text<b>bold</b>more", u"text"), (u"one<!-- c -->two", u"one"),
                (u"<!-- c -->News", u" c "), (u"<!---->News", u""),
                (u"<?target data ?>News", u"data "), (u"a<![CDATA[b]]>c", u"a"),
                (u"<![CDATA[]]>after", u"after"), (u"\n<b/>", u"\n")]:
            self.assertEqual(self.title(u"<title>%s</title>" % content), title)

    def test_join_references_and_the_text_round_them(self):
        self.assertEqual(self.title(u"<title>a &amp; b&#65;&#xe4;&lt;</title>"), u"a & bAä<")

    def test_may_be_of_any_character(self):
        for text in (u"日本", u"\ufeff", u"\U0001f4fa", u"\x85\u2028"):
            self.assertEqual(self.title(u"<title>%s</title>" % text), text)
        self.assertEqual(self.title("<title>&#x1f4fa;</title>"), u"\ud83d\udcfa")

    def test_have_line_ends_of_one_kind(self):
        self.assertEqual(self.title("<title>a\r\nb\rc&#13;d</title>"), u"a\nb\nc\rd")

    def test_may_be_long(self):
        self.assertEqual(self.title("<title>%s</title>" % (70000 * "x")), 70000 * u"x")


class Items(NewsTest):

    def test_have_the_text_of_the_last_itemtext(self):
        self.assertEqual(self.items("<item><itemtext>one</itemtext><itemtext>two</itemtext>"
                                    "</item>"), [item(u"two")])

    def test_keep_an_earlier_text_when_the_last_itemtext_is_empty(self):
        self.assertEqual(self.items("<item><itemtext>one</itemtext><itemtext/></item>"),
                         [item(u"one")])

    def test_have_None_for_a_text_when_every_itemtext_is_empty(self):
        for content in ("", "<itemtext/>", "<itemtext></itemtext><itemtext/>",
                        "<itemtext><![CDATA[]]></itemtext>"):
            self.assertEqual(self.items("<item>%s</item>" % content), [item(None)])

    def test_have_an_empty_text_of_an_empty_comment(self):
        self.assertEqual(self.items("<item><itemtext><!----></itemtext></item>"), [item(u"")])

    def test_within_another_count_for_both(self):
        self.assertEqual(
            self.items("<item><itemtext>1</itemtext><item><itemtext>2</itemtext>"
                       "<description>d</description></item></item>"),
            [item(u"2", u"d"), item(u"2", u"d")])

    def test_take_no_require_of_their_itemtext(self):
        self.assertEqual(self.items("<item><itemtext require='solo'>i</itemtext></item>"),
                         [item(u"i")])

    def test_have_their_descriptions_in_order_wherever_they_stand(self):
        self.assertEqual(
            self.items("<item><description>1</description><itemtext>i</itemtext>"
                       "<description>2</description></item>"), [item(u"i", u"1", u"2")])

    def test_leave_empty_descriptions_out(self):
        self.assertEqual(self.descriptions("<description/><description>a</description>"
                                           "<description></description>"), [u"a"])


class Filter(NewsTest):

    def test_leaves_updates_items_and_descriptions_of_other_models_out(self):
        news = self.read(u"""<news>
            <update require="solo,uno"><title>not here</title></update>
            <update require="solo,duo2"><title>here</title>
              <item require="uno"><itemtext>not here</itemtext></item>
              <item require="duo2"><itemtext>here</itemtext>
                <description require="duo">not here</description>
                <description require="duo2">here</description></item>
            </update></news>""")
        self.assertEqual(news, [(u"here", [item(u"here", u"here")], NORMAL)])

    def test_may_leave_nothing(self):
        self.assertEqual(self.read("<news><update require='solo'/><update require='uno'/></news>"),
                         [])

    def test_compares_whole_names(self):
        for model, require, kept in [
                ("duo", "solo,duo", True), ("duo2", "solo,duo", False),
                ("duo", "solo, duo", False), ("duo", "solo,duo ", False), (" duo", "a, duo", True),
                ("duo", "DUO", False), ("duo", "duo,duo", True), ("duo", "duo2,uno", False),
                ("", "", True), ("duo", "", False), ("duo", ",", False), ("", "a,", True)]:
            self.module.vumodel = model
            news = self.read('<update require="%s"><title>T</title></update>' % require)
            self.assertEqual(len(news), kept, (model, require))

    def test_does_not_look_at_the_shape_of_what_it_leaves_out(self):
        self.assertEqual(self.read("<n><update require='x'><title/></update></n>"), [])
        self.assertEqual(self.items("<item require='x'><itemtext><b/></itemtext></item>"), [])
        self.assertEqual(self.descriptions("<description require='x'><b/></description>"), [])

    def test_is_asked_for_each_update_item_and_description_with_a_child(self):
        asked = []

        def skip(element):
            asked.append((element.tagName, element.getAttribute("id")))
            return element.getAttribute("id") in ("2", "4")

        self.replace(skip_entry=skip)
        news = self.read(
            "<n><update id='1'><title>T</title><item id='2'><description id='-'>x</description>"
            "</item><item id='3'><description id='4'>x</description><description id='-'/>"
            "<description id='5'>y</description></item></update></n>")
        self.assertEqual(asked, [("update", "1"), ("item", "2"), ("item", "3"),
                                 ("description", "4"), ("description", "5")])
        self.assertEqual(news, [(u"T", [item(None, u"y")], NORMAL)])


class SkipEntry(ModuleTest):

    def element(self, attributes):
        return xml.dom.minidom.parseString("<e %s/>" % attributes).documentElement

    def test_answers_with_a_boolean(self):
        for attributes, answer in [("", False), ("require='duo2'", False), ("require='x'", True),
                                   ("require=''", True), ("Require='x'", False)]:
            self.assertIs(self.module.skip_entry(self.element(attributes)), answer)

    def test_reads_the_model_when_it_is_called(self):
        element = self.element("require='solo'")
        self.assertIs(self.module.skip_entry(element), True)
        self.module.vumodel = "solo"
        self.assertIs(self.module.skip_entry(element), False)

    def test_keeps_an_element_whose_list_is_empty(self):
        self.assertIs(self.module.skip_entry(Blank(
            hasAttribute=lambda name: True,
            getAttribute=lambda name: Blank(split=lambda separator: []))), False)

    def test_reads_the_attribute_only_when_it_is_there(self):
        asked = []
        entry = Blank(hasAttribute=lambda *a: asked.append(("has",) + a),
                      getAttribute=lambda *a: asked.append(("get",) + a) or "duo2")
        self.assertIs(self.module.skip_entry(entry), False)
        self.assertEqual(asked, [("has", "require")])
        entry.hasAttribute = lambda *a: asked.append(("has",) + a) or 1
        self.assertIs(self.module.skip_entry(entry), False)
        self.assertEqual(asked[1:], [("has", "require"), ("get", "require")])

    def test_names_the_line_of_a_failing_step(self):
        error = KeyError("step")

        def fail(*_):
            raise error

        class Uncomparable(str):
            __eq__ = fail
            __hash__ = str.__hash__

        yes = Blank(hasAttribute=lambda name: True, getAttribute=lambda name: "a,b")
        for entry, line in [(Blank(hasAttribute=fail), 113),
                            (Blank(hasAttribute=lambda name: True, getAttribute=fail), 114)]:
            self.assertFails(error, ["skip_entry:%d" % line], self.module.skip_entry, entry)
        self.module.vumodel = Uncomparable("c")
        self.assertFails(error, ["skip_entry:115"], self.module.skip_entry, yes)
        self.assertFails(AttributeError, ["skip_entry:113"], self.module.skip_entry, None)


class Encodings(NewsTest):

    def test_are_those_of_the_declaration(self):
        text = u"<update><title>Grüße</title></update>"
        for name in ("utf-8", "UTF-8", "iso-8859-1", "windows-1252", "cp1250", "iso-8859-15"):
            news = self.read(
                (u'<?xml version="1.0" encoding="%s"?>' % name + text).encode(name))
            self.assertEqual(news, [(u"Grüße", [], NORMAL)], name)

    def test_are_UTF_8_or_UTF_16_without_one(self):
        text = u"<update><title>Grüße</title></update>"
        for document in (text.encode("utf-8"), codecs.BOM_UTF8 + text.encode("utf-8"),
                         text.encode("utf-16"), codecs.BOM_UTF16_BE + text.encode("utf-16-be")):
            self.assertEqual(self.read(document), [(u"Grüße", [], NORMAL)])

    def test_that_are_unknown_or_of_several_bytes_are_errors_of_the_parser(self):
        for name, error in [("bogus", LookupError), ("shift_jis", ValueError)]:
            self.serve('<?xml version="1.0" encoding="%s"?><n/>' % name)
            self.assertFails(error, ["parse_xml:140"], self.module.parse_xml)


class DocumentType(NewsTest):

    def test_may_define_entities(self):
        self.assertEqual(self.read(
            "<!DOCTYPE n [<!ENTITY who 'ZIRK'><!ENTITY all '<title>T</title>'>]>"
            "<n><update><title>by &who;!</title></update><update>&all;</update></n>"),
            [(u"by ZIRK!", [], NORMAL), (u"T", [], NORMAL)])

    def test_gives_no_default_attributes(self):
        self.assertEqual(self.read(
            "<!DOCTYPE n [<!ATTLIST update type CDATA 'info' require CDATA 'solo'>]>"
            "<n><update><title>T</title></update></n>"), [(u"T", [], NORMAL)])

    def test_collapses_blanks_in_attributes_of_token_type(self):
        self.module.vumodel = "solo duo"
        self.assertEqual(self.read(
            "<!DOCTYPE n [<!ATTLIST update require NMTOKENS #IMPLIED>]>"
            "<n><update require='  solo   duo '><title>T</title></update></n>"),
            [(u"T", [], NORMAL)])


class Namespaces(NewsTest):

    def test_count_by_the_name_as_written(self):
        self.assertEqual(self.read(
            "<n xmlns:x='u' xmlns='v'><x:update><title>no</title></x:update>"
            "<update x:type='info'><title>yes</title></update></n>"), [(u"yes", [], NORMAL)])
