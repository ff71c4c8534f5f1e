"""The recipe agrees with the package made here, and the build that it asks for works.

The recipe itself has not been run by its own build system.
"""
import os
import re
import unittest

from tests.support.machine import PROJECT, directory, run

RECIPES = os.path.join(PROJECT, "packaging", "openembedded")
PLUGIN = "lib/enigma2/python/Plugins/SystemPlugins/ZIRKPanel"


def read(*names):
    with open(os.path.join(PROJECT, *names)) as stream:
        return stream.read()


class RecipeTest(unittest.TestCase):

    def test_its_file_is_named_after_the_projects_version(self):
        version = re.search(r"(?m)^project\(Kelvaro VERSION (\S+)", read("CMakeLists.txt")).group(1)
        self.assertEqual(["kelvaro.inc", "kelvaro_%s.bb" % version], sorted(os.listdir(RECIPES)))

    def test_its_values_are_those_of_the_package(self):
        recipe = read(RECIPES, "kelvaro.inc").replace("\\\n", "")
        package = read("cmake", "Package.cmake")
        for name, variable in (("CPACK_DEBIAN_PACKAGE_DEPENDS", "RDEPENDS_${PN}"),
                               ("CPACK_DEBIAN_PACKAGE_SECTION", "SECTION"),
                               ("CPACK_DEBIAN_PACKAGE_PRIORITY", "PRIORITY"),
                               ("KELVARO_PLUGIN_DIRECTORY", "KELVARO_PLUGIN_DIRECTORY")):
            ours = re.search(r"(?m)^set\(%s\s+\"?([^\")]*?)\"?(?:\)| CACHE)" % name, package)
            theirs = re.search(r"(?m)^%s \??\+?= \"([^\"]*)\"" % re.escape(variable), recipe)
            self.assertEqual(ours.group(1).split(", "), theirs.group(1).split())


class BuildTest(unittest.TestCase):

    def test_headers_alone_are_enough_to_build_and_install_the_plugins_files(self):
        interpreter = run("tools/python27").stdout.strip()
        headers = run(interpreter, "-c", "import sysconfig; print sysconfig.get_paths()['include']")
        with directory() as here:
            for command in (
                    ["-G", "Ninja", "-S", PROJECT, "-B", here + "/build",
                     "-DCMAKE_INSTALL_PREFIX=/usr", "-DCMAKE_BUILD_TYPE=MinSizeRel",
                     "-DKELVARO_PYTHON_INCLUDE=" + headers.stdout.strip(),
                     "-DKELVARO_PLUGIN_DIRECTORY=" + PLUGIN],
                    ["--build", here + "/build"],
                    ["--install", here + "/build"]):
                # No interpreter is to be run.
                result = run("cmake", *command, KELVARO_PYTHON="/no/interpreter",
                             DESTDIR=here + "/image")
                self.assertEqual(0, result.status, result)
            installed = [os.path.relpath(os.path.join(place, name), here + "/image/usr/" + PLUGIN)
                         for place, _, names in os.walk(here + "/image") for name in names]
            self.assertEqual([
                "Kelvaro.so", "locale/de/LC_MESSAGES/Kelvaro.mo", "pictures/update_info.png",
                "pictures/update_normal.png", "pictures/update_urgent.png", "skin_1280.xml",
                "skin_1920.xml"], sorted(installed))


if __name__ == "__main__":
    unittest.main()
