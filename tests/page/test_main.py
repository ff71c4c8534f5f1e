"""The page around the picture: keys, time, faults, the log, access."""

import os
import signal

from selenium.webdriver.common.keys import Keys

from simulator.page.pictures import set_size
from tests.support.page import Viewer, ViewerTest, browser

# Pairs of the page's parts that overlap.
OVERLAPS = """
const parts = [...document.querySelectorAll("header, main section")];
const boxes = parts.map((part) => part.getBoundingClientRect());
const found = [];
boxes.forEach((one, at) => boxes.slice(at + 1).forEach((other, further) => {
  if (one.left < other.right - 1 && other.left < one.right - 1
      && one.top < other.bottom - 1 && other.top < one.bottom - 1) {
    found.push([parts[at].id, parts[at + 1 + further].id]);
  }
}));
return found;
"""

# Clicks the boxes with these names.
SWITCH = "arguments[0].forEach((name) => document.getElementsByName(name)[0].click())"


class PageTest(ViewerTest):

    def test_the_keyboard_works_the_remote_control_until_it_is_switched_off(self):
        viewer = self.open_news()
        rows = viewer.rows()
        viewer.type(Keys.ARROW_DOWN)
        self.assert_shows(viewer, selected=[rows[1]])
        viewer.type(Keys.ENTER)
        self.assert_shows(viewer, screen="ZirkUpdateInfo")
        viewer.type("b")
        self.assert_shows(viewer, texts={"title": "Upgradable Packages"})
        viewer.type(Keys.ESCAPE)
        self.assert_shows(viewer, screen="AllNews", selected=[rows[1]])
        viewer.toggle("#keyboard")
        viewer.type(Keys.ARROW_DOWN)
        viewer.press("ok")
        self.assert_shows(viewer, screen="ZirkUpdateInfo", texts={
            "header": "Zirk 3.1.0 (Vu+ Duo2)\n" + rows[1]})
        viewer.toggle("#keyboard")
        viewer.type(Keys.ESCAPE, "r")
        self.assert_shows(viewer, screen=None)
        viewer.type("n")
        self.assert_shows(viewer, screen="AllNews", selected=[rows[0]])

    def test_the_focused_key_is_pressed_with_enter_and_time_does_not_pass_in_a_choice(self):
        viewer = self.open_news()
        viewer.driver.execute_script("document.querySelector('[data-key=blue]').focus()")
        viewer.type(Keys.ENTER)
        self.assert_shows(viewer, screen="ZirkUpdateInfo", texts={"title": "Upgradable Packages"})
        clock = viewer.find("#clock").text
        viewer.driver.execute_script("document.querySelector('#model').focus()")
        viewer.type("h")
        self.assertEqual(clock[:4], viewer.find("#clock").text[:4])

    def test_time_passes_with_the_buttons_and_another_model_starts_anew(self):
        viewer = self.open_news()
        self.assertEqual(15, len(viewer.find_all("#model option")))
        self.assertEqual("duo2", viewer.find("#model").get_attribute("value"))
        viewer.select("model", "solo4k")
        self.assert_shows(viewer, texts={"header": "Zirk 3.1.0 (Vu+ Solo 4K)\n"})
        for label, clock in (("+ 1 h", "1:00:"), ("+ 24 h", "1 d 1:00:")):
            viewer.pass_time(label)
            viewer.wait("the clock", lambda: viewer.find("#clock").text.startswith(clock))
        viewer.select("model", "duo2")
        self.assert_shows(viewer, texts={"header": "Zirk 3.1.0 (Vu+ Duo2)\n"})
        viewer.wait("the clock", lambda: viewer.find("#clock").text.startswith("0:00:"))

    def test_each_fault_is_switched_by_its_box_and_shown_on_every_page(self):
        viewer = self.open_news()
        names = [box.get_attribute("name") for box in viewer.find_all("#fault-list input")]
        self.assertIn(len(names), (8, 9))  # proot has no /tmp of its own to fill
        for switched in (names[::2], names[1::2]):
            viewer.driver.execute_script(SWITCH, switched)
            viewer.reload()
            viewer.wait("the boxes", lambda: [box.get_attribute("name") for box in viewer.find_all(
                "#fault-list input:checked")], switched)
            viewer.driver.execute_script(SWITCH, switched)

    def test_a_receiver_that_is_blocked_is_shown_to_wait_also_on_a_page_that_comes_later(self):
        viewer = self.open_news()
        viewer.press("ok")
        self.assert_shows(viewer, screen="ZirkUpdateInfo")
        receiver = viewer.server.receiver()
        self.addCleanup(os.killpg, receiver, signal.SIGCONT)
        os.killpg(receiver, signal.SIGSTOP)  # as while it waits for a feed that stalls
        for look in (lambda: None, viewer.reload):
            look()
            viewer.wait("the indication", lambda: viewer.find("#busy").is_displayed())
            self.assertEqual("true", viewer.find("#picture").get_attribute("aria-busy"))
            self.assert_shows(viewer, screen="ZirkUpdateInfo")
        os.killpg(receiver, signal.SIGCONT)
        viewer.wait("the end", lambda: not viewer.find("#busy").is_displayed())

    def test_a_second_wait_does_not_start_a_second_clock(self):
        viewer = self.open_news()
        for event, clocks in (("busy", 1), ("busy", 1), ("idle", 0)):
            viewer.receive({"event": event, "since": 1})
            self.assertEqual(clocks, viewer.driver.execute_script("return ticking.size"))

    def test_the_log_is_shown_until_it_is_cleared(self):
        viewer = self.open_news()
        viewer.wait("the log", lambda: viewer.log("file")[-1:], ["/tmp/.updatecache written"])
        viewer.toggle("#clear")
        self.assertEqual([], viewer.log())

    def test_an_exception_is_logged_with_its_traceback(self):
        viewer = self.open_news()
        viewer.press("cancel")
        self.assert_shows(viewer, screen=None)
        # Before the news has come there is no cache to read.
        viewer.driver.execute_script("""
            document.querySelector("[data-key=news]").click();
            document.querySelector("[data-key=ok]").click();""")
        viewer.wait("the log", lambda: viewer.log("exception"))
        self.assertIn('File "plugin/src/Kelvaro"', viewer.log("exception")[0])
        self.assertIn("restart", viewer.find("#notice").text)
        viewer.press("up")
        self.assertFalse(viewer.find("#notice").is_displayed())

    def test_a_receiver_that_has_gone_is_reported(self):
        viewer = Viewer(browser())
        viewer.server.close()
        viewer.wait("the notice", lambda: "./run" in viewer.find("#notice").text)

    def test_each_control_has_a_name_and_the_focus_goes_through_them_in_order(self):
        viewer = self.open_news()
        viewer.reload()  # nothing is clicked: the focus starts at the top
        controls = viewer.find_all("button, select, input, [tabindex='0']")
        nodes = viewer.driver.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
        focusable = [node for node in nodes if "focusable" in [
            each["name"] for each in node.get("properties", [])]]
        self.assertLess(len(controls), len(focusable))
        self.assertEqual([], [node for node in focusable if not node["name"]["value"]])
        viewer.type(*[Keys.TAB] * len(controls))
        self.assertEqual(controls, viewer.driver.execute_script("return focused"))

    def test_no_part_of_the_page_overlaps_another_in_any_window(self):
        viewer = self.open_news()
        self.addCleanup(set_size, viewer.driver, 1440, 900)
        for width, height in ((1920, 1080), (1440, 900), (1024, 768), (800, 600), (400, 800)):
            set_size(viewer.driver, width, height)
            self.assertEqual([], viewer.driver.execute_script(OVERLAPS), width)
            self.assertLessEqual(viewer.driver.execute_script(
                "return document.documentElement.scrollWidth"), width)
            self.assertGreaterEqual(viewer.find("#picture").rect["width"], min(width, 690) - 60)
