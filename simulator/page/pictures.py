"""Paints screens in headless Chromium. Python 3.

The same input gives the same bytes. Needs Debian's chromium, chromium-driver and python3-selenium.
"""

import base64
import mimetypes
import os

from selenium import webdriver

PAINTER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "picture.js")
PAINT = """
const [script, {size, operations}, files, done] = arguments;
async function painted() {
  const {paint, unread} = await import(script);
  const picture = await paint(size, operations, (name) => files[name]);
  const canvas = document.createElement("canvas");
  Object.assign(canvas, {width: size[0], height: size[1]});
  canvas.getContext("2d").putImageData(picture, 0, 0);
  return [canvas.toDataURL(), [...unread]];
}
painted().then(done, (error) => done([String(error), []]));
"""


def start_browser(width=1440, height=900):
    """Start a headless Chromium whose pages are `width` by `height` pixels; return its driver."""
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu",
                     "--hide-scrollbars", "--no-first-run", "--disable-background-networking",
                     "--disable-component-update", "--force-color-profile=srgb",
                     # The page needs no network but loopback.
                     "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    service = webdriver.chrome.service.Service("/usr/bin/chromedriver", log_path=os.devnull)
    driver = webdriver.Chrome(service=service, options=options)
    set_size(driver, width, height)
    return driver


def set_size(driver, width, height):
    """Make the page `width` by `height` pixels."""
    driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
        "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})


def paint(driver, screen, files):
    """Return the PNG that `screen`, its size and operations, is painted as, and the files that
    the browser cannot read, a set of names.

    operations: as simulator/host/painting/screen.py makes them.
    files: the content of each file that the operations name, in Base64.
    """
    with open(PAINTER, "rb") as stream:
        script = base64.b64encode(stream.read()).decode()
    used = set(operation.get("file") or operation.get("font")
               for operation in screen["operations"]) - {None}
    # Nothing but addresses that hold their content: no server is needed.
    found, unread = driver.execute_async_script(
        PAINT, "data:text/javascript;base64," + script, screen,
        {name: "data:%s;base64,%s" % (mimetypes.guess_type(name)[0], files[name])
         for name in used})
    head, _, content = found.partition(",")
    if head != "data:image/png;base64":
        raise RuntimeError("the screen was not painted: " + found)
    return base64.b64decode(content), used & set(unread)
