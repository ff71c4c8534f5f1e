#!/usr/bin/python3
"""Checks that the module's file suits the receivers: tools/check_binary.py TARGET FILE

TARGET is mips32el or armhf. Prints a line for each check, with what was found and what is allowed;
the line of a failed check begins with "FAILED". Needs the Debian package python3-pyelftools.

Exit status: 0 when all are met, 1 when one is not, 2 when FILE cannot be read.
"""
import os
import re
import struct
import sys

from elftools.common.exceptions import ELFError
from elftools.elf.elffile import ELFFile

MOST_BYTES = 93 * 1024
PAGE = 4096
# The receivers' libraries, and the newest symbol versions that they have; of GCC any 4.x.
LIBRARIES = {"libc.so.6", "libgcc_s.so.1", "libm.so.6", "libstdc++.so.6"}
NEWEST = {"GLIBC": (2, 17), "GLIBCXX": (3, 4, 19), "CXXABI": (1, 3, 7), "GCC": (4, 99)}
TEXT_RELOCATIONS, BIND_NOW = 4, 8  # DT_FLAGS
UNVERSIONED = ("VER_NDX_LOCAL", "VER_NDX_GLOBAL")


def section(elf, name):
    """Return a section that every module has."""
    found = elf.get_section_by_name(name)
    if found is None:
        raise ELFError("not a module: it has no section " + name)
    return found


def mips32el(elf):
    """Return {what is particular to the processor: whether it is so}."""
    # Elf_MIPS_ABIFlags_v0, as the MIPS ABI has it.
    _, level, release, _, _, _, floats, extension, ases = struct.unpack_from(
        "<HBBBBBBII", section(elf, ".MIPS.abiflags").data())
    return {"header: MIPS32 release 1, o32": elf["e_flags"] & 0xf000f000 == 0x50001000,
            "ABI flags: MIPS32 release 1": (level, release) == (32, 1),
            "ABI flags: hard float": floats == 1,
            "ABI flags: no instruction set extension": extension == 0,
            "ABI flags: no application-specific extension": ases == 0}


def armhf(elf):
    """The same for ARM."""
    attributes = {attribute.tag: attribute.value
                  for vendor in section(elf, ".ARM.attributes").iter_subsections()
                  for scope in vendor.iter_subsubsections()
                  for attribute in scope.iter_attributes()}
    return {"header: EABI 5": elf["e_flags"] >> 24 == 5,
            "attributes: ARMv7": attributes.get("TAG_CPU_ARCH") == 10,
            "attributes: hard float": attributes.get("TAG_ABI_VFP_ARGS") == 1}


PROCESSORS = {"mips32el": (mips32el, "EM_MIPS"), "armhf": (armhf, "EM_ARM")}


def newest_versions(elf):
    """Return {"GLIBC": (2, 4), ...}: the newest symbol version needed of each kind."""
    newest = {}
    needs = elf.get_section_by_name(".gnu.version_r")
    for _, needed in needs.iter_versions() if needs else ():
        for version in needed:
            kind, _, numbers = version.name.rpartition("_")
            if not re.fullmatch("[0-9.]+", numbers):  # such as GLIBC_PRIVATE
                kind, numbers = version.name, "0"
            newest[kind] = max(newest.get(kind, ()), tuple(map(int, numbers.split("."))))
    return newest


def checks(elf, size, target):
    """Yield triples: what is checked, what was found (names or text), and whether it is met."""
    yield "bytes, at most %d" % MOST_BYTES, str(size), size <= MOST_BYTES
    debugging = [name for name in (".symtab", ".debug_info") if elf.get_section_by_name(name)]
    yield "sections for debuggers only, none", debugging, not debugging

    versions = elf.get_section_by_name(".gnu.version")
    exported, undefined, foreign = [], [], []
    for number, symbol in enumerate(section(elf, ".dynsym").iter_symbols()):
        bind = symbol["st_info"]["bind"]
        if bind == "STB_LOCAL":
            continue
        (undefined if symbol["st_shndx"] == "SHN_UNDEF" else exported).append(symbol.name)
        if symbol.name in undefined and bind != "STB_WEAK" and not re.match("_?Py", symbol.name):
            if versions is None or versions.get_symbol(number)["ndx"] in UNVERSIONED:
                foreign.append(symbol.name)
    yield "symbols exported, initKelvaro alone", exported, exported == ["initKelvaro"]
    yield "symbols from neither the libraries nor the interpreter, none", foreign, not foreign
    wide = [name for name in undefined if name.startswith("PyUnicodeUCS4_")]
    yield "symbols of an interpreter with UCS-4 strings, none", wide, not wide

    dynamic = list(section(elf, ".dynamic").iter_tags())
    tags = {tag.entry.d_tag: tag.entry.d_val for tag in dynamic}
    libraries = [tag.needed for tag in dynamic if tag.entry.d_tag == "DT_NEEDED"]
    yield "libraries, of the C and C++ ones", libraries, set(libraries) <= LIBRARIES
    newest = newest_versions(elf)
    for kind in sorted(set(newest) | set(NEWEST)):
        version, limit = newest.get(kind), NEWEST.get(kind, ())
        yield "symbol version %s, at most %s" % (kind, ".".join(map(str, limit)) or "none"), \
            ".".join(map(str, version or ())) or "none", version is None or version <= limit
    if target == "mips32el":
        known = "DT_HASH" in tags
        yield "symbol table that old loaders know", "yes" if known else "no", known

    access = {}
    for segment in elf.iter_segments():
        letters = "".join(letter for bit, letter in ((4, "R"), (2, "W"), (1, "E"))
                          if segment["p_flags"] & bit)
        access.setdefault(segment["p_type"], []).append(letters)
    stack = access.get("PT_GNU_STACK", [])
    yield "stack, not executable", stack, stack == ["RW"]
    both = [letters for letters in access["PT_LOAD"] if "W" in letters and "E" in letters]
    yield "segments both writable and executable, none", both, not both
    text = "DT_TEXTREL" in tags or bool(tags.get("DT_FLAGS", 0) & TEXT_RELOCATIONS)
    yield "text relocations, none", "some" if text else "none", not text
    now = "DT_BIND_NOW" in tags or bool(tags.get("DT_FLAGS", 0) & BIND_NOW)
    yield "symbols found when it is loaded", "yes" if now else "no", now

    particular, machine = PROCESSORS[target]
    fits = elf.elfclass == 32 and elf.little_endian and elf["e_machine"] == machine
    yield "32 bits, little-endian, %s" % machine, "yes" if fits else "no", fits
    for what, met in particular(elf).items() if fits else ():
        yield what, "yes" if met else "no", met
    pages = sorted({segment["p_align"] for segment in elf.iter_segments("PT_LOAD")})
    yield "alignment of segments, to pages of %d bytes" % PAGE, \
        ", ".join(map(str, pages)), pages == [PAGE]


def main(arguments):
    if len(arguments) != 2 or arguments[0] not in PROCESSORS:
        print("check_binary: name the target (%s) and the file." % " or ".join(sorted(PROCESSORS)),
              file=sys.stderr)
        return 2
    target, path = arguments
    status = 0
    try:
        with open(path, "rb") as stream:
            for what, found, met in checks(ELFFile(stream), os.path.getsize(path), target):
                if isinstance(found, list):
                    names = " (%s)" % ", ".join(sorted(found)) if found else ""
                    found = "%d%s" % (len(found), names)
                print("%-6s %s: %s" % ("ok" if met else "FAILED", what, found))
                status = status if met else 1
    except (OSError, ELFError) as e:
        print("check_binary: %s: %s" % (path, e), file=sys.stderr)
        return 2
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
