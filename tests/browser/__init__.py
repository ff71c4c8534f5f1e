"""Tests of the page that ./run serves, in headless Chromium. Python 3."""
