"""What ./run does once everything is set up. Python 3.

    --check DIR|URL     what receivers show of a feed, and what is wrong with it
    --check-skin DIR    what is wrong with a skin
    --layout OUT.json   what a skin makes of each screen
    --pictures OUT      a picture of each screen
    --text              the receiver as text in the terminal
    --tour              a walk through every screen; also without a terminal
    otherwise           the receiver on a page for the browser

Further options go with each; --help after them names these.
"""

import os
import subprocess
import sys

from simulator.options import OneSentence, in_sandbox


def words(arguments):
    """The arguments with the value of an option as a word of its own, in --feed=DIR as well."""
    for argument in arguments:
        name, equals, value = argument.partition("=")
        yield from [name, value] if equals and name.startswith("--") else [argument]


def lay_out(arguments):
    """Write the layout file that --layout names; return the exit status."""
    parser = OneSentence(prog="run", add_help=False, allow_abbrev=False)
    parser.add_argument("--layout", metavar="OUT.json")
    options, others = parser.parse_known_args(arguments)
    if os.path.isdir(options.layout) or not os.path.isdir(os.path.dirname(options.layout) or "."):
        parser.error("--layout needs the name of the file to write")
    made = subprocess.run(in_sandbox("simulator.layout", others), stdout=subprocess.PIPE,
                          check=False)
    if made.stdout.startswith(b"{"):
        with open(options.layout, "wb") as stream:
            stream.write(made.stdout)
    else:
        sys.stdout.buffer.write(made.stdout)  # the help
    return made.returncode


def main(arguments):
    arguments = list(words(arguments))
    if "--check" in arguments:
        arguments.remove("--check")
        from tools.feed_check.__main__ import main as check
        return check(arguments)
    if "--pictures" in arguments:
        from simulator.page import album
        return album.main(arguments)
    if "--layout" in arguments:
        return lay_out(arguments)
    module = "simulator"
    if "--check-skin" in arguments:
        module = "simulator.check_skin"
    elif os.isatty(0) and not set(arguments) & {"--text", "--tour", "--help", "-h"}:
        from simulator.page import server
        return server.main(arguments)
    command = in_sandbox(module, arguments)
    os.execv(command[0], [word for word in command if word != "--check-skin"])


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
