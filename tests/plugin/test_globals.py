"""Every global name is looked up when it is used: in the module, then in the builtins.

So whoever replaces a name of the module sees the replacement used everywhere. The tables name
each use with its source line.
"""

import __builtin__
import os

from tests.support.receiver import Blank, FeedTest, ModuleTest, configure, raising

LISTING = "busybox - 1.24 - 1.36\n"
ENTRY = (u"Title", [(u"item", [u"text"])], u"urgent")


class NamesTest(ModuleTest):
    """Base: takes names away, or shadows builtins, one at a time."""

    def check_uses(self, method, call, *uses):
        """Check that a call fails in the given line without a name.

        method: the qualified name in the traceback. call: takes nothing. uses: pairs: line,
        names used there, separated by blanks.
        """
        for line, names in uses:
            for name in names.split():
                if name in vars(self.module):
                    self.check_missing(name, method, line, call)
                else:
                    self.check_shadowed(name, method, line, call)

    def check_missing(self, name, method, line, call):
        value = vars(self.module).pop(name)
        try:
            error = self.assertFails(NameError, ["%s:%d" % (method, line)], call)
        finally:
            setattr(self.module, name, value)
        self.assertEqual(str(error), "global name '%s' is not defined" % name)

    def check_shadowed(self, name, method, line, call):
        error = LookupError(name)
        setattr(self.module, name, raising(error))
        try:
            self.assertFails(error, ["%s:%d" % (method, line)], call)
        finally:
            delattr(self.module, name)


class FeedNames(NamesTest, FeedTest):

    def setUp(self):
        super(FeedNames, self).setUp()
        self.serve("<update require='duo2'><title>T</title></update>")
        self.serve("", "zirkdlstat.txt")

    def test_of_the_receiver(self):
        self.check_uses("getHeader", self.module.getHeader,
                        (52, "getZirkVersionString"), (54, "vumodel"))
        self.box.patch(os, "system", lambda command: open("/tmp/.installed", "w").close())
        self.check_uses("getInstalled", self.module.getInstalled,
                        (43, "packageinstalledfile"), (45, "os_path"), (46, "open"),
                        (48, "remove"))

    def test_of_the_cache(self):
        self.check_uses("write_cache", lambda: self.module.write_cache([]),
                        (89, "os_path cache_file"), (94, "open"), (95, "dump"))
        self.module.write_cache([])
        self.check_uses("load_cache", self.module.load_cache,
                        (99, "open cache_file"), (100, "load"))

    def test_of_the_feed(self):
        self.check_uses("newsURL", self.module.newsURL, (105, "open"))
        # Without urllib2 the handler's own look-up fails as well, and that error passes.
        self.check_uses("getDownloadStats", self.module.getDownloadStats,
                        (120, "newsURL"), (123, "urllib2"))
        element = Blank(hasAttribute=lambda _: True, getAttribute=lambda _: "solo")
        self.check_uses("skip_entry", lambda: self.module.skip_entry(element), (115, "vumodel"))

    def test_of_the_news(self):
        # urllib2 and xml are missing in the handlers too.
        self.check_uses("parse_xml", self.module.parse_xml, (132, "newsURL"), (135, "urllib2"),
                        (141, "xml"), (144, "skip_entry"), (168, "write_cache"))

    def test_of_exceptions(self):
        self.module.cache_file = "/tmp/missing/news"
        error = KeyError("no")
        self.box.patch(os, "mkdir", raising(error))
        self.assertFails(error, ["write_cache:91"], self.module.write_cache, [])
        self.replace(OSError=KeyError, open=lambda *_: open("/dev/null", "w"))
        self.module.write_cache([])
        self.box.patch(os, "mkdir", raising(OSError("no")))
        self.assertFails(OSError, ["write_cache:91"], self.module.write_cache, [])

    def test_of_os_operations_are_those_of_the_os_module(self):
        calls = []
        self.box.patch(os, "system", lambda command: calls.append("system"))
        self.box.patch(os, "mkdir", lambda name: calls.append("mkdir"))
        self.module.getInstalled()
        self.module.cache_file = "/tmp/missing/news"
        self.assertFails(IOError, ["write_cache:94"], self.module.write_cache, [])
        self.assertEqual(calls, ["system", "mkdir"])


class BrowserNames(NamesTest):

    def setUp(self):
        super(BrowserNames, self).setUp()
        configure(None)
        self.screen = self.box.open_news()

    def check(self, method, uses, *arguments):
        self.check_uses("AllNews." + method,
                        lambda: getattr(self.screen, method)(*arguments), *uses)

    def test_of_the_construction(self):
        self.check_uses(
            "AllNews.__init__", lambda: self.module.AllNews(self.box.session, "/p"),
            (178, "Screen"), (182, "_"), (183, "StaticText"),
            (184, "LoadPixmap resolveFilename SCOPE_PLUGINS"), (188, "List"), (189, "Label"),
            (190, "header"), (196, "ActionMap"))

    def test_of_the_list(self):
        self.check("setMenu", [(309, "eTimer")])
        self.module.write_cache([ENTRY])
        self.replace(parse_xml=lambda: 1)
        self.check("createMenu", [(316, "parse_xml"), (318, "load_cache"), (319, "str")])
        for status, line in ((2, 327), (3, 329)):
            self.module.parse_xml = lambda: status
            self.check("createMenu", [(line, "_"), (332, "MessageBox")])

    def test_of_the_keys(self):
        self.module.write_cache([])
        self.check("runMenuEntry", [(338, "len"), (339, "ZirkUpdateInfo")])
        self.check("greenKey", [(303, "UpdatePlugin")])
        self.replace(fileExists=lambda name: True)
        self.check("keyCancel", [(346, "packagetmpfile cache_file"), (347, "fileExists"),
                                 (348, "remove")])

    def test_of_the_top_20(self):
        self.replace(getDownloadStats=lambda: "SKINS\nblue;5", getInstalled=lambda: [])
        self.check("keyYellow", [(216, "getDownloadStats"), (223, "getInstalled"), (246, "_"),
                                 (252, "str")])
        self.replace(getInstalled=lambda: ["enigma2-plugin-skin-blue"])
        self.check("keyYellow", [(246, "_"), (252, "str")])
        self.screen.c_l = []
        self.screen.skins = [("Blue", "x")]
        self.check("selectTop", [(270, "ChoiceBox _")])
        self.check("gotTopSelection", [(281, "_"), (286, "ChoiceBox")], ("Skins", "skins"))
        self.check("exitChoiceBox", [(289, "len"), (292, "IpkgComponent"), (297, "Ipkg")],
                   ("Blue", "blue_install"))
        for suffix, line in (("_installed", 294), ("_install", 296)):
            self.replace(IpkgComponent=Blank(CMD_UPDATE=0))
            self.assertFails(AttributeError, ["AllNews.exitChoiceBox:%d" % line],
                             self.screen.exitChoiceBox, ("Blue", "blue" + suffix))


class DetailNames(NamesTest):

    def setUp(self):
        super(DetailNames, self).setUp()
        self.module.write_cache([ENTRY, ENTRY])
        self.screen = self.box.session.open(self.module.ZirkUpdateInfo)

    def check(self, method, uses, *arguments):
        self.check_uses("ZirkUpdateInfo." + method,
                        lambda: getattr(self.screen, method)(*arguments), *uses)

    def test_of_the_construction(self):
        self.check_uses(
            "ZirkUpdateInfo.__init__", lambda: self.module.ZirkUpdateInfo(self.box.session),
            (354, "Screen"), (356, "_"), (362, "load_cache"), (365, "ScrollLabel"),
            (366, "Label"), (367, "StaticText"), (371, "ActionMap"))

    def test_of_the_texts(self):
        self.check("getHeaderWithDate", [(462, "header"), (463, "str")])
        self.check("getNews", [(454, "str")])
        self.check("nextUpdate", [(423, "len")])
        self.check("greenPressed", [(440, "UpdatePlugin")])
        self.check("updateText", [(436, "_")])

    def test_that_the_guarded_titles_use_may_be_missing_or_fail(self):
        """The texts of the keys, in the next line, are not guarded."""
        self.check("yellowPressed", [(412, "_")])
        self.check("bluePressed", [(402, "_")])

    def test_of_the_guards(self):
        error = KeyError("title")

        class Title(type(self.screen["title"])):
            text = property(None, raising(error))
            setText = raising(error)

        self.screen["title"] = Title()
        self.screen.yellowPressed()
        self.replace(Exception=ValueError)
        self.assertFails(error, ["ZirkUpdateInfo.yellowPressed:409"],
                         self.screen.yellowPressed)
        self.assertFails(error, ["ZirkUpdateInfo.bluePressed:399"],
                         self.screen.bluePressed)

    def test_of_the_updates(self):
        self.check("getUpdates", [(466, "fileExists packagetmpfile"), (467, "Console")])
        self.check("opkg_update_finished", [(475, "Console"), (476, "packagetmpfile")], "", 0)
        self.check("opkg_upgrade_finished", [(480, "fileExists packagetmpfile"), (500, "_")],
                   "", 0)
        with open(self.module.packagetmpfile, "w") as stream:
            stream.write(LISTING)
        self.check("opkg_upgrade_finished", [(481, "open"), (494, "_"), (498, "config")], "", 0)
        open(self.module.packagetmpfile, "w").close()
        self.check("opkg_upgrade_finished", [(496, "_")], "", 0)


class NotifierNames(NamesTest):

    def check(self, method, uses, *arguments):
        notifier = self.module.UpdateNotification()
        notifier.setSession(self.box.session, "/p")
        notifier.upgradable_packages = LISTING
        notifier.Console = None
        notifier.update_timer = Blank(start=lambda *_: None)
        self.check_uses("UpdateNotification." + method,
                        lambda: getattr(notifier, method)(*arguments), *uses)

    def test_of_the_check(self):
        self.check("init_timer", [(556, "eTimer")])
        self.check("check_updates", [(520, "Console")])
        self.check("opkg_update_finished", [(526, "Console")], "", 0)
        self.check("opkg_upgrade_finished",
                   [(541, "config"), (543, "_"),
                    (544, "AddNotificationWithCallback boundFunction MessageBox")], LISTING, 0)
        self.check("opkg_upgrade_finished", [(548, "config")], "", 0)

    def test_of_the_answer(self):
        self.check("show_Kelvaro", [(510, "config"), (514, "open packagetmpfile"),
                                    (517, "AllNews")], True)


class Builtins(ModuleTest):

    def replace_builtin(self, name, value):
        self.box.patch(__builtin__, name, value)

    def test_come_after_the_module(self):
        self.replace_builtin("vumodel", "solo")
        self.assertEqual(self.module.getHeader(), "Zirk 3.1.0 (Vu+ Duo2)\n")
        del self.module.vumodel
        self.assertEqual(self.module.getHeader(), "Zirk 3.1.0 (Vu+ Solo)\n")

    def test_are_looked_up_at_each_use(self):
        opened = []
        real_open = open
        self.replace_builtin("open", lambda *a: opened.append(a[0]) or real_open(*a))
        self.module.write_cache([])
        self.assertEqual(opened, ["/tmp/.updatecache"])

    def test_may_be_shadowed_by_module_names(self):
        self.replace(str=lambda value: "<%s>" % value)
        screen = self.module.ZirkUpdateInfo.__new__(self.module.ZirkUpdateInfo)
        screen.infotxt = ENTRY
        self.assertEqual(screen.getNews(), "* <item>\n    - <text>\n\n")
        self.assertEqual(screen.getHeaderWithDate(), "<%sTitle>" % self.module.header)

    def test_of_the_translation_are_used_at_each_showing(self):
        self.replace_builtin("_", lambda text: text.upper())
        screen = self.box.open_news()
        self.assertEqual(self.box.text("key_red"), "EXIT")
        self.assertEqual(screen.list[0][:2], ("loading", "PLEASE WAIT ..."))
        self.replace(_=lambda text: text.lower())
        self.box.session.open(self.module.AllNews, "/p")
        self.assertEqual(self.box.text("key_red"), "exit")
