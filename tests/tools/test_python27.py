"""tools/python27: which interpreter it prints, which it refuses, what it takes for whole."""

import os
import re
import subprocess
import sys
import unittest

from tests.support.machine import directory, run, write

# Prints what tools/python27 asks an interpreter for, whatever it is asked.
PRETENDER = "#!/bin/sh\nprintf '%s'\n"


class Given(unittest.TestCase):
    """KELVARO_PYTHON names an interpreter."""

    def test_a_fitting_one_is_printed_and_nothing_else(self):
        result = run("tools/python27", KELVARO_PYTHON=sys.executable)
        self.assertEqual(result, (0, sys.executable + "\n", ""))

    def test_an_unfit_or_missing_one_is_refused_in_one_sentence(self):
        with directory() as here:
            path = here + "/python"
            for text in (PRETENDER % "2.7 10ffff", PRETENDER % "3.11 10ffff", "#!/bin/sh\nexit 1\n",
                         None):
                if text is None:
                    os.remove(path)
                else:
                    write(path, text, 0o755)
                result = run("tools/python27", KELVARO_PYTHON=path)
                self.assertEqual((result.status, result.stdout), (2, ""))
                self.assertRegexpMatches(
                    result.stderr, r"\A.*KELVARO_PYTHON=%s is not .* UCS-2 .*\n\Z" % path)


# A source that is built in no time. Its configure counts the builds and can be made to fail.
CONFIGURE = r"""#!/bin/sh
echo built >>"$KELVARO_MARKS/builds"
test ! -e "$KELVARO_MARKS/broken" || { echo 'no such luck'; exit 1; }
for argument; do
  case $argument in --prefix=*) bin='$(DESTDIR)'${argument#*=}/bin ;; esac
done
printf 'all:\n\tsleep 0.5\ninclinstall libinstall libainstall sharedinstall:\n' >Makefile
printf "altbininstall:\n\tmkdir -p $bin\n\tcp pretender $bin/python2.7\n" >>Makefile
"""
# No Debian mirror has the source; its makers hand out the one above.
APT_GET = "#!/bin/sh\nexit 1\n"
# All packages are there.
DPKG_QUERY = """#!/bin/sh
for package; do echo "installed $package"; done
"""
APT_HELPER = r"""#!/bin/sh
printf '%s\n' "$@" >"$KELVARO_MARKS/asked"
while [ "$1" != download-file ]; do shift; done
cp "$KELVARO_MARKS/source.tar" "$3"
"""


class Made(unittest.TestCase):
    """How it makes one, with a source and with servers of the test's own."""

    def setUp(self):
        context = directory()
        self.here = context.__enter__()
        self.addCleanup(context.__exit__, None, None, None)
        for name, text in (("source/configure", CONFIGURE), ("source/setup.py", ""),
                           ("source/pretender", PRETENDER % "2.7 ffff"),
                           ("bin/dpkg-query", DPKG_QUERY), ("bin/apt-get", APT_GET),
                           ("bin/apt-helper", APT_HELPER)):
            write(os.path.join(self.here, name), text, 0o755)
        subprocess.check_call(["tar", "-C", self.here, "-cf", self.here + "/source.tar", "source"])
        self.cache = self.here + "/cache/kelvaro"
        self.environment = {"KELVARO_PYTHON": "", "KELVARO_MARKS": self.here,
                            "XDG_CACHE_HOME": self.here + "/cache",
                            "PATH": self.here + "/bin:" + os.environ["PATH"]}

    def make(self, *arguments):
        return run("tools/python27", *arguments, **self.environment)

    def read(self, name):
        """The lines of a file that the pretended tools have written."""
        with open(os.path.join(self.here, name)) as stream:
            return stream.read().splitlines()

    def kept(self):
        """What the cache holds: interpreters whole or not, and logs."""
        return sorted(name for name in os.listdir(self.cache) if name != "python27.lock")

    def test_it_is_made_once_as_long_as_it_runs_and_only_its_path_is_printed(self):
        # What an interrupted run has left is cleared away.
        write(self.cache + "/python27-work.abcdef/stage/bin/python2.7", "half")
        result = self.make()
        self.assertEqual(result.status, 0, result)
        self.assertRegexpMatches(result.stdout,
                                 r"\A%s/python27-\w+/bin/python2\.7\n\Z" % self.cache)
        self.assertEqual(self.make(), (0, result.stdout, ""))
        self.assertEqual(len(self.read("builds")), 1)
        # It is made of the pinned file.
        self.assertRegexpMatches(self.read("asked")[5], r"\ASHA256:[0-9a-f]{64}\Z")
        self.assertEqual(self.kept(), [result.stdout.split("/")[-3]])
        write(result.stdout.rstrip(), "#!/bin/sh\nexit 1\n", 0o755)  # broken since then
        self.assertEqual(self.make().stdout, result.stdout)
        self.assertEqual(len(self.read("builds")), 2)

    def test_a_build_that_fails_leaves_its_log_and_nothing_to_be_taken_for_whole(self):
        write(self.here + "/broken", "")
        result = self.make()
        self.assertEqual((result.status, result.stdout), (1, ""))
        log = re.search(r"failed: the log is (\S+)\.\n\Z", result.stderr).group(1)
        with open(log) as stream:
            self.assertIn("no such luck", stream.read())
        self.assertEqual(self.kept(), [os.path.basename(log)])
        os.remove(self.here + "/broken")
        self.assertEqual(self.make().status, 0)
        self.assertFalse(os.path.exists(log))


if __name__ == "__main__":
    unittest.main()
