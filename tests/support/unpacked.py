"""Uses a package on a simulated receiver, and prints what is seen; for test_package.py.

    tools/sandbox ... python2.7 -O -m tests.support.unpacked PACKAGE WIDTH

Unpacks the package in the sandbox, whose root is empty but for the host and the plug-in's own
Python code, and lets that code import the module from there. WIDTH (1280 or 1920) is that of the
screen. The plug-in lends the module the package's German texts.
"""
from __future__ import print_function

import gettext
import io
import os
import sys
import tarfile

from simulator import packages
from simulator.feedserver import FeedServer
from simulator.plugin_files import DIRECTORY
from simulator.receiver import Receiver
from tests.support.desk_packages import archive_members

import skin


def main(package, width):
    with open(package, "rb") as stream:
        members = dict((name, content) for name, _, content in archive_members(stream.read()))
    with tarfile.open(fileobj=io.BytesIO(members["data.tar.gz"]), mode="r:gz") as archive:
        archive.extractall("/tmp/unpacked")
        with FeedServer(packages.SAMPLE_FEED) as server:
            box = Receiver(feed_url=server.url, load=False, screens=(),
                           module="/tmp/unpacked" + DIRECTORY + "/Kelvaro.so")
            # The plug-in's own files are in place; now the package comes, as opkg lays it out.
            os.remove(DIRECTORY + "/Kelvaro.so")
            archive.extractall("/")
            use(box, width)
            box.close()


def use(box, width):
    """Start the plug-in with the screens of that width, and walk through them."""
    skin.loadSkin("%s/skin_%s.xml" % (DIRECTORY, width))
    box.load()
    print(box.module.__name__)
    print(box.module.__file__)
    box.module._ = gettext.translation("Kelvaro", DIRECTORY + "/locale", ["de"]).gettext
    box.open_news()
    print(box.layout, box.rows(), box.icons())
    box.pass_time(0.1)
    print(sorted(set(box.icons())))
    box.press("ok")
    print(box.layout, box.text("header").split("\n")[0], box.text("key_blue"))


if __name__ == "__main__":
    main(*sys.argv[1:])
