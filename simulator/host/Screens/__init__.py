"""The host's screens."""
