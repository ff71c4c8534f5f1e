"""Screens that wait until no other is open."""

notifications = []  # (callback, screen class, arguments, keyword arguments)
notificationAdded = []  # functions to call after one was put in


def AddNotificationWithCallback(fnc, screen, *args, **kwargs):
    """Queue screen(session, *args, **kwargs); fnc gets what it closes with.

    A message box takes its simple layout.
    """
    if screen.__name__ == "MessageBox":
        kwargs["simple"] = True
    notifications.append((fnc, screen, args, kwargs))
    for function in notificationAdded[:]:
        function()
