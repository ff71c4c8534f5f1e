"""Where things lie on a receiver. Like many host modules it also hands on names of os."""

from os import R_OK, access, path as os_path

import skin as _skin

SCOPE_SKIN, SCOPE_SKIN_IMAGE, SCOPE_PLUGINS, SCOPE_FONTS, SCOPE_CURRENT_SKIN = 1, 2, 3, 5, 10

_PLACES = {SCOPE_PLUGINS: "/usr/lib/enigma2/python/Plugins/", SCOPE_FONTS: _skin.FONTS,
           SCOPE_SKIN: _skin.SHARE, SCOPE_SKIN_IMAGE: _skin.SHARE}


def resolveFilename(scope, base=""):
    """The full name of the file `base` in `scope`."""
    if scope == SCOPE_CURRENT_SKIN:
        return _skin.find(base)
    return os_path.join(_PLACES[scope], base)


def fileExists(name):
    return access(name, R_OK)
