"""The module reads every document as the model does, which asks the interpreter's own DOM.

The module has two ways: a compact tree for what is plain, that DOM for what is not. Whichever it
takes, status, news list, exceptions and their lines are the model's, for documents with everything
that XML allows and forbids. A difference shows the document's seed and its text.
"""

import random
import sys
import unittest
import warnings
import xml.dom.minidom

from tests.support import documents, twins
from tests.support.recording import traceback_entries
from tests.support.sampling import ONE_IN, sampled

SEEDS = 8000
MODELS = ["duo2", "duo2", "uno4kse", "solo", "", u"duo2", "d\xfco2", None, 7]


class Server(object):
    """Stands in for urllib2 in the module's namespace; every address gives one document."""

    class HTTPError(Exception):
        pass

    class URLError(Exception):
        pass

    def __init__(self, document):
        self.document = document

    def urlopen(self, address, data, timeout):
        return self

    def read(self):
        return self.document


def described(thing):
    """A value with the exact type of everything in it."""
    if isinstance(thing, (list, tuple)):
        return (type(thing).__name__, [described(member) for member in thing])
    return (type(thing).__name__, thing)


def outcome(twin, document, model, **replaced):
    """What parse_xml of one implementation makes of a document: all that can be seen of it."""
    stored = []
    namespace = vars(twin.module)
    namespace.update(urllib2=Server(document), xml=xml, vumodel=model,
                     newsURL=lambda: "address", write_cache=lambda news: stored.append(news))
    namespace.update(replaced)
    try:
        try:
            result = ("returned", twin.module.parse_xml())
        except Exception:
            kind, value, traceback = sys.exc_info()
            # Below the module stands minidom's own code, the same in both.
            entries = [entry for entry in traceback_entries(traceback) if entry[0] == "Kelvaro"]
            # Where minidom's recursion runs into the limit depends on the frames below it.
            text = "" if kind is RuntimeError else str(value)
            result = ("raised", kind.__name__, text, entries)
            del traceback
    finally:
        twin.reset()
    return result, described(stored)


class Counting(object):
    """Within it, the documents that minidom parses are counted."""

    def __enter__(self):
        from xml.dom import expatbuilder
        self.count = 0
        self.builder, self.parse = expatbuilder, expatbuilder.parseString

        def counted(*args, **kwargs):
            self.count += 1
            return self.parse(*args, **kwargs)
        expatbuilder.parseString = counted
        return self

    def __exit__(self, *exc_info):
        self.builder.parseString = self.parse


class DocumentsAgree(unittest.TestCase):

    longMessage = True

    def setUp(self):
        catcher = warnings.catch_warnings()
        catcher.__enter__()
        self.addCleanup(catcher.__exit__, None, None, None)
        warnings.simplefilter("ignore")  # comparisons of odd models warn, and name a file

    def agree(self, document, model, about, **replaced):
        with_model = outcome(twins.model(), document, model, **replaced)
        with_module = outcome(twins.module(), document, model, **replaced)
        if with_model != with_module and with_module[0][:2] == ("raised", "RuntimeError"):
            # A call from C stands up to three levels deeper than one from Python, and a document
            # can be so deep that just these are missing.
            limit = sys.getrecursionlimit()
            sys.setrecursionlimit(limit - 3)
            try:
                with_model = outcome(twins.model(), document, model, **replaced)
            finally:
                sys.setrecursionlimit(limit)
        if with_model != with_module:
            self.fail("%s, model %r:\n%r\nis\n%r\nand not\n%r"
                      % (about, model, document[:2000], with_module, with_model))
        return with_module

    def test_documents_by_seed(self):
        statuses = {}
        for seed in sampled(range(SEEDS)):
            rng = random.Random(seed)
            kind, document = documents.generate(rng)
            result = self.agree(document, rng.choice(MODELS), "seed %d (%s)" % (seed, kind))[0]
            statuses[result[:2]] = statuses.get(result[:2], 0) + 1
        # They are worth comparing: each of these comes many times.
        for often in (("returned", 1), ("returned", 3), ("raised", "IndexError"),
                      ("raised", "AttributeError")):
            self.assertGreater(statuses.get(often, 0), 50 // ONE_IN, (often, statuses))

    def test_most_plain_documents_go_without_minidom(self):
        plain = 0
        with Counting() as minidom:
            for seed in sampled(range(500)):
                kind, document = documents.generate(random.Random(seed), "plain")
                outcome(twins.module(), document, "duo2")
                plain += 1
        self.assertLess(minidom.count, plain // 3)

    def test_documents_from_deep_in_the_stack(self):
        def deeper(levels, call):
            return call() if levels == 0 else deeper(levels - 1, call)

        for levels in (10, 60, 150, 400, 700, 900):
            for seed in range(12):
                rng = random.Random(seed)
                document = documents.generate(rng, rng.choice(["deep", "plain"]))[1]
                deeper(levels, lambda: self.agree(document, "duo2", "%d frames, seed %d"
                                                  % (levels, seed)))

    def test_a_low_recursion_limit(self):
        before = sys.getrecursionlimit()
        self.addCleanup(sys.setrecursionlimit, before)
        for limit in (200, 350, 2500):
            for seed in sampled(range(40)):
                document = documents.generate(random.Random(seed), "deep")[1]
                sys.setrecursionlimit(limit)
                try:
                    self.agree(document, "duo2", "limit %d, seed %d" % (limit, seed))
                finally:
                    sys.setrecursionlimit(before)

    def test_a_replaced_skip_entry_is_asked(self):
        for seed in sampled(range(150)):
            asked = []

            def skip_entry(entry):
                asked.append(entry.tagName)
                return len(asked) % 3 == 0
            document = documents.generate(random.Random(seed), "plain")[1]
            namespace = {"skip_entry": skip_entry}
            with_model = outcome(twins.model(), document, "duo2", **namespace)
            by_model, asked = asked, []
            with_module = outcome(twins.module(), document, "duo2", **namespace)
            self.assertEqual((with_module, asked), (with_model, by_model), seed)

    def test_a_replaced_parse_string_is_called(self):
        called = []
        original = xml.dom.minidom.parseString

        def parseString(*args):
            called.append(args)
            return original(*args)
        self.addCleanup(setattr, xml.dom.minidom, "parseString", original)
        xml.dom.minidom.parseString = parseString
        self.agree("<a><update><title>t</title></update></a>", "duo2", "replaced")
        self.assertEqual(len(called), 2)

    def test_items_of_an_inner_update_are_also_the_outer_ones(self):
        document = ("<n><update><title>o</title><update><title>i</title>"
                    "<item><itemtext>x</itemtext></item></update></update></n>")
        result = self.agree(document, "duo2", "nested")
        self.assertEqual(result[0], ("returned", 1))
        outer, inner = result[1][1][0][1]  # entries: type, [title, items, kind]
        self.assertEqual(outer[1][1], inner[1][1])

    def test_hundreds_of_everything_in_a_row(self):
        for require in ("", " require='x'", " require='x,duo2'"):
            for name in ("update", "title", "item", "itemtext", "description", "other"):
                for content in ("<title>t</title>", "t", ""):
                    many = "<%s%s>%s</%s>" % (name, require, content, name) * 300
                    document = ("<n><update><title>t</title><item>%s</item>%s</update>%s</n>"
                                % (many, many, many))
                    self.agree(document, "duo2", "300 of " + many[:40])

    def test_a_model_that_reads_otherwise_is_found_out(self):
        class Other(object):
            module = twins.model().module
            reset = staticmethod(twins.model().reset)
        document = "<n><update><title>t</title></update></n>"
        right = outcome(twins.module(), document, "duo2")
        wrong = outcome(Other, document, "duo2", skip_entry=lambda entry: True)
        self.assertNotEqual(right, wrong)


if __name__ == "__main__":
    unittest.main()
