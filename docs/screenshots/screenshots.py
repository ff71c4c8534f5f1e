"""Makes the README's screenshots: python3 -m docs.screenshots.screenshots DIRECTORY"""

import contextlib
import os
import sys

from simulator.page.pictures import start_browser
from tests.support.page import Viewer

SIZE = (1200, 840)  # of the page, in pixels


def make(driver, directory):
    """Walk to each scene and leave its picture in `directory`."""
    viewer = Viewer(driver)

    def shoot(name, *parts):
        for part in parts:
            viewer.wait(part, lambda: part in str(viewer.front()))
        # Nothing that moves: what has just been pressed is still bright.
        driver.execute_async_script("""
            const done = arguments[arguments.length - 1];
            document.fonts.ready.then(() => requestAnimationFrame(() => done()));""")
        driver.save_screenshot(os.path.join(directory, name + ".png"))

    with contextlib.closing(viewer):
        viewer.open_news()
        viewer.press("down", "down", "up")
        shoot("news", "Top 20")
        viewer.press("yellow")
        viewer.wait("the chooser", lambda: "Extensions" in viewer.rows())
        viewer.press("ok")
        viewer.wait("the rows", lambda: any("Install" in row for row in viewer.rows()))
        number = [row.endswith("Install") for row in viewer.rows()].index(True)
        viewer.press(*["down"] * number + ["ok"])
        shoot("installation", "'Done'")
        viewer.press("ok", "cancel", "cancel")
        viewer.wait("the television picture", lambda: viewer.front() is None)
        viewer.pass_time("+ 1 h")
        shoot("question", "There are updates available.")


def main(arguments):
    """Make the pictures; `arguments`: the directory."""
    driver = start_browser(*SIZE)
    try:
        make(driver, *arguments)
    finally:
        driver.quit()


if __name__ == "__main__":
    main(sys.argv[1:])
