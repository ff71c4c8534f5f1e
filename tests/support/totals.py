"""Whether a call leaves the interpreter's total of references and its memory as they were.

Runs in the interpreter of the preset debug or asan only: the others do not count.
"""

import array
import faults
import gc
import sys

#: How often a call may leave more than it found, before it counts as a loss: caches fill. First
#: with the quick collection, that of the youngest objects; then with the whole one, which also
#: gives back the freed objects that the interpreter keeps for new ones, but takes long.
TRIES = [0] * 4 + [2] * 100


def totals(generation):
    """Return the references and the bytes that the process has, after collecting garbage."""
    sys.exc_clear()
    gc.collect(generation)
    # Not a list: it would hold references itself.
    return array.array("l", (sys.gettotalrefcount(), faults.held()))


def loss(call):
    """Call again and again; return what each call leaves behind, as text, or None.

    A call that once leaves no more than it found has lost nothing: what is lost each time shows
    each time. With the whole collection it takes two calls in a row: the first may give back what
    earlier calls have left, and so hide what one loses.
    """
    clean = 0
    gc.disable()
    try:
        call()
        for generation in TRIES:
            before = totals(generation)
            call()
            after = totals(generation)
            clean = clean + 1 if after[0] <= before[0] and after[1] <= before[1] else 0
            if clean and (clean > 1 or generation == 0):
                return None
    finally:
        gc.enable()
    return "each call leaves %d references and %d bytes more" % (
        after[0] - before[0], after[1] - before[1])
