"""Loads pictures; with `cached`, each only once."""

import enigma

_cache = {}


def LoadPixmap(path, desktop=None, cached=False):
    """The picture in the file `path`, or None when it cannot be read."""
    if not cached:
        return enigma.loadPNG(path)
    if _cache.get(path) is None:
        _cache[path] = enigma.loadPNG(path)
    return _cache[path]
