"""What tools/fuzz/fuzz tries with each news document. Its arguments are libFuzzer's own."""

import imp
import os
import random
import signal
import sys
import xml.dom.minidom

import fuzzing
from tests.support import reading, twins
from tests.support.documents import OWN_NAMES, Writer

# The receiver that documents are read for: one of the names that the seeds require.
RECEIVER = "duo2"
DEEPEST = 1000  # elements; the tree itself takes fewer

# The module that libFuzzer watches is the file itself, not a copy.
twins.load_module = lambda: imp.load_dynamic("Kelvaro", os.environ["KELVARO_MODULE"])


def elements_of_dom(node, found):
    """Append to `found` what fuzzing.tree has to give for the elements below a DOM node."""
    for child in node.childNodes:
        if child.nodeType != child.ELEMENT_NODE:
            continue
        at = None
        if child.tagName in OWN_NAMES:
            at = len(found)
            found.append(None)
        elements_of_dom(child, found)
        if at is not None:
            first = child.firstChild
            if child.tagName in ("update", "item"):  # nobody asks for their text
                first = None
            found[at] = (child.tagName, len(found), first is not None,
                         getattr(first, "data", None), attribute(child, "type"),
                         attribute(child, "require"))


def attribute(element, name):
    """The value of an attribute, or None."""
    return element.getAttribute(name) if element.hasAttribute(name) else None


def test(data):
    """Raise AssertionError unless tree and DOM, and module and model, agree about a document."""
    tree = fuzzing.tree(data, DEEPEST)
    if tree is not None:
        expected = []
        elements_of_dom(xml.dom.minidom.parseString(data), expected)
        if tree != expected:
            raise AssertionError("%r\nhas the elements\n%r\nand not\n%r" % (data, expected, tree))
    reading.agree(data, RECEIVER, "fuzzed")


def mutate(data, number):
    """Put a well-formed piece where one may stand; None three times out of four."""
    rng = random.Random(number)
    if rng.randrange(4) != 0:
        return None
    writer = Writer(rng)
    piece = rng.choice([writer.node, writer.node, writer.update, writer.item, writer.inner,
                        writer.section, writer.comment])().encode("utf-8")
    places = [at + 1 for at, byte in enumerate(data) if byte == ">"]
    at = rng.choice(places) if places else 0
    return data[:at] + piece + data[at:]


if __name__ == "__main__":
    signal.signal(signal.SIGINT, signal.SIG_DFL)  # libFuzzer ends with its figures
    with twins.default_encoding("utf-8"):  # as on receivers
        sys.exit(fuzzing.run(sys.argv, test, mutate))
