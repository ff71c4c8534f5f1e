"""News documents by seed: well-formed ones of every shape, and every way of being wrong.

`generate` makes one document of a kind. The kinds:

    plain       comments, processing instructions, CDATA, references, mixed content, white space,
                line ends, nested updates; UTF-8, ISO-8859-1 or US-ASCII
    encoded     declared and undeclared encodings, marked and unmarked, right and wrong
    names       names outside ASCII, with colons, and declared and undeclared namespaces
    doctype     a DOCTYPE with entities, attribute defaults and conditional oddities
    raw         bytes that are no UTF-8, in texts, names, attribute values and comments
    damaged     a document of another kind, cut off or with bytes changed, doubled or put in
    deep        elements nested many levels
    junk        no document at all
"""

import codecs

# The weights that documents of a mixed set have. More than half are such as feeds have.
KINDS = {"plain": 50, "encoded": 10, "names": 8, "doctype": 8, "raw": 6, "damaged": 12,
         "deep": 3, "junk": 2}

MODELS = ["uno4kse", "duo2", "solo", "zero"]

# Private-use characters stand for bytes that no encoder makes; `encode` puts the bytes in.
RAW_BYTES = ["\xff", "\xfe", "\xc3", "\xc3(", "\xe2\x82", "\xe2(\xa1", "\xed\xa0\x80",
             "\xed\xb0\x80", "\xed\xa0\x80\xed\xb0\x80", "\xc0\xaf", "\xf5\x80\x80\x80",
             "\xf0\x28\x8c\xbc", "\xf4\x90\x80\x80", "\xef\xbf\xbe", "\x80", "\x00", "\x01",
             "\x1b", "\xef\xbb\xbf"]
RAW_FIRST = 0xE000

TEXTS = [u"News", u"a", u"two words", u" ", u"  ", u"\n", u"\r\n", u"\r", u"\t", u"\n  \r", u"]",
         u"]]", u">", u"'", u'"', u"0", u"normal", u"None", u"%s", u"\\", u"\x7f", u"x,y"]
WIDE_TEXTS = [u"\xe4", u"\xdcbersicht", u"\x85", u"\x9f", u"\xa0", u"\u2028", u"\u65b0\u805e",
              u"\ufeff", u"\ufffd", u"\U0001F4FA", u"e\u0301", u"\ud7ff", u"\U0010FFFF"]
REFERENCES = [u"&amp;", u"&lt;", u"&gt;", u"&quot;", u"&apos;", u"&#65;", u"&#x41;", u"&#10;",
              u"&#13;", u"&#9;", u"&#32;", u"&#xE4;", u"&#x20AC;", u"&#x1F4FA;", u"&#x85;",
              u"&#x10FFFF;", u"&#x7f;"]
WRONG_REFERENCES = [u"&nbsp;", u"&", u"&;", u"&#0;", u"&#1;", u"&#xD800;", u"&#xFFFE;",
                    u"&#x110000;", u"&#;", u"&#x;", u"&amp", u"& amp;", u"&#99999999999;"]
COMMENTS = [u"", u" c ", u"-", u"a - b", u"<title>no</title>", u"&amp;", u"\r\n", u"\r", u"[CDATA[",
            u"]]>", u"<!DOCTYPE x>"]
SECTIONS = [u"", u"", u"x", u"<b>&amp;</b>", u" ", u"\r\n", u"\r", u"]]", u"]", u">", u"<![CDATA[",
            u"<!DOCTYPE a>", u"long " * 50, u"]]]]>]", u"-->"]
TARGETS = [u"x", u"php", u"xml-stylesheet", u"Xm", u"update"]
ASCII_NAMES = [u"b", u"p", u"x-y", u"_", u"Update", u"UPDATE", u"updates", u"updat", u"news",
               u"items", u"Title", u"a.b", u"xml_", u"description2"]
OWN_NAMES = [u"update", u"title", u"item", u"itemtext", u"description"]
ATTRIBUTES = [u"type", u"require", u"Type", u"requires", u"typ", u"id", u"xml:lang", u"xml:space",
              u"xml:type", u"xml:require", u"date", u"_"]

# Names of encodings, as documents may declare them.
KNOWN = ["utf-8", "UTF-8", "Utf-8", "iso-8859-1", "ISO-8859-1", "us-ascii", "US-ASCII"]
DECODED = ["latin1", "latin-1", "ascii", "utf8", "UTF8", "utf-8-sig", "windows-1252", "cp1251",
           "cp1252", "koi8-r", "iso-8859-15", "iso8859-2", "mac-roman", "iso-2022-jp", "charmap",
           "unicode_escape", "raw_unicode_escape", "cp037", "cp500", "rot13", "cp437", "tis-620"]
REFUSED = ["bogus", "shift_jis", "euc-jp", "big5", "gb2312", "gbk", "gb18030", "euc-kr", "hz",
           "johab", "utf-7", "utf-32", "utf_16", "utf-16-le", "unicode_internal", "hex", "base64",
           "zlib", "bz2", "uu", "quopri", "string_escape", "idna", "undefined", "punycode",
           "-x", "1x", "", "utf-8 ", "x y", "mbcs", "utf_8"]
WIDE = ["utf-16", "UTF-16", "utf-16le", "UTF-16LE", "utf-16be"]


class Writer(object):
    """Writes one document with random numbers; the parts come back as Unicode strings.

    wide: characters outside ASCII may occur; latin: only those of ISO-8859-1;
    odd_names, raw: see the kinds; entities: names of general entities that are declared.
    """

    def __init__(self, rng, wide=True, latin=False, odd_names=False, raw=False, entities=()):
        self.rng = rng
        self.texts = TEXTS + [text for text in WIDE_TEXTS
                              if wide and (not latin or max(text) < u"\u0100")]
        self.odd_names = odd_names
        self.raw = raw
        self.entities = [u"&%s;" % name for name in entities]

    def chance(self, probability):
        return self.rng.random() < probability

    def several(self, part, most):
        return u"".join([part() for _ in range(self.rng.randint(0, most))])

    def raw_bytes(self):
        return unichr(RAW_FIRST + self.rng.randrange(len(RAW_BYTES)))

    # --- character data -------------------------------------------------------------------

    def text(self):
        """Character data with references."""
        pieces = []
        for _ in range(self.rng.choice([1, 1, 1, 2, 3, 5])):
            if self.chance(0.2):
                pieces.append(self.rng.choice(REFERENCES + self.entities * 4))
            else:
                pieces.append(self.rng.choice(self.texts))
            if self.raw and self.chance(0.03):
                pieces.append(self.raw_bytes())
        return u"".join(pieces).replace(u"]]>", u"]]&gt;")

    def section(self):
        content = self.rng.choice(SECTIONS)
        if self.chance(0.3):
            content += self.rng.choice(self.texts)
        if self.raw and self.chance(0.05):
            content += self.raw_bytes()
        return u"<![CDATA[%s]]>" % content.replace(u"]]>", u"]] >")

    def comment(self):
        content = self.rng.choice(COMMENTS + self.texts)
        if self.raw and self.chance(0.1):
            content += self.raw_bytes()
        return u"<!--%s-->" % content.replace(u"--", u"- -").rstrip(u"-")

    def instruction(self):
        target = self.name_of(TARGETS) if self.chance(0.2) else self.rng.choice(TARGETS)
        data = self.rng.choice([u"", u" ", u" d", u"  d ", u" a='b'", u"\n d", u" <x>", u"\td\r\n"])
        if self.chance(0.2):
            data += u" " + self.rng.choice(self.texts)
        return u"<?%s%s?>" % (target, data.replace(u"?>", u""))

    # --- elements -------------------------------------------------------------------------

    def name_of(self, names):
        """One of the names, or an odd one."""
        name = self.rng.choice(names)
        if self.odd_names and self.chance(0.15):
            name = self.rng.choice([
                u"\xe9", u"n\xe4me", u"\u65b0\u805e", u"a:b", u"x:" + name, u"y:" + name,
                u"xml:" + name, u"xmlns:a", u":a", u"a:", u"a:b:c", u"x:x", u"update:x", u"1a",
                u"-a", u".a"])
        if self.raw and self.chance(0.02):
            name += self.raw_bytes()
        return name

    def value(self, name):
        """An attribute's value with its quotes."""
        if name == u"require":
            value = u",".join([self.rng.choice(MODELS)
                               for _ in range(self.rng.choice([0, 1, 2, 3]))])
            if self.chance(0.4):
                value += u"," + MODELS[0]
            if self.chance(0.15):
                value = self.rng.choice([
                    value.replace(u",", u", "), u" " + value, value + u" ", value + u",",
                    u"," + value, value.upper(), value.replace(u",", u"\n"), u",", u"\t",
                    value.replace(u"e", u"&#101;"), value.replace(u",", u"&#44;"),
                    value + self.rng.choice(self.texts), self.text()])
        elif name == u"type" and self.chance(0.7):
            value = self.rng.choice([u"normal", u"info", u"urgent", u"", u"Urgent", u" info"])
        else:
            value = u"".join([self.text() for _ in range(self.rng.randint(0, 2))])
        if self.raw and self.chance(0.05):
            value += self.raw_bytes()
        quote = self.rng.choice(u"'\"")
        return quote + value.replace(quote, u"&#%d;" % ord(quote)).replace(u"<", u"&lt;") + quote

    def attributes(self, usual, probability):
        """Attributes, each after white space: any of `usual` with this probability, and others."""
        names = [name for name in usual if self.chance(probability)]
        while self.chance(0.15):
            names.append(self.name_of(ATTRIBUTES))
        if self.odd_names and self.chance(0.2):
            names.append(self.declaration())
        self.rng.shuffle(names)
        if not self.chance(0.02):
            names = list(sorted(set(names), key=names.index))
        written = []
        for name in names:
            blank = self.rng.choice([u" ", u" ", u" ", u"\n", u"  ", u"\t"])
            if u"=" in name:
                written.append(blank + name)
            else:
                equals = self.rng.choice([u"=", u"=", u"=", u" = ", u"\n="])
                written.append(blank + name + equals + self.value(name))
        return u"".join(written)

    def declaration(self):
        """A declaration of a namespace."""
        name = self.rng.choice([u"xmlns", u"xmlns:x", u"xmlns:x", u"xmlns:y", u"xmlns:xml",
                                u"xmlns:xmlns", u"xmlns:p"])
        uri = self.rng.choice([u"u", u"u", u"v", u"", u"a b", u" ", u"a b c", u"a\nb", u"a&#9;b",
                               u"http://www.w3.org/XML/1998/namespace", u"\xe4", u"u\u20ac",
                               u"http://www.w3.org/2000/xmlns/", u"u&#32;w"])
        return u"%s='%s'" % (name, uri)

    def element(self, name, content, usual=(), probability=0.0):
        attributes = self.attributes(usual, probability)
        if content == u"" and self.chance(0.5):
            return u"<%s%s%s/>" % (name, attributes, self.rng.choice([u"", u" "]))
        return u"<%s%s%s>%s</%s%s>" % (name, attributes, self.rng.choice([u"", u"", u" "]), content,
                                       name, self.rng.choice([u"", u"", u"\n"]))

    def inner(self):
        """Content of an element that holds a text: nothing, a text, or what stands there too."""
        first = self.rng.random()
        if first < 0.04:
            return u""
        if first < 0.60:
            content = self.text()
        elif first < 0.72:
            content = self.section()
        elif first < 0.78:
            content = u"<![CDATA[]]>" + self.text()
        elif first < 0.84:
            content = self.comment()
        elif first < 0.88:
            content = self.instruction()
        elif first < 0.91:
            content = self.element(self.name_of(ASCII_NAMES + OWN_NAMES), self.text())
        else:
            content = self.text() + self.section()
        while self.chance(0.3):
            content += self.node()
        return content

    def node(self):
        """Any one node of a content."""
        kind = self.rng.random()
        if kind < 0.4:
            return self.text()
        if kind < 0.65:
            return self.section()
        if kind < 0.75:
            return self.comment()
        if kind < 0.82:
            return self.instruction()
        return self.element(self.name_of(ASCII_NAMES + OWN_NAMES),
                            self.inner() if self.chance(0.3) else u"", (u"require",), 0.2)

    def filling(self):
        """What stands between the elements."""
        if self.chance(0.6):
            return self.rng.choice([u"", u"", u"\n", u"\n  ", u"\r\n", u" "])
        return self.node()

    def item(self):
        parts = []
        for _ in range(self.rng.choice([0, 1, 1, 1, 2])):
            parts.append(self.element(self.name_of([u"itemtext"]), self.inner()))
        for _ in range(self.rng.choice([0, 0, 1, 2, 3])):
            parts.append(self.element(self.name_of([u"description"]),
                                      self.inner() if self.chance(0.9) else u"",
                                      (u"require",), 0.3))
        if self.chance(0.05):
            parts.append(self.item())
        if self.chance(0.2):
            self.rng.shuffle(parts)
        content = u"".join([self.filling() + part for part in parts]) + self.filling()
        if self.chance(0.1):
            content = self.element(self.name_of(ASCII_NAMES), content)
        return self.element(self.name_of([u"item"]), content, (u"require",), 0.3)

    def update(self, level=0):
        parts = []
        if self.chance(0.98):
            content = self.inner()
            while content == u"" and self.chance(0.8):
                content = self.inner()
            parts.append(self.element(self.name_of([u"title"]), content))
        for _ in range(self.rng.choice([0, 1, 1, 2, 3])):
            parts.append(self.item())
        if self.chance(0.1):
            parts.append(self.element(u"title", self.inner()))
        if level < 4 and self.chance(0.15):
            parts.append(self.update(level + 1))
        if self.chance(0.1):
            self.rng.shuffle(parts)
        content = u"".join([self.filling() + part for part in parts]) + self.filling()
        return self.element(self.name_of([u"update"]), content, (u"type", u"require"), 0.3)

    def root(self):
        parts = [self.update() for _ in range(self.rng.choice([0, 1, 1, 2, 2, 3, 5]))]
        if self.chance(0.1):
            parts.append(self.item())
        if self.chance(0.1):
            parts.append(self.element(self.rng.choice(OWN_NAMES), self.inner()))
        content = u"".join([self.filling() + part for part in parts]) + self.filling()
        return self.element(self.name_of([u"news", u"news", u"update", u"a", u"title"]), content,
                            (u"type",), 0.1)

    def beside_root(self):
        """What may stand before the root element and after it."""
        part = self.rng.random()
        if part < 0.7:
            return self.rng.choice([u"", u"\n", u"\r\n \n"])
        return self.comment() if part < 0.85 else self.instruction()


def xml_declaration(rng, encoding):
    """An XML declaration; `encoding` None leaves its part out."""
    text = u"<?xml version='%s'" % rng.choice(["1.0"] * 8 + ["1.1", "2.0"])
    if encoding is not None:
        text += rng.choice([u' encoding="%s"', u" encoding = '%s'"]) % encoding
    if rng.random() < 0.1:
        text += rng.choice([u" standalone='yes'", u" standalone='no'", u' standalone="maybe"'])
    return text + u"?>"


def encode(text, encoding):
    """The bytes of a document, with the raw bytes put in."""
    content = text.encode(encoding, "xmlcharrefreplace" if encoding not in WIDE else "strict")
    if encoding == "utf-8":
        for number, raw in enumerate(RAW_BYTES):
            content = content.replace(unichr(RAW_FIRST + number).encode("utf-8"), raw)
    return content


def assemble(rng, writer, declaration, doctype=u""):
    """The whole text: the declaration, what stands before the root, the root, what follows."""
    before = writer.several(writer.beside_root, 2) if rng.random() < 0.3 else u""
    after = writer.several(writer.beside_root, 2) if rng.random() < 0.3 else u""
    return declaration + before + doctype + writer.root() + after


# --- the kinds -----------------------------------------------------------------------------

def plain(rng, **features):
    encoding = rng.choice([None, None, "utf-8", "utf-8", "UTF-8", "us-ascii", "iso-8859-1"])
    declaration = u""
    if encoding is not None or rng.random() < 0.3:
        declaration = xml_declaration(rng, encoding)
    writer = Writer(rng, wide=encoding != "us-ascii" and rng.random() < 0.6,
                    latin=encoding == "iso-8859-1", **features)
    text = assemble(rng, writer, declaration)
    return encode(text, encoding.lower() if encoding is not None else "utf-8")


def encoded(rng):
    declared = rng.choice([None] + KNOWN + DECODED * 2 + REFUSED + WIDE * 2)
    wide = rng.random() < 0.5
    writer = Writer(rng, wide=wide, latin=rng.random() < 0.5)
    text = assemble(rng, writer, xml_declaration(rng, declared))
    actual = rng.choice(["utf-8", "utf-8", "latin-1", "ascii", "utf-16-le", "utf-16-be", "utf-32",
                         declared, declared, declared, declared])
    try:
        content = text.encode(actual, "xmlcharrefreplace")
        if not isinstance(content, str):
            raise TypeError
    except (LookupError, TypeError, UnicodeError, AssertionError, AttributeError):
        content = encode(text, "utf-8")
    if rng.random() < 0.2:
        content = rng.choice([codecs.BOM_UTF8, codecs.BOM_UTF8 * 2, codecs.BOM_UTF16_LE,
                              codecs.BOM_UTF16_BE, codecs.BOM_UTF32_LE]) + content
    if rng.random() < 0.03:
        content = content[:-1]
    return content


def names(rng):
    return plain(rng, odd_names=True)


def doctype(rng):
    entities = [(u"e", u"text"), (u"m", u"<title>made</title>"), (u"c", u"<!--c-->"),
                (u"s", u"<![CDATA[section]]>"), (u"n", u""), (u"i", u"in &#38;e; side"),
                (u"u", u"<update><title>entity</title><item/></update>"), (u"r", u"&#38;r;")]
    declared = [entity for entity in entities if rng.random() < 0.6]
    used = [name for name, _ in declared if name != u"r" or rng.random() < 0.1]
    if rng.random() < 0.1:
        used.append(rng.choice([u"undefined", u"ext", u"pic"]))
    subset = [u'<!ENTITY %s "%s">' % entity for entity in declared]
    subset += [part for part in (
        u'<!ENTITY e "second">', u'<!ENTITY ext SYSTEM "ext.txt">',
        u'<!NOTATION gif SYSTEM "gif"><!ENTITY pic SYSTEM "a.gif" NDATA gif>',
        u'<!ATTLIST update type CDATA "info">', u'<!ATTLIST update require CDATA #FIXED "duo2">',
        u'<!ATTLIST item require NMTOKENS #IMPLIED>', u'<!ATTLIST news xmlns CDATA "u">',
        u'<!ATTLIST update xmlns:x CDATA "u v">', u"<!ELEMENT title (#PCDATA)>",
        u"<!ELEMENT title ANY>", u"<!ELEMENT news (update*)>", u"<!-- inside -->", u"<?in side?>",
        u'<!ENTITY % p "">%p;', u'<!ENTITY % q SYSTEM "q.ent">%q;', u"<!ELEMENT", u"\n",
        u"<?n\xe4 x?>") if rng.random() < 0.12]
    rng.shuffle(subset)
    identity = rng.choice([u"", u"", u"", u' SYSTEM "news.dtd"', u' PUBLIC "-//A//B" "news.dtd"'])
    name = rng.choice([u"news", u"news", u"other", u"a:b", u"a:b:c", u"n\xe4"])
    writer = Writer(rng, wide=rng.random() < 0.3, odd_names=rng.random() < 0.2, entities=used)
    text = assemble(rng, writer, rng.choice([u"", xml_declaration(rng, "utf-8")]),
                    rng.choice([u"<!DOCTYPE %s%s>" % (name, identity),
                                u"<!DOCTYPE %s%s [%s]>" % (name, identity, u"".join(subset)),
                                u"<!DOCTYPE %s%s [%s]>" % (name, identity, u"".join(subset))]))
    return encode(text, "utf-8")


def raw(rng):
    writer = Writer(rng, raw=True, odd_names=rng.random() < 0.3)
    declaration = rng.choice([u"", u"", xml_declaration(rng, rng.choice(KNOWN))])
    return encode(assemble(rng, writer, declaration), "utf-8")


# What is put into damaged documents. Some of it does no damage at the right place.
INSERTS = ["<", ">", "&", "]]>", "<!--", "-->", "--", "<?", "?>", "<![CDATA[", "</", "/>", "</a>",
           "<a>", "\0", "\x01", "\x0b", "\xff", "\xef\xbf\xbf", '"', "'", "=", "<!DOCTYPE a>",
           "<?xml version='1.0'?>", "<!ELEMENT a ANY>", "<![INCLUDE[", " type=''", "&e;", "\xe4",
           "<title/>", "<title>", "</title>", "</update>", "<!>", "%", "\r", "x"
           ] + [reference.encode("ascii") for reference in WRONG_REFERENCES]


def damaged(rng):
    content = rng.choice([plain, plain, plain, names, encoded, doctype])(rng)
    for _ in range(rng.choice([1, 1, 1, 2, 3])):
        at = rng.randint(0, len(content))
        end = min(len(content), at + rng.choice([1, 1, 2, 10, 50]))
        how = rng.randrange(6)
        if how == 0:
            content = content[:at]
        elif how == 1:
            content = content[:at] + content[end:]
        elif how == 2:
            content = content[:at] + rng.choice(INSERTS) + content[at:]
        elif how == 3:
            content = content[:at] + chr(rng.randrange(256)) + content[at + 1:]
        elif how == 4:
            content = content[:end] + content[at:]
        else:
            # Inside markup: at the end of a start tag.
            at = content.find(">", at)
            content = content[:at] + rng.choice(INSERTS) + content[at:]
    return content


# Around the depths at which minidom gives up, and where a native tree may.
LEVELS = ([1, 2, 10, 48, 49, 50, 51, 100, 149, 150, 151] + range(180, 200) + range(225, 260)
          + [300, 500] + range(985, 1003) + [1500, 3000])


def deep(rng, levels=None):
    if levels is None:
        levels = rng.choice(LEVELS)
    # Nested updates give a list as long as their number squared.
    name = rng.choice(["g", "g", "g", "item" if levels < 300 else "g", "b"])
    inner = rng.choice(["", "text", "<update><title>deep</title></update>",
                        "<update><title>deep</title><item><itemtext>i</itemtext>"
                        "<description>d</description></item></update>",
                        "<update><title/></update>", "<update/>", "<title>t</title>"])
    around = rng.choice(["%s", "<update><title>t</title>%s</update>",
                         "<update>%s<title>t</title></update>", "<update><item>%s</item></update>"])
    return around % ("<%s>" % name * levels + inner + "</%s>" % name * levels)


def junk(rng):
    return rng.choice([
        "", " ", "\n", codecs.BOM_UTF8, codecs.BOM_UTF16_LE, codecs.BOM_UTF16_BE, "\0", "\xff\xfe<",
        "no document", "<", "<a", "<a>", "</a>", "<a/><b/>", "<a/>text", "text<a/>", "<?xml?>",
        "<?xml version='1.0'?>", " <?xml version='1.0'?><a/>", "<!DOCTYPE a>", "<!-- c -->",
        "<a></b>", "<html><body>404<br></body></html>", "{}", "<a/>\0", "\0<a/>", "<a\0/>",
        "<\0a\0/\0>\0", "\0<\0a\0/\0>", "<\0\0\0", "<a/>\n\n", "\n<a/>", "<a/>" + " " * 9000,
        "<update/>", "<title/>", "x" * 100000, "<a>" + "x" * 300000, "<a/>\x1a"])


MAKERS = {"plain": plain, "encoded": encoded, "names": names, "doctype": doctype,
          "raw": raw, "damaged": damaged, "deep": deep, "junk": junk}


def generate(rng, kind=None):
    """A document (a byte string) of a kind, or of a kind that is drawn by weight.

    Returns the pair of kind and document. rng is a random.Random.
    """
    if kind is None:
        drawn = rng.randrange(sum(KINDS.values()))
        for kind, weight in sorted(KINDS.items()):
            drawn -= weight
            if drawn < 0:
                break
    return kind, MAKERS[kind](rng)
