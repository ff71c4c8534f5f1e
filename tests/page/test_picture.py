"""The picture on the page: the receiver's screens, in both sizes."""

import functools
import io
import json
import os
import subprocess
import time
import unittest

from PIL import Image, ImageChops

from simulator.page.pictures import paint
from tests.support.page import PROJECT, ViewerTest, browser

RECORDED = os.path.join(os.path.dirname(os.path.abspath(__file__)), "recorded")
REFERENCE = os.path.join(PROJECT, "tests/simulator/recorded/reference")

TITLES = ["Grüße: update today", "A long entry", "The oldest entry"]

# The opacity of a pixel in the picture.
OPACITY = """
const [x, y] = arguments;
const context = new OffscreenCanvas(1, 1).getContext("2d");
context.drawImage(document.getElementById("screen"), -x, -y);
return context.getImageData(0, 0, 1, 1).data[3];
"""


class PictureTest(ViewerTest):

    def select_size(self, viewer, size):
        viewer.select("picture-size", size)
        viewer.wait("the size", lambda: viewer.picture_width(), int(size))

    def test_the_list_and_a_detail_screen_with_its_pages(self):
        viewer = self.open_news()
        self.assert_shows(
            viewer, screen="AllNews", layout="AllNews", rows=TITLES,
            icons=["urgent", "info", "normal"], selected=TITLES[:1],
            texts={"title": "News about ZIRK", "header": "Zirk 3.1.0 (Vu+ Duo2)\n",
                   "key_red": "Exit", "key_green": "Update", "key_yellow": "Top 20",
                   "key_blue": "show Updates"})
        viewer.press("down", "down")
        self.assert_shows(viewer, selected=TITLES[2:])
        viewer.press("up", "ok")
        self.assert_shows(viewer, screen="ZirkUpdateInfo", layout="ZirkUpdateInfo", texts={
            "header": "Zirk 3.1.0 (Vu+ Duo2)\nA long entry", "key_yellow": " "})
        lines = ["* Line %d" % number for number in range(1, 21)]
        page = viewer.front()["texts"]["update"].count("\n") + 1
        for shown in (lines[:page], lines[-page:]):
            self.assert_shows(viewer, texts={"update": "\n".join(shown)})
            viewer.press("down")
        viewer.press("right")
        self.assert_shows(viewer, texts={"header": "Zirk 3.1.0 (Vu+ Duo2)\nGrüße: update today",
                                         "update": "* First item\n    - A detail"})

    def test_a_window_stands_alone_on_the_television_picture(self):
        viewer = self.open_news()
        viewer.press("yellow")
        self.assert_shows(viewer, screen="ChoiceBox", texts={"text": "Top 20"})
        corner, middle = (2, 2), (640, 370)
        opacity = [viewer.driver.execute_script(OPACITY, *at) for at in (corner, middle)]
        self.assertEqual([0, 255], opacity)
        viewer.press("cancel")
        self.assert_shows(viewer, screen="AllNews")
        self.assertEqual(255, viewer.driver.execute_script(OPACITY, *corner))
        viewer.press("cancel")
        self.assert_shows(viewer, screen=None)
        self.assertEqual(0, viewer.driver.execute_script(OPACITY, *middle))
        self.assertEqual("Television picture", viewer.find("#said").get_attribute("textContent"))

    def test_of_two_pictures_the_last_is_drawn_also_when_the_first_takes_longer(self):
        viewer = self.open_news()
        # What takes longer is a file that has to be fetched.
        late = {"do": "picture", "file": "../television.svg?late", "rect": [0, 0, 9, 9],
                "clip": [0, 0, 9, 9], "mode": "all"}
        viewer.receive(*[{"event": "screen", "size": size, "screens": [], "operations": operations}
                         for size, operations in (([1920, 1080], [late]), ([720, 576], []))])
        viewer.wait("the file", lambda: viewer.driver.execute_script("""
            return performance.getEntriesByType("resource")
              .some(({name, responseEnd}) => name.endsWith("?late") && responseEnd);"""))
        time.sleep(0.2)
        self.assertEqual(720, viewer.picture_width())

    def test_the_size_that_was_chosen_is_shown_on_every_page(self):
        viewer = self.open_news()
        self.addCleanup(self.select_size, viewer, "1280")
        self.select_size(viewer, "1920")
        viewer.reload()
        self.assertEqual("1920", viewer.find("#picture-size").get_attribute("value"))
        self.assertEqual(1920, viewer.picture_width())

    def test_a_skin_without_a_screen_for_it_shows_nothing_and_says_so(self):
        viewer = self.open_news()
        viewer.receive({"event": "screen", "size": [1280, 720], "operations": [], "screens": [
            {"name": "AllNews", "layout": None, "title": "News", "elements": []}]})
        viewer.wait("the notice", lambda: "AllNews" in viewer.find("#notice").text)


class RecordedTest(unittest.TestCase):
    """Our painter paints what a receiver's own did."""

    #: Pixels of a picture that may be far from the recorded ones: edges of letters with an outline.
    FEW = 50
    FAR = 48  # of 255, in some channel

    def test_screens_are_painted_as_recorded(self):
        lists = json.loads(subprocess.check_output(
            ["tools/sandbox", "python2.7", "-O", "-m", "tests.support.painted",
             REFERENCE], cwd=PROJECT))
        names = sorted(name[:-len(".png")] for name in os.listdir(RECORDED)
                       if name.endswith(".png"))
        self.assertEqual(names, sorted(lists["pictures"]))
        browser().get("about:blank")
        *painted, again = paint(browser(), [lists["pictures"][name] for name in names + names[:1]],
                                lists["files"])
        self.assertEqual(painted[0], again)
        for name, (ours, unread) in zip(names, painted):
            self.assertEqual(set(), unread)
            one, other = [self.pixels(source) for source in (
                os.path.join(RECORDED, name + ".png"), io.BytesIO(ours))]
            self.assertEqual(one.size, other.size)
            # A letter's edge may be another step of its mixture, but none that there is not.
            self.assertEqual(*[{opacity for _, opacity in image.getchannel("A").getcolors()}
                               for image in (one, other)], name)
            differing = functools.reduce(ImageChops.lighter,
                                         ImageChops.difference(one, other).split())
            self.assertLess(sum(differing.histogram()[self.FAR + 1:]), self.FEW, name)

    @staticmethod
    def pixels(png):
        """A picture's pixels, without the colours that nobody can see where it is transparent."""
        return Image.open(png).convert("RGBA").convert("RGBa").convert("RGBA")
