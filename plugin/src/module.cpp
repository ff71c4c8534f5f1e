// The module's entry: what importing Kelvaro does, in its order.

#include "module.h"

namespace {

using namespace python;

struct Import {
  int line;
  const char* statement;
};

constexpr Import kImports[] = {
    {8, "from Components.ActionMap import ActionMap"},
    {9, "from Components.Console import Console"},
    {10, "from Components.config import config"},
    {11, "from Components.GUIComponent import GUIComponent"},
    {12, "from Components.Ipkg import IpkgComponent"},
    {13, "from Components.Label import Label"},
    {14, "from Components.Pixmap import Pixmap"},
    {15, "from Components.ScrollLabel import ScrollLabel"},
    {16, "from Components.Sources.StaticText import StaticText"},
    {17, "from Components.Sources.List import List"},
    {18, "from Screens.ChoiceBox import ChoiceBox"},
    {19, "from Screens.Screen import Screen"},
    {20, "from Screens.Ipkg import Ipkg"},
    {21, "from Screens.MessageBox import MessageBox"},
    {22, "from Tools.BoundFunction import boundFunction"},
    {23, "from Tools.Directories import *"},
    {24, "from Tools.LoadPixmap import LoadPixmap"},
    {25, "from Tools.Notifications import AddNotificationWithCallback"},
    {26, "from skin import loadSkin"},
    {27, "from os import path as os_path, remove"},
    {28, "from UpgradeZirk import UpdatePlugin"},
    {29, "from Tools.HardwareInfoVu import HardwareInfoVu"},
    {30, "from enigma import getZirkVersionString, eTimer"},
    {31, "import xml.dom.minidom"},
    {32, "from xml.dom.minidom import Node"},
    {33, "from cPickle import dump, load"},
    {34, "import urllib2"},
};

// All of the module's own statements.
void execute(Call& at) {
  for (const auto& [line, statement] : kImports) {
    AT(line) import(statement);
  }
  AT(36) bind("packagetmpfile"_s, "/tmp/.package.tmp"_s);
  AT(37) bind("cache_file"_s, "/tmp/.updatecache"_s);
  AT(38) bind("vumodel"_s, global("HardwareInfoVu"_s)().call("get_device_name"_s));
  AT(39) bind("packageinstalledfile"_s, "/tmp/.installed"_s);
  defineFunctions(kelvaro::receiverFunctions(), at);
  AT(86) bind("header"_s, global("getHeader"_s)());
  defineFunctions(kelvaro::feedFunctions(), at);
  AT(176) defineClass("AllNews"_s, tuple({global("Screen"_s)}), kelvaro::allNewsMethods(), at);
  AT(351)
  defineClass("ZirkUpdateInfo"_s, tuple({global("Screen"_s)}), kelvaro::updateInfoMethods(), at);
  AT(504) defineClass("UpdateNotification"_s, tuple(), kelvaro::updateNotificationMethods(), at);
  AT(560) bind("update_notification"_s, global("UpdateNotification"_s)());
}

// Removes a half-built module: the next import would otherwise get it as if it were complete.
void discard(PyObject* name, const PyObject* module) {
  PythonError pending = PythonError::fetch();
  PyObject* modules = PyImport_GetModuleDict();
  PyObject* found = PyDict_GetItem(modules, name);
  if (found != nullptr) {
    Py_INCREF(found);
    PyDict_DelItem(modules, name);
    if (found == module) {
      _PyModule_Clear(found);  // its functions keep it, so it does not end by itself
    }
    Py_DECREF(found);
  }
  std::move(pending).restore();
}

// Fills the module; false when that failed, with the exception pending.
bool fill(PyObject* module) {
  return Call::enter({"init Kelvaro", nullptr, nullptr}, module, [](Call& at) {
           bind("__builtins__"_s, Value(PyEval_GetBuiltins()));
           execute(at);
           return Py_None;  // borrowed: nobody takes it
         }) != nullptr;
}

}  // namespace

/// Called once by the interpreter when a program imports Kelvaro; leaves the import's exception
/// pending when anything fails.
extern "C" __attribute__((visibility("default"))) void initKelvaro() {
  // The full name, with the package. Made first: a module may be half-built when memory runs out.
  PyObject* name =
      PyString_FromString(_Py_PackageContext != nullptr ? _Py_PackageContext : "Kelvaro");
  if (name == nullptr) {
    return;
  }
  PyObject* module =
      Py_InitModule3("Kelvaro", nullptr, "The image's news and software updates on the screen.");
  if (module == nullptr || !fill(module)) {
    discard(name, module);
  }
  Py_DECREF(name);
}
