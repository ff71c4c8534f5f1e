"""tools/python27: which interpreter it prints, which it refuses, what it takes for whole."""

import os
import subprocess
import sys
import unittest

from tests.desk.machine import PROJECT, directory, run, write

# Prints what tools/python27 asks an interpreter for, whatever it is asked.
PRETENDER = "#!/bin/sh\nprintf '%s'\n"


class Given(unittest.TestCase):
    """KELVARO_PYTHON names an interpreter."""

    def assert_refused(self, path):
        result = run("tools/python27", KELVARO_PYTHON=path)
        self.assertEqual((result.status, result.stdout), (2, ""))
        self.assertEqual(result.stderr.count("\n"), 1)
        self.assertIn("KELVARO_PYTHON=%s is not" % path, result.stderr)
        self.assertIn("UCS-2", result.stderr)

    def test_a_fitting_one_is_printed_and_nothing_else(self):
        result = run("tools/python27", KELVARO_PYTHON=sys.executable)
        self.assertEqual(result, (0, sys.executable + "\n", ""))

    def test_a_ucs4_one_is_refused_in_one_sentence(self):
        with directory() as here:
            write(here + "/python", PRETENDER % "2.7 10ffff", 0o755)
            self.assert_refused(here + "/python")

    def test_a_python_3_is_refused_in_one_sentence(self):
        with directory() as here:
            write(here + "/python", PRETENDER % "3.11 10ffff", 0o755)
            self.assert_refused(here + "/python")

    def test_one_that_does_not_run_is_refused_in_one_sentence(self):
        with directory() as here:
            write(here + "/python", "#!/bin/sh\nexit 1\n", 0o755)
            self.assert_refused(here + "/python")
            self.assert_refused(here + "/missing")

    def test_the_build_refuses_an_unfit_one_too(self):
        with directory() as here:
            write(here + "/python", "#!/bin/sh\nprintf '2.7;10ffff;/usr/include'\n", 0o755)
            result = run("cmake", "-S", PROJECT, "-B", here + "/build",
                         "-DKELVARO_PYTHON=%s/python" % here)
            self.assertNotEqual(result.status, 0)
            self.assertIn("name a Python 2.7 interpreter (UCS-2 build)",
                          " ".join(result.stderr.split()))


class Kept(unittest.TestCase):
    """The interpreter that it has made itself, in the cache."""

    def key(self):
        # The cached one, whose directory carries the recipe's key.
        path = run("tools/python27", KELVARO_PYTHON=None).stdout
        return path.split("/")[-3]

    def cached(self, cache, text):
        path = os.path.join(cache, "kelvaro", self.key(), "bin", "python2.7")
        write(path, text, 0o755)
        return path

    def test_is_printed_at_once_and_runs(self):
        result = run("tools/python27", KELVARO_PYTHON=None)
        self.assertEqual((result.status, result.stderr), (0, ""))
        self.assertEqual(subprocess.check_output(
            [result.stdout.rstrip("\n"), "-c", "import sys; print(hex(sys.maxunicode))"]),
            "0xffff\n")

    def test_lies_below_the_users_cache_directory(self):
        with directory() as here:
            path = self.cached(here, PRETENDER % "2.7 ffff")
            result = run("tools/python27", KELVARO_PYTHON=None, XDG_CACHE_HOME=here)
            self.assertEqual(result, (0, path + "\n", ""))

    def test_a_half_made_one_is_not_taken_for_whole(self):
        # Without a network to make another from: proxies that are not there.
        dead = "http://127.0.0.1:9"
        with directory() as here:
            self.cached(here, "#!/bin/sh\nexit 1\n")
            result = run("tools/python27", KELVARO_PYTHON=None, XDG_CACHE_HOME=here,
                         http_proxy=dead, https_proxy=dead)
            self.assertEqual((result.status, result.stdout), (1, ""))
            self.assertIn("could not be fetched", result.stderr)
            self.assertEqual([name for name in os.listdir(here + "/kelvaro") if "work" in name], [])

    def test_another_run_is_waited_for_and_its_result_taken(self):
        with directory() as here:
            os.mkdir(here + "/kelvaro")
            holder = subprocess.Popen(["flock", here + "/kelvaro/python27.lock", "cat"],
                                      stdin=subprocess.PIPE)
            environment = dict(os.environ, XDG_CACHE_HOME=here)
            environment.pop("KELVARO_PYTHON", None)
            try:
                while subprocess.call(["flock", "--nonblock", here + "/kelvaro/python27.lock",
                                       "true"]) == 0:
                    pass  # until the holder has it
                second = subprocess.Popen([PROJECT + "/tools/python27"], env=environment,
                                          stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                said = second.stderr.readline()
                path = self.cached(here, PRETENDER % "2.7 ffff")
            finally:
                holder.communicate()
            self.assertEqual(second.communicate()[0], path + "\n")
            self.assertIn("another run is at work", said)


if __name__ == "__main__":
    unittest.main()
