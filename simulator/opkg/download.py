"""Downloads over plain HTTP, without a time-out, as opkg does them."""
import httplib
import socket
import urlparse


class DownloadError(Exception):
    """A download failed. Its text is that of the library that opkg downloads with.

    in_headers says whether it failed before the body.
    """

    def __init__(self, text, in_headers=True):
        Exception.__init__(self, text)
        self.in_headers = in_headers


def fetch(url):
    """Return what lies at an http address, a byte string. Raises DownloadError."""
    parts = urlparse.urlsplit(url)
    if parts.scheme != "http" or not parts.hostname:
        raise DownloadError("Unsupported protocol")
    connection = httplib.HTTPConnection(parts.hostname, parts.port)
    try:
        try:
            connection.connect()
        except socket.gaierror:
            raise DownloadError("Couldn't resolve host name")
        except socket.error:
            raise DownloadError("Couldn't connect to server")
        try:
            connection.request("GET", parts.path)
            response = connection.getresponse()
        except httplib.BadStatusLine:
            raise DownloadError("Server returned nothing (no headers, no data)")
        except (socket.error, httplib.HTTPException):
            raise DownloadError("Failure when receiving data from the peer")
        if response.status != 200:
            raise DownloadError("HTTP response code said error")
        try:
            return response.read()
        except httplib.IncompleteRead:
            raise DownloadError("Transferred a partial file", in_headers=False)
        except socket.error:
            raise DownloadError("Failure when receiving data from the peer", in_headers=False)
    finally:
        connection.close()
