"""Uses a package on a simulated receiver, and prints what is seen; for test_package.py.

    tools/sandbox ... python2.7 -O -m tests.support.unpacked PACKAGE

Unpacks the package in the sandbox, whose root is empty but for the host and the plug-in's own
Python code, and lets that code import the module from there, on screens of all widths, whose skin
lacks the plug-in's screens. The language is German.
"""
from __future__ import print_function

import io
import subprocess
import sys
import tarfile

from simulator import packages
from simulator.feedserver import FeedServer
from simulator.plugin_files import DIRECTORY
from simulator.receiver import Receiver
from tests.support.package_file import archive_members

import enigma


def main(package):
    with open(package, "rb") as stream:
        members = dict((name, content) for name, _, content in archive_members(stream.read()))
    with tarfile.open(fileobj=io.BytesIO(members["data.tar.gz/"]), mode="r:gz") as archive:
        archive.extractall("/tmp/unpacked")
        with FeedServer(packages.SAMPLE_FEED) as server:
            receiver = dict(feed_url=server.url, load=False, screens=(), language="de_DE",
                            module="/tmp/unpacked" + DIRECTORY + "/Kelvaro.so")
            Receiver(**receiver).close()
            # The image's own files stay; all others come with the package, as opkg lays it out.
            subprocess.check_call("rm -r Kelvaro.so locale pictures skin_*.xml", shell=True,
                                  cwd=DIRECTORY)
            archive.extractall("/")
            for width in sorted(enigma.PICTURES):
                with Receiver(**receiver) as box:
                    use(box, width)


def use(box, width):
    """Start the plug-in with the screens of that width, and walk through them."""
    enigma.getDesktop(0).resize(width, enigma.PICTURES[width])
    box.load()
    print(box.module.__name__)
    print(box.module.__file__)
    box.start_plugin()
    box.open_news()
    print(box.layout, box.rows(), box.icons())
    box.pass_time(0.1)
    print(sorted(set(box.icons())))
    box.press("ok")
    print(box.layout, box.text("header").split("\n")[0], box.text("key_blue"))


if __name__ == "__main__":
    main(*sys.argv[1:])
