// UpdateNotification: tells the user in the background that updates wait.
#include "module.h"
#include "screen.h"

namespace kelvaro {

using namespace python;

namespace {

Object usage(Str entry) { return global("config"_s).attr("usage"_s).attr(entry); }

struct RearmLines {
  int test, compute, start;
};

// Arms the timer for the next check, unless the user wants none. The setting is read at each use,
// so that a change holds from the next cycle on.
void rearm(const Local& self, Call& at, const RearmLines& lines) {
  AT(lines.test)
  if (usage("check_for_updates"_s).attr("value"_s).greaterThan(0)) {
    AT(lines.compute)  // hours to milliseconds
    const Local interval = usage("check_for_updates"_s).attr("value"_s).times(1000).times(3600);
    AT(lines.start) self.attr("update_timer"_s).call("start"_s, interval, true);
  }
}

DEF(505, setSession, (At at, Local self, Local session, Local plugin_path),
    "Keep the host's session and the plug-in's directory.") {
  AT(506) self.set("session"_s, session);
  AT(507) self.set("plugin_path"_s, plugin_path);
  return none;
}

// The user has answered, or was not asked (None). Only now is the next check armed.
DEF(509, show_Kelvaro, (At at, Local self, Local res),
    "Arm the next check; open the news browser if res, the user's answer, is true.") {
  rearm(self, at, {510, 511, 512});
  AT(513)
  if (res.truthy()) {
    AT(514) const Local file = global("open"_s)({global("packagetmpfile"_s), "w+"_s});
    AT(515) file.attr("write"_s)(self.attr("upgradable_packages"_s));
    AT(516) file.call("close"_s);
    AT(517)
    self.attr("session"_s).attr("open"_s)({global("AllNews"_s), self.attr("plugin_path"_s)});
  }
  return none;
}

DEF(519, check_updates, (At at, Local self), "Start a check with \"opkg update\".") {
  AT(520) self.set("Console"_s, global("Console"_s)());
  AT(521) const Local command = "opkg update"_s;
  AT(522) self.attr("Console"_s).attr("ePopen"_s)({command, self.attr("opkg_update_finished"_s)});
  return none;
}

DEF(524, opkg_update_finished,
    (At at, Local self, Local result, Local retval, Local extra_args = none),
    "Go on to the listing after \"opkg update\", however that ended.") {
  AT(525)
  if (!self.attr("Console"_s).truthy()) {
    AT(526) self.set("Console"_s, global("Console"_s)());
  }
  AT(527) const Local command = "opkg list-upgradable"_s;
  AT(528) self.attr("Console"_s).attr("ePopen"_s)({command, self.attr("opkg_upgrade_finished"_s)});
  return none;
}

// Whether a listing has an upgradable package among its first ten lines, or in the rest, which
// counts as one piece.
bool hasUpdate(const Local& listing, Call& at) {
  AT(532)
  if (listing.truthy()) {
    AT(533) const Local pieces = listing.call("split"_s, "\n"_s, 10);
    AT(534)
    if (pieces.truthy()) {
      AT(535)
      for (Local piece : each(pieces, at)) {
        AT(536)
        if (global("len"_s)(piece.call("split"_s, " - "_s)).atLeast(3)) {
          return true;
        }
      }
    }
  }
  return false;
}

DEF(530, opkg_upgrade_finished,
    (At at, Local self, Local result, Local retval, Local extra_args = none),
    "Judge result, what \"opkg list-upgradable\" has printed (a string).") {
  if (hasUpdate(result, at)) {
    AT(540) self.set("upgradable_packages"_s, result);
    AT(541) usage("update_available"_s).set("value"_s, true);
    AT(542)
    if (usage("show_notification_for_updates"_s).attr("value"_s).truthy()) {
      AT(543)
      const Local message =
          translated("There are updates available.\nDo you want to open Software Update menu ?"_s);
      AT(544)
      global("AddNotificationWithCallback"_s)(
          {global("boundFunction"_s)(self.attr("show_Kelvaro"_s)), global("MessageBox"_s), message,
           named("timeout"_s, 0)});
    } else {
      AT(546) self.attr("show_Kelvaro"_s)({named("res"_s, none)});
    }
  } else {
    AT(548) usage("update_available"_s).set("value"_s, false);
    rearm(self, at, {549, 550, 551});
  }
  return none;
}

DEF(555, init_timer, (At at, Local self), "Start the first check in 60 seconds.") {
  AT(556) self.set("update_timer"_s, global("eTimer"_s)());
  AT(557)
  self.attr("update_timer"_s).attr("callback"_s).attr("append"_s)(self.attr("check_updates"_s));
  AT(558) self.attr("update_timer"_s).call("start"_s, 60000, true);
  return none;
}

const Function kMethods[] = {
    FUNCTION(setSession),           FUNCTION(show_Kelvaro),          FUNCTION(check_updates),
    FUNCTION(opkg_update_finished), FUNCTION(opkg_upgrade_finished), FUNCTION(init_timer)};

}  // namespace

Functions updateNotificationMethods() { return Functions(kMethods); }

}  // namespace kelvaro
