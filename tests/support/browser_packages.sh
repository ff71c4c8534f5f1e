# shellcheck shell=bash
# The Debian packages that driving the page in a browser needs, the server's own included. The font is
# the one that the page asks for first: pictures and texts are as wide everywhere.
# For scripts that source this file.

# shellcheck disable=SC2034  # those scripts use it
browser_packages=(chromium chromium-driver python3-selenium python3-aiohttp fonts-open-sans)
