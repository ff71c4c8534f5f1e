"""An HTTP server on 127.0.0.1 that plays the image's feed, and its failures.

A feed is a directory:

    zirknews.xml        the news document
    zirkdlstat.txt      the download statistics
    all/Packages.gz     the package index, and beside it the packages

It is served below the path /feed. The base address that the package manager knows ends in
"/all"; whoever wants another file of the feed replaces "all" in that address with the file's
name, everywhere it occurs, so nothing else in the address may contain these letters.

    server = FeedServer("simulator/sample-feed").start()
    open("/etc/opkg/all-feed.conf", "w").write(server.conf_line())
    ...
    server.fault("zirknews.xml", status=404)
    server.fault("zirknews.xml", stall="middle", seconds=8)
    server.fault("zirknews.xml", answer=["HTTP/1.0 200 OK\r\n\r\n<new", 1, "s/>"])
    server.clear()
    server.stop()
"""
import BaseHTTPServer
import fcntl
import os
import posixpath
import select
import socket
import SocketServer
import struct
import sys
import threading
import urllib

from simulator.opkg import database

ROOT = "/feed"

#: The points of an answer at which a fault can strike: before the status line, between the
#: headers and the body, after half of the body.
POINTS = ("headers", "body", "middle")


class Fault(object):
    """What goes wrong with the answers for one path; FeedServer.fault() says what that may be."""

    def __init__(self, status=200, body=None, headers=(), answer=None, stall=None, seconds=None,
                 drop=None, reset=False, times=None):
        for point in (stall, drop):
            if point is not None and point not in POINTS:
                raise ValueError("a fault strikes at one of %s, not at %r"
                                 % (", ".join(POINTS), point))
        self.status, self.body, self.headers = status, body, headers
        self.answer, self.stall, self.seconds = answer, stall, seconds
        self.drop, self.reset, self.times = drop, reset, times
        self._released = None if stall is None and answer is None else _Signal()

    @property
    def waits(self):
        """Whether answers may wait for release()."""
        return self._released is not None

    def release(self):
        """Let the answers that this fault stalls go on, now and from now on."""
        if self.waits:
            self._released.set()

    def wait(self, connection, seconds):
        """Stall; None is without end. Return True to go on, False when the client has hung up."""
        ready = select.select([self._released, connection], [], [], seconds)[0]
        return connection not in ready

    def close(self):
        """Free the descriptors; no answer may be under way."""
        if self.waits:
            self._released.close()


_NO_FAULT = Fault()


class FeedServer(object):
    """Serves one feed directory; files are read when they are asked for.

    directory: path of the feed's directory, a byte string.
    port: TCP port on 127.0.0.1; 0 takes a free one.

    The port is bound at once, answers come after start(). A stopped server stays stopped;
    make another one with the same port to have the feed come back.

    url: the feed's base address, ending in "/all".
    port: the port in use.
    requests: the paths asked for, in the order in which the requests came in; the user may
        empty it.
    exchanges: of the requests that got an answer in order, the path, the headers and the number of
        bytes in the answer's body; likewise.
    """

    def __init__(self, directory, port=0):
        self.directory = os.path.abspath(directory)
        self.requests = []
        self.exchanges = []
        self._faults = {}
        self._retired_faults = []
        self._lock = threading.Lock()
        self._stop_asked = _Signal()
        self._listener = _Listener(("127.0.0.1", port), self)
        self.port = self._listener.server_address[1]
        self.url = self.address("all")
        self._thread = threading.Thread(target=self._accept, name="feed server")
        self._thread.daemon = True

    def start(self):
        """Begin to answer. Returns the server itself."""
        self._thread.start()
        return self

    def stop(self):
        """Close the port and every connection, stalled ones included, and end all threads."""
        self._stop_asked.set()
        if self._thread.is_alive():
            self._thread.join()
        self._listener.server_close()
        self._listener.hang_up()
        for fault in self._faults.values() + self._retired_faults:
            fault.close()
        self._stop_asked.close()

    def address(self, name):
        """Return the address of a file of the feed, such as "zirknews.xml"."""
        return "http://127.0.0.1:%d%s/%s" % (self.port, ROOT, name)

    def conf_line(self):
        """Return the first line of the feed configuration that leads to this server."""
        return "src/gz Zirk-all %s\n" % self.url

    def fault(self, path, **what):
        """Make the answers for one path go wrong; an earlier fault there is taken back.

        path: a file of the feed ("zirknews.xml", "all/Packages.gz"), or any path of the
            server when it begins with a slash.
        status: the HTTP status (an integer). Other than 200, the body is a short text
            unless one is given.
        body: a byte string to send instead of the file.
        headers: further headers, pairs of strings.
        answer: what is sent in place of status line, headers and body, as it is: an iterable
            of byte strings, and of numbers for seconds of silence. The connection is closed
            after it.
        stall: one of POINTS: stay silent there, with the connection open, for some seconds
            (a number) or, with None, until the fault is taken back.
        drop: one of POINTS: close the connection there, without more. At "middle" the body
            is shorter than its announced length. A stall at the same point comes first.
        reset: drop, or end the `answer`, with a TCP reset instead of an orderly end.
        times: how many requests the fault strikes; None is all of them.

        Returns the Fault.
        """
        fault = Fault(**what)
        with self._lock:
            self._retire(self._path(path))
            self._faults[self._path(path)] = fault
        return fault

    def clear(self, path=None):
        """Take back the fault of one path, or all faults; what stalls meanwhile goes on."""
        with self._lock:
            for key in list(self._faults) if path is None else [self._path(path)]:
                self._retire(key)

    def __enter__(self):
        return self.start()

    def __exit__(self, *_):
        self.stop()

    @staticmethod
    def _path(path):
        return path if path.startswith("/") else ROOT + "/" + path

    def _retire(self, path):
        """Take a fault back. What it stalls goes on, so it is not closed before stop()."""
        fault = self._faults.pop(path, None)
        if fault is not None and fault.waits:
            fault.release()
            self._retired_faults.append(fault)

    def _accept(self):
        while True:
            ready = select.select([self._listener, self._stop_asked], [], [])[0]
            if self._stop_asked in ready:
                return
            self._listener.handle_request()

    def _note_request(self, path):
        """Note a request. Returns the fault that strikes it, or one that does no harm."""
        self.requests.append(path)
        with self._lock:
            fault = self._faults.get(path, _NO_FAULT)
            if fault.times is not None:
                if fault.times == 0:
                    return _NO_FAULT
                fault.times -= 1
            return fault

    def _read_file(self, path):
        """Return the content of the file that a request path names, None when there is none."""
        path = urllib.unquote(path.split("?")[0])
        if posixpath.normpath(path) != path or not path.startswith(ROOT + "/"):
            return None
        path = os.path.join(self.directory, path[len(ROOT) + 1:])
        return database.read(path) if os.path.isfile(path) else None


class _Listener(SocketServer.ThreadingMixIn, BaseHTTPServer.HTTPServer):
    """The listening socket, and a thread for each connection."""

    daemon_threads = True
    request_queue_size = 16
    timeout = 0  # the caller of handle_request() has waited already

    def __init__(self, address, feed):
        self.feed = feed
        self._connections = {}
        self._lock = threading.Lock()
        BaseHTTPServer.HTTPServer.__init__(self, address, _Handler)
        _close_on_exec(self.socket)

    def server_bind(self):
        # Not HTTPServer's: that one asks the name service for the machine's full name.
        SocketServer.TCPServer.server_bind(self)
        self.server_name, self.server_port = self.server_address

    def get_request(self):
        connection, peer = self.socket.accept()
        _close_on_exec(connection)
        return connection, peer

    def process_request(self, request, client_address):
        thread = threading.Thread(target=self.process_request_thread,
                                  args=(request, client_address), name="feed connection")
        thread.daemon = True
        with self._lock:
            self._connections[thread] = request
        thread.start()

    def process_request_thread(self, request, client_address):
        try:
            SocketServer.ThreadingMixIn.process_request_thread(self, request, client_address)
        finally:
            with self._lock:
                del self._connections[threading.current_thread()]

    def hang_up(self):
        """Shut all connections down and wait for their threads."""
        with self._lock:
            connections = self._connections.items()
        for thread, connection in connections:
            try:
                connection.shutdown(socket.SHUT_RDWR)
            except socket.error:
                pass  # closed by its own thread meanwhile
            thread.join()

    def handle_error(self, request, client_address):
        if not isinstance(sys.exc_info()[1], socket.error):
            BaseHTTPServer.HTTPServer.handle_error(self, request, client_address)


class _Dropped(Exception):
    """The connection ends here, whatever is still missing of the answer."""


class _Handler(BaseHTTPServer.BaseHTTPRequestHandler):
    """Answers one request, as HTTP/1.0 does."""

    server_version = "feed"
    sys_version = ""
    wbufsize = -1  # one segment for all headers; flushed at each point

    def do_GET(self):
        feed = self.server.feed
        fault = feed._note_request(self.path)
        if fault.answer is not None:
            self._send_as_it_is(fault)
            return
        status, body = fault.status, fault.body
        if body is None and status == 200:
            body = feed._read_file(self.path)
            if body is None:
                status = 404
        if body is None:
            body = "%d %s\n" % (status, self.responses.get(status, ("",))[0])
        feed.exchanges.append((self.path, dict(self.headers), len(body)))
        try:
            self._reach("headers", fault)
            self.send_response(status)
            self.send_header("Content-Length", str(len(body)))
            for name, value in fault.headers:
                self.send_header(name, value)
            self.end_headers()
            self._reach("body", fault)
            half = len(body) // 2
            self.wfile.write(body[:half])
            self._reach("middle", fault)
            self.wfile.write(body[half:])
        except _Dropped:
            pass

    def _reach(self, point, fault):
        """Come to a point of the answer: stall or drop there if the fault says so."""
        if fault.stall == point:
            self.wfile.flush()
            if not fault.wait(self.connection, fault.seconds):
                raise _Dropped
        if fault.drop == point:
            self.wfile.flush()
            self._hang_up(fault)
            raise _Dropped

    def _send_as_it_is(self, fault):
        """Send the pieces of the fault's own answer, with their silences."""
        for piece in fault.answer:
            if isinstance(piece, str):
                self.connection.sendall(piece)
            elif not fault.wait(self.connection, piece):
                return
        self._hang_up(fault)

    def _hang_up(self, fault):
        """End the connection with a reset, if the fault says so."""
        if fault.reset:
            # With a linger time of zero, close() resets the connection.
            self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER,
                                       struct.pack("ii", 1, 0))
            self.connection.close()

    def log_message(self, *_):
        pass


class _Signal(object):
    """A flag that select() can wait for, with an exact time-out and without polling.

    (threading.Event of this Python polls when it waits with a time-out.)
    """

    def __init__(self):
        self._reader, self._writer = os.pipe()
        _close_on_exec(self._reader)
        _close_on_exec(self._writer)
        self._lock = threading.Lock()

    def fileno(self):
        return self._reader

    def set(self):
        with self._lock:
            if self._writer is not None:
                os.close(self._writer)  # the end of file stays readable for everyone
                self._writer = None

    def close(self):
        self.set()
        if self._reader is not None:
            os.close(self._reader)
            self._reader = None


def _close_on_exec(descriptor):
    """Keep a descriptor out of the commands that this process starts.

    Without this a command that outlives the server would hold its connections open.
    """
    flags = fcntl.fcntl(descriptor, fcntl.F_GETFD)
    fcntl.fcntl(descriptor, fcntl.F_SETFD, flags | fcntl.FD_CLOEXEC)
