"""The language of the GUI's texts."""


class Language(object):

    key = None  # such as "de_DE"

    def getLanguage(self):
        return self.key


language = Language()
