"""The comparison of module and model can fail: models that are wrong on purpose are found out."""

import itertools
import unittest

from tests.support import recording, scenarios, twins
from tests.support.twins import Comparison, default_encoding

# Ways of being wrong that the comparison must find: text of the model, and what to put there.
MISTAKES = [
    ('"Zirk " + imageversion', '"Zirk" + imageversion'),
    ('"zero)\\n"', '"Zero)\\n"'),
    ('elif vumodel == "duo2"', 'elif vumodel == "duo3"'),
    ("fd.read().splitlines()", 'fd.read().split("\\n")'),
    ("        remove(packageinstalledfile)\n", "        pass\n"),
    ('"w")\n    dump', '"wb")\n    dump'),
    ("dump(cache_data, fd, -1)", "dump(cache_data, fd, 2)"),
    ("except OSError:", "except EnvironmentError:"),
    ('.strip("src/gz Zirk-all ")', '.replace("src/gz Zirk-all ", "")'),
    ("    url = url.strip()\n", "    url = url.rstrip()\n"),
    ('url.replace("all", f_name)', 'url.replace("all", f_name, 1)'),
    ("vumodel not in require", "vumodel not in [key.strip() for key in require]"),
    ("if require and vumodel", 'if require != [""] and vumodel'),
    ("url, None, 5.0", "url, None, 5"),
    ("    except urllib2.HTTPError:\n        return 2\n",
     "    except KeyError:\n        return 2\n"),
    ("    except urllib2.URLError:\n        return 3\n",
     "    except EnvironmentError:\n        return 3\n"),
    ('        update_type = "normal"', '        update_type = u"normal"'),
    ("title[0].firstChild", "title[-1].firstChild"),
    ("topic.firstChild and not skip_entry(topic)", "not skip_entry(topic) and topic.firstChild"),
    ("    xmldoc.unlink()\n    write_cache(list)", "    write_cache(list)\n    xmldoc.unlink()"),
    ('self.skinName = ["AllNews", "BackupSuite"]', 'self.skinName = ("AllNews", "BackupSuite")'),
    ("        self.skin_path = plugin_path\n        self.session = session\n",
     "        self.session = session\n        self.skin_path = plugin_path\n"),
    ('StaticText(_("Top 20"))', 'StaticText("Top 20")'),
    ('self["menu"] = List(self.list)', 'self["menu"] = List(list(self.list))'),
    ("}, -2)", "}, -1)"),
    ('"red": self.keyCancel', '"red": self.greenKey'),
    ("        if stats is None:", "        if not stats:"),
    ('stats.split("\\n")', "stats.splitlines()"),
    ("if len(fields) < 2", "if len(fields) < 3"),
    ("fields[0].title()", "fields[0].capitalize()"),
    ("str(count)", "str(count).strip()"),
    ("keys=False", "keys=[]"),
    ("ret is None or len(ret) != 2", "not ret or len(ret) != 2"),
    ('ret[1].replace("_install", "")', 'ret[1][:-len("_install")]'),
    ("(100, True)", "(100, 1)"),
    ("        self.delayTimer.start(100, True)\n"
     "        self.delayTimer.callback.append(self.createMenu)\n",
     "        self.delayTimer.callback.append(self.createMenu)\n"
     "        self.delayTimer.start(100, True)\n"),
    ("kind = str(entry[2])", "kind = entry[2]"),
    ("        if code > 1:\n            self", "        if code in (2, 3):\n            self"),
    ("timeout=30", "timeout=30.0"),
    ("if idx or len(self.list) != 0", "if len(self.list) != 0"),
    ("ZirkUpdateInfo, idx, show_upgradable)", "ZirkUpdateInfo, idx or 0, show_upgradable)"),
    ("for path in (packagetmpfile, cache_file)", "for path in (cache_file, packagetmpfile)"),
    ("        self.session = session\n        Screen.__init__(self, session)\n",
     "        Screen.__init__(self, session)\n        self.session = session\n"),
    ("        except:\n", "        except Exception:\n"),
    ("        except Exception:\n", "        except:\n"),
    ('"nextEvent": self.prevUpdate', '"nextEvent": self.nextUpdate'),
    ("        if show_upgradable:", "        if show_upgradable is True:"),
    ('        elif self.what == "header":', "        else:"),
    ("self.idx + 1 < len(self.list)", "self.idx < len(self.list)"),
    ("if self.idx != 0", "if self.idx > 0"),
    ("if self.Console is not None", "if self.Console"),
    ("        self.list = None\n        self.close(self.idx)\n",
     "        self.close(self.idx)\n        self.list = None\n"),
    ('str(item[0])', 'str(item[0] or "")'),
    ('"    - "', '"   - "'),
    ("return str(text)", "return text"),
    ("result=None, retval=0", "None, 0"),
    ("oldversion = parts[1].strip()", "oldversion = parts[1]"),
    ('                if name == "":', '                if newversion == "":'),
    ("len(parts) < 3", "len(parts) != 3"),
    ('result.split("\\n", 10)', 'result.split("\\n")'),
    ('result.split("\\n", 10)', 'result.split("\\n", 9)'),
    (">= 3", "> 3"),
    ("* 1000 * 3600", "* 3600000"),
    ("check_for_updates.value > 0", "check_for_updates.value"),
    ("timeout=0)", "timeout=-1)"),
    ("self.show_Kelvaro(res=None)", "self.show_Kelvaro(None)"),
    ('"w+"', '"w"'),
    ("        if res:", "        if res is True:"),
    ("(60000, True)", "(6000, True)"),
    ("ret=None):", "ret):"),
    ('f_name="zirknews.xml"', 'f_name=u"zirknews.xml"'),
]


class ComparisonFinds(unittest.TestCase):
    """The comparison can fail: wrong models are told from the right one."""

    def test_no_difference_between_the_model_and_itself(self):
        comparison = Comparison(twins.model(), twins.Twin(twins.load_model))
        for scenario in scenarios.FIXED + scenarios.GENERATED:
            self.assertIsNone(comparison.case(scenario))

    def test_each_mistake(self):
        missed = [change for change in MISTAKES if not self.is_found(change)]
        self.assertEqual([], missed, "\n".join(map(repr, missed)))

    def is_found(self, change):
        wrong = Comparison(twins.model(), twins.Twin(lambda: twins.load_model(change)))
        walks = [(scenario, 0) for scenario in scenarios.FIXED]
        few = list(itertools.product(scenarios.GENERATED, range(12)))
        many = list(itertools.product(scenarios.GENERATED, range(12, 60)))
        return (self.differs(wrong, walks) or self.differs(wrong, few)
                or any(wrong.failures(scenario) for scenario in (
                    scenarios.cache_is_written_to_a_new_directory,
                    scenarios.detail_opens_with_updates))
                or self.differs(wrong, many))

    def differs(self, comparison, walks):
        """Is there a difference in these (scenario, seed), in either default encoding?"""
        for encoding in ("ascii", "utf-8"):
            with default_encoding(encoding):
                if any(comparison.case(scenario, seed=seed) for scenario, seed in walks):
                    return True
        return False

    def test_a_leak(self):
        kept = []

        def leaking(case):
            label = recording.Label()
            if case.module is leaky.module:
                kept.append(label)
        leaky = twins.Twin(twins.load_model)
        comparison = Comparison(twins.model(), leaky)
        self.assertIsNone(comparison.case(leaking))
        self.assertIn("still alive", comparison.leak())


if __name__ == "__main__":
    unittest.main()
