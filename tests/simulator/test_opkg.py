# -*- coding: utf-8 -*-
"""The package manager's stand-in prints and exits as opkg 0.3.5 was seen to."""

import fcntl
import os
import re
import shutil
import subprocess
import tempfile
import unittest

from simulator.feedserver import FeedServer
from simulator.opkg import versions
from simulator.packages import Package, build_feed, install_initial_state, installed_packages

OPKG = "/usr/bin/opkg"
CONF = "/etc/opkg/all-feed.conf"
LOCK = "/var/run/opkg.lock"
REMOVE = "remove --force-depends --autoremove "

HELLO = {"postinst": "echo postinst of blue says hello", "prerm": "echo prerm of blue"}
BLUE, BLUE_NEW = Package("blue", "3.4-r5", **HELLO), Package("blue", "3.5-r0", **HELLO)
LISTED = "$ list-upgradable\nblue - 3.4-r5 - 3.5-r0\n"
APP = [Package("user-of-app", "0.1-r0", ["app-one"]), Package("app-one", "1.0-r0", ["libauto1"]),
       Package("libauto1", "1.0-r0")]
APP_INSTALLED = [APP[0], Package("app-one", "1.0-r0", ["libauto1"], automatic=True),
                 Package("libauto1", "1.0-r0", automatic=True)]


class StandInTest(unittest.TestCase):
    """A receiver with nothing installed and a feed with nothing on offer."""

    def setUp(self):
        if not os.path.islink(OPKG):
            self.fail("run this in tools/sandbox: it changes /etc/opkg and /var/lib/opkg")
        self.feed = build_feed(tempfile.mkdtemp(), [])
        self.addCleanup(shutil.rmtree, self.feed)
        self.server = FeedServer(self.feed).start()
        self.addCleanup(self.server.stop)
        self.configure(self.server.conf_line())
        install_initial_state([])
        self.addCleanup(install_initial_state, [])

    def configure(self, text, path=CONF):
        with open(path, "w") as stream:
            stream.write(text)
        self.addCleanup(lambda: os.path.exists(path) and os.unlink(path))

    def start(self, command):
        return subprocess.Popen([OPKG] + command.split(), stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE)

    def check(self, transcript):
        """Run what follows each "$", and compare what it prints.

        "[N]" after a command is its exit status, else 0; lines that begin with "!" come on
        standard error after "Collected errors:"; ADDRESS is the feed's.
        """
        for command, status, lines in re.findall(r"\$ (.*?)(?: \[(-?\d+)\])?\n((?:[^$].*\n|\n)*)",
                                                 transcript.replace("ADDRESS", self.server.url)):
            process = self.start(command)
            out, err = process.communicate()
            if err:
                self.assertTrue(err.startswith("Collected errors:\n"), err)
            found = out + "".join("!" + line + "\n" for line in err.split("\n")[1:-1])
            self.assertEqual((found, process.returncode), (lines, int(status or 0)), command)

    def offer(self, *packages):
        """Offer packages and let the receiver know of them."""
        build_feed(self.feed, packages)
        self.check("$ update\nDownloading ADDRESS/Packages.gz.\nUpdated source 'Zirk-all'.\n")

    def upgradable(self):
        install_initial_state([BLUE])
        self.offer(BLUE_NEW)
        self.check(LISTED)


class ListingTest(StandInTest):

    def test_the_newest_version_on_offer_is_listed_if_it_is_newer(self):
        self.check("$ list-installed\n$ list-upgradable\n")
        other = Package("other", "1.0-r0")
        for offered, listed in [
                ([BLUE_NEW, other], "blue - 3.4-r5 - 3.5-r0\n"),
                ([BLUE_NEW, Package("blue", "3.10-r0"), BLUE], "blue - 3.4-r5 - 3.10-r0\n"),
                ([BLUE, Package("other", "0.9-r0")], ""),
                ([Package("blue", "4-r0", architecture="sh4")], "")]:
            install_initial_state([BLUE, other])
            self.offer(*offered)
            self.check("$ list-upgradable\n%s$ list_upgradable no*\n%s" % (listed, listed))

    def test_the_order_is_neither_by_name_nor_that_of_the_feed(self):
        names = ["zeta", "mid-pkg", "Beta", "gamma", "epoch", "tilde", "norev", "rev"]
        install_initial_state([Package(name, "1-r0") for name in names])
        for order in (names, sorted(names), names[::-1]):
            self.offer(*[Package(name, "2-r0") for name in order])
            out = self.start("list-upgradable").communicate()[0]
            self.assertEqual([line.split()[0] for line in out.splitlines()],
                             ["norev", "rev", "Beta", "zeta", "epoch", "gamma", "tilde", "mid-pkg"])

    def test_installed_packages_are_listed_by_name_which_busybox_cuts_out(self):
        def cut():
            command = "/usr/bin/opkg list-installed | cut -f'0' -d ' ' 2>&1 > /tmp/names"
            status = os.system(command + " 2>/dev/null")
            with open("/tmp/names") as stream:
                return status, stream.read()
        self.assertEqual(cut(), (0, ""))
        install_initial_state([BLUE, Package("zeta", "1-r0"), Package("Beta", "2-r0")])
        self.check("$ list-installed\nBeta - 2-r0\nblue - 3.4-r5\nzeta - 1-r0\n")
        self.assertEqual(cut(), (0, "Beta\nblue\nzeta\n"))
        os.rename(OPKG, OPKG + ".away")
        self.addCleanup(os.rename, OPKG + ".away", OPKG)
        self.assertEqual(cut(), (0, ""))


class UpdateTest(StandInTest):

    def test_a_failed_update_keeps_what_was_known(self):
        self.upgradable()
        headers = "opkg_validate_cached_file: Failed to download ADDRESS/Packages.gz headers: "
        for fault, reason in [
                (dict(status=404), headers + "HTTP response code said error."),
                (dict(status=500), headers + "HTTP response code said error."),
                (dict(drop="headers"), headers + "Server returned nothing (no headers, no data)."),
                (dict(drop="headers", reset=True),
                 headers + "Failure when receiving data from the peer."),
                (dict(drop="middle"), "opkg_download_backend: Failed to download "
                                      "ADDRESS/Packages.gz: Transferred a partial file.")]:
            self.server.fault("all/Packages.gz", **fault)
            self.check("$ update [1]\nDownloading ADDRESS/Packages.gz.\n! * %s\n" % reason + LISTED)
        self.server.stop()
        self.check("$ update [1]\nDownloading ADDRESS/Packages.gz.\n! * %sCouldn't connect to "
                   "server.\n" % headers + LISTED)

    def test_what_is_no_index_replaces_what_was_known(self):
        for fault, error in [(dict(body="<html>"), "! * parse_from_stream_nomalloc: Missing new "
                                                   "line character at end of file!\n"),
                             (dict(body=""), ""), (dict(status=302, body=""), "")]:
            self.upgradable()
            self.server.fault("all/Packages.gz", **fault)
            self.check("$ update\nDownloading ADDRESS/Packages.gz.\nUpdated source 'Zirk-all'.\n"
                       "$ list-upgradable\n" + error)
            self.server.clear()

    def test_the_status_counts_the_sources_that_failed(self):
        failed = ("! * opkg_validate_cached_file: Failed to download ADDRESS/%s headers: HTTP "
                  "response code said error.\n")
        self.configure("src Zirk-other %s/no\n" % self.server.url, "/etc/opkg/b-feed.conf")
        self.check("$ update [1]\nDownloading ADDRESS/Packages.gz.\nUpdated source 'Zirk-all'.\n"
                   "Downloading ADDRESS/no/Packages.\n" + failed % "no/Packages")
        self.server.fault("all/Packages.gz", status=404)
        self.check("$ update [2]\nDownloading ADDRESS/Packages.gz.\nDownloading ADDRESS/no/Packages"
                   ".\n" + failed % "Packages.gz" + failed % "no/Packages")


class InstallTest(StandInTest):

    def test_a_package_comes_and_its_script_speaks_first_into_a_pipe(self):
        self.offer(BLUE)
        self.check("""\
$ install blue
postinst of blue says hello
Installing blue (3.4) on root.
Downloading ADDRESS/blue_3.4-r5_all.ipk.
Configuring blue.
$ install blue
Package blue (3.4-r5) installed in root is up to date.
$ list-installed
blue - 3.4-r5
""")
        self.offer(BLUE_NEW)
        self.check("""\
$ install blue
prerm of blue
postinst of blue says hello
Upgrading blue from 3.4-r5 to 3.5-r0 on root.
Installing blue (3.5) on root.
Downloading ADDRESS/blue_3.5-r0_all.ipk.
Configuring blue.
$ list-upgradable
""")

    def test_dependencies_come_first_and_all_are_configured_at_the_end(self):
        self.offer(*APP)
        self.check("""\
$ install user-of-app
Installing libauto1 (1.0) on root.
Downloading ADDRESS/libauto1_1.0-r0_all.ipk.
Installing app-one (1.0) on root.
Downloading ADDRESS/app-one_1.0-r0_all.ipk.
Installing user-of-app (0.1) on root.
Downloading ADDRESS/user-of-app_0.1-r0_all.ipk.
Configuring libauto1.
Configuring app-one.
Configuring user-of-app.
$ list-installed
app-one - 1.0-r0
libauto1 - 1.0-r0
user-of-app - 0.1-r0
$ remove --autoremove user-of-app
app-one was autoinstalled and is now orphaned, will remove.
libauto1 was autoinstalled and is now orphaned, will remove.
Removing user-of-app (0.1) from root...
Removing app-one (1.0) from root...
Removing libauto1 (1.0) from root...
$ list-installed
""")

    def test_what_can_not_come_is_an_error_and_nothing_is_installed(self):
        unknown = "! * opkg_prepare_url_for_install: Couldn't find anything to satisfy '%s'.\n"
        self.offer(BLUE, Package("foreign", "1.0-r0", architecture="sh4"),
                   Package("needs-missing", "1.0-r0", ["nowhere (>= 2.0)"]),
                   Package("nowhere", "1.9-r0"))
        self.check("$ install no-such [255]\n" + unknown % "no-such" +
                   "$ install blue no-such [255]\n" + unknown % "no-such" +
                   "$ install foreign [255]\n" + unknown % "foreign" + """\
$ install needs-missing [255]
! * calculate_dependencies_for: Cannot satisfy the following dependencies for needs-missing:
! * \tnowhere (>= 2.0) *\x20
! * opkg_solver_install: Cannot install package needs-missing.
$ list-installed
""")
        self.configure("arch sh4 10\n", "/etc/opkg/arch.conf")
        self.assertEqual(self.start("install foreign").wait(), 0)

    def test_a_file_that_is_gone_or_another_package_leaves_the_old_version(self):
        self.upgradable()
        path = "all/" + BLUE_NEW.file_name
        begin = ("$ install blue [255]\nUpgrading blue from 3.4-r5 to 3.5-r0 on root.\n"
                 "Installing blue (3.5) on root.\nDownloading ADDRESS/blue_3.5-r0_all.ipk.\n")
        end = ("! * opkg_install_pkg: Failed to download blue. Perhaps you need to run 'opkg "
               "update'?\n! * opkg_solver_install: Cannot install package blue.\n" + LISTED)
        self.server.fault(path, status=404)
        self.check(begin + "! * opkg_validate_cached_file: Failed to download ADDRESS/"
                   "blue_3.5-r0_all.ipk headers: HTTP response code said error.\n" + end)
        self.server.fault(path, body="Package: x\nVersion: 1\n\n")
        self.check(begin + end)

    def test_a_failing_script_is_tried_again_by_each_later_command(self):
        self.offer(Package("broken", "1-r0", postinst="echo speaks; exit 3"), BLUE_NEW)
        failed = ("Configuring broken.\n! * pkg_run_script: package \"broken\" postinst script "
                  "returned status 3.\n! * opkg_configure: broken.postinst returned 3.\n")
        self.check("$ install broken [255]\nspeaks\nInstalling broken (1) on root.\n"
                   "Downloading ADDRESS/broken_1-r0_all.ipk.\n%s$ upgrade [255]\nspeaks\n%s"
                   "$ list-installed\nbroken - 1-r0\n$ %sbroken\n"
                   "Removing broken (1) from root...\n$ upgrade\n" % (failed, failed, REMOVE))


class RemoveTest(StandInTest):

    def test_what_others_need_stays_unless_forced(self):
        install_initial_state(APP_INSTALLED)
        self.check("""\
$ remove app-one [255]
No packages removed.
! * print_dependents_warning: Package app-one is depended upon by packages:
! * print_dependents_warning: \tuser-of-app
! * print_dependents_warning: These might cease to work if package app-one is removed.
!
! * print_dependents_warning: Force removal of this package with --force-depends.
! * print_dependents_warning: Force removal of this package and its dependents
! * print_dependents_warning: with --force-removal-of-dependent-packages.
$ remove --force-depends --autoremove app-one
libauto1 was autoinstalled and is now orphaned, will remove.
Removing app-one (1.0) from root...
Removing libauto1 (1.0) from root...
$ list-installed
user-of-app - 0.1-r0
$ remove --force-depends --autoremove app-one no-such-package
No packages removed.
$ remove --force-depends --autoremove user-of-app [255]
Removing user-of-app (0.1) from root...
$ list-installed
""")

    def test_orphans_stay_without_autoremove_or_when_wanted_or_needed_elsewhere(self):
        wanted = [Package("app", "1-r0", ["libauto", "libwanted", "libshared"]),
                  Package("libauto", "1-r0", ["libdeep"], automatic=True),
                  Package("libwanted", "1-r0", ["libdeep"]), Package("app-two", "1-r0", ["libtwo"]),
                  Package("libdeep", "1-r0", automatic=True),
                  Package("libshared", "1-r0", automatic=True),
                  Package("libtwo", "1-r0", ["libshared"])]
        for options, gone in [("", []), ("--autoremove ", ["libauto"])]:
            install_initial_state(wanted)
            self.assertEqual(self.start("remove %sapp" % options).wait(), 0)
            self.assertEqual(set(package.name for package in wanted) - set(installed_packages()),
                             set(["app"] + gone))

    def test_a_script_runs_before_and_may_refuse(self):
        install_initial_state([BLUE, Package("bad", "1-r0", prerm="exit 4")])
        self.check("$ " + REMOVE + """bad blue [255]
prerm of blue
Removing bad (1) from root...
You can force removal of packages with failed prerm scripts with the option:\x20
\t--force-remove
Removing blue (3.4) from root...
! * pkg_run_script: package "bad" prerm script returned status 4.
! * opkg_remove_pkg: not removing package "bad", prerm script failed
$ list-installed
bad - 1-r0
""")


class UpgradeTest(StandInTest):

    def test_all_or_the_named_packages_are_upgraded(self):
        old = [Package("rev", "1.0-r9"), Package("epoch", "1.0-r0")] + APP_INSTALLED
        new = [Package("rev", "1.0-r10"), Package("epoch", "1:0.5-r0"), Package("libauto1", "2-r0")]
        rev = ("Upgrading rev from 1.0-r9 to 1.0-r10 on root.\nUpgrading rev (1.0) on root.\n"
               "Downloading ADDRESS/rev_1.0-r10_all.ipk.\n")
        install_initial_state(old)
        self.offer(*new + APP[:2])
        self.check("$ upgrade no-such rev\n" + rev + "Configuring rev.\n! * opkg_solver_upgrade: "
                   "Package no-such not installed.\n")
        install_initial_state(old)
        self.offer(*new + APP[:2])
        self.check("$ upgrade\n" + rev + """\
Upgrading epoch from 1.0-r0 to 1:0.5-r0 on root.
Upgrading epoch (0.5) on root.
Downloading ADDRESS/epoch_1:0.5-r0_all.ipk.
Upgrading libauto1 from 1.0-r0 to 2-r0 on root.
Upgrading libauto1 (2) on root.
Downloading ADDRESS/libauto1_2-r0_all.ipk.
Configuring rev.
Configuring epoch.
Configuring libauto1.
$ upgrade
$ remove --autoremove --force-depends app-one
libauto1 was autoinstalled and is now orphaned, will remove.
Removing app-one (1.0) from root...
Removing libauto1 (2) from root...
""")


class CommandTest(StandInTest):

    def test_a_lock_that_another_one_holds_fails_every_command(self):
        self.upgradable()
        with open(LOCK, "a") as stream:
            fcntl.lockf(stream, fcntl.LOCK_EX)
            for command in ("update", "list-installed", "list-upgradable", "install blue",
                            "remove blue", "upgrade"):
                self.check("$ %s [255]\n! * opkg_lock: Could not lock /var/run/opkg.lock: Resource "
                           "temporarily unavailable.\n" % command)
        self.check(LISTED)

    def test_configuration_lines_that_mean_nothing_are_ignored_with_a_word(self):
        self.upgradable()
        words = "! * opkg_conf_parse_file: /etc/opkg/all-feed.conf:2: Ignoring "
        line = self.server.conf_line()
        self.configure("# feeds\nfoo bar\n" + line)
        self.check(LISTED + words + "invalid line: `foo bar'\n")
        self.configure("# feeds\n%s\r\n" % line.strip())
        self.check("$ list-upgradable\n%sconfig line with trailing garbage: `%s'\n"
                   % (words, line.strip()))
        os.unlink(CONF)
        self.check("$ update\n$ list-upgradable\n")


class VersionsTest(unittest.TestCase):

    def test_versions_rise_along_this_list(self):
        rising = ["0~~", "0~", "0", "0a", "0.1~rc1-r0", "0.1-r0", "0.1-r1", "0.1-r10", "0.1a-r0",
                  "0.1+git7-r0", "0.1+git10-r0", "0.1.1-r0", "0.2-r0", "0.10-r0", "1.0", "1.0-r0",
                  "20231001-r0", "1:0.1-r0", "2:0-r0"]
        for lower, higher in zip(rising, rising[1:]):
            self.assertLess(versions.key(lower), versions.key(higher))

    def test_dependencies_compare_with_each_operator_and_others_are_refused(self):
        for operator, fulfilled_by in (("<<", "1"), ("<=", "12"), ("<", "12"), ("=", "2"),
                                       (">=", "23"), (">", "23"), (">>", "3")):
            self.assertEqual(fulfilled_by, "".join(
                version for version in "123"
                if versions.satisfies(version, "name (%s 2)" % operator)))
        for text in ("", "name (2)", "name (=> 2)", "name >= 2"):
            self.assertRaises(ValueError, versions.split_dependency, text)


if __name__ == "__main__":
    unittest.main()
