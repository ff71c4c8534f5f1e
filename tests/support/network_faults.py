"""What a server can do to its clients: the faults, and what the module makes of each.

FAULTS and SLOW have them. Where nothing else is said, news and statistics meet the same answer.
"""
import zlib

from simulator.feedserver import ROOT

#: The news and the statistics where the fault does not concern what is in them.
NEWS = "<news><update><title>Title</title></update></news>"
STATISTICS = "EXTENSIONS\nfoo;12\n"

#: As the text of the statistics: the body as it was sent.
WHOLE = object()

#: Seconds of silence that end in a time-out (which is 5 seconds), and that do not.
TOO_LONG = 6
LONG = 1


def http(body, headers=(), status="200 OK", length=None):
    """Return the pieces of an answer that is in order, but for what the arguments change.

    headers: lines. length: what is announced; None is nothing.
    """
    lines = ["HTTP/1.1 " + status] + list(headers)
    if length is not None:
        lines.append("Content-Length: %s" % length)
    return ["\r\n".join(lines) + "\r\n\r\n", body]


def chunked(*pieces):
    return http("".join(pieces), ["Transfer-Encoding: chunked"])


def chunk(body):
    return "%x\r\n%s\r\n" % (len(body), body)


def dripping(text):
    """Return the pieces that send the text a byte a second."""
    return [piece for byte in text for piece in (LONG, byte)]


def gzipped(text):
    packer = zlib.compressobj(9, zlib.DEFLATED, 16 + zlib.MAX_WBITS)
    return packer.compress(text) + packer.flush()


def with_entity(declaration, title="&e;"):
    """A document with a declaration and a title that refers to it."""
    return ("<!DOCTYPE news [%s]><news><update><title>%s</title></update></news>"
            % (declaration, title))


def bomb(levels, size, in_attribute=False):
    """A document whose title, or type, is 10 ** levels times `size` letters long."""
    lines = ['<!ENTITY e0 "%s">' % ("x" * size)]
    for level in range(levels):
        lines.append('<!ENTITY e%d "%s">' % (level + 1, "&e%d;" % level * 10))
    text = with_entity("".join(lines), "&e%d;" % levels)
    if in_attribute:
        text = text.replace("<update><title>", '<update type="').replace(
            "</title>", '"><title>Title</title>')
    return text


class Fault(object):
    """One thing that goes wrong.

    name: the fault, in words. news: what parse_xml makes of it: its status, or the name of the
    exception and its line. statistics: what getDownloadStats makes of it: its result, or the
    exception, or WHOLE. contents: the news list afterwards, for status 1. arguments: of
    FeedServer.fault; one that is a function is called with the server and the path.
    """

    def __init__(self, name, news, statistics, contents=None, **arguments):
        self.name = name
        self.news = news
        self.statistics = statistics
        self.contents = contents
        self.arguments = arguments

    def strike(self, server, name, speed=1):
        """Let it strike the answers for the file `name` of the feed.

        speed: how many times faster than told silences pass. Returns the body that is sent in
        place of the file's, if there is one.
        """
        path = "%s/%s" % (ROOT, name)
        arguments = dict((key, value(server, path) if callable(value) else value)
                         for key, value in self.arguments.items())
        if "answer" in arguments:
            arguments["answer"] = [piece if isinstance(piece, str) else float(piece) / speed
                                   for piece in arguments["answer"]]
        return server.fault(path, **arguments).body


TITLE = [(u"Title", [], "normal")]


def broken(name, error, answer, **arguments):
    """A connection that fails before there is an answer: nothing catches that."""
    return Fault(name, error + ", line 134", error + ", line 122", answer=answer, **arguments)


def document(name, news, content, contents=None):
    """An answer that is in order, with a content that is not: the statistics are any text."""
    return Fault(name, news, content, contents, answer=http(content, length=len(content)))


def harmless(name, answer):
    """An odd way to send the body that does no harm; `answer` is a function of the body."""
    return Fault(name, 1, STATISTICS, TITLE, answer=lambda _, path: answer(body_of(path)))


def body_of(path):
    return NEWS if path.endswith("zirknews.xml") else STATISTICS


def at(server, path):
    return "http://127.0.0.1:%d%s" % (server.port, path)


def elsewhere(place):
    """A redirection; `place` is a function of the server and the path."""
    def headers(server, path):
        return [("Location", place(server, path))]
    return {"status": 302, "headers": headers}


def around(server, path):
    """Have another path redirect to this one; return its address."""
    other = path + "-again"
    server.fault(other, status=302, headers=[("Location", at(server, path))])
    return at(server, other)


HALF = len(NEWS) // 2
PORTAL = ("<!DOCTYPE html>\n<html><head><title>Log in<meta charset=utf-8></head>"
          "<body><p>Welcome<br></body></html>")
XHTML = "<html><head><title>Log in</title></head><body><p>Welcome</p></body></html>"

#: Those that take time.
SLOW = [
    broken("silence before the answer", "socket.timeout", [TOO_LONG]),
    broken("silence within the headers", "socket.timeout", ["HTTP/1.1 200 OK\r\n", TOO_LONG]),
    broken("silence within the body", "socket.timeout",
           http(NEWS[:HALF], length=len(NEWS)) + [TOO_LONG]),
    broken("no announced length, and the connection left open", "socket.timeout",
           http(NEWS) + [TOO_LONG]),
    Fault("announced length, and the connection left open", 1, STATISTICS, TITLE,
          answer=lambda _, path: http(body_of(path), length=len(body_of(path))) + [TOO_LONG]),
    Fault("one byte of the body a second", 1, "<n/>", [], answer=http("") + dripping("<n/>")),
    Fault("one byte of the status line a second", 1, "<n/>", [],
          answer=dripping("HTT") + ["P/1.1 200 OK\r\n\r\n<n/>"]),
]

#: Those that strike at once.
FAULTS = [
    # The connection.
    broken("connection reset before the answer", "socket.error", [], reset=True),
    broken("connection closed before the answer", "httplib.BadStatusLine", []),
    broken("connection reset within the headers", "socket.error",
           ["HTTP/1.1 200 OK\r\nContent-Le"], reset=True),
    broken("connection reset within the body", "socket.error",
           http(NEWS[:HALF], length=len(NEWS)), reset=True),
    Fault("connection closed within the headers", 3, "", answer=["HTTP/1.1 200 OK\r\nContent-Le"]),
    Fault("connection closed within the body", 3, NEWS[:HALF],
          answer=http(NEWS[:HALF], length=len(NEWS))),

    # The head of the answer.
    Fault("noise in place of HTTP", 3, "\0\xff noise\r\n", answer=["\0\xff noise\r\n"]),
    Fault("a document without status line and headers", 1, NEWS + "\n", TITLE,
          answer=[NEWS + "\n"]),
    broken("a status that is no number", "httplib.BadStatusLine",
           ["HTTP/1.1 two OK\r\n\r\n", NEWS]),
    broken("status 99999", "httplib.BadStatusLine", http(NEWS, status="99999 OK")),
    Fault("status 404 with a document", 2, None, status=404, body=NEWS),
    Fault("status 500", 2, None, status=500),
    Fault("status 304", 2, None, status=304),
    Fault("status 401 with a challenge that makes no sense", 2, None,
          status=401, headers=[("WWW-Authenticate", "\xff=")]),
    Fault("status 204", 3, "", answer=http("", status="204 No Content")),
    Fault("status 206 with half of the document", 3, NEWS[:HALF],
          answer=http(NEWS[:HALF], length=HALF, status="206 Partial Content")),
    harmless("500 times status 100 before the answer",
             lambda body: ["HTTP/1.1 100 Continue\r\n\r\n" * 500] + http(body)),
    broken("a status line of 100 KB", "httplib.LineTooLong", ["HTTP/1.1 200 " + "x" * 100000]),
    broken("a header of 100 KB", "httplib.LineTooLong", ["HTTP/1.1 200 OK\r\nX: " + "x" * 100000]),
    broken("20,000 headers", "httplib.HTTPException",
           ["HTTP/1.1 200 OK\r\n" + "X: x\r\n" * 20000 + "\r\n", NEWS]),

    # Redirections.
    Fault("redirection to the same address", 2, None, **elsewhere(at)),
    Fault("redirections between two addresses", 2, None, **elsewhere(around)),
    Fault("redirection to file:///etc/passwd", 2, None,
          **elsewhere(lambda *_: "file:///etc/passwd")),
    Fault("redirection without an address", 2, None, status=302),
    Fault("redirection with status 308", 2, None, status=308,
          headers=lambda *place: [("Location", at(*place))]),
    Fault("redirection to a port where nobody listens", 3, None,
          **elsewhere(lambda *_: "http://127.0.0.1:1/")),
    # Whether the interpreter has TLS or not: this server has none.
    Fault("redirection to https", 3, None,
          **elsewhere(lambda *place: at(*place).replace("http", "https"))),
    Fault("redirection to an FTP server that is not there", 3, None,
          **elsewhere(lambda *_: "ftp://127.0.0.1:1/zirknews.xml")),
    Fault("redirection to half of an address", "ValueError, line 134",
          "ValueError, line 122", **elsewhere(lambda *_: "http://[::1/zirknews.xml")),
    Fault("redirection to a port that is no number",
          "httplib.InvalidURL, line 134", "httplib.InvalidURL, line 122",
          **elsewhere(lambda *_: "http://127.0.0.1:many/zirknews.xml")),

    # The length.
    Fault("the whole document, and more announced", 1, NEWS, TITLE,
          answer=http(NEWS, length=len(NEWS) + 1000)),
    Fault("half of the length announced", 3, NEWS[:HALF], answer=http(NEWS, length=HALF)),
    harmless("length -1", lambda body: http(body, length=-1)),
    harmless("a length that is no number", lambda body: http(body, length="many")),

    # Chunks.
    harmless("chunks of a byte",
             lambda body: chunked(*([chunk(byte) for byte in body] + [chunk("")]))),
    broken("a chunk whose size is no number", "httplib.IncompleteRead", chunked("many\r\n", NEWS)),
    broken("a chunk of 16 EB announced", "httplib.IncompleteRead",
           chunked("f" * 16 + "\r\n", NEWS)),
    broken("a chunk of -1 bytes", "httplib.IncompleteRead", chunked("-1\r\n", NEWS)),
    broken("chunks without the last one", "httplib.IncompleteRead", chunked(chunk(NEWS))),
    broken("a chunk size of 100 KB", "httplib.LineTooLong", chunked("0" * 100000)),

    # The content.
    document("an empty body", 3, ""),
    document("the HTML page of a portal", 3, PORTAL),
    document("a portal's page that is well-formed", 1, XHTML, []),
    document("a compressed body without a word", 3, gzipped(NEWS)),
    Fault("a compressed body that is said to be one", 3, gzipped(NEWS),
          answer=http(gzipped(NEWS), ["Content-Encoding: gzip"])),
    document("20 KB of zero bytes", 3, "\0" * 20000),
    document("a zero byte in a title", 3, NEWS.replace("Title", "Ti\0tle")),
    document("a zero byte after the document", 3, NEWS + "\0"),
    document("a byte order mark before the document", 1, "\xef\xbb\xbf" + NEWS, TITLE),
    document("carriage returns for line ends", 1,
             NEWS.replace("><", ">\r<").replace("Title", "Ti\rtle\r\n"),
             [(u"Ti\ntle\n", [], "normal")]),
    document("the document twice", 3, NEWS * 2),
    document("bytes that are no UTF-8", 3, NEWS.replace("T", "\xff")),
    document("UTF-16", 1, NEWS.decode("ascii").encode("utf-16"), TITLE),
    document("an encoding that nobody knows", "LookupError, line 140",
             "<?xml version='1.0' encoding='nonsense'?>" + NEWS),
    document("an encoding of several bytes a character", "ValueError, line 140",
             "<?xml version='1.0' encoding='shift_jis'?>" + NEWS),
    document("10,000 elements within each other", "RuntimeError, line 143",
             "<n>" * 10000 + "</n>" * 10000),
    document("an entry without a title", "IndexError, line 150", "<news><update/></news>"),
    document("an entity that takes 100 KB", 1, bomb(3, 100), [(u"x" * 10 ** 5, [], "normal")]),
    document("an entity that is part of itself", 3,
             with_entity('<!ENTITY e "&f;"><!ENTITY f "&e;">')),
    document("the title is an entity of file:///etc/passwd",
             "AttributeError, line 150", with_entity('<!ENTITY e SYSTEM "file:///etc/passwd">')),
    document("an entity of file:///etc/passwd within the title", 1,
             with_entity('<!ENTITY e SYSTEM "file:///etc/passwd">', "Ti&e;tle"),
             TITLE),
    Fault("an entity of the server itself within the title", 1, WHOLE,
          TITLE, status=200, body=lambda server, _: with_entity(
              '<!ENTITY e SYSTEM "%s">' % at(server, "/secret"), "Ti&e;tle")),
    Fault("declarations in a file of the server", 1, WHOLE, TITLE,
          status=200, body=lambda server, _: '<!DOCTYPE news SYSTEM "%s">%s' % (
              at(server, "/secret"), NEWS)),
    Fault("declarations in an entity of the server", 1, WHOLE, TITLE,
          status=200, body=lambda server, _: with_entity(
              '<!ENTITY %% p SYSTEM "%s"> %%p;' % at(server, "/secret"), "Title")),
    Fault("a style sheet, a schema and an inclusion of the server", 1, WHOLE,
          TITLE, status=200, body=lambda server, _: (
              '<?xml-stylesheet type="text/xsl" href="%(it)s"?>'
              '<news xmlns:x="http://www.w3.org/2001/XMLSchema-instance"'
              ' x:noNamespaceSchemaLocation="%(it)s">'
              '<i:include xmlns:i="http://www.w3.org/2001/XInclude" href="%(it)s"/>'
              '<update><title>Title</title></update></news>' % {"it": at(server, "/secret")})),
]
