"""Downloads over plain HTTP, without a time-out, as opkg does them."""
import httplib
import os
import socket
import urlparse


class HeadersError(Exception):
    """There is no good answer; the text is that of the library that opkg downloads with."""


class BodyError(Exception):
    """The answer's body breaks off; the text is as above."""


def fetch(url):
    """Return what lies at an http address, a byte string; a redirection is not followed."""
    parts = urlparse.urlsplit(url)
    if parts.scheme != "http" or not parts.hostname:
        raise HeadersError("URL using bad/illegal format or missing URL")
    connection = httplib.HTTPConnection(parts.hostname, parts.port)
    try:
        try:
            connection.connect()
        except socket.gaierror:
            raise HeadersError("Couldn't resolve host name")
        except socket.error:
            raise HeadersError("Couldn't connect to server")
        try:
            connection.request("GET", parts.path)
            response = connection.getresponse()
        except httplib.BadStatusLine:
            raise HeadersError("Server returned nothing (no headers, no data)")
        except (socket.error, httplib.HTTPException):
            raise HeadersError("Failure when receiving data from the peer")
        if response.status >= 400:
            raise HeadersError("HTTP response code said error")
        try:
            content = response.read()
        except httplib.IncompleteRead:
            raise BodyError("Transferred a partial file")
        except socket.error:
            raise BodyError("Failure when receiving data from the peer")
        room = os.statvfs("/tmp")  # where opkg keeps it at first
        if len(content) > room.f_bavail * room.f_frsize:
            raise BodyError("Failed writing received data to disk/application")
        return content
    finally:
        connection.close()
