"""The simulated receiver. Importing it puts the host's modules on the import path."""

import os
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SAMPLE_FEED = os.path.join(ROOT, "simulator", "sample-feed")
HOST = os.path.join(ROOT, "simulator", "host")

if HOST not in sys.path:
    sys.path.insert(0, HOST)
