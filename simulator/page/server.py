"""Shows the simulated receiver as a page: python3 -m simulator.page.server [--port N] [OPTION...]

Starts the receiver (simulator/remote.py) in its sandbox, serves the page beside this file on
127.0.0.1, prints the page's address, and goes on until it is interrupted or the receiver ends.
Options other than --port are the receiver's. PROTOCOL.md beside this file describes what page,
server and receiver say to each other. Needs Debian's python3-aiohttp and a built module: ./run sees
to both.

Exit status: 0 after an interruption, 2 after one sentence that says what is wrong.
"""

import asyncio
import base64
import collections
import json
import mimetypes
import os
import signal
import sys

from aiohttp import WSMsgType, web

from simulator.options import OneSentence, in_sandbox, tcp_port

PAGE = os.path.dirname(os.path.abspath(__file__))
#: Names of this machine. Another site may have bound its own name to this address: its Origin and
#: its Host agree, but neither is one of these.
LOOPBACK = ("127.0.0.1", "localhost", "::1")
LONGEST_LINE = 64 * 1024 * 1024  # bytes of one message
KEPT_LOG = 500  # messages that a new page is told of
SILENCE = 0.4  # seconds without the receiver's clock after which its GUI is blocked


class Receiver:
    """The receiver's process, and the pages that it is shown on."""

    def __init__(self):
        self._pages = {}  # a page's connection: the lines that it is still to be sent
        self._asking = collections.deque()  # the pages that are owed an answer, in order
        self._last = {}  # event: the last line of it
        self._log = []
        self._files = {}  # name: content
        self._silence = None  # the timer that ends when the receiver has been silent for too long
        self._heard_at = 0
        self._is_busy = False

    async def start(self, arguments):
        """Start the process; return whether it has sent a line, and not just ended."""
        self._process = await asyncio.create_subprocess_exec(
            *in_sandbox("simulator.remote", arguments), stdin=asyncio.subprocess.PIPE,
            stdout=asyncio.subprocess.PIPE, limit=LONGEST_LINE,
            start_new_session=True)  # Ctrl-C is for this process
        return await self._hear()

    async def file(self, request):
        """A picture or a font that is painted with; its name changes with its content."""
        name = request.match_info["name"]
        if name not in self._files:
            raise web.HTTPNotFound()
        return web.Response(body=self._files[name], content_type=mimetypes.guess_type(name)[0],
                            headers={"Cache-Control": "max-age=31536000, immutable"})

    async def hear_all(self):
        """Hand on what the receiver says until it ends; return its exit status."""
        while await self._hear():
            pass
        return await self._process.wait()

    async def stop(self):
        """End the process, and the pages' connections."""
        self._process.stdin.close()
        for page in list(self._pages):
            await page.close()
        await self._process.wait()

    async def connect(self, request):
        """One page: from its first request until it is closed."""
        # Only our own page: another site's must not reach the receiver through the browser.
        if (request.url.host not in LOOPBACK
                or request.headers.get("Origin") not in (None, "http://" + request.host)):
            raise web.HTTPForbidden()
        page = web.WebSocketResponse()
        await page.prepare(request)
        lines = self._pages[page] = asyncio.Queue()
        for line in [self._last[event] for event in sorted(self._last)] + self._log:
            lines.put_nowait(line)
        if self._is_busy:
            lines.put_nowait(self._busy())
        writer = asyncio.ensure_future(self._write(page, lines))
        try:
            async for message in page:
                if message.type == WSMsgType.TEXT:
                    self._asking.append(lines)
                    self._process.stdin.write(message.data.replace("\n", " ").encode() + b"\n")
                    await self._process.stdin.drain()
        finally:
            del self._pages[page]
            writer.cancel()
        return page

    @staticmethod
    async def _write(page, lines):
        try:
            while True:
                await page.send_str(await lines.get())
        except ConnectionError:
            pass  # the page is just being closed

    async def _hear(self):
        """Hand on one line; return whether there was one."""
        line = (await self._process.stdout.readline()).decode().rstrip("\n")
        self._heard(bool(line))
        if line:
            message = json.loads(line)
            event = message.get("event")
            if event == "file":
                self._files[message["name"]] = base64.b64decode(message["content"])
                return True
            if event is None:
                self._asking.popleft().put_nowait(line)
                return True
            if event == "log":
                self._log = self._log[1 - KEPT_LOG:] + [line]
            else:
                self._last[event] = line
            self._tell(line)
        return bool(line)

    def _heard(self, expect_more):
        """Wait anew for the receiver to fall silent: its clock ticks while its GUI is alive."""
        loop = asyncio.get_running_loop()
        self._heard_at = loop.time()
        if self._silence:
            self._silence.cancel()
        if self._is_busy:
            self._is_busy = False
            self._tell('{"event": "idle"}')
        if expect_more:
            self._silence = loop.call_later(SILENCE, self._silent)

    def _silent(self):
        self._is_busy = True
        self._tell(self._busy())

    def _busy(self):
        since = asyncio.get_running_loop().time() - self._heard_at
        return json.dumps({"event": "busy", "since": since})

    def _tell(self, line):
        for lines in self._pages.values():
            lines.put_nowait(line)


async def index(request):
    return web.FileResponse(os.path.join(PAGE, "index.html"))


def application(receiver):
    app = web.Application()
    app.router.add_get("/", index)
    app.router.add_get("/socket", receiver.connect)
    app.router.add_get("/files/{name}", receiver.file)
    app.router.add_static("/", PAGE)
    return app


async def serve(port, arguments):
    """Serve until interrupted or until the receiver ends; return the exit status."""
    receiver = Receiver()
    ended = asyncio.Event()
    loop = asyncio.get_running_loop()
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        loop.add_signal_handler(number, ended.set)
    runner = web.AppRunner(application(receiver), access_log=None)
    await runner.setup()
    try:
        site = web.TCPSite(runner, "127.0.0.1", port)
        try:
            await site.start()
        except OSError as e:
            print("run: cannot listen on port %d: %s." % (port, os.strerror(e.errno)),
                  file=sys.stderr)
            return 2
        if await receiver.start(arguments):
            print("The receiver is at http://127.0.0.1:%d/ until Ctrl-C."
                  % runner.addresses[0][1], flush=True)
        hearing = asyncio.ensure_future(receiver.hear_all())
        await asyncio.wait([hearing, asyncio.ensure_future(ended.wait())],
                           return_when=asyncio.FIRST_COMPLETED)
        if hearing.done():
            return hearing.result()
        await receiver.stop()
        return 0
    finally:
        await runner.cleanup()


def main(arguments):
    parser = OneSentence(prog="run", add_help=False, allow_abbrev=False)
    parser.add_argument("--port", type=tcp_port, default=0)
    options, others = parser.parse_known_args(arguments)
    return asyncio.run(serve(options.port, others))


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
