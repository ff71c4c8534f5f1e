"""What a name stands for is called as the interpreter calls it, whatever it is written in."""

from tests.support.receiver import CACHE, CONFIGURATION, ModuleTest


class BuiltInFunctions(ModuleTest):

    def test_may_take_the_place_of_others(self):
        class File(object):
            close = staticmethod(list)
        self.replace(open={CACHE: File}.__getitem__, load=id)
        self.assertEqual(self.module.load_cache(), id(File))

    def test_written_in_Python_name_the_first_keyword_that_they_do_not_take(self):
        class Session(object):
            def openWithCallback(self, callback, screen):
                pass
        self.box.open_news()
        self.box.screen.session = Session()
        self.box.screen.c_l = []
        error = self.assertFails(TypeError, ["AllNews.selectTop:270"], self.box.screen.selectTop)
        self.assertEqual(
            str(error), "openWithCallback() got an unexpected keyword argument 'title'")

    def test_of_a_type_refuse_what_is_not_of_it(self):
        class File(object):
            close = file.close
        self.replace(open=lambda path: File(), load=id)
        error = self.assertFails(TypeError, ["load_cache:101"], self.module.load_cache)
        self.assertEqual(
            str(error), "descriptor 'close' for 'file' objects doesn't apply to 'File' object")

    def test_refuse_arguments_in_the_words_of_the_interpreter(self):
        for callee in (globals, len, {}.__contains__, iter([]).next):
            self.replace(open=callee)
            for arguments, entry, function in (
                    ((CACHE,), "load_cache:99", self.module.load_cache),
                    ((CONFIGURATION, "r"), "newsURL:105", self.module.newsURL)):
                try:
                    callee(*arguments)
                except TypeError as e:
                    error = self.assertFails(TypeError, [entry], function)
                    self.assertEqual(str(error), str(e))


class Names(ModuleTest):
    """Odd ones, whose comparison runs code."""

    def odd(self, name, compare):
        class Odd(object):
            def __hash__(self):
                return hash(name)

            def __eq__(self, other):
                compare()
                return False
        return Odd()

    def test_may_give_an_object_another_dictionary_while_it_is_asked_for_a_method(self):
        class Answer(object):
            pass
        answer = Answer()

        def forget():
            answer.__dict__ = {}
        vars(answer)[self.odd("read", forget)] = 1
        vars(answer).update(("a%d" % number, number) for number in range(4))
        self.replace(newsURL=lambda name: "")
        self.box.patch(self.module.urllib2, "urlopen", lambda *arguments: answer)
        self.assertFails(AttributeError, ["getDownloadStats:122"], self.module.getDownloadStats)

    def test_that_cannot_be_compared_fail_the_lookup(self):
        name = self.odd("open", {}.popitem)
        vars(self.module)[name] = 1
        self.addCleanup(vars(self.module).pop, name)
        self.assertFails(KeyError, ["load_cache:99"], self.module.load_cache)
