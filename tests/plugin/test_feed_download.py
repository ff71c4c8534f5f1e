"""What comes over the network: the download statistics, and parse_xml up to its news list."""

import os
import socket
import urllib2

from tests.support.leaks import once
from tests.support.receiver import (
    CACHE, Blank, FeedTest, closed_port, configure, raising, read, write)

FORMER = "the former content"
DOCUMENT = "<news><update><title>T</title></update></news>"


class Downloads(object):
    """What holds for both functions. A cache from before is left alone by all that fails."""

    def setUp(self):
        super(Downloads, self).setUp()
        write(CACHE, FORMER)
        self.before = os.stat(CACHE)
        self.call = getattr(self.module, self.function)

    def assertUntouched(self):
        after = os.stat(CACHE)
        self.assertEqual((after.st_ino, after.st_mtime), (self.before.st_ino, self.before.st_mtime))
        self.assertEqual(read(CACHE), FORMER)

    def assertGives(self, result):
        found = self.call()
        self.assertEqual((type(found), found), (type(result), result))
        if result != self.whole:
            self.assertUntouched()

    def assertPasses(self, error, line, *further):
        value = self.assertFails(error, ["%s:%d" % (self.function, line)] + list(further),
                                 self.call)
        self.assertUntouched()
        return value

    def test_an_HTTP_error_is_a_result(self):
        self.serve(None, self.name)
        self.assertGives(self.http_error)
        self.serve(DOCUMENT, self.name)
        for status in (400, 401, 403, 404, 500, 503):
            self.feed.fault(self.name, status=status)
            self.assertGives(self.http_error)
            self.feed.fault(self.name, status=status, body=DOCUMENT)
            self.assertGives(self.http_error)

    def test_a_server_that_cannot_be_reached_is_a_result(self):
        for address in ("http://127.0.0.1:%d/all" % closed_port(), "nohttp://127.0.0.1/all"):
            configure("src/gz Zirk-all %s\n" % address)
            self.assertGives(self.unreachable)
        configure("src/gz Zirk-all http://nowhere.example/all\n")
        self.box.patch(socket, "create_connection", raising(socket.timeout("timed out")))
        self.assertGives(self.unreachable)
        self.box.patch(socket, "create_connection", raising(socket.gaierror(-2, "unknown")))
        self.assertGives(self.unreachable)

    def test_a_broken_connection_is_another_error(self):
        self.serve(DOCUMENT, self.name)
        self.feed.fault(self.name, drop="headers")
        with self.assertRaises(Exception) as caught:
            self.call()
        self.assertEqual(type(caught.exception).__name__, "BadStatusLine")
        self.feed.fault(self.name, drop="middle", reset=True)
        self.assertPasses(socket.error, self.line)

    def test_errors_of_the_address_pass(self):
        configure(None)
        self.assertPasses(IOError, self.line - 2, "newsURL:105")
        configure("")
        error = self.assertPasses(ValueError, self.line)
        self.assertEqual(str(error), "unknown url type: ")

    @once("it waits")
    def test_a_stall_is_borne_for_a_while(self):
        self.serve(DOCUMENT, self.name)
        for point in ("headers", "body", "middle"):
            self.feed.fault(self.name, stall=point, seconds=0.1)
            self.assertGives(self.whole)
        urlopen = urllib2.urlopen
        self.box.patch(urllib2, "urlopen", lambda url, data, _: urlopen(url, data, 0.2))
        for point in ("body", "middle"):
            write(CACHE, FORMER)
            self.before = os.stat(CACHE)
            self.feed.fault(self.name, stall=point)
            self.assertPasses(socket.timeout, self.line)

    def test_a_redirection_is_followed(self):
        self.serve(DOCUMENT, "moved")
        self.feed.fault(self.name, status=302,
                        headers=[("Location", self.feed.address("moved"))])
        self.assertGives(self.whole)


class Statistics(Downloads, FeedTest):

    function, name, line = "getDownloadStats", "zirkdlstat.txt", 122
    http_error = unreachable = None
    whole = DOCUMENT

    def test_are_the_whole_body_untouched(self):
        for content in ("", "EXTENSIONS\r\nfoo;12\n\n", "\x00\xff" * 100000):
            self.serve(content, "zirkdlstat.txt")
            self.assertEqual(self.call(), content)
        self.assertEqual(self.feed.requests, ["/feed/zirkdlstat.txt"] * 3)


class News(Downloads, FeedTest):

    function, name, line = "parse_xml", "zirknews.xml", 134
    http_error, unreachable, whole = 2, 3, 1

    def test_are_stored_and_1_is_the_result(self):
        self.feed.fault("zirknews.xml", status=500, times=1)
        self.serve(DOCUMENT)
        self.assertGives(2)
        self.assertGives(1)
        self.assertEqual(self.module.load_cache(), [(u"T", [], "normal")])
        self.assertEqual(self.feed.requests, ["/feed/zirknews.xml"] * 2)

    def test_that_are_not_well_formed_give_3(self):
        for document in ("plain text", "", " ", "<news>", "<news></News>", "<a/><b/>",
                         "<update><title>T</title>", "<n>&nbsp;</n>", "<n a='1' a='2'/>",
                         "<x:n/>", "<n>\xff</n>", "<n>&#0;</n>", DOCUMENT + "trailer",
                         "\xef\xbb\xbf", "<?xml version='1.0'?>", DOCUMENT[:-7]):
            self.serve(document)
            self.assertGives(3)

    def test_that_are_not_well_formed_are_known_by_the_class_of_the_module_in_use(self):
        class Malformed(Exception):
            pass

        self.replace(urllib2=Blank(urlopen=lambda *_: Blank(read=lambda: "x")))
        dom = Blank(minidom=Blank(parseString=raising(Malformed())))
        self.replace(xml=Blank(dom=dom, parsers=Blank(expat=Blank(ExpatError=Malformed))))
        self.assertGives(3)
        self.replace(xml=Blank(dom=dom))
        self.assertPasses(AttributeError, 141)

    def test_without_a_part_name_its_line(self):
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
            self.assertEqual(str(self.assertPasses(error, line)), text)

    def test_pass_errors_of_the_filter_on_and_of_the_writing(self):
        error = KeyError("model")

        class Model(str):
            __hash__ = str.__hash__
            __eq__ = raising(error)

        self.module.vumodel = Model("duo2")
        self.serve("<update require='here'/>")
        self.assertPasses(error, 144, "skip_entry:115")
        self.serve(DOCUMENT)
        self.module.cache_file = "/tmp"
        self.assertPasses(IOError, 168, "write_cache:94")
