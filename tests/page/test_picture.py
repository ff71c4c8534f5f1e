"""The picture on the page: the receiver's screens, in both sizes."""

import unittest

from tests.support.page import ViewerTest

NEWS = """<?xml version="1.0" encoding="UTF-8"?>
<news>
  <update type="urgent"><title>Grüße: update today</title>
    <item><itemtext>First item</itemtext><description>A detail</description></item>
  </update>
  <update type="info"><title>A long entry</title>%s</update>
  <update><title>The oldest entry</title></update>
</news>
""" % "".join("<item><itemtext>Line %d</itemtext></item>" % number for number in range(1, 21))
TITLES = ["Grüße: update today", "A long entry", "The oldest entry"]

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

# Name and rectangle of each element in the picture.
PLACES = """
return [...document.querySelectorAll(".screen [data-name]")].map((element) => {
  const {left, top, width, height} = element.getBoundingClientRect();
  return [element.dataset.name, left, top, width, height];
});
"""


class PictureTest(ViewerTest):

    def select_size(self, viewer, size):
        viewer.select("picture-size", size)
        viewer.wait("the size", lambda: viewer.picture_width(), int(size))

    def test_the_list_and_a_detail_screen_with_its_pages(self):
        viewer = self.open_news("--feed", self.feed(NEWS))
        self.assert_shows(
            viewer, screen="AllNews", layout="AllNews", rows=TITLES,
            icons=["urgent", "info", "normal"], selected=TITLES[:1],
            texts={"title": "News about ZIRK", "header": "Zirk 3.1.0 (Vu+ Duo2)\n",
                   "key_red": "Exit", "key_green": "Update", "key_yellow": "Top 20",
                   "key_blue": "show Updates"})
        viewer.press("down", "down")
        self.assert_shows(viewer, selected=TITLES[2:])
        viewer.press("up", "ok")
        first = "\n".join("* Line %d" % number for number in range(1, 17))
        self.assert_shows(viewer, screen="ZirkUpdateInfo", layout="ZirkUpdateInfo", texts={
            "header": "Zirk 3.1.0 (Vu+ Duo2)\nA long entry", "update": first, "key_yellow": " "})
        viewer.press("down")
        self.assert_shows(viewer, texts={
            "update": "\n".join("* Line %d" % number for number in range(5, 21))})
        viewer.press("right")
        self.assert_shows(viewer, texts={"header": "Zirk 3.1.0 (Vu+ Duo2)\nGrüße: update today",
                                         "update": "* First item\n    - A detail"})
        self.assertEqual([], viewer.find_all("[data-name=update] .scrollbar"))

    def test_a_window_stands_over_the_screens_below_until_the_television_picture_is_left(self):
        viewer = self.open_news()
        viewer.press("yellow")
        self.assert_shows(viewer, screen="ChoiceBox", title="Select")
        below, front = viewer.find_all("#screens > *")
        self.assertEqual("true", below.get_attribute("aria-hidden"))
        self.assertIsNone(front.get_attribute("aria-hidden"))
        viewer.press("cancel", "cancel")
        self.assert_shows(viewer, screen=None)
        self.assertEqual("Television picture", viewer.find("#said").get_attribute("textContent"))

    def test_both_sizes_put_everything_in_the_same_place_of_the_picture(self):
        viewer = self.open_news()
        viewer.press("yellow")  # a window, over what fills the picture
        self.assert_shows(viewer, screen="ChoiceBox")
        places = []
        for size in ("1280", "1920"):
            self.select_size(viewer, size)
            places.append(viewer.driver.execute_script(PLACES))
        self.assertEqual(10, len(places[0]))
        for small, large in zip(*places):
            self.assertEqual(small[0], large[0])
            for one, other in zip(small[1:], large[1:]):
                self.assertAlmostEqual(one, other, delta=1)
        # The receiver has told all that is drawn.
        self.assertEqual([], viewer.driver.execute_script("""
            return performance.getEntriesByType("resource")
              .filter(({initiatorType}) => initiatorType === "fetch").map(({name}) => name);"""))

    def test_the_size_that_was_chosen_is_shown_on_every_page(self):
        viewer = self.open_news()
        self.select_size(viewer, "1920")
        viewer.reload()
        self.assertEqual("1920", viewer.find("#picture-size").get_attribute("value"))
        self.assertEqual(1920, viewer.picture_width())

    def test_texts_fit_their_places_in_every_screen_size_and_skin(self):
        viewer = self.open_news("--language", "de")  # whose words are longer
        for size in ("1280", "1920"):
            self.select_size(viewer, size)
            for keys, layout in (([], "AllNews"), (["ok"], "ZirkUpdateInfo"),
                                 (["green"], "UpdatePlugin"),
                                 (["red", "red", "yellow"], "ChoiceBox"),
                                 (["cancel"], "AllNews"), (None, "BackupSuite")):
                if keys is None:
                    viewer.toggle("#fallback")
                else:
                    viewer.press(*keys)
                self.assert_shows(viewer, layout=layout)
                self.assertEqual([], viewer.driver.execute_script(CUT_OFF), layout)
            self.assert_shows(viewer, screen="AllNews", title="Neues von ZIRK")
            viewer.toggle("#fallback")


if __name__ == "__main__":
    unittest.main()
