"""The check of a skin: a sound one is silent, and each fault is found at its line."""

import __builtin__
import imp
import json
import os
import re
import shutil
import sys
import unittest
from StringIO import StringIO

from simulator import HOST, ROOT, check_skin, plugin_files, skins
from simulator.loop import main_loop
from simulator.problems import FORMS, Problem
from simulator.session import Session

import enigma

FOLDER = "/tmp/skins/Sound"
with open(os.path.join(ROOT, "docs", "skins.md")) as document:
    SMALLEST, EXAMPLE = [part.split("```")[0] for part in document.read().split("```xml\n")[1:]]
#: The larger example of the document, with definitions and dialogs.
SOUND = EXAMPLE.replace("  </colors>\n", """\
  </colors>
<include filename="more.xml"/>
<fonts>
<font name="Thin" filename="LiberationSans-Regular.ttf"/>
<alias name="Key" font="Regular" size="22"/>
</fonts>
<parameters><parameter name="ChoicelistName" value="45,0,800,30"/></parameters>
<windowstyle id="0"><title offset="20,6" font="Regular;22"/>
<color name="Background" color="ground"/>
<borderset name="bsWindow"><pixmap pos="bpTop" filename="skin_default/top.png"/></borderset>
</windowstyle>
""").replace("</skin>", """\
<screen name="MessageBox" position="center,center" size="800,300">
<widget name="text" position="70,10" size="720,160" font="Thin;24"/>
<widget name="QuestionPixmap" position="8,10" size="53,53" alphatest="on"/>
<widget name="list" position="70,180" size="720,100"/>
</screen>
<screen name="MessageBoxSimple" position="center,center" size="800,300">
<panel name="MessageBox"/>
</screen>
<screen name="ChoiceBox" position="center,center" size="900,480">
<widget name="text" position="20,8" size="860,40" font="Key"/>
<widget name="list" position="20,52" size="860,420"/>
<applet type="onLayoutFinish">self["text"].show()</applet>
</screen>
</skin>""")
MORE = '<skin><screen name="Other"><eLabel position="odd"/></screen></skin>'

START, ENDS = "The GUI does not start", "The screen cannot be opened, and the GUI ends"
REST, LOST = "This and all later elements of the screen are lost", "The element is lost"
#: What stands in the sound skin, what stands there instead; of the one problem in the line of the
#: tag the severity, words of what happens and of the remedy. All are found together.
FAULTS = [
    ('"#00203040"', '"#odd"', "error", START, "#AARRGGBB"),
    ("LiberationSans-Regular.ttf", "odd.ttf", "error", START, "font file"),
    ('size="22"/>', 'size="odd"/><alias name="Key" font="Regular" size="22"/>', "error",
     "definition is left out", "whole numbers"),
    ('"45,0,800,30"', '"odd"', "error", "definition is left out", "numbers"),
    ("<title offset", "<title odd", "error", START, "offset="),
    ('color name="Background"', 'color name="Odd"', "error", START, "window style"),
    ("skin_default/top.png", "odd.png", "error", START, "picture that is there"),
    ('font="Regular;34"', 'font="Regular;34" odd="1"', "warning", "attribute odd", "leave it"),
    ('"ClockToText"', '"Odd"', "error", REST + " (No module named Odd)", "converter"),
    ('="64,e-70" size="250,36"', '="64,e-70"', "error", REST, "a size"),
    ('"350,e-70"', '"350,odd"', "error", REST, "arithmetic"),
    ('"key_yellow" render="Label"', '"key_yellow" render="Odd"', "error",
     REST + " (No module named Odd)", "renderer that the host has"),
    ("#0080a0ff", "odd", "error", "attribute foregroundColor is lost", "<colors>"),
    ('e-128,36" font="Regular;24"', 'e-128,36" font="Regular"', "error", ENDS, "Family;size"),
    ('"TemplatedMultiContent">', '"TemplatedMultiContent">odd', "error", REST, "dictionary"),
    ('name="status"', 'name="statu"', "error", "component with name 'statu'", "header, status"),
    ('e-128,68"', 'e-128,68" zPosition="odd"', "error", ENDS, "whole numbers"),
    ('e-128,440" font="Regular', 'e-128,440" font="Odd', "error", "no font Odd", "Regular"),
    ('position="center,center" size="800,300">\n<widget', 'position="0,0">\n<widget', "error", ENDS,
     "a size"),
    ('720,160"', '720,160" backgroundColor=""', "error", ENDS, "#AARRGGBB"),
    ('size="53,53" alphatest="on"', 'size="53,53" alphatest="odd"', "error", ENDS, "blend"),
    ('"720,100"/>', '"720,100"/><widget/>', "error", "no name and no source", "one of"),
    ('<panel name="MessageBox"/>', '<panel name="MessageBox"/><odd/>', "error", LOST, "eLabel"),
    ('"20,8"', '"20,8" halign="odd"', "error", "attribute halign is lost", "block"),
    ('self["text"].show()', 'self["text"].odd()', "error", ENDS, "Python"),
]
STATUS = '<widget name="status" position="64,606" size="e-128,34" font="Regular;22"/>'
SIMPLE = '<screen name="MessageBoxSimple" position="center,center" size="800,300">'
#: The same of what is looked for alone.
ALONE = [
    ("text=1", "text=0", "warning", '"<not-a-string>"', "index 1"),
    ("text=1", "text=3", "error", "The GUI crashes", "index 1"),
    ("text=1", "text=-1", "error", "The GUI crashes", "index 1"),
    ("text=1", 'text="Title"', "warning", "Titles are not shown", "index 1"),
    ("text=1", "text=1, font=1", "error", "stay blank, since there is no such font", "fonts"),
    ("png=2", "png=1", "error", "the picture 1 on rows stay blank", "index 2"),
    ("png=2", "png=3", "error", "the picture 3 on rows stay blank", "index 2"),
    ("png=2)", "png=3), MultiContentEntryText(text=3)", "error", "the picture 3 on rows stay blank",
     "index 2"),
    ('gFont("Regular"', 'gFont("Odd"', "error", "no font Odd", "Thin"),
    ("e-128,450", "e-128,49", "error", "lower than a row", "higher"),
    ("e-128,440", "e-128,20", "error", "lower than a line", "higher"),
    (STATUS, STATUS + '<eLabel position="64,606" size="e-128,34"/>', "warning",
     "under an opaque one", "zPosition"),
    ('"64,606"', '"64,706"', "warning", "partly outside", "1280 by 720"),
    ('"64,606"', '"64,720"', "warning", "wholly outside", "1280 by 720"),
    ("e-128,34", "e-1280,34", "warning", "0 by 34 pixels", "a size"),
    ("</skin>", '<screen name="Ipkg" position="0,0" size="99,99"/></skin>', "warning",
     "No widget shows status, package, slider of Ipkg", "add one"),
    (SIMPLE, SIMPLE[:-1] + ' transparent="1">', "error", "transparent", "leave"),
    (SIMPLE, SIMPLE.replace("center,center", "900,9"), "warning", "outside the picture", "place"),
    ('<panel name="MessageBox"/>', '<panel name="MessageBox"/><panel name="MessageBoxSimple"/>',
     "error", REST, "out of itself"),
    ('<panel name="MessageBox"/>', '<panel name="MessageBox"/><panel name="Odd"/>', "error", LOST,
     "name a screen"),
    ('<screen name="ChoiceBox"', '<screen id="0" name="ChoiceBox"', "error", "has an id", "leave"),
    ('self["text"].show()', "1 +", "error", "failed to compile", "Python"),
    (STATUS, STATUS + STATUS, "warning", "later one has the same name", "leave one"),
    (STATUS, STATUS + '<widget name="title"/>', "error", LOST, 'source="title"'),
    ('"key_red" render="Label"', '"key_red"', "error", "define a renderer", 'render="Label"'),
    ('"menu" render="Listbox"', '"menu" render="Label"', "error", REST, "fit"),
    ("</skin>", "</skim>", "error", "image's default skin", "well-formed"),
    (STATUS, STATUS + '<eLabel position="0,0" size="99,99" text="&#x4e2d;"/>', "error",
     "no font has them", "replacement"),
    ('="64,e-70" size="250', '="64,e-70" size="85', "warning", u'"Schlie\xdfen" (de)', "larger"),
    ('size="720,160"', 'size="720,40"', "warning", "needs ", "larger"),
    ('"20,52" size="860', '"20,52" size="160', "warning", "cut; so are texts in en", "larger"),
]


class CheckSkinTest(unittest.TestCase):

    def setUp(self):
        self.addCleanup(setattr, enigma, "typeset", enigma.typeset)
        self.all_catalogues = check_skin.catalogues
        self.addCleanup(setattr, check_skin, "catalogues", self.all_catalogues)
        languages = [pair for pair in self.all_catalogues() if pair[0] in ("en", "de")]
        check_skin.catalogues = lambda: languages
        shutil.rmtree(os.path.dirname(FOLDER), ignore_errors=True)
        os.makedirs(FOLDER)

    def check(self, text, more=MORE, *options):
        """The problems of a skin of this text; keeps the exit status."""
        for name, content in (("skin.xml", text), ("more.xml", more)):
            with open(os.path.join(FOLDER, name), "w") as stream:
                stream.write(content)
        sys.stdout, stdout = StringIO(), sys.stdout
        try:
            self.status = check_skin.main((FOLDER, "--format", "json") + options)
            return json.loads(sys.stdout.getvalue())["problems"]
        finally:
            sys.stdout = stdout

    def find(self, faults):
        """Put these into the sound skin, and find them and no others."""
        text, expected = SOUND, []
        for old, new, severity, words, remedy in faults:
            self.assertEqual(text.count(old), 1, old)
            text = text.replace(old, new)
            tag = SOUND[:SOUND.index(old) + 1].rindex("<")
            expected.append((SOUND[:tag].count("\n") + 1, severity, words, remedy))
        found = self.check(text)
        self.assertEqual([(one["file"], one["line"], one["severity"]) for one in found],
                         [("skin.xml",) + one[:2] for one in sorted(expected)])
        for problem, (_, _, words, remedy) in zip(found, sorted(expected)):
            self.assertIn(words, problem["text"])
            self.assertIn(remedy, problem["remedy"])
        errors = [one for one in expected if one[1] == "error"]
        self.assertEqual(self.status, 1 if errors else 0)

    def test_of_a_sound_skin_it_says_nothing(self):
        check_skin.catalogues = self.all_catalogues
        for text in (EXAMPLE, SOUND):
            self.assertEqual((self.check(text), self.status), ([], 0))

    def test_all_faults_of_one_skin_are_found_at_their_lines(self):
        self.find(FAULTS)

    def test_what_is_not_seen_as_it_was_meant_is_found(self):
        for fault in ALONE:
            self.find([fault])

    def test_of_the_smallest_skin_it_says_what_is_not_shown(self):
        found = self.check(SMALLEST)
        self.assertEqual([one["text"] for one in found], [
            "No widget shows header, key_red, key_green, key_yellow, key_blue of " + screen
            for screen in ("AllNews", "ZirkUpdateInfo")])

    def test_a_file_is_named_that_is_included_or_the_users(self):
        user = os.path.join(os.path.dirname(FOLDER), "mine.xml")
        with open(user, "w") as stream:
            stream.write('<skin>\n<colors><color name="a" value="odd"/></colors></skin>')
        for more, options, place, words in [
                ("<skin>\n<screen", (), ("more.xml", 2), START),
                ('<skin>\n\n<screen name="Ipkg"/></skin>', (), ("more.xml", 3), "is included"),
                (MORE, ("--skin-user", user), (user, 2), START)]:
            found, = self.check(SOUND, more, *options)
            self.assertEqual((found["file"], found["line"]), place)
            self.assertIn(words, found["text"])

    def test_without_screens_of_its_own_the_fallback_counts(self):
        text = SOUND.replace('name="AllNews"', 'name="BackupSuite"').replace(
            '"ZirkUpdateInfo"', '"Other"')
        self.assertEqual(self.check(text), [])  # the package lends its own
        found = self.check(text.replace("1280", "1260").replace("text=1", "text=3").replace(
            'name="status"', 'name="odd"'))
        for problem, severity, words in zip(found, ("warning", "error", "warning"), (
                "The skin has no screen ZirkUpdateInfo", "The GUI crashes", LOST)):
            self.assertEqual(problem["severity"], severity)
            self.assertIn(words, problem["text"])
        self.assertEqual(len(found), 3)

    def test_all_texts_of_the_catalogues_are_measured_but_the_listing_of_updates(self):
        with open(os.path.join(ROOT, "plugin", "po", "Kelvaro.pot")) as stream:
            texts = set("".join(re.findall('"(.*)"', part)).replace("\\n", "\n") for part in
                        re.findall('(?m)^msgid (".*"(?:\n".*")*)', stream.read()))
        asked = set([""])
        __builtin__._ = lambda text: asked.add(text) or text
        for screen, arguments, _ in check_skin.opened():
            screen(Session(main_loop), *arguments)
        self.assertEqual(sorted(texts - asked), [
            "\nPackage : %s \nold version : %s \nnew version : %s\n",
            "\nYour System is up to date"])

    def test_the_screens_of_the_package_and_of_the_simulator_fit_every_language(self):
        further = imp.load_source("Upgrade", os.path.join(ROOT, "simulator/plugin/UpgradeZirk.py"))
        check_skin.catalogues = self.all_catalogues
        opened = check_skin.opened
        self.addCleanup(setattr, check_skin, "opened", opened)
        check_skin.WANTED["UpdatePlugin"] = ["status", "output"]
        self.addCleanup(check_skin.WANTED.pop, "UpdatePlugin")
        for width, height in enigma.PICTURES.items():
            for text, screens in [
                    (plugin_files.skin_for(width), []),
                    (skins.scaled(os.path.join(HOST, "skin.xml.in"), width),
                     [(further.UpdatePlugin, (), {})])]:
                check_skin.opened = lambda: list(opened()) + screens
                self.assertEqual(self.check(text, MORE, "--size", "%dx%d" % (width, height)), [])


class FormsTest(unittest.TestCase):

    PROBLEMS = [Problem(u"a b.xml", 3, "error", u"One\nthing", u"mend it"),
                Problem(u"/gr\xfc\xdfe", None, "warning", u"Two", u"leave it")]

    def written(self, form):
        return FORMS[form](self.PROBLEMS, "tool")

    def test_text_is_a_line_each(self):
        self.assertEqual(self.written("text"), u"a b.xml:3: error: One\\nthing: mend it.\n"
                                               u"/gr\xfc\xdfe: warning: Two: leave it.\n")

    def test_json_has_all_fields(self):
        self.assertEqual([Problem(**one) for one in json.loads(self.written("json"))["problems"]],
                         self.PROBLEMS)

    def test_sarif_is_as_its_schema_2_1_0_has_it(self):
        self.assertEqual(json.loads(self.written("sarif")), {
            "$schema": "https://json.schemastore.org/sarif-2.1.0.json", "version": "2.1.0",
            "runs": [{"tool": {"driver": {"name": "tool"}}, "results": [
                {"level": "error", "message": {"text": "One\nthing: mend it."},
                 "locations": [{"physicalLocation": {
                     "artifactLocation": {"uri": "a%20b.xml"}, "region": {"startLine": 3}}}]},
                {"level": "warning", "message": {"text": "Two: leave it."},
                 "locations": [{"physicalLocation": {
                     "artifactLocation": {"uri": "file:///gr%C3%BC%C3%9Fe"}}}]}]}]})
