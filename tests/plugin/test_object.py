"""What a name stands for is called as the interpreter calls it, whatever it is written in."""

from tests.support.receiver import CACHE, CONFIGURATION, ModuleTest


class BuiltInFunctions(ModuleTest):

    def test_may_take_the_place_of_others(self):
        class File(object):
            close = staticmethod(list)
        self.replace(open={CACHE: File}.__getitem__, load=id)
        self.assertEqual(self.module.load_cache(), id(File))

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
