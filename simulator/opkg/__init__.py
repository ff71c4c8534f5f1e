"""The stand-in for the package manager; see the script opkg beside this file."""
