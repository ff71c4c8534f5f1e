"""The module's functions and methods behave as functions written in Python: bound, called, refused.
"""

import inspect
import sys
import types

from tests.support import recording, scenarios, twins
from tests.support.leaks import LeakCheckedTest
from tests.support.model import CLASSES, FUNCTIONS
from tests.support.receiver import ModuleTest, raising


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


def refusal(function, arguments, keywords):
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
        self.replace(**dict((name, raising(LookupError("host"))) for name in (
            "getZirkVersionString", "Screen", "config", "fileExists", "Console", "open", "eTimer",
            "urllib2", "os_path")))

    def check(self, function, equal, plain):
        """Check that a function refuses what an equal one of Python does, with the same words."""
        refused = 0
        for arguments, keywords in calls_of(plain):
            expected = refusal(equal, arguments, keywords)
            found = refusal(function, arguments, keywords)
            if found != expected:
                self.fail("%r(*%r, **%r): %r instead of %r" % (
                    function, arguments, keywords, found, expected))
            refused += expected is not None
        self.assertGreater(refused, 4)

    def test_of_module_functions_have_the_text_of_equal_functions(self):
        for _, name, parameters in FUNCTIONS:
            equal = python_function(name, parameters)
            self.check(getattr(self.module, name), equal, equal)

    def test_of_methods_have_the_text_of_equal_methods_bound_or_not(self):
        for _, class_name, is_screen, methods in CLASSES:
            owner = getattr(self.module, class_name)
            for _, name, parameters in methods:
                plain = python_function(name, parameters)
                if is_screen:
                    twin = type(class_name, (dict,), {name: plain})
                    found, equal = owner.__new__(owner), twin.__new__(twin)
                else:
                    twin = types.ClassType(class_name, (), {name: plain})
                    found, equal = types.InstanceType(owner), types.InstanceType(twin)
                self.check(vars(owner)[name], plain, plain)
                self.check(getattr(found, name), getattr(equal, name), plain)
                if is_screen and name == "__init__":
                    self.check(owner, twin, plain)

    def test_of_the_notifier_class_are_those_of_a_class_without_constructor(self):
        for arguments, keywords in [((1,), {}), ((), {"a": 1})]:
            self.assertEqual(refusal(self.module.UpdateNotification, arguments, keywords),
                             "this constructor takes no arguments")

    def test_keep_no_reference_to_the_text_of_a_keyword(self):
        before = sys.getrefcount("q")  # one character: the same object wherever it is made
        for _ in range(10):
            self.assertFails(TypeError, [], self.module.newsURL, **{u"q": 1})
        self.assertEqual(sys.getrefcount("q"), before)


class Passing(LeakCheckedTest):
    """Arguments arrive in their parameters by position, by keyword and by default."""

    #: What an object of each class comes from.
    WALKS = {"AllNews": scenarios.browser, "ZirkUpdateInfo": scenarios.detail,
             "UpdateNotification": scenarios.notifier}

    def agree(self, class_name, name, parameters):
        """Call it in every way; the host sees the same as with the model."""
        plain = python_function(name, parameters)
        names = [other for other in inspect.getargspec(plain).args if other != "self"]
        required = len(names) - len(plain.__defaults__ or ())
        comparison = twins.Comparison()
        for positional in range(len(names) + 1):
            for given in range(max(positional, required), len(names) + 1):
                def scenario(case):
                    recording.set_usage(check_for_updates=0)
                    case.recorder.files[scenarios.FEED] = scenarios.FEED_LINE
                    owner = case.module
                    if class_name is not None:
                        owner = self.WALKS[class_name](case)
                    values = [recording.Session()] + ["argument %d" % n for n in range(1, given)]
                    case.press(owner, name, *values[:positional],
                               **dict(zip(names, values)[positional:given]))
                    case.do(lambda: vars(owner).get("session"))
                scenario.__name__ = "%s with %d of %d arguments" % (name, positional, given)
                text = comparison.case(scenario)
                self.assertIsNone(text, text)

    def test_agrees_for_functions_and_methods(self):
        for _, name, parameters in FUNCTIONS:
            self.agree(None, name, parameters)
        for _, class_name, _, methods in CLASSES:
            for _, name, parameters in methods:
                self.agree(class_name, name, parameters)


class Binding(ModuleTest):

    def each(self):
        """Yield class and name of each method."""
        for _, class_name, _, methods in CLASSES:
            for _, name, _ in methods:
                yield getattr(self.module, class_name), name

    def test_of_functions_is_that_of_Python_functions_in_classes_of_both_styles(self):
        for make, base in ((type, object), (types.ClassType, None)):
            user_class = make("User", (base,) if base else (), {"skip": self.module.skip_entry})
            user_class.hasAttribute = lambda self, name: False
            user = user_class()
            self.assertIs(user.skip(), False)
            self.assertIs(user.skip.__self__, user)
            self.assertIs(user_class.skip(user), False)
            # How the interpreter calls the function in its text depends on the function's type.
            with self.assertRaisesRegexp(TypeError, "^unbound method .* must be called with User "
                                         r"instance as first argument \(got int instance "
                                         r"instead\)$"):
                user_class.skip(3)
            user.address = self.module.newsURL
            self.assertIs(user.address, self.module.newsURL)

    def test_may_be_static_or_to_the_class(self):
        class User(object):
            static = staticmethod(self.module.skip_entry)
            of_class = classmethod(self.module.skip_entry)
            hasAttribute = staticmethod(lambda name: False)

        self.assertIs(User.static(User), False)
        self.assertIs(User().of_class(), False)

    def test_of_methods_is_to_an_instance_of_their_class(self):
        for owner, name in self.each():
            method = getattr(owner, name)
            self.assertIs(type(method), types.UnboundMethodType)
            self.assertEqual((method.__self__, method.im_class), (None, owner))
            instance = (types.InstanceType(owner) if isinstance(owner, types.ClassType)
                        else owner.__new__(owner))
            self.assertIs(getattr(instance, name).__self__, instance)
            self.assertEqual(getattr(instance, name), getattr(instance, name))
            with self.assertRaisesRegexp(
                    TypeError, "must be called with %s instance as first argument "
                    r"\(got Binding instance instead\)$" % owner.__name__):
                method(self)

    def test_keeps_name_module_and_text(self):
        functions = [(getattr(self.module, name), name) for _, name, _ in FUNCTIONS]
        for owner, name in self.each():
            functions += [(getattr(owner, name), name), (vars(owner)[name], name)]
        for function, name in functions:
            self.assertEqual((function.__name__, function.__module__), (name, "Kelvaro"))
            self.assertTrue(function.__doc__.strip(), name)
