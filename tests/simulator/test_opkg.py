# -*- coding: utf-8 -*-
"""The package manager's stand-in prints and exits as the real one was seen to."""

import fcntl
import os
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

from simulator.feedserver import FeedServer
from simulator.opkg import versions
from simulator.packages import (Package, build_feed, install_initial_state, installed_packages)

OPKG = "/usr/bin/opkg"
CONF = "/etc/opkg/all-feed.conf"
DEMO = "enigma2-plugin-extensions-demo%02d"

BLUE_OLD = Package("enigma2-skin-blue", "3.4-r5",
                   postinst="echo postinst of enigma2-skin-blue says hello",
                   prerm="echo prerm of enigma2-skin-blue")
BLUE_NEW = Package("enigma2-skin-blue", "3.5-r0", postinst=BLUE_OLD.postinst,
                   prerm=BLUE_OLD.prerm)
APP = [Package("user-of-app", "0.1-r0", ["app-one"]),
       Package("app-one", "1.0-r0", ["libauto1"]),
       Package("libauto1", "1.0-r0")]
APP_INSTALLED = [APP[0], Package("app-one", "1.0-r0", ["libauto1"], automatic=True),
                 Package("libauto1", "1.0-r0", automatic=True)]
DEMO_OLD = [Package(DEMO % n, "1.%02d+git7-r0" % n) for n in range(1, 13)]
DEMO_NEW = [Package(DEMO % n, "2.%02d+git9+abcdef0-r1" % n) for n in range(1, 13)]
FOREIGN = Package("other-arch", "1.0-r0", architecture="sh4")


class StandInTest(unittest.TestCase):
    """A receiver with nothing installed and a feed with nothing on offer."""

    version = "0.4.4"

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
        self.environment = dict(os.environ, KELVARO_OPKG_VERSION=self.version)

    def configure(self, text, path=CONF):
        with open(path, "w") as stream:
            stream.write(text)
        self.addCleanup(lambda: os.path.exists(path) and os.unlink(path))

    def start(self, *arguments):
        return subprocess.Popen((OPKG,) + arguments, env=self.environment,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def opkg(self, *arguments):
        """Run the stand-in. Returns its exit status, standard output and standard error."""
        process = self.start(*arguments)
        out, err = process.communicate()
        return process.returncode, out, err

    def check(self, command, status=0, out=(), err=()):
        """Run a command and compare the status and all lines. ADDRESS is the feed's."""
        def text(lines):
            return "".join(line.replace("ADDRESS", self.server.url) + "\n" for line in lines)
        self.assertEqual((status, text(out), text(err)), self.opkg(*command.split()))

    def offer(self, *packages):
        """Offer packages and let the receiver know of them."""
        build_feed(self.feed, packages)
        self.assertEqual(0, self.opkg("update")[0])

    def hold_lock(self, path):
        if not os.path.isdir(os.path.dirname(path)):
            os.makedirs(os.path.dirname(path))
        stream = open(path, "a")
        self.addCleanup(stream.close)
        fcntl.lockf(stream, fcntl.LOCK_EX)

    def wait_for_request(self):
        end = time.time() + 10
        while not self.server.requests:
            self.assertLess(time.time(), end, "the stand-in asked for nothing")
            time.sleep(0.005)


class ListingTest(StandInTest):

    def test_the_version_is_told(self):
        self.check("--version", out=["opkg version 0.4.4"])

    def test_nothing_is_listed_before_anything_is_known(self):
        self.check("list-installed")
        self.check("list-upgradable")

    def test_what_is_not_installed_is_not_upgradable(self):
        self.offer(BLUE_NEW)
        self.check("list-upgradable")

    def test_an_upgradable_package_is_listed_with_both_versions(self):
        install_initial_state([BLUE_OLD])
        self.offer(BLUE_NEW)
        self.check("list-upgradable", out=["enigma2-skin-blue - 3.4-r5 - 3.5-r0"])
        self.check("list_upgradable", out=["enigma2-skin-blue - 3.4-r5 - 3.5-r0"])

    def test_an_argument_of_the_listing_is_ignored(self):
        install_initial_state([BLUE_OLD])
        self.offer(BLUE_NEW)
        self.check("list-upgradable alpha*", out=["enigma2-skin-blue - 3.4-r5 - 3.5-r0"])

    def test_equal_and_lower_versions_on_offer_are_not_listed(self):
        install_initial_state([BLUE_NEW, Package("other", "1.0-r0")])
        self.offer(BLUE_OLD, Package("other", "1.0-r0"))
        self.check("list-upgradable")

    def test_the_newest_of_several_versions_on_offer_is_listed(self):
        install_initial_state([BLUE_OLD])
        self.offer(BLUE_NEW, Package("enigma2-skin-blue", "3.10-r0"), BLUE_OLD)
        self.check("list-upgradable", out=["enigma2-skin-blue - 3.4-r5 - 3.10-r0"])

    def test_twelve_upgradable_packages(self):
        install_initial_state(DEMO_OLD)
        self.offer(*DEMO_NEW)
        self.check("list-upgradable", out=[
            "enigma2-plugin-extensions-demo01 - 1.01+git7-r0 - 2.01+git9+abcdef0-r1",
            "enigma2-plugin-extensions-demo02 - 1.02+git7-r0 - 2.02+git9+abcdef0-r1",
            "enigma2-plugin-extensions-demo03 - 1.03+git7-r0 - 2.03+git9+abcdef0-r1",
            "enigma2-plugin-extensions-demo04 - 1.04+git7-r0 - 2.04+git9+abcdef0-r1",
            "enigma2-plugin-extensions-demo05 - 1.05+git7-r0 - 2.05+git9+abcdef0-r1",
            "enigma2-plugin-extensions-demo06 - 1.06+git7-r0 - 2.06+git9+abcdef0-r1",
            "enigma2-plugin-extensions-demo07 - 1.07+git7-r0 - 2.07+git9+abcdef0-r1",
            "enigma2-plugin-extensions-demo08 - 1.08+git7-r0 - 2.08+git9+abcdef0-r1",
            "enigma2-plugin-extensions-demo09 - 1.09+git7-r0 - 2.09+git9+abcdef0-r1",
            "enigma2-plugin-extensions-demo10 - 1.10+git7-r0 - 2.10+git9+abcdef0-r1",
            "enigma2-plugin-extensions-demo11 - 1.11+git7-r0 - 2.11+git9+abcdef0-r1",
            "enigma2-plugin-extensions-demo12 - 1.12+git7-r0 - 2.12+git9+abcdef0-r1"])

    def test_the_order_is_neither_by_name_nor_that_of_the_feed(self):
        names = ["zeta", "mid-pkg", "Beta", "gamma"]
        install_initial_state([Package(name, "1-r0") for name in names])
        for order in (names, sorted(names), names[::-1]):
            self.offer(*[Package(name, "2-r0") for name in order])
            self.check("list-upgradable", out=[
                "Beta - 1-r0 - 2-r0", "zeta - 1-r0 - 2-r0",
                "gamma - 1-r0 - 2-r0", "mid-pkg - 1-r0 - 2-r0"])

    def test_installed_packages_are_listed_by_name_upper_case_first(self):
        install_initial_state([BLUE_OLD, Package("zeta", "1-r0"), Package("Beta", "2-r0"),
                               Package("alpha", "1.01+git7-r0")])
        self.check("list-installed", out=[
            "Beta - 2-r0", "alpha - 1.01+git7-r0", "enigma2-skin-blue - 3.4-r5", "zeta - 1-r0"])

    def test_everything_known_is_listed_by_name_with_its_description(self):
        install_initial_state([APP[2]])
        self.offer(Package("zeta", "1-r0", description="The last one"), FOREIGN, BLUE_OLD)
        self.check("list", out=["enigma2-skin-blue - 3.4-r5", "libauto1 - 1.0-r0",
                                "zeta - 1-r0 - The last one"])


class InstalledNamesTest(StandInTest):
    """The command line that lists the names of the installed packages."""

    def names(self, complaint=""):
        path = tempfile.mktemp()
        command = "/usr/bin/opkg list-installed | cut -f'0' -d ' ' > " + path
        shell = subprocess.Popen(command, shell=True, stderr=subprocess.PIPE)
        self.assertEqual(complaint, shell.communicate()[1])
        self.assertEqual(0, shell.returncode)
        with open(path, "rb") as stream:
            self.addCleanup(os.unlink, path)
            return stream.read()

    def test_the_first_field_is_cut_out(self):
        install_initial_state([BLUE_OLD] + APP_INSTALLED)
        self.assertEqual("app-one\nenigma2-skin-blue\nlibauto1\nuser-of-app\n", self.names())

    def test_nothing_installed_gives_an_empty_file(self):
        self.assertEqual("", self.names())

    def test_a_missing_package_manager_gives_an_empty_file(self):
        install_initial_state([BLUE_OLD])
        os.rename(OPKG, OPKG + ".away")
        self.addCleanup(os.rename, OPKG + ".away", OPKG)
        self.assertEqual("", self.names("/bin/sh: /usr/bin/opkg: not found\n"))


class UpdateTest(StandInTest):

    GOOD = ["Downloading ADDRESS/Packages.gz.", "Updated source 'Zirk-all'."]

    def failed(self, reason):
        return [" * opkg_validate_cached_file: Failed to download ADDRESS/Packages.gz %s" % reason]

    def test_every_update_fetches_the_index(self):
        self.check("update", out=self.GOOD)
        self.check("update", out=self.GOOD)
        self.assertEqual(2 * ["/feed/all/Packages.gz"], self.server.requests)

    def test_a_source_without_gz_has_a_plain_index(self):
        self.configure("src Zirk-all %s\n" % self.server.url)
        self.check("update", out=["Downloading ADDRESS/Packages.", "Updated source 'Zirk-all'."])
        self.assertEqual(["/feed/all/Packages"], self.server.requests)

    def test_a_failed_update_keeps_what_was_known(self):
        install_initial_state([BLUE_OLD])
        self.offer(BLUE_NEW)
        faults = [(dict(status=404), "headers: HTTP response code said error."),
                  (dict(status=500), "headers: HTTP response code said error."),
                  (dict(drop="headers"),
                   "headers: Server returned nothing (no headers, no data)."),
                  (dict(drop="headers", reset=True),
                   "headers: Failure when receiving data from the peer.")]
        for fault, reason in faults:
            self.server.fault("all/Packages.gz", **fault)
            self.check("update", 1, out=self.GOOD[:1], err=self.failed(reason))
            self.check("list-upgradable", out=["enigma2-skin-blue - 3.4-r5 - 3.5-r0"])

    def test_an_index_cut_short_or_damaged_is_not_taken(self):
        install_initial_state([BLUE_OLD])
        self.offer(BLUE_NEW)
        for fault in (dict(drop="middle"), dict(body="no gzip file")):
            self.server.fault("all/Packages.gz", **fault)
            self.assertEqual(1, self.opkg("update")[0])
            self.check("list-upgradable", out=["enigma2-skin-blue - 3.4-r5 - 3.5-r0"])

    def test_a_server_that_is_gone(self):
        self.server.stop()
        self.check("update", 1, out=self.GOOD[:1],
                   err=self.failed("headers: Couldn't connect to server."))

    def test_one_source_of_two_may_fail(self):
        self.configure("src/gz Zirk-other %s/missing\n" % self.server.url,
                       "/etc/opkg/a-feed.conf")
        self.check("update", 1, out=["Downloading ADDRESS/missing/Packages.gz."] + self.GOOD,
                   err=[" * opkg_validate_cached_file: Failed to download ADDRESS/missing/"
                        "Packages.gz headers: HTTP response code said error."])

    def test_without_a_configuration_nothing_is_fetched(self):
        os.unlink(CONF)
        self.check("update")
        self.assertEqual([], self.server.requests)

    def test_a_killed_update_leaves_what_was_known_and_no_lock(self):
        install_initial_state([BLUE_OLD])
        self.offer(BLUE_NEW)
        del self.server.requests[:]
        self.server.fault("all/Packages.gz", stall="middle")
        process = self.start("update")
        self.wait_for_request()
        process.terminate()
        self.assertEqual("", process.communicate()[1])
        self.assertEqual(-signal.SIGTERM, process.returncode)
        self.check("list-upgradable", out=["enigma2-skin-blue - 3.4-r5 - 3.5-r0"])
        self.server.clear()
        self.check("update", out=self.GOOD)


class InstallTest(StandInTest):

    def test_a_package_is_fetched_and_installed_its_script_speaks_first_into_a_pipe(self):
        self.offer(BLUE_OLD)
        self.check("install enigma2-skin-blue", out=[
            "postinst of enigma2-skin-blue says hello",
            "Installing enigma2-skin-blue (3.4) on root.",
            "Downloading ADDRESS/enigma2-skin-blue_3.4-r5_all.ipk.",
            "Configuring enigma2-skin-blue."])
        self.assertIn("/feed/all/enigma2-skin-blue_3.4-r5_all.ipk", self.server.requests)
        self.check("list-installed", out=["enigma2-skin-blue - 3.4-r5"])

    def test_an_installed_package_is_up_to_date(self):
        install_initial_state([BLUE_OLD])
        self.offer(BLUE_OLD)
        self.check("install enigma2-skin-blue", out=[
            "Package enigma2-skin-blue (3.4-r5) installed in root is up to date."])

    def test_dependencies_come_first_and_all_are_configured_at_the_end(self):
        self.offer(*APP)
        self.check("install user-of-app", out=[
            "Installing libauto1 (1.0) on root.",
            "Downloading ADDRESS/libauto1_1.0-r0_all.ipk.",
            "Installing app-one (1.0) on root.",
            "Downloading ADDRESS/app-one_1.0-r0_all.ipk.",
            "Installing user-of-app (0.1) on root.",
            "Downloading ADDRESS/user-of-app_0.1-r0_all.ipk.",
            "Configuring libauto1.",
            "Configuring app-one.",
            "Configuring user-of-app."])
        self.check("list-installed", out=["app-one - 1.0-r0", "libauto1 - 1.0-r0",
                                          "user-of-app - 0.1-r0"])

    def test_packages_that_need_each_other_come_together(self):
        self.offer(Package("egg", "1-r0", ["hen"]), Package("hen", "1-r0", ["egg"]))
        self.assertEqual((0, ""), self.opkg("install", "hen")[::2])
        self.check("list-installed", out=["egg - 1-r0", "hen - 1-r0"])

    def test_an_unknown_package_is_an_error_and_nothing_is_installed(self):
        self.offer(BLUE_OLD)
        for command in ("install no-such-package", "install enigma2-skin-blue no-such-package"):
            self.check(command, 255, err=[" * opkg_prepare_url_for_install: Couldn't find anything "
                                          "to satisfy 'no-such-package'."])
        self.check("list-installed")

    def test_a_package_of_a_foreign_architecture_is_unknown_until_configured(self):
        self.offer(FOREIGN)
        self.check("install other-arch", 255, err=[
            " * opkg_prepare_url_for_install: Couldn't find anything to satisfy 'other-arch'."])
        self.configure("arch sh4 10\n", "/etc/opkg/arch.conf")
        self.assertEqual((0, ""), self.opkg("install", "other-arch")[::2])

    def test_a_missing_dependency_is_an_error(self):
        self.offer(Package("needs-missing", "1.0-r0", ["nowhere (>= 2.0)"]),
                   Package("nowhere", "1.9-r0"))
        self.check("install needs-missing", 255, err=[
            " * calculate_dependencies_for: Cannot satisfy the following dependencies for "
            "needs-missing:",
            " * \tnowhere (>= 2.0) *",
            " * opkg_solver_install: Cannot install package needs-missing."])
        self.check("list-installed")

    def test_an_installed_dependency_that_is_too_old_is_upgraded(self):
        install_initial_state([Package("libauto1", "1.0-r0")])
        self.offer(Package("app-one", "2.0-r0", ["libauto1 (>= 2.0)"]),
                   Package("libauto1", "2.1-r0"))
        self.assertEqual(0, self.opkg("install", "app-one")[0])
        self.check("list-installed", out=["app-one - 2.0-r0", "libauto1 - 2.1-r0"])

    def test_one_of_several_alternatives_is_enough(self):
        self.offer(Package("app-one", "1.0-r0", ["libother | libauto1"]), APP[2])
        self.assertEqual((0, ""), self.opkg("install", "app-one")[::2])
        self.check("list-installed", out=["app-one - 1.0-r0", "libauto1 - 1.0-r0"])

    def test_installing_an_upgradable_package_upgrades_it(self):
        self.offer(BLUE_OLD)
        self.opkg("install", "enigma2-skin-blue")
        self.offer(BLUE_NEW)
        self.check("install enigma2-skin-blue", out=[
            "prerm of enigma2-skin-blue",
            "postinst of enigma2-skin-blue says hello",
            "Upgrading enigma2-skin-blue from 3.4-r5 to 3.5-r0 on root.",
            "Installing enigma2-skin-blue (3.5) on root.",
            "Downloading ADDRESS/enigma2-skin-blue_3.5-r0_all.ipk.",
            "Configuring enigma2-skin-blue."])
        self.check("list-upgradable")

    def test_a_feed_that_is_gone_is_an_error_and_the_old_version_stays(self):
        install_initial_state(DEMO_OLD[:1])
        self.offer(*DEMO_NEW[:1])
        build_feed(self.feed, [])
        name = "enigma2-plugin-extensions-demo01"
        address = "ADDRESS/%s_2.01+git9+abcdef0-r1_all.ipk" % name
        self.check("install " + name, 255, out=[
            "Upgrading %s from 1.01+git7-r0 to 2.01+git9+abcdef0-r1 on root." % name,
            "Installing %s (2.01+git9+abcdef0) on root." % name,
            "Downloading %s." % address
        ], err=[
            " * opkg_validate_cached_file: Failed to download %s headers: HTTP response code said "
            "error." % address,
            " * opkg_install_pkg: Failed to download %s. Perhaps you need to run 'opkg update'?"
            % name,
            " * opkg_solver_install: Cannot install package %s." % name])
        self.check("list-installed", out=["%s - 1.01+git7-r0" % name])

    def test_a_file_that_is_another_package_is_not_installed(self):
        self.offer(BLUE_OLD)
        self.server.fault("all/" + BLUE_OLD.file_name, body="Package: x\nVersion: 1\n\n")
        self.assertEqual(255, self.opkg("install", "enigma2-skin-blue")[0])
        self.check("list-installed")

    def test_a_failing_script_is_an_error(self):
        self.offer(Package("broken", "1-r0", postinst="exit 3"))
        self.assertEqual(255, self.opkg("install", "broken")[0])

    def test_a_name_is_needed(self):
        for command in ("install", "remove"):
            status, out, err = self.opkg(command)
            self.assertEqual((1, ""), (status, out))
            self.assertIn("requires at least one argument", err)


class RemoveTest(StandInTest):

    def test_what_others_need_stays(self):
        install_initial_state(APP_INSTALLED)
        self.check("remove app-one", 255, out=["No packages removed."], err=[
            " * print_dependents_warning: Package app-one is depended upon by packages:",
            " * print_dependents_warning: \tuser-of-app",
            " * print_dependents_warning: These might cease to work if package app-one is "
            "removed.",
            "",
            " * print_dependents_warning: Force removal of this package with --force-depends.",
            " * print_dependents_warning: Force removal of this package and its dependents",
            " * print_dependents_warning: with --force-removal-of-dependent-packages."])
        self.assertEqual(3, len(installed_packages()))

    def test_by_force_it_goes_with_what_only_it_needed(self):
        install_initial_state(APP_INSTALLED)
        self.check("remove --force-depends --autoremove app-one", out=[
            "libauto1 was autoinstalled and is now orphaned, will remove.",
            "Removing app-one (1.0) from root...",
            "Removing libauto1 (1.0) from root..."])
        self.check("list-installed", out=["user-of-app - 0.1-r0"])

    def test_what_an_installation_brought_along_is_orphaned_by_the_removal(self):
        self.offer(*APP)
        self.opkg("install", "user-of-app")
        self.assertEqual(0, self.opkg("remove", "--autoremove", "user-of-app")[0])
        self.check("list-installed")

    def test_dependencies_stay_without_autoremove_or_when_wanted_or_needed_elsewhere(self):
        wanted = [Package("app-one", "1.0-r0", ["libauto1", "libwanted", "libshared"]),
                  Package("libauto1", "1.0-r0", automatic=True),
                  Package("libwanted", "1.0-r0"),
                  Package("libshared", "1.0-r0", automatic=True),
                  Package("app-two", "1.0-r0", ["libshared"])]
        install_initial_state(wanted)
        self.check("remove --force-depends app-one", out=["Removing app-one (1.0) from root..."])
        self.assertEqual(["app-two", "libauto1", "libshared", "libwanted"],
                         sorted(installed_packages()))
        install_initial_state(wanted)
        self.assertEqual(0, self.opkg("remove", "--force-depends", "--autoremove", "app-one")[0])
        self.assertEqual(["app-two", "libshared", "libwanted"], sorted(installed_packages()))

    def test_what_is_not_installed_or_unknown_is_no_error(self):
        self.offer(*APP)
        for name in ("app-one", "no-such-package"):
            self.check("remove --force-depends --autoremove " + name,
                       out=["No packages removed."])

    def test_a_dependency_gone_before_gives_a_status_without_a_word(self):
        install_initial_state(APP_INSTALLED[:1])
        self.check("remove --force-depends --autoremove user-of-app", 255,
                   out=["Removing user-of-app (0.1) from root..."])
        self.check("list-installed")

    def test_two_packages_go_one_after_the_other(self):
        install_initial_state([BLUE_NEW, DEMO_OLD[11]])
        self.check("remove --force-depends --autoremove enigma2-skin-blue " + DEMO % 12, out=[
            "prerm of enigma2-skin-blue",
            "Removing enigma2-skin-blue (3.5) from root...",
            "Removing enigma2-plugin-extensions-demo12 (1.12+git7) from root..."])
        self.check("list-installed")

    def test_an_unknown_option_is_refused(self):
        install_initial_state([BLUE_OLD])
        self.assertEqual(1, self.opkg("remove", "--noaction", "enigma2-skin-blue")[0])
        self.assertEqual(["enigma2-skin-blue"], list(installed_packages()))


class UpgradeTest(StandInTest):

    def upgrading(self, old, new):
        return ["Upgrading %s from %s to %s on root." % (old.name, old.version, new.version),
                "Upgrading %s (%s) on root." % (old.name, new.version.rpartition("-")[0]),
                "Downloading ADDRESS/%s." % new.file_name]

    def test_everything_upgradable_is_upgraded(self):
        install_initial_state(DEMO_OLD[:2] + APP_INSTALLED)
        self.offer(*DEMO_NEW + APP)
        self.check("upgrade", out=(
            self.upgrading(DEMO_OLD[0], DEMO_NEW[0]) + self.upgrading(DEMO_OLD[1], DEMO_NEW[1]) +
            ["Configuring enigma2-plugin-extensions-demo01.",
             "Configuring enigma2-plugin-extensions-demo02."]))
        self.check("list-upgradable")
        self.check("upgrade")

    def test_one_package_is_upgraded_by_name(self):
        install_initial_state(DEMO_OLD[:2])
        self.offer(*DEMO_NEW)
        self.check("upgrade " + DEMO % 2, out=self.upgrading(DEMO_OLD[1], DEMO_NEW[1]) +
                   ["Configuring enigma2-plugin-extensions-demo02."])
        self.check("list-upgradable", out=[
            "enigma2-plugin-extensions-demo01 - 1.01+git7-r0 - 2.01+git9+abcdef0-r1"])

    def test_a_package_that_is_not_installed_is_reported_but_no_error(self):
        self.offer(BLUE_NEW)
        for name in ("no-such-package", "enigma2-skin-blue"):
            self.check("upgrade " + name,
                       err=[" * opkg_solver_upgrade: Package %s not installed." % name])
        self.check("list-installed")

    def test_a_dependency_stays_one_after_its_upgrade(self):
        install_initial_state(APP_INSTALLED)
        self.offer(APP[0], APP[1], Package("libauto1", "1.1-r0"))
        self.assertEqual(0, self.opkg("upgrade")[0])
        self.assertEqual("1.1-r0", installed_packages()["libauto1"])
        self.opkg("remove", "--autoremove", "user-of-app")
        self.check("list-installed")


class LockTest(StandInTest):

    def test_changes_need_the_lock(self):
        install_initial_state([BLUE_OLD])
        self.hold_lock("/run/opkg.lock")
        for command in ("update", "install enigma2-skin-blue", "remove enigma2-skin-blue",
                        "upgrade"):
            self.check(command, 255, err=[
                " * opkg_lock: Could not lock /run/opkg.lock: Resource temporarily unavailable.",
                " * opkg_cmd_exec: Command failed to capture privilege lock: Resource "
                "temporarily unavailable."])
        self.assertEqual([], self.server.requests)

    def test_listings_do_not(self):
        install_initial_state([BLUE_OLD])
        self.offer(BLUE_NEW)
        self.hold_lock("/run/opkg.lock")
        self.check("list-installed", out=["enigma2-skin-blue - 3.4-r5"])
        self.check("list-upgradable", out=["enigma2-skin-blue - 3.4-r5 - 3.5-r0"])

    def test_a_running_command_holds_it(self):
        self.server.fault("all/Packages.gz", stall="headers")
        process = self.start("update")
        self.wait_for_request()
        self.assertEqual(255, self.opkg("update")[0])
        self.server.release()
        process.communicate()
        self.assertEqual(0, process.returncode)


class ConfigurationTest(StandInTest):

    def test_an_invalid_line_is_ignored_with_a_word(self):
        self.configure("# feeds\nfoo bar\n%s" % self.server.conf_line())
        ignored = [" * opkg_conf_parse_file: /etc/opkg/all-feed.conf:2: Ignoring invalid line: "
                   "`foo bar'"]
        self.check("list-installed", err=ignored)
        self.check("update", out=UpdateTest.GOOD, err=ignored)

    def test_a_named_configuration_that_is_missing_is_an_error(self):
        self.check("-f /etc/opkg/missing.conf list-upgradable", 255, err=[
            " * opkg_conf_load: Couldn't stat /etc/opkg/missing.conf: No such file or "
            "directory."])

    def test_a_source_that_is_no_longer_configured_offers_nothing(self):
        install_initial_state([BLUE_OLD])
        self.offer(BLUE_NEW)
        os.unlink(CONF)
        self.check("list-upgradable")

    def test_another_root_directory_is_another_receiver(self):
        install_initial_state([BLUE_OLD])
        root = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, root)
        install_initial_state([DEMO_OLD[0]], root)
        expected = ["enigma2-plugin-extensions-demo01 - 1.01+git7-r0"]
        self.check("-o %s list-installed" % root, out=expected)
        self.environment["KELVARO_OPKG_ROOT"] = root
        self.check("list-installed", out=expected)

    def test_an_unknown_command_is_refused(self):
        status, out, err = self.opkg("frobnicate")
        self.assertEqual((1, ""), (status, out))
        self.assertIn("frobnicate", err)


class OldVersionTest(StandInTest):

    version = "0.1.8"
    NOISE = ["Package other-arch version 1.0-r0 has no valid architecture, ignoring."]
    LOCKED = ["Collected errors:",
              " * opkg_conf_load: Could not lock /usr/lib/opkg/lock: Resource temporarily "
              "unavailable."]

    def test_the_version_is_told_and_can_be_configured(self):
        self.check("--version", out=["opkg version 0.1.8"])
        del self.environment["KELVARO_OPKG_VERSION"]
        self.check("--version", out=["opkg version 0.4.4"])
        self.configure("option standin_version 0.1.8\n", "/etc/opkg/version.conf")
        self.check("--version", out=["opkg version 0.1.8"])
        self.environment["KELVARO_OPKG_VERSION"] = "9.9"
        os.unlink("/etc/opkg/version.conf")
        self.assertEqual(1, self.opkg("--version")[0])

    def test_foreign_packages_are_told_ahead_of_the_upgradable_ones(self):
        install_initial_state([BLUE_OLD])
        self.offer(BLUE_NEW, FOREIGN)
        self.check("list-upgradable",
                   out=self.NOISE + ["enigma2-skin-blue - 3.4-r5 - 3.5-r0"])
        self.offer(*[Package("foreign%d" % n, "1-r0", architecture="sh4") for n in range(12)] +
                   [BLUE_NEW])
        out = self.opkg("list-upgradable")[1].split("\n")
        self.assertEqual("enigma2-skin-blue - 3.4-r5 - 3.5-r0", out[12])

    def test_foreign_packages_are_told_alone_when_nothing_is_upgradable(self):
        self.offer(FOREIGN)
        self.check("list-upgradable", out=self.NOISE)

    def test_the_installed_ones_are_listed_without_noise(self):
        install_initial_state([BLUE_OLD])
        self.offer(FOREIGN)
        self.check("list-installed", out=["enigma2-skin-blue - 3.4-r5"])

    def test_errors_come_last_on_standard_output(self):
        self.offer(FOREIGN)
        self.check("install no-such-package", 255, out=self.NOISE + [
            "Collected errors:",
            " * opkg_prepare_url_for_install: Couldn't find anything to satisfy "
            "'no-such-package'."])
        self.configure("foo bar\n", "/etc/opkg/broken.conf")
        self.check("list-installed", out=[
            "Collected errors:",
            " * opkg_conf_parse_file: /etc/opkg/broken.conf:1: Ignoring invalid line: `foo bar'"])

    def test_versions_are_shown_whole(self):
        install_initial_state(DEMO_OLD[:1])
        self.offer(*DEMO_NEW[:1])
        out = self.opkg("upgrade")[1]
        self.assertIn("Upgrading %s (2.01+git9+abcdef0-r1) on root.\n" % (DEMO % 1), out)
        out = self.opkg("remove", DEMO % 1)[1]
        self.assertEqual("Removing %s (2.01+git9+abcdef0-r1) from root...\n" % (DEMO % 1), out)

    def test_listings_need_the_lock_too(self):
        install_initial_state([BLUE_OLD])
        self.offer(BLUE_NEW)
        self.hold_lock("/usr/lib/opkg/lock")
        for command in ("list-upgradable", "list-installed", "update"):
            self.check(command, 255, out=self.LOCKED)


class VersionOrderTest(unittest.TestCase):

    def test_versions_rise_along_this_list(self):
        rising = ["0~~", "0~", "0", "0a", "0.1~rc1-r0", "0.1-r0", "0.1-r1", "0.1-r10", "0.1a-r0",
                  "0.1+git7-r0", "0.1+git10-r0", "0.1.1-r0", "0.2-r0", "0.10-r0", "1.0", "2.0",
                  "20231001-r0", "1:0.1-r0", "2:0-r0"]
        keys = [versions.key(version) for version in rising]
        for lower, higher in zip(range(len(keys)), range(1, len(keys))):
            self.assertLess(keys[lower], keys[higher], "%s %s" % (rising[lower], rising[higher]))

    def test_differently_written_versions_can_be_equal(self):
        for one, other in (("1.0", "0:1.0"), ("1.0", "1.00"), ("1.0", "1.0-0"), ("1.", "1.0")):
            self.assertEqual(versions.key(one), versions.key(other), "%s %s" % (one, other))

    def test_dependencies_compare_with_each_operator(self):
        for operator, fulfilled_by in (("<<", "1"), ("<=", "12"), ("<", "12"), ("=", "2"),
                                       (">=", "23"), (">", "23"), (">>", "3")):
            dependency = "name (%s 2)" % operator
            self.assertEqual(fulfilled_by, "".join(
                version for version in "123" if versions.satisfies(version, dependency)))
        self.assertTrue(versions.satisfies("1", "name"))

    def test_a_dependency_written_otherwise_is_refused(self):
        for text in ("", "name (2)", "name (=> 2)", "name >= 2"):
            self.assertRaises(ValueError, versions.split_dependency, text)


if __name__ == "__main__":
    unittest.main()
