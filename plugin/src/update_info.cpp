// ZirkUpdateInfo: one news entry in full, and the view of the upgradable packages.
#include "module.h"
#include "screen.h"

namespace kelvaro {

using namespace python;

namespace {

constexpr Action kActions[] = {
    {"red"_s, "closeNews"_s},
    {"green"_s, "greenPressed"_s},
    {"yellow"_s, "yellowPressed"_s},
    {"blue"_s, "bluePressed"_s},
    {"cancel"_s, "closeNews"_s},
    // Crossed on purpose.
    {"nextEvent"_s, "prevUpdate"_s},
    {"prevEvent"_s, "nextUpdate"_s},
    {"pageUp"_s, "pageUp"_s},
    {"pageDown"_s, "pageDown"_s},
};

DEF(352, init, (At at, Local self, Local session, Local idx = 0, Local show_upgradable = false),
    "Build the screen for news entry idx; with show_upgradable, show the upgradable packages.") {
  AT(353) self.set("session"_s, session);
  AT(354) global("Screen"_s).call("__init__"_s, self, session);
  AT(355) self.set("skinName"_s, list({"ZirkUpdateInfo"_s}));
  AT(356) self.set("title"_s, translated("News about ZIRK"_s));
  try {
    AT(358) self.setItem("title"_s, global("StaticText"_s)(self.attr("title"_s)));
  } catch (PythonError& thrown) {
    Caught any(at, thrown);  // then the screen has no title, whatever the reason
  }
  AT(361) self.set("Console"_s, none);
  AT(362) self.set("list"_s, global("load_cache"_s)());
  AT(363) self.set("idx"_s, idx);
  AT(364) self.set("infotxt"_s, self.attr("list"_s).item(self.attr("idx"_s)));
  AT(365) self.setItem("update"_s, global("ScrollLabel"_s)(self.call("getNews"_s)));
  AT(366) self.setItem("header"_s, global("Label"_s)(self.call("getHeaderWithDate"_s)));
  AT(367) addText(self, "key_red"_s, "Close"_s);
  AT(368) addText(self, "key_green"_s, "Update"_s);
  AT(369) addText(self, "key_yellow"_s, " "_s);
  AT(370) addText(self, "key_blue"_s, "show Updates"_s);
  AT(371)
  self.setItem("actions"_s, global("ActionMap"_s)(
                                {list({"ColorActions"_s, "SetupActions"_s, "EventViewActions"_s}),
                                 boundActions(self, kActions), -1}));
  AT(383)
  if (show_upgradable.truthy()) {
    AT(384) self.call("bluePressed"_s);
  }
  return none;
}

DEF(387, getText, (At at, Local self, Local what),
    "Return the text of what: \"news\" or \"header\"; \"updates\" starts the listing.") {
  Variable text;

  AT(388) self.set("what"_s, what);
  AT(389)
  if (self.attr("what"_s).equals("news"_s)) {
    AT(390) text = self.call("getNews"_s);
  } else if (at(391), self.attr("what"_s).equals("updates"_s)) {
    AT(392) text = self.call("getUpdates"_s);
  } else if (at(393), self.attr("what"_s).equals("header"_s)) {
    AT(394) text = self.call("getHeaderWithDate"_s);
  }
  AT(395) return text.boundAs("ret"_s);
}

// --- The two views. No field tells them apart; only the texts do.

// Sets the title. A failure there must not cost the screen: only exceptions that don't derive
// from Exception pass.
void setTitle(const Local& self, Call& at, int line, int handler, Str title) {
  try {
    AT(line) showText(self, "title"_s, title);
  } catch (PythonError& thrown) {
    Caught error(at, thrown);
    AT(handler)
    if (!error.is(global("Exception"_s))) {
      error.rethrow();
    }
  }
}

DEF(397, bluePressed, (At at, Local self), "Show the upgradable packages.") {
  setTitle(self, at, 399, 400, "Upgradable Packages"_s);
  AT(402) showText(self, "key_blue"_s, " "_s);
  AT(403) showText(self, "key_yellow"_s, "show News"_s);
  AT(404) showText(self, "update"_s, "Please wait ..."_s);
  AT(405) self.call("getUpdates"_s);
  return none;
}

DEF(407, yellowPressed, (At at, Local self), "Show the news entry.") {
  setTitle(self, at, 409, 410, "News about ZIRK"_s);
  AT(412) showText(self, "key_blue"_s, "show Updates"_s);
  AT(413) showText(self, "key_yellow"_s, " "_s);
  AT(414) self.item("update"_s).attr("setText"_s)(self.call("getText"_s, "news"_s));
  return none;
}

DEF(416, pageUp, (At at, Local self), "Scroll the text up by a page.") {
  AT(417) self.item("update"_s).call("pageUp"_s);
  return none;
}

DEF(419, pageDown, (At at, Local self), "Scroll the text down by a page.") {
  AT(420) self.item("update"_s).call("pageDown"_s);
  return none;
}

// --- Stepping through the news, without wrapping around.

void step(const Local& self, int by) { self.set("idx"_s, self.attr("idx"_s).increasedBy(by)); }

DEF(422, nextUpdate, (At at, Local self), "Step to the next entry, if there is one.") {
  AT(423)
  if (self.attr("idx"_s).plus(1).lessThan(global("len"_s)(self.attr("list"_s)))) {
    AT(424) step(self, 1);
    AT(425) self.call("updateText"_s);
  }
  return none;
}

DEF(427, prevUpdate, (At at, Local self), "Step to the previous entry, if there is one.") {
  AT(428)
  if (self.attr("idx"_s).differs(0)) {
    AT(429) step(self, -1);
    AT(430) self.call("updateText"_s);
  }
  return none;
}

// The title stays, even that of the upgradable packages.
DEF(432, updateText, (At at, Local self), "Show the entry at idx.") {
  AT(433) self.set("infotxt"_s, self.attr("list"_s).item(self.attr("idx"_s)));
  AT(434) self.item("update"_s).attr("setText"_s)(self.call("getNews"_s));
  AT(435) self.item("header"_s).attr("setText"_s)(self.call("getHeaderWithDate"_s));
  AT(436) showText(self, "key_blue"_s, "show Updates"_s);
  AT(437) showText(self, "key_yellow"_s, " "_s);
  return none;
}

DEF(439, greenPressed, (At at, Local self), "Open the software update screen.") {
  AT(440) self.attr("session"_s).attr("open"_s)(global("UpdatePlugin"_s));
  return none;
}

// Stops a pending opkg and hands back the entry last shown.
DEF(442, closeNews, (At at, Local self), "Stop what runs and close with idx.") {
  AT(443)
  if (!self.attr("Console"_s).isNone()) {
    AT(444)
    if (self.attr("Console"_s).attr("appContainers"_s).truthy()) {
      AT(445)
      for (Local name : each(self.attr("Console"_s).attr("appContainers"_s).call("keys"_s), at)) {
        AT(446) self.attr("Console"_s).call("kill"_s, name);
      }
    }
  }
  AT(447) self.set("list"_s, none);
  AT(448) self.attr("close"_s)(self.attr("idx"_s));
  return none;
}

// An item without a text of its own reads "None".
DEF(450, getNews, (At at, Local self), "Return the text of the entry shown.") {
  AT(451) Variable text = ""_s;
  AT(452)
  if (self.attr("infotxt"_s).item(1).truthy()) {
    AT(453)
    for (Local item : each(self.attr("infotxt"_s).item(1), at)) {
      AT(454) text.add("* "_s.plus(global("str"_s)(item.item(0))).plus("\n"_s));
      AT(455)
      if (item.item(1).truthy()) {
        AT(456)
        for (Local description : each(item.item(1), at)) {
          AT(457) text.add("    - "_s.plus(global("str"_s)(description)).plus("\n"_s));
        }
        AT(458) text.add("\n"_s);
      }
    }
  }
  AT(459) return text;
}

DEF(461, getHeaderWithDate, (At at, Local self), "Return the image header and the entry's title.") {
  AT(462) const Local text = global("header"_s).plus(self.attr("infotxt"_s).item(0));
  AT(463) return global("str"_s)(text);
}

// --- The upgradable packages.

// Lists them with opkg, once each time the browser is opened: the listing stays in packagetmpfile.
DEF(465, getUpdates, (At at, Local self), "List the upgradable packages, once.") {
  AT(466)
  if (!global("fileExists"_s)(global("packagetmpfile"_s)).truthy()) {
    AT(467) self.set("Console"_s, global("Console"_s)());
    AT(468) const Local command = "opkg update"_s;
    AT(469)
    self.attr("Console"_s).attr("ePopen"_s)({command, self.attr("opkg_update_finished"_s)});
  } else {
    AT(471)
    self.attr("opkg_upgrade_finished"_s)({named("result"_s, none), named("retval"_s, 0)});
  }
  return none;
}

// The package lists are as fresh as opkg could make them.
DEF(473, opkg_update_finished,
    (At at, Local self, Local result, Local retval, Local extra_args = none),
    "Go on to the listing after \"opkg update\", however that ended.") {
  AT(474)
  if (!self.attr("Console"_s).truthy()) {
    AT(475) self.set("Console"_s, global("Console"_s)());
  }
  AT(476)
  const Local command = "opkg list-upgradable > %s"_s.format(global("packagetmpfile"_s));
  AT(477)
  self.attr("Console"_s).attr("ePopen"_s)({command, self.attr("opkg_upgrade_finished"_s)});
  return none;
}

DEF(479, opkg_upgrade_finished,
    (At at, Local self, Local result, Local retval, Local extra_args = none),
    "Show the listing that lies in packagetmpfile.") {
  Variable text;

  AT(480)
  if (global("fileExists"_s)(global("packagetmpfile"_s)).truthy()) {
    AT(481) const Local file = global("open"_s)({global("packagetmpfile"_s), "r"_s});
    AT(482) const Local lines = file.call("readlines"_s);
    AT(483) file.call("close"_s);
    AT(484) text = ""_s;
    AT(485)
    for (Local line : each(lines, at)) {
      AT(486) const Local parts = line.call("split"_s, " - "_s);
      AT(487)
      if (global("len"_s)(parts).lessThan(3)) {
        continue;
      }
      AT(489) const Local name = parts.item(0).call("strip"_s);
      AT(490) const Local oldVersion = parts.item(1).call("strip"_s);
      AT(491) const Local newVersion = parts.item(2).call("strip"_s);
      AT(492)
      if (name.equals(""_s)) {
        continue;
      }
      AT(494)
      text.add(translated("\nPackage : %s \nold version : %s \nnew version : %s\n"_s)
                   .format(tuple({name, oldVersion, newVersion})));
    }
    AT(495)
    if (text.equals(""_s)) {
      AT(496) text = translated("\nYour System is up to date"_s);
    } else {
      AT(498)
      global("config"_s).attr("usage"_s).attr("update_available"_s).set("value"_s, true);
    }
  } else {
    AT(500)
    text = translated("It seems that your Internet connection is not ok, please check it"_s);
  }
  AT(501) self.item("update"_s).call("setText"_s, text);
  return none;
}

const Function kMethods[] = {FUNCTION(init),
                             FUNCTION(getText),
                             FUNCTION(bluePressed),
                             FUNCTION(yellowPressed),
                             FUNCTION(pageUp),
                             FUNCTION(pageDown),
                             FUNCTION(nextUpdate),
                             FUNCTION(prevUpdate),
                             FUNCTION(updateText),
                             FUNCTION(greenPressed),
                             FUNCTION(closeNews),
                             FUNCTION(getNews),
                             FUNCTION(getHeaderWithDate),
                             FUNCTION(getUpdates),
                             FUNCTION(opkg_update_finished),
                             FUNCTION(opkg_upgrade_finished)};

}  // namespace

Functions updateInfoMethods() { return Functions(kMethods); }

}  // namespace kelvaro
