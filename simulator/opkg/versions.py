"""The order of package versions, and of the constraints on them.

A version is [EPOCH:]UPSTREAM[-REVISION], ordered as Debian's policy manual orders them
(section "Version"): the epochs as numbers, then the upstream versions, then the revisions.
These two are compared piece by piece, text and number in turn; in a text "~" comes before the
end, the end before letters, and letters before everything else.
"""
import operator
import re

_OPERATORS = {
    "<<": operator.lt, "<": operator.le, "<=": operator.le, "=": operator.eq,
    ">=": operator.ge, ">": operator.ge, ">>": operator.gt,
}
_DEPENDENCY = re.compile(r"^([^\s(]+)\s*(?:\(\s*([<>=]+)\s*([^\s)]+)\s*\))?$")


def key(version):
    """Return a key that sorts version strings in their order."""
    epoch, upstream, revision = _split(version)
    return int(epoch), _part_key(upstream), _part_key(revision)


def upstream(version):
    """Return the version without epoch and revision: "3.4" of "1:3.4-r5"."""
    return _split(version)[1]


def satisfies(version, dependency):
    """Say whether a version fulfils a dependency such as "libfoo (>= 1.2)", names aside."""
    _, relation, wanted = split_dependency(dependency)
    return relation is None or _OPERATORS[relation](key(version), key(wanted))


def split_dependency(dependency):
    """Split "libfoo (>= 1.2)" into name, operator and version; the last two may be None.

    Raises ValueError when it is written otherwise.
    """
    match = _DEPENDENCY.match(dependency.strip())
    if match is None or match.group(2) not in (None,) + tuple(_OPERATORS):
        raise ValueError("not a dependency: %r" % dependency)
    return match.groups()


def _split(version):
    epoch, colon, rest = version.partition(":")
    if not (colon and epoch.isdigit()):
        epoch, rest = "0", version
    upstream, hyphen, revision = rest.rpartition("-")
    return (epoch, upstream, revision) if hyphen else (epoch, rest, "")


def _part_key(part):
    # The last pair found is empty: it stands for the end. An empty part counts as 0.
    return [(tuple(_rank(character) for character in text) + (0,), int(number or "0"))
            for text, number in re.findall(r"([^0-9]*)([0-9]*)", part or "0")]


def _rank(character):
    if character == "~":
        return -1
    return ord(character) if character.isalpha() else ord(character) + 256
