"""tools/sandbox: what a command sees in there, and that nothing of it comes out."""

import contextlib
import os
import pty
import select
import signal
import socket
import subprocess
import time
import unittest

from tests.support.machine import PROJECT, directory, run, write

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


def works(*command):
    """Tell whether the kernel lets a bare command of bubblewrap or proot do its work here."""
    return run(*command).status == 0


BWRAP_WORKS = works("bwrap", "--unshare-user", "--unshare-pid", "--ro-bind", "/", "/",
                    "--proc", "/proc", "true")
PROOT_WORKS = works("proot", "-r", "/", "true")


class Means(object):
    """The tests for each of the means."""

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

    def test_the_shell_tools_are_those_of_busybox(self):
        self.assertIn("BusyBox", self.output("busybox | head -n1"))
        self.assertEqual(self.output("echo first second | cut -f'0' -d ' '"), "first\n")

    def test_opkg_is_the_stand_in_and_can_be_taken_away(self):
        self.assertIn("opkg version", self.output("opkg --version"))
        self.assertEqual(self.sandbox("sh", "-c", "rm /usr/bin/opkg && opkg --version").status, 127)

    def test_python_is_the_ucs2_interpreter(self):
        self.assertEqual(
            self.output("python2.7 -c 'import sys; print(sys.version_info[:2], sys.maxunicode)'"),
            "((2, 7), 65535)\n")

    def test_the_module_can_be_read(self):
        self.assertEqual(self.output("echo $KELVARO_ROOT; ls $KELVARO_MODULE"),
                         "%s\n%s/build/native/Kelvaro.so\n" % (PROJECT, PROJECT))

    def test_the_environment_is_small_and_the_callers_own_names_get_through(self):
        result = self.sandbox("sh", "-c", "env", KELVARO_EXAMPLE="seen", SECRET="unseen")
        self.assertIn("KELVARO_EXAMPLE=seen\n", result.stdout)
        self.assertNotIn("SECRET", result.stdout)
        self.assertIn("HOME=/root\n", result.stdout)

    def test_the_command_can_tell_the_means(self):
        self.assertEqual(self.output("echo $KELVARO_SANDBOX"), self.means + "\n")

    def test_the_exit_status_is_the_commands(self):
        self.assertEqual(self.sandbox("sh", "-c", "exit 7").status, 7)

    def test_the_exit_status_tells_the_signal_that_ended_it(self):
        self.assertEqual(self.sandbox("sh", "-c", "kill -TERM $$").status, 128 + 15)

    def test_output_and_errors_come_apart(self):
        self.assertEqual(self.sandbox("sh", "-c", "echo out; echo err >&2"), (0, "out\n", "err\n"))

    def test_a_directory_can_be_lent(self):
        with directory() as here:
            result = self.sandbox("--writable", here, "sh", "-c", "echo text > %s/file" % here)
            self.assertEqual(result.status, 0)
            with open(here + "/file") as stream:
                self.assertEqual(stream.read(), "text\n")

    def test_a_readable_directory_is_seen_where_it_lies(self):
        with directory() as here:
            write(here + "/file", "text\n")
            result = self.sandbox("--readable", here, "cat", here + "/file")
            self.assertEqual((result.status, result.stdout), (0, "text\n"))

    def test_a_directory_that_would_hide_its_own_is_not_lent(self):
        for own in ("/", "/tmp", "/etc", "/usr", "/usr/bin", "/proc"):
            for option in ("--readable", "--writable"):
                result = self.sandbox(option, own, "true")
                self.assertEqual((result.status, result.stdout), (2, ""))
                self.assertRegexpMatches(result.stderr, r"\Asandbox: %s can't be .*\.\n\Z" % own)

    def test_nothing_is_left_behind(self):
        with directory() as here:
            self.assertEqual(self.sandbox("sh", "-c", "mkdir -p /tmp/a/b; chmod 0 /tmp/a",
                                          TMPDIR=here).status, 0)
            self.assertEqual(os.listdir(here), [])

    def test_what_still_runs_ends_with_the_command(self):
        with directory() as here:
            self.sandbox("--writable", here, "sh", "-c",
                         "(sleep 1; echo > %s/late) >/dev/null 2>&1 & exit 0" % here)
            run("sleep", "1.3")
            self.assertEqual(os.listdir(here), [])

    def test_standard_input_is_the_callers(self):
        with directory() as here:
            with open(here + "/in", "w+") as stream:
                stream.write("text")
                stream.flush()
                stream.seek(0)
                environment = dict(os.environ, KELVARO_SANDBOX=self.means)
                self.assertEqual(subprocess.check_output(
                    [PROJECT + "/tools/sandbox", "cat"], stdin=stream, env=environment), "text")

    def test_servers_on_loopback_can_be_reached(self):
        with contextlib.closing(socket.socket()) as server:
            server.bind(("127.0.0.1", 0))
            server.listen(1)
            self.output("nc 127.0.0.1 %d </dev/null & sleep 0.3" % server.getsockname()[1])
            server.settimeout(1)
            server.accept()[0].close()

    def test_a_request_to_end_ends_all_that_runs_and_leaves_nothing(self):
        for number in (signal.SIGTERM, signal.SIGHUP):
            with directory() as here, directory() as lent:
                environment = dict(os.environ, KELVARO_SANDBOX=self.means, TMPDIR=here)
                child = subprocess.Popen(
                    [PROJECT + "/tools/sandbox", "--writable", lent, "sh", "-c",
                     "echo; { sleep 1; echo > %s/late; } & wait" % lent],
                    env=environment, stdout=subprocess.PIPE)
                child.stdout.readline()  # it runs
                child.send_signal(number)
                child.communicate()
                self.assertIn(child.returncode, (-number, 128 + number))
                time.sleep(1.2)
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

    def test_a_program_that_is_missing_is_named(self):
        result = self.sandbox("nosuch")
        self.assertEqual(result.status, 127)
        self.assertIn("nosuch", result.stderr)


# A kernel, or a container, may refuse one of them.
if BWRAP_WORKS:
    class Bubblewrap(Means, unittest.TestCase):

        means = "bwrap"

        def test_the_project_and_the_interpreter_cannot_be_changed(self):
            result = run("tools/sandbox", "sh", "-c",
                         'for file in "$KELVARO_ROOT/test" "$KELVARO_PYTHON" /usr/bin/busybox '
                         '"$(readlink /usr/lib64/ld-linux*)"; do chmod a+x "$file"; done',
                         KELVARO_SANDBOX="bwrap")
            self.assertEqual(result.stdout, "")
            self.assertEqual(result.stderr.count("Read-only file system"), 4, result.stderr)

        def test_the_directory_for_temporary_files_can_be_full(self):
            result = self.sandbox("sh", "-c", "cat /dev/zero > /tmp/zeros; wc -c < /tmp/zeros")
            self.assertEqual(result, (0, "%d\n" % (64 << 20),
                                      "cat: write error: No space left on device\n"))

if PROOT_WORKS:
    class Proot(Means, unittest.TestCase):

        means = "proot"


class Words(unittest.TestCase):

    def test_a_command_is_asked_for(self):
        result = run("tools/sandbox")
        self.assertEqual((result.status, result.stdout), (2, ""))
        self.assertEqual(result.stderr.count("\n"), 1)

    def test_there_is_one_that_works(self):
        self.assertEqual(run("tools/sandbox", "true", KELVARO_SANDBOX=None), (0, "", ""))

    def test_means_that_do_not_work_are_refused_in_one_sentence(self):
        with directory() as here:
            for program in ("bash", "env", "dirname", "realpath"):
                os.symlink("/usr/bin/" + program, os.path.join(here, program))
            for means in ("bwrap", "proot"):
                result = run("tools/sandbox", "true", KELVARO_SANDBOX=means, PATH=here)
                self.assertEqual((result.status, result.stdout), (2, ""))
                self.assertRegexpMatches(result.stderr, r"\Asandbox: %s, .*\n\Z" % means)
            result = run("tools/sandbox", "true", KELVARO_SANDBOX=None, PATH=here)
            self.assertEqual((result.status, result.stdout), (2, ""))
            self.assertRegexpMatches(result.stderr, r"\Asandbox: neither .*\n\Z")

    def test_an_unknown_means_is_refused_in_one_sentence(self):
        result = run("tools/sandbox", "true", KELVARO_SANDBOX="magic")
        self.assertEqual(result.status, 2)
        self.assertEqual(result.stderr, "sandbox: KELVARO_SANDBOX=magic is neither bwrap nor "
                                        "proot.\n")


if __name__ == "__main__":
    unittest.main()
