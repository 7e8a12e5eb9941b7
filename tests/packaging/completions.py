#!/usr/bin/env python3
"""Compares the completions and the manual page that are installed with --help. The arguments are tavrin, the directory
"share" of what is installed, and the page."""
import pathlib
import re
import subprocess
import sys

tavrin, share, page = sys.argv[1:]
share = pathlib.Path(share)
files = {
    "bash": share / "bash-completion/completions/tavrin",
    "zsh": share / "zsh/site-functions/_tavrin",
    "fish": share / "fish/vendor_completions.d/tavrin.fish",
}
texts = {shell: path.read_text() for shell, path in files.items()}
texts["manual"] = pathlib.Path(page).read_text().replace("\\-", "-")


def helped(*words):
    return subprocess.run([tavrin, *words], check=True, capture_output=True, text=True).stdout


def holds(where, text, word):
    # fish has its long options without hyphens, and the manual with one, which its macro repeats.
    name = word.lstrip("-")
    if word.startswith("--") and where in ("fish", "manual"):
        word = f"-l {name} " if where == "fish" else f"-{name}"
    return re.search(rf"(?<![\w-]){re.escape(word)}" + ("" if word.endswith(" ") else r"(?![\w-])"), text)


commands = re.findall(r"^  ([a-z]+)\b", helped("--help").split("Commands:\n")[1].split("\n\n")[0], re.MULTILINE)
words = set(commands)
for command in commands:
    options = re.findall(r"^  (--[a-z-]+)", helped(command, "--help"), re.MULTILINE)
    if not options:
        sys.exit(f"{command} --help lists no option")
    words.update(options)
if len(words) < 15:
    sys.exit(f"--help lists only {sorted(words)}")
missing = [f"{where} does not have {word}" for where, text in texts.items() for word in sorted(words)
           if not holds(where, text, word)]
sys.exit("\n".join(missing) or 0)
