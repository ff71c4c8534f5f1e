"""The key map: which action each key is in each context."""

import itertools

CONTEXTS = {
    "ColorActions": {"red": "red", "green": "green", "yellow": "yellow", "blue": "blue"},
    "OkCancelActions": {"ok": "ok", "cancel": "cancel"},
    "SetupActions": {"ok": "ok", "cancel": "cancel", "red": "cancel", "green": "save",
                     "left": "left", "right": "right"},
    "EventViewActions": {"ok": "ok", "cancel": "cancel", "left": "prevEvent",
                         "right": "nextEvent", "up": "pageUp", "down": "pageDown",
                         "pageUp": "pageUp", "pageDown": "pageDown", "info": "info"},
    "MsgBoxActions": {"ok": "ok", "cancel": "cancel", "up": "up", "down": "down"},
    "ListboxActions": {"up": "moveUp", "down": "moveDown", "left": "pageUp",
                       "right": "pageDown", "pageUp": "pageUp", "pageDown": "pageDown"},
    "NumberActions": dict(zip("1234567890", "1234567890")),
}
KEYS = ["ok", "cancel", "red", "green", "yellow", "blue", "up", "down", "left", "right",
        "pageUp", "pageDown", "info", "menu"] + list("1234567890")

_made = itertools.count()
_bound = []  # what listens now: objects with `prio`, `order`, `contexts` and action()


def place():
    """The place of a new listener in the order of making."""
    return next(_made)


def bind(listener):
    """Let `listener` see keys; a lower `prio` first, then the order of making."""
    _bound.append(listener)
    _bound.sort(key=lambda one: (one.prio, one.order))


def unbind(listener):
    _bound[:] = [one for one in _bound if one is not listener]


def reset():
    del _bound[:]


def press(key):
    """Send `key` through what listens; True when one of them took it."""
    if key not in KEYS:
        raise ValueError("there is no key '%s' on the remote control" % key)
    for listener in list(_bound):
        for context in listener.contexts:
            action = CONTEXTS.get(context, {}).get(key)
            if action is not None and listener.action(context, action):
                return True
    return False
