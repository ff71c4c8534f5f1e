"""What is fuzzed: functions that take an input and raise AssertionError where the module errs.

The model decides what is right, and the interpreter's DOM for the tree of a document. TARGETS has
each function under its name.
"""

import random
import xml.dom.minidom

from tests.support import reading, recording, scenarios, twins
from tests.support.documents import OWN_NAMES, Writer

import fuzzing

# The receiver that documents are read for; one of the names that the seeds require.
RECEIVER = "duo2"
DEEPEST = 1000  # elements; the tree itself takes fewer


# --- The news document ---------------------------------------------------------------------

def elements_of_dom(node, found):
    """Append to `found` what fuzzing.tree is to give for the elements below a DOM node."""
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


def document(data):
    """A document: the compact tree is the DOM's, and parse_xml does with it what the model does."""
    tree = fuzzing.tree(data, DEEPEST)
    if tree is not None:
        expected = []
        elements_of_dom(xml.dom.minidom.parseString(data), expected)
        if tree != expected:
            raise AssertionError("%r\nhas the elements\n%r\nand not\n%r" % (data, expected, tree))
    reading.agree(data, RECEIVER, "fuzzed")


def mutate_document(data, number):
    """Put a well-formed piece at a place where one may stand; None three times out of four."""
    rng = random.Random(number)
    if rng.randrange(4) != 0:
        return None
    writer = Writer(rng)
    piece = rng.choice([writer.node, writer.node, writer.update, writer.item, writer.inner,
                        writer.section, writer.comment])().encode("utf-8")
    places = [at + 1 for at, byte in enumerate(data) if byte == ">"]
    at = rng.choice(places) if places else 0
    return data[:at] + piece + data[at:]


# --- Texts ---------------------------------------------------------------------------------

def agree(scenario, data):
    """Raise AssertionError unless both implementations do the same in a scenario of this input."""
    scenario.__name__ = repr(data)
    difference = comparison.case(scenario)
    if difference is not None:
        raise AssertionError(difference)


comparison = twins.Comparison()


def statistics(data):
    """The download statistics and, behind the last NUL, what opkg has installed; then choices."""
    text, _, installed = (data if "\0" in data else data + "\0").rpartition("\0")

    def scenario(case):
        case.recorder.files[scenarios.FEED] = scenarios.FEED_LINE
        case.recorder.answers["urlopen"] = text
        case.recorder.answers["installed"] = installed
        screen = scenarios.browser(case)
        case.press(screen, "keyYellow")
        for category in ("extensions", "systemplugins", "skins"):
            case.press(screen, "gotTopSelection", ("", category))
            for choice in vars(screen).get(category, [])[-3:]:
                case.press(screen, "exitChoiceBox", choice)
    agree(scenario, data)


def listing(data):
    """The package listing that the detail screen shows."""
    def scenario(case):
        case.recorder.files[scenarios.LISTING] = data
        case.press(scenarios.detail(case), "opkg_upgrade_finished", None, 0)
    agree(scenario, data)


def judgement(data):
    """The package listing that the background check judges, with and without a question."""
    for asks in (True, False):
        def scenario(case):
            recording.set_usage(show_notification=asks)
            watcher = scenarios.notifier(case)
            case.press(watcher, "opkg_upgrade_finished", data, 0)
            case.press(watcher, "show_Kelvaro", True)
        agree(scenario, data)


TARGETS = dict((target.__name__, target) for target in (document, statistics, listing, judgement))
MUTATORS = {"document": mutate_document}
