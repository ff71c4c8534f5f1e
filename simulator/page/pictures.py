"""Paints screens to files, in headless Chromium. Python 3.

As a program: python3 -m simulator.page.pictures DIRECTORY <LISTS
reads {"files": {name: content in Base64}, "pictures": {name: {"size": [width, height],
"operations": [...]}}}, operations as simulator/host/painting/screen.py makes them, and leaves
DIRECTORY/name.png. The same input gives the same bytes. Needs Debian's chromium, chromium-driver
and python3-selenium.
"""

import base64
import json
import mimetypes
import os
import sys

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
  return unread.size ? `no browser reads ${[...unread]}` : canvas.toDataURL();
}
painted().then(done, (error) => done(String(error)));
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
    """Return the PNG that `screen`, its size and operations, is painted as.

    files: the content of each file that the operations name, in Base64.
    """
    with open(PAINTER, "rb") as stream:
        script = base64.b64encode(stream.read()).decode()
    used = set(operation.get("file") or operation.get("font")
               for operation in screen["operations"]) - {None}
    # Nothing but addresses that hold their content: no server is needed.
    found = driver.execute_async_script(
        PAINT, "data:text/javascript;base64," + script, screen,
        {name: "data:%s;base64,%s" % (mimetypes.guess_type(name)[0], files[name])
         for name in used})
    head, _, content = found.partition(",")
    if head != "data:image/png;base64":
        raise RuntimeError("the screen was not painted: " + found)
    return base64.b64decode(content)


def main(directory):
    """Paint what standard input holds into `directory`."""
    lists = json.load(sys.stdin)
    driver = start_browser()
    try:
        for name, screen in sorted(lists["pictures"].items()):
            with open(os.path.join(directory, name + ".png"), "wb") as stream:
                stream.write(paint(driver, screen, lists["files"]))
    finally:
        driver.quit()


if __name__ == "__main__":
    main(*sys.argv[1:])
