"""Where a feed lies: in a folder on this machine, or at an address.

Both have the same methods. Names are those of files in the feed, such as "all/Packages.gz".
"""

import concurrent.futures
import contextlib
import email.utils
import http.client
import os
import signal
import time
import urllib.error
import urllib.parse
import urllib.request
import zlib

from simulator.feed_problems import NEWS, STATISTICS

DOCUMENTS = (NEWS, STATISTICS)
SILENCE = 5  # seconds at each step, after which receivers give a document up
LONGEST = 60  # seconds that one file may take here
LARGEST = 64 << 20  # bytes of one file that are read, and of what it holds
SLOW = 1  # seconds from which on an answer is told to be slow
PACKAGES_TIME = 120  # seconds for asking after all packages
AT_ONCE = 8  # packages that are asked for at the same time

#: What receivers do at an error status, without a whole answer, at silence, at a redirection that
#: they do not follow.
_OPKG = ("opkg keeps what it had", "opkg keeps what it had", "opkg waits for it without an end",
         "opkg, which does not follow, takes the answer for an index without packages")
_EFFECTS = {
    NEWS: ("the news browser reports a bad Internet connection",
           "the news browser says that the news can not be analyzed",
           "receivers restart their menus when the news browser opens",
           "the news browser reports a bad Internet connection"),
    STATISTICS: ("\"Top 20\" does not open", "\"Top 20\" does not open",
                 "receivers restart their menus when \"Top 20\" opens",
                 "\"Top 20\" does not open"),
}
_REDIRECTIONS = (301, 302, 303, 307)


class _Tree:

    def __init__(self, problems):
        self._problems = problems
        self._told = set()

    def has_told(self, name):
        """Whether the problems say why a file could not be read."""
        return name in self._told

    def _tell(self, name, text, remedy):
        self._problems.error(name, None, text, remedy)
        self._told.add(name)


class Folder(_Tree):
    """A feed in a folder. What can't be read is added to the problems."""

    has_contents = True  # of packages

    def __init__(self, path, problems):
        super().__init__(problems)
        self._path = path

    def read(self, name):
        """Return a file's content, None where there is none."""
        try:
            with open(os.path.join(self._path, name), "rb") as stream:
                return stream.read()
        except FileNotFoundError:
            return None
        except OSError as e:
            self._tell(name, "The file can't be read (%s), and receivers won't get it either"
                       % e.strerror, "make it a file that everyone may read")
            return None

    optional = read

    def size(self, name):
        """Return a file's size in bytes, None where there is none."""
        path = os.path.join(self._path, name)
        return os.path.getsize(path) if os.path.isfile(path) else None

    def places(self):
        """Return the directories that hold packages or an index, and "all" beside any."""
        found = {entry.name for entry in os.scandir(self._path) if entry.is_dir() and any(
            name.endswith(".ipk") or name.startswith("Packages")
            for name in os.listdir(entry.path))}
        return sorted(found | {"all"}) if found else []

    def packages(self, place):
        """Return the names of a directory's package files."""
        path = os.path.join(self._path, place)
        names = os.listdir(path) if os.path.isdir(path) else []
        return sorted(name for name in names if name.endswith(".ipk"))

    def prepare(self, place, names):
        """Learn about these packages of a directory at once."""


class Site(_Tree):
    """A feed at an address. It is asked with GET alone; failures are added to the problems.

    Of packages only the status and the size are looked at.
    """

    has_contents = False

    def __init__(self, address, architectures, problems):
        super().__init__(problems)
        self._address = address
        self._architectures = architectures
        self._sizes = {}
        self._dates = {}
        self._opener = urllib.request.build_opener(_NoRedirection)

    def read(self, name):
        """Return a file's content, None where there is none; adds what receivers meet."""
        effects = _EFFECTS.get(name, _OPKG)
        started = time.monotonic()
        try:
            with _limit(), self._open(name) as answer:
                content = _body(answer)
                self._dates[name] = _date(answer.headers)
                encoding = answer.headers.get("Content-Encoding", "identity")
        except (OSError, http.client.HTTPException, ValueError) as e:
            kind, text = _failure(e)
            self._tell(name, "%s, and %s" % (text, effects[kind]),
                       "publish it there, and have the server answer quickly")
            return None
        taken = time.monotonic() - started
        if name in DOCUMENTS and taken > SLOW:
            self._problems.warning(name, None, "The answer takes %.1f seconds, for which the menus "
                                   "stand still" % taken, "make the server quicker")
        if name not in DOCUMENTS or encoding == "identity":
            return content
        self._tell(name, "The answer is encoded (%s) though nobody has asked for it; receivers "
                   "don't undo that, and %s" % (encoding, effects[1]),
                   "have the server or its proxy send the file as it is")
        try:
            return unpacked(content)
        except ValueError:
            return None

    def optional(self, name):
        """Return a file's content, None where there is none, which is nobody's fault."""
        try:
            with _limit(), self._opener.open(self._request(name), timeout=SILENCE) as answer:
                return _body(answer)
        except (OSError, http.client.HTTPException, ValueError):
            return None

    def size(self, name):
        """Return a package's size in bytes, -1 where it is unknown, None where there is none."""
        return self._sizes.get(name, -1)

    def places(self):
        """Return the directories that the feed was said to have."""
        return self._architectures

    def packages(self, place):
        """What lies in a directory can't be asked for."""
        return []

    def prepare(self, place, names):
        """Ask after these packages of a directory, and how its index agrees with them in time."""
        index = place + "/Packages.gz"
        deadline = time.monotonic() + PACKAGES_TIME
        with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
            answers = pool.map(lambda name: self._ask(name, deadline), names)
            for name, (size, date, failure) in zip(names, answers):
                self._sizes[name] = size
                self._dates[name] = date
                if failure:
                    self._tell(name, "%s, and installing it fails" % failure,
                               "publish it where the index says")
        unknown = [name for name in names if self._sizes[name] == -1]
        if unknown:
            self._problems.warning(index, None, "%d packages could not be asked for in %d seconds"
                                   % (len(unknown), PACKAGES_TIME), "check the folder itself")
        self._check_dates(index, names)

    def _check_dates(self, index, packages):
        """Add what was published later than an index that receivers need for it."""
        made = self._dates.get(index)
        if not made:
            return
        newer = [name for name in packages if (self._dates[name] or 0) > made]
        if newer:
            self._problems.warning(index, None, "The index is older than packages of it (%d, %s "
                                   "the first); opkg refuses those that have changed"
                                   % (len(newer), newer[0]),
                                   "publish the index that was made with them")
        for name in DOCUMENTS if index.startswith("all/") else ():
            if (self._dates.get(name) or 0) > made:
                self._problems.warning(name, None, "The document is newer than the index; "
                                       "receivers may read of packages that opkg does not know yet",
                                       "publish packages first, then indexes, then documents")

    def _ask(self, name, deadline):
        """Return size, date and failure of a package; any of them may be None."""
        if time.monotonic() > deadline:
            return -1, None, None
        try:
            with self._opener.open(self._request(name), timeout=SILENCE) as answer:
                return int(answer.headers.get("Content-Length", -1)), _date(answer.headers), None
        except (OSError, http.client.HTTPException, ValueError) as e:
            return None, None, _failure(e)[1]

    def _request(self, name):
        # As receivers ask; a name may be an address already, that of a redirection.
        address = urllib.parse.urljoin(self._address + "/", urllib.parse.quote(name, "/:?&=%+~"))
        if urllib.parse.urlsplit(address).scheme not in ("http", "https"):
            raise ValueError("%s is no address of the web" % address)
        return urllib.request.Request(address, headers={"Accept-Encoding": "identity"})

    def _open(self, name):
        """Open a file, after redirections where receivers follow them; tells of those."""
        target = name
        for _ in range(10):
            try:
                return self._opener.open(self._request(target), timeout=SILENCE)
            except urllib.error.HTTPError as e:
                if e.code not in _REDIRECTIONS or name not in DOCUMENTS:
                    raise
                target = urllib.parse.urljoin(e.url, e.headers.get("Location", ""))
                e.close()
            self._problems.warning(name, None, "The server redirects to %s; the news follow, opkg "
                                   "does not" % target, "give receivers the new address")
        return self._opener.open(self._request(target), timeout=SILENCE)


class _NoRedirection(urllib.request.HTTPRedirectHandler):

    def redirect_request(self, *_):
        return None


def unpacked(packed):
    """Return what a gzip file holds. Raises ValueError where it is none."""
    try:
        unpacker = zlib.decompressobj(16 + zlib.MAX_WBITS)  # 16: a gzip header
        content = unpacker.decompress(packed, LARGEST)
    except zlib.error as e:
        raise ValueError(str(e))
    if not unpacker.eof:
        raise ValueError("it breaks off, or is larger than %d MB" % (LARGEST >> 20))
    return content


def _failure(error):
    """Return which of the effects an error has, and what to say of it."""
    if isinstance(error, urllib.error.HTTPError):
        error.close()
        if error.code in _REDIRECTIONS:
            return 3, "The server redirects to %s" % error.headers.get("Location")
        return 0, "The server answers with status %d" % error.code
    reason = getattr(error, "reason", error)
    if isinstance(reason, TimeoutError):
        # Receivers take a connection that is not made in time for one that fails.
        return 2 if reason is error else 1, "The server is silent for %d seconds" % SILENCE
    return 1, "The answer does not come as a whole (%s)" % (reason or type(error).__name__)


@contextlib.contextmanager
def _limit():
    """Give up what takes too long, however it spreads its silences. For the main thread alone."""
    def late(*_):
        raise ValueError("it takes more than %d seconds" % LONGEST)
    signal.signal(signal.SIGALRM, late)
    signal.alarm(LONGEST)
    try:
        yield
    finally:
        signal.alarm(0)


def _body(answer):
    content = answer.read(LARGEST + 1)
    if len(content) > LARGEST:
        raise ValueError("it is larger than %d MB" % (LARGEST >> 20))
    if answer.length:  # read() does not say that an announced end has not come
        raise http.client.IncompleteRead(content, answer.length)
    return content


def _date(headers):
    """Return when a file was last changed, in seconds, None where the server does not tell."""
    try:
        return email.utils.parsedate_to_datetime(headers.get("Last-Modified", "")).timestamp()
    except (TypeError, ValueError):
        return None
