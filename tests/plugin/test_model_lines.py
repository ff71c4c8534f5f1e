"""The model stands line by line where the module's tracebacks say it does."""

import dis
import types
import unittest

from tests.support import twins

# The first line of each function and class.
FIRST_LINES = {
    "getInstalled": 41, "getHeader": 51, "write_cache": 88, "load_cache": 98, "newsURL": 104,
    "skip_entry": 112, "getDownloadStats": 119, "parse_xml": 130,
    "AllNews": 176,
    "AllNews.__init__": 177, "AllNews.keyYellow": 215, "AllNews.selectTop": 269,
    "AllNews.gotTopSelection": 272, "AllNews.exitChoiceBox": 288,
    "AllNews.ipkg_action_finished": 299, "AllNews.greenKey": 302, "AllNews.blueKey": 305,
    "AllNews.setMenu": 308, "AllNews.createMenu": 314, "AllNews.runMenuEntry": 336,
    "AllNews.setMenuIndex": 341, "AllNews.keyCancel": 344,
    "ZirkUpdateInfo": 351,
    "ZirkUpdateInfo.__init__": 352, "ZirkUpdateInfo.getText": 387,
    "ZirkUpdateInfo.bluePressed": 397, "ZirkUpdateInfo.yellowPressed": 407,
    "ZirkUpdateInfo.pageUp": 416, "ZirkUpdateInfo.pageDown": 419,
    "ZirkUpdateInfo.nextUpdate": 422, "ZirkUpdateInfo.prevUpdate": 427,
    "ZirkUpdateInfo.updateText": 432, "ZirkUpdateInfo.greenPressed": 439,
    "ZirkUpdateInfo.closeNews": 442, "ZirkUpdateInfo.getNews": 450,
    "ZirkUpdateInfo.getHeaderWithDate": 461, "ZirkUpdateInfo.getUpdates": 465,
    "ZirkUpdateInfo.opkg_update_finished": 473, "ZirkUpdateInfo.opkg_upgrade_finished": 479,
    "UpdateNotification": 504,
    "UpdateNotification.setSession": 505, "UpdateNotification.show_Kelvaro": 509,
    "UpdateNotification.check_updates": 519, "UpdateNotification.opkg_update_finished": 524,
    "UpdateNotification.opkg_upgrade_finished": 530, "UpdateNotification.init_timer": 555,
}

# The lines of the statements inside each function; `try` and `except` lines hold code too.
STATEMENTS = {
    "getInstalled": "42-49",
    "getHeader": "52-84",
    "write_cache": "89-96",
    "load_cache": "99-102",
    "newsURL": "105-110",
    "skip_entry": "113-117",
    "getDownloadStats": "120-127",
    "parse_xml": "131-170",
    "AllNews.__init__": "178-196 205",
    "AllNews.keyYellow": "216-231 233-249 251-266",
    "AllNews.selectTop": "270",
    "AllNews.gotTopSelection": "273-286",
    "AllNews.exitChoiceBox": "289-297",
    "AllNews.ipkg_action_finished": "300",
    "AllNews.greenKey": "303",
    "AllNews.blueKey": "306",
    "AllNews.setMenu": "309-311",
    "AllNews.createMenu": "315-332",
    "AllNews.runMenuEntry": "337-339",
    "AllNews.setMenuIndex": "342",
    "AllNews.keyCancel": "345-349",
    "ZirkUpdateInfo.__init__": "353-371 383-384",
    "ZirkUpdateInfo.getText": "388-395",
    "ZirkUpdateInfo.bluePressed": "398-405",
    "ZirkUpdateInfo.yellowPressed": "408-414",
    "ZirkUpdateInfo.pageUp": "417",
    "ZirkUpdateInfo.pageDown": "420",
    "ZirkUpdateInfo.nextUpdate": "423-425",
    "ZirkUpdateInfo.prevUpdate": "428-430",
    "ZirkUpdateInfo.updateText": "433-437",
    "ZirkUpdateInfo.greenPressed": "440",
    "ZirkUpdateInfo.closeNews": "443-448",
    "ZirkUpdateInfo.getNews": "451-459",
    "ZirkUpdateInfo.getHeaderWithDate": "462-463",
    "ZirkUpdateInfo.getUpdates": "466-469 471",
    "ZirkUpdateInfo.opkg_update_finished": "474-477",
    "ZirkUpdateInfo.opkg_upgrade_finished": "480-496 498 500-501",
    "UpdateNotification.setSession": "506-507",
    "UpdateNotification.show_Kelvaro": "510-517",
    "UpdateNotification.check_updates": "520-522",
    "UpdateNotification.opkg_update_finished": "525-528",
    "UpdateNotification.opkg_upgrade_finished": "531-544 546 548-551",
    "UpdateNotification.init_timer": "556-558",
}

# The lines of the module itself: imports and values.
IMPORTS = range(8, 35)
VALUES = [36, 37, 38, 39, 86, 560]


def lines(ranges):
    """The line numbers of a text such as "42-44 46"."""
    numbers = []
    for first, last in [(part.split("-") * 2)[:2] for part in ranges.split()]:
        numbers.extend(range(int(first), int(last) + 1))
    return numbers


def codes(code, prefix=""):
    """(name, code object) of every function and class below a code object."""
    for constant in code.co_consts:
        if isinstance(constant, types.CodeType) and not constant.co_name.startswith("__os"):
            name = prefix + constant.co_name
            yield name, constant
            for inner in codes(constant, name + "."):
                yield inner


class ModelLines(unittest.TestCase):
    def setUp(self):
        self.module_code = compile(twins.model_tree(), twins.MODEL, "exec")
        self.codes = dict(codes(self.module_code))

    def executable(self, code):
        return sorted(set(line for _, line in dis.findlinestarts(code)))

    def test_functions_and_classes_start_on_their_lines(self):
        self.assertEqual(dict((name, code.co_firstlineno) for name, code in self.codes.items()),
                         FIRST_LINES)

    def test_statements_stand_on_their_lines(self):
        for name, ranges in sorted(STATEMENTS.items()):
            self.assertEqual((name, self.executable(self.codes[name])), (name, lines(ranges)))

    def test_every_function_has_its_statements_listed(self):
        self.assertEqual(sorted(set(self.codes) - set(STATEMENTS)),
                         ["AllNews", "UpdateNotification", "ZirkUpdateInfo"])

    def test_imports_values_and_definitions_stand_on_their_lines(self):
        definitions = [line for name, line in FIRST_LINES.items() if "." not in name]
        found = [line for line in self.executable(self.module_code)
                 if IMPORTS[0] <= line <= VALUES[-1]]
        self.assertEqual(found, sorted(IMPORTS + VALUES + definitions))

    def test_methods_are_defined_in_source_order_on_their_lines(self):
        for class_name in ("AllNews", "ZirkUpdateInfo", "UpdateNotification"):
            expected = sorted(line for name, line in FIRST_LINES.items()
                              if name.startswith(class_name))
            self.assertEqual(self.executable(self.codes[class_name]), expected)


if __name__ == "__main__":
    unittest.main()
