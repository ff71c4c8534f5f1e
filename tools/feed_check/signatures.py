"""The signatures of a feed's indexes, verified with gpg."""

import contextlib
import os
import subprocess
import tempfile

#: What gpg may say of a signature: the problem's text and remedy.
_SAYINGS = (
    ("BADSIG", "The signature is not that of the index; opkg refuses the index",
     "sign it anew with packaging/feed --sign"),
    ("EXPSIG", "The signature has expired; opkg refuses the index", "sign it anew"),
    ("EXPKEYSIG", "The key has expired; opkg refuses the index", "sign with a valid key"),
    ("REVKEYSIG", "The key has been revoked; opkg refuses the index", "sign with a valid key"),
    ("NO_PUBKEY", "The signature is by a key that is not known here",
     "sign with the key that receivers have, or name that with --key"),
)


def check_signatures(tree, contents, key, problems):
    """Verify the signature of each index; a feed that has none, and no key, is in order.

    contents: directory to its index as receivers unpack it, a byte string. key: the file of the
    public key that receivers have; None takes the keys of whoever runs this.
    """
    found = {place: tree.optional(place + "/Packages.asc") for place in contents}
    if key is None and not any(found.values()):
        return
    with _keys(key) as options:
        for place, signature in found.items():
            name = place + "/Packages.asc"
            if signature is None:
                problems.error(name, None, "The signature is missing, and receivers that check "
                               "signatures refuse the index", "sign with packaging/feed --sign")
                continue
            said = _verify(signature, contents[place], options)
            for word, text, remedy in _SAYINGS:
                if word in said:
                    add = problems.warning if word == "NO_PUBKEY" and not key else problems.error
                    add(name, None, text, remedy)
                    break
            else:
                if "VALIDSIG" not in said:
                    problems.error(name, None, "This is no signature, and receivers that check "
                                   "signatures refuse the index", "sign with packaging/feed --sign")


def _verify(signature, content, options):
    """Return the words that gpg begins its sentences with."""
    with tempfile.NamedTemporaryFile() as file:
        file.write(signature)
        file.flush()
        result = subprocess.run(
            ["gpg", *options, "--batch", "--status-fd", "1", "--verify", file.name, "-"],
            input=content, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
    lines = result.stdout.decode("utf-8", "replace").splitlines()
    return {line.split()[1] for line in lines if line.startswith("[GNUPG:] ")}


@contextlib.contextmanager
def _keys(key):
    """Options of gpg with which it knows nothing but a key; none without one. Raises OSError."""
    if key is None:
        yield []
        return
    with tempfile.TemporaryDirectory() as home:
        options = ["--homedir", home, "--no-autostart", "--trust-model", "always"]
        with open(key, "rb") as stream:
            taken = subprocess.run(["gpg", *options, "--batch", "--import"], stdin=stream,
                                   stderr=subprocess.DEVNULL, check=False)
        if taken.returncode != 0 or not os.listdir(home):
            raise OSError("%s holds no public key; write one with gpg --export" % key)
        yield options
