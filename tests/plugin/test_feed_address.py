"""newsURL derives addresses from the package feed's configuration; getDownloadStats uses one."""

import os
import socket
import urllib2

from tests.support.receiver import (
    CONFIGURATION, Blank, FeedTest, ModuleTest, closed_port, configure, raising)

KEYWORD = "src/gz Zirk-all "
STRIPPED = "src/gz Zirk-all "


class FeedAddress(ModuleTest):

    def check(self, content, address, *arguments):
        configure(content)
        found = self.module.newsURL(*arguments)
        self.assertEqual(found, address)
        self.assertIs(type(found), str)

    def test_ends_in_the_news_document_by_default(self):
        self.check(KEYWORD + "http://feed.example/zirk/3.1/all\n",
                   "http://feed.example/zirk/3.1/zirknews.xml")

    def test_is_the_same_with_the_news_document_named(self):
        configure(KEYWORD + "http://feed.example/all\n")
        self.assertEqual(self.module.newsURL("zirknews.xml"), self.module.newsURL())

    def test_ends_in_the_file_given_by_keyword(self):
        configure(KEYWORD + "http://feed.example/all\n")
        self.assertEqual(self.module.newsURL(f_name="zirkdlstat.txt"),
                         "http://feed.example/zirkdlstat.txt")

    def test_has_every_all_replaced_in_hosts_and_directories_too(self):
        self.check(KEYWORD + "http://smallbox.example/alltoall/all\n",
                   "http://smXbox.example/XtoX/X", "X")

    def test_has_no_all_that_the_replacement_makes(self):
        self.check(KEYWORD + "http://h/aallll\n", "http://h/aXll", "X")
        self.check(KEYWORD + "http://h/all\n", "http://h/all", "all")
        self.check(KEYWORD + "http://h/allall\n", "http://h/balllballl", "balll")

    def test_without_any_all_stays_as_it_is(self):
        self.check(KEYWORD + "http://feed.example/any\n", "http://feed.example/any", "X")

    def test_takes_only_the_first_line(self):
        self.check(KEYWORD + "http://one/all\n" + KEYWORD + "http://two/all\n", "http://one/X", "X")

    def test_of_a_line_without_end_is_the_same_when_its_end_is_not_of_the_set(self):
        for end in ("\n", ""):
            self.check(KEYWORD + "http://feed.example/all/2\n"[:-1] + end,
                       "http://feed.example/X/2", "X")

    def test_of_a_line_without_end_loses_what_the_strip_finds_there(self):
        # Characters of the set go from the end too, up to the line feed. Without one the last
        # component is eaten, with the slash before it, and nothing is left to be replaced.
        self.check(KEYWORD + "http://feed.example/all", "http://feed.example".rstrip(STRIPPED))

    def test_loses_leading_characters_of_the_set_in_any_order_and_number(self):
        self.check("all all gz/gz-src http://h/all\n", "http://h/X", "X")
        self.check("skills.example/all\n", ".example/X", "X")
        self.check("http://h/all\n", "http://h/X", "X")

    def test_keeps_characters_beyond_the_first_that_is_not_of_the_set(self):
        self.check("src/gz Other-all http://h/all\n", "Other-X http://h/X", "X")

    def test_is_stripped_by_the_case_sensitive_set(self):
        self.check("ZzSh/all\n", "Sh/X", "X")

    def test_loses_white_space_at_both_ends_after_the_set(self):
        self.check(KEYWORD + "\t\x0b http://h/all\t\r\n", "http://h/X", "X")
        # The white space strip comes last; what it bares is not stripped by the set again.
        self.check("\tsrc http://h/all \r\n", "src http://h/X", "X")
        self.check(KEYWORD + "http://h/all \n", "http://h/X", "X")

    def test_of_an_empty_file_or_line_is_empty(self):
        for content in ("", "\n", KEYWORD, KEYWORD + "\n", " \t \n"):
            self.check(content, "")

    def test_may_have_any_bytes(self):
        self.check(KEYWORD + "http://h\xff\xfe\x00/all\n", "http://h\xff\xfe\x00/X", "X")

    def test_is_as_long_as_it_is(self):
        self.check(KEYWORD + "http://h/" + "x" * 100000 + "/all\n",
                   "http://h/" + "x" * 100000 + "/X", "X")

    def test_is_unicode_for_a_unicode_name(self):
        configure(KEYWORD + "http://h/all\n")
        found = self.module.newsURL(u"x\xe4")
        self.assertEqual(found, u"http://h/x\xe4")
        self.assertIs(type(found), type(u""))

    def test_needs_a_text_for_a_name(self):
        configure(KEYWORD + "http://h/all\n")
        for name in (None, 5, []):
            self.assertFails(TypeError, ["newsURL:109"], self.module.newsURL, name)

    def test_needs_the_configuration(self):
        configure(None)
        error = self.assertFails(IOError, ["newsURL:105"], self.module.newsURL)
        self.assertEqual(str(error), "[Errno 2] No such file or directory: '%s'" % CONFIGURATION)

    def test_of_a_configuration_that_is_a_directory_fails_at_the_opening(self):
        configure(None)
        os.mkdir(CONFIGURATION)
        self.addCleanup(os.rmdir, CONFIGURATION)
        self.assertFails(IOError, ["newsURL:105"], self.module.newsURL)

    def test_leaves_the_configuration_closed_and_unchanged(self):
        opened = []

        def keep(*arguments):
            opened.append(open(*arguments))
            return opened[-1]

        configure(KEYWORD + "http://h/all\nmore\n")
        self.replace(open=keep)
        self.module.newsURL()
        self.assertEqual([stream.closed for stream in opened], [True])
        with open(CONFIGURATION) as stream:
            self.assertEqual(stream.read(), KEYWORD + "http://h/all\nmore\n")

    def test_is_made_in_order_and_fails_at_each_step_in_its_line(self):
        """Each step is an operation on the result of the one before; none is left out."""
        steps = ["open", "readline", "strip", "close", "strip white space", "replace"]
        lines = [105, 106, 106, 107, 108, 109]
        error = KeyError("step")
        for failing_step in range(len(steps) + 1):
            done = []

            def step(what, arguments, result, done=done, failing_step=failing_step):
                done.append((what,) + arguments)
                if len(done) == failing_step + 1:
                    raise error
                return result

            result = Blank()
            stripped = Blank(replace=lambda *a: step("replace", a, result))
            bare = Blank(strip=lambda *a: step("strip white space", a, stripped))
            line = Blank(strip=lambda *a: step("strip", a, bare))
            stream = Blank(readline=lambda *a: step("readline", a, line),
                           close=lambda *a: step("close", a, None))
            self.replace(open=lambda *a: step("open", a, stream))
            if failing_step < len(steps):
                self.assertFails(error, ["newsURL:%d" % lines[failing_step]],
                                 self.module.newsURL, "x")
            else:
                self.assertIs(self.module.newsURL("x"), result)
            self.assertEqual(done, [
                ("open", CONFIGURATION, "r"), ("readline",), ("strip", STRIPPED), ("close",),
                ("strip white space",), ("replace", "all", "x")][:failing_step + 1])


class DownloadStatistics(FeedTest):

    def test_are_the_whole_body_untouched(self):
        for content in ("", "EXTENSIONS\r\nfoo;12\n\n", "\x00\xff" * 100000):
            self.serve(content, "zirkdlstat.txt")
            found = self.module.getDownloadStats()
            self.assertEqual(found, content)
            self.assertIs(type(found), str)
        self.assertEqual(self.feed.requests, ["/feed/zirkdlstat.txt"] * 3)

    def test_are_None_for_an_HTTP_error(self):
        self.assertIsNone(self.module.getDownloadStats())
        for status in (400, 403, 404, 500, 503):
            self.feed.fault("zirkdlstat.txt", status=status)
            self.assertIsNone(self.module.getDownloadStats())

    def test_are_None_for_a_server_that_cannot_be_reached(self):
        configure(KEYWORD + "http://127.0.0.1:%d/all\n" % closed_port())
        self.assertIsNone(self.module.getDownloadStats())

    def test_pass_other_errors_of_the_download_on(self):
        self.serve("text", "zirkdlstat.txt")
        for fault, kinds in [(dict(drop="headers"), "BadStatusLine"),
                             (dict(drop="middle", reset=True), "error")]:
            self.feed.fault("zirkdlstat.txt", **fault)
            with self.assertRaises(Exception) as caught:
                self.module.getDownloadStats()
            self.assertEqual(type(caught.exception).__name__, kinds)

    def test_pass_errors_of_the_address_on(self):
        configure(None)
        self.assertFails(IOError, ["getDownloadStats:120", "newsURL:105"],
                         self.module.getDownloadStats)

    def test_of_an_empty_configuration_fail_as_the_address_is_unknown(self):
        configure("")
        error = self.assertFails(ValueError, ["getDownloadStats:122"],
                                 self.module.getDownloadStats)
        self.assertEqual(str(error), "unknown url type: ")

    def test_are_asked_for_with_a_time_out_of_five_seconds(self):
        calls = []
        answer = Blank(read=lambda *arguments: arguments)

        def urlopen(*arguments, **keywords):
            calls.append((arguments, keywords))
            return answer

        self.box.patch(urllib2, "urlopen", urlopen)
        self.assertEqual(self.module.getDownloadStats(), ())  # read() got no argument
        self.assertEqual(calls, [
            ((self.feed.address("zirkdlstat.txt"), None, 5.0), {})])
        self.assertIs(type(calls[0][0][2]), float)

    def test_call_newsURL_with_the_file_by_position(self):
        calls = []

        def address(*arguments, **keywords):
            calls.append((arguments, keywords))
            return "the address"

        self.replace(newsURL=address, urllib2=Blank(
            urlopen=lambda url, *_: Blank(read=lambda: url + " read")))
        self.assertEqual(self.module.getDownloadStats(), "the address read")
        self.assertEqual(calls, [(("zirkdlstat.txt",), {})])

    def test_turn_both_kinds_of_error_of_the_opening_and_the_reading_into_None(self):
        for error in (urllib2.HTTPError("u", 404, "no", {}, None), urllib2.URLError("no")):
            self.box.patch(urllib2, "urlopen", raising(error))
            self.assertIsNone(self.module.getDownloadStats())
            self.box.patch(urllib2, "urlopen", lambda *_: Blank(read=raising(error)))
            self.assertIsNone(self.module.getDownloadStats())

    def test_pass_every_other_exception_on(self):
        for error in (IOError("read"), socket.timeout("timed out"), SystemExit(3),
                      KeyboardInterrupt(), MemoryError()):
            for urlopen in (raising(error), lambda *_: Blank(read=raising(error))):
                self.box.patch(urllib2, "urlopen", urlopen)
                self.assertFails(error, ["getDownloadStats:122"],
                                 self.module.getDownloadStats)

    def test_pass_errors_on_that_do_not_exist_for_the_urllib2_in_use(self):
        # The classes are looked up when an error has come, HTTPError first.
        error = urllib2.URLError("no")
        self.replace(urllib2=Blank(urlopen=raising(error)))
        self.assertFails(AttributeError, ["getDownloadStats:123"],
                         self.module.getDownloadStats)
        self.replace(urllib2=Blank(urlopen=raising(error), HTTPError=urllib2.HTTPError))
        self.assertFails(AttributeError, ["getDownloadStats:125"],
                         self.module.getDownloadStats)
        self.replace(urllib2=Blank(urlopen=raising(error), HTTPError=urllib2.URLError))
        self.assertIsNone(self.module.getDownloadStats())

    def test_come_after_a_stall_that_is_short_enough(self):
        self.serve("late", "zirkdlstat.txt")
        self.feed.fault("zirkdlstat.txt", stall="middle", seconds=0.2)
        self.assertEqual(self.module.getDownloadStats(), "late")
