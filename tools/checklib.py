# SPDX-FileCopyrightText: libvelpmsg contributors
# SPDX-License-Identifier: Apache-2.0
"""What the check_* scripts share: finding files, reading C++ roughly, reporting."""

import argparse
import pathlib
import re
import sys

CPP = (".h", ".cpp")


def run(description, check, **options):
    """Runs check(root, arguments), which yields one line per mistake, and ends the program."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--root", type=pathlib.Path, help="the tree to check, by default this one",
                        default=pathlib.Path(__file__).resolve().parent.parent)
    for name, settings in options.items():
        parser.add_argument(settings.pop("flag", name), **settings)
    arguments = parser.parse_args()
    mistakes = list(check(arguments.root, arguments))
    for mistake in mistakes:
        print(mistake)
    name = pathlib.Path(sys.argv[0]).name
    print(f"{name}: {len(mistakes)} mistakes" if mistakes else f"{name}: all is well")
    sys.exit(1 if mistakes else 0)


def files(root, *folders, suffixes=CPP):
    """Files below the folders of root, relative to it; hidden and build folders left out."""
    found = []
    for folder in folders or (".",):
        for path in (root / folder).rglob("*"):
            relative = path.relative_to(root)
            if path.is_file() and path.suffix in suffixes and not _is_foreign(relative):
                found.append(relative)
    return sorted(set(found))


def _is_foreign(relative):
    folders = relative.parts[:-1]
    return any(part.startswith(".") or re.match(r"build(-|$)", part) for part in folders)


def lines(path):
    return path.read_text(encoding="utf-8").splitlines()


_TOKEN = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)"|"(?:\\.|[^"\\\n])*"'
    r"|(?<![0-9A-Fa-f])'(?:\\.|[^'\\\n])+'", re.DOTALL)


def without_comments_and_texts(code):
    """The C++ code with comments and literals blanked out; every line keeps its number."""
    return _TOKEN.sub(lambda token: re.sub(r"[^\n]", " ", token.group()), code)


# Preprocessor lines and other places whose literals are no texts of the program.
_NO_TEXT = re.compile(r'^[ \t]*#(?:[^\n]*\\\n)*[^\n]*|\bextern "C(?:\+\+)?"|\basm\([^)]*\)'
                      r"|\b\w*_CAPABILITY\([^)]*\)", re.MULTILINE)


def texts(code):
    """The literals of C++ code as they are spelled, each with its line; neighbours joined."""
    found, end = [], None
    code = _NO_TEXT.sub(lambda part: re.sub(r"[^\n]", " ", part.group()), code)
    for token in _TOKEN.finditer(code):
        if not token.group().endswith('"') or token.group().startswith("/"):
            continue
        mark = token.group("mark")
        raw = 0 if mark is None else len(mark) + 2
        text = token.group()[raw + 1:-1 - max(raw - 1, 0)]
        if end is not None and not code[end:token.start()].strip():
            found[-1] = (found[-1][0], found[-1][1] + text)
        else:
            found.append((code.count("\n", 0, token.start()) + 1, text))
        end = token.end()
    return found


_TEST = re.compile(r"^\s*(?:TYPED_)?TEST(?:_[FP])?\(\s*(\w+)\s*,\s*(\w+)\s*\)", re.MULTILINE)


def tests(root):
    """The names `Suite.Test` of all GoogleTest cases, each with its file."""
    found = {}
    for path in files(root, "tests"):
        for suite, test in _TEST.findall((root / path).read_text(encoding="utf-8")):
            found[f"{suite}.{test}"] = path
    return found


def named_tests(text):
    """The names `Suite.Test` that stand in backticks in a Markdown text."""
    return re.findall(r"`([A-Z]\w*\.[A-Z]\w+)`", text)
