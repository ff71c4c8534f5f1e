// What the receiver is and what it has installed.
#include "module.h"

namespace kelvaro {

using namespace python;

namespace {

struct Model {
  int line;  // of the test; the text is appended on the next one
  Str key;   // what the host calls the receiver
  Str text;  // how the header line ends for it
};

constexpr Model kModels[] = {
    {54, "duo"_s, "Duo)\n"_s},
    {56, "solo"_s, "Solo)\n"_s},
    {58, "uno"_s, "Uno)\n"_s},
    {60, "ultimo"_s, "Ultimo)\n"_s},
    {62, "solo2"_s, "Solo2)\n"_s},
    {64, "duo2"_s, "Duo2)\n"_s},
    {66, "solose"_s, "Solo SE)\n"_s},
    {68, "zero"_s, "zero)\n"_s},  // lower case, as it has always been shown
    {70, "solo4k"_s, "Solo 4K)\n"_s},
    {72, "ultimo4k"_s, "Ultimo 4K)\n"_s},
    {74, "uno4k"_s, "Uno 4K)\n"_s},
    {76, "uno4kse"_s, "Uno 4K SE)\n"_s},
    {78, "zero4k"_s, "Zero 4K)\n"_s},
    {80, "duo4k"_s, "Duo 4K)\n"_s},
    {82, "duo4kse"_s, "Duo 4K SE)\n"_s},
};

// The installed packages by name, in opkg's order; none when opkg could not be asked.
DEF(41, getInstalled, (At at), "Return the names of the installed packages (a list).") {
  AT(42) Variable packages = list();
  // BusyBox's cut takes field 0 for field 1; GNU's refuses it and leaves the file empty.
  AT(43)
  const Local command = ("/usr/bin/opkg list-installed | cut -f'0' -d ' ' > "_s.plus(
      global("packageinstalledfile"_s)));
  AT(44) osFunction("system"_s)(command);
  AT(45)
  if (global("os_path"_s).attr("exists"_s)(global("packageinstalledfile"_s)).truthy()) {
    AT(46) const Local file = global("open"_s)({global("packageinstalledfile"_s), "rb"_s});
    with(file, at, [&](Local opened) {
      AT(47) packages = opened.call("read"_s).call("splitlines"_s);
    });
    AT(48) global("remove"_s)(global("packageinstalledfile"_s));
  }
  AT(49) return packages;
}

// "Zirk ", the image's version and the receiver's name. Without a row it ends at "(Vu+ ".
DEF(51, getHeader, (At at), "Return the line that names image version and receiver.") {
  AT(52) const Local version = global("getZirkVersionString"_s)();
  AT(53) Variable header = "Zirk "_s.plus(version).plus(" (Vu+ "_s);
  for (const auto& [line, key, text] : kModels) {
    AT(line)
    if (global("vumodel"_s).equals(key)) {
      AT(line + 1) header.add(text);
      break;
    }
  }
  AT(84) return header;
}

const Function kFunctions[] = {FUNCTION(getInstalled), FUNCTION(getHeader)};

}  // namespace

Functions receiverFunctions() { return Functions(kFunctions); }

}  // namespace kelvaro
