"""The results: their ratios, the aims, and the table."""
from __future__ import print_function

BYTES = "bytes"

# Row, what it says, and the aims: (what is divided by what, the most that it may be).
# "floor" stands for the sum of the two floors of the same document.
DESCRIPTIONS = (
    ("import_cost", "import", (("module/python", 0.7), ("module/cython", 0.5))),
    ("import_memory", "import, memory", (("module/python", 0.7), ("module/cython", 0.5))),
    ("parse_typical", "parse_xml, typical: 48 KB",
     (("module/python", 0.05), ("module/cython", 0.05), ("module/floor", 1.5))),
    ("parse_large", "parse_xml, large: 960 KB",
     (("module/python", 0.05), ("module/cython", 0.05), ("module/floor", 1.5))),
    ("parse_deep", "parse_xml, 150 levels deep", (("module/python", 0.7), ("module/cython", 1))),
    ("peak_large", "parse_xml, large: peak memory",
     (("module/python", 0.1), ("module/cython", 0.1))),
    ("create_menu", "createMenu, 400 entries", (("module/python", 0.7), ("module/cython", 1))),
    ("menu_rows", "  of it without parse_xml", (("module/python", 0.7), ("module/cython", 1))),
    ("key_yellow", "keyYellow, 60 of 1,500", (("module/python", 0.7), ("module/cython", 1))),
    ("open_detail", "opening the detail screen", (("module/python", 0.7), ("module/cython", 1))),
    ("body_text", "body text, 200 items", (("module/python", 0.7), ("module/cython", 1))),
    ("upgradable_list", "upgradable list, 500 packages",
     (("module/python", 0.7), ("module/cython", 1))),
    ("judge_listing", "judging 2,000 lines", (("module/python", 0.7), ("module/cython", 1))),
    # Byte code is no measure for machine code.
    ("size", "size, stripped", (("module/cython", 1),)),
)
FLOORS = {
    "parse_typical": ("expat_typical", "pickle_typical"),
    "parse_large": ("expat_large", "pickle_large"),
}


def median(values):
    ordered = sorted(values)
    middle = len(ordered) // 2
    return ordered[middle] if len(ordered) % 2 else sum(ordered[middle - 1:middle + 1]) / 2.0


class Row(object):
    """One line: `least` and `middle` are {implementation, or "floor": figure}."""

    def __init__(self, name, title, aims, unit, figures, all_figures):
        self.name = name
        self.title = title
        self.unit = unit
        parts = [all_figures[part]["floor"] for part in FLOORS.get(name, ())
                 if part in all_figures]
        self.least = dict((who, min(values)) for who, values in figures.items())
        self.middle = dict((who, median(values)) for who, values in figures.items())
        if parts:
            self.least["floor"] = sum(min(values) for values in parts)
            self.middle["floor"] = sum(median(values) for values in parts)
        self.aims = [aim for aim in aims if aim[0].split("/")[1] in self.least]

    def ratio(self, what, figures=None):
        """Return a ratio such as "module/python" of the least figures, or of the middle ones."""
        above, below = what.split("/")
        figures = self.least if figures is None else figures
        return figures[above] / float(figures[below]) if figures[below] else float("inf")

    def reached(self):
        """Tell of each aim whether it was reached: [(what, at most, found, reached)]."""
        return [(what, most, self.ratio(what), self.ratio(what) <= most)
                for what, most in self.aims]


class Results(object):
    """All rows; `figures` as compare.Bench.everything returns them."""

    def __init__(self, figures, unit):
        self.figures = figures
        units = {"peak_large": BYTES, "import_memory": BYTES, "size": BYTES}
        self.unit = unit
        self.rows = [Row(name, title, aims, units.get(name, unit), figures[name], figures)
                     for name, title, aims in DESCRIPTIONS if name in figures]

    def text(self):
        lines = ["The least of all rounds; ratios of these, and of the medians in brackets.", "",
                 "%-30s %10s %10s %10s  %-15s %-15s %s" % (
                     "", "Python", "Cython", "module", "/ Python", "/ Cython", "aims")]
        for row in self.rows:
            lines.append("%-30s %10s %10s %10s  %-15s %-15s %s" % (
                (row.title,)
                + tuple(shown(row.least[who], row.unit) for who in ("python", "cython", "module"))
                + tuple("%.3f (%.3f)" % (row.ratio(what), row.ratio(what, row.middle))
                        for what in ("module/python", "module/cython"))
                + ("; ".join(verdict(*aim) for aim in row.reached()),)))
        floors = [(name, values["floor"]) for name, values in sorted(self.figures.items())
                  if "floor" in values]
        if floors:
            lines += ["", "What bounds parse_xml:"]
            lines += ["%-30s %10s" % (name.replace("_", " alone, "),
                                      shown(min(values), self.unit)) for name, values in floors]
        return "\n".join(line.rstrip() for line in lines)

    def data(self, target, rounds):
        """Return everything as plain data for JSON."""
        return {
            "target": target,
            "rounds": rounds,
            "figures": self.figures,
            "rows": [{"name": row.name, "title": row.title.strip(), "unit": row.unit,
                      "minimum": row.least, "median": row.middle,
                      "aims": [dict(zip(("ratio", "most", "found", "reached"), aim))
                               for aim in row.reached()]} for row in self.rows],
        }


def verdict(what, most, found, reached):
    """Say whether an aim was reached, as "python 0.70 yes"."""
    return "%s %.2g %s" % (what.split("/")[1], most,
                           "yes" if reached else "NO" if what != "module/floor"
                           else "NO: %.2f" % found)


def shown(figure, unit):
    """Return a figure with its unit, in three places."""
    if unit == BYTES:
        return "%.0f KB" % (figure / 1000.0)
    if unit == "us":
        return "%.0f us" % figure if figure < 10000 else "%.1f ms" % (figure / 1000.0)
    return "%.1f k" % (figure / 1e3) if figure < 1e6 else "%.2f M" % (figure / 1e6)
