"""Problems as data, and the forms in which they are written. Python 2.7 and 3 can import this."""

import collections
import json
import re

try:
    from urllib import quote
except ImportError:
    from urllib.parse import quote

ERROR, WARNING = "error", "warning"


class Problem(collections.namedtuple("Problem", "file line severity text remedy")):
    """One thing that is wrong.

    file: its path in what is checked. line: its number from 1, None for the whole file.
    severity: ERROR or WARNING. text: what happens on a receiver. remedy: what to do about it.
    Neither ends in a full stop; all are Unicode.
    """

    def __unicode__(self):
        place = self.file if self.line is None else u"%s:%d" % (self.file, self.line)
        return u"%s: %s: %s: %s." % (place, self.severity, self.text, self.remedy)

    __str__ = __unicode__


class Problems(list):
    """Problems, in the order in which they were found."""

    def error(self, file, line, text, remedy):
        self.append(Problem(file, line, ERROR, text, remedy))

    def warning(self, file, line, text, remedy):
        self.append(Problem(file, line, WARNING, text, remedy))

    def in_order(self):
        """The problems of each file together and by line, files as they were first met."""
        files = {}
        for problem in self:
            files.setdefault(problem.file, len(files))
        return sorted(self, key=lambda problem: (files[problem.file], problem.line or 0))

    def status(self):
        """The exit status of a check that has found these."""
        return 1 if any(problem.severity == ERROR for problem in self) else 0


def visible(text):
    """A text with its line breaks and other control characters made visible."""
    return re.sub(u"[\x00-\x1f\x7f]",
                  lambda found: found.group().encode("unicode_escape").decode("ascii"), text)


def _as_text(problems, tool):
    return u"".join(visible(problem.__unicode__()) + u"\n" for problem in problems)


def _as_json(problems, tool):
    return _dumped({"problems": [problem._asdict() for problem in problems]})


def _as_sarif(problems, tool):
    return _dumped({
        "$schema": "https://json.schemastore.org/sarif-2.1.0.json", "version": "2.1.0",
        "runs": [{"tool": {"driver": {"name": tool}},
                  "results": [_result(problem) for problem in problems]}]})


def _result(problem):
    place = {"artifactLocation": {"uri": _uri(problem.file)}}
    if problem.line is not None:
        place["region"] = {"startLine": problem.line}
    return {"level": problem.severity, "locations": [{"physicalLocation": place}],
            "message": {"text": u"%s: %s." % (problem.text, problem.remedy)}}


def _uri(path):
    """A path as a reference: relative, or that of a file on this machine."""
    quoted = quote(path.encode("utf-8"))
    return "file://" + quoted if quoted.startswith("/") else quoted


def _dumped(value):
    return u"%s\n" % json.dumps(value, indent=1, sort_keys=True, separators=(",", ": "))


#: The name of a form: what makes a text of problems in it, for the tool that has found them.
FORMS = collections.OrderedDict([("text", _as_text), ("json", _as_json), ("sarif", _as_sarif)])


def add_format_option(parser):
    """Add the option --format, `form` among the parsed ones."""
    parser.add_argument("--format", dest="form", choices=list(FORMS), default="text",
                        help="of the problems: text (the default), a line each; json; sarif, which "
                             "is SARIF 2.1.0")
