#include "receiver.h"

#include "python/globals.h"

namespace kelvaro {

using namespace python;

const Object& osFunction(Name name) {
  const Object* found = findGlobal(name);
  return found != nullptr ? *found : importAbsolute("os").attr(name);
}

namespace {

struct Model {
  const char* key;   // what the host calls the receiver
  const char* text;  // how the header line ends for it
};

constexpr Model kModels[] = {
    {"duo", "Duo)\n"},           {"solo", "Solo)\n"},          {"uno", "Uno)\n"},
    {"ultimo", "Ultimo)\n"},     {"solo2", "Solo2)\n"},        {"duo2", "Duo2)\n"},
    {"solose", "Solo SE)\n"},    {"zero", "zero)\n"},  // lower case, as it has always been shown
    {"solo4k", "Solo 4K)\n"},    {"ultimo4k", "Ultimo 4K)\n"}, {"uno4k", "Uno 4K)\n"},
    {"uno4kse", "Uno 4K SE)\n"}, {"zero4k", "Zero 4K)\n"},     {"duo4k", "Duo 4K)\n"},
    {"duo4kse", "Duo 4K SE)\n"},
};

// The installed packages by name, in opkg's order; none when opkg could not be asked.
const Object& getInstalled(Args /*args*/, Call& at) {
  AT(42) Local packages(at, list());
  // BusyBox's cut takes field 0 for field 1; GNU's refuses it and leaves the file empty.
  AT(43)
  const Object& command = at.local(literal("/usr/bin/opkg list-installed | cut -f'0' -d ' ' > ")
                                       .plus(global("packageinstalledfile")));
  AT(44) osFunction("system")(command);
  AT(45)
  if (global("os_path").attr("exists")(global("packageinstalledfile")).truthy()) {
    AT(46) const Object& file = at.local(global("open")({global("packageinstalledfile"), "rb"}));
    with(file, at, [&](const Object& opened) {
      AT(47) packages = opened.attr("read")().attr("splitlines")();
    });
    AT(48) global("remove")(global("packageinstalledfile"));
  }
  AT(49) return packages;
}

// "Zirk ", the image's version and the receiver's name. A model without a row leaves it open.
const Object& getHeader(Args /*args*/, Call& at) {
  AT(52) const Object& version = at.local(global("getZirkVersionString")());
  AT(53) Local header(at, literal("Zirk ").plus(version).plus(" (Vu+ "));
  int line = 54;  // two lines a model: the test, and what is appended
  for (const Model& model : kModels) {
    AT(line)
    if (global("vumodel").equals(Name::ofTable(model.key))) {
      AT(line + 1) header.add(Name::ofTable(model.text));
      break;
    }
    line += 2;
  }
  AT(84) return header;
}

// clang-format off
const Function kFunctions[] = {
    {"getInstalled", 41, getInstalled, {}, "Return the names of the installed packages (a list)."},
    {"getHeader", 51, getHeader, {}, "Return the line that names image version and receiver."},
};
// clang-format on

}  // namespace

Functions receiverFunctions() { return Functions(kFunctions); }

}  // namespace kelvaro
