"""Actions of a screen: it hears the keys of its contexts while the screen is in front."""

import keymap


class ActionMap(object):

    def __init__(self, contexts=[], actions={}, prio=0):
        self.contexts = contexts
        self.actions = actions
        self.prio = prio
        self.order = keymap.place()

    def action(self, context, action):
        """Do `action`; False when it is not here or its function gave a false value but None."""
        if action not in self.actions:
            return False
        result = self.actions[action]()
        return result is None or bool(result)

    def execBegin(self):
        keymap.bind(self)

    def execEnd(self):
        keymap.unbind(self)

    def destroy(self):
        keymap.unbind(self)
        self.actions = {}
