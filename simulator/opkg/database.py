"""What the stand-in knows: its configuration, the package indexes, the installed packages.

    /etc/opkg/*.conf            configuration
    /var/lib/opkg/lists/NAME    the index of the source NAME, as of the last update
    /var/lib/opkg/status        the installed packages
    /var/lib/opkg/info/NAME.prerm
                                the command that an installed package runs when it goes

Index and status are control files: paragraphs of "Field: value" lines, a blank line after
each. A package is a dictionary of its paragraph's fields.
"""
import errno
import glob
import os

import versions

#: Packages for these architectures can be installed; "arch" lines add others.
ARCHITECTURES = ("all", "any", "noarch")

#: Buckets of the package table, in whose order opkg walks through its packages.
_BUCKETS = 1024

_FIELD_ORDER = ("Package", "Version", "Depends", "Status", "Section", "Architecture",
                "Maintainer", "Filename", "Size", "Description", "Postinst", "Prerm",
                "Auto-Installed")


def parse(text):
    """Return the packages of a control file's text. Lines of no known form are passed over."""
    packages = []
    for paragraph in text.split("\n\n"):
        fields = {}
        name = None
        for line in paragraph.split("\n"):
            if line[:1] in (" ", "\t") and name:
                fields[name] += "\n" + line
            elif ":" in line:
                name, _, value = line.partition(":")
                fields[name] = value.strip()
        if "Package" in fields and "Version" in fields:
            packages.append(fields)
    return packages


def paragraph(fields):
    """Return a package's paragraph, with its blank line."""
    def place(name):
        known = name in _FIELD_ORDER
        return (_FIELD_ORDER.index(name) if known else len(_FIELD_ORDER)), name
    return "".join("%s: %s\n" % (name, fields[name]) for name in sorted(fields, key=place)) + "\n"


def dependencies(package):
    """Return a package's dependencies: a list of lists of alternatives."""
    return [[alternative.strip() for alternative in group.split("|")]
            for group in package.get("Depends", "").split(",") if group.strip()]


def table_order(names):
    """Return names in the order in which opkg's hash table yields them."""
    return sorted(sorted(names), key=_bucket)


def _bucket(name):
    value = 5381
    for character in name:
        value = value * 33 + ord(character)
    return value % _BUCKETS


def read(path):
    """Return a file's content, None when there is no such file."""
    try:
        with open(path, "rb") as stream:
            return stream.read()
    except IOError as e:
        if e.errno == errno.ENOENT:
            return None
        raise


def write(path, content):
    """Write a file as a whole: a reader sees the old content or the new, never a part."""
    make_directory(os.path.dirname(path))
    temporary = "%s.%d" % (path, os.getpid())
    with open(temporary, "wb") as stream:
        stream.write(content)
    os.rename(temporary, path)


def make_directory(path):
    """Make a directory and those above it where they are missing. Returns the path."""
    if not os.path.isdir(path):
        os.makedirs(path)
    return path


class Configuration(object):
    """The configuration: sources, architectures and options.

    sources: (name, base address, gzipped index) of each source, in order.
    architectures: the names of those that this receiver takes.
    options: name to value.
    invalid_lines: (file, line number, line) of each line that means nothing.

    Raises IOError when a file cannot be read.
    """

    def __init__(self, files):
        self.sources = []
        self.architectures = set(ARCHITECTURES)
        self.options = {}
        self.invalid_lines = []
        for name in files:
            with open(name) as stream:
                for number, line in enumerate(stream, 1):
                    line = line.strip()
                    if line and not line.startswith("#") and not self._take(line.split()):
                        self.invalid_lines.append((name, number, line))

    def _take(self, words):
        kind = words[0]
        if kind in ("src", "src/gz") and len(words) >= 3:
            self.sources.append((words[1], words[2], kind == "src/gz"))
        elif kind == "arch" and len(words) >= 2:
            self.architectures.add(words[1])
        elif kind == "option" and len(words) >= 2:
            self.options[words[1]] = " ".join(words[2:])
        else:
            return kind in ("dest", "lists_dir") and len(words) >= 3
        return True


class Database(object):
    """The packages known and installed below a root directory.

    root: the directory that stands for "/".
    configuration: a Configuration.

    installed: name to package, of what is installed; save() after a change.
    """

    def __init__(self, root, configuration):
        self.configuration = configuration
        self._state = os.path.join(root, "var/lib/opkg")
        self.installed = {}
        for package in parse(read(os.path.join(self._state, "status")) or ""):
            self.installed[package["Package"]] = package

    def save(self):
        """Write the list of installed packages."""
        write(os.path.join(self._state, "status"),
              "".join(paragraph(self.installed[name]) for name in table_order(self.installed)))

    def save_list(self, source, index):
        """Keep a source's new index, a byte string."""
        write(os.path.join(self._state, "lists", source), index)

    def script_file(self, name, script):
        """Return the path where an installed package's script is kept."""
        return os.path.join(self._state, "info", "%s.%s" % (name, script))

    def listed(self):
        """Return the packages of all indexes, foreign ones too, each with its "URL" added."""
        packages = []
        for source, url, _ in self.configuration.sources:
            for package in parse(read(os.path.join(self._state, "lists", source)) or ""):
                package["URL"] = "%s/%s" % (url, package.get("Filename", ""))
                packages.append(package)
        return packages

    def is_foreign(self, package):
        """Say whether a package is for another architecture."""
        return package.get("Architecture", "all") not in self.configuration.architectures

    def available(self):
        """Return name to package: the newest one of each name in the indexes."""
        newest = {}
        for package in self.listed():
            known = newest.get(package["Package"])
            if not self.is_foreign(package) and (known is None or is_newer(package, known)):
                newest[package["Package"]] = package
        return newest

    def upgradable(self, available):
        """Return (installed, available) package pairs where the latter is newer, in order."""
        return [(self.installed[name], available[name]) for name in table_order(self.installed)
                if name in available and is_newer(available[name], self.installed[name])]


def is_newer(package, other):
    """Say whether a package has a higher version than another one."""
    return versions.key(package["Version"]) > versions.key(other["Version"])


def configuration_files(root):
    """Return the paths of the configuration files below a root directory."""
    return sorted(glob.glob(os.path.join(root, "etc/opkg/*.conf")))
