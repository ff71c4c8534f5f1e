"""What the stand-in knows: its configuration, the package indexes, the installed packages.

    /etc/opkg/*.conf            configuration
    /var/lib/opkg/lists/NAME    the index of the source NAME, as of the last update
    /var/lib/opkg/status        the installed packages
    /var/lib/opkg/info/NAME.postinst, NAME.prerm
                                the scripts that a package runs when it has come, when it goes

Index and status are control files: paragraphs of "Field: value" lines, a blank line after
each. A package is a dictionary of its paragraph's fields.
"""
import errno
import fcntl
import glob
import os
import re

import versions

#: Packages for these architectures can be installed; "arch" lines add others.
ARCHITECTURES = ("all", "any", "noarch")

#: Buckets of the package table, in whose order opkg walks through its packages.
_BUCKETS = 1024

STATE = "/var/lib/opkg"
STATUS = os.path.join(STATE, "status")
LOCK = "/var/run/opkg.lock"

_FIELD_ORDER = ("Package", "Version", "Depends", "Status", "Section", "Architecture",
                "Maintainer", "Filename", "Size", "MD5Sum", "SHA256sum", "Description",
                "Auto-Installed")


class Failure(Exception):
    """The run ends here; its arguments are those of Output.error."""


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


def take_lock(wait=False):
    """Hold the lock until the file returned is closed. Raises Failure, or waits, if others do."""
    make_directory(os.path.dirname(LOCK))
    stream = open(LOCK, "a")
    try:
        fcntl.lockf(stream, fcntl.LOCK_EX | (0 if wait else fcntl.LOCK_NB))
    except IOError as e:
        raise Failure("opkg_lock", "Could not lock %s: %s." % (LOCK, e.strerror))
    return stream


class Configuration(object):
    """The configuration: its sources and architectures.

    output: takes the errors. Raises Failure when a file cannot be read.

    sources: (name, base address) of each source, in order.
    architectures: the names of those that this receiver takes.
    """

    def __init__(self, output):
        self.sources = []
        self.architectures = set(ARCHITECTURES)
        for name in sorted(glob.glob("/etc/opkg/*.conf")):
            if not os.path.isdir(name):
                self._read(name, output)

    def _read(self, name, output):
        try:
            lines = open(name).read().split("\n")
        except IOError as e:
            raise Failure("opkg_conf_parse_file", "Failed to open %s: %s." % (name, e.strerror))
        for number, line in enumerate(lines, 1):
            problem = self._take(line, "%s:%d: Ignoring " % (name, number))
            if problem:
                output.error("opkg_conf_parse_file", problem)

    def _take(self, line, ignoring):
        """Note what a line says. Returns what is wrong with it, or None."""
        words = [quoted or word for quoted, word in re.findall(r'"([^"]*)"|(\S+)', line)]
        if line.endswith("\r"):
            return "%sconfig line with trailing garbage: `%s'" % (ignoring, line)
        if not words or line.startswith("#"):
            return None
        kind = words[0]
        if len(words) < 2 or kind not in ("src/gz", "arch", "option", "dest", "lists_dir"):
            return "%sinvalid line: `%s'" % (ignoring, line)
        if kind == "arch":
            self.architectures.add(words[1])
        elif kind == "src/gz":
            name, address = (words + [""])[1:3]
            if name in dict(self.sources):
                return "Duplicate src declaration (%s %s). Skipping." % (name, address)
            self.sources.append((name, address))
        return None

    def accepts(self, package):
        """Say whether a package is for one of the architectures; opkg passes over others."""
        return package.get("Architecture", "all") in self.architectures


class Database(object):
    """The packages known and installed, and the lock: listing them needs it, too.

    configuration: a Configuration. output: takes the errors. Raises Failure when it is locked.

    installed: name to package, of what is installed; save() after a change.
    """

    def __init__(self, configuration, output):
        self.configuration = configuration
        self._output = output
        self._lock = take_lock()
        self.installed = dict((package["Package"], package) for package in self._parsed(STATUS))

    def save(self):
        write(STATUS, "".join(paragraph(self.installed[name])
                              for name in table_order(self.installed)))

    def save_list(self, source, index):
        """Keep a source's new index, a byte string."""
        write(os.path.join(STATE, "lists", source), index)

    def available(self):
        """Return name to package: the newest one of each name in the indexes, with its "URL"."""
        newest = {}
        for source, url in self.configuration.sources:
            for package in self._parsed(os.path.join(STATE, "lists", source)):
                package["URL"] = "%s/%s" % (url, package.get("Filename", ""))
                known = newest.get(package["Package"])
                if (self.configuration.accepts(package)
                        and (known is None or is_newer(package, known))):
                    newest[package["Package"]] = package
        return newest

    def upgradable(self, available):
        """Return (installed, available) package pairs where the latter is newer, in order."""
        return [(self.installed[name], available[name]) for name in table_order(self.installed)
                if name in available and is_newer(available[name], self.installed[name])]

    def _parsed(self, path):
        text = read(path) or ""
        if text and not text.endswith("\n"):
            self._output.error("parse_from_stream_nomalloc",
                               "Missing new line character at end of file!")
        return parse(text)


def script_file(name, script):
    return os.path.join(STATE, "info", "%s.%s" % (name, script))


def is_newer(package, other):
    return versions.key(package["Version"]) > versions.key(other["Version"])
