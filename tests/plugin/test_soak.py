"""A short soak: nothing piles up, and a leak would show. tools/soak runs the long one."""

import os
import unittest

from tests.support import soak

# proot makes the start of a command ten times as slow.
DAYS, OPENINGS = (8, 200) if os.environ["KELVARO_SANDBOX"] == "proot" else (20, 500)


class Short(unittest.TestCase):

    def test_leaves_everything_flat(self):
        samples = soak.Soak(DAYS, OPENINGS).run()
        self.assertEqual((samples[-1].checks, samples[-1].openings), (24 * DAYS, OPENINGS))
        self.assertEqual(len(samples), soak.SAMPLES)
        self.assertEqual(soak.flat(samples), [])
        self.assertEqual((samples[-1].children, samples[-1].timers), (0, 1))


class Judgement(unittest.TestCase):
    """What `flat` finds, on samples that are made up."""

    def samples(self, **last):
        before = soak.Sample(day=1, checks=1, openings=1, memory=17000, objects=10000,
                             descriptors=6, children=0, timers=1)
        return [before] * 9 + [before._replace(day=9, **last)]

    def test_takes_what_stays(self):
        self.assertEqual(soak.flat(self.samples(memory=17200)), [])

    def test_finds_whatever_has_grown(self):
        for name in ("objects", "descriptors", "children", "timers", "memory"):
            grown = self.samples(**{name: getattr(self.samples()[0], name) + 300})
            self.assertEqual([text.split(":")[0] for text in soak.flat(grown)], [name])


if __name__ == "__main__":
    unittest.main()
