"""Puts the plug-in where a receiver has it, and imports it: one instance for each combination."""

import glob
import os
import shutil
import sys
import types

import enigma
import skin
from simulator import ROOT, skins

PYTHON_ROOT = "/usr/lib/enigma2/python"
PACKAGE = "Plugins.SystemPlugins.ZIRKPanel"
DIRECTORY = os.path.join(PYTHON_ROOT, *PACKAGE.split("."))

_instances = []  # in the order of making; their number is part of their path


class Instance(object):
    """One import of the module.

    The interpreter keeps an extension module by its file's path, and a second import from there
    is a copy that works on the first one's namespace. So every instance has a copy of the file:
    the first in the plug-in's directory, as on a receiver, the others in one below it.
    """

    def __init__(self, module_file, in_package):
        self.module = None  # the module Kelvaro, once imported
        self.plugin = None  # plugin.py, likewise, when in_package
        self._in_package = in_package
        self._imported = {}  # what sys.modules held of the plug-in
        self._directory = DIRECTORY
        if _instances:
            self._directory = os.path.join(DIRECTORY, "instance-%d" % len(_instances))
        _lay_out_plugin()
        if not os.path.isdir(self._directory):
            os.mkdir(self._directory)
        if not os.path.isfile(module_file):
            raise IOError("there is no module at %s; build it first, or let KELVARO_MODULE name it"
                          % module_file)
        for other in glob.glob(os.path.join(self._directory, "Kelvaro.*")):
            os.remove(other)  # another process's; it may have it loaded, so it is not overwritten
        extension = os.path.splitext(module_file)[1]
        shutil.copyfile(module_file, os.path.join(self._directory, "Kelvaro" + extension))
        _instances.append(self)

    def activate(self):
        """Make the interpreter see this instance of the plug-in's modules and no other."""
        for name in list(sys.modules):
            if name in ("Kelvaro", "UpgradeZirk") or (name + ".").startswith(PACKAGE + "."):
                del sys.modules[name]
        sys.path[:] = [path for path in sys.path if not path.startswith(PYTHON_ROOT)]
        sys.path.insert(0, PYTHON_ROOT)
        if not self._in_package:
            sys.path[:0] = [self._directory, DIRECTORY]
        sys.modules.update(self._imported)
        if self.module is not None:
            self._restore()

    def load(self):
        """Import the module, as plugin.py does or by itself."""
        if self._in_package:
            package = _import(PACKAGE)
            package.__path__ = [self._directory, DIRECTORY]
            self.plugin = _import(PACKAGE + ".plugin")
            self.module = self.plugin.Kelvaro
        else:
            self.module = _import("Kelvaro")
        self._imported = dict(
            (name, module) for name, module in sys.modules.items()
            if name in ("Kelvaro", "UpgradeZirk") or (name + ".").startswith(PACKAGE + "."))
        self._namespaces = [(self.module, dict(vars(self.module)))]
        for value in vars(self.module).values():
            if (isinstance(value, (type, types.ClassType))
                    and value.__module__ == self.module.__name__):
                self._namespaces.append((value, dict(vars(value))))

    def _restore(self):
        for owner, names in self._namespaces:
            for name in set(vars(owner)) - set(names):
                delattr(owner, name)
            for name, value in names.items():
                if vars(owner).get(name, names) is not value:
                    setattr(owner, name, value)
        vars(self.module.update_notification).clear()


def _import(name):
    __import__(name)
    return sys.modules[name]


def _lay_out_plugin():
    """Make the plug-in's directory, as the package and the image fill it, but for the module."""
    if os.path.isdir(DIRECTORY):
        return
    os.makedirs(DIRECTORY)
    path = PYTHON_ROOT
    for part in PACKAGE.split("."):
        path = os.path.join(path, part)
        open(os.path.join(path, "__init__.py"), "w").close()
    for width in enigma.PICTURES:
        with open(skin_part(width), "w") as part:
            part.write(skin_for(width))
    _copy("simulator/plugin/*.py", "")
    _copy("plugin/pictures/*.png", "pictures")
    for catalogue in glob.glob(os.path.join(ROOT, "build/native/*.mo")):
        language = os.path.splitext(os.path.basename(catalogue))[0]
        _copy(catalogue, os.path.join("locale", language, "LC_MESSAGES"), "Kelvaro.mo")


def _copy(files, directory, name=""):
    directory = os.path.join(DIRECTORY, directory)
    if not os.path.isdir(directory):
        os.makedirs(directory)
    for path in glob.glob(os.path.join(ROOT, files)):
        shutil.copyfile(path, os.path.join(directory, name or os.path.basename(path)))


def skin_part(width):
    return os.path.join(DIRECTORY, "skin_%d.xml" % width)


def lend_screens():
    """Add the plug-in's screens for this picture to the skin, where it lacks them."""
    _lay_out_plugin()
    part, own = skin_part(enigma.getDesktop(0).size().width()), dict(skin.dom_screens)
    if os.path.isfile(part):
        skin.loadSkin(part)
        skin.dom_screens.update(own)


def skin_for(width):
    """The skin part as an installation makes it (cmake/Install.cmake)."""
    return skins.scaled(os.path.join(ROOT, "plugin", "skin", "skin.xml.in"), width)
