"""The page's server: what it serves, to whom, and how it starts and ends. Python 3."""

import asyncio
import fcntl
import json
import os
import pty
import select
import subprocess
import termios
import unittest
import urllib.error
import urllib.request

import aiohttp

from tests.support.page import PATIENCE, PROJECT, SERVER, Server


class ServerTest(unittest.IsolatedAsyncioTestCase):

    @classmethod
    def setUpClass(cls):
        cls.server = Server()
        cls.addClassCleanup(cls.server.close)

    async def asyncSetUp(self):
        self.session = aiohttp.ClientSession()
        self.addAsyncCleanup(self.session.close)

    async def connect(self, **headers):
        page = await self.session.ws_connect(self.server.address + "socket", headers=headers)
        self.addAsyncCleanup(page.close)
        return page

    async def receive(self, page, found):
        """Return the messages until the first for which found(message) is true."""
        messages = []

        async def receive():
            while not messages or not found(messages[-1]):
                messages.append(json.loads(await page.receive_str()))

        await asyncio.wait_for(receive(), PATIENCE)
        return messages

    def get(self, path):
        with urllib.request.urlopen(self.server.address + path) as answer:
            return answer.read()

    async def test_the_page_and_what_is_painted_with_is_served_and_nothing_else(self):
        for path, source in (("", "index.html"), ("main.js", "main.js")):
            with open(os.path.join(PROJECT, "simulator/page", source), "rb") as stream:
                self.assertEqual(stream.read(), self.get(path))
        told = await self.receive(await self.connect(),
                                  lambda message: message.get("event") == "screen")
        files = {one["file"] for one in told[-1]["operations"] if "file" in one}
        with open(os.path.join(PROJECT, "plugin/pictures/update_info.png"), "rb") as stream:
            self.assertIn(stream.read(), [self.get("files/" + name) for name in files])
        for path in ("files/other.png", "files/..%2fserver.py", "..%2fREADME.md"):
            with self.assertRaises(urllib.error.HTTPError) as caught:
                self.get(path)
            caught.exception.close()
            self.assertEqual(404, caught.exception.code)

    async def test_an_answer_goes_unchanged_to_the_page_that_asked_and_an_event_to_all(self):
        pages = [await self.connect(), await self.connect()]
        for page, key in zip(pages, ("eject", "shuffle")):
            await page.send_str('{"id": "x", "do": "press",\n "key": "%s"}' % key)
        for page, key in zip(pages, ("eject", "shuffle")):
            answer = (await self.receive(page, lambda message: "id" in message))[-1]
            self.assertEqual(
                {"id": "x", "error": "There is no key '%s' on the remote control." % key}, answer)
            told = await self.receive(page, lambda message: message.get("event") == "clock")
            self.assertEqual([], [message for message in told if "id" in message])

    async def test_a_page_that_comes_later_is_told_what_is_shown_and_what_was_done(self):
        await self.receive(await self.connect(), lambda message: message.get("kind") == "request")
        told = await self.receive(await self.connect(),
                                  lambda message: message.get("kind") == "request")
        told = [message for message in told if message["event"] != "clock"]
        self.assertEqual(["receiver", "screen"], [message["event"] for message in told[:2]])
        self.assertEqual(["timer", "timer", "request"], [message["kind"] for message in told[2:]])

    async def test_pages_of_other_sites_are_refused_also_under_a_name_bound_to_this_machine(self):
        port = self.server.address.split(":")[2].rstrip("/")
        rebound, local = "elsewhere.example:" + port, "localhost:" + port
        for headers in ({"Origin": "http://elsewhere.example"}, {"Host": rebound},
                        {"Origin": "http://" + rebound, "Host": rebound}):
            with self.assertRaises(aiohttp.WSServerHandshakeError) as caught:
                await self.connect(**headers)
            self.assertEqual(403, caught.exception.status)
        await self.connect(Origin="http://" + local, Host=local)

    async def test_it_ends_with_0_and_takes_the_receiver_with_it(self):
        server = Server()
        receiver = server.receiver()
        self.assertEqual(0, server.close())
        self.assertFalse(os.path.exists("/proc/%d" % receiver))

    async def test_a_port_that_is_taken_is_one_sentence(self):
        port = self.server.address.split(":")[2].rstrip("/")
        self.assertEqual(
            (2, "", "run: cannot listen on port %s: Address already in use.\n" % port),
            start("--port", port))


def start(*options):
    """Run the server with options with which it can't start: status, output and errors."""
    result = subprocess.run(
        SERVER + list(options), cwd=PROJECT, stdin=subprocess.DEVNULL, capture_output=True,
        text=True)
    return result.returncode, result.stdout, result.stderr


def control(terminal):
    """Make a terminal that of this process, so that its keys interrupt it."""
    os.setsid()
    fcntl.ioctl(terminal, termios.TIOCSCTTY, 0)


class CommandTest(unittest.TestCase):

    def test_a_wrong_value_is_one_sentence(self):
        for options, sentence in [
                (["--port", "x"], "argument --port: 'x' is not a port from 0 to 65535"),
                (["--model", "abacus"], "there is no model 'abacus'"),
                (["--feed"], "argument --feed: expected one argument")]:
            self.assertEqual((2, "", "run: %s; see --help.\n" % sentence), start(*options))

    def test_run_at_a_terminal_serves_the_page_until_ctrl_c(self):
        terminal, end = pty.openpty()
        self.addCleanup(os.close, terminal)
        process = subprocess.Popen([os.path.join(PROJECT, "run"), "--feed=simulator/sample-feed"],
                                   cwd=PROJECT, stdin=end, stdout=end, stderr=end,
                                   preexec_fn=lambda: control(end))
        os.close(end)
        self.addCleanup(process.wait)
        text = ""
        while "until Ctrl-C" not in text:
            self.assertTrue(select.select([terminal], [], [], 60)[0], text)
            text += os.read(terminal, 4096).decode()
        address, = [word for word in text.split() if word.startswith("http://127.0.0.1:")]
        with urllib.request.urlopen(address) as page:
            self.assertIn(b"<h1>Kelvaro", page.read())
        os.write(terminal, b"\x03")
        self.assertEqual(0, process.wait(PATIENCE))
