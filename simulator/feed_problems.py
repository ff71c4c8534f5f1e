"""What is wrong with the documents of a feed and its configuration, as far as reading them tells.

docs/feed.md describes the documents, and what is an error and what a warning. Nothing here runs the
module; simulator/check.py does both.
"""
import codecs
import collections
import re
import xml.dom.expatbuilder
import xml.parsers.expat

from simulator.models import MODELS
from simulator.problems import ERROR, WARNING, Problem, Problems

NEWS = "zirknews.xml"
STATISTICS = "zirkdlstat.txt"
CONFIGURATION = "all-feed.conf"

KINDS = ("normal", "info", "urgent")
SECTIONS = ("EXTENSIONS", "SYSTEMPLUGINS", "SKINS")
#: What stands before the names of a section, in the names of the packages.
PREFIXES = dict((section, "enigma2-plugin-%s-" % section.lower().replace("skins", "skin"))
                for section in SECTIONS)

#: Characters of a news document, its entities expanded, from which on it takes more than a second.
#: On a desk it takes 51 ns for each; the slowest receivers are some fifty times slower.
LONGEST_NEWS = 400000
#: The same, from which on it is not even tried: the time grows as the square of a text's length.
UNBEARABLE_NEWS = 4000000

#: Default encodings of interpreters that the module runs in: the receiver image's, and a plain
#: interpreter's; and what it means when one can't show a text.
ENCODINGS = [("utf-8", ERROR), ("ascii", WARNING)]

#: The elements that the news is made of: the one around each, and the attributes that count.
ELEMENTS = {
    "update": (None, ("type", "require")),
    "title": ("update", ()),
    "item": ("update", ("require",)),
    "itemtext": ("item", ()),
    "description": ("item", ("require",)),
}
ATTRIBUTES = ("type", "require")


class _Problems(Problems):
    """The problems of one document.

    restarts: whether receivers restart their menus at one of them.
    """

    restarts = False

    def __init__(self, name):
        Problems.__init__(self)
        self._name = name

    def error(self, line, text, remedy, restarts=False):
        Problems.error(self, self._name, line, text, remedy)
        self.restarts = self.restarts or restarts

    def warning(self, line, text, remedy):
        Problems.warning(self, self._name, line, text, remedy)


def missing(name):
    """Return the Problem that a feed has without its file `name`."""
    effect = {
        NEWS: u"the news browser reports a bad Internet connection and shows nothing",
        STATISTICS: u"the yellow key, \"Top 20\", does nothing",
    }[name]
    return Problem(name, None, ERROR, u"The file is missing, and so %s" % effect,
                   u"put it into the folder")


# The news.

def news_problems(content):
    """Return the Problems of a news document.

    content: the file, a byte string. A document that the interpreter's parser refuses otherwise
    than for not being well-formed, by its encoding for instance, gives none: run it to see.
    """
    problems = _Problems(NEWS)
    if is_unbearable(content):
        problems.error(None, u"With its entities expanded, the document is so long that receivers' "
                       u"menus stand still for minutes, or restart when memory is exhausted",
                       u"leave out what is long, and the entities", restarts=True)
        return problems
    try:
        elements, length = _read(content)
    except xml.parsers.expat.ExpatError as e:
        problems.error(e.lineno, u"The document is not well-formed (%s), and receivers say that it "
                       u"can not be analyzed" % xml.parsers.expat.ErrorString(e.code),
                       u"correct it at or before column %d of this line" % (e.offset + 1))
        return problems
    except Exception:  # codecs and the builder raise all kinds; so they do on receivers
        return problems
    if length > LONGEST_NEWS:
        problems.warning(None, u"The document comes to %d characters with its entities expanded, "
                         u"and the menus of slow receivers stand still for more than a "
                         u"second" % length, u"take old entries out")
    if not any(element.name == "update" for element in elements):
        problems.warning(None, u"There is no <update>, and the news browser shows an empty list",
                         u"write one for each entry")
    for element in elements:
        element.check(problems)
    return problems


class _Unbearable(Exception):
    pass


def is_unbearable(content):
    """Tell whether a news document is longer than UNBEARABLE_NEWS, or than the memory."""
    lengths = collections.Counter()

    def add(text):
        lengths["all"] += len(text)
        if lengths["all"] > UNBEARABLE_NEWS:
            raise _Unbearable

    parser = xml.parsers.expat.ParserCreate()
    parser.buffer_text = True
    parser.CharacterDataHandler = add
    parser.StartElementHandler = lambda _, attributes: add("".join(attributes.values()))
    try:
        parser.Parse(content, True)
    except xml.parsers.expat.ExpatError as e:
        return xml.parsers.expat.ErrorString(e.code) == "out of memory"
    except (_Unbearable, MemoryError):
        return True
    except Exception:  # an encoding that the parser does not know, say
        return False
    return False


class _LineBuilder(xml.dom.expatbuilder.ExpatBuilderNS):
    """Builds what minidom's parseString does; each element knows its line, too."""

    def start_element_handler(self, name, attributes):
        xml.dom.expatbuilder.ExpatBuilderNS.start_element_handler(self, name, attributes)
        self.curNode.line = self.getParser().CurrentLineNumber


def _read(content):
    """Return the document's elements that matter, as _Elements in document order, and its length
    with entities expanded.
    """
    document = _LineBuilder().parseString(content)
    length = 0
    elements = []
    numbers = collections.Counter()
    # Not recursive: how deep a document may be is for the module to say.
    waiting = [(document.documentElement, ())]
    while waiting:
        node, around = waiting.pop()
        if node.tagName.lower() in ELEMENTS:
            element = _Element(node, around)
            numbers[element.name, element.parent] += 1
            element.number = numbers[element.name, element.parent]
            elements.append(element)
            around += (element,)
        waiting += [(child, around) for child in reversed(node.childNodes)
                    if child.nodeType == child.ELEMENT_NODE]
        length += sum(len(value) for _, value in node.attributes.items())
        length += sum(len(child.nodeValue or "") for child in node.childNodes)
    return elements, max(length, len(content))


class _Element(object):
    """An element that the news is made of, or one whose name differs from theirs in capitals."""

    def __init__(self, node, around):
        """around: the _Elements that it stands in, from the outermost to the innermost."""
        self.node = node
        self.name = node.tagName
        self.line = node.line
        self.number = None  # from 1, among those of its name and parent
        self._parent_name, self._attributes = ELEMENTS.get(self.name, (None, ()))
        self.parent = _innermost(around, self._parent_name)
        self._like_this = _innermost(around, self.name)
        self._around = around
        self._below = []  # all _Elements in it, in document order
        for outer in around:
            outer._below.append(self)

    def __unicode__(self):
        own = u"%s %d" % (self.name, self.number)
        return own if self.parent is None else u"%s of %s" % (own, self.parent)

    def below(self, name):
        """Return the _Elements `name` at any depth in this one."""
        return [element for element in self._below if element.name == name]

    def check(self, problems):
        """Add what is wrong with this element itself."""
        if self.name not in ELEMENTS:
            problems.error(self.line, u"%s is passed over, since names are case-sensitive" % self,
                           u"write <%s>" % self.name.lower())
            return
        if self._parent_name is not None and self.parent is None:
            problems.error(self.line, u"%s stands outside <%s> and is shown "
                           u"nowhere" % (self, self._parent_name), u"move it into one")
            return
        if self._like_this is not None:
            problems.warning(self.line, u"%s stands in %s, which shows its content as "
                             u"well" % (self, self._like_this), u"put it after that one")
        self._check_attributes(problems)
        if self.name == "update":
            if not self.below("title"):
                problems.error(self.line, u"%s has no <title>, and its receivers restart their "
                               u"menus when the browser opens" % self,
                               u"give it one with a text", restarts=True)
        elif self.name == "item":
            self._check_item(problems)
        elif self.name == "title" and not self._is_first_title():
            problems.warning(self.line, u"%s is not shown, since the first one counts" % self,
                             u"leave it out")
        else:
            self._check_text(problems)

    def _is_first_title(self):
        return any(outer.name == "update" and outer.below("title")[0] is self
                   for outer in self._around)

    def _check_attributes(self, problems):
        for name, value in sorted(self.node.attributes.items()):
            if name in self._attributes:
                continue
            if name.lower() in self._attributes:
                problems.error(self.line, u"The attribute %s of %s is passed over, since names are "
                               u"case-sensitive" % (name, self), u"write %s" % name.lower())
            elif name.lower() in ATTRIBUTES:
                holder = u"update" if name.lower() == "type" else self._parent_name
                problems.error(self.line, u"The attribute %s has no effect on %s" % (name, self),
                               u"move it to the <%s>" % holder)
        if "type" in self._attributes and self.node.hasAttribute("type"):
            kind = self.node.getAttribute("type")
            if kind not in KINDS:
                problems.error(self.line, u"The type \"%s\" of %s is unknown and gets the normal "
                               u"icon" % (kind, self), u"write %s, %s or %s" % KINDS)
        if "require" in self._attributes and self.node.hasAttribute("require"):
            self._check_require(problems, self.node.getAttribute("require"))

    def _check_require(self, problems, require):
        if not require:
            problems.error(self.line, u"The empty require hides %s from every receiver" % self,
                           u"leave the attribute out to show it to all")
            return
        for key in require.split(u","):
            known = key.strip().lower()
            if key in MODELS:
                continue
            if known not in MODELS:
                problems.error(self.line, u"%s requires \"%s\", a model that does not "
                               u"exist" % (self, key), u"write one of %s" % u" ".join(MODELS))
            else:
                fault = u"capitals" if key.strip() == key else u"blanks"
                problems.error(self.line, u"%s requires \"%s\", whose %s count, so that no "
                               u"receiver shows it for that" % (self, key, fault),
                               u"write \"%s\" between bare commas" % known)

    def _check_item(self, problems):
        texts = [element for element in self.below("itemtext") if element.node.firstChild]
        if not texts:
            problems.warning(self.line, u"%s has no text and reads \"* None\"" % self,
                             u"give it an <itemtext>")
        for element in texts[:-1]:
            if element.parent is self:
                problems.warning(element.line, u"%s is not shown, since the last one "
                                 u"counts" % element, u"leave it out, or make an <item> of it")

    def _check_text(self, problems):
        """Check the text of a title, itemtext or description: the data of its first child."""
        when = u"when the %s opens" % (u"browser" if self.name == "title" else u"entry")
        first = self.node.firstChild
        if first is None:
            if self.name == "title":
                problems.error(self.line, u"%s is empty, and its receivers restart their menus "
                               u"when the browser opens" % self, u"write a text", restarts=True)
            return
        if first.nodeType == first.ELEMENT_NODE:
            problems.error(self.line, u"%s begins with <%s>, and its receivers restart their menus "
                           u"when the browser opens" % (self, first.tagName),
                           u"write plain text", restarts=True)
            return
        if first.nodeType not in (first.TEXT_NODE, first.CDATA_SECTION_NODE):
            problems.error(self.line, u"%s begins with a comment or a processing instruction, "
                           u"which is shown as its text" % self, u"move that before the element")
        elif _have_text(self.node.childNodes[1:]):
            problems.error(self.line, u"%s is shown only up to the first element, comment or CDATA "
                           u"section in it" % self,
                           u"write plain text, or make the whole of it one CDATA section")
        else:
            self._check_white_space(problems, first.data)
        for encoding, severity in ENCODINGS:
            try:
                first.data.encode(encoding)
            except UnicodeEncodeError as e:
                text = (u"%s has \"%s\", at which receivers whose default encoding is %s restart "
                        u"their menus %s" % (self, e.object[e.start:e.end], encoding.upper(), when))
                if severity == ERROR:
                    problems.error(self.line, text, u"replace it", restarts=True)
                else:
                    problems.warning(self.line, text,
                                     u"replace it if the feed serves such receivers")
                break

    def _check_white_space(self, problems, text):
        if not text.strip():
            add = problems.error if self.name == "title" else problems.warning
            add(self.line, u"%s holds nothing but white space" % self, u"write a text")
        elif text != text.strip(u" \t\r\n") or u"\n" in text:
            problems.warning(self.line, u"%s has white space at an end or a line break, which is "
                             u"shown" % self, u"write its text on one line, right between the tags")


def _innermost(elements, name):
    """Return the last of the _Elements that has a name, None where none has."""
    return ([None] + [element for element in elements if element.name == name])[-1]


def _have_text(nodes):
    """Tell whether there is any text but white space in some nodes and the elements in them."""
    waiting = list(nodes)
    while waiting:
        node = waiting.pop()
        if node.nodeType in (node.TEXT_NODE, node.CDATA_SECTION_NODE) and node.data.strip():
            return True
        waiting += node.childNodes
    return False


# The statistics.

def statistics_problems(content):
    """Return the Problems of the download statistics (a byte string)."""
    problems = _Problems(STATISTICS)
    in_section = False
    records = 0
    lines = content.split("\n")
    returns = [number for number, line in enumerate(lines, 1) if line.endswith("\r")]
    if returns:
        problems.error(returns[0], u"This line ends with a carriage return, as do %d in all: so "
                       u"ended, a section is not recognised, and a count shows it" % len(returns),
                       u"end lines with a line feed alone")
    for number, line in enumerate(lines, 1):
        line = line.rstrip("\r")
        fields = line.split(";")
        shown = line.decode("utf-8", "replace")
        meant = line.replace(codecs.BOM_UTF8, "").strip(" \t;:").upper()
        if line in SECTIONS:
            in_section = True
        elif meant in SECTIONS:
            problems.error(number, u"\"%s\" does not begin a section, since it is not written "
                           u"exactly so" % shown, u"write %s" % meant)
            in_section = True  # as it was meant: one fault is reported once
        elif not line.strip():
            continue
        elif len(fields) < 2:
            problems.error(number, u"\"%s\" is passed over, since it is no section and a record "
                           u"has the fields NAME;COUNT" % shown, u"add the count")
        elif not in_section:
            problems.error(number, u"The record \"%s\" stands before the first section and is "
                           u"shown nowhere" % shown, u"move it below %s, %s or %s" % SECTIONS)
        else:
            records += 1
            _check_record(problems, number, shown, *fields[:2])
    if not records:
        problems.error(None, u"There is no record in a section, and receivers whose skin has no "
                       u"chooser of its own restart their menus when \"Top 20\" opens",
                       u"add sections with records")
    return problems


def _check_record(problems, number, shown, name, count):
    if not re.match(r"[\w+.-]+\Z", name):
        problems.error(number, u"The name in \"%s\" is empty or has characters that no package's "
                       u"has" % shown, u"write that of the package, without the prefix")
    if "_install" in name:
        problems.error(number, u"The name in \"%s\" contains \"_install\", which receivers remove "
                       u"from it, so that they ask for another package" % shown,
                       u"rename the package")
    if count.strip() and not count.strip().isdigit():
        problems.warning(number, u"The count in \"%s\" is no number, and is shown as it "
                         u"stands" % shown, u"write a number")
    elif not count.strip():
        problems.warning(number, u"The count in \"%s\" is empty, and the row reads \"()\"" % shown,
                         u"write a number")


def records(content):
    """Return pairs of a line and the package that it names, for the statistics (a byte string)."""
    found = []
    prefix = None
    for number, line in enumerate(content.split("\n"), 1):
        if line in SECTIONS:
            prefix = PREFIXES[line]
        elif prefix and re.match(r"[\w+.-]+;", line):  # other names are problems of their own
            found.append((number, prefix + line.split(";")[0]))
    return found


# The configuration.

def configuration_problems(content, made):
    """Return the Problems of the receivers' all-feed.conf (a byte string).

    made: the address of the news that the module makes of it.
    """
    problems = _Problems(CONFIGURATION)
    line, end, _ = content.partition("\n")
    words = line.split()
    if len(words) != 3 or words[0] != "src/gz":
        problems.error(1, u"The first line is no feed, but receivers take it for the one whose "
                       u"news they show", u"begin with \"src/gz Zirk-all ADDRESS/all\"")
        return problems
    if line.endswith("\r"):
        problems.error(1, u"The line ends with a carriage return, and opkg ignores the feed",
                       u"end it with a line feed alone")
    meant = re.sub("/all/*$", "/", words[2]) + NEWS
    if made != meant:
        stripped = (line + end).strip("src/gz Zirk-all ")
        remedy = (u"name the feed Zirk-all" if words[1] != "Zirk-all" else
                  u"end the line with a line feed" if not end else
                  u"let the address end in /all, without a slash"
                  if not words[2].endswith("/all") else
                  u"keep \"all\" out of the names of hosts and folders")
        problems.error(1, u"The news is looked for in the wrong place; stripping the line leaves "
                       u"\"%s\", replacing each \"all\" makes \"%s\" of it, and \"%s\" is "
                       u"meant" % (_shown(stripped), _shown(made), _shown(meant)), remedy)
    return problems


def _shown(text):
    return text.strip().decode("utf-8", "replace")
