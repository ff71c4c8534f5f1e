"""tools/sandbox: what a command sees in there, and that nothing of it comes out."""

import os
import pty
import select
import signal
import subprocess
import unittest

from tests.support.machine import PROJECT, directory, run

# Tidies up when it is interrupted, as the terminal view does.
TIDY = r"""
import signal, sys, time
try:
    sys.stdout.write("ready\n")
    sys.stdout.flush()
    while True:
        time.sleep(0.1)
except KeyboardInterrupt:
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    time.sleep(0.3)
    print("tidied")
    sys.exit(5)
"""


class EitherWay(object):
    """The tests with bubblewrap and with proot, whose name is `means`."""

    def sandbox(self, *command, **environment):
        return run("tools/sandbox", *command, KELVARO_SANDBOX=self.means, **environment)

    def output(self, line):
        result = self.sandbox("sh", "-c", line)
        self.assertEqual(result.status, 0, result)
        return result.stdout

    def test_the_files_of_the_machine_stay_as_they_are(self):
        marks = ["/tmp/kelvaro-mark", "/etc/kelvaro-mark", "/etc/opkg/kelvaro-mark",
                 "/usr/bin/kelvaro-mark", "/usr/lib/kelvaro-mark", "/var/kelvaro-mark"]
        self.output("for mark in %s; do echo > $mark || exit 1; done" % " ".join(marks))
        self.assertEqual([mark for mark in marks if os.path.exists(mark)], [])

    def test_nothing_of_the_machine_is_in_the_private_places(self):
        with directory() as here:
            self.assertEqual(self.output("ls -d %s 2>&1 || true" % here),
                             "ls: %s: No such file or directory\n" % here)
        self.assertEqual(self.output("ls -A /etc/opkg /var/lib"), "/etc/opkg:\n\n/var/lib:\n")

    def test_the_environment_is_small_and_the_callers_own_names_get_through(self):
        result = self.sandbox("sh", "-c", "env", KELVARO_EXAMPLE="seen", SECRET="unseen")
        self.assertIn("KELVARO_EXAMPLE=seen\n", result.stdout)
        self.assertNotIn("SECRET", result.stdout)
        self.assertIn("HOME=/root\n", result.stdout)

    def test_the_exit_status_is_the_commands_or_tells_the_signal_that_ended_it(self):
        self.assertEqual(self.sandbox("sh", "-c", "echo out; echo err >&2; exit 7"),
                         (7, "out\n", "err\n"))
        self.assertEqual(self.sandbox("sh", "-c", "kill -TERM $$").status, 128 + 15)
        result = self.sandbox("nosuch")
        self.assertEqual(result.status, 127)
        self.assertIn("nosuch", result.stderr)

    def test_a_directory_that_would_hide_its_own_is_not_lent(self):
        for own in ("/", "/tmp", "/etc", "/usr/bin", "/proc"):
            result = self.sandbox("--readable", own, "true")
            self.assertEqual((result.status, result.stdout), (2, ""))
            self.assertRegexpMatches(result.stderr, r"\Asandbox: %s can't be .*\.\n\Z" % own)

    # The output, which is waited for, ends when the last process that has it does.

    def test_nothing_is_left_over_and_what_still_runs_ends_with_the_command(self):
        with directory() as here, directory() as lent:
            self.assertEqual(self.sandbox(
                "--writable", lent, "sh", "-c", "mkdir -p /tmp/a/b; chmod 0 /tmp/a; "
                "(sleep 5; echo > %s/late) & exit 0" % lent, TMPDIR=here).status, 0)
            self.assertEqual((os.listdir(here), os.listdir(lent)), ([], []))

    def test_a_request_to_end_ends_all_that_runs_and_leaves_nothing(self):
        for number in (signal.SIGTERM, signal.SIGHUP):
            with directory() as here, directory() as lent:
                environment = dict(os.environ, KELVARO_SANDBOX=self.means, TMPDIR=here)
                child = subprocess.Popen(
                    [PROJECT + "/tools/sandbox", "--writable", lent, "sh", "-c",
                     "echo; { sleep 5; echo > %s/late; } & wait" % lent],
                    env=environment, stdout=subprocess.PIPE)
                child.stdout.readline()  # it runs
                child.send_signal(number)
                child.communicate()
                self.assertIn(child.returncode, (-number, 128 + number))
                self.assertEqual((os.listdir(here), os.listdir(lent)), ([], []))

    def test_the_interrupt_key_is_for_the_command_alone(self):
        child, terminal = pty.fork()
        if child == 0:
            os.environ["KELVARO_SANDBOX"] = self.means
            os.execl(PROJECT + "/tools/sandbox", "sandbox", "python2.7", "-c", TIDY)
        output = ""
        try:
            while True:
                if select.select([terminal], [], [], 0.5)[0]:
                    output += os.read(terminal, 1000)
                if "ready" in output and "\x03" not in output and "^C" not in output:
                    os.write(terminal, "\x03")
        except OSError:  # the terminal's other side is closed
            os.close(terminal)
        self.assertIn("tidied", output)
        self.assertEqual(os.WEXITSTATUS(os.waitpid(child, 0)[1]), 5)


# A kernel, or a container, may refuse one of them.
if run("bwrap", "--unshare-user", "--unshare-pid", "--ro-bind", "/", "/", "--proc", "/proc",
       "true").status == 0:
    class Bubblewrap(EitherWay, unittest.TestCase):

        means = "bwrap"

        def test_the_project_and_the_interpreter_cannot_be_changed(self):
            result = self.sandbox(
                "sh", "-c", 'for file in "$KELVARO_ROOT/test" "$KELVARO_PYTHON" /usr/bin/busybox '
                '"$(readlink /usr/lib64/ld-linux*)"; do chmod a+x "$file"; done')
            self.assertEqual(result.stdout, "")
            self.assertEqual(result.stderr.count("Read-only file system"), 4, result.stderr)

        def test_the_directory_for_temporary_files_can_be_full(self):
            result = self.sandbox("sh", "-c", "cat /dev/zero > /tmp/zeros; wc -c < /tmp/zeros")
            self.assertEqual(result, (0, "%d\n" % (64 << 20),
                                      "cat: write error: No space left on device\n"))

if run("proot", "-r", "/", "true").status == 0:
    class Proot(EitherWay, unittest.TestCase):

        means = "proot"


class Refusals(unittest.TestCase):

    def test_without_a_command_or_a_way_to_isolate_it_one_sentence_says_so(self):
        with directory() as here:
            for program in ("bash", "env", "dirname", "realpath"):
                os.symlink("/usr/bin/" + program, os.path.join(here, program))
            for means, path, command, sentence in (
                    (None, os.environ["PATH"], [], "name the command"),
                    (None, here, ["true"], "neither bubblewrap nor proot works"),
                    ("bwrap", here, ["true"], "bwrap, which KELVARO_SANDBOX names, is not"),
                    ("proot", here, ["true"], "proot, which KELVARO_SANDBOX names, is not"),
                    ("magic", here, ["true"], "KELVARO_SANDBOX=magic is neither")):
                result = run("tools/sandbox", *command, KELVARO_SANDBOX=means, PATH=path)
                self.assertEqual((result.status, result.stdout), (2, ""))
                self.assertRegexpMatches(result.stderr, r"\Asandbox: %s.*\n\Z" % sentence)
