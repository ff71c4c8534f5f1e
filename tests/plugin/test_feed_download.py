"""What comes over the network: the download statistics, and parse_xml up to its news list."""

import os
import socket

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

    def test_a_server_that_cannot_be_reached_is_a_result(self):
        for address in ("http://127.0.0.1:%d/all" % closed_port(), "nohttp://127.0.0.1/all"):
            configure("src/gz Zirk-all %s\n" % address)
            self.assertGives(self.unreachable)
        configure("src/gz Zirk-all http://nowhere.example/all\n")
        self.box.patch(socket, "create_connection", raising(socket.timeout("timed out")))
        self.assertGives(self.unreachable)
        self.box.patch(socket, "create_connection", raising(socket.gaierror(-2, "unknown")))
        self.assertGives(self.unreachable)

    def test_errors_of_the_address_pass(self):
        configure(None)
        self.assertPasses(IOError, self.line - 2, "newsURL:105")
        configure("")
        error = self.assertPasses(ValueError, self.line)
        self.assertEqual(str(error), "unknown url type: ")

    def test_a_redirection_is_followed(self):
        self.serve(DOCUMENT, "moved")
        self.feed.fault(self.name, status=302,
                        headers=[("Location", self.feed.address("moved"))])
        self.assertGives(self.whole)


class Statistics(Downloads, FeedTest):

    function, name, line = "getDownloadStats", "zirkdlstat.txt", 122
    unreachable, whole = None, DOCUMENT


class News(Downloads, FeedTest):

    function, name, line = "parse_xml", "zirknews.xml", 134
    unreachable, whole = 3, 1

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
