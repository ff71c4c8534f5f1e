"""Compares what the module and its model make of a news document: all that can be seen of it.

The model asks the interpreter's own DOM, xml.dom.minidom. The module does so for what is rare, and
reads the rest into a compact tree.
"""

import sys
import warnings
import xml.dom.minidom
from xml.dom import expatbuilder

from tests.support import twins
from tests.support.recording import traceback_entries


class Server(object):
    """Stands in for urllib2 in the module's namespace; every address gives one document."""

    class HTTPError(Exception):
        pass

    class URLError(Exception):
        pass

    def __init__(self, document):
        self.document = document

    def urlopen(self, address, data, timeout):
        return self

    def read(self):
        return self.document


class Counting(object):
    """Within it, the documents that minidom parses are counted."""

    def __enter__(self):
        self.count = 0
        self.parse = expatbuilder.parseString

        def counted(*args, **kwargs):
            self.count += 1
            return self.parse(*args, **kwargs)
        expatbuilder.parseString = counted
        return self

    def __exit__(self, *exc_info):
        expatbuilder.parseString = self.parse


def typed(thing):
    """A value with the exact type of everything in it."""
    if isinstance(thing, (list, tuple)):
        return (type(thing).__name__, [typed(member) for member in thing])
    return (type(thing).__name__, thing)


def outcome(twin, document, model, **replaced):
    """What parse_xml of one implementation returns or raises, and what it stores."""
    stored = []
    namespace = vars(twin.module)
    namespace.update(urllib2=Server(document), xml=xml, vumodel=model,
                     newsURL=lambda: "address", write_cache=stored.append)
    namespace.update(replaced)
    try:
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")  # comparisons of odd models warn, and name a file
            result = ("returned", twin.module.parse_xml())
    except Exception:
        kind, value, traceback = sys.exc_info()
        # Below the module stands minidom's own code, the same for both.
        entries = [entry for entry in traceback_entries(traceback) if entry[0] == "Kelvaro"]
        # Where minidom's recursion runs into the limit depends on the frames below it.
        text = "" if kind is RuntimeError else str(value)
        result = ("raised", kind.__name__, text, entries)
        del traceback
    finally:
        twin.reset()
    return result, typed(stored)


def agree(document, model="duo2", about="", **replaced):
    """The outcome of the module, which is the model's, or AssertionError.

    model: of the receiver. about: where the document comes from. replaced: names of the module.
    """
    expected = outcome(twins.model(), document, model, **replaced)
    found = outcome(twins.module(), document, model, **replaced)
    if expected != found and found[0][:2] == ("raised", "RuntimeError"):
        # A call from C stands up to three levels deeper than one from Python, and a document can
        # be so deep that just these are missing.
        limit = sys.getrecursionlimit()
        sys.setrecursionlimit(limit - 3)
        try:
            expected = outcome(twins.model(), document, model, **replaced)
        finally:
            sys.setrecursionlimit(limit)
    if expected != found:
        raise AssertionError("%s, model %r:\n%r\nis\n%r\nand not\n%r" % (
            about, model, document[:2000], found, expected))
    return found
