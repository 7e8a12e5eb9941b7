"""Tests what scripts/check-macos.py accepts and rejects and what scripts/sign-macos.py signs, on small files made here."""
import hashlib
import pathlib
import struct
import subprocess
import sys
import tempfile
import unittest

SCRIPTS = pathlib.Path(__file__).resolve().parents[2] / "scripts"
PROCESSORS = {"arm64": 0x0100000C, "x86_64": 0x01000007}
LIBRARY = "/usr/lib/libSystem.B.dylib"
TBD = f"""--- !tapi-tbd
tbd-version:     4
targets:         [ x86_64-macos, arm64-macos ]
install-name:    '{LIBRARY}'
exports:
  - targets:         [ x86_64-macos, arm64-macos ]
    symbols:         [ _close, '_open$INODE64', 
                       _read ]
  - targets:         [ arm64-macos, arm64e-macos ]
    symbols:         [ _new_on_arm ]
--- !tapi-tbd
tbd-version:     4
install-name:    '/usr/lib/system/libdyld.dylib'
exports:
  - targets:         [ x86_64-macos, arm64-macos ]
    symbols:         [ dyld_stub_binder ]
  - targets:         [ x86_64-maccatalyst, arm64-macos ]
    symbols:         [ _catalyst ]
...
"""
DEFINED, UNDEFINED, LOCAL, STAB = 0x0F, 0x01, 0x0E, 0x24
PAGE = 4096


def padded(data, size):
    return data + bytes(-len(data) % size)


def padded_size(size):
    return size + -size % PAGE


def load(command, name, *numbers):
    """A load command that ends in a name, after `numbers`."""
    start = 12 + 4 * len(numbers)
    size = len(padded(bytes(start) + name.encode() + b"\0", 8))
    return struct.pack(f"<{3 + len(numbers)}I", command, size, start, *numbers) + name.encode().ljust(size - start, b"\0")


def signature(covered, kind=2):
    """An ad-hoc signature over `covered`."""
    pages = [covered[i : i + PAGE] for i in range(0, len(covered), PAGE)]
    identifier = b"tool\0"
    hashes = 44 + len(identifier)
    directory = struct.pack(">9I", 0xFADE0C02, hashes + 32 * len(pages), 0x20400, 0x20002, hashes, 44, 0, len(pages), len(covered))
    directory += struct.pack(">4BI", 32, kind, 0, 12, 0) + identifier
    directory += b"".join(hashlib.sha256(page).digest() for page in pages)
    return struct.pack(">5I", 0xFADE0CC0, 20 + len(directory), 1, 0, 20) + directory


def segment(name, address, size, start, stored, sections=0):
    return struct.pack("<2I16s4Q4I", 0x19, 72 + 80 * sections, name, address, size, start, stored, 5, 5, sections, 0)


def image(
    processor="arm64",
    kind=2,
    flags=0x200085,
    minimum=(12, 0),
    platform=1,
    libraries=(LIBRARY,),
    rpath=None,
    symbols=(("__mh_execute_header", DEFINED, 0), ("_open$INODE64", UNDEFINED, 1), ("dyld_stub_binder", UNDEFINED, 1)),
    signed=True,
    content=b"",
    segment_size=0,
):
    """A Mach-O file that has what the check looks at."""
    names = b"\0"
    table = b""
    for name, type_, library in symbols:
        table += struct.pack("<IBBHQ", len(names), type_, 0, library << 8, 0)
        names += name.encode() + b"\0"
    commands = [load(0xC, library, 2, 0, 0) for library in libraries]
    if rpath:
        commands.append(load(0x8000001C, rpath))
    if minimum:
        commands.append(struct.pack("<6I", 0x32, 24, platform, minimum[0] << 16 | minimum[1] << 8, 14 << 16, 0))
    count = len(commands) + 3 + signed
    size = sum(map(len, commands)) + 24 + 2 * 72 + 80 + 16 * signed
    start = 32 + size + 16  # with room for the command of a signature
    commands.append(struct.pack("<6I", 0x2, 24, start, len(symbols), start + len(table), len(names)))
    body = table + names + content + bytes(3 * PAGE)
    covered = start + len(body) + -(start + len(body)) % 16
    stored = covered + len(signature(bytes(covered))) * signed - start
    # The section says where the room for commands ends.
    commands.append(segment(b"__TEXT", 0, start, 0, start, sections=1))
    commands.append(struct.pack("<16s16s2Q8I", b"__text", b"__TEXT", start, 1, start, 0, 0, 0, 0, 0, 0, 0))
    commands.append(segment(b"__LINKEDIT", start, padded_size(stored), start, stored + segment_size))
    if signed:
        commands.append(struct.pack("<4I", 0x1D, 16, covered, len(signature(bytes(covered)))))
    header = struct.pack("<8I", 0xFEEDFACF, PROCESSORS[processor], 0, kind, count, size, flags, 0)
    whole = ((header + b"".join(commands)).ljust(start, b"\0") + body).ljust(covered, b"\0")
    return whole + signature(whole) if signed else whole


def archive(*objects):
    whole = b"!<arch>\n"
    for name, data in (("__.SYMDEF", bytes(8)), *((f"{i}.o", data) for i, data in enumerate(objects))):
        long_name = padded(name.encode() + b"\0", 8)
        whole += f"#1/{len(long_name)}".encode().ljust(48) + str(len(long_name) + len(data)).encode().ljust(10) + b"`\n"
        whole += padded(long_name + data, 2)
    return whole


def object_file(processor, **other):
    return image(processor, kind=1, flags=0, libraries=(), symbols=(), signed=False, **other)


def universal(parts, align=14):
    header = struct.pack(">II", 0xCAFEBABE, len(parts))
    body = b""
    start = 1 << align
    for processor, data in parts:
        offset = start + len(body)
        header += struct.pack(">5I", PROCESSORS[processor], 0, offset, len(data), align)
        body += padded(data, start)
    return header.ljust(start, b"\0") + body


def both(**options):
    return universal([(processor, image(processor, **options)) for processor in PROCESSORS])


class CheckMacos(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.directory = pathlib.Path(scratch.name)
        (self.directory / "system.tbd").write_text(TBD)

    def check(self, data):
        file = self.directory / "file"
        file.write_bytes(data)
        words = [sys.executable, SCRIPTS / "check-macos.py", "--library", self.directory / "system.tbd", "--forbid", "/home/dev/", file]
        return subprocess.run(words, capture_output=True, text=True)

    def test_right_files_are_accepted_with_their_sizes(self):
        right = {
            "executable": both(),
            "with a symbol of each processor": universal(
                [("arm64", image("arm64", symbols=(("_new_on_arm", UNDEFINED, 1),))), ("x86_64", image("x86_64"))]
            ),
            "library": universal([(name, archive(object_file(name), object_file(name))) for name in PROCESSORS]),
        }
        for name, data in right.items():
            with self.subTest(name):
                run = self.check(data)
                self.assertEqual((run.returncode, run.stderr), (0, ""))
                self.assertIn(f"{len(data):,} bytes (arm64 ", run.stdout)

    def test_wrong_files_are_refused_with_the_reason(self):
        changed = bytearray(both())
        changed[(1 << 14) + 2 * PAGE] ^= 1
        changed_intel = bytearray(both())
        changed_intel[struct.unpack_from(">I", changed_intel, 8 + 20 + 8)[0] + 2 * PAGE] ^= 1
        arm, intel = image("arm64"), image("x86_64")
        wrong = {
            "is not a universal file": arm,
            "is for arm64, not for arm64, x86_64": universal([("arm64", arm)]),
            "holds arm64 twice": universal([("arm64", arm), ("arm64", arm)]),
            "is for another processor than x86_64": universal([("arm64", arm), ("x86_64", arm)]),
            "holds x86_64 in a wrong place": universal([("arm64", arm), ("x86_64", intel)])[:-PAGE],
            "is not a position-independent executable (x86_64)": universal([("arm64", arm), ("x86_64", image("x86_64", kind=6))]),
            "is not a position-independent executable (arm64)": both(flags=0x85),
            "is for platform 1 from 13.0": both(minimum=(13, 0)),
            "is for platform 1 from 11.3": both(minimum=(11, 3)),
            "is for platform 2 from 12.0": both(platform=2),
            "does not say for which system it is": both(minimum=None),
            "loads /opt/homebrew/lib/libfmt.dylib": both(libraries=(LIBRARY, "/opt/homebrew/lib/libfmt.dylib")),
            "loads @rpath/libfmt.dylib": both(libraries=(LIBRARY, "@rpath/libfmt.dylib")),
            "looks for libraries in places of its own": both(rpath="@executable_path/../lib"),
            "takes _missing from /usr/lib/libSystem.B.dylib, which": both(symbols=(("_missing", UNDEFINED, 1),)),
            "takes _open from /usr/lib/libSystem.B.dylib, which": both(symbols=(("_open", UNDEFINED, 1),)),
            "takes _read from /usr/lib/libz.1.dylib, which": both(
                libraries=(LIBRARY, "/usr/lib/libz.1.dylib"), symbols=(("_read", UNDEFINED, 2),)
            ),
            "takes _read from no library in particular": both(symbols=(("_read", UNDEFINED, 0xFE),)),
            "is not stripped of _helper": both(symbols=(("_helper", LOCAL, 0),)),
            "is not stripped of main.cpp": both(symbols=(("main.cpp", STAB, 0),)),
            "names /home/dev/": both(content=b"\0/home/dev/tool/main.cpp\0"),
            "takes _new_on_arm from /usr/lib/libSystem.B.dylib, which is not known to have it (x86_64)": both(
                symbols=(("_new_on_arm", UNDEFINED, 1),)
            ),
            "takes _catalyst from /usr/lib/libSystem.B.dylib, which is not known to have it (x86_64)": both(
                symbols=(("_catalyst", UNDEFINED, 1),)
            ),
            "is not signed (arm64)": both(signed=False),
            "is not signed (x86_64)": universal([("arm64", arm), ("x86_64", image("x86_64", signed=False))]),
            "has its signature outside of its segment": both(segment_size=-16),
            "does not fit page 2 (arm64)": bytes(changed),
            "does not fit page 2 (x86_64)": bytes(changed_intel),
            "holds 1.o, which is for another processor than x86_64": universal(
                [("arm64", archive(object_file("arm64"))), ("x86_64", archive(object_file("x86_64"), object_file("arm64")))]
            ),
            "holds 0.o, which is for platform 1 from 14.0": universal(
                [(name, archive(object_file(name, minimum=(14, 0)))) for name in PROCESSORS]
            ),
            "holds 0.o, which is not an object file": universal([(name, archive(image(name))) for name in PROCESSORS]),
            "holds nothing": universal([(name, archive()) for name in PROCESSORS]),
            "is cut off": b"\xca\xfe\xba",
        }
        for reason, data in wrong.items():
            with self.subTest(reason):
                run = self.check(data)
                self.assertEqual((run.returncode, run.stdout), (1, ""))
                self.assertIn(reason, run.stderr)
        self.assertEqual(len(wrong), 33)

    def test_every_byte_that_the_signature_covers_counts(self):
        whole = both()
        covered = struct.unpack_from("<I", whole, whole.index(struct.pack("<II", 0x1D, 16)) + 8)[0]
        for i in range(0, covered, covered // 20):
            changed = bytearray(whole)
            changed[(1 << 14) + i] ^= 0x80
            self.assertEqual(self.check(bytes(changed)).returncode, 1, i)

    def sign(self, data):
        file = self.directory / "unsigned"
        file.write_bytes(data)
        run = subprocess.run([sys.executable, SCRIPTS / "sign-macos.py", file], capture_output=True, text=True)
        return run, file.read_bytes()

    def test_a_file_that_was_signed_here_is_accepted(self):
        for length in (0, 1, 15, 16, PAGE, 3 * PAGE + 7):
            parts = []
            for processor in PROCESSORS:
                unsigned = image(processor, signed=False, content=bytes(length))
                run, signed = self.sign(unsigned)
                self.assertEqual((run.returncode, run.stderr), (0, ""))
                self.assertEqual(signed[PAGE : len(unsigned)], unsigned[PAGE:])
                parts.append((processor, signed))
            run = self.check(universal(parts))
            self.assertEqual((run.returncode, run.stderr), (0, ""), length)

    def test_what_cannot_be_signed_stays_as_it_is(self):
        crowded = image(signed=False)
        first = crowded.index(b"__text") + 48
        wrong = {
            "is signed already": image(),
            "is not a 64-bit Mach-O file": bytes(100),
            "has no __TEXT or no __LINKEDIT": image(signed=False).replace(b"__LINKEDIT", b"__LINKCUT_"),
            "has no room for another load command": crowded[:first] + struct.pack("<I", 40) + crowded[first + 4 :],
        }
        for reason, data in wrong.items():
            run, left = self.sign(data)
            self.assertEqual((run.returncode, left), (1, data), reason)
            self.assertIn(reason, run.stderr)


if __name__ == "__main__":
    unittest.main()
