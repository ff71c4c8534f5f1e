"""How many of the generated cases run. All of them on this machine's interpreter; where a run is
slow (in emulation, with sanitizers), KELVARO_ONE_IN=N takes each N-th."""

import os

ONE_IN = int(os.environ.get("KELVARO_ONE_IN", "1"))


def sampled(cases):
    """Return the list of the cases to run; the first is always among them."""
    return list(cases)[::ONE_IN]
