"""What the page offers beside the remote control: models, sizes, faults, time, keys, access."""

import unittest

from selenium.webdriver.common.keys import Keys

from tests.support.page import ViewerTest, set_size

# Texts of elements that do not fit into their place, or stand outside of the screen.
CUT_OFF = """
const screen = document.querySelector("#screens > :last-child");
const outer = screen.getBoundingClientRect();
return [...screen.querySelectorAll(".label, .list, .item")].filter((element) => {
  const inner = element.getBoundingClientRect();
  return element.scrollWidth > element.clientWidth || element.scrollHeight > element.clientHeight
    || inner.left < outer.left || inner.right > outer.right + 1
    || inner.top < outer.top || inner.bottom > outer.bottom + 1;
}).map((element) => element.textContent);
"""

# Texts on the page whose colours are too near to each other (WCAG 2, level AA).
LOW_CONTRAST = """
const colour = (text) => text.match(/[\\d.]+/g).map(Number);
const light = ([red, green, blue]) => {
  const [r, g, b] = [red, green, blue].map((part) => (
    part / 255 <= 0.04045 ? part / 255 / 12.92 : ((part / 255 + 0.055) / 1.055) ** 2.4));
  return 0.2126 * r + 0.7152 * g + 0.0722 * b;
};
const behind = (element) => {
  for (let at = element; at; at = at.parentElement) {
    const found = colour(getComputedStyle(at).backgroundColor);
    if (found.length === 3 || found[3] === 1) {
      return found;
    }
  }
  return [255, 255, 255];
};
return [...document.body.querySelectorAll("*")].filter((element) => {
  const own = [...element.childNodes].some((node) => node.nodeType === 3 && node.data.trim());
  if (!own || element.closest("script, option") || !element.checkVisibility()) {
    return false;
  }
  const [low, high] = [light(colour(getComputedStyle(element).color)), light(behind(element))]
    .sort((one, other) => one - other);
  return (high + 0.05) / (low + 0.05) < 4.5;
}).map((element) => element.outerHTML);
"""

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


class PageTest(ViewerTest):

    def open_news(self, *options):
        """Start a receiver; return its page, with the list in the picture."""
        viewer = self.start(*options)
        viewer.open_news()
        return viewer

    def test_another_model_starts_anew_and_sees_its_own_news(self):
        viewer = self.open_news("--model", "duo2")
        models = [option.text for option in viewer.find_all("#model option")]
        self.assertEqual(15, len(models))
        self.assertEqual("duo2", viewer.find("#model").get_attribute("value"))
        viewer.select("model", "solo4k")
        viewer.wait("the picture", lambda: "(Vu+ Solo 4K)" in (
            viewer.front() or {"texts": {}})["texts"].get("header", ""))
        viewer.wait("the list", lambda: len(viewer.rows()) > 1)

    def test_both_sizes_put_everything_in_the_same_place_of_the_picture(self):
        viewer = self.open_news()
        viewer.press("yellow")  # a window, over what fills the picture
        self.assert_shows(viewer, screen="ChoiceBox")
        places = []
        for size in ("1280", "1920"):
            viewer.select("picture-size", size)
            viewer.wait("the size", lambda: viewer.driver.execute_script(
                "return document.getElementById('screens').offsetWidth"), int(size))
            places.append(viewer.driver.execute_script("""
                return [...document.querySelectorAll(".screen [data-name]")].map((element) => {
                  const {left, top, width, height} = element.getBoundingClientRect();
                  return [element.dataset.name, left, top, width, height];
                });"""))
        self.assertEqual(9, len(places[0]))
        for small, large in zip(*places):
            self.assertEqual(small[0], large[0])
            for one, other in zip(small[1:], large[1:]):
                self.assertAlmostEqual(one, other, delta=1)

    def test_texts_fit_their_places_in_every_screen_and_size(self):
        viewer = self.open_news("--language", "de")  # whose words are longer
        for size in ("1280", "1920"):
            viewer.select("picture-size", size)
            for keys, screen in (([], "AllNews"), (["ok"], "ZirkUpdateInfo"),
                                 (["green"], "UpdatePlugin"),
                                 (["red", "red", "yellow"], "ChoiceBox"),
                                 (["cancel"], "AllNews")):
                viewer.press(*keys)
                self.assert_shows(viewer, screen=screen)
                self.assertEqual([], viewer.driver.execute_script(CUT_OFF), screen)

    def test_a_list_longer_than_its_place_shows_the_page_of_the_cursor(self):
        viewer = self.open_news()
        self.assertEqual(9, len(viewer.rows()))  # of 12, in a place for 9
        thumb = viewer.find(".list .scrollbar div").rect
        viewer.press(*["down"] * 9)
        viewer.wait("the second page", lambda: len(viewer.rows()), 3)
        self.assert_shows(viewer, selected=viewer.rows()[:1])
        self.assertGreater(viewer.find(".list .scrollbar div").rect["y"], thumb["y"])

    def test_without_all_news_the_skin_s_backup_suite_takes_its_place(self):
        viewer = self.open_news()
        rows = viewer.rows()
        viewer.toggle("#fallback")
        self.assert_shows(viewer, screen="AllNews", layout="BackupSuite", title="News about ZIRK")
        # That one's list is shorter, and it has no header.
        self.assertEqual(rows[:8], viewer.rows())
        self.assertNotIn("header", viewer.front()["texts"])
        self.assertEqual("show Updates", viewer.front()["texts"]["key_blue"])
        self.assertEqual([], viewer.driver.execute_script(CUT_OFF))
        viewer.toggle("#fallback")
        self.assert_shows(viewer, layout="AllNews")

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

    def test_the_buttons_let_time_pass(self):
        viewer = self.open_news()
        for label, clock in (("+ 1 h", "1:00:"), ("+ 24 h", "1 d 1:00:")):
            viewer.pass_time(label)
            viewer.wait("the clock", lambda: viewer.find("#clock").text.startswith(clock))

    def test_the_log_says_what_the_module_did(self):
        viewer = self.open_news()
        for kind, part in (("request", "zirknews.xml"), ("file", "/tmp/.updatecache"),
                           ("timer", "100")):
            viewer.wait("the log", lambda: [text for text in viewer.log(kind) if part in text])
        viewer.press("blue")
        viewer.wait("the log", lambda: viewer.log("command")[:1] == ["opkg update"])
        viewer.wait("the log", lambda: [text for text in viewer.log("configuration")
                                        if "update_available" in text])
        viewer.toggle("#clear")
        self.assertEqual([], viewer.log())

    def test_an_exception_is_logged_with_its_traceback(self):
        viewer = self.open_news()
        viewer.press("cancel")
        self.assert_shows(viewer, screen=None)
        # Before the news have come there is no cache to read.
        viewer.driver.execute_script("""
            document.querySelector("[data-key=news]").click();
            document.querySelector("[data-key=ok]").click();""")
        viewer.wait("the log", lambda: viewer.log("exception"))
        self.assertIn('File "plugin/src/Kelvaro"', viewer.log("exception")[0])
        self.assertIn("restart", viewer.find("#notice").text)
        viewer.press("up")
        self.assertFalse(viewer.find("#notice").is_displayed())

    def test_a_receiver_that_has_gone_is_reported(self):
        viewer = self.open_news()
        viewer.server.close()
        viewer.wait("the notice", lambda: "./run" in viewer.find("#notice").text)

    def test_each_control_has_a_name_and_the_focus_goes_through_them_in_order(self):
        viewer = self.start()  # nothing is clicked: the focus starts at the top
        controls = viewer.find_all("button, select, input, [tabindex='0']")
        self.assertEqual([], [one.get_attribute("outerHTML") for one in controls
                              if not one.accessible_name])
        order = []
        for _ in controls:
            viewer.type(Keys.TAB)
            order.append(viewer.driver.switch_to.active_element)
        self.assertEqual(controls, order)

    def test_colours_are_far_enough_apart(self):
        viewer = self.open_news()
        self.assertEqual([], viewer.driver.execute_script(LOW_CONTRAST))
        viewer.press("yellow")
        self.assert_shows(viewer, screen="ChoiceBox")
        self.assertEqual([], viewer.driver.execute_script(LOW_CONTRAST))

    def test_no_part_of_the_page_overlaps_another_in_any_window(self):
        viewer = self.open_news()
        self.addCleanup(set_size, self.driver, 1440, 900)
        for width, height in ((1920, 1080), (1440, 900), (1024, 768), (800, 600), (400, 800)):
            set_size(self.driver, width, height)
            self.assertEqual([], self.driver.execute_script(OVERLAPS), width)
            self.assertLessEqual(self.driver.execute_script(
                "return document.documentElement.scrollWidth"), width)
            self.assertGreaterEqual(viewer.find("#picture").rect["width"], min(width, 690) - 60)


class FaultTest(ViewerTest):

    NOT_ANALYSED = ("The news file can not be analyzed, please be patient and try again later")
    NO_CONNECTION = "It seems that your Internet connection is not ok, please check it"

    def start_with(self, fault):
        """Start a receiver, let this go wrong, and open the news anew."""
        viewer = self.start()
        viewer.open_news()
        viewer.press("cancel")
        self.assert_shows(viewer, screen=None)
        viewer.toggle("[name=%s]" % fault)
        viewer.press("news")
        return viewer

    def test_a_server_that_is_down_or_malformed_news_are_reported_alike(self):
        for fault in ("down", "malformed"):
            viewer = self.start_with(fault)
            self.assert_shows(viewer, screen="MessageBox", texts={"text": self.NOT_ANALYSED})
            self.assertTrue(viewer.front()["title"].startswith("Error ("))

    def test_a_missing_document_is_reported_as_no_connection_until_it_is_back(self):
        viewer = self.start_with("not-found")
        self.assert_shows(viewer, screen="MessageBox", texts={"text": self.NO_CONNECTION})
        viewer.press("ok", "red")
        self.assert_shows(viewer, screen=None)
        viewer.toggle("[name=not-found]")
        viewer.open_news()

    def test_a_stalled_server_blocks_the_receiver_and_the_page_says_so(self):
        viewer = self.start_with("stalled")
        viewer.wait("the indication", lambda: viewer.find("#busy").is_displayed())
        self.assertEqual("true", viewer.find("#picture").get_attribute("aria-busy"))
        self.assert_shows(viewer, screen="AllNews", rows=["Please wait ..."])
        viewer.wait("the end", lambda: not viewer.find("#busy").is_displayed())

    def test_without_opkg_the_list_of_updates_says_that_there_are_none(self):
        viewer = self.start_with("no-opkg")
        viewer.open_news()
        viewer.press("blue")
        self.assert_shows(viewer, texts={"update": "\nYour System is up to date"})

    def test_a_package_that_fails_to_install_is_reported_by_the_installer(self):
        viewer = self.start_with("failing-package")
        viewer.open_news()
        viewer.press("yellow")
        self.assert_shows(viewer, screen="ChoiceBox")
        viewer.press("ok")
        self.assert_shows(viewer, title="Top 20 - Extensions")
        install, = [number for number, row in enumerate(viewer.rows())
                    if row.endswith("Install")][:1]
        viewer.press(*["down"] * install + ["ok"])
        self.assert_shows(viewer, screen="Ipkg", texts={"status": "Done, with errors"})


if __name__ == "__main__":
    unittest.main()
