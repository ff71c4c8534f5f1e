"""A host that writes down every operation on it, in order, and lets any one of them fail.

It is no receiver: nothing happens on a screen. It serves to compare two implementations of the
module operation by operation: attribute reads and writes, item assignments, calls with their
positional and keyword arguments, translations, file operations, and the exception state that
host code sees. `simulator` is the host that behaves.

A run is recorded by a `Recorder`, which is current between `with recorder:` and the end of the
block. Outside of a run the host works and notes nothing.
"""

import __builtin__
import cPickle
import os
import sys
import types
import weakref
import xml.dom.minidom
import xml.parsers.expat

from tests.support.model import NAMES, SOURCE

PLAIN_TYPES = frozenset([type(None), bool, int, long, float, str, unicode])


class Recorder(object):
    """The record of one run.

    fail_at: the number of the operation that fails, counted from 1; 0 lets all succeed.
    error: called with a text when that operation is reached; gives the exception to raise.

    log holds the operations so far, as tuples that compare equal between implementations.
    files is the content (byte strings) of the recorded file system by path, directories the
    set of its directories. places: with `places`, the line of the module at each operation of
    the log (None: outside of it). details: if false, the log holds only the operations' names,
    which halves the time. answers gives return values of host functions by name (see
    `answer`). outcomes is for the caller's own use. Nothing is noted while noting is false.
    """

    current = None

    def __init__(self, fail_at=0, error=None, places=False, details=True):
        self.fail_at = fail_at
        self.error = error
        self.log = []
        self.places = [] if places else None
        self.details = details
        self.outcomes = []
        self.files = {}
        self.directories = set(["/tmp", "/etc/opkg"])
        self.answers = {}
        self.watched = []
        self.noting = True
        self._labels = {}
        self._kept = []

    def __enter__(self):
        Recorder.current = self
        return self

    def __exit__(self, *exc_info):
        Recorder.current = None

    def note(self, operation, details):
        """Write one operation down, then raise if it is the one to fail."""
        self.log.append((operation, tuple([self.describe(detail) for detail in details]),
                         self.describe_state(sys.exc_info())) if self.details else operation)
        if self.places is not None:
            self.places.append(line_at_work(sys._getframe()))
        if len(self.log) == self.fail_at:
            raise self.error("operation %d" % self.fail_at)

    def watch(self, thing):
        """Keep an eye on an object of this run, so that a leak of it is seen (`leaked`)."""
        self.watched.append(weakref.ref(thing))

    def forget(self):
        """Let go of every object of the run; what stays alive after this has leaked."""
        self._labels.clear()
        del self._kept[:]
        self.answers = {}

    def leaked(self):
        """The types of watched objects that are still alive, once the garbage is collected."""
        return [type(ref()).__name__ for ref in self.watched if ref() is not None]

    def label(self, thing):
        """A name for an object that holds for its identity: the type's name and a number."""
        if id(thing) not in self._labels:
            self._labels[id(thing)] = (type_name(thing), len(self._kept))
            self._kept.append(thing)
        return self._labels[id(thing)]

    def describe(self, thing):
        """A value that compares equal for equal things of either implementation."""
        kind = type(thing)
        if kind in PLAIN_TYPES:
            return (kind.__name__, thing)
        if kind is Text:
            return (kind.__name__, str.__str__(thing))
        if id(thing) in self._labels and kind is not list and kind is not dict:
            return self._labels[id(thing)]
        if isinstance(thing, types.InstanceType):
            kind = thing.__class__
        if kind is tuple:
            return ("tuple",) + tuple([self.describe(member) for member in thing])
        if kind is list:
            return self.label(thing) + tuple([self.describe(member) for member in thing])
        if kind is dict:
            return self.label(thing) + tuple(sorted([
                (self.describe(key), self.describe(value)) for key, value in thing.items()]))
        if issubclass(kind, types.MethodType):
            return ("method", thing.im_class.__name__, thing.__name__,
                    self.describe(thing.im_self))
        if issubclass(kind, (type, types.ClassType)):
            return ("class", thing.__module__, thing.__name__)
        if issubclass(kind, types.ModuleType):
            return ("module", thing.__name__)
        if kind in (types.FunctionType, types.BuiltinFunctionType) or is_native_function(thing):
            return ("function", thing.__name__)
        if issubclass(kind, BaseException):
            return ("exception", kind.__name__, self.describe(thing.args))
        return self.label(thing)

    def describe_state(self, exc_info):
        """Exception type, value and traceback entries of `sys.exc_info()`, or None."""
        kind, value, traceback = exc_info
        if kind is None:
            return None
        return (kind.__name__, self.describe(value), traceback_entries(traceback))


def line_at_work(frame):
    """The line of the innermost of the model's functions at work."""
    while frame is not None and frame.f_code.co_filename != SOURCE:
        frame = frame.f_back
    return frame and frame.f_lineno


def type_name(thing):
    """The name of a thing's class, for classic instances too."""
    return (thing.__class__ if isinstance(thing, types.InstanceType) else type(thing)).__name__


def is_native_function(thing):
    """Is it a function of the extension module (these have a type of their own)?"""
    return type(thing).__module__ not in ("__builtin__", __name__) and callable(thing) \
        and hasattr(type(thing), "__get__") and hasattr(thing, "__name__")


def traceback_entries(traceback):
    """(file, function, line) of each entry, outermost first.

    The model's functions go by the same names that the extension module gives its own:
    "Kelvaro.newsURL", "Kelvaro.AllNews.keyCancel", "init Kelvaro".
    """
    entries = []
    while traceback is not None:
        code = traceback.tb_frame.f_code
        name = code.co_name
        if code.co_filename == SOURCE and name == "<module>":
            name = "init Kelvaro"
        elif code.co_filename == SOURCE and "Kelvaro." not in name:
            name = NAMES.get((name, code.co_firstlineno), name)
        entries.append((os.path.basename(code.co_filename), name, traceback.tb_lineno))
        traceback = traceback.tb_next
    return tuple(entries)


def note(operation, *details):
    """Write an operation down in the current run; it may be the one that fails."""
    if Recorder.current is not None and Recorder.current.noting:
        Recorder.current.note(operation, details)


def answer(name, default, *args):
    """What the current run wants host function `name` to return.

    A callable answer is called with the function's arguments.
    """
    if Recorder.current is None or name not in Recorder.current.answers:
        return default
    value = Recorder.current.answers[name]
    return value(*args) if callable(value) else value


def operation(name, default=None):
    """A method that is noted and gives the run's answer to it."""
    def method(self, *args, **kwargs):
        note(name, self, args, kwargs)
        return answer(name, default, *args)
    method.__name__ = name
    return method


def function(name, default=None):
    """The same as a plain function. A callable default is called with the arguments."""
    def noted(*args, **kwargs):
        note(name, args, kwargs)
        value = answer(name, default, *args)
        return value(*args) if callable(value) else value
    noted.__name__ = name
    return noted


class Recorded(object):
    """Base of the host's objects: attribute access is noted, and so is truth by length."""

    def __getattribute__(self, name):
        if not name.startswith("_"):
            note("get", self, name)
        return object.__getattribute__(self, name)

    def __setattr__(self, name, value):
        note("set", self, name, value)
        object.__setattr__(self, name, value)

    def __delattr__(self, name):
        note("delete", self, name)
        object.__delattr__(self, name)


class RecordedClass(type):
    """Type of host classes whose attributes are read: constants such as CMD_UPDATE."""

    def __getattribute__(cls, name):
        if name.isupper():
            note("get", cls, name)
        return type.__getattribute__(cls, name)


def quietly(thing, **attributes):
    """Set attributes without noting it; returns the thing."""
    for name, value in attributes.items():
        object.__setattr__(thing, name, value)
    return thing


def noted_method(base, name):
    """A method of a builtin class that is noted, with its result (see `noted`)."""
    def method(self, *args):
        note(name, args)
        return noted(getattr(base, name)(self, *args))
    return method


def noted(thing):
    """A list of strings, or one, as one whose operations are noted; other things as they are."""
    if type(thing) is list:
        return Rows(map(noted, thing))
    return Text(thing) if type(thing) is str else thing


class Rows(list):
    """A list of which each operation is noted, and each step of a loop over it."""

    __len__, __getitem__, __contains__ = [
        noted_method(list, _name) for _name in ("__len__", "__getitem__", "__contains__")]

    def __iter__(self):
        note("iterate", self)
        for row in list.__iter__(self):
            note("next row")
            yield row


class Text(str):
    """A string of which each operation is noted; the strings that come of it are such, too."""

    __hash__ = str.__hash__
    __str__, __eq__, __add__, split, splitlines, strip, replace, title, endswith = [
        noted_method(str, _name) for _name in (
            "__str__", "__eq__", "__add__", "split", "splitlines", "strip", "replace", "title",
            "endswith")]

    def __radd__(self, other):
        note("__radd__", other)
        return noted(other + str.__str__(self))

    def __reduce__(self):
        return str, (str.__str__(self),)


class Callbacks(list):
    """A host's list of callbacks."""

    def append(self, callback):
        note("append", self, callback)
        list.append(self, callback)


class Widget(Recorded):
    """What screens register under their keys."""

    def __init__(self, *args, **kwargs):
        note("new", type(self), args, kwargs)
        if Recorder.current is not None:
            Recorder.current.watch(self)

    setText = operation("setText")


ActionMap, StaticText, Label, Pixmap = [
    type(_name, (Widget,), {}) for _name in ("ActionMap", "StaticText", "Label", "Pixmap")]


class ScrollLabel(Widget):
    pageUp = operation("pageUp")
    pageDown = operation("pageDown")


class List(Widget):
    updateList = operation("updateList")
    getIndex = operation("getIndex", 0)
    setIndex = operation("setIndex")


class AppContainers(dict):
    """The names of the commands that a console runs."""

    def __len__(self):
        note("len", self)
        return dict.__len__(self)

    def keys(self):
        note("keys", self)
        return sorted(dict.keys(self))


class Console(Widget):
    def __init__(self, *args, **kwargs):
        quietly(self, appContainers=AppContainers(answer("appContainers", {})))
        Widget.__init__(self, *args, **kwargs)

    def __nonzero__(self):
        note("truth", self)
        return bool(answer("Console is there", True))

    ePopen = operation("ePopen")
    kill = operation("kill")


class eTimer(Widget):
    def __init__(self, *args, **kwargs):
        quietly(self, callback=Callbacks())
        Widget.__init__(self, *args, **kwargs)

    start = operation("start")


class Screen(Recorded, dict):
    """Base of the module's screens. As on real hosts, a screen is a dictionary of widgets."""

    def __init__(self, *args, **kwargs):
        note("Screen.__init__", self, args, kwargs)
        if Recorder.current is not None:
            Recorder.current.watch(self)
        quietly(self, onLayoutFinish=Callbacks())

    def __setitem__(self, key, value):
        note("set item", self, key, value)
        dict.__setitem__(self, key, value)

    def __getitem__(self, key):
        note("get item", self, key)
        return dict.__getitem__(self, key)

    close = operation("close")


class Session(Widget):
    open = operation("open")
    openWithCallback = operation("openWithCallback")


ChoiceBox, Ipkg, UpdatePlugin = [
    type(_name, (Screen,), {}) for _name in ("ChoiceBox", "Ipkg", "UpdatePlugin")]


class MessageBox(Screen):
    __metaclass__ = RecordedClass
    TYPE_ERROR = 3


class IpkgComponent(object):
    __metaclass__ = RecordedClass
    CMD_INSTALL = 0
    CMD_REMOVE = 3
    CMD_UPDATE = 4


class GUIComponent(object):
    pass


class Element(Recorded):
    """A configuration element, or a section of them."""


usage = Element()
config = quietly(Element(), usage=usage)


def set_usage(check_for_updates=24, show_notification=True, update_available=False):
    """Give the configuration elements that the module uses their values."""
    quietly(usage,
            check_for_updates=quietly(Element(), value=check_for_updates),
            show_notification_for_updates=quietly(Element(), value=show_notification),
            update_available=quietly(Element(), value=update_available))


class HardwareInfoVu(Widget):
    get_device_name = operation("get_device_name", "uno4kse")


class Bound(object):
    """What boundFunction returns: only passed on."""


SCOPE_PLUGINS = 7
LoadPixmap = function("LoadPixmap", lambda *args: Bound())
resolveFilename = function("resolveFilename", lambda scope, name: "/plugins/" + name)
fileExists = function("fileExists", lambda path: path in Recorder.current.files)
boundFunction = function("boundFunction", lambda *args: Bound())
AddNotificationWithCallback = function("AddNotificationWithCallback")
getZirkVersionString = function("getZirkVersionString", "4.1")
loadSkin = function("loadSkin")
translate = function("_", lambda text: "<" + text + ">")


class RecordedFile(Recorded):
    """A file of the recorded file system, opened as by the builtin open."""

    def __init__(self, path, mode="r"):
        files = Recorder.current.files
        if mode[0] == "w":
            if os.path.dirname(path) not in Recorder.current.directories:
                raise IOError(2, "No such file or directory", path)
            files[path] = ""
        elif path not in files:
            raise IOError(2, "No such file or directory", path)
        quietly(self, _path=path, _at=0)
        Recorder.current.watch(self)

    def _take(self, size=None):
        content = Recorder.current.files[self._path]
        taken = content[self._at:][:size]
        quietly(self, _at=self._at + len(taken))
        return type(content)(taken)

    def read(self, *args):
        note("read", self, args)
        return self._take(*args)

    def readline(self, *args):
        note("readline", self, args)
        end = Recorder.current.files[self._path].find("\n", self._at)
        return self._take(end + 1 - self._at if end >= 0 else None)

    def readlines(self, *args):
        note("readlines", self, args)
        return Rows(self._take().splitlines(True))

    def write(self, data):
        note("write", self, data)
        Recorder.current.files[self._path] += data

    def close(self):
        note("close file", self)

    def __enter__(self):
        note("enter", self)
        return self

    def __exit__(self, kind, value, traceback):
        note("exit", self, kind, value, traceback is None)
        return answer("exit", None)


def recorded_open(*args, **kwargs):
    """The builtin open on the recorded file system."""
    note("open file", args, kwargs)
    return RecordedFile(*args, **kwargs)


def remove_recorded(path):
    note("remove", path)
    if path not in Recorder.current.files:
        raise OSError(2, "No such file or directory", path)
    del Recorder.current.files[path]


class RecordedPath(Recorded):
    """os.path on the recorded file system."""

    def exists(self, path):
        note("exists", path)
        return path in Recorder.current.files

    def isdir(self, path):
        note("isdir", path)
        return path in Recorder.current.directories

    def dirname(self, path):
        note("dirname", path)
        return os.path.dirname(path)


def make_recorded_directory(path):
    note("mkdir", path)
    if os.path.dirname(path) not in Recorder.current.directories:
        raise OSError(2, "No such file or directory", path)
    Recorder.current.directories.add(path)


def run_recorded_command(command):
    """os.system: the package list is what the run answers to "installed", if anything."""
    note("system", command)
    installed = answer("installed", None)
    if installed is not None:
        Recorder.current.files[command.rsplit("> ", 1)[1]] = installed
    return answer("system", 0)


class URLError(IOError):
    pass


class HTTPError(URLError):
    pass


class Response(Widget):
    read = operation("read answer", "")


class Downloads(Recorded):
    """The module urllib2. A run's answer to "urlopen" is a body, or an exception to raise."""

    HTTPError = HTTPError
    URLError = URLError

    def urlopen(self, *args, **kwargs):
        note("urlopen", args, kwargs)
        body = answer("urlopen", "")
        if isinstance(body, Exception):
            raise body
        Recorder.current.answers["read answer"] = body
        return Response()


class Node(object):
    """A node of a document, or the document: every access is noted."""

    def __init__(self, node):
        self.__node = node
        if Recorder.current is not None:
            Recorder.current.watch(self)

    def __nonzero__(self):
        note("node truth", self)
        return bool(self.__node)

    def __getattribute__(self, name):
        if name.startswith("_"):
            return object.__getattribute__(self, name)
        note("node", name)
        value = getattr(self.__node, name)
        if callable(value):
            def call(*args):
                note("node call", name, args)
                return self.__wrap(value(*args))
            return call
        return self.__wrap(value)

    def __wrap(self, value):
        if isinstance(value, xml.dom.minidom.Node):
            return Node(value)
        if isinstance(value, xml.dom.minidom.NodeList):
            return Rows([Node(member) for member in value])
        return value


class Minidom(Recorded):
    def parseString(self, *args, **kwargs):
        note("parseString", args, kwargs)
        return Node(xml.dom.minidom.parseString(*args, **kwargs))


class Package(Recorded):
    """A package whose attribute reads are noted."""


xml_package = quietly(
    Package(),
    dom=quietly(Package(), minidom=Minidom()),
    parsers=quietly(Package(), expat=quietly(
        Package(), ExpatError=xml.parsers.expat.ExpatError)))


# The names that a run puts into the module's namespace, over what the module imported.
SUBSTITUTES = {
    "open": recorded_open,
    "remove": remove_recorded,
    "os_path": RecordedPath(),
    "system": run_recorded_command,
    "mkdir": make_recorded_directory,
    "urllib2": Downloads(),
    "xml": xml_package,
    "dump": function("dump", cPickle.dump),
    "load": function("load", cPickle.load),
    "_": translate,
}

# The host's modules and what each offers, under their import paths.
HOST_MODULES = {
    "Components": {},
    "Components.ActionMap": {"ActionMap": ActionMap},
    "Components.Console": {"Console": Console},
    "Components.config": {"config": config},
    "Components.GUIComponent": {"GUIComponent": GUIComponent},
    "Components.Ipkg": {"IpkgComponent": IpkgComponent},
    "Components.Label": {"Label": Label},
    "Components.Pixmap": {"Pixmap": Pixmap},
    "Components.ScrollLabel": {"ScrollLabel": ScrollLabel},
    "Components.Sources": {},
    "Components.Sources.StaticText": {"StaticText": StaticText},
    "Components.Sources.List": {"List": List},
    "Screens": {},
    "Screens.ChoiceBox": {"ChoiceBox": ChoiceBox},
    "Screens.Screen": {"Screen": Screen},
    "Screens.Ipkg": {"Ipkg": Ipkg},
    "Screens.MessageBox": {"MessageBox": MessageBox},
    "Tools": {},
    "Tools.BoundFunction": {"boundFunction": boundFunction},
    "Tools.Directories": {
        "SCOPE_PLUGINS": SCOPE_PLUGINS, "resolveFilename": resolveFilename,
        "fileExists": fileExists, "_private": "not exported"},
    "Tools.LoadPixmap": {"LoadPixmap": LoadPixmap},
    "Tools.Notifications": {"AddNotificationWithCallback": AddNotificationWithCallback},
    "Tools.HardwareInfoVu": {"HardwareInfoVu": HardwareInfoVu},
    "skin": {"loadSkin": loadSkin},
    "UpgradeZirk": {"UpdatePlugin": UpdatePlugin},
    "enigma": {"getZirkVersionString": getZirkVersionString, "eTimer": eTimer},
}


class HostModule(types.ModuleType):
    """A host module whose attribute reads are noted."""

    def __getattribute__(self, name):
        if not name.startswith("_") or name == "__all__":
            note("module attribute", types.ModuleType.__getattribute__(self, "__name__"), name)
        return types.ModuleType.__getattribute__(self, name)


class HostModules(object):
    """Makes the host's modules importable within `with`, and leaves sys.modules as it was.

    changes: module path -> dictionary of names that replace the usual ones of that module;
    a value of None takes the name away, and None instead of a dictionary the whole module.
    Each finding and loading of a module is noted, with what the importing module `Kelvaro`
    has bound so far.
    """

    def __init__(self, changes=()):
        self.modules = dict((path, dict(names)) for path, names in HOST_MODULES.items())
        for path, names in dict(changes).items():
            if names is None:
                del self.modules[path]
                continue
            self.modules.setdefault(path, {}).update(names)
            for name in [name for name, value in names.items() if value is None]:
                del self.modules[path][name]

    def __enter__(self):
        self._saved = dict(sys.modules)
        for path in list(sys.modules):
            if path.split(".")[0] in ("Components", "Screens", "Tools", "skin", "UpgradeZirk",
                                      "enigma", "Kelvaro", "plugins"):
                del sys.modules[path]
        sys.meta_path.insert(0, self)
        return self

    def __exit__(self, *exc_info):
        sys.meta_path.remove(self)
        sys.modules.clear()
        sys.modules.update(self._saved)

    def find_module(self, path, _search=None):
        if not path.endswith("Kelvaro"):
            note("find module", path, bound_names())
        return self if path in self.modules else None

    def load_module(self, path):
        if path in sys.modules:
            return sys.modules[path]
        note("load module", path)
        module = HostModule(path)
        if any(other.startswith(path + ".") for other in self.modules):
            module.__path__ = []
        vars(module).update(self.modules[path])
        module.__loader__ = self
        sys.modules[path] = module
        return module


def bound_names():
    """The names that a module Kelvaro has bound while it is still being imported."""
    module = sys.modules.get("Kelvaro") or sys.modules.get("plugins.Kelvaro")
    if module is None:
        return ("no module",)
    return tuple(sorted([name for name in vars(module) if not name.startswith("__")]))


class Translation(object):
    """Puts a `_` among the builtins within `with`, where hosts keep theirs; None: no such name."""

    def __init__(self, function=translate):
        self.function = function

    def __enter__(self):
        self._saved = vars(__builtin__).pop("_", None)
        if self.function is not None:
            __builtin__._ = self.function

    def __exit__(self, *exc_info):
        vars(__builtin__).pop("_", None)
        if self._saved is not None:
            __builtin__._ = self._saved
