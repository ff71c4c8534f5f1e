"""Functions and methods take and refuse arguments exactly as equal Python functions do."""

import inspect
import sys
import types

from tests.support.model import CLASSES, FUNCTIONS
from tests.support.receiver import Blank, ModuleTest, raising


def python_function(name, parameters):
    """Return a Python function of this name with these parameters, doing nothing."""
    namespace = {}
    exec("def %s(%s): pass" % (name, parameters), namespace)
    return namespace[name]


def calls_of(function):
    """Yield calls, pairs (arguments, keywords), that a function of these parameters may refuse."""
    names, _, _, defaults = inspect.getargspec(function)
    required = len(names) - len(defaults or ())
    values = tuple(range(len(names) + 3))
    for count in range(len(names) + 4):
        yield values[:count], {}
        yield values[:count], {"unknown": 0}
        yield values[:count], {u"unknown": 0}
        for name in names:
            yield values[:count], {name: 0}
            yield values[:count], {name.decode("ascii"): 0}
        # The rest by keyword, then the same with one missing, one too many.
        rest = dict((name, 0) for name in names[count:])
        yield values[:count], rest
        for name in rest:
            yield values[:count], dict((other, 0) for other in rest if other != name)
        yield values[:count], dict(rest, unknown=0)
        yield values[:count], dict((name, 0) for name in names[count:required])
    yield values[:required], {1: 0}
    yield values[:required], {u"\xe4": 0}
    yield values[:required], {"": 0}
    yield values[:required], {"Self": 0}


def outcome(function, arguments, keywords):
    """Call; return a TypeError's text when the call itself was refused, else None."""
    try:
        function(*arguments, **keywords)
    except TypeError as error:
        # A refusal has no entry but the caller's: the function has not begun.
        if sys.exc_info()[2].tb_next is None:
            return str(error)
    except Exception:
        pass
    finally:
        sys.exc_clear()
    return None


class Refusals(ModuleTest):

    def setUp(self):
        super(Refusals, self).setUp()
        # What is accepted then fails at once, or has no effects to speak of.
        fail = raising(LookupError("host"))
        names = ("getZirkVersionString", "Screen", "config", "fileExists", "Console", "open",
                 "eTimer", "urllib2", "os_path")
        self.replace(**dict((name, fail) for name in names))

    def check(self, place, function, equal, calls):
        refused = 0
        for arguments, keywords in calls:
            expected = outcome(equal, arguments, keywords)
            found = outcome(function, arguments, keywords)
            self.assertEqual(found, expected, "%s(*%r, **%r): %r instead of %r" % (
                place, arguments, keywords, found, expected))
            refused += expected is not None
        self.assertGreater(refused, 4)

    def test_of_module_functions_have_the_text_of_equal_functions(self):
        for _, name, parameters in FUNCTIONS:
            equal = python_function(name, parameters)
            self.check(name, getattr(self.module, name), equal, calls_of(equal))

    def test_of_methods_called_as_functions_have_the_text_of_equal_functions(self):
        for _, class_name, _, methods in CLASSES:
            for _, name, parameters in methods:
                equal = python_function(name, parameters)
                self.check(class_name + "." + name,
                           vars(getattr(self.module, class_name))[name], equal, calls_of(equal))

    def test_of_bound_methods_have_the_text_of_equal_methods(self):
        for _, class_name, is_screen, methods in CLASSES:
            owner = getattr(self.module, class_name)
            base = (dict,) if is_screen else ()
            for _, name, parameters in methods:
                equal = python_function(name, parameters)
                twin = (type if is_screen else types.ClassType)(class_name, base, {name: equal})
                if is_screen:
                    found, expected = owner.__new__(owner), twin.__new__(twin)
                else:
                    found, expected = types.InstanceType(owner), types.InstanceType(twin)
                self.check(class_name + "." + name, getattr(found, name),
                           getattr(expected, name), calls_of(equal))

    def test_of_constructors_have_the_text_of_equal_constructors(self):
        for name in ("AllNews", "ZirkUpdateInfo"):
            parameters = [methods[0][2] for _, other, _, methods in CLASSES if other == name][0]
            equal = python_function("__init__", parameters)
            twin = type(name, (dict,), {"__init__": equal})
            self.check(name, getattr(self.module, name), twin, calls_of(equal))

    def test_of_the_notifier_class_are_those_of_a_class_without_constructor(self):
        for arguments, keywords in [((1,), {}), ((), {"a": 1})]:
            with self.assertRaises(TypeError) as caught:
                self.module.UpdateNotification(*arguments, **keywords)
            self.assertEqual(str(caught.exception), "this constructor takes no arguments")

    def test_have_no_traceback_entry_of_the_function(self):
        for function in (self.module.getHeader, self.module.skip_entry, self.module.AllNews,
                         self.module.UpdateNotification().setSession):
            self.assertFails(TypeError, [], function, 1, 2, 3, 4, 5)

    def test_leave_everything_undone(self):
        calls = []
        self.replace(open=lambda *arguments: calls.append(arguments))
        for function in (self.module.write_cache, self.module.load_cache, self.module.newsURL):
            with self.assertRaises(TypeError):
                function(1, 2)
        self.assertEqual(calls, [])


class Passing(ModuleTest):
    """Arguments arrive in their parameters by position, by keyword and by default."""

    def read_address(self, *arguments, **keywords):
        line = "src/gz Zirk-all http://h/all\n"
        self.replace(open=lambda *_: Blank(readline=lambda: line, close=lambda: None))
        return self.module.newsURL(*arguments, **keywords)

    def test_of_a_file_name(self):
        self.assertEqual(self.read_address(), "http://h/zirknews.xml")
        self.assertEqual(self.read_address("x"), "http://h/x")
        self.assertEqual(self.read_address(f_name="x"), "http://h/x")
        self.assertEqual(self.read_address(**{u"f_name": "x"}), "http://h/x")

    def test_of_an_element(self):
        entry = Blank(hasAttribute=lambda name: False)
        self.assertIs(self.module.skip_entry(entry), False)
        self.assertIs(self.module.skip_entry(entry=entry), False)

    def test_of_a_news_list(self):
        for call in (self.module.write_cache, lambda news: self.module.write_cache(
                cache_data=news)):
            call([1, u"x"])
            self.assertEqual(self.module.load_cache(), [1, u"x"])

    def test_of_the_browser(self):
        session = self.box.session
        for arguments, keywords in [
                ((session, "/p"), {}), ((session, "/p", 5), {}),
                ((session,), {"plugin_path": "/p"}), ((), {
                    "session": session, "plugin_path": "/p", "args": None})]:
            screen = self.module.AllNews(*arguments, **keywords)
            self.assertIs(screen.session, session)
            self.assertEqual(screen.skin_path, "/p")

    def test_of_the_detail_screen(self):
        self.module.write_cache([(u"first", [], ""), (u"second", [], "")])
        shown = []
        self.replace(Console=lambda: Blank(ePopen=lambda *call: shown.append(call[0])))
        session = self.box.session
        for index, commands, arguments, keywords in [
                (0, 0, (session,), {}), (1, 0, (session, 1), {}), (1, 1, (session, 1, True), {}),
                (1, 0, (session,), {"idx": 1}), (0, 1, (session,), {"show_upgradable": True}),
                (1, 1, (), {"show_upgradable": 1, "idx": 1, "session": session})]:
            del shown[:]
            screen = self.module.ZirkUpdateInfo(*arguments, **keywords)
            self.assertEqual((screen.idx, len(shown)), (index, commands))
            self.assertIs(screen.session, session)

    def test_of_the_kind_of_text(self):
        screen = self.module.ZirkUpdateInfo.__new__(self.module.ZirkUpdateInfo)
        screen.infotxt = (u"Title", [], "normal")
        for call in (screen.getText, lambda kind: screen.getText(what=kind)):
            self.assertEqual(call("news"), "")
            self.assertEqual(call("header"), self.module.header + "Title")

    def test_of_a_menu_entry(self):
        screen = self.module.AllNews.__new__(self.module.AllNews)
        screen["menu"] = Blank(getIndex=lambda: 3)
        opened = []
        screen.session = Blank(openWithCallback=lambda *call: opened.append(call[2:]))
        screen.runMenuEntry()
        screen.runMenuEntry(True)
        screen.runMenuEntry(show_upgradable="yes")
        self.assertEqual(opened, [(3, False), (3, True), (3, "yes")])

    def test_of_an_index(self):
        indices = []
        screen = self.module.AllNews.__new__(self.module.AllNews)
        screen["menu"] = Blank(setIndex=indices.append)
        screen.setMenuIndex()
        screen.setMenuIndex(4)
        screen.setMenuIndex(idx=5)
        self.assertEqual(indices, [0, 4, 5])

    def test_of_choices_and_the_end_of_an_action(self):
        screen = self.module.AllNews.__new__(self.module.AllNews)
        calls = []
        screen.selectTop = lambda: calls.append("category")
        screen.keyYellow = lambda: calls.append("yellow")
        screen.skins = []
        screen.gotTopSelection(None)
        screen.gotTopSelection(ret=("Skins", "skins"))
        screen.exitChoiceBox(None)
        screen.exitChoiceBox(ret=(1, 2, 3))
        screen.ipkg_action_finished()
        screen.ipkg_action_finished(None)
        screen.ipkg_action_finished(ret=5)
        self.assertEqual(calls, ["category"] * 2 + ["yellow"] * 3)

    def test_of_command_callbacks(self):
        started = []
        console = Blank(ePopen=lambda command, callback: started.append(command))
        screen = self.module.ZirkUpdateInfo.__new__(self.module.ZirkUpdateInfo)
        notifier = self.module.UpdateNotification()
        for owner in (screen, notifier):
            owner.Console = console
            for arguments, keywords in [
                    (("", 0), {}), (("", 0, []), {}), (("", 0), {"extra_args": 1}),
                    ((), {"result": "", "retval": 0}),
                    (("",), {"extra_args": None, "retval": 0})]:
                del started[:]
                self.assertIsNone(owner.opkg_update_finished(*arguments, **keywords))
                self.assertEqual(len(started), 1)

    def test_of_the_notifiers_session_and_answer(self):
        notifier = self.module.UpdateNotification()
        notifier.setSession(plugin_path="/p", session=5)
        self.assertEqual(vars(notifier), {"session": 5, "plugin_path": "/p"})
        self.box.config.usage.check_for_updates.value = 0
        self.assertIsNone(notifier.show_Kelvaro(False))
        self.assertIsNone(notifier.show_Kelvaro(res=None))
