"""Lays a skin out where a receiver has it, and loads it."""

import os
import re
import shutil

import enigma
import skin
from simulator import HOST


_own = {}  # size of the picture, text of the simulator's own skin for it: what was loaded


class SkinFailed(RuntimeError):
    """The skin keeps the GUI from starting. line: what the host says of it."""

    def __init__(self, sentence, line):
        RuntimeError.__init__(self, sentence)
        self.line = line


def use(directory=None, user_file=None, size=(1280, 720), stand_ins=False):
    """Load the skin in `directory`, with the folders beside it; without one the simulator's own.

    user_file: what stands in the configuration's skin_user.xml. size: of the picture, unless the
    skin has its own. Raises SkinFailed with the host's own line where the GUI would not start.
    """
    skin.stand_ins = set() if stand_ins else None
    text = scaled(os.path.join(HOST, "skin.xml.in"), size[0])
    own = (size, text) if directory is None and user_file is None else None
    if own in _own:
        skin.restore(_own[own])
        if not skin.edited():
            return
    shutil.rmtree(skin.SHARE, ignore_errors=True)
    _merge(os.path.join(HOST, skin.DEFAULT), os.path.join(skin.SHARE, skin.DEFAULT))
    os.symlink(os.path.join(HOST, "skin_default.xml"), os.path.join(skin.SHARE, "skin_default.xml"))
    if directory is None:
        name = "Simulated"
        os.mkdir(os.path.join(skin.SHARE, name))
        with open(os.path.join(skin.SHARE, name, "skin.xml"), "w") as stream:
            stream.write(text)
    else:
        directory = os.path.realpath(directory)
        name = os.path.basename(directory)
        beside = os.path.dirname(directory)
        for folder in os.listdir(beside):
            source, target = os.path.join(beside, folder), os.path.join(skin.SHARE, folder)
            if folder == skin.DEFAULT:
                _merge(source, target)
            elif os.path.isdir(source):
                os.symlink(source, target)
    if not os.path.isdir(skin.CONFIGURATION):
        os.makedirs(skin.CONFIGURATION)
    user = os.path.join(skin.CONFIGURATION, "skin_user.xml")
    if os.path.lexists(user):
        os.remove(user)
    if user_file is not None:
        os.symlink(os.path.realpath(user_file), user)
    enigma.getDesktop(0).resize(*size)
    try:
        skin.load(name + "/skin.xml")
    except Exception as e:
        raise SkinFailed("The skin '%s' does not start: the host says \"%s\"; put that right in %s."
                         % (name, e, os.path.join(directory or HOST, "skin.xml")), str(e))
    if own:
        _own[own] = skin.state()


def _merge(source, target):
    """Make the directory `target`, with links to the files of `source` over what is there."""
    if not os.path.isdir(target):
        os.makedirs(target)
    for name in os.listdir(source):
        inner, path = os.path.join(source, name), os.path.join(target, name)
        if os.path.isdir(inner):
            _merge(inner, path)
            continue
        if os.path.lexists(path):
            os.remove(path)
        os.symlink(inner, path)


def scaled(path, width):
    """A skin file for a picture this wide: numbers between at signs grow from 1280 pixels on."""
    with open(path) as source:
        return re.sub("@([0-9]+)@", lambda number: str(int(number.group(1)) * width // 1280),
                      source.read())
