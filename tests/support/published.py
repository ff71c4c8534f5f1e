"""Reads a feed as a receiver does, and prints what it finds; for tests/packaging/test_feed.py.

    tools/sandbox ... python2.7 -O -m tests.support.published FEED

On the receiver are older packages of the feed, the plug-in's and another one.
"""
from __future__ import print_function

import os
import subprocess
import sys
import urllib2

from simulator.feedserver import FeedServer
from simulator.packages import Package, install_initial_state


def main(feed):
    install_initial_state([Package("enigma2-skin-blue", "3.4-r5"),
                           Package("kelvaro", "1.0.0-r0", architecture="mips32el")])
    with FeedServer(feed) as server:
        base = os.path.dirname(server.url)
        with open("/etc/opkg/all-feed.conf", "w") as stream:
            stream.write(server.conf_line())
        with open("/etc/opkg/mips32el-feed.conf", "w") as stream:
            stream.write("arch mips32el 16\nsrc/gz Zirk-mips32el %s/mips32el\n" % base)
        for command in ("update", "list-upgradable"):
            print(subprocess.check_output(["opkg", command]).replace(base, "http://FEED"), end="")
        with open(os.path.join(feed, "zirknews.xml"), "w") as stream:
            stream.write("<news/>")
        print("the news:", urllib2.urlopen(base + "/zirknews.xml").getcode())


if __name__ == "__main__":
    main(*sys.argv[1:])
