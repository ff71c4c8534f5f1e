"""The event loop of the simulated receiver: virtual time, timers and commands."""

import collections
import errno
import itertools
import select
import time
import traceback
import weakref

TURN = 0.1  # real seconds


class StillRunning(RuntimeError):
    """A command took longer than the loop's patience."""


class Loop(object):
    """One queue of things to do, in virtual time.

    Nothing happens by itself: somebody calls run_due, settle, pass_time or poll. An exception
    that leaves a callback is noted in `errors` and, with `raise_errors`, handed to that caller.
    """

    def __init__(self):
        self.reset()

    def reset(self):
        """Forget everything, as at a boot."""
        for command in getattr(self, "running", []):
            command.abandon()
        self.now = 0  # virtual milliseconds since the boot
        self.patience = 20.0  # real seconds that a command may take
        self.held = False  # True: commands do not finish by themselves
        self.raise_errors = True
        self.errors = []  # tracebacks of uncaught exceptions, as text
        self.commands = []  # every command line that was started
        self.running = []  # the containers whose command has not ended, in order of start
        self._soon = collections.deque()
        self._timers = weakref.WeakSet()  # armed; a timer lives as long as its owner keeps it
        self._starts = itertools.count()

    def call(self, function, *args):
        """Call `function` as the host does; return its result, None if it failed quietly."""
        try:
            return function(*args)
        except Exception:
            self.errors.append(traceback.format_exc())
            if self.raise_errors:
                raise

    def call_soon(self, function, *args):
        """Call `function` on the next turn, in the same virtual instant."""
        self._soon.append((function, args))

    # Timers: objects with `due` (virtual milliseconds), `order` and fire().

    def arm(self, timer, milliseconds):
        timer.due = self.now + milliseconds
        timer.order = next(self._starts)
        self._timers.add(timer)

    def disarm(self, timer):
        self._timers.discard(timer)

    def armed_timers(self):
        """The live, armed timers in the order in which they will fire."""
        return sorted(self._timers, key=lambda timer: (timer.due, timer.order))

    # Passing time.

    def run_due(self):
        """Do everything that is due in this virtual instant, without waiting for commands."""
        for _ in xrange(10000):
            if self._soon:
                function, args = self._soon.popleft()
                self.call(function, *args)
                continue
            if not self._fire_next():
                return
        raise RuntimeError("the loop does not come to rest at %d ms" % self.now)

    def _fire_next(self):
        # A function of its own: no variable keeps a timer alive after its owner let it go.
        timers = self.armed_timers()[:1]
        if not timers or timers[0].due > self.now:
            return False
        self.call(timers[0].fire)
        return True

    def settle(self):
        """Do everything that is due, wait for commands (unless held), do what follows."""
        self.run_due()
        while self.running and not self.held:
            self.finish(self.running[0])

    def pass_time(self, seconds):
        """Let virtual time pass; commands take none of it."""
        end = self.now + int(round(seconds * 1000))
        self.settle()
        while True:
            due = [timer.due for timer in self.armed_timers()[:1]]
            if not due or due[0] > end:
                break
            self.now = max(self.now, due[0])
            self.settle()
        self.now = end

    def live(self, seconds):
        """Let virtual time pass while commands run: what they bring now is delivered first."""
        self.poll()
        held, self.held = self.held, True
        try:
            self.pass_time(seconds)
        finally:
            self.held = held

    def turns(self, descriptor, speed):
        """Let virtual time pass with the real one, `speed` times as fast, and yield at each turn.

        What is yielded is whether the descriptor can be read; None after a signal.
        """
        before = time.time()
        while True:
            try:
                ready = descriptor in select.select([descriptor] + self.running, [], [], TURN)[0]
            except select.error as e:
                if e.args[0] != errno.EINTR:
                    raise
                ready = None
            now = time.time()
            self.live((now - before) * speed)
            before = now
            yield ready
            if ready:
                before = time.time()  # what was read has blocked the loop meanwhile

    # Commands: containers with `command`, fileno() and receive().

    def started(self, container):
        self.commands.append(container.command)
        self.running.append(container)

    def ended(self, container):
        self.running = [other for other in self.running if other is not container]

    def finish(self, container):
        """Wait for this command's end, deliver it, and do what follows."""
        deadline = time.time() + self.patience
        while any(container is other for other in self.running):
            if not _readable([container], deadline - time.time()):
                raise StillRunning("the command '%s' is still running after %g seconds"
                                   % (container.command, self.patience))
            self.call(container.receive)
        self.run_due()

    def poll(self):
        """Deliver what commands have printed and their ends, without waiting."""
        if not self.held:
            for container in _readable(self.running, 0):
                if container.running():  # an earlier one's callback may have killed it
                    self.call(container.receive)
        self.run_due()


def _readable(containers, seconds):
    try:
        return select.select(containers, [], [], max(0, seconds))[0]
    except select.error as e:
        if e.args[0] == errno.EINTR:
            return []
        raise


main_loop = Loop()
