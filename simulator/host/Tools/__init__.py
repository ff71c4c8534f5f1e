"""The host's helpers."""
