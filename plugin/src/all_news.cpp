// AllNews: the news browser, with the Top 20 package chooser.
#include "module.h"
#include "python/membership.h"
#include "screen.h"

namespace kelvaro {

using namespace python;

namespace {

Object icon(Str file) {
  return global("LoadPixmap"_s)(
      {named("cached"_s, true),
       named("path"_s, global("resolveFilename"_s)({global("SCOPE_PLUGINS"_s), file}))});
}

constexpr Action kActions[] = {
    {"ok"_s, "runMenuEntry"_s}, {"cancel"_s, "keyCancel"_s}, {"green"_s, "greenKey"_s},
    {"red"_s, "keyCancel"_s},   {"blue"_s, "blueKey"_s},     {"yellow"_s, "keyYellow"_s},
};

// Nothing is fetched here, so the screen appears at once, with a row that asks for patience.
DEF(177, init, (At at, Local self, Local session, Local plugin_path, Local args = 0),
    "Build the screen; plugin_path is the plug-in's directory, args is not used.") {
  AT(178) global("Screen"_s).call("__init__"_s, self, session);
  AT(179) self.set("skinName"_s, list({"AllNews"_s, "BackupSuite"_s}));
  AT(180) self.set("skin_path"_s, plugin_path);
  AT(181) self.set("session"_s, session);
  AT(182) self.set("title"_s, translated("News about ZIRK"_s));
  AT(183) self.setItem("title"_s, global("StaticText"_s)(self.attr("title"_s)));
  AT(184)
  self.set("png_normal"_s, icon("SystemPlugins/ZIRKPanel/pictures/update_normal.png"_s));
  AT(185) self.set("png_info"_s, icon("SystemPlugins/ZIRKPanel/pictures/update_info.png"_s));
  AT(186)
  self.set("png_urgent"_s, icon("SystemPlugins/ZIRKPanel/pictures/update_urgent.png"_s));
  AT(187)
  self.set("list"_s,
           list({tuple({"loading"_s, translated("Please wait ..."_s), self.attr("png_info"_s)})}));
  AT(188) self.setItem("menu"_s, global("List"_s)(self.attr("list"_s)));
  AT(189) self.setItem("status"_s, global("Label"_s)());
  AT(190) self.setItem("header"_s, global("Label"_s)(global("header"_s)));
  AT(191) addText(self, "key_red"_s, "Exit"_s);
  AT(192) addText(self, "key_green"_s, "Update"_s);
  AT(193) addText(self, "key_blue"_s, "show Updates"_s);
  AT(194) addText(self, "key_yellow"_s, "Top 20"_s);
  AT(195) self.setItem("key_info"_s, global("StaticText"_s)());
  AT(196)
  self.setItem("shortcuts"_s, global("ActionMap"_s)({list({"SetupActions"_s, "ColorActions"_s}),
                                                     boundActions(self, kActions), -2}));
  AT(205) self.attr("onLayoutFinish"_s).attr("append"_s)(self.attr("setMenu"_s));
  return none;
}

// --- Top 20: the most downloaded packages, by category.

struct Category {
  Str section;  // the line of the statistics that opens it
  Str key;      // in the chooser; also the attribute with its package choices
  Str prefix;   // of its packages, after "enigma2-plugin-"
  Str title;    // shown, translated
  // The lines of the statements about it.
  int emptied;   // empties its choices
  int opened;    // asks whether a line opens its section
  int prefixed;  // prefixes a package's name
  int added;     // adds a choice
  int offered;   // asks whether it has choices; the chooser's row follows
  int chosen;    // asks whether it was chosen; its choices and title follow
};
constexpr Category kExtensions{
    "EXTENSIONS"_s, "extensions"_s, "extensions-"_s, "Extensions"_s, 220, 226, 239, 254, 260, 276};
constexpr Category kSystemPlugins{"SYSTEMPLUGINS"_s,
                                  "systemplugins"_s,
                                  "systemplugins-"_s,
                                  "Systemplugins"_s,
                                  221,
                                  228,
                                  241,
                                  256,
                                  262,
                                  282};
constexpr Category kSkins{"SKINS"_s, "skins"_s, "skin-"_s, "Skins"_s, 222, 230, 243, 258, 264, 279};
constexpr const Category* kCategories[] = {&kExtensions, &kSystemPlugins, &kSkins};
constexpr const Category* kAsAskedFor[] = {&kExtensions, &kSkins, &kSystemPlugins};

// The category that a line of the statistics opens, or null.
const Category* openedBy(const Local& line, Call& at) {
  for (const Category* category : kCategories) {
    AT(category->opened)
    if (line.equals(category->section)) {
      return category;
    }
  }
  return nullptr;
}

// What the chooser takes for the package of a record: its label, and a key that says what to do.
Object packageChoice(const Local& record, const Category* category, const Membership& installed,
                     Call& at) {
  AT(236) const Local name = record.item(0).call("title"_s);
  AT(237) Variable package = "enigma2-plugin-"_s;
  if (category != nullptr) {
    AT(category->prefixed) package.add(category->prefix);
  }
  AT(244) package.add(record.item(0));
  AT(245) const Local count = record.item(1);
  AT(246) Variable action = " - "_s.plus(translated("Remove"_s));
  AT(247)
  if (!installed.has(package)) {
    AT(248) action = " - "_s.plus(translated("Install"_s));
    AT(249) package.add("_install"_s);
  } else {
    AT(251) package.add("_installed"_s);
  }
  AT(252)
  return tuple(
      {name.plus("   ("_s).plus(global("str"_s)(count)).plus(")"_s).plus(action), package});
}

// Sorts the statistics into the package choices of the categories and opens the first chooser.
DEF(215, keyYellow, (At at, Local self), "Offer the most downloaded packages.") {
  AT(216) const Local statistics = global("getDownloadStats"_s)();
  AT(217)
  if (statistics.isNone()) {
    AT(218) return none;
  }
  AT(219) const Local lines = statistics.call("split"_s, "\n"_s);
  for (const Category* category : kCategories) {
    AT(category->emptied) self.set(category->key, list());
  }
  AT(223) const Membership installed(global("getInstalled"_s)());
  const Category* category = nullptr;  // records before the first section belong to none
  AT(225)
  for (Local line : each(lines, at)) {
    const Category* opened = openedBy(line, at);
    if (opened != nullptr) {
      category = opened;
      continue;
    }
    AT(233) const Local record = line.call("split"_s, ";"_s);
    AT(234)
    if (global("len"_s)(record).lessThan(2)) {
      continue;
    }
    const Local choice = packageChoice(record, category, installed, at);
    if (category != nullptr) {
      AT(category->added) self.attr(category->key).call("append"_s, choice);
    }
  }
  AT(259) self.set("c_l"_s, list());
  for (const Category* offer : kCategories) {
    AT(offer->offered)
    if (self.attr(offer->key).truthy()) {
      AT(offer->offered + 1)
      self.attr("c_l"_s).attr("append"_s)(tuple({translated(offer->title), offer->key}));
    }
  }
  AT(266) self.call("selectTop"_s);
  return none;
}

DEF(269, selectTop, (At at, Local self), "Open the chooser of the categories.") {
  AT(270)
  self.attr("session"_s)
      .attr("openWithCallback"_s)({self.attr("gotTopSelection"_s), global("ChoiceBox"_s),
                                   named("title"_s, translated("Top 20"_s)),
                                   named("list"_s, self.attr("c_l"_s)), named("keys"_s, false)});
  return none;
}

// Offers the packages of the chosen category; without one the news list is in front again.
DEF(272, gotTopSelection, (At at, Local self, Local ret),
    "Open the chooser of the packages of the category ret, a tuple (title, key) or None.") {
  AT(273) Variable choices = list();
  Variable suffix = ""_s;
  AT(275)
  if (!ret.isNone()) {
    for (const Category* category : kAsAskedFor) {
      AT(category->chosen)
      if (ret.item(1).equals(category->key)) {
        AT(category->chosen + 1) choices = self.attr(category->key);
        AT(category->chosen + 2) suffix = " - "_s.plus(translated(category->title));
        break;
      }
    }
  }
  AT(285)
  if (choices.truthy()) {
    AT(286)
    self.attr("session"_s)
        .attr("openWithCallback"_s)({self.attr("exitChoiceBox"_s), global("ChoiceBox"_s),
                                     named("title"_s, translated("Top 20"_s).plus(suffix)),
                                     named("list"_s, choices), named("keys"_s, false)});
  }
  return none;
}

DEF(288, exitChoiceBox, (At at, Local self, Local ret),
    "Install or remove the package of ret, a tuple (label, action key) or None.") {
  AT(289)
  if (ret.isNone() || global("len"_s)(ret).differs(2)) {
    AT(290) self.call("selectTop"_s);
    AT(291) return none;
  }
  AT(292)
  const Local commands = list({tuple({global("IpkgComponent"_s).attr("CMD_UPDATE"_s), none})});
  AT(293)
  if (ret.item(1).call("endswith"_s, "_installed"_s).truthy()) {
    AT(294)
    const Local removal =
        tuple({global("IpkgComponent"_s).attr("CMD_REMOVE"_s),
               dict({named("package"_s, "--force-depends --autoremove "_s.plus(ret.item(1).call(
                                            "replace"_s, "_installed"_s, ""_s)))})});
    commands.append(removal);
  } else if (at(295), ret.item(1).call("endswith"_s, "_install"_s).truthy()) {
    AT(296)
    const Local installation =
        tuple({global("IpkgComponent"_s).attr("CMD_INSTALL"_s),
               dict({named("package"_s, ret.item(1).call("replace"_s, "_install"_s, ""_s))})});
    commands.append(installation);
  }
  AT(297)
  self.attr("session"_s)
      .attr("openWithCallback"_s)(
          {self.attr("ipkg_action_finished"_s), global("Ipkg"_s), named("cmdList"_s, commands)});
  return none;
}

// Some hosts' package screen closes without a value, so there may be no argument.
DEF(299, ipkg_action_finished, (At at, Local self, Local ret = none),
    "Start again with fresh lists; ret is not used.") {
  AT(300) self.call("keyYellow"_s);
  return none;
}

// --- The other colour keys.

DEF(302, greenKey, (At at, Local self), "Open the software update screen.") {
  AT(303) self.attr("session"_s).attr("open"_s)(global("UpdatePlugin"_s));
  return none;
}

DEF(305, blueKey, (At at, Local self), "Open the view of the upgradable packages.") {
  AT(306) self.attr("runMenuEntry"_s)({named("show_upgradable"_s, true)});
  return none;
}

// --- The list of news.

// Gives the host a moment to draw the screen before createMenu blocks it.
DEF(308, setMenu, (At at, Local self), "Have the list filled in a moment.") {
  AT(309) self.set("delayTimer"_s, global("eTimer"_s)());
  AT(310) self.attr("delayTimer"_s).call("start"_s, 100, true);
  AT(311) self.attr("delayTimer"_s).attr("callback"_s).attr("append"_s)(self.attr("createMenu"_s));
  return none;
}

DEF(314, createMenu, (At at, Local self), "Fetch the news and fill the list.") {
  Variable message;  // set for the failures that parse_xml reports; for others its use fails

  AT(315) self.set("list"_s, list());
  AT(316) const Local status = global("parse_xml"_s)();
  AT(317)
  if (status.equals(1)) {
    AT(318)
    for (Local entry : each(global("load_cache"_s)(), at)) {
      AT(319) const Local kind = global("str"_s)(entry.item(2));
      AT(320) Variable pixmap = self.attr("png_normal"_s);
      AT(321)
      if (kind.equals("urgent"_s)) {
        AT(322) pixmap = self.attr("png_urgent"_s);
      } else if (at(323), kind.equals("info"_s)) {
        AT(324) pixmap = self.attr("png_info"_s);
      }
      AT(325)
      self.attr("list"_s).attr("append"_s)(tuple({entry, global("str"_s)(entry.item(0)), pixmap}));
    }
  } else if (at(326), status.equals(2)) {
    AT(327)
    message = translated("It seems that your Internet connection is not ok, please check it"_s);
  } else if (at(328), status.equals(3)) {
    AT(329)
    message =
        translated("The news file can not be analyzed, please be patient and try again later"_s);
  }
  AT(330) self.item("menu"_s).attr("updateList"_s)(self.attr("list"_s));
  AT(331)
  if (status.greaterThan(1)) {
    AT(332)
    self.attr("session"_s)
        .attr("open"_s)({global("MessageBox"_s), message.boundAs("message"_s),
                         global("MessageBox"_s).attr("TYPE_ERROR"_s), named("timeout"_s, 30)});
  }
  return none;
}

DEF(336, runMenuEntry, (At at, Local self, Local show_upgradable = false),
    "Open the selected entry, or with show_upgradable the upgradable packages.") {
  AT(337) const Local index = self.item("menu"_s).call("getIndex"_s);
  AT(338)
  if (index.truthy() || global("len"_s)(self.attr("list"_s)).differs(0)) {
    AT(339)
    self.attr("session"_s)
        .attr("openWithCallback"_s)(
            {self.attr("setMenuIndex"_s), global("ZirkUpdateInfo"_s), index, show_upgradable});
  }
  return none;
}

// The detail screen has closed at this entry.
DEF(341, setMenuIndex, (At at, Local self, Local idx = 0),
    "Put the cursor on the row with the number idx.") {
  AT(342) self.item("menu"_s).call("setIndex"_s, idx);
  return none;
}

// Red and cancel: the news lives only as long as the screen.
DEF(344, keyCancel, (At at, Local self), "Remove the scratch files and close.") {
  AT(345) self.set("list"_s, none);
  AT(346)
  for (Local path : each(tuple({global("packagetmpfile"_s), global("cache_file"_s)}), at)) {
    AT(347)
    if (global("fileExists"_s)(path).truthy()) {
      AT(348) global("remove"_s)(path);
    }
  }
  AT(349) self.call("close"_s);
  return none;
}

const Function kMethods[] = {FUNCTION(init),          FUNCTION(keyYellow),
                             FUNCTION(selectTop),     FUNCTION(gotTopSelection),
                             FUNCTION(exitChoiceBox), FUNCTION(ipkg_action_finished),
                             FUNCTION(greenKey),      FUNCTION(blueKey),
                             FUNCTION(setMenu),       FUNCTION(createMenu),
                             FUNCTION(runMenuEntry),  FUNCTION(setMenuIndex),
                             FUNCTION(keyCancel)};

}  // namespace

Functions allNewsMethods() { return Functions(kMethods); }

}  // namespace kelvaro
