"""parse_xml fetches, reads and stores the news: statuses, order of effects, failures."""

import os
import socket
import time
import urllib2
import xml.dom.minidom
import xml.parsers.expat

from tests.support.receiver import CACHE, Blank, FeedTest, closed_port, configure, raising

FORMER = "the former content"
DOCUMENT = "<news><update><title>T</title></update></news>"


class DownloadTest(FeedTest):
    """Base: a cache from before, that failures have to leave alone."""

    def setUp(self):
        super(DownloadTest, self).setUp()
        with open(CACHE, "wb") as stream:
            stream.write(FORMER)
        self.before = os.stat(CACHE)

    def check_untouched(self):
        after = os.stat(CACHE)
        self.assertEqual((after.st_ino, after.st_mtime), (self.before.st_ino, self.before.st_mtime))
        with open(CACHE, "rb") as stream:
            self.assertEqual(stream.read(), FORMER)

    def check_status(self, status):
        found = self.module.parse_xml()
        self.assertEqual(found, status)
        self.assertIs(type(found), int)
        if status != 1:
            self.check_untouched()

    def check_passes(self, error, *entries):
        value = self.assertFails(error, entries, self.module.parse_xml)
        self.check_untouched()
        return value


class Statuses(DownloadTest):

    def test_is_1_for_a_stored_document(self):
        self.serve(DOCUMENT)
        self.check_status(1)
        self.assertEqual(self.module.load_cache(), [(u"T", [], "normal")])
        self.assertEqual(self.feed.requests, ["/feed/zirknews.xml"])

    def test_is_2_for_an_HTTP_error(self):
        self.check_status(2)
        for status in (400, 401, 403, 404, 500, 503):
            self.feed.fault("zirknews.xml", status=status)
            self.check_status(2)

    def test_is_2_for_an_HTTP_error_whose_body_would_be_a_document(self):
        self.feed.fault("zirknews.xml", status=404, body=DOCUMENT)
        self.check_status(2)

    def test_is_3_for_a_refused_connection(self):
        configure("src/gz Zirk-all http://127.0.0.1:%d/all\n" % closed_port())
        self.check_status(3)

    def test_is_3_for_a_host_that_has_no_address(self):
        self.box.patch(socket, "getaddrinfo", raising(socket.gaierror(-2, "unknown")))
        configure("src/gz Zirk-all http://nowhere.example/all\n")
        self.check_status(3)

    def test_is_3_for_a_scheme_that_nobody_handles(self):
        configure("src/gz Zirk-all nohttp://127.0.0.1/all\n")
        self.check_status(3)

    def test_is_3_for_a_document_that_is_not_well_formed(self):
        for document in ("plain text", "", " ", "<news>", "<news></News>", "<a/><b/>",
                         "<update><title>T</title>", "<n>&nbsp;</n>", "<n a='1' a='2'/>",
                         "<x:n/>", "<n>\xff</n>", "<n>&#0;</n>", DOCUMENT + "trailer",
                         "\xef\xbb\xbf", "<?xml version='1.0'?>"):
            self.serve(document)
            self.check_status(3)

    def test_is_3_though_the_part_before_the_error_has_entries(self):
        self.serve(DOCUMENT[:-7])
        self.check_status(3)

    def test_is_followed_by_1_when_the_server_has_recovered(self):
        self.feed.fault("zirknews.xml", status=500, times=1)
        self.serve(DOCUMENT)
        self.check_status(2)
        self.check_status(1)

    def test_follows_redirections(self):
        self.serve(DOCUMENT, "moved.xml")
        self.feed.fault("zirknews.xml", status=302,
                        headers=[("Location", self.feed.address("moved.xml"))])
        self.check_status(1)


class Stalls(DownloadTest):
    """The time-out of five seconds is for each step of the connection."""

    def test_before_the_answer_beyond_the_time_out_pass_the_time_out_on(self):
        self.feed.fault("zirknews.xml", stall="headers")
        start = time.time()
        error = self.check_passes(socket.timeout, "parse_xml:134")
        self.assertEqual(str(error), "timed out")
        self.assertTrue(4.9 <= time.time() - start < 8, time.time() - start)

    def test_within_the_time_out_do_no_harm(self):
        self.serve(DOCUMENT)
        for point in ("headers", "body", "middle"):
            self.feed.fault("zirknews.xml", stall=point, seconds=0.1)
            self.check_status(1)

    def test_while_connecting_are_an_unreachable_server(self):
        self.box.patch(socket, "create_connection", raising(socket.timeout("timed out")))
        self.check_status(3)

    def test_in_the_body_pass_the_time_out_on(self):
        self.serve(DOCUMENT)
        urlopen = urllib2.urlopen
        self.box.patch(urllib2, "urlopen", lambda url, data, _: urlopen(url, data, 0.2))
        for point in ("body", "middle"):
            self.feed.fault("zirknews.xml", stall=point)
            self.check_passes(socket.timeout, "parse_xml:134")

    def test_are_bounded_by_the_argument_5_0(self):
        calls = []

        def urlopen(*arguments, **keywords):
            calls.append((arguments, keywords))
            return Blank(read=lambda: DOCUMENT)

        self.box.patch(urllib2, "urlopen", urlopen)
        self.check_status(1)
        self.assertEqual(calls, [((self.feed.address("zirknews.xml"), None, 5.0), {})])
        self.assertIs(type(calls[0][0][2]), float)


class Failures(DownloadTest):

    def test_of_the_address_pass(self):
        configure(None)
        self.check_passes(IOError, "parse_xml:132", "newsURL:105")

    def test_of_an_empty_configuration_pass_as_an_unknown_address(self):
        configure("")
        error = self.check_passes(ValueError, "parse_xml:134")
        self.assertEqual(str(error), "unknown url type: ")

    def test_of_the_download_pass_unless_they_are_HTTP_or_URL_errors(self):
        for error in (IOError("read"), socket.error(104, "reset"), KeyboardInterrupt(),
                      SystemExit(1), MemoryError(), xml.parsers.expat.ExpatError("early")):
            for urlopen in (raising(error), lambda *_: Blank(read=raising(error))):
                self.box.patch(urllib2, "urlopen", urlopen)
                self.check_passes(error, "parse_xml:134")

    def test_of_the_reading_count_like_those_of_the_opening(self):
        for error, status in [(urllib2.HTTPError("u", 404, "no", {}, None), 2),
                              (urllib2.URLError("no"), 3)]:
            self.box.patch(urllib2, "urlopen", lambda *_: Blank(read=raising(error)))
            self.check_status(status)

    def test_of_the_connection_pass(self):
        self.serve(DOCUMENT)
        self.feed.fault("zirknews.xml", drop="headers")
        with self.assertRaises(Exception) as caught:
            self.module.parse_xml()
        self.assertEqual(type(caught.exception).__name__, "BadStatusLine")
        self.feed.fault("zirknews.xml", drop="middle", reset=True)
        self.check_passes(socket.error, "parse_xml:134")

    def test_of_the_shape_name_the_line_of_the_missing_part(self):
        for content, error, line, text in [
                ("", IndexError, 150, "list index out of range"),
                ("<title/>", AttributeError, 150, "'NoneType' object has no attribute 'data'"),
                ("<title><b>bold</b></title>", AttributeError, 150,
                 "Element instance has no attribute 'data'"),
                ("<title>T</title><item><itemtext><b/>x</itemtext></item>", AttributeError, 159,
                 "Element instance has no attribute 'data'"),
                ("<title>T</title><item><description><b/></description></item>", AttributeError,
                 163, "Element instance has no attribute 'data'")]:
            self.serve("<n>%s<update>%s</update></n>" % (DOCUMENT, content))
            found = self.check_passes(error, "parse_xml:%d" % line)
            self.assertEqual(str(found), text)

    def test_of_the_filter_have_entries_of_both_functions(self):
        error = KeyError("model")

        class Model(str):
            def __eq__(self, other):
                if other == u"here":
                    raise error
                return True
            __hash__ = str.__hash__

        for document, line in [
                ("<update require='here'/>", 144),
                ("<update><title>T</title><item require='here'/></update>", 154),
                ("<update><title>T</title><item><description require='here'>d</description>"
                 "</item></update>", 162)]:
            self.module.vumodel = Model()
            self.serve(document)
            self.check_passes(error, "parse_xml:%d" % line, "skip_entry:115")

    def test_of_the_writing_have_entries_of_both_functions(self):
        self.serve(DOCUMENT)
        self.module.cache_file = "/tmp"
        self.check_passes(IOError, "parse_xml:168", "write_cache:94")
        error = KeyError("dump")
        self.replace(dump=raising(error))
        self.module.cache_file = "/tmp/.another"
        self.addCleanup(os.remove, self.module.cache_file)
        self.check_passes(error, "parse_xml:168", "write_cache:95")

    def test_of_the_parser_that_are_not_about_form_pass(self):
        self.serve(DOCUMENT)
        error = MemoryError()
        self.box.patch(xml.dom.minidom, "parseString", raising(error))
        self.check_passes(error, "parse_xml:140")

    def test_are_judged_by_the_classes_of_the_modules_in_use(self):
        class Refused(Exception):
            pass

        class Malformed(Exception):
            pass

        self.replace(
            urllib2=Blank(urlopen=raising(Refused()), HTTPError=urllib2.HTTPError,
                          URLError=Refused))
        self.check_status(3)
        self.replace(urllib2=Blank(urlopen=raising(Refused()), HTTPError=(KeyError, Refused)))
        self.check_status(2)
        self.replace(urllib2=Blank(urlopen=lambda *_: Blank(read=lambda: "x")))
        parsers = Blank(expat=Blank(ExpatError=Malformed))
        dom = Blank(minidom=Blank(parseString=raising(Malformed())))
        self.replace(xml=Blank(dom=dom, parsers=parsers))
        self.check_status(3)

    def test_of_looking_a_class_up_pass_in_the_line_of_the_handler(self):
        self.replace(urllib2=Blank(urlopen=raising(ValueError())))
        self.check_passes(AttributeError, "parse_xml:135")
        self.replace(urllib2=Blank(urlopen=raising(ValueError()), HTTPError=KeyError))
        self.check_passes(AttributeError, "parse_xml:137")
        self.replace(urllib2=Blank(urlopen=lambda *_: Blank(read=lambda: "x")), xml=Blank(
            dom=Blank(minidom=Blank(parseString=raising(ValueError())))))
        self.check_passes(AttributeError, "parse_xml:141")


class Steps(DownloadTest):
    """Every operation on network, document and cache, in order, with its source line."""

    EXPECTED = [
        (132, "newsURL()"), (134, "urlopen('address', None, 5.0)"), (134, "answer.read()"),
        (140, "parseString('news')"), (143, "document.getElementsByTagName('update')"),
        (144, "skip(update)"), (147, "update.hasAttribute('type')"),
        (148, "update.getAttribute('type')"), (149, "update.getElementsByTagName('title')"),
        (150, "title.firstChild"), (150, "title text.data"),
        (151, "update.getElementsByTagName('item')"),
        (154, "skip(item)"), (157, "item.getElementsByTagName('itemtext')"),
        (158, "itemtext.firstChild"), (159, "itemtext.firstChild"), (159, "itemtext text.data"),
        (161, "item.getElementsByTagName('description')"), (162, "description.firstChild"),
        (162, "skip(description)"), (163, "description.firstChild"),
        (163, "description text.data"),
        (167, "document.unlink()"), (168, "write_cache(%r)" % [
            ("title text", [("itemtext text", ["description text"])], "kind")])]

    def run_steps(self, failing_step, error):
        """Run parse_xml on a recording host; return the operations done and a callable."""
        done = []

        def step(text, result=None):
            done.append(text)
            if len(done) - 1 == failing_step:
                raise error
            return result

        class Node(object):
            def __init__(self, name, children):
                self.name = name
                self.children = children

            def getElementsByTagName(self, name):
                return step("%s.getElementsByTagName(%r)" % (self.name, name),
                            [child for child in self.children if child.name == name])

            def hasAttribute(self, name):
                return step("%s.hasAttribute(%r)" % (self.name, name), True)

            def getAttribute(self, name):
                return step("%s.getAttribute(%r)" % (self.name, name), "kind")

            def unlink(self):
                step(self.name + ".unlink()")

            @property
            def firstChild(self):
                return step(self.name + ".firstChild", Text(self.name + " text"))

        class Text(object):
            def __init__(self, name):
                self.name = name

            @property
            def data(self):
                return step(self.name + ".data", self.name)

        document = Node("document", [Node("update", [
            Node("title", []),
            Node("item", [Node("itemtext", []), Node("description", [])])])])
        self.replace(
            newsURL=lambda *a: step("newsURL%r" % (a,), "address"),
            urllib2=Blank(urlopen=lambda *a: step("urlopen%r" % (a,), Blank(
                read=lambda *a: step("answer.read%r" % (a,), "news")))),
            xml=Blank(dom=Blank(minidom=Blank(
                parseString=lambda text: step("parseString(%r)" % text, document))),
                parsers=Blank(expat=Blank(ExpatError=()))),
            skip_entry=lambda node: step("skip(%s)" % node.name, False),
            write_cache=lambda news: step("write_cache(%r)" % news))
        vars(self.module.urllib2).update(HTTPError=(), URLError=())  # catch nothing
        return done

    def test_are_done_in_order(self):
        done = self.run_steps(None, None)
        self.assertEqual(self.module.parse_xml(), 1)
        self.assertEqual(done, [text for _, text in self.EXPECTED])

    def test_end_with_the_one_that_fails_and_its_line_is_named(self):
        error = KeyError("step")
        for number, (line, _) in enumerate(self.EXPECTED):
            done = self.run_steps(number, error)
            self.check_passes(error, "parse_xml:%d" % line)
            self.assertEqual(done, [text for _, text in self.EXPECTED[:number + 1]])

    def test_of_a_loop_that_fails_name_the_loop(self):
        error = KeyError("next")

        def nodes(*_):
            raise error
            yield

        def element(name):
            """A document in which the search for `name` breaks off."""
            def find(wanted):
                return nodes() if wanted == name else [element(name)]
            child = Blank(data="text")
            return Blank(getElementsByTagName=find, firstChild=child, unlink=None,
                         hasAttribute=lambda _: False)

        for name, line in [("update", 143), ("item", 153), ("itemtext", 157),
                           ("description", 161)]:
            self.replace(newsURL=lambda: "", urllib2=Blank(
                urlopen=lambda *_: Blank(read=lambda: "")))
            self.replace(xml=Blank(dom=Blank(minidom=Blank(
                parseString=lambda _: element(name)))))
            self.check_passes(error, "parse_xml:%d" % line)
