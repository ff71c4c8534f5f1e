"""Checks a feed for its publisher: ./run --check DIR|URL [OPTION...]

The two documents and the receivers' configuration are read, and shown on every model, by the
simulated receiver in its sandbox (simulator/check.py); indexes, packages and signatures are read
here. docs/feed.md tells publishers how to use it. Needs gpg and a built module: ./run sees to
these.
"""

import collections
import json
import os
import re
import subprocess
import sys
import tempfile

from simulator import ROOT
from simulator.feed_problems import CONFIGURATION
from simulator.models import MODELS
from simulator.options import OneSentence
from simulator.problems import ERROR, FORMS, Problem, Problems, add_format_option, visible
from tools.feed_check import indexes, signatures
from tools.feed_check.trees import DOCUMENTS, Folder, Site


def progress(text):
    print("check: %s" % text, file=sys.stderr, flush=True)


def check_documents(tree, model, configuration, problems):
    """Show the documents on simulated receivers; return what simulator/check.py prints.

    configuration: the content of an all-feed.conf, None for none. Adds the problems.
    """
    with tempfile.TemporaryDirectory(prefix="kelvaro-check.") as folder:
        contents = {name: tree.read(name) for name in DOCUMENTS}
        if configuration is not None:
            contents[CONFIGURATION] = configuration
        for name, content in contents.items():
            if content is not None:
                with open(os.path.join(folder, name), "wb") as stream:
                    stream.write(content)
        progress("showing the documents on %s" % ("every model" if model == "all" else model))
        result = subprocess.run(
            [os.path.join(ROOT, "tools", "sandbox"), "--readable", folder, "python2.7", "-O", "-m",
             "simulator.check", folder, model], stdout=subprocess.PIPE, check=False)
    if result.returncode != 0:
        raise OSError("the simulated receiver ended with status %d; see what it says"
                      % result.returncode)
    found = json.loads(result.stdout)
    for each in found["problems"]:
        # A missing file is already reported where the reason is known.
        if contents[each["file"]] is not None or not tree.has_told(each["file"]):
            problems.append(Problem(**each))
    return found


def check_packages(tree, installed, key, records, problems):
    """Check the directories of packages, one after the other and together."""
    places, contents = {}, {}
    for place in tree.places():
        found, content = indexes.read_index(tree, place, problems)
        progress("%s: %d packages" % (place, len(found)))
        if content is not None:
            contents[place] = content
        places[place] = [paragraph for paragraph in found
                         if indexes.check_paragraph(paragraph, place)]
        names = [paragraph["Filename"] for paragraph in found if "Filename" in paragraph]
        tree.prepare(place, ["%s/%s" % (place, name) for name in names])
        for paragraph in places[place]:
            indexes.check_package(tree, place, paragraph, problems)
        indexes.check_together(places[place])
        for name in sorted(set(tree.packages(place)) - set(names)) if content is not None else ():
            problems.warning("%s/%s" % (place, name), None, "No index lists the package, and no "
                             "receiver knows it", "make the index with packaging/feed")
    if not places:
        problems.warning("all", None, "There are no packages here, and only the documents were "
                         "checked", "name the folder of the whole feed")
        return
    progress("dependencies, statistics and signatures")
    together = [paragraph for found in places.values() for paragraph in found]
    if len(contents) == len(places):  # else there may be packages that are not known
        indexes.check_dependencies(together, installed)
        indexes.check_statistics(records, places, problems)
    indexes.check_installed(together, installed or [])
    signatures.check_signatures(tree, contents, key, problems)


def read_installed(file):
    """Return Paragraphs of a list of packages: opkg's status file, or "NAME - VERSION" lines."""
    with open(file, encoding="utf-8", errors="replace") as stream:
        text = stream.read()
    if not re.search("^Package:", text, re.MULTILINE):
        text = re.sub(r"(?m)^(\S+)(?: - | )(\S+).*$", r"Package: \1\nVersion: \2\n", text)
    return indexes.paragraphs(text, file, Problems())


# What is printed.

def print_shown(found):
    """Print what models show of the documents, models that show the same together."""
    groups = collections.defaultdict(list)
    for outcome in found["outcomes"]:
        groups[json.dumps([outcome["rows"], _instead(outcome)])].append(outcome)
    for group in groups.values():
        print("News on %s:" % ", ".join(outcome["model"] for outcome in group))
        for kind, text in group[0]["rows"]:
            print("  %-8s%s" % (kind, visible(text)))
        if _instead(group[0]):
            print("  %s" % _instead(group[0]))
        print()
    for category, rows in found["top20"]:
        print("Top 20, %s:" % category)
        for row in rows:
            print("  %s" % visible(row))
        print()


def print_table(found):
    """Print the table of the models: entries by kind, and the first, or what comes instead."""
    print("model     urgent  info  normal  first entry")
    for outcome in found["outcomes"]:
        kinds = collections.Counter(kind for kind, _ in outcome["rows"])
        first = outcome["rows"][0][1] if outcome["rows"] else ""
        print("%-8s  %6d  %4d  %6d  %s" % (
            outcome["model"], kinds["urgent"], kinds["info"], kinds["normal"],
            _instead(outcome) or visible(first)))
    print()


def _instead(outcome):
    """Return what comes in place of rows, or after them; "" for nothing."""
    if outcome["message"] is not None:
        return "nothing but the message \"%s\"" % outcome["message"]
    if outcome["restart"] is not None:
        return "the menus restart (%s)" % outcome["restart"]
    return "" if outcome["rows"] else "an empty list"


def count(number, noun):
    """Return "1 error", "2 errors" and the like."""
    return "%s %s%s" % (number or "no", noun, "" if number == 1 else "s")


def main(arguments):
    parser = OneSentence(
        prog="check", usage="./run --check DIR|URL [OPTION...]",
        description="Check a feed before it goes out: what receivers show, and what is wrong.",
        epilog="Exit status: 0, also with warnings; 1 with errors; 2 when it could not run.")
    parser.add_argument("feed", metavar="DIR|URL",
                        help="the folder with %s and %s, or the address of one; beside them all/ "
                             "and the directories of the architectures" % DOCUMENTS)
    parser.add_argument("--model", default="all", metavar="KEY",
                        help="show the rows of this receiver model alone: all (the default), "
                             + ", ".join(MODELS))
    parser.add_argument("--conf", metavar="FILE",
                        help="the receivers' %s (default: the one in the folder, or the one that "
                             "the address asks for)" % CONFIGURATION)
    parser.add_argument("--installed", metavar="FILE",
                        help="what the image has installed: opkg's status file, or what "
                             "\"opkg list-installed\" prints")
    parser.add_argument("--key", metavar="FILE",
                        help="the public key that receivers verify the indexes with")
    parser.add_argument("--architecture", action="append", default=[], metavar="NAME",
                        help="at an address: a directory besides all/; may be repeated")
    add_format_option(parser)
    options = parser.parse_args(arguments)
    if options.model not in MODELS + ("all",):
        parser.error("there is no model '%s'" % options.model)
    sys.stdout.reconfigure(errors="backslashreplace")  # whatever the terminal can show
    problems = Problems()
    try:
        configuration = None
        if re.match("https?://", options.feed):
            address = re.sub("/(all/*)?$", "", options.feed)
            tree = Site(address, ["all"] + options.architecture, problems)
            configuration = ("src/gz Zirk-all %s/all\n" % address).encode()
        elif os.path.isdir(options.feed):
            tree = Folder(options.feed, problems)
            if not any(os.path.lexists(os.path.join(options.feed, name)) for name in DOCUMENTS):
                raise OSError("the folder '%s' has neither %s nor %s; name that of the feed"
                              % ((options.feed,) + DOCUMENTS))
            configuration = tree.read(CONFIGURATION)
        else:
            parser.error("there is no feed folder '%s'" % options.feed)
        if options.conf:
            with open(options.conf, "rb") as stream:
                configuration = stream.read()
        installed = read_installed(options.installed) if options.installed else None
        found = check_documents(tree, options.model, configuration, problems)
        check_packages(tree, installed, options.key, found["records"], problems)
    except OSError as e:
        sentence = str(e) if not e.filename else (
            "%s can't be read (%s); name a file that can" % (e.filename, e.strerror))
        print("check: %s." % sentence.rstrip("."), file=sys.stderr)
        return 2
    except KeyboardInterrupt:
        return 130

    written = FORMS[options.form](problems.in_order(), "check")
    if options.form != "text":
        print(written, end="")
        return problems.status()
    print_shown(found)
    if problems:
        print(written)
    print_table(found)
    errors = len([problem for problem in problems if problem.severity == ERROR])
    print("%s and %s on %s." % (count(errors, "error").capitalize(),
                                count(len(problems) - errors, "warning"),
                                count(len(found["outcomes"]), "model")))
    return problems.status()


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
