"""What lies in a package, for tests: the outside formats read with the standard library only."""
import io
import tarfile


def archive_members(content):
    """Return the members of an ar archive (a byte string): (name, header fields, content) each.

    The header fields are time, owner, group (integers) and mode (the octal digits).
    Raises ValueError for anything else.
    """
    if not content.startswith(b"!<arch>\n"):
        raise ValueError("not an ar archive")
    members = []
    at = 8
    while at < len(content):
        header = content[at:at + 60]
        if header[58:60] != b"`\n":
            raise ValueError("no member's header at byte %d" % at)
        size = int(header[48:58])
        members.append((header[:16].rstrip(), (int(header[16:28]), int(header[28:34]),
                                               int(header[34:40]), header[40:48].strip()),
                        content[at + 60:at + 60 + size]))
        at += 60 + size + size % 2
    return members


class Package(object):
    """A package file.

    path: where it lies.

    members: as archive_members() gives them. control: field to value, the description's further
    lines with their line feeds. data, control_files: name to (tarfile.TarInfo, content or None)
    in the archive's order, as lists of pairs.
    """

    def __init__(self, path):
        with open(path, "rb") as stream:
            self.members = archive_members(stream.read())
        contents = dict((name.rstrip("/"), content) for name, _, content in self.members)
        self.control_files = _tar_members(contents["control.tar.gz"])
        self.data = _tar_members(contents["data.tar.gz"])
        self.control = fields(dict(
            (info.name, content) for info, content in self.control_files)["./control"])

    def files(self):
        """Return path to content of the files it installs, each path from "/" on."""
        return dict((info.name[1:], content) for info, content in self.data if info.isreg())


def fields(text):
    """Return the fields of a control paragraph."""
    found = {}
    name = None
    for line in text.rstrip("\n").split("\n"):
        if line.startswith(" "):
            found[name] += "\n" + line
        else:
            name, _, value = line.partition(": ")
            if name in found:
                raise ValueError("the field %s stands there twice" % name)
            found[name] = value
    return found


def _tar_members(content):
    with tarfile.open(fileobj=io.BytesIO(content), mode="r:gz") as archive:
        return [(info, archive.extractfile(info).read() if info.isreg() else None)
                for info in archive.getmembers()]
