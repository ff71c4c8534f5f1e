// The module's entry: what importing Kelvaro does, in its order.

#include "all_news.h"
#include "feed.h"
#include "notifier.h"
#include "python/function.h"
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

void importNames(const Import& import, const Globals& global) {
  Name path = Name::ofTable(import.module);
  const auto& [first, second] = import.names;
  if (first.name == nullptr) {
    importModule(global, path);
    return;
  }
  Ref names = second.name == nullptr
                  ? tuple({Name::ofTable(first.name)})
                  : tuple({Name::ofTable(first.name), Name::ofTable(second.name)});
  Ref module = importFrom(global, path, names);
  if (*first.name == '*') {
    bindAllFrom(global, module);
    return;
  }
  for (const ImportedName& imported : import.names) {
    if (imported.name != nullptr) {
      bindFrom(global, module, Name::ofTable(imported.name), Name::ofTable(imported.as));
    }
  }
}

// All of the module's own statements.
void execute(const Globals& global, Line& at) {
  for (const Import& import : kImports) {
    AT(import.line) importNames(import, global);
  }
  AT(36) global.bind("packagetmpfile", "/tmp/.package.tmp");
  AT(37) global.bind("cache_file", "/tmp/.updatecache");
  AT(38) global.bind("vumodel", global("HardwareInfoVu")().attr("get_device_name")());
  AT(39) global.bind("packageinstalledfile", "/tmp/.installed");
  defineFunctions(kelvaro::receiverFunctions(), global, at);
  AT(86) global.bind("header", global("getHeader")());
  defineFunctions(kelvaro::feedFunctions(), global, at);
  AT(176)
  defineClass("AllNews", tuple({global("Screen")}), kelvaro::allNewsMethods(), global, at);
  AT(351)
  defineClass("ZirkUpdateInfo", tuple({global("Screen")}), kelvaro::updateInfoMethods(), global,
              at);
  AT(504)
  defineClass("UpdateNotification", tuple({}), kelvaro::updateNotificationMethods(), global, at);
  AT(560) global.bind("update_notification", global("UpdateNotification")());
}

// Takes a half-built module away again: the interpreter would hand it to the next import as whole.
void discard(const Ref& name) {
  PyObject* type = nullptr;
  PyObject* value = nullptr;
  PyObject* traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  PyObject* modules = PyImport_GetModuleDict();
  PyObject* found = PyDict_GetItem(modules, name.borrow());
  if (found != nullptr) {
    Ref module = Ref::share(found);
    PyDict_DelItem(modules, name.borrow());
    _PyModule_Clear(module.borrow());  // its functions keep it, so it does not end by itself
  }
  PyErr_Restore(type, value, traceback);
}

void fill(const Ref& module) {
  Globals global(module);
  Line at({"init Kelvaro", nullptr, nullptr}, global);
  try {
    global.bind("__builtins__", Ref::share(PyEval_GetBuiltins()));
    execute(global, at);
  } catch (const PythonError& thrown) {
    thrown.restore();
    at.report();
    raisePending();
  }
}

}  // namespace

/// Called once by the interpreter when a program imports Kelvaro; leaves the import's exception
/// pending when anything fails.
extern "C" __attribute__((visibility("default"))) void initKelvaro() {
  // The full name of a module in a package.
  const char* fullName = _Py_PackageContext != nullptr ? _Py_PackageContext : "Kelvaro";
  try {
    // Made first: even a module that there is no memory for may be half-built.
    Ref name = Ref::take(PyString_FromString(fullName));
    try {
      fill(Ref::share(Py_InitModule3("Kelvaro", nullptr,
                                     "The image's news and software updates on the screen.")));
    } catch (const PythonError& thrown) {
      thrown.restore();
      discard(name);
    }
  } catch (const PythonError& thrown) {
    thrown.restore();
  }
}
