"""Installing, upgrading and removing packages.

A package file of the feed is a stand-in as well: the package's paragraph and nothing else, so
nothing is unpacked. It may hold a shell command for when the package has come (Postinst) and
one for when it goes (Prerm).
"""
import os
import zlib

import database
import download
import versions

FAILED = 255


def update(known, output):
    """Fetch the index of every source. Returns the exit status, 1 when any of them failed.

    known: a Database. output: an Output.
    """
    status = 0
    for name, address, gzipped in known.configuration.sources:
        url = address + ("/Packages.gz" if gzipped else "/Packages")
        index = _download(url, output)
        if index is not None and gzipped:
            try:
                index = zlib.decompress(index, 16 + zlib.MAX_WBITS)  # 16: with a gzip header
            except zlib.error:
                output.error("opkg_update_cmd", "Couldn't decompress %s." % url)
                index = None
        if index is None:
            status = 1
        else:
            known.save_list(name, index)
            output.say("Updated source '%s'." % name)
    return status


class Transaction(object):
    """One run that changes what is installed.

    known: a Database. output: an Output. full_versions: show versions with their revision.
    Each public method returns the exit status.
    """

    def __init__(self, known, output, full_versions):
        self._known = known
        self._output = output
        self._full_versions = full_versions
        self._available = known.available()
        self._unconfigured = []

    def install(self, names):
        """Install packages, or upgrade those that are installed, with what they depend on."""
        for name in names:
            if name not in self._available and name not in self._known.installed:
                self._output.error("opkg_prepare_url_for_install",
                                   "Couldn't find anything to satisfy '%s'." % name)
                return FAILED
        return self._bring(names, "Installing")

    def upgrade(self, names):
        """Upgrade packages; with no names, all that have a newer version."""
        if not names:
            names = [old["Package"] for old, _ in self._known.upgradable(self._available)]
        installed = []
        for name in names:
            if name in self._known.installed:
                installed.append(name)
            else:
                self._output.error("opkg_solver_upgrade", "Package %s not installed." % name)
        return self._bring(installed, "Upgrading")

    def remove(self, names, force_depends, autoremove):
        """Remove packages.

        force_depends: also when others depend on them. autoremove: and with them what was
        installed only because they depend on it.
        """
        status = 0
        removed = False
        for name in names:
            if name not in self._known.installed:
                continue
            dependents = self._dependents(name)
            if dependents and not force_depends:
                self._warn_of_dependents(name, dependents)
                status = FAILED
                continue
            doomed = [name]
            if autoremove:
                if self._lacks_dependency(self._known.installed[name]):
                    status = FAILED  # and not a word why: opkg does the same
                self._add_orphans(doomed)
            for goner in doomed:
                self._remove_one(goner)
            removed = True
        if not removed:
            self._output.say("No packages removed.")
        return status

    def _bring(self, names, verb):
        status = 0
        for name in names:
            installed = self._known.installed.get(name)
            package = self._available.get(name)
            if installed and not (package and database.is_newer(package, installed)):
                self._output.say("Package %s (%s) installed in root is up to date."
                                 % (name, installed["Version"]))
            elif not self._bring_with_dependencies(package, verb):
                self._output.error("opkg_solver_install", "Cannot install package %s." % name)
                status = FAILED
        for package in self._unconfigured:
            if not self._configure(package):
                status = FAILED
        return status

    def _bring_with_dependencies(self, package, verb):
        plan, missing = [], []
        self._plan(package, plan, missing, [])
        if missing:
            self._output.error("calculate_dependencies_for",
                               "Cannot satisfy the following dependencies for %s:"
                               % package["Package"])
            for dependency in missing:
                self._output.error(None, " * \t%s *" % dependency)
            return False
        for step in plan:
            if not self._unpack(step, verb if step is package else "Installing",
                                automatic=step is not package):
                return False
        return True

    def _plan(self, package, plan, missing, seen):
        """Append to plan what must be installed for a package, dependencies first."""
        seen.append(package["Package"])
        for alternatives in database.dependencies(package):
            if self._satisfied(alternatives):
                continue
            candidates = [self._available[name] for name, dependency in _named(alternatives)
                          if name in self._available and
                          versions.satisfies(self._available[name]["Version"], dependency)]
            if not candidates:
                missing.append(" | ".join(alternatives))
            elif candidates[0]["Package"] not in seen:
                self._plan(candidates[0], plan, missing, seen)
        plan.append(package)

    def _unpack(self, package, verb, automatic):
        name = package["Package"]
        installed = self._known.installed.get(name)
        if installed:
            self._output.say("Upgrading %s from %s to %s on root."
                             % (name, installed["Version"], package["Version"]))
        self._output.say("%s %s (%s) on root." % (verb, name, self._shown_version(package)))
        content = _download(package["URL"], self._output)
        if content is None:
            self._output.error("opkg_install_pkg", "Failed to download %s. Perhaps you need to "
                               "run 'opkg update'?" % name)
            return False
        found = database.parse(content)
        if [(each["Package"], each["Version"]) for each in found] != [(name, package["Version"])]:
            self._output.error("pkg_extract_control_file_to_stream",
                               "%s is not package %s %s." % (package["URL"], name,
                                                             package["Version"]))
            return False
        if installed:
            self._run_prerm(name)
            automatic = "Auto-Installed" in installed
        self._unconfigured.append(found[0])
        self._record(found[0], "unpacked", automatic)
        if "Prerm" in found[0]:
            database.write(self._known.script_file(name, "prerm"), found[0]["Prerm"] + "\n")
        return True

    def _configure(self, package):
        name = package["Package"]
        self._output.say("Configuring %s." % name)
        if "Postinst" in package:
            self._output.before_script()
            status = os.system(package["Postinst"])
            if status:
                self._output.error("pkg_run_script", "package \"%s\" postinst script returned "
                                   "status %d." % (name, os.WEXITSTATUS(status)))
                return False
        self._record(package, "installed",
                     "Auto-Installed" in self._known.installed[name])
        return True

    def _record(self, package, state, automatic):
        fields = dict((name, value) for name, value in package.items()
                      if name in ("Package", "Version", "Depends", "Architecture"))
        fields["Status"] = "install %s %s" % ("ok" if automatic else "user", state)
        if automatic:
            fields["Auto-Installed"] = "yes"
        self._known.installed[package["Package"]] = fields
        self._known.save()

    def _remove_one(self, name):
        package = self._known.installed[name]
        self._output.say("Removing %s (%s) from root..." % (name, self._shown_version(package)))
        self._run_prerm(name)
        del self._known.installed[name]
        self._known.save()

    def _run_prerm(self, name):
        path = self._known.script_file(name, "prerm")
        command = database.read(path)
        if command is not None:
            self._output.before_script()
            os.system(command)
            os.unlink(path)

    def _dependents(self, name):
        """Return the names of the installed packages that need a package."""
        return [other for other, package in sorted(self._known.installed.items())
                if any(self._needs(alternatives, name)
                       for alternatives in database.dependencies(package))]

    def _needs(self, alternatives, name):
        names = [each for each, _ in _named(alternatives) if each in self._known.installed]
        return names == [name]

    def _add_orphans(self, doomed):
        for name in doomed:  # grows on the way: an orphan leaves orphans of its own
            for alternatives in database.dependencies(self._known.installed[name]):
                for orphan, _ in _named(alternatives):
                    package = self._known.installed.get(orphan, {})
                    if (orphan not in doomed and "Auto-Installed" in package and
                            set(self._dependents(orphan)) <= set(doomed)):
                        self._output.say("%s was autoinstalled and is now orphaned, will remove."
                                         % orphan)
                        doomed.append(orphan)

    def _lacks_dependency(self, package):
        return not all(self._satisfied(alternatives)
                       for alternatives in database.dependencies(package))

    def _satisfied(self, alternatives):
        return any(name in self._known.installed and
                   versions.satisfies(self._known.installed[name]["Version"], dependency)
                   for name, dependency in _named(alternatives))

    def _shown_version(self, package):
        version = package["Version"]
        return version if self._full_versions else versions.without_revision(version)

    def _warn_of_dependents(self, name, dependents):
        def warn(text):
            self._output.error("print_dependents_warning", text)
        warn("Package %s is depended upon by packages:" % name)
        for dependent in dependents:
            warn("\t%s" % dependent)
        warn("These might cease to work if package %s is removed." % name)
        self._output.error(None, "")
        warn("Force removal of this package with --force-depends.")
        warn("Force removal of this package and its dependents")
        warn("with --force-removal-of-dependent-packages.")


def _named(alternatives):
    return [(versions.split_dependency(dependency)[0], dependency)
            for dependency in alternatives]


def _download(url, output):
    output.say("Downloading %s." % url)
    try:
        return download.fetch(url)
    except download.DownloadError as e:
        output.error("opkg_validate_cached_file", "Failed to download %s%s: %s."
                     % (url, " headers" if e.in_headers else "", e))
        return None
