"""What the module offers: its names, its values, its functions and its classes."""

import types
import unittest

from simulator.receiver import Receiver, run_fresh  # before the host's modules
import Tools.Directories
from Screens.Screen import Screen
from tests.support.model import CLASSES, FUNCTIONS, bound_by_line
from tests.support.receiver import ModuleTest, trail

#: The names a class statement adds to the methods.
CLASS_NAMES = set(["__module__", "__doc__"])


def plain_names(namespace):
    return set(name for name in namespace if not (name[:2] == name[-2:] == "__"))


def star_names():
    """The names that the host's Tools.Directories exports."""
    return [name for name in vars(Tools.Directories) if not name.startswith("_")]


class Names(ModuleTest):

    def test_are_exactly_those_of_the_imports_values_functions_and_classes(self):
        expected = set(sum((names for _, names in bound_by_line(star_names())), []))
        self.assertEqual(plain_names(vars(self.module)), expected)

    def test_imported_are_the_host_objects_themselves(self):
        import Components.config
        import Components.Ipkg
        import Screens.Ipkg
        import cPickle
        import enigma
        import os
        import urllib2
        import xml.dom.minidom
        for name, value in [
                ("config", Components.config.config),
                ("IpkgComponent", Components.Ipkg.IpkgComponent),
                ("Ipkg", Screens.Ipkg.Ipkg),
                ("fileExists", Tools.Directories.fileExists),
                ("os_path", os.path), ("remove", os.remove),
                ("getZirkVersionString", enigma.getZirkVersionString),
                ("eTimer", enigma.eTimer),
                ("xml", xml), ("Node", xml.dom.minidom.Node),
                ("dump", cPickle.dump), ("load", cPickle.load), ("urllib2", urllib2)]:
            self.assertIs(getattr(self.module, name), value, name)

    def test_of_the_files_are_plain_strings(self):
        for name, path in [("packagetmpfile", "/tmp/.package.tmp"),
                           ("cache_file", "/tmp/.updatecache"),
                           ("packageinstalledfile", "/tmp/.installed")]:
            self.assertEqual(getattr(self.module, name), path)
            self.assertIs(type(getattr(self.module, name)), str)

    def test_include_the_model_and_the_header_as_found_at_the_import(self):
        self.assertEqual(self.module.vumodel, "duo2")
        self.assertEqual(self.module.header, "Zirk 3.1.0 (Vu+ Duo2)\n")

    def test_include_one_notifier_without_any_attribute(self):
        notifier = self.module.update_notification
        self.assertIs(notifier.__class__, self.module.UpdateNotification)
        self.assertEqual(vars(notifier), {})


class Model(unittest.TestCase):

    def test_is_the_very_object_that_the_host_gives(self):
        class Key(str):
            pass

        key = Key("solo")
        with Receiver(model=key, fresh=True, plugin_package=False) as box:
            self.assertIs(box.module.vumodel, key)


class Functions(ModuleTest):

    def test_carry_their_name_their_module_and_a_text(self):
        for _, name, _ in FUNCTIONS:
            function = getattr(self.module, name)
            self.assertEqual(function.__name__, name)
            self.assertEqual(function.__module__, "Kelvaro")
            self.assertIsInstance(function.__doc__, str)
            self.assertTrue(function.__doc__.strip(), name)

    def test_are_callable(self):
        for _, name, _ in FUNCTIONS:
            self.assertTrue(callable(getattr(self.module, name)), name)

    def test_bind_in_new_style_classes(self):
        self.check_binding(type("User", (object,), {"skip": self.module.skip_entry}))

    def test_bind_in_classic_classes(self):
        self.check_binding(types.ClassType("User", (), {"skip": self.module.skip_entry}))

    def check_binding(self, user_class):
        user_class.hasAttribute = lambda self, name: False
        user = user_class()
        self.assertIs(user.skip(), False)
        self.assertIs(user.skip.__self__, user)
        self.assertIs(user_class.skip(user), False)
        # How the interpreter calls the function in its text depends on the function's type.
        with self.assertRaisesRegexp(TypeError, "^unbound method .* must be called with User "
                                     r"instance as first argument \(got int instance instead\)$"):
            user_class.skip(3)

    def test_stay_unbound_on_instances(self):
        class User(object):
            pass

        user = User()
        user.address = self.module.newsURL
        self.assertIs(user.address, self.module.newsURL)

    def test_can_be_static_and_class_methods(self):
        class User(object):
            static = staticmethod(self.module.skip_entry)
            of_class = classmethod(self.module.skip_entry)
            hasAttribute = staticmethod(lambda name: False)

        self.assertIs(User.static(User), False)
        self.assertIs(User().of_class(), False)


class Classes(ModuleTest):

    def test_hold_their_methods_and_nothing_else(self):
        for _, name, _, methods in CLASSES:
            held = set(vars(getattr(self.module, name)))
            self.assertLessEqual(held - set(method for _, method, _ in methods) - CLASS_NAMES,
                                 set(["__dict__", "__weakref__"]))
            self.assertLessEqual(set(method for _, method, _ in methods), held)

    def test_carry_their_name_and_module(self):
        for _, name, _, _ in CLASSES:
            self.assertEqual(getattr(self.module, name).__name__, name)
            self.assertEqual(getattr(self.module, name).__module__, "Kelvaro")

    def test_have_a_text_or_None_of_their_own(self):
        for _, name, _, _ in CLASSES:
            self.assertIsInstance(vars(getattr(self.module, name))["__doc__"],
                                  (str, type(None)))

    def test_of_the_screens_derive_from_the_host_screen_alone(self):
        for name in ("AllNews", "ZirkUpdateInfo"):
            self.assertEqual(getattr(self.module, name).__bases__, (Screen,))

    def test_of_the_notifier_is_classic_and_has_no_base(self):
        self.assertIs(type(self.module.UpdateNotification), types.ClassType)
        self.assertEqual(self.module.UpdateNotification.__bases__, ())

    def test_can_be_subclassed_and_methods_overridden(self):
        told = []

        class Mine(self.module.UpdateNotification):
            def show_Kelvaro(self, res):
                told.append(res)

        class Setting(object):
            value = False

        mine = Mine()
        self.replace(config=type("Config", (), {"usage": type("Usage", (), {
            "update_available": Setting(), "show_notification_for_updates": Setting()})}))
        mine.opkg_upgrade_finished("a - 1 - 2\n", 0)
        self.assertEqual(told, [None])
        self.assertEqual(mine.upgradable_packages, "a - 1 - 2\n")


class Methods(ModuleTest):

    def each(self):
        for _, class_name, _, methods in CLASSES:
            for _, name, _ in methods:
                yield getattr(self.module, class_name), name

    def test_carry_their_name_their_module_and_a_text(self):
        for owner, name in self.each():
            for method in (getattr(owner, name), vars(owner)[name]):
                self.assertEqual(method.__name__, name)
                self.assertEqual(method.__module__, "Kelvaro")
                self.assertIsInstance(method.__doc__, str)
                self.assertTrue(method.__doc__.strip(), name)

    def test_taken_from_the_class_are_unbound(self):
        for owner, name in self.each():
            self.assertIs(type(getattr(owner, name)), types.UnboundMethodType)
            self.assertIsNone(getattr(owner, name).__self__)
            self.assertIs(getattr(owner, name).im_class, owner)

    def test_taken_from_an_instance_are_bound_to_it(self):
        for owner, name in self.each():
            instance = (types.InstanceType(owner) if isinstance(owner, types.ClassType)
                        else owner.__new__(owner))
            self.assertIs(getattr(instance, name).__self__, instance)
            self.assertEqual(getattr(instance, name), getattr(instance, name))

    def test_refuse_an_instance_of_another_class(self):
        for owner, name in self.each():
            with self.assertRaisesRegexp(
                    TypeError, "must be called with %s instance as first argument "
                    r"\(got Methods instance instead\)$" % owner.__name__):
                getattr(owner, name)(self)


class Silence(unittest.TestCase):

    def test_is_kept_on_both_outputs_by_import_and_use(self):
        result = run_fresh("\n".join([
            "from simulator.receiver import Receiver",
            "box = Receiver(feed_url='http://127.0.0.1:9/all', raise_errors=False)",
            "box.open_news()",
            "box.pass_time(1)",
            "box.press('ok', 'yellow', 'cancel')",
            "box.start_plugin()",
            "box.pass_time(61)",
            "box.module.getInstalled()",
            "for call in (box.module.load_cache, lambda: box.module.skip_entry(3)):",
            "    try:",
            "        call()",
            "    except Exception:",
            "        pass",
            "box.close()"]))
        self.assertEqual(result, (0, "", ""))

    def test_is_kept_by_a_failing_import(self):
        result = run_fresh("\n".join([
            "import sys",
            "from simulator.receiver import Receiver",
            "sys.modules['urllib2'] = None",
            "try:",
            "    Receiver()",
            "except ImportError:",
            "    pass"]))
        self.assertEqual(result, (0, "", ""))


class TracebackNames(unittest.TestCase):

    def test_stay_the_same_within_a_package(self):
        with Receiver(plugin_package=True) as box:
            self.assertEqual(box.module.getHeader.__module__,
                             "Plugins.SystemPlugins.ZIRKPanel.Kelvaro")
            try:
                box.module.load_cache()
            except IOError:
                self.assertEqual(trail(), ["load_cache:99"])
