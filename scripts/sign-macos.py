#!/usr/bin/env python3
"""Signs an executable for macOS ad hoc, in place: sign-macos.py FILE. The file is for one processor and not signed yet.

The signature is the one that Apple's linker writes: a code directory with the SHA-256 of each page, and no identity. Its
structures are those of <Kernel/kern/cs_blobs.h> and <mach-o/loader.h>."""
import hashlib
import pathlib
import struct
import sys

LC_SEGMENT_64, LC_CODE_SIGNATURE = 0x19, 0x1D
CS_ADHOC, CS_LINKER_SIGNED = 0x2, 0x20000
CS_EXECSEG_MAIN_BINARY = 0x1
CS_SUPPORTSEXECSEG = 0x20400  # the version of the code directory
CS_HASHTYPE_SHA256 = 2
PAGE_BITS = 12
HEADER, COMMAND, DIRECTORY, SUPER_BLOB = 32, 16, 88, 20


def aligned(size, to):
    return -(-size // to) * to


def signed(data, identifier):
    """The executable `data` with a signature at its end."""
    data = bytearray(data)
    magic, _, _, _, count, size = struct.unpack_from("<6I", data, 0)
    if magic != 0xFEEDFACF:
        raise ValueError("is not a 64-bit Mach-O file")
    first_content = len(data)
    text = linkedit = None
    offset = HEADER
    for _ in range(count):
        command, length = struct.unpack_from("<II", data, offset)
        if command == LC_CODE_SIGNATURE:
            raise ValueError("is signed already")
        if command == LC_SEGMENT_64:
            name = data[offset + 8 : offset + 24].rstrip(b"\0")
            text, linkedit = (offset if name == b"__TEXT" else text), (offset if name == b"__LINKEDIT" else linkedit)
            for section in range(struct.unpack_from("<I", data, offset + 64)[0]):
                start = struct.unpack_from("<I", data, offset + 72 + 80 * section + 48)[0]
                first_content = min(first_content, start or first_content)
        offset += length
    if text is None or linkedit is None:
        raise ValueError("has no __TEXT or no __LINKEDIT")
    if HEADER + size + COMMAND > first_content:
        raise ValueError("has no room for another load command")

    limit = aligned(len(data), 16)
    data.extend(bytes(limit - len(data)))
    pages = aligned(limit, 1 << PAGE_BITS) >> PAGE_BITS
    name = identifier.encode() + b"\0"
    hashes = DIRECTORY + len(name)
    directory_size = hashes + 32 * pages
    signature_size = aligned(SUPER_BLOB + directory_size, 16)

    struct.pack_into("<4I", data, HEADER + size, LC_CODE_SIGNATURE, COMMAND, limit, signature_size)
    struct.pack_into("<2I", data, 16, count + 1, size + COMMAND)
    start = struct.unpack_from("<Q", data, linkedit + 40)[0]
    stored = limit + signature_size - start
    struct.pack_into("<Q", data, linkedit + 48, stored)
    struct.pack_into("<Q", data, linkedit + 32, aligned(stored, 1 << PAGE_BITS))

    text_start, text_size = struct.unpack_from("<2Q", data, text + 40)
    directory = struct.pack(
        ">9I4BI", 0xFADE0C02, directory_size, CS_SUPPORTSEXECSEG, CS_ADHOC | CS_LINKER_SIGNED, hashes, DIRECTORY, 0, pages,
        limit, 32, CS_HASHTYPE_SHA256, 0, PAGE_BITS, 0
    )
    # No scattered pages, team or 64-bit limit; then what of the file is executable.
    directory += struct.pack(">3IQ3Q", 0, 0, 0, 0, text_start, text_size, CS_EXECSEG_MAIN_BINARY) + name
    for page in range(0, limit, 1 << PAGE_BITS):
        directory += hashlib.sha256(data[page : min(page + (1 << PAGE_BITS), limit)]).digest()
    signature = struct.pack(">5I", 0xFADE0CC0, SUPER_BLOB + directory_size, 1, 0, SUPER_BLOB) + directory
    return bytes(data) + signature.ljust(signature_size, b"\0")


def main():
    path = pathlib.Path(sys.argv[1])
    try:
        path.write_bytes(signed(path.read_bytes(), path.name))
    except ValueError as error:
        sys.exit(f"{path} {error}")


if __name__ == "__main__":
    main()
