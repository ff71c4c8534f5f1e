#include "all_news.h"

#include "python/globals.h"
#include "python/membership.h"
#include "screen.h"

namespace kelvaro {

using namespace python;

namespace {

const Object& icon(Name file) {
  return global("LoadPixmap")(
      {named("cached", true),
       named("path", global("resolveFilename")({global("SCOPE_PLUGINS"), file}))});
}

constexpr Action kActions[] = {
    {"ok", "runMenuEntry"}, {"cancel", "keyCancel"}, {"green", "greenKey"},
    {"red", "keyCancel"},   {"blue", "blueKey"},     {"yellow", "keyYellow"},
};

// Nothing is fetched here: the screen shows at once, with a row that asks for patience.
const Object& init(Args args, Call& at) {
  const Object& self = args[0];
  const Object& session = args[1];
  const Object& pluginPath = args[2];

  AT(178) global("Screen").attr("__init__")({self, session});
  AT(179) self.set("skinName", list({"AllNews", "BackupSuite"}));
  AT(180) self.set("skin_path", pluginPath);
  AT(181) self.set("session", session);
  AT(182) self.set("title", global("_")("News about ZIRK"));
  AT(183) self.setItem("title", global("StaticText")(self.attr("title")));
  AT(184)
  self.set("png_normal", icon("SystemPlugins/ZIRKPanel/pictures/update_normal.png"));
  AT(185) self.set("png_info", icon("SystemPlugins/ZIRKPanel/pictures/update_info.png"));
  AT(186)
  self.set("png_urgent", icon("SystemPlugins/ZIRKPanel/pictures/update_urgent.png"));
  AT(187)
  self.set("list",
           list({tuple({"loading", global("_")("Please wait ..."), self.attr("png_info")})}));
  AT(188) self.setItem("menu", global("List")(self.attr("list")));
  AT(189) self.setItem("status", global("Label")());
  AT(190) self.setItem("header", global("Label")(global("header")));
  AT(191) addText(self, "key_red", "Exit");
  AT(192) addText(self, "key_green", "Update");
  AT(193) addText(self, "key_blue", "show Updates");
  AT(194) addText(self, "key_yellow", "Top 20");
  AT(195) self.setItem("key_info", global("StaticText")());
  AT(196)
  self.setItem("shortcuts", global("ActionMap")({list({"SetupActions", "ColorActions"}),
                                                 boundActions(self, kActions), -2}));
  AT(205) self.attr("onLayoutFinish").attr("append")(self.attr("setMenu"));
  return none();
}

// --- Top 20: the most downloaded packages, by category.

// The statements about a category stand at the same lines for each, two lines apart.
struct Category {
  const char* section;  // the line of the statistics that opens it
  const char* key;      // in the chooser; also the attribute with its package choices
  const char* prefix;   // of its packages, behind "enigma2-plugin-"
  const char* title;    // shown, translated
};
constexpr Category kCategories[] = {
    {"EXTENSIONS", "extensions", "extensions-", "Extensions"},
    {"SYSTEMPLUGINS", "systemplugins", "systemplugins-", "Systemplugins"},
    {"SKINS", "skins", "skin-", "Skins"},
};
constexpr int kNoCategory = -1;

// The category that a line of the statistics opens.
int openedBy(const Object& line, Call& at) {
  int category = 0;
  for (const auto& [section, key, prefix, title] : kCategories) {
    AT(226 + 2 * category)
    if (line.equals(Name::ofTable(section))) {
      return category;
    }
    ++category;
  }
  return kNoCategory;
}

// What the chooser takes for the package of a record: its label, and a key that says what to do.
const Object& packageChoice(const Object& record, int category, const Membership& installed,
                            Call& at) {
  AT(236) const Object& name = at.local(record.item(0).attr("title")());
  AT(237) Local package(at, literal("enigma2-plugin-"));
  if (category != kNoCategory) {
    AT(239 + 2 * category) package.add(Name::ofTable(kCategories[category].prefix));
  }
  AT(244) package.add(record.item(0));
  AT(245) const Object& count = at.local(record.item(1));
  AT(246) Local action(at, literal(" - ").plus(global("_")("Remove")));
  AT(247)
  if (!installed.has(package)) {
    AT(248) action = literal(" - ").plus(global("_")("Install"));
    AT(249) package.add("_install");
  } else {
    AT(251) package.add("_installed");
  }
  AT(252)
  return tuple({name.plus("   (").plus(global("str")(count)).plus(")").plus(action), package});
}

// Sorts the statistics into the package choices of the categories and opens the first chooser.
const Object& keyYellow(Args args, Call& at) {
  const Object& self = args[0];

  AT(216) const Object& statistics = at.local(global("getDownloadStats")());
  AT(217)
  if (statistics.isNone()) {
    AT(218) return none();
  }
  AT(219) const Object& lines = at.local(statistics.attr("split")("\n"));
  int statement = 220;
  for (const Category& category : kCategories) {
    AT(statement++) self.set(Name::ofTable(category.key), list());
  }
  AT(223) const Membership installed(global("getInstalled")(), at);
  int category = kNoCategory;  // the records before the first section are for nobody
  AT(225)
  for (const Object& line : each(lines, at)) {
    const int opened = openedBy(line, at);
    if (opened != kNoCategory) {
      category = opened;
      continue;
    }
    AT(233) const Object& record = at.local(line.attr("split")(";"));
    AT(234)
    if (global("len")(record).lessThan(2)) {
      continue;
    }
    const Object& choice = at.local(packageChoice(record, category, installed, at));
    if (category != kNoCategory) {
      AT(254 + 2 * category)
      self.attr(Name::ofTable(kCategories[category].key)).attr("append")(choice);
    }
  }
  AT(259) self.set("c_l", list());
  statement = 260;
  for (const auto& [section, key, prefix, title] : kCategories) {
    AT(statement)
    if (self.attr(Name::ofTable(key)).truthy()) {
      AT(statement + 1)
      self.attr("c_l").attr("append")(
          tuple({global("_")(Name::ofTable(title)), Name::ofTable(key)}));
    }
    statement += 2;
  }
  AT(266) self.attr("selectTop")();
  return none();
}

const Object& selectTop(Args args, Call& at) {
  const Object& self = args[0];

  AT(270)
  self.attr("session").attr("openWithCallback")(
      {self.attr("gotTopSelection"), global("ChoiceBox"), named("title", global("_")("Top 20")),
       named("list", self.attr("c_l")), named("keys", false)});
  return none();
}

// A category was chosen: offer its packages. None was: the news list is in front again.
const Object& gotTopSelection(Args args, Call& at) {
  const Object& self = args[0];
  const Object& category = args[1];

  AT(273) Local choices(at, list());
  Local suffix(at, literal(""));
  AT(275)
  if (!category.isNone()) {
    int line = 276;  // three lines a category, the skins before the system plug-ins
    for (int number : {0, 2, 1}) {
      const auto& [section, key, prefix, title] = kCategories[number];
      AT(line)
      if (category.item(1).equals(Name::ofTable(key))) {
        AT(line + 1) choices = self.attr(Name::ofTable(key));
        AT(line + 2) suffix = literal(" - ").plus(global("_")(Name::ofTable(title)));
        break;
      }
      line += 3;
    }
  }
  AT(285)
  if (choices->truthy()) {
    AT(286)
    self.attr("session").attr("openWithCallback")(
        {self.attr("exitChoiceBox"), global("ChoiceBox"),
         named("title", global("_")("Top 20").plus(suffix)), named("list", choices),
         named("keys", false)});
  }
  return none();
}

// A package was chosen: install or remove it, after a refresh of the package lists.
const Object& exitChoiceBox(Args args, Call& at) {
  const Object& self = args[0];
  const Object& choice = args[1];

  AT(289)
  if (choice.isNone() || global("len")(choice).differs(2)) {
    AT(290) self.attr("selectTop")();
    AT(291) return none();
  }
  AT(292)
  const Object& commands =
      at.local(list({tuple({global("IpkgComponent").attr("CMD_UPDATE"), none()})}));
  AT(293)
  if (choice.item(1).attr("endswith")("_installed").truthy()) {
    AT(294)
    commands.append(tuple(
        {global("IpkgComponent").attr("CMD_REMOVE"),
         dict({{"package", literal("--force-depends --autoremove ")
                               .plus(choice.item(1).attr("replace")({"_installed", ""}))}})}));
  } else if (at(295), choice.item(1).attr("endswith")("_install").truthy()) {
    AT(296)
    commands.append(tuple({global("IpkgComponent").attr("CMD_INSTALL"),
                           dict({{"package", choice.item(1).attr("replace")({"_install", ""})}})}));
  }
  AT(297)
  self.attr("session").attr("openWithCallback")(
      {self.attr("ipkg_action_finished"), global("Ipkg"), named("cmdList", commands)});
  return none();
}

// Some hosts' package screen closes without a value, so there may be no argument.
const Object& ipkgActionFinished(Args args, Call& at) {
  AT(300) args[0].attr("keyYellow")();
  return none();
}

// --- The other colour keys.

const Object& greenKey(Args args, Call& at) {
  AT(303) args[0].attr("session").attr("open")(global("UpdatePlugin"));
  return none();
}

const Object& blueKey(Args args, Call& at) {
  AT(306) args[0].attr("runMenuEntry")({named("show_upgradable", true)});
  return none();
}

// --- The list of news.

// Leaves the host a moment to draw the screen before createMenu blocks it.
const Object& setMenu(Args args, Call& at) {
  const Object& self = args[0];

  AT(309) self.set("delayTimer", global("eTimer")());
  AT(310) self.attr("delayTimer").attr("start")({100, true});
  AT(311) self.attr("delayTimer").attr("callback").attr("append")(self.attr("createMenu"));
  return none();
}

const Object& createMenu(Args args, Call& at) {
  const Object& self = args[0];
  Local message(at);  // chosen for the failures that parse_xml has; others stop at its use

  AT(315) self.set("list", list());
  AT(316) const Object& status = at.local(global("parse_xml")());
  AT(317)
  if (status.equals(1)) {
    AT(318)
    for (const Object& entry : each(global("load_cache")(), at)) {
      AT(319) const Object& kind = at.local(global("str")(entry.item(2)));
      AT(320) Local pixmap(at, self.attr("png_normal"));
      AT(321)
      if (kind.equals("urgent")) {
        AT(322) pixmap = self.attr("png_urgent");
      } else if (at(323), kind.equals("info")) {
        AT(324) pixmap = self.attr("png_info");
      }
      AT(325)
      self.attr("list").attr("append")(tuple({entry, global("str")(entry.item(0)), pixmap}));
    }
  } else if (at(326), status.equals(2)) {
    AT(327)
    message = global("_")("It seems that your Internet connection is not ok, please check it");
  } else if (at(328), status.equals(3)) {
    AT(329)
    message =
        global("_")("The news file can not be analyzed, please be patient and try again later");
  }
  AT(330) self.item("menu").attr("updateList")(self.attr("list"));
  AT(331)
  if (status.greaterThan(1)) {
    AT(332)
    self.attr("session").attr("open")({global("MessageBox"), message.boundAs("message"),
                                       global("MessageBox").attr("TYPE_ERROR"),
                                       named("timeout", 30)});
  }
  return none();
}

const Object& runMenuEntry(Args args, Call& at) {
  const Object& self = args[0];
  const Object& showUpgradable = args[1];

  AT(337) const Object& index = at.local(self.item("menu").attr("getIndex")());
  AT(338)
  if (index.truthy() || global("len")(self.attr("list")).differs(0)) {
    AT(339)
    self.attr("session").attr("openWithCallback")(
        {self.attr("setMenuIndex"), global("ZirkUpdateInfo"), index, showUpgradable});
  }
  return none();
}

// The detail screen has closed and says at which entry.
const Object& setMenuIndex(Args args, Call& at) {
  AT(342) args[0].item("menu").attr("setIndex")(args[1]);
  return none();
}

// Red and cancel: the news live only as long as the screen.
const Object& keyCancel(Args args, Call& at) {
  const Object& self = args[0];

  AT(345) self.set("list", none());
  AT(346)
  for (const Object& path : each(tuple({global("packagetmpfile"), global("cache_file")}), at)) {
    AT(347)
    if (global("fileExists")(path).truthy()) {
      AT(348) global("remove")(path);
    }
  }
  AT(349) self.attr("close")();
  return none();
}

// clang-format off
const Function kMethods[] = {
    {"__init__", 177, init, {"self", "session", "plugin_path", {"args", zero}},
     "Build the screen; plugin_path is the plug-in's directory, args is not used."},
    {"keyYellow", 215, keyYellow, {"self"}, "Offer the most downloaded packages."},
    {"selectTop", 269, selectTop, {"self"}, "Open the chooser of the categories."},
    {"gotTopSelection", 272, gotTopSelection, {"self", "ret"},
     "Open the chooser of the packages of the category ret, a tuple (title, key) or None."},
    {"exitChoiceBox", 288, exitChoiceBox, {"self", "ret"},
     "Install or remove the package of ret, a tuple (label, action key) or None."},
    {"ipkg_action_finished", 299, ipkgActionFinished, {"self", {"ret", none}},
     "Start again with fresh lists; ret is not used."},
    {"greenKey", 302, greenKey, {"self"}, "Open the software update screen."},
    {"blueKey", 305, blueKey, {"self"}, "Open the view of the upgradable packages."},
    {"setMenu", 308, setMenu, {"self"}, "Have the list filled in a moment."},
    {"createMenu", 314, createMenu, {"self"}, "Fetch the news and fill the list."},
    {"runMenuEntry", 336, runMenuEntry, {"self", {"show_upgradable", no}},
     "Open the selected entry, or with show_upgradable the upgradable packages."},
    {"setMenuIndex", 341, setMenuIndex, {"self", {"idx", zero}},
     "Put the cursor on the row with the number idx."},
    {"keyCancel", 344, keyCancel, {"self"}, "Remove the scratch files and close."},
};
// clang-format on

}  // namespace

Functions allNewsMethods() { return Functions(kMethods); }

}  // namespace kelvaro
