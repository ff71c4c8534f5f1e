"""The recipe: what it says of the sources, and the build that it asks for.

An image's own build is not run here; Debian's cross compiler stands in for its toolchain.
"""
import hashlib
import os
import re
import unittest

from tests.packaging.test_package import copy_of_sources, small_copy_of_sources
from tests.support.machine import PROJECT, directory, run
from tests.support.sampling import ONE_IN

RECIPES = os.path.join(PROJECT, "packaging", "openembedded")
# As OpenEmbedded has them, for a MIPS receiver: the linker's in the environment, with hashes and
# pages that are not the receivers'. Debian's start files are for later processors.
TOOLCHAIN = "-DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=mipsel " \
    "-DCMAKE_CXX_COMPILER=mipsel-linux-gnu-g++ -DCMAKE_FIND_ROOT_PATH_MODE_PROGRAM=NEVER " \
    "-DCMAKE_CXX_FLAGS='-mabi=32 -mhard-float -march=mips32 -mfp32 -O2 -pipe -g'"
LINKER_FLAGS = "-Wl,-O1 -Wl,--hash-style=gnu -Wl,-z,max-page-size=65536 -nostartfiles"


def read(*names):
    with open(os.path.join(PROJECT, *names)) as stream:
        return stream.read()


def recipe(**given):
    """Return the recipe's values, each with those that it names put in; `given` are the image's."""
    text = read(RECIPES, os.listdir(RECIPES)[0]).replace("\\\n", "")
    values = dict(re.findall(r'(?m)^([\w${}]+) \S?= "(.*)"$', text), **given)
    for _ in range(3):
        for name, value in values.items():
            values[name] = re.sub(r"\$\{(\w+)\}", lambda match: values.get(match.group(1),
                                                                           match.group()), value)
    return values


class RecipeTest(unittest.TestCase):

    def test_its_file_is_named_after_the_projects_version(self):
        version = re.search(r"(?m)^project\(Kelvaro VERSION (\S+)\b",
                            read("CMakeLists.txt")).group(1)
        self.assertEqual(["kelvaro_%s.bb" % version], os.listdir(RECIPES))

    def test_the_licences_checksum_is_that_of_the_file(self):
        checksum = hashlib.md5(read("LICENSE")).hexdigest()
        self.assertEqual("file://LICENSE;md5=" + checksum, recipe()["LIC_FILES_CHKSUM"])


class BuildTest(unittest.TestCase):

    def test_an_images_toolchain_makes_a_module_for_receivers_without_an_interpreter(self):
        interpreter = run("tools/python27", "--target", "mips32el").stdout.strip()
        headers = os.path.dirname(os.path.dirname(interpreter)) + "/include"
        values = recipe(STAGING_INCDIR=headers, PYTHON_DIR="python2.7", prefix="/usr")
        with directory() as here:
            copy = copy_of_sources if ONE_IN == 1 else small_copy_of_sources
            copy(here + "/sources")
            for command in (
                    "cmake -G Ninja -S %s/sources -B %s/build -DCMAKE_INSTALL_PREFIX=/usr %s %s" % (
                        here, here, TOOLCHAIN, values["EXTRA_OECMAKE"]),
                    "cmake --build %s/build --target install" % here,
                    "mipsel-linux-gnu-strip %s/image%s/Kelvaro.so" % (
                        here, values["FILES_${PN}"])):
                result = run("/bin/sh", "-c", command, LDFLAGS=LINKER_FLAGS,
                             KELVARO_PYTHON="/no/interpreter", DESTDIR=here + "/image")
                self.assertEqual(0, result.status, result)
            self.assertEqual(["Kelvaro.so", "locale", "pictures", "skin_1280.xml", "skin_1920.xml"],
                             sorted(os.listdir(here + "/image" + values["FILES_${PN}"])))
            checked = run("tools/check_binary.py", "mips32el",
                          here + "/image" + values["FILES_${PN}"] + "/Kelvaro.so")
            # The image's size is its own: it optimises as its maintainers like.
            self.assertEqual([], re.findall("(?m)^FAILED (?!bytes).*", checked.stdout))
            self.assertIn("ok     stack, not executable: ", checked.stdout)
