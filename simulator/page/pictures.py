"""Paints screens in headless Chromium. Python 3.

The same input gives the same bytes. Needs Debian's chromium, chromium-driver and python3-selenium.
"""

import base64
import mimetypes
import os
import time

from selenium import webdriver
from selenium.webdriver.chrome.service import Service

PAINTER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "picture.js")
PAINT = """
const [script, screens, files] = arguments;
async function painted() {
  const {paint, unread} = await import(script);
  const pictures = [];
  for (const {size, operations} of screens) {
    const picture = await paint(size, operations, (name) => files[name]);
    const canvas = document.createElement("canvas");
    Object.assign(canvas, {width: size[0], height: size[1]});
    canvas.getContext("2d").putImageData(picture, 0, 0);
    pictures.push(canvas.toDataURL().split(",")[1]);
  }
  return [pictures, [...unread]];
}
return painted();
"""


class Driver(Service):
    """The program that drives the browser, without Selenium's long waits for its start and end."""

    def is_connectable(self):
        """Return whether the driver answers, asking every 10 ms."""
        for _ in range(50):
            if super().is_connectable():
                return True
            time.sleep(0.01)
        return False

    def send_remote_shutdown_command(self):
        """Leave it to the signal that follows: the browser has ended by then."""


def start_browser(width=1440, height=900):
    """Start a headless Chromium whose pages are `width` by `height` pixels; return its driver."""
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu",
                     "--hide-scrollbars", "--no-first-run", "--disable-background-networking",
                     "--disable-component-update", "--force-color-profile=srgb",
                     # The browser's own pages, which take as long to load as the browser itself.
                     "--disable-features=WebUIOmniboxPopup,WebUIOmniboxAimPopup",
                     # The page needs no network but loopback.
                     "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    service = Driver("/usr/bin/chromedriver", log_path=os.devnull)
    driver = webdriver.Chrome(service=service, options=options)
    driver.set_script_timeout(300)
    set_size(driver, width, height)
    return driver


def set_size(driver, width, height):
    """Make the page `width` by `height` pixels."""
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
        "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})


def paint(driver, screens, files):
    """Return what each of `screens` is painted as: pairs of a PNG and the files of it that the
    browser cannot read, a set of names.

    screens: the "size" and the "operations" of each, as simulator/host/painting/screen.py makes
    them. files: the content of each file that the operations name, in Base64.
    """
    with open(PAINTER, "rb") as stream:
        script = base64.b64encode(stream.read()).decode()
    # Nothing but addresses that hold their content: no server is needed.
    pictures, unread = driver.execute_script(
        PAINT, "data:text/javascript;base64," + script, screens,
        {name: "data:%s;base64,%s" % (mimetypes.guess_type(name)[0], content)
         for name, content in files.items()})
    used = [set(operation.get("file") or operation.get("font")
                for operation in screen["operations"]) for screen in screens]
    return [(base64.b64decode(picture), names & set(unread))
            for picture, names in zip(pictures, used)]
