"""Imports the module or its model on a host that notes each search, loading and attribute read.

With them it notes what the module has bound by then. Each of these operations can be made to fail.
"""

import contextlib
import sys
import types

from tests.support import recording
from tests.support.recording import HostModules, Recorder
from tests.support.twins import ERRORS


def record_import(load, changes=(), hidden=(), fail_at=0, error=ERRORS[0], in_handler=False,
                  then=None):
    """Import one implementation on the recording host; returns the Recorder.

    changes: of the host's modules, see HostModules. hidden: names of other modules to hide (see
    hide). in_handler: import while another exception is being handled. then: a function that is
    tried with the module.
    """
    recorder = Recorder(fail_at, error)
    module = None
    with only_the_library(), HostModules(changes), recording.Translation(), hide(hidden):
        if in_handler:
            try:
                raise LookupError("being handled")
            except LookupError:
                module = attempt(recorder, load)
        else:
            module = attempt(recorder, load)
        recorder.outcomes.append(sorted(
            path for path in sys.modules if path.split(".")[0] in ("Kelvaro", "plugins")))
        if module is not None:
            names = vars(module)
            recorder.outcomes.append((module.__name__, [
                (name, recorder.describe(names[name]), getattr(names[name], "__module__", None),
                 recorder.describe(getattr(names[name], "__bases__", None)))
                for name in sorted(names) if name[:2] != "__"]))
            if then is not None:
                attempt(recorder, lambda: then(module))
    module = None
    sys.exc_clear()
    recorder.forget()
    return recorder


def attempt(recorder, load):
    """Call `load` and record the outcome; returns its result or None."""
    try:
        with recorder:
            module = load()
    except:  # noqa: E722 - every kind of failure is an outcome
        kind, value, traceback = sys.exc_info()
        entries = [entry for entry in recording.traceback_entries(traceback)
                   if entry[0] in ("Kelvaro", "recording.py")]
        recorder.outcomes.append((kind.__name__, recorder.describe(value), entries))
        return None
    recorder.outcomes.append(recorder.describe_state(sys.exc_info()) is None)
    return module


@contextlib.contextmanager
def only_the_library():
    """Within it, the simulated receiver's modules are not found."""
    saved = list(sys.path)
    sys.path[:] = [path for path in saved if path.startswith(sys.prefix)]
    try:
        yield
    finally:
        sys.path[:] = saved


@contextlib.contextmanager
def hide(modules):
    """Within it, standard modules lack names: path -> name, or None for the whole module."""
    saved = dict(sys.modules)
    for path, name in dict(modules).items():
        replacement = None
        if name is not None:
            replacement = types.ModuleType(path)
            vars(replacement).update(vars(sys.modules[path]))
            delattr(replacement, name)
        sys.modules[path] = replacement
    try:
        yield
    finally:
        for path in dict(modules):
            sys.modules[path] = saved[path]
