"""The problems of a feed, as data; who makes a line or a file of them is elsewhere."""

import typing

ERROR, WARNING = "error", "warning"


class Problem(typing.NamedTuple):
    """One thing that is wrong.

    file: its path in the feed. line: its number from 1, None for the whole file.
    severity: ERROR, which keeps receivers from something, or WARNING. text: what happens on a
    receiver. remedy: what to do about it. Neither ends in a full stop.
    """

    file: str
    line: typing.Optional[int]
    severity: str
    text: str
    remedy: str

    def __str__(self):
        place = self.file if self.line is None else "%s:%d" % (self.file, self.line)
        return "%s: %s: %s: %s." % (place, self.severity, self.text, self.remedy)


class Problems(list):
    """Problems, in the order in which they were found."""

    def error(self, file, line, text, remedy):
        """Add an error."""
        self.append(Problem(file, line, ERROR, text, remedy))

    def warning(self, file, line, text, remedy):
        """Add a warning."""
        self.append(Problem(file, line, WARNING, text, remedy))

    def in_order(self):
        """Return the problems of each file together and by line, files as they were first met."""
        files = list(dict.fromkeys(problem.file for problem in self))
        return sorted(self, key=lambda problem: (files.index(problem.file), problem.line or 0))
