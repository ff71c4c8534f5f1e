"""Where things lie on a receiver. Like many host modules it also hands on names of os."""

from os import R_OK, access, path as os_path

SCOPE_PLUGINS = 3

_PLACES = {SCOPE_PLUGINS: "/usr/lib/enigma2/python/Plugins/"}


def resolveFilename(scope, base=""):
    """The full name of the file `base` in `scope`."""
    return os_path.join(_PLACES[scope], base)


def fileExists(name):
    """Is there a file `name` that can be read?"""
    return access(name, R_OK)
