#!/usr/bin/env python3
"""Turns the newest section of CHANGELOG.md, on standard input, into Debian's form of a changelog. The arguments are the
version and the maintainer. The date comes from SOURCE_DATE_EPOCH, so that the same source makes the same package."""
import datetime
import email.utils
import os
import re
import sys
import textwrap

version, maintainer = sys.argv[1:]
section = re.split(r"^## .*$", sys.stdin.read(), flags=re.MULTILINE)[1]
entries = [" ".join(entry.split()) for entry in re.split(r"^- ", section, flags=re.MULTILINE)[1:]]
if not entries:
    sys.exit("The newest section of CHANGELOG.md has no entries.")

print(f"tavrin-hook ({version}) unstable; urgency=medium\n")
for entry in entries:
    print(textwrap.fill(entry, 78, initial_indent="  * ", subsequent_indent="    ", break_on_hyphens=False))
date = datetime.datetime.fromtimestamp(int(os.environ["SOURCE_DATE_EPOCH"]), datetime.timezone.utc)
print(f"\n -- {maintainer}  {email.utils.format_datetime(date)}")
