#!/usr/bin/env python3
"""Checks universal files for macOS without a Mac: executables, and static libraries.

Every file must hold code for arm64 and x86_64, for macOS 12.0 and later, and no path of the machine that built it. An
executable must load only libraries of the system and use only symbols that those export for the same processor. It must
be stripped. It must have a signature, which Apple's processors demand, with the right hash of each page. Prints what is wrong and ends
with status 1, or prints the sizes and ends with 0."""
import argparse
import hashlib
import pathlib
import re
import struct
import sys

MINIMUM = (12, 0)
PROCESSORS = {0x0100000C: "arm64", 0x01000007: "x86_64"}

FAT_MAGIC = 0xCAFEBABE
MACHO_MAGIC = 0xFEEDFACF
ARCHIVE_MAGIC = b"!<arch>\n"
MH_OBJECT, MH_EXECUTE = 1, 2
MH_PIE = 0x200000
LC_SYMTAB, LC_SEGMENT, LC_CODE_SIGNATURE, LC_BUILD_VERSION = 0x2, 0x19, 0x1D, 0x32
LC_LOADS = {0xC, 0x80000018, 0x8000001F, 0x20, 0x80000023}  # of a library: plain, weak, re-exported, lazy, upward
LC_RPATH = 0x8000001C
PLATFORM_MACOS = 1
N_STAB, N_TYPE, N_EXT = 0xE0, 0x0E, 0x01
SUPER_BLOB, CODE_DIRECTORY = 0xFADE0CC0, 0xFADE0C02
CS_ADHOC = 0x2
CS_HASHTYPE_SHA256 = 2


class Wrong(Exception):
    """An error in a file."""


def unpack(form, data, offset):
    if offset < 0 or offset + struct.calcsize(form) > len(data):
        raise Wrong("is cut off")
    return struct.unpack_from(form, data, offset)


def text_at(data, offset):
    return data[offset : data.index(b"\0", offset)].decode()


def slices(data):
    """The parts of a universal file by the name of their processor."""
    magic, count = unpack(">II", data, 0)
    if magic != FAT_MAGIC:
        raise Wrong("is not a universal file")
    found = {}
    for i in range(count):
        processor, _, offset, size, align = unpack(">5I", data, 8 + 20 * i)
        name = PROCESSORS.get(processor, hex(processor))
        if name in found:
            raise Wrong(f"holds {name} twice")
        if offset % (1 << align) != 0 or offset + size > len(data):
            raise Wrong(f"holds {name} in a wrong place")
        found[name] = data[offset : offset + size]
    if set(found) != set(PROCESSORS.values()):
        raise Wrong(f"is for {', '.join(sorted(found))}, not for {', '.join(sorted(PROCESSORS.values()))}")
    return found


class Image:
    """A Mach-O file for one processor."""

    def __init__(self, data, processor):
        self.data = data
        magic, cpu, _, self.type, count, _, self.flags, _ = unpack("<8I", data, 0)
        if magic != MACHO_MAGIC:
            raise Wrong("is no 64-bit Mach-O file")
        if PROCESSORS.get(cpu) != processor:
            raise Wrong(f"is for another processor than {processor}")
        self.commands = []
        offset = 32
        for _ in range(count):
            command, size = unpack("<II", data, offset)
            if size < 8:
                raise Wrong("has a load command without a size")
            self.commands.append((command, offset))
            offset += size

    def offsets(self, *commands):
        return [offset for command, offset in self.commands if command in commands]

    def libraries(self):
        """The libraries it loads, in the order in which symbols refer to them."""
        return [text_at(self.data, offset + unpack("<I", self.data, offset + 8)[0]) for offset in self.offsets(*LC_LOADS)]

    def symbols(self):
        """Name, type and description of each symbol."""
        for command in self.offsets(LC_SYMTAB):
            table, count, names, _ = unpack("<4I", self.data, command + 8)
            for i in range(count):
                name, kind, _, description, _ = unpack("<IBBHQ", self.data, table + 16 * i)
                yield text_at(self.data, names + name), kind, description

    def check_version(self):
        versions = self.offsets(LC_BUILD_VERSION)
        if not versions:
            raise Wrong("does not say for which system it is")
        platform, minimum = unpack("<II", self.data, versions[0] + 8)
        if platform != PLATFORM_MACOS or (minimum >> 16, minimum >> 8 & 0xFF) != MINIMUM:
            raise Wrong(f"is for platform {platform} from {minimum >> 16}.{minimum >> 8 & 0xFF}")

    def check_loading(self, known):
        """`known` has the symbols of each library, by the library's name."""
        libraries = self.libraries()
        for library in libraries:
            if not library.startswith("/usr/lib/"):
                raise Wrong(f"loads {library}")
        if self.offsets(LC_RPATH):
            raise Wrong("looks for libraries in places of its own")
        for name, kind, description in self.symbols():
            if kind & N_STAB or not kind & N_EXT:
                raise Wrong(f"is not stripped of {name}")
            if kind & N_TYPE:
                continue  # its own
            ordinal = description >> 8
            if not 1 <= ordinal <= len(libraries):
                raise Wrong(f"takes {name} from no library in particular")
            if name not in known.get(libraries[ordinal - 1], ()):
                raise Wrong(f"takes {name} from {libraries[ordinal - 1]}, which is not known to have it")

    def check_signature(self):
        offset, size = unpack("<II", self.data, self.offsets(LC_CODE_SIGNATURE)[0] + 8)
        linkedit = [at for at in self.offsets(LC_SEGMENT) if self.data[at + 8 : at + 24].rstrip(b"\0") == b"__LINKEDIT"]
        if not linkedit:
            raise Wrong("has no segment for its signature")
        _, memory, start, stored = unpack("<4Q", self.data, linkedit[0] + 24)
        if start + stored != len(self.data) or memory < stored:
            raise Wrong("has its signature outside of its segment")
        if offset % 16 != 0 or offset + size != len(self.data):
            raise Wrong("has its signature somewhere else than at its end")
        signature = self.data[offset : offset + size]
        magic, _, count = unpack(">III", signature, 0)
        if magic != SUPER_BLOB:
            raise Wrong("has a signature of an unknown form")
        blobs = [unpack(">II", signature, 12 + 8 * i)[1] for i in range(count)]
        directories = [blob for blob in blobs if unpack(">I", signature, blob)[0] == CODE_DIRECTORY]
        if len(directories) != 1:
            raise Wrong("has no code directory in its signature")
        directory = signature[directories[0] :]
        _, _, _, flags, hashes, _, _, pages, limit = unpack(">9I", directory, 0)
        hash_size, hash_type, _, page_bits = unpack(">4B", directory, 36)
        if not flags & CS_ADHOC or hash_type != CS_HASHTYPE_SHA256 or hash_size != 32:
            raise Wrong("has a signature of another kind than ad hoc with SHA-256")
        page = 1 << page_bits
        if limit != offset or pages != -(-limit // page):
            raise Wrong("has a signature over something else than all that is before it")
        for i in range(pages):
            covered = self.data[i * page : min((i + 1) * page, limit)]
            if directory[hashes + 32 * i : hashes + 32 * (i + 1)] != hashlib.sha256(covered).digest():
                raise Wrong(f"has a signature that does not fit page {i}")

    def check_executable(self, known):
        if self.type != MH_EXECUTE or not self.flags & MH_PIE:
            raise Wrong("is not a position-independent executable")
        self.check_version()
        self.check_loading(known)
        if not self.offsets(LC_CODE_SIGNATURE):
            raise Wrong("is not signed")
        self.check_signature()


def members(archive):
    """The object files of a static library; its table of contents is left out."""
    offset = len(ARCHIVE_MAGIC)
    while offset < len(archive):
        name, size = archive[offset : offset + 16], int(archive[offset + 48 : offset + 58])
        start, offset = offset + 60, offset + 60 + size
        length = int(name[3:]) if name.startswith(b"#1/") else 0
        name = (archive[start : start + length] if length else name).rstrip(b"\0 ").decode()
        if not name.startswith("__.SYMDEF"):
            yield name, archive[start + length : offset]
        offset += offset % 2


def check_library(archive, processor):
    count = 0
    for name, data in members(archive):
        try:
            image = Image(data, processor)
            if image.type != MH_OBJECT:
                raise Wrong("is not an object file")
            image.check_version()
        except Wrong as wrong:
            raise Wrong(f"holds {name}, which {wrong}") from None
        count += 1
    if count == 0:
        raise Wrong("holds nothing")


def check(path, known, forbidden):
    data = path.read_bytes()
    for text in forbidden:
        if text.encode() in data:
            raise Wrong(f"names {text}")
    sizes = []
    for processor, part in sorted(slices(data).items()):
        try:
            if part.startswith(ARCHIVE_MAGIC):
                check_library(part, processor)
            else:
                Image(part, processor).check_executable(known[processor])
        except Wrong as wrong:
            raise Wrong(f"{wrong} ({processor})") from None
        sizes.append(f"{processor} {len(part):,}")
    return f"{len(data):,} bytes ({', '.join(sizes)})"


def symbols_of(description, processor):
    """Reads a text-based description of a library (.tbd): the library's name, and the symbols for a processor in it and
    in the libraries that it re-exports, which are in the same file."""
    text = description.read_text()
    name = re.search(r"^install-name:\s*'?([^'\s]+)", text, re.MULTILINE).group(1)
    found = set()
    for targets, symbols in re.findall(r"- targets:\s*\[([^]]*)\]\s*symbols:\s*\[([^]]*)\]", text):
        if f"{processor}-macos" in re.split(r"[,\s]+", targets):
            found.update(symbol.strip(" '") for symbol in re.split(r"[,\s]+", symbols))
    return name, found - {""}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--forbid", action="append", default=[], help="a text that no file may contain")
    parser.add_argument("--library", action="append", default=[], type=pathlib.Path, help="a .tbd file of the system")
    parser.add_argument("files", nargs="+", type=pathlib.Path)
    options = parser.parse_args()

    known = {
        processor: dict(symbols_of(library, processor) for library in options.library) for processor in PROCESSORS.values()
    }
    status = 0
    for path in options.files:
        try:
            print(f"{path}: {check(path, known, options.forbid)}")
        except (Wrong, ValueError) as wrong:
            print(f"{path} {wrong}", file=sys.stderr)
            status = 1
    sys.exit(status)


if __name__ == "__main__":
    main()
