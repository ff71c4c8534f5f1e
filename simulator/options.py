"""What the project's Python command lines have in common."""

import argparse


class OneSentence(argparse.ArgumentParser):
    """Says one sentence about a wrong argument, and nothing else."""

    def error(self, message):
        self.exit(2, "%s: %s; see --help.\n" % (self.prog, message))
