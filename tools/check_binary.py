"""Checks that the module's file suits the receivers: python2.7 tools/check_binary.py TARGET FILE

TARGET is mips32el or armhf. What the file holds comes from binutils' readelf. Prints a line for
each check, with the number found and what is allowed; those not met begin with "FAILED". Exit
status: 0 when all are met, 1 when one is not, 2 when FILE cannot be read.
"""
from __future__ import print_function

import os
import re
import subprocess
import sys

# The receivers' libraries, and the newest symbol versions that theirs have.
LIBRARIES = ("libc.so.6", "libgcc_s.so.1", "libm.so.6", "libstdc++.so.6")
NEWEST = {"GLIBC": (2, 17), "GLIBCXX": (3, 4, 19), "CXXABI": (1, 3, 7), "GCC": (4, 99)}
MOST_BYTES = 96 * 1024

# For each target: pairs of a regular expression that must be found in what `readelf --file-header
# --arch-specific` prints, and what it stands for.
PROCESSOR = {
    "mips32el": (
        (r"Class:\s+ELF32\n(.|\n)*little endian(.|\n)*Machine:\s+MIPS",
         "32-bit MIPS, little-endian"),
        (r"Flags:.*\bo32, mips32\n", "header: MIPS32 release 1, o32"),
        (r"\nISA: MIPS32\n", "ABI flags: MIPS32 release 1"),
        (r"\nFP ABI: Hard float \(double precision\)\n", "ABI flags: hard float"),
        (r"\nISA Extension: None\n", "ABI flags: no instruction set extension"),
        (r"\nASEs:\n\tNone\n", "ABI flags: no application-specific extension"),
    ),
    "armhf": (
        (r"Class:\s+ELF32\n(.|\n)*little endian(.|\n)*Machine:\s+ARM", "32-bit ARM, little-endian"),
        (r"Flags:.*\bVersion5 EABI", "header: EABI 5"),
        (r"Tag_CPU_arch: v7\n", "attributes: ARMv7"),
        (r"Tag_ABI_VFP_args: VFP registers\n", "attributes: hard float"),
    ),
}


class Binary(object):
    """What readelf says about the ELF file `path`; IOError when it can say nothing."""

    def __init__(self, path):
        self.path = path
        self.size = os.stat(path).st_size
        self.processor = self._readelf("--file-header", "--arch-specific")
        self.dynamic = self._readelf("--dynamic")
        self.segments = self._readelf("--program-headers")
        self.sections = self._readelf("--section-headers")
        self.exported, self.undefined, self.optional = self._symbols()

    def _readelf(self, *options):
        process = subprocess.Popen(["readelf", "--wide"] + list(options) + [self.path],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   env=dict(os.environ, LC_ALL="C"))
        text, errors = process.communicate()
        if process.returncode != 0 or "Not an ELF file" in errors:
            raise IOError("%s is no ELF file: %s" % (self.path, errors.strip()))
        return text

    def _symbols(self):
        """Return the names of the dynamic symbols: exported, needed, weakly needed."""
        exported, undefined, optional = [], [], []
        for line in self._readelf("--dyn-syms").splitlines():
            fields = line.split()
            if len(fields) < 8 or not fields[0][:-1].isdigit() or fields[4] == "LOCAL":
                continue
            if fields[6] != "UND":
                exported.append(fields[7])
            elif fields[4] == "WEAK":
                optional.append(fields[7])
            else:
                undefined.append(fields[7])
        return exported, undefined, optional

    def libraries(self):
        return re.findall(r"\(NEEDED\).*\[(.*)\]", self.dynamic)

    def versions(self):
        """Return {"GLIBC": (2, 4), ...}: the newest version needed of each kind."""
        newest = {}
        for symbol in self.undefined + self.optional:
            if "@" in symbol:
                kind, numbers = symbol.split("@")[-1].rsplit("_", 1)
                if not re.match(r"[0-9.]+$", numbers):  # such as GLIBC_PRIVATE
                    kind, numbers = kind + "_" + numbers, "0"
                version = tuple(int(number) for number in numbers.split("."))
                newest[kind] = max(version, newest.get(kind, version))
        return newest

    def segment(self, kind):
        """Return the flags ("RW", "R E") of the segments of a kind."""
        return re.findall(r"^  %s +(?:0x\w+ +){5}(...) " % kind, self.segments, re.MULTILINE)


def checks(binary, target):
    """Yield triples: whether it is met, what was checked, and what was found, as texts."""
    def listed(names):
        return "%d%s" % (len(names), names and " (%s)" % ", ".join(sorted(names)) or "")

    yield binary.size <= MOST_BYTES, "bytes, at most %d" % MOST_BYTES, str(binary.size)
    yield ".symtab" not in binary.sections and ".debug_info" not in binary.sections, \
        "sections for debuggers only, none", listed(
            [name for name in (".symtab", ".debug_info") if name in binary.sections])
    yield binary.exported == ["initKelvaro"], "symbols exported, initKelvaro alone", \
        listed(binary.exported)
    libraries = binary.libraries()
    yield set(libraries) <= set(LIBRARIES), "libraries, of the C and C++ ones", listed(libraries)
    foreign = [name for name in binary.undefined
               if "@" not in name and not re.match(r"_?Py", name)]
    yield not foreign, "symbols from neither the libraries nor the interpreter, none", \
        listed(foreign)
    wide = [name for name in binary.undefined + binary.optional if "PyUnicodeUCS4_" in name]
    yield not wide, "symbols of an interpreter with UCS-4 strings, none", listed(wide)
    versions = binary.versions()
    for kind in sorted(set(versions) | set(NEWEST)):
        version, limit = versions.get(kind), NEWEST.get(kind)
        yield version is None or (limit is not None and version <= limit), \
            "symbol version %s, at most %s" % (
                kind, "4.x" if kind == "GCC" else ".".join(map(str, limit or ("none",)))), \
            ".".join(map(str, version or ("none",)))
    relocations = re.findall(r"TEXTREL", binary.dynamic)
    yield not relocations, "marks of text relocations, none", listed(relocations)
    stack = binary.segment("GNU_STACK")
    yield stack == ["RW "], "stack, not executable", ", ".join(stack) or "not said"
    both = [flags for flags in binary.segment("LOAD") if "W" in flags and "E" in flags]
    yield not both, "segments both writable and executable, none", listed(both)
    relro = binary.segment("GNU_RELRO")
    now = re.findall(r"BIND_NOW|Flags:.*NOW", binary.dynamic)
    yield len(relro) == 1 and bool(now), "read-only after relocation, all at once", \
        "%d segment, %s" % (len(relro), "at once" if now else "late")
    yield "(HASH)" in binary.dynamic or target != "mips32el", \
        "symbol table that old loaders know", \
        ", ".join(re.findall(r"\((\w*HASH)\)", binary.dynamic)) or "none"
    for pattern, meaning in PROCESSOR[target]:
        found = re.search(pattern, binary.processor) is not None
        yield found, meaning, "yes" if found else "no"


def main(arguments):
    if len(arguments) != 2 or arguments[0] not in PROCESSOR:
        print("check_binary: name the target (%s) and the file." % " or ".join(sorted(PROCESSOR)),
              file=sys.stderr)
        return 2
    target, path = arguments
    try:
        binary = Binary(path)
    except (IOError, OSError) as e:
        print("check_binary: %s" % e, file=sys.stderr)
        return 2
    status = 0
    for met, what, found in checks(binary, target):
        print("%-6s %s: %s" % ("ok" if met else "FAILED", what, found))
        if not met:
            status = 1
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
