"""The files that are painted with, for a painter that does not see this file system."""

import base64
import hashlib
import os


class Files(object):
    """Calls `offer(name, content)` for each file once, content in Base64.

    A name changes with the content, and its ending says what it is.
    """

    def __init__(self, offer):
        self._offer = offer
        self._names = {}  # path and time of its change: name

    def named(self, operations):
        """The operations, with names in place of paths."""
        return [dict(operation, **dict((kind, self._name(operation[kind]))
                                       for kind in ("file", "font") if kind in operation))
                for operation in operations]

    def _name(self, path):
        key = path, os.stat(path).st_mtime
        if key not in self._names:
            with open(path, "rb") as stream:
                content = stream.read()
            name = hashlib.sha1(content).hexdigest() + os.path.splitext(path)[1].lower()
            if name not in self._names.values():
                self._offer(name, base64.b64encode(content))
            self._names[key] = name
        return self._names[key]
