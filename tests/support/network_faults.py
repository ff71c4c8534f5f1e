# -*- coding: utf-8 -*-
"""What a server can do to its clients: the faults, and what the module makes of each.

FAULTS has them all. Where nothing else is said, news and statistics meet the same answer.
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

    name: for the test, letters and "_". fault: in words. arguments: of FeedServer.fault; one
    that is a function is called with the server and the path.
    news: what parse_xml makes of it: its status, or the name of the exception and its line.
    statistics: what getDownloadStats makes of it: its result, or the exception, or WHOLE.
    contents: the news list afterwards, for status 1.
    """

    def __init__(self, name, fault, news, statistics, contents=None, **arguments):
        self.name = name
        self.fault = fault
        self.news = news
        self.statistics = statistics
        self.contents = contents
        self.arguments = arguments

    def strike(self, server, name, path=None, speed=1):
        """Let it strike the answers for the file `name` of the feed.

        path: where on the server, in place of the feed. speed: how many times faster than told
        silences pass. Returns what the Fault of the server has as its body.
        """
        path = path or "%s/%s" % (ROOT, name)
        arguments = dict((key, value(server, path) if callable(value) else value)
                         for key, value in self.arguments.items())
        if "answer" in arguments:
            arguments["answer"] = [piece if isinstance(piece, str) else float(piece) / speed
                                   for piece in arguments["answer"]]
        return server.fault(path, **arguments).body


def passes(error):
    """Return the two outcomes of an exception that nobody catches."""
    return error + ", line 134", error + ", line 122"


TITLE = [(u"Title", [], "normal")]


def broken(name, fault, error, answer, **arguments):
    """A connection that fails below what counts as an answer."""
    return Fault(name, fault, passes(error)[0], passes(error)[1], answer=answer, **arguments)


def document(name, fault, news, content, contents=None):
    """An answer that is in order, with a content that is not: the statistics are any text."""
    return Fault(name, fault, news, content, contents,
                 answer=http(content, length=len(content)))


def harmless(name, fault, answer):
    """`answer` is a function of the body. An odd way to send it that does no harm."""
    return Fault(name, fault, 1, STATISTICS, TITLE,
                 answer=lambda _, path: answer(body_of(path)))


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

FAULTS = [
    # The connection.
    broken("reset_at_once", "connection reset before the answer", "socket.error", [], reset=True),
    broken("closed_at_once", "connection closed before the answer", "httplib.BadStatusLine", []),
    broken("reset_in_the_headers", "connection reset within the headers", "socket.error",
           ["HTTP/1.1 200 OK\r\nContent-Le"], reset=True),
    broken("reset_in_the_body", "connection reset within the body", "socket.error",
           http(NEWS[:HALF], length=len(NEWS)), reset=True),
    Fault("closed_in_the_headers", "connection closed within the headers", 3, "",
          answer=["HTTP/1.1 200 OK\r\nContent-Le"]),
    Fault("closed_in_the_body", "connection closed within the body", 3, NEWS[:HALF],
          answer=http(NEWS[:HALF], length=len(NEWS))),

    # Time.
    broken("silent_at_once", "silence before the answer", "socket.timeout", [TOO_LONG]),
    broken("silent_in_the_headers", "silence within the headers", "socket.timeout",
           ["HTTP/1.1 200 OK\r\n", TOO_LONG]),
    broken("silent_in_the_body", "silence within the body", "socket.timeout",
           http(NEWS[:HALF], length=len(NEWS)) + [TOO_LONG]),
    broken("left_open", "no announced length, and the connection left open", "socket.timeout",
           http(NEWS) + [TOO_LONG]),
    Fault("kept_alive", "announced length, and the connection left open", 1, STATISTICS, TITLE,
          answer=lambda _, path: http(body_of(path), length=len(body_of(path))) + [TOO_LONG]),
    Fault("dripping_body", "a body of a byte a second", 1, "<n/>", [],
          answer=http("") + dripping("<n/>")),
    Fault("dripping_headers", "a status line of a byte a second", 1, "<n/>", [],
          answer=dripping("HTT") + ["P/1.1 200 OK\r\n\r\n<n/>"]),

    # The head of the answer.
    Fault("no_http", "noise in place of HTTP", 3, "\0\xff noise\r\n", answer=["\0\xff noise\r\n"]),
    Fault("no_headers", "a document without status line and headers", 1, NEWS + "\n", TITLE,
          answer=[NEWS + "\n"]),
    broken("status_no_number", "a status that is no number", "httplib.BadStatusLine",
           ["HTTP/1.1 two OK\r\n\r\n", NEWS]),
    broken("status_out_of_range", "status 99999", "httplib.BadStatusLine",
           http(NEWS, status="99999 OK")),
    Fault("not_found", "status 404 with a document", 2, None, status=404, body=NEWS),
    Fault("server_error", "status 500", 2, None, status=500),
    Fault("not_modified", "status 304", 2, None, status=304),
    Fault("unauthorised", "status 401 with a challenge that makes no sense", 2, None,
          status=401, headers=[("WWW-Authenticate", "\xff=")]),
    Fault("no_content", "status 204", 3, "", answer=http("", status="204 No Content")),
    Fault("part", "status 206 with half of the document", 3, NEWS[:HALF],
          answer=http(NEWS[:HALF], length=HALF, status="206 Partial Content")),
    harmless("many_continues", "500 times status 100 before the answer",
             lambda body: ["HTTP/1.1 100 Continue\r\n\r\n" * 500] + http(body)),
    broken("long_status_line", "a status line of 100 KB", "httplib.LineTooLong",
           ["HTTP/1.1 200 " + "x" * 100000]),
    broken("long_header", "a header of 100 KB", "httplib.LineTooLong",
           ["HTTP/1.1 200 OK\r\nX: " + "x" * 100000]),
    broken("many_headers", "20,000 headers", "httplib.HTTPException",
           ["HTTP/1.1 200 OK\r\n" + "X: x\r\n" * 20000 + "\r\n", NEWS]),

    # Redirections.
    Fault("redirected_to_itself", "redirection to the same address", 2, None,
          **elsewhere(at)),
    Fault("redirected_in_a_circle", "redirections between two addresses", 2, None,
          **elsewhere(around)),
    Fault("redirected_to_a_file", "redirection to file:///etc/passwd", 2, None,
          **elsewhere(lambda *_: "file:///etc/passwd")),
    Fault("redirected_to_nowhere", "redirection without an address", 2, None, status=302),
    Fault("redirected_for_good", "redirection with status 308", 2, None, status=308,
          headers=lambda *place: [("Location", at(*place))]),
    Fault("redirected_to_silence", "redirection to a port where nobody listens", 3, None,
          **elsewhere(lambda *_: "http://127.0.0.1:1/")),
    # Whether the interpreter has TLS or not: this server has none.
    Fault("redirected_to_https", "redirection to https", 3, None,
          **elsewhere(lambda *place: at(*place).replace("http", "https"))),
    Fault("redirected_to_ftp", "redirection to an FTP server that is not there", 3, None,
          **elsewhere(lambda *_: "ftp://127.0.0.1:1/zirknews.xml")),
    Fault("redirected_to_no_address", "redirection to half of an address", "ValueError, line 134",
          "ValueError, line 122", **elsewhere(lambda *_: "http://[::1/zirknews.xml")),
    Fault("redirected_to_no_port", "redirection to a port that is no number",
          "httplib.InvalidURL, line 134", "httplib.InvalidURL, line 122",
          **elsewhere(lambda *_: "http://127.0.0.1:many/zirknews.xml")),

    # The length.
    Fault("too_long_announced", "the whole document, and more announced", 1, NEWS, TITLE,
          answer=http(NEWS, length=len(NEWS) + 1000)),
    Fault("too_short_announced", "half of the length announced", 3, NEWS[:HALF],
          answer=http(NEWS, length=HALF)),
    harmless("negative_length", "length -1", lambda body: http(body, length=-1)),
    harmless("length_no_number", "a length that is no number",
             lambda body: http(body, length="many")),

    # Chunks.
    harmless("chunked", "chunks of a byte",
             lambda body: chunked(*([chunk(byte) for byte in body] + [chunk("")]))),
    broken("chunk_size_no_number", "a chunk whose size is no number", "httplib.IncompleteRead",
           chunked("many\r\n", NEWS)),
    broken("chunk_size_huge", "a chunk of 16 EB announced", "httplib.IncompleteRead",
           chunked("f" * 16 + "\r\n", NEWS)),
    broken("chunk_size_negative", "a chunk of -1 bytes", "httplib.IncompleteRead",
           chunked("-1\r\n", NEWS)),
    broken("chunk_missing", "chunks without the last one", "httplib.IncompleteRead",
           chunked(chunk(NEWS))),
    broken("chunk_size_long", "a chunk size of 100 KB", "httplib.LineTooLong",
           chunked("0" * 100000)),

    # The content.
    document("empty", "an empty body", 3, ""),
    document("html", "the HTML page of a portal", 3, PORTAL),
    document("xhtml", "a portal's page that is well-formed", 1, XHTML, []),
    document("compressed", "a compressed body without a word", 3, gzipped(NEWS)),
    Fault("content_encoding", "a compressed body that is said to be one", 3, gzipped(NEWS),
          answer=http(gzipped(NEWS), ["Content-Encoding: gzip"])),
    document("zeros", "20 KB of zero bytes", 3, "\0" * 20000),
    document("zero_in_a_text", "a zero byte in a title", 3, NEWS.replace("Title", "Ti\0tle")),
    document("zero_at_the_end", "a zero byte behind the document", 3, NEWS + "\0"),
    document("byte_order_mark", "a byte order mark before the document", 1,
             "\xef\xbb\xbf" + NEWS, TITLE),
    document("carriage_returns", "carriage returns for line ends", 1,
             NEWS.replace("><", ">\r<").replace("Title", "Ti\rtle\r\n"),
             [(u"Ti\ntle\n", [], "normal")]),
    document("twice", "the document twice", 3, NEWS * 2),
    document("no_utf8", "bytes that are no UTF-8", 3, NEWS.replace("T", "\xff")),
    document("utf16", "UTF-16", 1, NEWS.decode("ascii").encode("utf-16"), TITLE),
    document("unknown_encoding", "an encoding that nobody knows", "LookupError, line 140",
             "<?xml version='1.0' encoding='nonsense'?>" + NEWS),
    document("shift_jis", "an encoding of several bytes a character", "ValueError, line 140",
             "<?xml version='1.0' encoding='shift_jis'?>" + NEWS),
    document("deep", "10,000 elements within each other", "RuntimeError, line 143",
             "<n>" * 10000 + "</n>" * 10000),
    document("no_title", "an entry without a title", "IndexError, line 150",
             "<news><update/></news>"),
    document("entity", "an entity that takes 100 KB", 1, bomb(3, 100),
             [(u"x" * 10 ** 5, [], "normal")]),
    document("entity_in_itself", "an entity that is part of itself", 3,
             with_entity('<!ENTITY e "&f;"><!ENTITY f "&e;">')),
    document("external_entity_file", "the title is an entity of file:///etc/passwd",
             "AttributeError, line 150", with_entity('<!ENTITY e SYSTEM "file:///etc/passwd">')),
    document("external_entity_inside", "an entity of file:///etc/passwd within the title", 1,
             with_entity('<!ENTITY e SYSTEM "file:///etc/passwd">', "Ti&e;tle"),
             TITLE),
    Fault("external_entity_server", "an entity of the server itself within the title", 1, WHOLE,
          TITLE, status=200, body=lambda server, _: with_entity(
              '<!ENTITY e SYSTEM "%s">' % at(server, "/secret"), "Ti&e;tle")),
    Fault("external_declarations", "declarations in a file of the server", 1, WHOLE, TITLE,
          status=200, body=lambda server, _: '<!DOCTYPE news SYSTEM "%s">%s' % (
              at(server, "/secret"), NEWS)),
    Fault("external_parameter_entity", "declarations in an entity of the server", 1, WHOLE, TITLE,
          status=200, body=lambda server, _: with_entity(
              '<!ENTITY %% p SYSTEM "%s"> %%p;' % at(server, "/secret"), "Title")),
    Fault("external_parts", "a style sheet, a schema and an inclusion of the server", 1, WHOLE,
          TITLE, status=200, body=lambda server, _: (
              '<?xml-stylesheet type="text/xsl" href="%(it)s"?>'
              '<news xmlns:x="http://www.w3.org/2001/XMLSchema-instance"'
              ' x:noNamespaceSchemaLocation="%(it)s">'
              '<i:include xmlns:i="http://www.w3.org/2001/XInclude" href="%(it)s"/>'
              '<update><title>Title</title></update></news>' % {"it": at(server, "/secret")})),
]

#: Names of the faults that neither take time nor much memory.
WITHOUT_WAITING = frozenset(fault.name for fault in FAULTS) - frozenset((
    "chunk_size_long", "deep", "dripping_body", "dripping_headers", "entity", "left_open",
    "long_header", "long_status_line", "many_headers", "silent_at_once", "silent_in_the_body",
    "silent_in_the_headers", "zeros"))
