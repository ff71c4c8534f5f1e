# -*- coding: utf-8 -*-
"""The news browser when a part of the host fails while the screen is made."""

import unittest

from tests.support.receiver import WAIT, Broken, ReceiverTest, breaking_at, raising, refusing
from tests.plugin.test_all_news import WIDGETS

from Screens.Screen import Screen


class Construction(ReceiverTest):
    """Each step of the constructor may fail; what was made so far stays made."""

    def assertConstructionFails(self, line, widgets, error=Broken, screen_class=None):
        screen_class = screen_class or self.module.AllNews
        screen = screen_class.__new__(screen_class)
        self.assertFails(error, ["AllNews.__init__:%d" % line],
                         screen.__init__, self.box.session, "/path")
        self.assertEqual(set(screen), set(WIDGETS[:widgets]))
        return screen

    def test_of_the_base_class(self):
        self.box.patch(Screen, "__init__", raising())
        screen = self.assertConstructionFails(178, 0)
        self.assertEqual(vars(screen), {})

    def test_of_each_attribute(self):
        for name, line, widgets in [
                ("skinName", 179, 0), ("skin_path", 180, 0), ("session", 181, 0),
                ("title", 182, 0), ("png_normal", 184, 1), ("png_info", 185, 1),
                ("png_urgent", 186, 1), ("list", 187, 1)]:
            mine = refusing(self.module.AllNews, attribute=name)
            self.assertConstructionFails(line, widgets, screen_class=mine)

    def test_of_each_text(self):
        for text, line, widgets in [
                ("News about ZIRK", 182, 0), (WAIT, 187, 1), ("Exit", 191, 4),
                ("Update", 192, 5), ("show Updates", 193, 6), ("Top 20", 194, 7)]:
            self.boot()
            self.note_texts(broken=text)
            self.assertConstructionFails(line, widgets)

    def test_of_each_widget(self):
        lines = [("StaticText", 1, 183, 0), ("List", 1, 188, 1), ("Label", 1, 189, 2),
                 ("Label", 2, 190, 3), ("StaticText", 2, 191, 4), ("StaticText", 3, 192, 5),
                 ("StaticText", 4, 193, 6), ("StaticText", 5, 194, 7), ("StaticText", 6, 195, 8),
                 ("ActionMap", 1, 196, 9)]
        for name, count, line, widgets in lines:
            self.boot()
            self.replace(**{name: breaking_at(count, getattr(self.module, name))})
            self.assertConstructionFails(line, widgets)

    def test_of_each_registration(self):
        lines = [183, 188, 189, 190, 191, 192, 193, 194, 195, 196]
        for count, (name, line) in enumerate(zip(WIDGETS, lines)):
            mine = refusing(self.module.AllNews, widget=name)
            self.assertConstructionFails(line, count, screen_class=mine)

    def test_of_each_icon(self):
        for name in ("LoadPixmap", "resolveFilename"):
            for count in (1, 2, 3):
                self.boot()
                self.replace(**{name: breaking_at(count, getattr(self.module, name))})
                screen = self.assertConstructionFails(183 + count, 1)
                icons = ["png_normal", "png_info", "png_urgent"]
                self.assertEqual([hasattr(screen, icon) for icon in icons],
                                 [number < count - 1 for number in range(3)])

    def test_of_a_missing_name(self):
        for name, line, widgets in [("Screen", 178, 0), ("SCOPE_PLUGINS", 184, 1),
                                    ("header", 190, 3)]:
            self.boot()
            self.unbind(name)
            self.assertConstructionFails(line, widgets, error=NameError)

    def test_of_a_missing_key_method(self):
        def lacking(screen, name):
            if name == "greenKey":
                raise AttributeError(name)
            return object.__getattribute__(screen, name)
        mine = type("Mine", (self.module.AllNews,), {"__getattribute__": lacking})
        self.assertConstructionFails(196, 9, error=AttributeError, screen_class=mine)

    def test_of_the_layout_callback(self):
        self.box.patch(Screen, "onLayoutFinish", property(raising(), lambda *_: None))
        self.assertConstructionFails(205, 10)


if __name__ == "__main__":
    unittest.main()
