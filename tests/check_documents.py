#!/usr/bin/env python3
"""Checks what the documents claim.

Usage: check_documents.py links | tokens | example DOCUMENT NUMBER PROGRAM | commands SFDAG
"""

import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
README = ROOT / "README.md"
DOCUMENTS = [README, *sorted((ROOT / "docs").glob("*.md"))]
# The parts of the tree that backticks in a document may name.
PATH = re.compile(r"(?:\w+Interfaces|HostMath|src|host|examples|bench|tests|scripts|cmake|docs)/[\w./-]+")


def blocks(document, language):
    """The code blocks of a document in one language."""
    return re.findall(rf"^```{language}\n(.*?)^```$", document.read_text(), re.MULTILINE | re.DOTALL)


def check_links():
    """Every link, every file of this project in backticks, and every document that a header names exists."""
    for document in DOCUMENTS:
        text = document.read_text()
        prose = re.sub(r"^ *```.*?^ *```$", "", text, flags=re.MULTILINE | re.DOTALL)
        links = [link for link in re.findall(r"\]\(([^)#]+)[^)]*\)", prose) if "://" not in link]
        paths = [path for path in re.findall(r"`([^`\n]+)`", prose) if PATH.fullmatch(path)]
        for target in [document.parent / link for link in links] + [ROOT / path for path in paths]:
            if not target.exists():
                yield f"{document.name}: {os.path.relpath(target, ROOT)} does not exist"
    for header in sorted(ROOT.glob("*Interfaces/*.h")):
        for named in re.findall(r"docs/\w+\.md", header.read_text()):
            if not (ROOT / named).exists():
                yield f"{header.name}: {named} does not exist"


def check_tokens():
    """The README lists the tokens of the operator table, with their names and operand counts."""
    table = (ROOT / "ProtectedInterfaces" / "SFOperatorTable.h").read_text()
    rows = re.findall(r'\{Detail::\w+, *"(\w+)", *\'(\\?.)\', *(\d)', table)
    # "#" stands twice in the table; which of its kinds is meant is decided by what follows.
    known = {(token[-1], name, arity) for name, token, arity in rows if name != "UNRESOLVEDREF"}
    listed = set(re.findall(r"^\| `(.)` \| (\w+) \| (\d) \|", README.read_text(), re.MULTILINE))
    if not known:
        yield "SFOperatorTable.h: no rows found"
    for row in sorted(known - listed):
        yield f"README.md lacks {row}"
    for row in sorted(listed - known):
        yield f"README.md lists {row}, which the operator table does not hold"


def check_example(document, number, program):
    """A program of a document prints the lines that are shown after it, in their order."""
    printed = subprocess.run([program], check=True, capture_output=True, text=True).stdout
    remaining = iter(printed.splitlines())
    shown = re.findall(r"```cpp\n.*?```text\n(.*?)```", Path(document).read_text(), re.DOTALL)
    for line in shown[int(number)].splitlines():
        if line not in remaining:
            yield f"{document} shows {line!r}, the program printed:\n{printed}"


def check_commands(sfdag):
    """The commands that the documents show succeed and print what is shown."""
    with tempfile.TemporaryDirectory() as folder:
        os.symlink(ROOT / "examples", Path(folder) / "examples")
        path = f"{Path(sfdag).parent}{os.pathsep}{os.environ['PATH']}"
        for block in [block for document in DOCUMENTS for block in blocks(document, "console")]:
            for command, shown in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block, re.MULTILINE):
                run = subprocess.run(
                    command, shell=True, cwd=folder, env={**os.environ, "PATH": path}, capture_output=True, text=True
                )
                if run.returncode != 0 or run.stdout != shown:
                    yield f"$ {command}\nends with {run.returncode} and prints\n{run.stdout}{run.stderr}"


def main():
    name, *arguments = sys.argv[1:]
    checks = {"links": check_links, "tokens": check_tokens, "example": check_example, "commands": check_commands}
    complaints = list(checks[name](*arguments))
    print("\n".join(complaints))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
