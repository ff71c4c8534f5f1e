"""No reference is lost by imports and by the functions of the feed in many rounds."""

import gc
import os
import subprocess
import sys
import urllib2
import weakref
import xml.dom.minidom

from simulator.receiver import Receiver  # before the host's modules
import Screens.Screen
import enigma
from tests.support.balance import ERRORS, LeakTest
from tests.support.model import FUNCTIONS, IMPORTS
from tests.support.receiver import Blank, configure

NEWS = """<news><update type="urgent"><title>One</title>
    <item><itemtext>i</itemtext><description>d</description></item></update>
    <update require="duo2,solo"><title>Two</title><item/></update></news>"""


class Functions(LeakTest):
    """Rounds of what a receiver does, and of what goes wrong there, leave the balance alone."""

    def attempt(self, error, function, *arguments):
        try:
            function(*arguments)
        except error:
            sys.exc_clear()
        else:
            self.fail("no %r" % (error,))

    def serve(self, document):
        """Let the next downloads give this document, or raise it when it is an exception."""
        configure("src/gz Zirk-all http://feed.example/all\n")

        def urlopen(*_):
            if isinstance(document, Exception):
                raise document
            return Blank(read=lambda: document)

        self.module.urllib2 = Blank(urlopen=urlopen, HTTPError=urllib2.HTTPError,
                                    URLError=urllib2.URLError)

    def test_of_the_feed(self):
        module = self.module
        element = xml.dom.minidom.parseString("<e require='a,b'/>").documentElement

        def once():
            for document in (NEWS, "<news/>", "plain text", "<update><title/></update>",
                             "<update/>", "<update require='solo'/>", ERRORS[2], ERRORS[3]):
                self.serve(document)
                module.getDownloadStats()
                try:
                    module.parse_xml()
                    module.write_cache(module.load_cache())
                except (IndexError, AttributeError):
                    sys.exc_clear()
            module.newsURL(f_name="x")
            module.skip_entry(element)
            module.skip_entry(entry=element)
            module.getHeader()
            os.remove(module.cache_file)
            self.attempt(IOError, module.load_cache)
            module.cache_file = "/tmp/missing/too/news"
            self.attempt(IOError, module.write_cache, [])
            module.cache_file = "/tmp/.updatecache"
            self.attempt(AttributeError, module.skip_entry, None)

        self.check(once, 150)

    def test_of_a_real_server(self):
        # In a process of its own: here its threads would move what is counted.
        with open("/tmp/zirknews.xml", "w") as stream:
            stream.write(NEWS)
        server = subprocess.Popen([sys.executable, "-m", "simulator.feedserver", "/tmp"],
                                  stdout=subprocess.PIPE)
        self.addCleanup(server.wait)
        self.addCleanup(server.terminate)
        configure(server.stdout.readline())
        server.stdout.close()

        def once():
            self.assertEqual(self.module.parse_xml(), 1)
            self.assertIsNone(self.module.getDownloadStats())

        self.check(once, 100)

    def test_of_the_installed_packages(self):
        self.check(self.module.getInstalled, 3)

    def test_of_texts(self):
        """So many rounds that a single lost text of each would show in the memory."""
        def leave_packages(command):
            with open(self.module.packageinstalledfile, "w") as stream:
                stream.write("one\ntwo\n")

        self.serve(NEWS)
        self.box.patch(os, "system", leave_packages)
        screen = self.module.ZirkUpdateInfo.__new__(self.module.ZirkUpdateInfo)
        screen.infotxt = (u"Title", [(u"item", [u"one", u"two"])], "normal")
        error = KeyError("host")

        def failing_getNews():
            screen.infotxt = (u"Title", [(u"item", failing_texts())], "normal")
            self.attempt(KeyError, screen.getNews)

        def failing_texts():
            yield u"one"
            raise error

        for call in (self.module.newsURL, self.module.getDownloadStats, self.module.getHeader,
                     self.module.getInstalled, screen.getNews, screen.getHeaderWithDate,
                     failing_getNews):
            self.check(call, 4000)

    def test_of_wrong_arguments(self):
        functions = [getattr(self.module, name) for _, name, _ in FUNCTIONS] + [
            self.module.AllNews, self.module.ZirkUpdateInfo, self.module.UpdateNotification,
            self.module.update_notification.setSession, self.module.AllNews.keyCancel]

        def once():
            for function in functions:
                self.attempt(TypeError, function, 1, 2, 3, 4, 5, 6)
                self.attempt(TypeError, lambda: function(unknown=1))
                self.attempt(TypeError, lambda: function(**{u"\xe4": 1}))

        self.check(once, 500)

    def test_of_binding(self):
        class User(object):
            address = self.module.newsURL

        def once():
            getattr(User, "address")
            getattr(User(), "address")
            getattr(self.module.update_notification, "init_timer")
            repr(self.module.newsURL)

        self.check(once, 1000)


class Ends(LeakTest):
    """What is given up is freed."""

    def test_notifiers_are_freed_with_their_last_reference(self):
        notifier = self.module.UpdateNotification()
        notifier.setSession(1, 2)
        reference = weakref.ref(notifier)
        del notifier
        self.assertIsNone(reference())

    def test_bound_methods_keep_their_object_and_no_longer(self):
        notifier = self.module.UpdateNotification()
        reference = weakref.ref(notifier)
        method = notifier.setSession
        del notifier
        method(1, 2)
        self.assertEqual(vars(reference()), {"session": 1, "plugin_path": 2})
        del method
        self.assertIsNone(reference())


class Imports(LeakTest):
    """A failed import gives everything back that it had made."""

    def setUp(self):
        super(Imports, self).setUp()
        self.box = Receiver(fresh=True, load=False, plugin_package=False)
        self.addCleanup(self.box.close)

    def test_that_fail_at_the_end_free_functions_and_classes(self):
        references = {}

        class Meta(type):
            def __init__(cls, name, bases, namespace):
                type.__init__(cls, name, bases, namespace)
                if name == "ZirkUpdateInfo":
                    for other in ("parse_xml", "newsURL", "AllNews"):
                        references[other] = weakref.ref(getattr(sys.modules["Kelvaro"], other))
                    raise KeyError("host")

        self.box.patch(Screens.Screen, "Screen", Meta("Screen", (dict,), {}))
        self.attempt()
        gc.collect()
        self.assertEqual([(name, reference()) for name, reference in sorted(references.items())],
                         [("AllNews", None), ("newsURL", None), ("parse_xml", None)])

    def attempt(self):
        try:
            self.box.load()
        except (KeyError, ImportError, TypeError):
            sys.exc_clear()
        else:
            self.fail("the import succeeded")

    def test_that_fail_over_and_over_leave_the_balance_alone(self):
        __import__("UpgradeZirk")
        places = [(name, names[0].split()[0]) for _, name, names in IMPORTS if names]
        places = [place for place in places if place[0] not in ("os", "cPickle")]

        def once():
            for module, name in places:
                __import__(module)
                value = getattr(sys.modules[module], name)
                delattr(sys.modules[module], name)
                self.attempt()
                setattr(sys.modules[module], name, value)
            for owner, name in ((enigma, "getZirkVersionString"), (Screens.Screen, "Screen")):
                value = getattr(owner, name)
                setattr(owner, name, None)
                self.attempt()
                setattr(owner, name, value)

        self.check(once, 20)
