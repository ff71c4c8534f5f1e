"""What has to be known of a picture file before it is painted."""

import collections
import os
import struct

#: path: where the file lies; width, height: in pixels; palette: whether it has 8 bits a pixel.
Picture = collections.namedtuple("Picture", "path width height palette")

_read = {}  # file and time of its change: the Picture, None where it is none


def picture(path):
    """The Picture in the file `path`, None where there is none."""
    if not isinstance(path, basestring):  # noqa: F821
        return None
    try:
        found = os.stat(path)
        key = found.st_dev, found.st_ino, found.st_mtime
        if key not in _read:
            path = os.path.realpath(path)
            with open(path, "rb") as stream:
                _read[key] = _png(path, stream.read(26)) or _jpeg(path, stream)
        return _read[key]
    except (IOError, OSError, struct.error):
        return None


def _png(path, head):
    if not head.startswith(b"\x89PNG"):
        return None
    width, height, _, kind = struct.unpack(">2L2B", head[16:26])
    return Picture(path, width, height, kind in (0, 3))


def _jpeg(path, stream):
    """Look for the segment that tells the size."""
    stream.seek(2)
    while True:
        mark, kind, length = struct.unpack(">2BH", stream.read(4))
        if mark != 0xff:
            return None
        if 0xc0 <= kind <= 0xcf and kind not in (0xc4, 0xc8, 0xcc):
            _, height, width = struct.unpack(">B2H", stream.read(5))
            return Picture(path, width, height, False)
        stream.seek(length - 2, os.SEEK_CUR)
