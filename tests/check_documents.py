#!/usr/bin/env python3
"""Checks what the documents claim. Each code block is built, run or read, by its language:

    cpp       a whole program, which the build makes (tests/Documents.cmake)
    python    a whole program
    console   commands, after "$ ", with what they print
    sh        commands whose output is not shown
    cmake     the project of the host guide; lines for such projects
    sfm, vm   a formula, a listing
    ebnf      a grammar (check_grammars.py)
    text      after a program: lines that it prints, in their order; elsewhere a drawing or a quotation

Usage: check_documents.py links | tokens | blocks
       check_documents.py programs FOLDER             write the C++ programs; "NAME LIBRARY" of each on the standard output
       check_documents.py example NAME PROGRAM        run one of them
       check_documents.py python [DOCUMENT...]        by the interpreter that runs this
       check_documents.py commands SFDAG
       check_documents.py host STAGE LIBDIR           against an installed tree
       check_documents.py guide NAME COMPILER
"""

import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import textwrap
from collections import namedtuple
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
TEXT_FORMATS = ROOT / "docs" / "text_formats.md"
HOST_GUIDE = ROOT / "docs" / "host_guide.md"
DOCUMENTS = [*sorted(ROOT.glob("*.md")), *sorted((ROOT / "docs").glob("*.md")),
             *(ROOT / folder / "README.md" for folder in ("examples", "bench", "tests"))]
LANGUAGES = {"cpp", "python", "console", "sh", "cmake", "sfm", "vm", "ebnf", "text"}
# The parts of the tree that backticks in a document may name.
PATH = re.compile(r"(?:\w+Interfaces|HostMath|src|modelling|tools|host|mpi|python|examples|bench|fuzz|tests|scripts|cmake|docs)"
                  r"/[\w./-]+")

Block = namedtuple("Block", "language text shown")


def blocks(document, *languages):
    """The code blocks of a document, each with the text block that follows it next, if one does."""
    found = re.findall(r"^( *)```(\w*)\n(.*?)^\1```$", document.read_text(), re.MULTILINE | re.DOTALL)
    found = [(language, textwrap.dedent(text)) for _, language, text in found]
    for (language, text), after in zip(found, [*found[1:], ("", "")]):
        if not languages or language in languages:
            yield Block(language, text, after[1] if after[0] == "text" else "")


def programs():
    """The C++ programs of the documents by name."""
    for document in DOCUMENTS:
        whole = [block for block in blocks(document, "cpp") if "int main(" in block.text]
        for number, block in enumerate(whole):
            yield f"{document.stem.lower()}_{number}", block


def differences(what, run, shown):
    """Complaints of a program that fails, or does not print the lines that are shown, in their order: there may be lines of
    the library among them."""
    remaining = iter(run.stdout.splitlines())
    missing = [line for line in shown.splitlines() if line not in remaining]
    if run.returncode != 0 or missing:
        yield f"{what} ends with {run.returncode}, does not print {missing}, and prints\n{run.stdout}{run.stderr}"


def check_links():
    """Every link, every file of this project in backticks, and every document that a header names exists. The tables of the
    engine's files are whole."""
    for document in DOCUMENTS:
        text = document.read_text()
        prose = re.sub(r"^ *```.*?^ *```$", "", text, flags=re.MULTILINE | re.DOTALL)
        links = [link for link in re.findall(r"\]\(([^)#]+)[^)]*\)", prose) if "://" not in link]
        paths = [path for path in re.findall(r"`([^`\n]+)`", prose) if PATH.fullmatch(path)]
        for target in [document.parent / link for link in links] + [ROOT / path for path in paths]:
            if not target.exists():
                yield f"{document.name}: {os.path.relpath(target, ROOT)} does not exist"
    design = (ROOT / "docs" / "DESIGN.md").read_text()
    for source in [file for folder in ("tape", "evaluation") for file in (ROOT / "src" / folder).glob("*.*")]:
        if f"`{source.stem}" not in design:
            yield f"DESIGN.md: its table lacks {source.relative_to(ROOT)}"
    for header in [*ROOT.glob("*Interfaces/*.h"), *ROOT.glob("modelling/*.h"), *ROOT.glob("tools/*.h")]:
        for named in re.findall(r"docs/\w+\.md", header.read_text()):
            if not (ROOT / named).exists():
                yield f"{header.name}: {named} does not exist"


def check_tokens():
    """The guide to texts lists the tokens of the operator table, with their names and operand counts."""
    table = (ROOT / "ProtectedInterfaces" / "SFOperatorTable.h").read_text()
    rows = re.findall(r'\{Detail::\w+, *"(\w+)", *\'(\\?.)\', *(\d)', table)
    # "#" stands twice in the table; which of its kinds is meant is decided by what follows.
    known = {(token[-1], name, arity) for name, token, arity in rows if name != "UNRESOLVEDREF"}
    listed = set(re.findall(r"^\| `(.)` \| (\w+) \| (\d) \|", TEXT_FORMATS.read_text(), re.MULTILINE))
    if not known:
        yield "SFOperatorTable.h: no rows found"
    for row in sorted(known - listed):
        yield f"text_formats.md lacks {row}"
    for row in sorted(listed - known):
        yield f"text_formats.md lists {row}, which the operator table does not hold"


def check_blocks():
    """No block is of a language that nothing here tests, and only the guides whose fragments are compiled have any."""
    for document in DOCUMENTS:
        for block in blocks(document):
            fragment = block.language == "cpp" and "int main(" not in block.text and document.stem not in GUIDES
            if block.language not in LANGUAGES or fragment:
                yield f"{document.name}: no test of this block\n{block.text}"


def write_programs(folder):
    """Writes programs that have changed, so that the build leaves the others alone."""
    for name, block in programs():
        included = set(re.findall(r'#include [<"](\w+\.h)', block.text))
        library = next((target for target, part in (("SF::Tools", "tools"), ("SF::Modelling", "modelling"))
                        if any((ROOT / part / header).exists() for header in included)), "SF::SF")
        file = Path(folder) / f"{name}.cpp"
        if not file.exists() or file.read_text() != block.text:
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(block.text)
        print(name, library)
    return ()


def check_example(name, program):
    run = subprocess.run([program], capture_output=True, text=True, check=False)
    return differences(name, run, dict(programs())[name].shown)


def check_python(*documents):
    with tempfile.TemporaryDirectory() as folder:
        for document in [ROOT / name for name in documents] or DOCUMENTS:
            for block in blocks(document, "python"):
                run = subprocess.run([sys.executable, "-c", block.text], cwd=folder, capture_output=True, text=True)
                yield from differences(f"{document.name}: {block.text}", run, block.shown)


def run_command(command, folder, environment):
    """A command of a document. Pages are served until they are interrupted, and builds are only planned."""
    place = ROOT if command.startswith("make ") else folder
    command = re.sub(r"^make ", "make -n ", command)
    served = command.startswith("sfdag view")
    process = subprocess.Popen(["bash", "-c", f"exec {command}" if served else command], cwd=place, env=environment,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if served and "http://" in process.stdout.readline():
        process.send_signal(signal.SIGINT)
    printed = process.communicate()
    return subprocess.CompletedProcess(command, 0 if served and process.returncode == 130 else process.returncode, *printed)


def check_commands(sfdag):
    """The commands that the documents show succeed and print what is shown; formulae and listings can be read."""
    with tempfile.TemporaryDirectory() as folder:
        os.symlink(ROOT / "examples", Path(folder) / "examples")
        environment = {**os.environ, "PATH": f"{Path(sfdag).parent}{os.pathsep}{os.environ['PATH']}"}
        for document in DOCUMENTS:
            for block in blocks(document, "console", "sh", "sfm", "vm"):
                commands = re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block.text, re.MULTILINE)
                if block.language == "sh":  # that of the host guide, and that of the wheel, have tests of their own
                    commands = [(line, None) for line in block.text.splitlines() if re.match("make |sfdag ", line)]
                elif block.language != "console":
                    (Path(folder) / f"model.{block.language}").write_text(block.text)
                    commands = [(f"sfdag info model.{block.language}", None)]
                for command, shown in commands:
                    run = run_command(command, folder, environment)
                    if run.returncode != 0 or shown not in (None, run.stdout):
                        yield f"$ {command}\nends with {run.returncode} and prints\n{run.stdout}{run.stderr}"


def check_host(stage, libdir):
    """The project of the host guide is built as it says, by CMake and without; lines for projects elsewhere can be used."""
    environment = {**os.environ, "DIR": stage, "PKG_CONFIG_PATH": f"{stage}/{libdir}/pkgconfig"}
    with tempfile.TemporaryDirectory() as place:
        folder = Path(place)
        program = next(blocks(HOST_GUIDE, "cpp"))
        (folder / "main.cpp").write_text(program.text)

        def run(document, lines, command):
            (folder / "CMakeLists.txt").write_text(lines)
            done = subprocess.run(["bash", "-ec", command], cwd=folder, env=environment, capture_output=True, text=True)
            return differences(f"{document.name}: {command}", done, "")

        (project,), (commands,) = blocks(HOST_GUIDE, "cmake"), blocks(HOST_GUIDE, "sh")
        complaints = list(run(HOST_GUIDE, project.text, commands.text))
        yield from complaints
        for path in () if complaints else ("build/host", "host"):
            yield from differences(path, subprocess.run([folder / path], capture_output=True, text=True), program.shown)
        head = "cmake_minimum_required(VERSION 3.25)\nproject(App LANGUAGES CXX)\nadd_executable(app main.cpp)\n"
        for document in DOCUMENTS:
            for block in blocks(document, "cmake") if document != HOST_GUIDE else ():
                yield from run(document, head + block.text, "cmake -B app -DCMAKE_PREFIX_PATH=$DIR")


# Where the fragments of a guide belong, and the sources that then compile.
GUIDES = {
    "ADDING_AN_OPERATOR": (
        [("ProtectedInterfaces/SFTypes.h", r"  RESERVED = 40\n"),
         ("ProtectedInterfaces/SFOperatorTable.h", r"(?<=L2, \"\"},\n)(?=}\);)"),
         ("PrivateInterfaces/operators/SFScalarOps.h", r"(?=/// Whether an operator has a meaning)"),
         ("src/calculus/SFCalculusRules.cpp", r"(?=consteval bool ReadsRight)")],
        ["src/calculus/SFCalculusRules.cpp", "src/evaluation/SFScalarEvaluation.cpp"]),
    "ADDING_A_SHAPE": (
        [("modelling/SFShapes.h", r"(?=/// All points within)"),
         ("modelling/src/SFShapes.cpp", r"(?=SFField Capsule\()"),
         ("modelling/src/SFFormulaShapes.cpp", r"(?<=c.Field\(\"tube_radius\"\)\); }},\n)"),
         ("modelling/tests/ShapesTest.cpp", r"(?<=std::vector<Row> rows{\n)")],
        ["modelling/src/SFShapes.cpp", "modelling/src/SFFormulaShapes.cpp", "modelling/tests/ShapesTest.cpp"])}


def check_guide(name, compiler):
    """The fragments of a guide compile where it says that they belong."""
    with tempfile.TemporaryDirectory() as place:
        folder = Path(place)
        for part in ("PublicInterfaces", "PrivateInterfaces", "ProtectedInterfaces", "HostMath", "src", "modelling"):
            shutil.copytree(ROOT / part, folder / part)
        places, sources = GUIDES[name]
        for (file, pattern), block in zip(places, blocks(ROOT / "docs" / f"{name}.md")):
            text, count = re.subn(pattern, lambda _: block.text, (folder / file).read_text())
            assert count == 1, f"{file}: the place of the fragment has moved"
            (folder / file).write_text(text)
        includes = [f"-I{folder / part}" for part in (*os.listdir(folder), "modelling/src")]
        for source in sources:
            command = [compiler, "-std=c++20", "-fsyntax-only", *includes, folder / source]
            yield from differences(source, subprocess.run(command, capture_output=True, text=True, check=False), "")


def main():
    name, *arguments = sys.argv[1:]
    checks = {"links": check_links, "tokens": check_tokens, "blocks": check_blocks, "programs": write_programs,
              "example": check_example, "python": check_python, "commands": check_commands, "host": check_host,
              "guide": check_guide}
    complaints = list(checks[name](*arguments))
    print("\n".join(complaints), end="")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
