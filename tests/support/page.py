"""The page of a simulated receiver in headless Chromium, for the tests and the screenshots."""

import functools
import os
import shutil
import subprocess
import tempfile
import time
import unittest

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import Select

from simulator import SAMPLE_FEED
from simulator.page.pictures import start_browser
from tests.support.machine import PROJECT

SERVER = ["/usr/bin/python3", "-B", "-m", "simulator.page.server"]
PATIENCE = 15  # real seconds until the page must show what is expected

NEWS = """<?xml version="1.0" encoding="UTF-8"?>
<news>
  <update type="urgent"><title>Grüße: update today</title>
    <item><itemtext>First item</itemtext><description>A detail</description></item>
  </update>
  <update type="info"><title>A long entry</title>%s</update>
  <update><title>The oldest entry</title></update>
</news>
""" % "".join("<item><itemtext>Line %d</itemtext></item>" % number for number in range(1, 21))

# What the front screen shows, as plain data; null for the television picture.
FRONT = """
const front = document.querySelector("#texts > *");
if (!front) {
  return null;
}
const text = (element) => element.textContent;
const rows = [...front.querySelectorAll("[role=option]")];
return {
  screen: front.dataset.screen,
  layout: front.dataset.layout,
  title: front.dataset.title,
  texts: Object.fromEntries([...front.querySelectorAll("[data-name]")]
    .map((element) => [element.dataset.name, text(element)])),
  rows: rows.map(text),
  icons: rows.map((row) => row.dataset.icon ?? null),
  selected: rows.filter((row) => row.ariaSelected === "true").map(text),
};
"""


# Lets tests speak as the receiver does, and see how many clocks tick and where the focus has been.
WATCHED = """
window.WebSocket = class extends WebSocket {
  constructor(...about) {
    super(...about);
    window.socket = this;
  }
};
window.ticking = new Set();
{
  const {setInterval, clearInterval} = window;
  window.setInterval = (...about) => {
    const clock = setInterval(...about);
    ticking.add(clock);
    return clock;
  };
  window.clearInterval = (clock) => {
    ticking.delete(clock);
    clearInterval(clock);
  };
}
window.focused = [];
addEventListener("focusin", ({target}) => focused.push(target));
"""


@functools.lru_cache(maxsize=None)
def browser():
    """The browser of all tests of a file, in whose pages WATCHED runs first."""
    driver = start_browser()
    unittest.addModuleCleanup(driver.quit)
    driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": WATCHED})
    return driver


class Server(object):
    """The page's server, with options of ./run: its process and its address."""

    def __init__(self, *options):
        self.process = subprocess.Popen(
            SERVER + list(options), cwd=PROJECT, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            text=True)
        line = self.process.stdout.readline()
        addresses = [word for word in line.split() if word.startswith("http://127.0.0.1:")]
        if not addresses:
            self.close()
            raise RuntimeError("the server has given no address: %r" % line)
        self.address = addresses[0]

    def receiver(self):
        """Return the number of the receiver's process, and of its group."""
        with open("/proc/{0}/task/{0}/children".format(self.process.pid)) as stream:
            child, = stream.read().split()
        return int(child)

    def close(self):
        """End it, unless it has ended; return its exit status."""
        self.process.terminate()
        self.process.stdout.close()
        return self.process.wait()


class Viewer(object):
    """A receiver with its server, and the page that shows it in `driver`.

    options: those of ./run. close() ends the server.
    """

    def __init__(self, driver, *options):
        self.driver = driver
        self.server = Server(*options)
        self.reload()

    def close(self):
        self.server.close()

    # Driving.

    def reload(self):
        """Open the page, anew where it is open, and wait until it has heard from the receiver."""
        self.driver.get(self.server.address)
        self.wait("the model", lambda: self.find("#model").get_attribute("value"))
        self.wait("the picture", lambda: self.find("#said").get_attribute("textContent"))

    def press(self, *keys):
        """Click keys of the remote control, one after the other."""
        for key in keys:
            self.find("[data-key=%s]" % key).click()

    def open_news(self):
        """Open the news browser if nothing is open, and wait until the news has come."""
        if self.front() is None:
            self.press("news")
        self.wait("the list", lambda: len(self.rows()) > 1)

    def pass_time(self, label):
        """Click one of the buttons that let time pass, such as "+ 1 h"."""
        button, = [one for one in self.find_all("#passes button") if one.text.startswith(label)]
        button.click()

    def type(self, *keys):
        """Press keys of the keyboard, wherever the focus is."""
        ActionChains(self.driver).send_keys(*keys).perform()

    def select(self, name, value):
        """Choose in the list with the id `name`."""
        Select(self.find("#" + name)).select_by_value(value)

    def toggle(self, selector):
        self.find(selector).click()

    def receive(self, *events):
        """Have the page hear these events at once, as from the receiver."""
        self.driver.execute_script("""
            for (const event of arguments) {
              const data = JSON.stringify(event);
              socket.dispatchEvent(new MessageEvent("message", {data}));
            }""", *events)

    # Looking.

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def find_all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def front(self):
        """What the front screen shows (see FRONT), None for the television picture."""
        return self.driver.execute_script(FRONT)

    def picture_width(self):
        """How wide the picture is, in the skin's pixels."""
        return int(self.find("#screen").get_attribute("width"))

    def rows(self):
        """The texts of the list in front."""
        return (self.front() or {"rows": []})["rows"]

    def log(self, kind=None):
        """The texts in the log, of one kind or of all."""
        selector = "#entries p" + ("[data-kind=%s]" % kind if kind else "")
        return self.driver.execute_script(
            "return [...document.querySelectorAll(arguments[0] + ' span')]"
            ".map((one) => one.textContent)", selector)

    def wait(self, what, value, expected=None):
        """Wait until value() is true, or `expected` where that is given; return it."""
        deadline = time.time() + PATIENCE
        while True:
            found = value()
            if found == expected if expected is not None else found:
                return found
            if time.time() > deadline:
                raise AssertionError("%s: %r has not become %r"
                                     % (what, found, "true" if expected is None else expected))
            time.sleep(0.02)


class ViewerTest(unittest.TestCase):
    """Tests that share a receiver, whose feed has NEWS, and its page: each leaves the faults, the
    picture's size and the model as they were.

    At its end the page must not have complained in the browser's console.
    """

    @classmethod
    def setUpClass(cls):
        # Without packages: no update is found, about which the receiver would ask meanwhile.
        feed = cls.enterClassContext(tempfile.TemporaryDirectory(prefix="kelvaro-page."))
        shutil.copy(os.path.join(SAMPLE_FEED, "zirkdlstat.txt"), feed)
        with open(os.path.join(feed, "zirknews.xml"), "w", encoding="utf-8") as stream:
            stream.write(NEWS)
        cls.viewer = Viewer(browser(), "--feed", feed)
        cls.addClassCleanup(cls.viewer.close)

    def open_news(self):
        """Open the news browser anew; return the page with the list."""
        if self.viewer.driver.current_url != self.viewer.server.address:
            self.viewer.reload()
        self.viewer.driver.execute_script("""
            document.activeElement.blur();
            document.querySelector("[data-key=cancel]").click();
            document.querySelector("[data-key=cancel]").click();""")
        self.viewer.wait("the television picture", lambda: self.viewer.front() is None)
        self.viewer.open_news()
        return self.viewer

    def tearDown(self):
        self.assertEqual([], browser().get_log("browser"))

    def assert_shows(self, viewer, **expected):
        """The front screen soon shows this: its parts as in FRONT, "texts" as far as named."""

        def shown():
            front = viewer.front() or {"screen": None}
            found = dict((name, front.get(name)) for name in expected)
            if "texts" in expected and found["texts"] is not None:
                found["texts"] = dict((name, found["texts"].get(name))
                                      for name in expected["texts"])
            return found

        viewer.wait("the picture", shown, expected)
