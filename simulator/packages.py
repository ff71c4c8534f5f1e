"""Packages on both sides: the feed that offers them, the receiver that has them installed.

    build_feed("/tmp/feed", [Package("enigma2-skin-blue", "3.5-r0")], news="<news/>")
    install_initial_state([Package("enigma2-skin-blue", "3.4-r5")])
    installed_packages()                # {"enigma2-skin-blue": "3.4-r5"}

The sample feed of the project lies in SAMPLE_FEED. Its packages and their index, the directory
all/, are made of packages.txt by

    python2.7 -m simulator.packages

A package here is a real one, but for the files it would install: it has none.
"""
import hashlib
import os
import shutil

from simulator import SAMPLE_FEED
from simulator.opkg import archive, database


class Package(object):
    """A package in one version.

    name, version: byte strings, such as "enigma2-skin-blue" and "3.4-r5".
    depends: dependencies as strings, such as "libfoo (>= 1.2)".
    architecture: "all", or another one, which a receiver passes over unless it is configured.
    postinst, prerm: shell commands that run when the package has come, and when it goes.
    automatic: as an installed package, there only because others depend on it.
    description: its summary.
    """

    def __init__(self, name, version, depends=(), architecture="all", postinst=None,
                 prerm=None, automatic=False, description=None):
        self.name = name
        self.version = version
        self.depends = tuple(depends)
        self.architecture = architecture
        self.scripts = dict((name, "#!/bin/sh\n%s\n" % commands) for name, commands
                            in (("postinst", postinst), ("prerm", prerm)) if commands)
        self.automatic = automatic
        self.description = description

    @property
    def file_name(self):
        """The name of its file in the feed; the version's epoch is no part of it."""
        return "%s_%s_%s.ipk" % (self.name, self.version.split(":")[-1], self.architecture)

    def fields(self):
        """Return its control fields, name to value."""
        fields = {"Package": self.name, "Version": self.version,
                  "Architecture": self.architecture}
        for name, value in (("Depends", ", ".join(self.depends)),
                            ("Description", self.description)):
            if value:
                fields[name] = value
        return fields

    def content(self):
        return archive.pack(database.paragraph(self.fields()), self.scripts)


def build_feed(directory, packages, news=None, statistics=None):
    """Make a feed directory, or replace the packages of one.

    directory: its path; made where it is missing. packages: the Packages on offer, in the
    order of the index. news, statistics: contents (byte strings) of zirknews.xml and
    zirkdlstat.txt; with None the file stays as it is.

    Returns the directory.
    """
    place = database.make_directory(os.path.join(directory, "all"))
    files, index = {}, ""
    for package in packages:
        content = files[package.file_name] = package.content()
        index += database.paragraph(dict(
            package.fields(), Filename=package.file_name, Size=str(len(content)),
            MD5Sum=hashlib.md5(content).hexdigest(),
            SHA256sum=hashlib.sha256(content).hexdigest()))
    files.update({"Packages": index, "Packages.gz": archive.compress(index)})
    for name, content in files.items():
        database.write(os.path.join(place, name), content)
    for name in os.listdir(place):
        if name.endswith(".ipk") and name not in files:
            os.unlink(os.path.join(place, name))
    for name, content in (("zirknews.xml", news), ("zirkdlstat.txt", statistics)):
        if content is not None:
            database.write(os.path.join(directory, name), content)
    return directory


def install_initial_state(packages=None):
    """Lay out what the package manager has installed; what it knew before is gone.

    packages: the Packages installed; None takes those of sample_installed().
    """
    shutil.rmtree(database.STATE, ignore_errors=True)
    paragraphs = []
    for package in sample_installed() if packages is None else packages:
        fields = package.fields()
        if "prerm" in package.scripts:
            database.write(database.script_file(package.name, "prerm"), package.scripts["prerm"])
        fields["Status"] = "install %s installed" % ("ok" if package.automatic else "user")
        if package.automatic:
            fields["Auto-Installed"] = "yes"
        paragraphs.append(database.paragraph(fields))
    database.write(database.STATUS, "".join(paragraphs))


def installed_packages():
    """Return name to version of what the package manager has installed."""
    return dict((fields["Package"], fields["Version"])
                for fields in database.parse(database.read(database.STATUS) or ""))


def sample_packages():
    """Return the Packages that the sample feed offers, in the order of packages.txt."""
    text = database.read(os.path.join(SAMPLE_FEED, "packages.txt"))
    return [Package(fields["Package"], fields["Version"],
                    filter(None, fields.get("Depends", "").split(", ")),
                    fields["Architecture"], description=fields["Description"])
            for fields in database.parse(text)]


def sample_installed():
    """Return the Packages installed at first on a receiver of the sample feed.

    installed.txt has a line "NAME VERSION" for each, and "auto" after it where only a dependency
    brought the package; "#" begins a comment. The dependencies are those of the package in the
    feed.
    """
    depends = dict((package.name, package.depends) for package in sample_packages())
    lines = database.read(os.path.join(SAMPLE_FEED, "installed.txt")).split("\n")
    words = [line.partition("#")[0].split() for line in lines]
    return [Package(each[0], each[1], depends.get(each[0], ()), automatic="auto" in each[2:])
            for each in words if each]


if __name__ == "__main__":
    build_feed(SAMPLE_FEED, sample_packages())
