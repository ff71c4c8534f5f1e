"""The host's settings. Assigning a value changes it; only save() keeps it."""


class ConfigElement(object):

    def __init__(self, default):
        self.value = default
        self.saved_value = default

    def save(self):
        self.saved_value = self.value


class ConfigSubsection(object):
    """A branch of the tree of settings; its entries are attributes."""


config = ConfigSubsection()


def initUsageConfig(check_for_updates, show_notification):
    """Put the settings of `config.usage` at their values after a boot.

    check_for_updates: hours between two checks, 0 for none; show_notification: ask the user?
    """
    config.usage = ConfigSubsection()
    config.usage.check_for_updates = ConfigElement(check_for_updates)
    config.usage.show_notification_for_updates = ConfigElement(show_notification)
    config.usage.update_available = ConfigElement(False)
