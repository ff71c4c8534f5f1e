"""Package files: ar archives of debian-binary, control.tar.gz and data.tar.gz.

The first tar archive has the control paragraph and the package's scripts, the second one the
files that it installs.
"""
import io
import struct
import tarfile
import zlib

MAGIC = b"!<arch>\n"


def pack(control, scripts):
    """Return a package file that installs nothing; the same arguments give the same bytes.

    control: the control paragraph. scripts: name to content.
    """
    files = [("control", 0o644, control)]
    files += [(name, 0o755, scripts[name]) for name in sorted(scripts)]
    content = MAGIC
    for name, member in [("debian-binary", "2.0\n"), ("control.tar.gz", _pack_tar(files)),
                         ("data.tar.gz", _pack_tar([]))]:
        # The names end in "/", as GNU's ar has them: old tools for feeds see no others.
        content += "%-16s%-12d%-6d%-6d%-8s%-10d`\n" % (name + "/", 0, 0, 0, "100644", len(member))
        content += member + "\n" * (len(member) % 2)
    return content


def unpack(content):
    """Return what a package file's control archive holds, name to content.

    Raises ValueError when it is none, also when the files to install can't be read.
    """
    try:
        inner = members(content)
        _unpack_tar(inner["data.tar.gz"])
        return _unpack_tar(inner["control.tar.gz"])
    except (EOFError, IOError, KeyError, struct.error, tarfile.TarError, zlib.error) as e:
        raise ValueError("no package: %s" % e)


def compress(content):
    """Return a byte string as a gzip file, which has no time in it."""
    packer = zlib.compressobj(9, zlib.DEFLATED, 16 + zlib.MAX_WBITS)  # 16: a gzip header
    return packer.compress(content) + packer.flush()


def members(content):
    """Return what an ar archive holds, name to content; raises ValueError. Python 3 can, too."""
    if not content.startswith(MAGIC):
        raise ValueError("it is no ar archive")
    found = {}
    stream = io.BytesIO(content[len(MAGIC):])
    for header in iter(lambda: stream.read(60), b""):
        name, size = header[:16].decode("latin-1").rstrip().rstrip("/"), int(header[48:58])
        found[name] = member = stream.read(size)
        if len(member) < size:
            raise ValueError("it breaks off")
        stream.read(size % 2)
    return found


def _pack_tar(files):
    stream = io.BytesIO()
    with tarfile.open(fileobj=stream, mode="w", format=tarfile.USTAR_FORMAT) as archive:
        for name, mode, content in files:
            entry = tarfile.TarInfo("./" + name)
            entry.mode, entry.size = mode, len(content)
            archive.addfile(entry, io.BytesIO(content))
    return compress(stream.getvalue())


def _unpack_tar(content):
    with tarfile.open(fileobj=io.BytesIO(content), mode="r:gz") as archive:
        return dict((entry.name[2:] if entry.name.startswith("./") else entry.name,
                     archive.extractfile(entry).read()) for entry in archive if entry.isreg())
