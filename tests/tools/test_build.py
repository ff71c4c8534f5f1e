"""tools/build.sh: builds in a directory that other builds want, or have left behind."""

import os
import select
import subprocess
import unittest

from tests.support.machine import PROJECT, directory, run, write

BUILD = ("/bin/bash", "-c", "source tools/build.sh; build_preset \"$0\" native")
PRESETS = """{"version": 3,
  "configurePresets": [
    {"name": "native", "generator": "Ninja", "binaryDir": "${sourceDir}/build/native"}],
  "buildPresets": [{"name": "native", "configurePreset": "native"}]}
"""
# Two of these at a time fail: only one can make the directory. One takes as long as a pipe is open.
ALONE = """cmake_minimum_required(VERSION 3.13)
project(Alone NONE)
execute_process(COMMAND mkdir "${CMAKE_SOURCE_DIR}/busy" RESULT_VARIABLE status)
if(status)
  message(FATAL_ERROR "Another build is at work")
endif()
execute_process(COMMAND cat "${CMAKE_SOURCE_DIR}/pipe")
file(REMOVE_RECURSE "${CMAKE_SOURCE_DIR}/busy")
add_custom_target(built ALL COMMAND "${CMAKE_COMMAND}" -E touch "${CMAKE_SOURCE_DIR}/built")
"""


class Build(unittest.TestCase):

    def make_project(self, here):
        write(here + "/CMakeLists.txt", ALONE)
        write(here + "/CMakePresets.json", PRESETS)
        os.symlink(PROJECT + "/tools", here + "/tools")

    def test_of_a_renamed_checkout_starts_afresh(self):
        with directory() as above:
            self.make_project(above + "/old")
            self.assertEqual(run(*BUILD + (above + "/old",)), (0, "", ""))
            os.rename(above + "/old", above + "/new")
            os.remove(above + "/new/built")
            build = above + "/new/build/native"
            self.assertEqual(run(*BUILD + (above + "/new",)), (
                0, "", "%s was made for %s/old: starting it afresh\n" % (build, above)))
            self.assertTrue(os.path.exists(above + "/new/built"))

    def test_waits_for_another_one(self):
        with directory() as here:
            self.make_project(here)
            os.mkfifo(here + "/pipe")
            builds = [subprocess.Popen(BUILD + (here,), cwd=PROJECT, stderr=subprocess.PIPE)
                      for _ in range(2)]
            with open(here + "/pipe", "w"):
                os.remove(here + "/pipe")
                speaking, = select.select([build.stderr for build in builds], [], [])[0]
                self.assertEqual(speaking.readline(), "Another build is at work in "
                                 "%s/build/native; waiting for it\n" % here)
            for build in builds:
                self.assertEqual((build.communicate()[1], build.returncode), ("", 0))
