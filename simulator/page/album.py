"""Makes a PNG and a layout file of each screen of the tour: ./run --pictures OUT. Python 3.

OUT/pictures/SKIN/MODEL/LANGUAGE/ has the screens of one receiver, OUT/index.html shows all. With
--against OLD, an earlier OUT, OUT/before/ and OUT/difference/ have what is not the same, and the
index shows that first. Needs what simulator/page/pictures.py does, python3-pil and a built module:
./run sees to it.

Exit status: 0; 1 when something differs, or a tour was not as it must be; 2 after one sentence that
says what is wrong.
"""

import collections
import glob
import hashlib
import itertools
import json
import os
import subprocess
import sys
from html import escape

from PIL import Image, ImageChops
from selenium.common.exceptions import WebDriverException

from simulator.models import MODELS
from simulator.options import (OneSentence, add_receiver_options, in_sandbox, languages,
                               receiver_arguments)
from simulator.page.pictures import paint, start_browser

OWN_SKIN = "simulator"  # the folder of the pictures without --skin
MOST_CHANGES = 20  # of a layout file that are told
PAGE = """<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<title>The screens</title>
<style>
  body { margin: 2em; font: 16px/1.4 "Open Sans", sans-serif; color: #ddd; background: #1b1e24; }
  a { color: inherit; }
  section { display: flex; flex-wrap: wrap; gap: 1em; }
  figure { flex: 1 1 320px; max-width: 640px; margin: 0; }
  img { width: 100%; background: #4a5568; }
  pre { white-space: pre-wrap; overflow-wrap: anywhere; }
</style>
"""

#: What an album has of a screen: the PNG's path, the content of the layout file.
Picture = collections.namedtuple("Picture", "path layout")
#: A picture that is not as it was. pixels: how many differ; changes: of the layout, sentences.
Difference = collections.namedtuple("Difference", "name pixels changes")


class Painter:
    """Asks receivers for their screens, and paints them."""

    def __init__(self, directory):
        self._directory = directory
        self._driver = start_browser()
        self._painted = {}  # a picture's operations, as a digest: the PNG
        self.steps = {}  # (skin, step, heading): {PNG: the names of its pictures}
        self.wrong = []  # sentences

    def close(self):
        self._driver.quit()

    def add(self, folder, arguments):
        """Add the receiver with these arguments; return its exit status.

        folder: of its pictures, SKIN/MODEL/LANGUAGE.
        """
        receiver = subprocess.run(
            in_sandbox("simulator.pictures", arguments), stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, check=False)
        if receiver.returncode == 0:
            found = json.loads(receiver.stdout)
            self.wrong += ["%s: %s" % (folder, sentence) for sentence in found["wrong"]]
            self._paint(folder, {_digest(picture): picture for picture in found["pictures"]
                                 if _digest(picture) not in self._painted}, found["files"])
            for picture in found["pictures"]:
                self._add_picture(folder, picture)
        return receiver.returncode

    def _paint(self, folder, pictures, files):
        painted = paint(self._driver, list(pictures.values()), files)
        for (key, picture), (self._painted[key], unread) in zip(pictures.items(), painted):
            if unread:
                self.wrong.append("%s: the browser cannot read %d of the skin's files."
                                  % (_name(folder, picture), len(unread)))

    def _add_picture(self, folder, picture):
        name = _name(folder, picture)
        png = self._painted[_digest(picture)]
        with open(_place(self._directory, "pictures", name + ".png"), "wb") as stream:
            stream.write(png)
        with open(_place(self._directory, "pictures", name + ".json"), "w") as stream:
            json.dump(picture["layout"], stream, indent=1, sort_keys=True)
        step = folder.split("/")[0], picture["step"], picture["heading"]
        self.steps.setdefault(step, {}).setdefault(png, []).append(name)


def _digest(picture):
    what = json.dumps([picture["size"], picture["operations"]], sort_keys=True)
    return hashlib.sha256(what.encode()).digest()


def _name(folder, picture):
    return "%s/%02d-%s" % (folder, picture["step"], picture["layout"]["screens"][0]["screen"])


def _place(directory, *parts):
    """The path of a file below `directory`; the directories above it are made."""
    path = os.path.join(directory, *parts)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    return path


def pictures(directory, folder):
    """The Pictures of one receiver in an album, by their names."""
    above = os.path.join(directory, "pictures")
    found = {}
    for path in glob.glob(os.path.join(glob.escape(os.path.join(above, folder)), "*.png")):
        with open(path[:-len(".png")] + ".json") as stream:
            found[os.path.relpath(path, above)[:-len(".png")]] = Picture(path, json.load(stream))
    return found


def compare(old, directory, folder):
    """Yield the Differences of one receiver in two albums; leave their pictures in the second."""
    former, latter = pictures(old, folder), pictures(directory, folder)
    for name in sorted(set(former) | set(latter)):
        one, other = former.get(name), latter.get(name)
        before, now = _images(one, other)
        differing = _differing(before, now)
        pixels = differing.histogram()[255]
        if one is None or other is None:
            changes = ["There was no such picture." if one is None else "It is not there any more."]
        else:
            changes = list(_changes(one.layout["screens"][0], other.layout["screens"][0]))
        if pixels or changes:
            before.save(_place(directory, "before", name + ".png"))
            marked = now.convert("L").point(lambda value: value // 3).convert("RGB")
            marked.paste("#ff3090", mask=differing)
            marked.save(_place(directory, "difference", name + ".png"))
            yield Difference(name, pixels, changes)


def _images(*two):
    """The images of two Pictures, or None for an empty one, both as large as the larger."""
    images = [Image.open(picture.path).convert("RGBA") if picture else Image.new("RGBA", (1, 1))
              for picture in two]
    size = [max(extents) for extents in zip(*[image.size for image in images])]
    return [image.crop([0, 0] + size) for image in images]


def _differing(before, now):
    """An image that is white where two of a size differ, and else black."""
    bands = ImageChops.difference(before, now).split()
    differing = bands[0]
    for band in bands[1:]:
        differing = ImageChops.lighter(differing, band)
    return differing.point(lambda value: 255 if value else 0)


def _changes(before, now, where=""):
    """Yield what differs in two layouts, sentences."""
    if isinstance(before, dict) and isinstance(now, dict):
        for key in sorted(set(before) | set(now)):
            yield from _changes(before.get(key), now.get(key), "%s/%s" % (where, key))
    elif isinstance(before, list) and isinstance(now, list):
        for at, pair in enumerate(itertools.zip_longest(before, now)):
            yield from _changes(*pair, "%s/%d" % (where, at))
    elif before != now:
        yield "%s was %s and is %s." % (where[1:], json.dumps(before), json.dumps(now))


def write_index(directory, steps, differences):
    """Write the page that shows the differences, and then each step on all receivers."""
    parts = [PAGE]
    if differences:
        parts.append("<h1>Different</h1>\n")
    for name, pixels, changes in differences:
        parts.append("<h2>%s: %d pixels</h2>\n<section>\n" % (escape(name), pixels))
        parts += [_figure("%s/%s" % (folder, name), folder)
                  for folder in ("before", "pictures", "difference")
                  if os.path.exists(os.path.join(directory, folder, name + ".png"))]
        more = len(changes) - MOST_CHANGES
        parts.append("</section>\n<pre>%s</pre>\n" % escape("\n".join(
            changes[:MOST_CHANGES] + ["%d more." % more] * (more > 0))))
    for (skin, step, heading), found in steps.items():
        parts.append("<h2>%s: %d. %s</h2>\n<section>\n" % (escape(skin), step, escape(heading)))
        for names in found.values():
            links = ['<a href="pictures/%s.json">%s</a>'
                     % (escape(name), escape(", ".join(name.split("/")[1:3]))) for name in names]
            parts.append(_figure("pictures/" + names[0], "; ".join(links)))
        parts.append("</section>\n")
    parts.append("</html>\n")
    with open(os.path.join(directory, "index.html"), "w") as stream:
        stream.write("".join(parts))


def _figure(name, caption):
    return ('<figure><img loading="lazy" alt="" src="%s.png"><figcaption>%s</figcaption></figure>\n'
            % (escape(name), caption))


def receivers(parser, options, others):
    """The folder and the arguments of each receiver; a wrong option ends the program."""
    models = MODELS if options.model == "all" else [options.model]
    keys = ["en"] + languages() if options.language == "all" else [options.language]
    checked = OneSentence(prog=parser.prog)
    add_receiver_options(checked)
    found = {}
    for skin, model, language in itertools.product(options.skin or [None], models, keys):
        arguments = ["--model", model, "--language", language] + others
        name = OWN_SKIN
        if skin is not None:
            arguments += ["--skin", skin]
            name = os.path.basename(os.path.realpath(skin))
        receiver_arguments(checked, checked.parse_args(arguments))
        folder = "/".join([name, model, language])
        if folder in found:
            parser.error("two skins are named '%s'" % name)
        found[folder] = arguments
    return found


def main(arguments):
    parser = OneSentence(prog="run", allow_abbrev=False, epilog="Other options are a receiver's; "
                         "./run --help names them.")
    parser.add_argument("--pictures", required=True, metavar="OUT",
                        help="a new or empty folder for the pictures and index.html")
    parser.add_argument("--against", metavar="OLD",
                        help="an earlier OUT: show what differs; the exit status is 1 then")
    parser.add_argument("--skin", action="append", metavar="DIR",
                        help="a folder with a skin.xml (default: the simulator's own)")
    parser.add_argument("--model", default="duo2", metavar="KEY|all")
    parser.add_argument("--language", default="en", metavar="KEY|all")
    options, others = parser.parse_known_args(arguments)
    if os.path.exists(options.pictures) and not (
            os.path.isdir(options.pictures) and not os.listdir(options.pictures)):
        parser.error("'%s' is there, and no empty folder: name a new one" % options.pictures)
    if options.against is not None and not os.path.isdir(os.path.join(options.against, "pictures")):
        parser.error("'%s' is no folder that --pictures has made" % options.against)
    todo = receivers(parser, options, others)
    painter = None
    try:
        os.makedirs(options.pictures, exist_ok=True)
        painter = Painter(options.pictures)
        for number, (folder, its) in enumerate(todo.items(), 1):
            print("Painting %s (%d of %d)" % (folder, number, len(todo)), file=sys.stderr)
            status = painter.add(folder, its)
            if status:
                return status
        differences = []
        if options.against is not None:
            print("Comparing with %s" % options.against, file=sys.stderr)
            for folder in todo:
                differences += compare(options.against, options.pictures, folder)
        write_index(options.pictures, painter.steps, differences)
    except (OSError, ValueError, RuntimeError, WebDriverException) as e:
        print("run: the pictures can't be made: %s" % str(e).split("\n")[0], file=sys.stderr)
        return 2
    except KeyboardInterrupt:
        return 130
    finally:
        if painter:
            painter.close()
    for sentence in painter.wrong:
        print(sentence)
    for name, pixels, changes in differences:
        print("%s differs: %d pixels, %d changes of the layout" % (name, pixels, len(changes)))
    return 1 if painter.wrong or differences else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
