"""The time of day as text."""

import time

from Components.Converter.Converter import Converter


class ClockToText(Converter):

    FORMATS = {"": "%H:%M", "Default": "%H:%M", "WithSeconds": "%H:%M:%S",
               "Date": "%A %e %B %Y", "ShortDate": "%a %e/%m"}

    @property
    def text(self):
        form = self.FORMATS.get(self.arguments, self.arguments.partition("Format:")[2])
        return time.strftime(form, time.localtime(self.source.time))
