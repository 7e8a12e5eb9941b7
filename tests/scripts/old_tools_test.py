"""Scripts that run on a Mac use only what bash 3.2, make 3.81 and BSD's tools have, because macOS has those."""
import pathlib
import re
import subprocess
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]

# These run only on Linux. All other scripts run on a Mac too.
LINUX_ONLY = re.compile(
    r"^(\.ci/run|bench/peers/.*|packaging/(debian|portable)/.*|tests/(macos|library/packager|scripts/install_packages).*"
    r"|scripts/(arm64-sysroot|boost-headers|build-macos|check-compilers|check-formula|check-package|check-reproducible"
    r"|compile-for-macos|fetch-with-apt|macos-tools|nightly|package|test-macos)\.sh)$"
)

NEWER_BASH = {
    "mapfile and readarray": r"\b(mapfile|readarray)\b",
    "associative arrays and references to names": r"\b(declare|local|typeset) -[A-Za-z]*[An]",
    "changes of case": r"\$\{\w+(,,?|\^\^?)",
    "transformations of parameters": r"\$\{\w+@[A-Za-z]\}",
    "|& and &>>": r"\|&|&>>",
    "coproc": r"^\s*coproc\b",
    "wait -n": r"\bwait -n\b",
    "the last element by -1": r"\[-1\]",
    "times by printf": r"printf\s+(-v \w+ )?['\"]?%\(",
    "fall-through in case": r";;?&\s*$",
    "newer options of shopt": r"shopt -s (globstar|lastpipe|inherit_errexit|autocd)",
    "newer variables": r"\$\{?(EPOCHSECONDS|EPOCHREALTIME|BASHPID|SRANDOM)\b",
    "[[ -v ]]": r"\[\[? -v ",
}
# An empty array is an unset variable for bash 3.2, so set -u ends the script at "${array[@]}".
UNGUARDED = re.compile(r'(?<!\+)"\$\{(\w+)\[[@*]\]\}"')
NEVER_EMPTY = {
    ("scripts/bench.sh", "targets"),
    ("scripts/install-packages.sh", "missing"),  # the script ends before if it is
    ("scripts/install-packages.sh", "names"),  # as long as that
    ("tests/library/headers.sh", "headers"),
    ("tests/library/headers.sh", "backwards"),
    ("tests/library/headers.sh", "words"),
}
GNU_TOOLS = {
    "sed -i without a suffix": r"\bsed (-\w+ )*-i\b",
    "readlink -f and realpath -m": r"\b(readlink|realpath) -[a-z]*[fm]\b",
    "grep -P": r"\bgrep -\w*P",
    "date -d": r"\bdate (-u )?-d\b",
    "stat -c": r"\bstat -c",
    "xargs -r": r"\bxargs -\w*r\b",
    "find -printf": r"\bfind .*-printf\b",
    "head and tail with negative counts": r"\bhead -(n ?-|c ?-)\d",
    "install -D": r"\binstall -\w*D",
    "nproc": r"\bnproc\b",
}
NEWER_MAKE = {
    "::= and !=": r"^\s*[\w.]+\s*(::?:=|!=)",
    "newer functions": r"\$\((file|guile|let|intcmp) ",
    "newer targets and variables": r"\.ONESHELL|\.SHELLFLAGS|\.RECIPEPREFIX|\.NOTINTERMEDIATE|MAKE_TERMOUT",
    "undefine": r"^undefine ",
    "load": r"^-?load ",
    "grouped targets": r"&:",
}


def code_of(text):
    """Its lines with their numbers, without comments."""
    for number, line in enumerate(text.splitlines(), 1):
        if not line.lstrip().startswith("#"):
            yield number, line


def found_in(text, forbidden):
    return [(number, name) for number, line in code_of(text) for name, form in forbidden.items() if re.search(form, line)]


def scripts():
    names = subprocess.run(["git", "ls-files"], cwd=ROOT, capture_output=True, text=True)
    if names.returncode != 0:
        raise unittest.SkipTest("The sources are not in a git repository.")
    for name in names.stdout.splitlines():
        path = ROOT / name
        if not path.is_file() or path.is_symlink() or LINUX_ONLY.match(name):
            continue
        with path.open("rb") as file:
            first = file.readline()
        if re.match(rb"#!.*\b(ba)?sh\b", first):
            yield name, path.read_text()


class OldTools(unittest.TestCase):
    def test_scripts_need_no_newer_bash_and_no_gnu_tools(self):
        count = 0
        for name, text in scripts():
            self.assertEqual(found_in(text, {**NEWER_BASH, **GNU_TOOLS}), [], name)
            count += 1
        self.assertGreater(count, 8)

    def test_no_script_expands_an_array_that_may_be_empty(self):
        for name, text in scripts():
            arrays = {match for _, line in code_of(text) for match in UNGUARDED.findall(line)}
            self.assertEqual([array for array in arrays if (name, array) not in NEVER_EMPTY], [], name)

    def test_the_makefile_needs_no_newer_make(self):
        self.assertEqual(found_in((ROOT / "Makefile").read_text(), NEWER_MAKE), [])

    def test_the_forms_are_those_that_are_meant(self):
        newer = (
            "mapfile -t a\ndeclare -A b\necho ${c,,} ${c@Q}\nd |& e\ncoproc f\nwait -n\necho ${g[-1]}\nprintf '%(%F)T'\n"
            "x) ;;&\nshopt -s globstar\necho $BASHPID\n[[ -v h ]]\n"
        )
        self.assertEqual({name for _, name in found_in(newer, NEWER_BASH)}, set(NEWER_BASH))
        gnu = (
            "sed -i s/a/b/ c\nreadlink -f a\ngrep -oP b\ndate -d c\nstat -c d\nxargs -r e\nfind . -printf f\nhead -n -1\n"
            "install -D g h\nnproc\n"
        )
        self.assertEqual({name for _, name in found_in(gnu, GNU_TOOLS)}, set(GNU_TOOLS))
        make = "a != b\nc := $(file d)\n.ONESHELL:\nundefine e\nload f.so\ng h &: i\n"
        self.assertEqual({name for _, name in found_in(make, NEWER_MAKE)}, set(NEWER_MAKE))
        self.assertEqual(UNGUARDED.findall('a "${b[@]}" ${c[@]+"${c[@]}"}'), ["b"])


if __name__ == "__main__":
    unittest.main()
