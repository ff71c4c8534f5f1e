# -*- coding: utf-8 -*-
"""Packages on both sides: the feed that offers them, the receiver that has them installed.

    build_feed("/tmp/feed", [Package("enigma2-skin-blue", "3.5-r0")], news="<news/>")
    install_initial_state([Package("enigma2-skin-blue", "3.4-r5")])
    installed_packages()                # {"enigma2-skin-blue": "3.4-r5"}

The sample feed of the project lies in SAMPLE_FEED. Its package files are written by hand; the
index all/Packages is made of them by

    python2.7 -m simulator.packages

A package file here is a stand-in: the package's control paragraph as plain text.
"""
import os
import shutil
import sys

from simulator import SAMPLE_FEED
from simulator.opkg import database


class Package(object):
    """A package in one version.

    name, version: byte strings, such as "enigma2-skin-blue" and "3.4-r5".
    depends: dependencies as strings, such as "libfoo (>= 1.2)".
    architecture: "all", or another one, which a receiver passes over unless it is configured.
    postinst, prerm: shell commands that run when the package has come, and when it goes.
    automatic: as an installed package, there only because others depend on it.
    """

    def __init__(self, name, version, depends=(), architecture="all", postinst=None,
                 prerm=None, automatic=False):
        self.name = name
        self.version = version
        self.depends = tuple(depends)
        self.architecture = architecture
        self.postinst = postinst
        self.prerm = prerm
        self.automatic = automatic

    @property
    def file_name(self):
        """The name of its file in the feed; the version's epoch is no part of it."""
        return "%s_%s_%s.ipk" % (self.name, self.version.split(":")[-1], self.architecture)

    def fields(self):
        """Return its control fields, name to value, as its file holds them."""
        fields = {"Package": self.name, "Version": self.version,
                  "Architecture": self.architecture}
        for name, value in (("Depends", ", ".join(self.depends)),
                            ("Postinst", self.postinst), ("Prerm", self.prerm)):
            if value:
                fields[name] = value
        return fields


def build_feed(directory, packages, news=None, statistics=None):
    """Make a feed directory, or replace the packages of one.

    directory: its path; made where it is missing. packages: the Packages on offer, in the
    order of the index. news, statistics: contents (byte strings) of zirknews.xml and
    zirkdlstat.txt; with None the file stays as it is.

    Returns the directory.
    """
    place = database.make_directory(os.path.join(directory, "all"))
    for name in _package_files(place):
        os.unlink(os.path.join(place, name))
    for package in packages:
        database.write(os.path.join(place, package.file_name),
                       database.paragraph(package.fields()))
    _write_index(place, [package.file_name for package in packages])
    for name, content in (("zirknews.xml", news), ("zirkdlstat.txt", statistics)):
        if content is not None:
            database.write(os.path.join(directory, name), content)
    return directory


def index_feed(directory):
    """Make the index all/Packages of the package files beside it, by file name."""
    place = os.path.join(directory, "all")
    _write_index(place, _package_files(place))


def install_initial_state(packages=None):
    """Lay out what the package manager has installed; what it knew before is gone.

    packages: the Packages installed; None takes those of sample_installed().
    """
    shutil.rmtree(database.STATE, ignore_errors=True)
    paragraphs = []
    for package in sample_installed() if packages is None else packages:
        fields = package.fields()
        fields.pop("Postinst", None)
        prerm = fields.pop("Prerm", None)
        if prerm:
            database.write(database.script_file(package.name, "prerm"), prerm + "\n")
        fields["Status"] = "install %s installed" % ("ok" if package.automatic else "user")
        if package.automatic:
            fields["Auto-Installed"] = "yes"
        paragraphs.append(database.paragraph(fields))
    database.write(database.STATUS, "".join(paragraphs))


def installed_packages():
    """Return name to version of what the package manager has installed."""
    return dict((fields["Package"], fields["Version"])
                for fields in database.parse(database.read(database.STATUS) or ""))


def sample_installed():
    """Return the Packages installed at first on a receiver of the sample feed.

    installed.txt has a line "NAME VERSION" for each, and "auto" after it where only a dependency
    brought the package; "#" begins a comment. The dependencies are those of the package in the
    feed.
    """
    index = database.read(os.path.join(SAMPLE_FEED, "all", "Packages")) or ""
    offered = dict((fields["Package"], fields) for fields in database.parse(index))
    packages = []
    for line in database.read(os.path.join(SAMPLE_FEED, "installed.txt")).split("\n"):
        words = line.partition("#")[0].split()
        if words:
            depends = ["|".join(alternatives) for alternatives
                       in database.dependencies(offered.get(words[0], {}))]
            packages.append(Package(words[0], words[1], depends, automatic="auto" in words[2:]))
    return packages


def _package_files(place):
    return sorted(name for name in os.listdir(place) if name.endswith(".ipk"))


def _write_index(place, names):
    paragraphs = []
    for name in names:
        content = database.read(os.path.join(place, name))
        fields, = database.parse(content)
        fields = dict((field, value) for field, value in fields.items()
                      if field not in ("Postinst", "Prerm"))
        fields["Filename"] = name
        fields["Size"] = str(len(content))
        paragraphs.append(database.paragraph(fields))
    database.write(os.path.join(place, "Packages"), "".join(paragraphs))


def main(arguments):
    """Make the index of the sample feed, or of the feed directories named."""
    for directory in arguments or [SAMPLE_FEED]:
        index_feed(directory)


if __name__ == "__main__":
    main(sys.argv[1:])
