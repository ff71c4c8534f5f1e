"""The rows of a chooser: each with its text and, where it has a key, that key's icon."""

import skin
from Components.MenuList import MenuList
from painting.pictures import picture

TEXT, PIXMAP = "text", "pixmap alphatest"


class ChoiceList(MenuList):
    """list: tuples whose first part is the text. keys: names of keys, "" for none, one a row."""

    KIND = "list"

    def __init__(self, list, keys):
        MenuList.__init__(self, list)
        self._keys = keys

    def postWidgetCreate(self, instance):
        MenuList.postWidgetCreate(self, instance)
        self._alias = skin.aliases.get("ChoiceList", ("Regular", 20, 25, 20))
        instance.itemHeight = self._alias[2]
        instance.scrollbarMode = "showOnDemand"

    def template(self, number=0):
        """What row `number` consists of; rows of this list bring that themselves."""
        if not self.list:
            return None
        left, top, width, height = skin.parameters.get("ChoicelistName", [45, 0, 800, 25])
        entries = [{"kind": TEXT, "font": 0, "flags": 1, "value": self.list[number][0],
                    "rect": [left, top, width, height]}]
        key = (self._keys[number:number + 1] or [""])[0]
        path = skin.find("skin_default/buttons/key_%s.png" % key)
        if picture(path):
            place = skin.parameters.get("ChoicelistIcon", [5, 0, 35, 25])
            entries.insert(0, {"kind": PIXMAP, "flags": 0, "value": skin.from_share(path),
                               "rect": place})
        return {"itemHeight": self._alias[2], "fonts": [list(self._alias[:2])], "entries": entries}

    def rows(self):
        """The rows as the compiled list gets them: each with what it consists of."""
        return [[row] + self.template(number)["entries"] for number, row in enumerate(self.list)]
