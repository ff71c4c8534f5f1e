#include "update_info.h"

#include "python/globals.h"
#include "screen.h"

namespace kelvaro {

using namespace python;

namespace {

constexpr Action kActions[] = {
    {"red", "closeNews"},
    {"green", "greenPressed"},
    {"yellow", "yellowPressed"},
    {"blue", "bluePressed"},
    {"cancel", "closeNews"},
    // Crossed on purpose.
    {"nextEvent", "prevUpdate"},
    {"prevEvent", "nextUpdate"},
    {"pageUp", "pageUp"},
    {"pageDown", "pageDown"},
};

const Object& init(Args args, Call& at) {
  const Object& self = args[0];
  const Object& session = args[1];
  const Object& index = args[2];
  const Object& showUpgradable = args[3];

  AT(353) self.set("session", session);
  AT(354) global("Screen").attr("__init__")({self, session});
  AT(355) self.set("skinName", list({"ZirkUpdateInfo"}));
  AT(356) self.set("title", global("_")("News about ZIRK"));
  try {
    AT(358) self.setItem("title", global("StaticText")(self.attr("title")));
  } catch (const PythonError& thrown) {
    Caught any(at, thrown);  // then the screen has no title, whatever the reason
  }
  AT(361) self.set("Console", none());
  AT(362) self.set("list", global("load_cache")());
  AT(363) self.set("idx", index);
  AT(364) self.set("infotxt", self.attr("list").item(self.attr("idx")));
  AT(365) self.setItem("update", global("ScrollLabel")(self.attr("getNews")()));
  AT(366) self.setItem("header", global("Label")(self.attr("getHeaderWithDate")()));
  AT(367) addText(self, "key_red", "Close");
  AT(368) addText(self, "key_green", "Update");
  AT(369) addText(self, "key_yellow", " ");
  AT(370) addText(self, "key_blue", "show Updates");
  AT(371)
  self.setItem("actions",
               global("ActionMap")({list({"ColorActions", "SetupActions", "EventViewActions"}),
                                    boundActions(self, kActions), -1}));
  AT(383)
  if (showUpgradable.truthy()) {
    AT(384) self.attr("bluePressed")();
  }
  return none();
}

const Object& getText(Args args, Call& at) {
  const Object& self = args[0];
  const Object& what = args[1];
  Local text(at);

  AT(388) self.set("what", what);
  AT(389)
  if (self.attr("what").equals("news")) {
    AT(390) text = self.attr("getNews")();
  } else if (at(391), self.attr("what").equals("updates")) {
    AT(392) text = self.attr("getUpdates")();
  } else if (at(393), self.attr("what").equals("header")) {
    AT(394) text = self.attr("getHeaderWithDate")();
  }
  AT(395) return text.boundAs("ret");
}

// --- The two views. No field tells them apart; only the texts do.

// Sets the title. What goes wrong there is not worth the screen: only exceptions that don't derive
// from Exception pass.
void setTitle(const Object& self, Call& at, int line, Name title) {
  try {
    AT(line) showText(self, "title", title);
  } catch (const PythonError& thrown) {
    Caught error(at, thrown);
    AT(line + 1)
    if (!error.is(global("Exception"))) {
      error.rethrow();
    }
  }
}

// To the view of the upgradable packages.
const Object& bluePressed(Args args, Call& at) {
  const Object& self = args[0];

  setTitle(self, at, 399, "Upgradable Packages");
  AT(402) showText(self, "key_blue", " ");
  AT(403) showText(self, "key_yellow", "show News");
  AT(404) showText(self, "update", "Please wait ...");
  AT(405) self.attr("getUpdates")();
  return none();
}

// Back to the view of the news entry.
const Object& yellowPressed(Args args, Call& at) {
  const Object& self = args[0];

  setTitle(self, at, 409, "News about ZIRK");
  AT(412) showText(self, "key_blue", "show Updates");
  AT(413) showText(self, "key_yellow", " ");
  AT(414) self.item("update").attr("setText")(self.attr("getText")("news"));
  return none();
}

const Object& pageUp(Args args, Call& at) {
  AT(417) args[0].item("update").attr("pageUp")();
  return none();
}

const Object& pageDown(Args args, Call& at) {
  AT(420) args[0].item("update").attr("pageDown")();
  return none();
}

// --- Stepping through the news, without wrapping around.

void step(const Object& self, int by) { self.set("idx", self.attr("idx").increasedBy(by)); }

const Object& nextUpdate(Args args, Call& at) {
  const Object& self = args[0];

  AT(423)
  if (self.attr("idx").plus(1).lessThan(global("len")(self.attr("list")))) {
    AT(424) step(self, 1);
    AT(425) self.attr("updateText")();
  }
  return none();
}

const Object& prevUpdate(Args args, Call& at) {
  const Object& self = args[0];

  AT(428)
  if (self.attr("idx").differs(0)) {
    AT(429) step(self, -1);
    AT(430) self.attr("updateText")();
  }
  return none();
}

// Shows the entry at idx. The title stays, also that of the upgradable packages.
const Object& updateText(Args args, Call& at) {
  const Object& self = args[0];

  AT(433) self.set("infotxt", self.attr("list").item(self.attr("idx")));
  AT(434) self.item("update").attr("setText")(self.attr("getNews")());
  AT(435) self.item("header").attr("setText")(self.attr("getHeaderWithDate")());
  AT(436) showText(self, "key_blue", "show Updates");
  AT(437) showText(self, "key_yellow", " ");
  return none();
}

const Object& greenPressed(Args args, Call& at) {
  AT(440) args[0].attr("session").attr("open")(global("UpdatePlugin"));
  return none();
}

// Stops a pending opkg and hands back the entry last shown.
const Object& closeNews(Args args, Call& at) {
  const Object& self = args[0];

  AT(443)
  if (!self.attr("Console").isNone()) {
    AT(444)
    if (self.attr("Console").attr("appContainers").truthy()) {
      AT(445)
      for (const Object& name :
           each(self.attr("Console").attr("appContainers").attr("keys")(), at)) {
        AT(446) self.attr("Console").attr("kill")(name);
      }
    }
  }
  AT(447) self.set("list", none());
  AT(448) self.attr("close")(self.attr("idx"));
  return none();
}

// The entry's items as text. An item without a text of its own reads "None".
const Object& getNews(Args args, Call& at) {
  const Object& self = args[0];

  AT(451) Local text(at, literal(""));
  AT(452)
  if (self.attr("infotxt").item(1).truthy()) {
    AT(453)
    for (const Object& item : each(self.attr("infotxt").item(1), at)) {
      AT(454) text.add(literal("* ").plus(global("str")(item.item(0))).plus("\n"));
      AT(455)
      if (item.item(1).truthy()) {
        AT(456)
        for (const Object& description : each(item.item(1), at)) {
          AT(457) text.add(literal("    - ").plus(global("str")(description)).plus("\n"));
        }
        AT(458) text.add("\n");
      }
    }
  }
  AT(459) return text;
}

const Object& getHeaderWithDate(Args args, Call& at) {
  const Object& self = args[0];

  AT(462) const Object& text = at.local(global("header").plus(self.attr("infotxt").item(0)));
  AT(463) return global("str")(text);
}

// --- The upgradable packages.

// Lists them with opkg, once for an opening of the browser: the listing stays in packagetmpfile.
const Object& getUpdates(Args args, Call& at) {
  const Object& self = args[0];

  AT(466)
  if (!global("fileExists")(global("packagetmpfile")).truthy()) {
    AT(467) self.set("Console", global("Console")());
    AT(468) const Object& command = literal("opkg update");
    AT(469)
    self.attr("Console").attr("ePopen")({command, self.attr("opkg_update_finished")});
  } else {
    AT(471)
    self.attr("opkg_upgrade_finished")({named("result", none()), named("retval", 0)});
  }
  return none();
}

// The package lists are fresh, or as fresh as they can be had.
const Object& opkgUpdateFinished(Args args, Call& at) {
  const Object& self = args[0];

  AT(474)
  if (!self.attr("Console").truthy()) {
    AT(475) self.set("Console", global("Console")());
  }
  AT(476)
  const Object& command =
      at.local(literal("opkg list-upgradable > %s").format(global("packagetmpfile")));
  AT(477)
  self.attr("Console").attr("ePopen")({command, self.attr("opkg_upgrade_finished")});
  return none();
}

const Object& opkgUpgradeFinished(Args args, Call& at) {
  const Object& self = args[0];
  Local text(at);

  AT(480)
  if (global("fileExists")(global("packagetmpfile")).truthy()) {
    AT(481) const Object& file = at.local(global("open")({global("packagetmpfile"), "r"}));
    AT(482) const Object& lines = at.local(file.attr("readlines")());
    AT(483) file.attr("close")();
    AT(484) text = literal("");
    AT(485)
    for (const Object& line : each(lines, at)) {
      AT(486) const Object& parts = at.local(line.attr("split")(" - "));
      AT(487)
      if (global("len")(parts).lessThan(3)) {
        continue;
      }
      AT(489) const Object& name = at.local(parts.item(0).attr("strip")());
      AT(490) const Object& oldVersion = at.local(parts.item(1).attr("strip")());
      AT(491) const Object& newVersion = at.local(parts.item(2).attr("strip")());
      AT(492)
      if (name.equals("")) {
        continue;
      }
      AT(494)
      text.add(global("_")("\nPackage : %s \nold version : %s \nnew version : %s\n")
                   .format(tuple({name, oldVersion, newVersion})));
    }
    AT(495)
    if (text->equals("")) {
      AT(496) text = global("_")("\nYour System is up to date");
    } else {
      AT(498)
      global("config").attr("usage").attr("update_available").set("value", true);
    }
  } else {
    AT(500)
    text = global("_")("It seems that your Internet connection is not ok, please check it");
  }
  AT(501) self.item("update").attr("setText")(text);
  return none();
}

// clang-format off
const Function kMethods[] = {
    {"__init__", 352, init, {"self", "session", {"idx", zero}, {"show_upgradable", no}},
     "Build the screen for the news entry number idx, or with its upgradable packages."},
    {"getText", 387, getText, {"self", "what"},
     "Return the text of what: \"news\" or \"header\"; \"updates\" starts the listing."},
    {"bluePressed", 397, bluePressed, {"self"}, "Show the upgradable packages."},
    {"yellowPressed", 407, yellowPressed, {"self"}, "Show the news entry."},
    {"pageUp", 416, pageUp, {"self"}, "Scroll the text up by a page."},
    {"pageDown", 419, pageDown, {"self"}, "Scroll the text down by a page."},
    {"nextUpdate", 422, nextUpdate, {"self"}, "Step to the next entry, if there is one."},
    {"prevUpdate", 427, prevUpdate, {"self"}, "Step to the previous entry, if there is one."},
    {"updateText", 432, updateText, {"self"}, "Show the entry at idx."},
    {"greenPressed", 439, greenPressed, {"self"}, "Open the software update screen."},
    {"closeNews", 442, closeNews, {"self"}, "Stop what runs and close with idx."},
    {"getNews", 450, getNews, {"self"}, "Return the text of the entry shown."},
    {"getHeaderWithDate", 461, getHeaderWithDate, {"self"},
     "Return the image header and the entry's title."},
    {"getUpdates", 465, getUpdates, {"self"}, "List the upgradable packages, once."},
    {"opkg_update_finished", 473, opkgUpdateFinished,
     {"self", "result", "retval", {"extra_args", none}},
     "Go on to the listing after \"opkg update\", however that ended."},
    {"opkg_upgrade_finished", 479, opkgUpgradeFinished,
     {"self", "result", "retval", {"extra_args", none}},
     "Show the listing that lies in packagetmpfile."},
};
// clang-format on

}  // namespace

Functions updateInfoMethods() { return Functions(kMethods); }

}  // namespace kelvaro
