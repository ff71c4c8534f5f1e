"""The recipe agrees with the package made here, and the build that it asks for works.

The recipe itself has not been run by its own build system.
"""
import glob
import os
import re
import shutil
import subprocess
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PLUGIN = "lib/enigma2/python/Plugins/SystemPlugins/ZIRKPanel"


def read(*names):
    with open(os.path.join(ROOT, *names)) as stream:
        return stream.read()


def cmake_value(name):
    """Return the value that cmake/Package.cmake gives a variable."""
    return re.search(r"^set\(%s\s+\"?([^\")]*?)\"?(?:\)| CACHE)" % name,
                     read("cmake", "Package.cmake"), re.M).group(1)


class RecipeTest(unittest.TestCase):

    def value(self, name):
        """Return a variable's value in the recipe, its lines joined."""
        text = read("packaging", "openembedded", "kelvaro.inc").replace("\\\n", "")
        found = re.search(r"^%s \??\+?= \"([^\"]*)\"" % re.escape(name), text, re.M)
        return " ".join(found.group(1).split())

    def test_its_file_is_named_after_the_projects_version(self):
        version = re.search(r"^project\(Kelvaro VERSION (\S+)", read("CMakeLists.txt"), re.M)
        names = [os.path.basename(name) for name in glob.glob(
            os.path.join(ROOT, "packaging", "openembedded", "*.bb"))]
        self.assertEqual(["kelvaro_%s.bb" % version.group(1)], names)

    def test_its_lists_are_those_of_the_package(self):
        self.assertEqual(cmake_value("CPACK_DEBIAN_PACKAGE_DEPENDS").split(", "),
                         self.value("RDEPENDS_${PN}").split())
        self.assertEqual(cmake_value("CPACK_DEBIAN_PACKAGE_SECTION"), self.value("SECTION"))
        self.assertEqual(cmake_value("CPACK_DEBIAN_PACKAGE_PRIORITY"), self.value("PRIORITY"))
        self.assertEqual(cmake_value("KELVARO_PLUGIN_DIRECTORY"),
                         self.value("KELVARO_PLUGIN_DIRECTORY"))

    def test_it_says_that_it_is_untested(self):
        for name in glob.glob(os.path.join(ROOT, "packaging", "openembedded", "kelvaro*")):
            self.assertIn("UNTESTED", read(name))


class BuildTest(unittest.TestCase):

    def setUp(self):
        self.work = tempfile.mkdtemp(prefix="kelvaro-recipe-")
        self.addCleanup(shutil.rmtree, self.work)

    def run_cmake(self, *arguments, **environment):
        """Run cmake with no interpreter to be had; return all its output."""
        environment = dict(os.environ, KELVARO_PYTHON="/no/interpreter", **environment)
        process = subprocess.Popen(("cmake",) + arguments, stdout=subprocess.PIPE,
                                   stderr=subprocess.STDOUT, env=environment, cwd=self.work)
        output, _ = process.communicate()
        self.assertEqual(0, process.returncode, output)
        return output

    def test_headers_alone_are_enough_to_build_and_install_the_plugins_files(self):
        interpreter = subprocess.check_output([os.path.join(ROOT, "tools", "python27")]).strip()
        headers = subprocess.check_output([
            interpreter, "-c", "import sysconfig; print sysconfig.get_paths()['include']"]).strip()
        self.run_cmake("-G", "Ninja", "-S", ROOT, "-B", "build", "-DCMAKE_INSTALL_PREFIX=/usr",
                       "-DCMAKE_BUILD_TYPE=MinSizeRel", "-DKELVARO_PYTHON_INCLUDE=" + headers,
                       "-DKELVARO_PLUGIN_DIRECTORY=" + PLUGIN)
        self.run_cmake("--build", "build")
        self.run_cmake("--install", "build", DESTDIR=os.path.join(self.work, "image"))
        installed = [os.path.relpath(os.path.join(place, name), self.work)
                     for place, _, names in os.walk(os.path.join(self.work, "image"))
                     for name in names]
        self.assertEqual(sorted(os.path.join("image/usr", PLUGIN, name) for name in (
            "Kelvaro.so", "locale/de/LC_MESSAGES/Kelvaro.mo", "pictures/update_info.png",
            "pictures/update_normal.png", "pictures/update_urgent.png", "skin_1280.xml",
            "skin_1920.xml")), sorted(installed))

    def test_without_gettext_it_builds_but_refuses_to_install(self):
        # Nothing is looked for on this machine, so msgfmt is not found.
        headers = os.path.join(self.work, "headers")
        os.mkdir(headers)
        open(os.path.join(headers, "Python.h"), "w").close()
        self.run_cmake("-G", "Ninja", "-S", ROOT, "-B", "build",
                       "-DKELVARO_PYTHON_INCLUDE=" + headers,
                       "-DCMAKE_FIND_USE_CMAKE_SYSTEM_PATH=OFF",
                       "-DCMAKE_FIND_USE_SYSTEM_ENVIRONMENT_PATH=OFF",
                       "-DCMAKE_CXX_COMPILER=" + which("c++"),
                       "-DCMAKE_MAKE_PROGRAM=" + which("ninja"))
        process = subprocess.Popen(["cmake", "--install", "build", "--prefix", "image"],
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, cwd=self.work)
        output, _ = process.communicate()
        self.assertNotEqual(0, process.returncode)
        self.assertIn("install gettext", output)
        self.assertFalse(os.path.exists(os.path.join(self.work, "image")))


def which(name):
    """Return the path of a command."""
    return subprocess.check_output(["sh", "-c", "command -v " + name]).strip()


if __name__ == "__main__":
    unittest.main()
