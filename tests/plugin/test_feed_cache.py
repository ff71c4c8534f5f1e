# -*- coding: utf-8 -*-
"""write_cache and load_cache: one pickled object in the cache file."""

import cPickle
import os
import pickle
import shutil
import subprocess
import sys
import tempfile

from tests.support.receiver import CACHE, Blank, ModuleTest, raising

NEWS = [(u"Öl", [(None, []), (u"item", [u"a", u"b"])], "normal"),
        (u"", [], u"urgent"), (u"\ud83d\udcfa", [(u"x", [u""])], u"")]


def read(path=CACHE):
    with open(path, "rb") as stream:
        return stream.read()


class CacheTest(ModuleTest):

    def setUp(self):
        super(CacheTest, self).setUp()
        self.directory = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.directory)

    def use(self, *parts):
        """Make a file below the test's own directory the cache file; return its path."""
        self.module.cache_file = os.path.join(self.directory, *parts)
        return self.module.cache_file


class Writing(CacheTest):

    def test_leaves_exactly_the_highest_protocols_pickle(self):
        shared = [u"same"]
        for value in (NEWS, [], None, u"text", [shared, shared], {"any": (1, 2.5, True)}):
            self.assertIsNone(self.module.write_cache(value))
            self.assertEqual(read(), cPickle.dumps(value, -1))
            self.assertEqual(read()[:2], "\x80\x02")  # protocol 2

    def test_replaces_all_earlier_content(self):
        self.module.write_cache(["x" * 10000])
        news = []  # the pickle of an object without a name would lack the mark of a second use
        self.module.write_cache(news)
        self.assertEqual(read(), cPickle.dumps(news, -1))

    def test_closes_the_file(self):
        opened = []

        def keep(*arguments):
            opened.append((arguments, open(*arguments)))
            return opened[-1][1]

        self.replace(open=keep)
        self.module.write_cache([])
        self.module.load_cache()
        self.assertEqual([arguments for arguments, _ in opened], [(CACHE, "w"), (CACHE,)])
        self.assertEqual([stream.closed for _, stream in opened], [True, True])

    def test_goes_to_the_file_that_the_module_names(self):
        path = self.use("news")
        self.module.write_cache((1,))
        self.assertEqual(read(path), cPickle.dumps((1,), -1))
        self.assertFalse(os.path.exists(CACHE))
        self.assertEqual(self.module.load_cache(), (1,))

    def test_makes_a_missing_directory(self):
        path = self.use("missing", "news")
        self.module.write_cache([1])
        self.assertTrue(os.path.isfile(path))
        self.assertEqual(self.module.load_cache(), [1])

    def test_makes_no_directory_above_the_missing_one(self):
        path = self.use("missing", "too", "news")
        error = self.assertFails(IOError, ["write_cache:94"], self.module.write_cache, [])
        self.assertEqual(error.filename, path)
        self.assertEqual(os.listdir(self.directory), [])

    def test_makes_no_directory_that_is_there(self):
        made = []
        self.box.patch(os, "mkdir", made.append)
        self.module.write_cache([])
        self.assertEqual(made, [])

    def test_makes_the_directory_part_and_with_the_default_mode(self):
        made = []

        def mkdir(*arguments):
            made.append(arguments)
            raise OSError("no")

        self.box.patch(os, "mkdir", mkdir)
        path = self.use("missing", "news")
        self.assertFails(IOError, ["write_cache:94"], self.module.write_cache, [])
        self.assertEqual(made, [(os.path.dirname(path),)])

    def test_with_a_bare_file_name_tries_to_make_the_empty_directory(self):
        made = []
        self.box.patch(os, "mkdir", lambda name: made.append(name))
        opened = []
        self.replace(open=lambda *a: opened.append(a) or Blank(write=len, close=lambda: None),
                     dump=lambda *a: None)
        self.module.cache_file = "bare"
        self.module.write_cache([])
        self.assertEqual((made, opened), ([""], [("bare", "w")]))

    def test_goes_on_after_any_OSError_of_making_the_directory(self):
        class Mine(OSError):
            pass

        for error in (OSError(17, "exists"), OSError(), Mine()):
            self.use("missing", "news")
            shown = []
            self.box.patch(os, "mkdir", raising(error))
            self.replace(open=lambda *a: shown.append(a) or open(self.directory + "/x", "w"))
            self.module.write_cache("content")
            self.assertEqual(shown, [(self.module.cache_file, "w")])
            self.assertEqual(read(self.directory + "/x"), cPickle.dumps("content", -1))

    def test_passes_other_errors_of_making_the_directory_on(self):
        for error in (IOError(), ValueError(), EnvironmentError(), KeyboardInterrupt()):
            self.use("missing", "news")
            self.box.patch(os, "mkdir", raising(error))
            opened = []
            self.replace(open=lambda *a: opened.append(a))
            self.assertFails(error, ["write_cache:91"], self.module.write_cache, [])
            self.assertEqual(opened, [])

    def test_passes_a_failing_look_at_the_directory_on(self):
        error = OSError("look")
        for name in ("dirname", "isdir"):
            self.replace(os_path=Blank(dirname=lambda path: path, isdir=lambda path: True))
            setattr(self.module.os_path, name, raising(error))
            self.assertFails(error, ["write_cache:89"], self.module.write_cache, [])

    def test_looks_whether_the_directory_part_is_a_directory(self):
        asked = []
        self.replace(os_path=Blank(
            dirname=lambda *a: asked.append(("dirname",) + a) or "the directory",
            isdir=lambda *a: asked.append(("isdir",) + a) or True))
        self.module.write_cache([])
        self.assertEqual(asked, [("dirname", CACHE), ("isdir", "the directory")])

    def test_fails_when_a_directory_is_in_the_place_of_the_file(self):
        os.mkdir(self.use("news"))
        error = self.assertFails(IOError, ["write_cache:94"], self.module.write_cache, [])
        self.assertEqual(error.errno, 21)  # EISDIR

    def test_fails_when_a_file_is_in_the_place_of_the_directory(self):
        open(self.use("file"), "w").close()
        self.use("file", "news")
        error = self.assertFails(IOError, ["write_cache:94"], self.module.write_cache, [])
        self.assertEqual(error.errno, 20)  # ENOTDIR

    def test_fails_when_the_disk_is_full(self):
        self.module.cache_file = "/dev/full"
        error = self.assertFails(IOError, ["write_cache:96"], self.module.write_cache, [])
        self.assertEqual(error.errno, 28)  # ENOSPC

    def test_of_what_cannot_be_pickled_leaves_a_damaged_file(self):
        self.module.write_cache(["former"])
        self.assertFails(TypeError, ["write_cache:95"], self.module.write_cache,
                         [u"text", (value for value in ())])
        self.assertNotEqual(read(), cPickle.dumps(["former"], -1))
        with self.assertRaises(Exception):
            self.module.load_cache()

    def test_hands_object_file_and_protocol_to_dump_and_names_each_failing_step(self):
        error = KeyError("step")
        expected = [(94, ("open", CACHE, "w")), (95, ("dump", NEWS, "stream", -1)),
                    (96, ("close",))]
        for failing_step in range(4):
            done = []

            def step(*what):
                done.append(tuple("stream" if value is stream else value for value in what))
                if len(done) - 1 == failing_step:
                    raise error
                return stream

            stream = Blank(close=lambda *a: step("close", *a))
            self.replace(open=lambda *a: step("open", *a), dump=lambda *a: step("dump", *a))
            if failing_step < 3:
                self.assertFails(error, ["write_cache:%d" % expected[failing_step][0]],
                                 self.module.write_cache, NEWS)
            else:
                self.assertIsNone(self.module.write_cache(NEWS))
            self.assertEqual(done, [what for _, what in expected[:failing_step + 1]])


class Loading(CacheTest):

    def test_gives_back_what_was_written(self):
        for value in (NEWS, [], None, [u"ä", "\xff", 3]):
            self.module.write_cache(value)
            self.assertEqual(self.module.load_cache(), value)

    def test_keeps_every_type(self):
        self.module.write_cache(NEWS)
        text = type(u"")
        news = self.module.load_cache()
        self.assertEqual([[type(value) for value in entry] for entry in news],
                         [[text, list, str], [text, list, text], [text, list, text]])
        self.assertIsNone(news[0][1][0][0])
        self.assertIs(type(news[0][1][1]), tuple)
        self.assertIs(type(news[0][1][1][1][0]), text)

    def test_gives_a_new_object_each_time(self):
        self.module.write_cache(NEWS)
        self.assertIsNot(self.module.load_cache(), self.module.load_cache())

    def test_reads_any_protocol(self):
        for protocol in (0, 1, 2):
            with open(CACHE, "wb") as stream:
                stream.write(pickle.dumps(NEWS, protocol))
            self.assertEqual(self.module.load_cache(), NEWS)

    def test_reads_the_first_object_of_the_file(self):
        with open(CACHE, "wb") as stream:
            stream.write(cPickle.dumps([1], -1) + "rest")
        self.assertEqual(self.module.load_cache(), [1])

    def test_fails_without_the_file(self):
        error = self.assertFails(IOError, ["load_cache:99"], self.module.load_cache)
        self.assertEqual(str(error), "[Errno 2] No such file or directory: '%s'" % CACHE)

    def test_fails_with_a_directory_in_the_place_of_the_file(self):
        os.mkdir(self.use("news"))
        # The interpreter refuses to open a directory.
        self.assertFails(IOError, ["load_cache:99"], self.module.load_cache)

    def test_of_a_damaged_file_fails_as_the_unpickling_does(self):
        whole = cPickle.dumps(NEWS, -1)
        for content, error in [("", EOFError), (whole[:-1], EOFError),
                               ("nonsense", cPickle.UnpicklingError),
                               ("\x80\x09.", ValueError)]:
            with open(CACHE, "wb") as stream:
                stream.write(content)
            self.assertFails(error, ["load_cache:100"], self.module.load_cache)

    def test_names_each_failing_step(self):
        error = KeyError("step")
        expected = [(99, ("open", CACHE)), (100, ("load", "stream")), (101, ("close",))]
        for failing_step in range(4):
            done = []

            def step(result, *what):
                done.append(tuple("stream" if value is stream else value for value in what))
                if len(done) - 1 == failing_step:
                    raise error
                return result

            stream = Blank(close=lambda *a: step(None, "close", *a))
            self.replace(open=lambda *a: step(stream, "open", *a),
                         load=lambda *a: step(NEWS, "load", *a))
            if failing_step < 3:
                self.assertFails(error, ["load_cache:%d" % expected[failing_step][0]],
                                 self.module.load_cache)
            else:
                self.assertIs(self.module.load_cache(), NEWS)
            self.assertEqual(done, [what for _, what in expected[:failing_step + 1]])

    def test_is_possible_in_another_interpreter_without_the_module(self):
        self.module.write_cache(NEWS)
        output = subprocess.check_output([
            sys.executable, "-c",
            "import cPickle; print(repr(cPickle.load(open('%s'))))" % CACHE])
        self.assertEqual(output, repr(NEWS) + "\n")
