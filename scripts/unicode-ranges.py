#!/usr/bin/env python3
"""Prints TavrinCore/Support/UnicodeRanges.hpp: the code points that are letters or numbers although their general
category in the oldest supported utf8proc does not say so. The source is what macOS's Foundation answered."""
import ctypes
import ctypes.util
import json
import pathlib
import subprocess
import sys

DATA = pathlib.Path(__file__).parent.parent / "tests/data/platform/character-ranges.jsonl"
# utf8proc_category_t: Lu Ll Lt Lm Lo are 1 to 5, Nd Nl No are 9 to 11.
BY_CATEGORY = {1, 2, 3, 4, 5, 9, 10, 11}

library = ctypes.CDLL(ctypes.util.find_library("utf8proc"))
library.utf8proc_unicode_version.restype = ctypes.c_char_p
if library.utf8proc_unicode_version() != b"15.0.0":
    sys.exit("The table is made against the oldest utf8proc in use, whose Unicode is 15.0.")
library.utf8proc_category.argtypes = [ctypes.c_int32]

wanted = set()
for line in DATA.read_text().splitlines():
    entry = json.loads(line)
    if entry["property"] in ("letter", "number"):
        for first, last in entry["ranges"]:
            wanted.update(c for c in range(first, last + 1) if library.utf8proc_category(c) not in BY_CATEGORY)

ranges = []
for code_point in sorted(wanted):
    if ranges and ranges[-1][1] == code_point - 1:
        ranges[-1][1] = code_point
    else:
        ranges.append([code_point, code_point])

text = """#pragma once

// Printed by scripts/unicode-ranges.py; not edited by hand.

#include <array>

namespace tavrin {

/// Code points `first` to `last`, both included.
struct UnicodeRange {
  char32_t first;
  char32_t last;
};

/// Letters and numbers, in ascending order, that the general categories L and N leave out: alphabetic combining
/// marks, circled and squared letters (Other_Alphabetic in Unicode's DerivedCoreProperties.txt), and those that
/// came with Unicode 15.1 and later.
inline constexpr std::array<UnicodeRange, %d> furtherLettersAndNumbers = {{%s}};

}  // namespace tavrin
""" % (len(ranges), ", ".join("{0x%x, 0x%x}" % (first, last) for first, last in ranges))
run = subprocess.run(["clang-format", "--assume-filename=x.hpp"], input=text, text=True, capture_output=True, check=True)
sys.stdout.write(run.stdout)
