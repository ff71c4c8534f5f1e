// The module's entry: what importing Kelvaro does, in its order.

#include "all_news.h"
#include "feed.h"
#include "notifier.h"
#include "python/function.h"
#include "python/globals.h"
#include "receiver.h"
#include "update_info.h"

namespace {

using namespace python;

struct ImportedName {
  constexpr ImportedName() = default;
  constexpr ImportedName(const char* own) : ImportedName(own, own) {}
  constexpr ImportedName(const char* own, const char* bound) : name(own), as(bound) {}

  const char* name = nullptr;
  const char* as = nullptr;
};

// One import statement: `from module import names`, or without any names `import module`.
struct Import {
  int line;
  const char* module;
  ImportedName names[2];
};

constexpr Import kImports[] = {
    {8, "Components.ActionMap", {"ActionMap"}},
    {9, "Components.Console", {"Console"}},
    {10, "Components.config", {"config"}},
    {11, "Components.GUIComponent", {"GUIComponent"}},
    {12, "Components.Ipkg", {"IpkgComponent"}},
    {13, "Components.Label", {"Label"}},
    {14, "Components.Pixmap", {"Pixmap"}},
    {15, "Components.ScrollLabel", {"ScrollLabel"}},
    {16, "Components.Sources.StaticText", {"StaticText"}},
    {17, "Components.Sources.List", {"List"}},
    {18, "Screens.ChoiceBox", {"ChoiceBox"}},
    {19, "Screens.Screen", {"Screen"}},
    {20, "Screens.Ipkg", {"Ipkg"}},
    {21, "Screens.MessageBox", {"MessageBox"}},
    {22, "Tools.BoundFunction", {"boundFunction"}},
    {23, "Tools.Directories", {"*"}},
    {24, "Tools.LoadPixmap", {"LoadPixmap"}},
    {25, "Tools.Notifications", {"AddNotificationWithCallback"}},
    {26, "skin", {"loadSkin"}},
    {27, "os", {{"path", "os_path"}, "remove"}},
    {28, "UpgradeZirk", {"UpdatePlugin"}},
    {29, "Tools.HardwareInfoVu", {"HardwareInfoVu"}},
    {30, "enigma", {"getZirkVersionString", "eTimer"}},
    {31, "xml.dom.minidom", {}},
    {32, "xml.dom.minidom", {"Node"}},
    {33, "cPickle", {"dump", "load"}},
    {34, "urllib2", {}},
};

void importNames(const Import& import) {
  Name path = Name::ofTable(import.module);
  const auto& [first, second] = import.names;
  if (first.name == nullptr) {
    importModule(path);
    return;
  }
  const Object& names = second.name == nullptr
                            ? tuple({Name::ofTable(first.name)})
                            : tuple({Name::ofTable(first.name), Name::ofTable(second.name)});
  const Object& module = importFrom(path, names);
  if (*first.name == '*') {
    bindAllFrom(module);
    return;
  }
  for (const ImportedName& imported : import.names) {
    if (imported.name != nullptr) {
      bindFrom(module, Name::ofTable(imported.name), Name::ofTable(imported.as));
    }
  }
}

// All of the module's own statements.
void execute(Call& at) {
  for (const Import& import : kImports) {
    AT(import.line) importNames(import);
  }
  AT(36) bind("packagetmpfile", literal("/tmp/.package.tmp"));
  AT(37) bind("cache_file", literal("/tmp/.updatecache"));
  AT(38) bind("vumodel", global("HardwareInfoVu")().attr("get_device_name")());
  AT(39) bind("packageinstalledfile", literal("/tmp/.installed"));
  defineFunctions(kelvaro::receiverFunctions(), at);
  AT(86) bind("header", global("getHeader")());
  defineFunctions(kelvaro::feedFunctions(), at);
  AT(176) defineClass("AllNews", tuple({global("Screen")}), kelvaro::allNewsMethods(), at);
  AT(351)
  defineClass("ZirkUpdateInfo", tuple({global("Screen")}), kelvaro::updateInfoMethods(), at);
  AT(504) defineClass("UpdateNotification", tuple({}), kelvaro::updateNotificationMethods(), at);
  AT(560) bind("update_notification", global("UpdateNotification")());
}

// Takes a half-built module away again: the interpreter would hand it to the next import as whole.
void discard(PyObject* name, const PyObject* module) {
  const PythonError pending = PythonError::fetch();
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
  pending.restore();
}

// Fills the module; false when that failed, with the exception pending.
bool fill(PyObject* module) {
  Call at({"init Kelvaro", nullptr, nullptr}, module);
  try {
    bind("__builtins__", Object::of(PyEval_GetBuiltins()));
    execute(at);
    return true;
  } catch (const PythonError& thrown) {
    at.releaseAll();
    thrown.restore();
    at.report();
    return false;
  }
}

}  // namespace

/// Called once by the interpreter when a program imports Kelvaro; leaves the import's exception
/// pending when anything fails.
extern "C" __attribute__((visibility("default"))) void initKelvaro() {
  // The full name, also of a module in a package. Made first: even a module that there is no memory
  // for may be half-built.
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
