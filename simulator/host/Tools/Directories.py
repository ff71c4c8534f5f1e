"""Where things lie on a receiver. Like many host modules it also hands on names of os."""

from os import F_OK, R_OK, access, makedirs, path as os_path

SCOPE_LANGUAGE = 1
SCOPE_SKIN = 2
SCOPE_PLUGINS = 3
SCOPE_CONFIG = 4
SCOPE_CURRENT_SKIN = 5

_PLACES = {
    SCOPE_LANGUAGE: "/usr/share/enigma2/po/",
    SCOPE_SKIN: "/usr/share/enigma2/",
    SCOPE_PLUGINS: "/usr/lib/enigma2/python/Plugins/",
    SCOPE_CONFIG: "/etc/enigma2/",
    SCOPE_CURRENT_SKIN: "/usr/share/enigma2/",
}


def resolveFilename(scope, base=""):
    """The full name of the file `base` in `scope`."""
    return os_path.join(_PLACES[scope], base)


def fileExists(name):
    """Is there a file `name` that can be read?"""
    return access(name, R_OK)


def pathExists(name):
    return access(name, F_OK)


def createDir(name):
    """Make the directory `name` and those above it; False when that fails."""
    try:
        makedirs(name)
    except OSError:
        return False
    return True
