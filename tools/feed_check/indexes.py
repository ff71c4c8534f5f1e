"""The indexes of a feed against its packages, the packages against each other."""

import collections
import hashlib
import io
import re
import tarfile

from simulator.opkg import archive, versions
from tools.feed_check.trees import unpacked

#: Fields of a paragraph that receivers act upon; opkg tells capitals from small letters.
FIELDS = ("Package", "Version", "Architecture", "Depends", "Pre-Depends", "Provides", "Filename",
          "Size", "MD5Sum", "SHA256sum")
_WRITTEN = {name.lower(): name for name in FIELDS}
#: What packages and their index have to agree upon.
COMPARED = ("Package", "Version", "Architecture", "Depends", "Provides", "Conflicts", "Replaces")
SUMS = (("MD5Sum", hashlib.md5), ("SHA256sum", hashlib.sha256))


class Paragraph(dict):
    """A package's fields, name to value, in a file from a line on. Takes what is wrong with them.

    lines: the line of each field. made: when the package was made, a number; None if unknown.
    """

    def __init__(self, file, line, problems):
        super().__init__()
        self.file = file
        self.line = line
        self.lines = {}
        self.made = None
        self._problems = problems

    def error(self, field, text, remedy):
        """Add an error at a field, or where the paragraph begins if it has no such field."""
        self._problems.error(self.file, self.lines.get(field, self.line), text, remedy)

    def warning(self, field, text, remedy):
        """Add a warning there."""
        self._problems.warning(self.file, self.lines.get(field, self.line), text, remedy)

    @property
    def name(self):
        return self.get("Package", "")

    @property
    def version(self):
        return self.get("Version", "")

    def provided(self):
        """Return pairs (name, version) of what it is, and of what it stands in for."""
        return [(self.name, self.version)] + [
            (name.strip(), None) for name in self.get("Provides", "").split(",") if name.strip()]


def paragraphs(text, file, problems):
    """Return the Paragraphs of a control file's text; adds what opkg passes over in it."""
    found = []
    current = field = None
    for number, line in enumerate(text.split("\n"), 1):
        if not line.strip():
            current = field = None
            continue
        if current is None:
            current = Paragraph(file, number, problems)
            found.append(current)
        name, colon, value = line.partition(":")
        if line[0] in " \t" and field:
            current[field] += "\n" + line
        elif not colon or not re.match(r"[!-9;-~]+\Z", name):
            problems.error(file, number, "opkg passes over '%s', which is no field" % line[:60],
                           "write the index anew with packaging/feed")
        else:
            field = "MD5Sum" if name == "MD5sum" else name
            known = _WRITTEN.get(field.lower(), field)
            if known != field:
                problems.error(file, number, "opkg passes over the field %s, since names are "
                               "case-sensitive" % name, "write %s" % known)
            if field in current:
                problems.warning(file, number, "The field %s stands there twice, and the last one "
                                 "counts" % name, "leave one out")
            current[field] = value.strip()
            current.lines[field] = number
    return found


def read_index(tree, place, problems):
    """Return the Paragraphs that receivers get for a directory of the feed, and their text.

    The text is a byte string, None where there is no index.
    """
    # Lines are those of the text that people can read; what receivers get is the packed one.
    name, file = place + "/Packages.gz", place + "/Packages"
    plain = tree.optional(file)
    packed = tree.read(name)
    content = None
    if packed is not None:
        try:
            content = unpacked(packed)
        except ValueError as e:
            problems.error(name, None, "The index can't be unpacked (%s), and receivers lose the "
                           "packages that they knew of it" % e, "make it with packaging/feed")
    elif not tree.has_told(name):
        problems.error(name, None, "The index is missing; \"opkg update\" fails, and receivers "
                       "know what they knew before", "make it with packaging/feed")
    if content is None:
        text = (plain or b"").decode("utf-8", "replace")
        return paragraphs(text, file, problems), plain
    if plain is not None and plain != content:
        pairs = zip(plain.split(b"\n"), content.split(b"\n"))
        number = next((number for number, pair in enumerate(pairs, 1) if pair[0] != pair[1]), 1)
        problems.error(file, number, "Packages.gz holds something else from this line on, and is "
                       "what receivers get", "make both with packaging/feed")
    if content and not content.endswith(b"\n"):
        problems.warning(file, content.count(b"\n") + 1, "The last line has no end, and opkg notes "
                         "an error at each listing", "end it with a line feed")
    found = paragraphs(content.decode("utf-8", "replace"), file, problems)
    if not found and (content.strip() or tree.packages(place)):
        problems.error(file, None, "No package is listed; receivers are \"up to date\"",
                       "make the index with packaging/feed")
        content = None  # the packages are not known
    return found, content


def check_paragraph(paragraph, place):
    """Return whether opkg can take a package as its paragraph has it; add a problem if not."""
    for field in ("Package", "Version", "Filename"):
        if not paragraph.get(field):
            paragraph.error(field, "The package has no %s, and opkg can't install it" % field,
                            "make the index with packaging/feed")
            return False
    name, version = paragraph.name, paragraph.version
    if not re.match(r"[A-Za-z0-9_.+-]+\Z", name):
        paragraph.error("Package", "opkg can't be asked for '%s', which has other characters than "
                        "letters, digits and _.+-" % name, "rename the package")
        return False
    if not re.match(r"(\d+:)?[A-Za-z0-9.+~-]{1,999}\Z", version):
        paragraph.error("Version", "The version '%s' of %s has characters that no version has, and "
                        "no dependency can name it" % (version, name),
                        "build it with letters, digits and .+~- alone")
        return False
    match = re.match(r"(.*\d)[.+_-]?(alpha|beta|pre|rc)", version, re.IGNORECASE)
    if match and versions.key(version) > versions.key(match.group(1)):
        paragraph.warning("Version", "opkg takes %s of %s for newer than %s, and receivers that "
                          "have it never upgrade to that" % (version, name, match.group(1)),
                          "write %s~%s" % (match.group(1), version[match.start(2):]))
    architecture = paragraph.get("Architecture", "all")
    if architecture not in (place, "all", "any", "noarch"):
        add = paragraph.error if place == "all" else paragraph.warning
        add("Architecture", "%s is for %s and lies in %s; receivers that don't take that "
            "architecture are not offered it" % (name, architecture, place),
            "move it to the directory %s" % architecture)
    if not any(field in paragraph for field, _ in SUMS):
        paragraph.warning(None, "%s has no sum, and opkg installs whatever it is sent" % name,
                          "make the index with packaging/feed")
    return True


def check_package(tree, place, paragraph, problems):
    """Compare a package's file with its paragraph, which is told when the package was made."""
    name = "%s/%s" % (place, paragraph["Filename"])
    again = "upload it again, or make the index anew"
    size = tree.size(name)
    if size is None:
        if not tree.has_told(name):
            paragraph.error("Filename", "%s is missing, and installing %s fails"
                            % (name, paragraph.name), again)
        return
    content = tree.read(name) if tree.has_contents else None
    # A file that has changed differs in all of these: the first one tells it.
    if size >= 0 and paragraph.get("Size") != str(size):
        paragraph.error("Size", "%s has %d bytes and not %s, and opkg, where it compares sizes, "
                        "refuses it" % (name, size, paragraph.get("Size", "those of its index")),
                        again)
    else:
        for field, make in SUMS if content is not None else ():
            if field in paragraph and make(content).hexdigest() != paragraph[field].lower():
                paragraph.error(field, "%s has another %s, and opkg, where it compares that, "
                                "refuses it" % (name, field), again)
                break
    if content is None:
        return
    try:
        control, paragraph.made = control_of(content)
    except Exception as e:  # archives raise all kinds
        reason = str(e).partition("\n")[0].strip("':") or type(e).__name__
        problems.error(name, None, "The archive can't be opened (%s), and opkg can't install it"
                       % reason, "build the package anew")
        return
    text = control.decode("utf-8", "replace")
    inner = (paragraphs(text, name, problems) or [{}])[0]
    for field in COMPARED:
        if " ".join(inner.get(field, "").split()) != " ".join(paragraph.get(field, "").split()):
            paragraph.error(field, "The field %s is '%s' here and '%s' in %s, and receivers go by "
                            "either" % (field, paragraph.get(field, ""), inner.get(field, ""),
                                        name), "make the index with packaging/feed")


def control_of(content):
    """Return the control file of a package (a byte string), and when that was made (a number).

    Packages are ar or tar archives. Raises all that archives raise.
    """
    if content.startswith(archive.MAGIC):
        members = archive.members(content)
    else:
        with tarfile.open(fileobj=io.BytesIO(content)) as outer:
            members = {member.name.rpartition("/")[2]: outer.extractfile(member).read()
                       for member in outer if member.isfile()}
    archives = {}
    for part in ("control", "data"):
        names = [name for name in members if name.startswith(part + ".tar")]
        if not names:
            raise KeyError("it has no %s.tar.gz" % part)
        archives[part] = members[names[0]]
    with tarfile.open(fileobj=io.BytesIO(archives["control"])) as inner:
        for member in inner:
            if member.name in ("./control", "control"):
                return inner.extractfile(member).read(), member.mtime
    raise KeyError("it has no control file")


def check_together(found):
    """Check the packages of one directory, their Paragraphs, against each other."""
    by_name = collections.defaultdict(list)
    for paragraph in found:
        same = [other for other in by_name[paragraph.name] if other.version == paragraph.version]
        if same:
            paragraph.error(None, "%s %s is listed in line %d as well, and opkg takes either"
                            % (paragraph.name, paragraph.version, same[0].line), "leave one out")
        by_name[paragraph.name].append(paragraph)
    for name, group in by_name.items():
        dated = [paragraph for paragraph in group if paragraph.made]
        if len(dated) > 1:
            latest = max(dated, key=lambda paragraph: paragraph.made)
            highest = max(dated, key=_order)
            if highest.made < latest.made:
                latest.warning("Version", "%s %s was made last, but opkg takes %s for newer and "
                               "installs that" % (name, latest.version, highest.version),
                               "raise the version, or take the other package out")


def _order(paragraph):
    return versions.key(paragraph.version)


def check_dependencies(found, installed):
    """Check that something fulfils each dependency.

    found: the Paragraphs of all directories. installed: Paragraphs of what the image has
    installed, None when that is not known.
    """
    there = collections.defaultdict(list)
    for paragraph in found + (installed or []):
        for name, version in paragraph.provided():
            there[name].append(version)
    for paragraph in found:
        for field in ("Depends", "Pre-Depends"):
            for group in filter(str.strip, paragraph.get(field, "").split(",")):
                _check_dependency(paragraph, field, group.strip(), there, installed)


def _check_dependency(paragraph, field, group, there, installed):
    for alternative in group.split("|"):
        try:
            name, relation, _ = versions.split_dependency(alternative)
            if any(relation is None or version and versions.satisfies(version, alternative)
                   for version in there.get(name, ())):
                return
        except ValueError:
            paragraph.error(field, "opkg can't read the dependency '%s' of %s"
                            % (alternative.strip(), paragraph.name),
                            "write NAME or NAME (>= VERSION)")
            return
    if installed is None:
        paragraph.warning(field, "Nothing in the feed fulfils '%s', and %s can't be installed "
                          "unless the image has it" % (group, paragraph.name),
                          "publish it, or name the image's packages with --installed")
    else:
        paragraph.error(field, "Nothing in the feed or installed fulfils '%s', and %s can't be "
                        "installed" % (group, paragraph.name),
                        "publish it, or correct the dependency")


def check_installed(found, installed):
    """Check that what the image has installed is not newer than what the feed offers."""
    offered = {paragraph.name: paragraph for paragraph in sorted(found, key=_order)}
    for paragraph in installed:
        offer = offered.get(paragraph.name, paragraph)
        if _order(paragraph) > _order(offer):
            offer.warning("Version", "The image has %s of %s, which opkg takes for newer than %s; "
                          "nobody is offered it" % (paragraph.version, offer.name, offer.version),
                          "raise the version")


def check_statistics(records, places, problems):
    """Check that the feed has the packages that the Top 20 names.

    records: pairs of a line and a package's name. places: directory to its Paragraphs.
    """
    names = {place: {paragraph.name for paragraph in found} for place, found in places.items()}
    for line, name in records:
        having = [place for place in names if name in names[place]]
        if not having:
            problems.error("zirkdlstat.txt", line, "The \"Top 20\" offers %s, which no directory "
                           "has (%s), and installing it fails" % (name, ", ".join(names)),
                           "publish the package, or take the line out")
        elif "all" not in having and len(having) < len(set(names) - {"all"}):
            problems.warning("zirkdlstat.txt", line, "The \"Top 20\" offers %s on every receiver, "
                             "but only %s has it" % (name, ", ".join(having)),
                             "publish the package for %s, too"
                             % ", ".join(sorted(set(names) - set(having) - {"all"})))
