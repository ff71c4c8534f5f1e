"""Installing, upgrading and removing packages.

A package file is opened and read as a whole, but no file of it is laid out. Of its scripts two
are kept and run: postinst, when the package has come, and prerm, when it goes.
"""
import hashlib
import os
import zlib

import archive
import database
import download
import versions

FAILED = 255
SCRIPTS = ("postinst", "prerm")


def update(known, output):
    """Fetch the index of every source. Returns the exit status: how many of them failed."""
    failed = 0
    for name, address in known.configuration.sources:
        url = address + "/Packages.gz"
        index = _download(url, output)
        if index is not None and index.startswith("\x1f\x8b"):  # what is no gzip is kept as it is
            try:
                index = zlib.decompress(index, 16 + zlib.MAX_WBITS)  # 16: with a gzip header
            except zlib.error:
                output.error("opkg_update_cmd", "Couldn't decompress %s." % url)
                index = None
        if index is None:
            failed += 1
        else:
            known.save_list(name, index)
            output.say("Updated source '%s'." % name)
    return failed


class Transaction(object):
    """One run that changes what is installed.

    known: a Database. output: an Output. Each public method returns the exit status.
    """

    def __init__(self, known, output):
        self._known = known
        self._output = output
        self._available = known.available()

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
                needed = database.dependencies(self._known.installed[name])
                if not all(map(self._satisfied, needed)):
                    status = FAILED  # without a word why, as opkg does
                self._add_orphans(doomed)
            for each in doomed:
                if self._remove_one(each):
                    removed = True
                else:
                    status = FAILED
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
        return status if self._configure_all() else FAILED

    def _bring_with_dependencies(self, package, verb):
        plan, missing = [], []
        self._plan(package, plan, missing, [])
        if missing:
            self._output.error("calculate_dependencies_for",
                               "Cannot satisfy the following dependencies for %s:"
                               % package["Package"])
            for dependency in missing:
                self._output.error(None, " * \t%s * " % dependency)
            return False
        return all(self._unpack(step, verb if step is package else "Installing",
                                automatic=step is not package) for step in plan)

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
        self._output.say("%s %s (%s) on root."
                         % (verb, name, versions.upstream(package["Version"])))
        content = _download(package["URL"], self._output)
        kept = "/var/cache/opkg/%s_%s" % (hashlib.md5(package["URL"]).hexdigest(),
                                          os.path.basename(package["URL"]))
        if content is not None and not _is_as_listed(content, package):
            self._output.say("Removing corrupt package file %s." % kept)
            content = None
        if content is None:
            self._output.error("opkg_install_pkg", "Failed to download %s. Perhaps you need to "
                               "run 'opkg update'?" % name)
            return False
        try:
            files = archive.unpack(content)
            found, = database.parse(files.get("control", ""))
            if (found["Package"], found["Version"]) != (name, package["Version"]):
                raise ValueError("another package")
        except ValueError:
            self._output.error("opkg_install_pkg",
                               "Failed to unpack control files from %s." % kept)
            return False
        if installed:
            self._run_script(name, "prerm")
            automatic = "Auto-Installed" in installed
        for script in SCRIPTS:
            if script in files:
                database.write(database.script_file(name, script), files[script])
        fields = dict((field, value) for field, value in found.items()
                      if field in ("Package", "Version", "Depends", "Architecture"))
        if automatic:
            fields["Auto-Installed"] = "yes"
        self._known.installed[name] = fields
        self._set_state(name, "unpacked")
        return True

    def _set_state(self, name, state):
        package = self._known.installed[name]
        package["Status"] = "install %s %s" % ("ok" if "Auto-Installed" in package else "user",
                                               state)
        self._known.save()

    def _configure_all(self):
        """Configure what is unpacked, of earlier runs too; return whether all scripts ran well."""
        unpacked = [name for name in database.table_order(self._known.installed)
                    if self._known.installed[name].get("Status", "").endswith(" unpacked")]
        ok = True
        while unpacked:
            ok = self._configure(unpacked[0], unpacked) and ok
        return ok

    def _configure(self, name, unpacked):
        """Configure a package after those that it depends on; take it from the list `unpacked`."""
        unpacked.remove(name)
        ok = True
        for alternatives in database.dependencies(self._known.installed[name]):
            for dependency, _ in _named(alternatives):
                if dependency in unpacked:
                    ok = self._configure(dependency, unpacked) and ok
        self._output.say("Configuring %s." % name)
        status = self._run_script(name, "postinst")
        if status:
            self._output.error("opkg_configure", "%s.postinst returned %d." % (name, status))
            return False
        self._set_state(name, "installed")
        return ok

    def _remove_one(self, name):
        """Remove a package; return whether its script allows it."""
        self._output.say("Removing %s (%s) from root..."
                         % (name, versions.upstream(self._known.installed[name]["Version"])))
        if self._run_script(name, "prerm"):
            self._output.error("opkg_remove_pkg",
                               "not removing package \"%s\", prerm script failed" % name)
            self._output.say("You can force removal of packages with failed prerm scripts with "
                             "the option: ")
            self._output.say("\t--force-remove")
            return False
        for path in [database.script_file(name, script) for script in SCRIPTS]:
            if os.path.exists(path):
                os.unlink(path)
        del self._known.installed[name]
        self._known.save()
        return True

    def _run_script(self, name, script):
        """Run a script of a package, if it has it; return its exit status."""
        command = database.read(database.script_file(name, script))
        status = 0 if command is None else os.WEXITSTATUS(os.system(command))
        if status:
            self._output.error("pkg_run_script", "package \"%s\" %s script returned status %d."
                               % (name, script, status))
        return status

    def _dependents(self, name):
        """Return the names of the installed packages that need a package."""
        installed = self._known.installed
        return [other for other, package in sorted(installed.items()) if any(
            [each for each, _ in _named(alternatives) if each in installed] == [name]
            for alternatives in database.dependencies(package))]

    def _add_orphans(self, doomed):
        """Add what came by itself and only one of the doomed needs."""
        for name in doomed:  # grows on the way: an orphan leaves orphans of its own
            for alternatives in database.dependencies(self._known.installed[name]):
                for orphan, _ in _named(alternatives):
                    package = self._known.installed.get(orphan, {})
                    if (orphan not in doomed and "Auto-Installed" in package
                            and self._dependents(orphan) == [name]):
                        self._output.say("%s was autoinstalled and is now orphaned, will remove."
                                         % orphan)
                        doomed.append(orphan)

    def _satisfied(self, alternatives):
        return any(name in self._known.installed and
                   versions.satisfies(self._known.installed[name]["Version"], dependency)
                   for name, dependency in _named(alternatives))

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


def _is_as_listed(content, package):
    """Say whether a package file has the size and the sums that the index gives, if it does."""
    found = {"Size": str(len(content)), "MD5Sum": hashlib.md5(content).hexdigest(),
             "SHA256sum": hashlib.sha256(content).hexdigest()}
    return all(package.get(field, value) == value for field, value in found.items())


def _download(url, output):
    """Return what lies at an address, None after an error that is reported."""
    output.say("Downloading %s." % url)
    try:
        return download.fetch(url)
    except download.HeadersError as e:
        output.error("opkg_validate_cached_file", "Failed to download %s headers: %s." % (url, e))
    except download.BodyError as e:
        output.error("opkg_download_backend", "Failed to download %s: %s." % (url, e))
    return None
