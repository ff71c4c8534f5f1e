#include "notifier.h"

#include "python/globals.h"

namespace kelvaro {

using namespace python;

namespace {

const Object& usage(Name entry) { return global("config").attr("usage").attr(entry); }

// Arms the timer for the next check, unless the user wants none. `line` is that of the test; the
// setting is read at each use, so that a change holds from the next cycle on.
void rearm(const Object& self, Call& at, int line) {
  AT(line)
  if (usage("check_for_updates").attr("value").greaterThan(0)) {
    AT(line + 1)  // hours to milliseconds
    const Object& interval =
        at.local(usage("check_for_updates").attr("value").times(1000).times(3600));
    AT(line + 2) self.attr("update_timer").attr("start")({interval, true});
  }
}

const Object& setSession(Args args, Call& at) {
  AT(506) args[0].set("session", args[1]);
  AT(507) args[0].set("plugin_path", args[2]);
  return none();
}

// The user has answered, or was not asked (None). Only now the next check is armed.
const Object& showKelvaro(Args args, Call& at) {
  const Object& self = args[0];
  const Object& answer = args[1];

  rearm(self, at, 510);
  AT(513)
  if (answer.truthy()) {
    AT(514) const Object& file = at.local(global("open")({global("packagetmpfile"), "w+"}));
    AT(515) file.attr("write")(self.attr("upgradable_packages"));
    AT(516) file.attr("close")();
    AT(517) self.attr("session").attr("open")({global("AllNews"), self.attr("plugin_path")});
  }
  return none();
}

const Object& checkUpdates(Args args, Call& at) {
  const Object& self = args[0];

  AT(520) self.set("Console", global("Console")());
  AT(521) const Object& command = literal("opkg update");
  AT(522) self.attr("Console").attr("ePopen")({command, self.attr("opkg_update_finished")});
  return none();
}

const Object& opkgUpdateFinished(Args args, Call& at) {
  const Object& self = args[0];

  AT(525)
  if (!self.attr("Console").truthy()) {
    AT(526) self.set("Console", global("Console")());
  }
  AT(527) const Object& command = literal("opkg list-upgradable");
  AT(528) self.attr("Console").attr("ePopen")({command, self.attr("opkg_upgrade_finished")});
  return none();
}

// Whether a listing has an upgradable package among its first ten lines, or in the rest, which is
// looked at as one piece.
bool hasUpdate(const Object& listing, Call& at) {
  AT(532)
  if (listing.truthy()) {
    AT(533) const Object& pieces = at.local(listing.attr("split")({"\n", 10}));
    AT(534)
    if (pieces.truthy()) {
      AT(535)
      for (const Object& piece : each(pieces, at)) {
        AT(536)
        if (global("len")(piece.attr("split")(" - ")).atLeast(3)) {
          return true;
        }
      }
    }
  }
  return false;
}

const Object& opkgUpgradeFinished(Args args, Call& at) {
  const Object& self = args[0];
  const Object& listing = args[1];

  if (hasUpdate(listing, at)) {
    AT(540) self.set("upgradable_packages", listing);
    AT(541) usage("update_available").set("value", true);
    AT(542)
    if (usage("show_notification_for_updates").attr("value").truthy()) {
      AT(543)
      const Object& message = at.local(
          global("_")("There are updates available.\nDo you want to open Software Update menu ?"));
      AT(544)
      global("AddNotificationWithCallback")({global("boundFunction")(self.attr("show_Kelvaro")),
                                             global("MessageBox"), message, named("timeout", 0)});
    } else {
      AT(546) self.attr("show_Kelvaro")({named("res", none())});
    }
  } else {
    AT(548) usage("update_available").set("value", false);
    rearm(self, at, 549);
  }
  return none();
}

const Object& initTimer(Args args, Call& at) {
  const Object& self = args[0];

  AT(556) self.set("update_timer", global("eTimer")());
  AT(557) self.attr("update_timer").attr("callback").attr("append")(self.attr("check_updates"));
  AT(558) self.attr("update_timer").attr("start")({60000, true});
  return none();
}

// clang-format off
const Function kMethods[] = {
    {"setSession", 505, setSession, {"self", "session", "plugin_path"},
     "Keep the host's session and the plug-in's directory."},
    {"show_Kelvaro", 509, showKelvaro, {"self", "res"},
     "Arm the next check; open the news browser if res, the user's answer, is true."},
    {"check_updates", 519, checkUpdates, {"self"}, "Start a check with \"opkg update\"."},
    {"opkg_update_finished", 524, opkgUpdateFinished,
     {"self", "result", "retval", {"extra_args", none}},
     "Go on to the listing after \"opkg update\", however that ended."},
    {"opkg_upgrade_finished", 530, opkgUpgradeFinished,
     {"self", "result", "retval", {"extra_args", none}},
     "Judge result, what \"opkg list-upgradable\" has printed (a string)."},
    {"init_timer", 555, initTimer, {"self"}, "Start the first check in 60 seconds."},
};
// clang-format on

}  // namespace

Functions updateNotificationMethods() { return Functions(kMethods); }

}  // namespace kelvaro
