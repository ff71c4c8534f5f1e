"""The time of day."""

import time

from Components.Sources.Source import Source


class Clock(Source):
    time = property(lambda self: time.time())
    boolean = True
