"""The receiver at a terminal takes keys, and puts the terminal back as it was."""

import os
import pty
import select
import shutil
import subprocess
import sys
import tempfile
import termios
import time
import unittest

CRASH = "A receiver would restart its GUI here:"
NEWS = ("<news><update type='urgent'><title>Erste</title></update>"
        "<update><title>Zweite</title></update></news>")


class TerminalTest(unittest.TestCase):

    def start(self, news):
        feed = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, feed)
        with open(os.path.join(feed, "zirknews.xml"), "w") as document:
            document.write(news)
        self.master, self.slave = pty.openpty()
        self.addCleanup(os.close, self.master)
        self.addCleanup(os.close, self.slave)
        self.mode = termios.tcgetattr(self.slave)
        self.seen = ""
        self.process = subprocess.Popen(
            [sys.executable, "-O", "-m", "simulator", "--feed", feed],
            stdin=self.slave, stdout=self.slave, stderr=self.slave, close_fds=True)
        self.addCleanup(self.end)

    def end(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()

    def wait_for(self, text):
        """Read until `text` is drawn; what came before it is not looked at again."""
        deadline = time.time() + 10
        while text not in self.seen:
            self.assertTrue(time.time() < deadline and CRASH not in self.seen,
                            "no %r in %s" % (text, self.seen))
            if select.select([self.master], [], [], 0.1)[0]:
                self.seen += os.read(self.master, 65536)
        self.seen = self.seen.split(text, 1)[1]

    def status(self):
        """Wait for its end, which a broken module may never let come; return its exit status."""
        deadline = time.time() + 10
        while self.process.poll() is None:
            self.assertLess(time.time(), deadline, "it does not end")
            time.sleep(0.01)
        return self.process.returncode

    def test_keys_work_and_the_mode_is_put_back(self):
        self.start(NEWS)
        self.wait_for("> [!] Erste")
        for key, text in [("\x1b[B", "> [ ] Zweite"), ("\r", "(red) Close"),
                          ("b", "Upgradable Packages"), ("", "up to date"), ("\x1b", "Top 20"),
                          ("g", "Software update"), ("q", "> [ ] Zweite"), ("h", "up for 1:00:"),
                          ("q", "(television picture)"), ("n", "> [!] Erste"),
                          ("q", "(television picture)")]:
            os.write(self.master, key)
            self.wait_for(text)
        self.assertNotEqual(termios.tcgetattr(self.slave), self.mode)
        os.write(self.master, "q")
        self.assertEqual(self.status(), 0)
        self.assertEqual(termios.tcgetattr(self.slave), self.mode)

    def test_the_mode_is_put_back_after_a_signal(self):
        self.start(NEWS)
        self.wait_for("> [!] Erste")
        self.process.terminate()
        self.assertEqual(self.status(), 128 + 15)
        self.assertEqual(termios.tcgetattr(self.slave), self.mode)

    def test_an_uncaught_exception_is_shown_and_called_a_restart(self):
        self.start("<news><update/></news>")
        self.wait_for(CRASH)
        self.wait_for("IndexError")
        os.write(self.master, "qq")
        self.assertEqual(self.status(), 0)
