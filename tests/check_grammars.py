#!/usr/bin/env python3
"""The grammars of the documents take the texts that sfdag reads, and no others of a table: check_grammars.py SFDAG."""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

from check_documents import ROOT, blocks

TOKENS = re.compile(r"""\s+|\(\*.*?\*\)|(?P<text>"[^"]*"|'[^']*')|\?(?P<special>.*?)\?|(?P<name>[a-z][a-z ]*[a-z]|[a-z])|(?P<sign>\S)""",
                    re.DOTALL)
# What a grammar says in words.
SPECIALS = {
    "a blank": " ", "a line end": "\n", "a letter": "[A-Za-z]", "a digit": "[0-9]", "a hexadecimal digit": "[0-9A-Fa-f]",
    "16 hexadecimal digits: the bits of a NaN": "[0-9A-Fa-f]{16}", "one or more of 0 to 9": "[0-9]+",
    "before a blank or the end of the text": r"(?= |\Z)", '"#" and the rest of the line': "#[^\n]*",
    "any characters but blanks and brackets": r"[^ \[\]]+", '"#" and any characters but blanks': "#[^ ]+",
    '"#" and any characters but blanks, brackets and semicolons': r"#[^ \[\];]+",
    'any characters but blanks, tabs, line ends, quotes and "#"': r'[^ \t\n"#]+',
    "any character but a quote, a backslash and a line end": r'[^"\\\n]', "any character but a quote and a line end": '[^"\n]'}


class Grammar:
    """Rules are nested tuples: ("text", t), ("regex", r), ("rule", name), ("each", ...), ("one of", ...), ("any", e)."""

    def __init__(self, text, blank):
        """`blank` is what may stand before each token."""
        self.blank = re.compile(blank)
        head, _, tail = text.partition("(* Tokens")
        lexical = tail.partition("*)")[2]
        self.items = [match for match in TOKENS.finditer(head + lexical) if match.lastgroup]
        self.rules, self.first = {}, None
        while self.items:
            name = self.items.pop(0)["name"]
            self.first = self.first or name
            self.expect("=")
            self.rules[name] = self.choice()
            self.expect(";")
        self.tokens = {rule for rule in self.rules if re.search(rf"^{rule}\s*=", lexical, re.MULTILINE)}

    def expect(self, sign):
        item = self.items.pop(0)
        assert item["sign"] == sign, (item, sign)

    def next_is(self, sign):
        return bool(self.items) and self.items[0]["sign"] == sign and bool(self.items.pop(0))

    def choice(self):
        parts = [self.sequence()]
        while self.next_is("|"):
            parts.append(self.sequence())
        return ("one of", *parts)

    def sequence(self):
        parts = [self.part()]
        while self.next_is(","):
            parts.append(self.part())
        return ("each", *parts)

    def part(self):
        for begin, end in ("()", "[]", "{}"):
            if self.next_is(begin):
                inner = self.choice()
                self.expect(end)
                return {"(": inner, "[": ("one of", inner, ("each",)), "{": ("any", inner)}[begin]
        item = self.items.pop(0)
        if item["special"]:
            return ("regex", re.compile(SPECIALS[item["special"].strip()]))
        return ("text", item["text"][1:-1].replace("\\\\", "\\")) if item["text"] else ("rule", item["name"])

    def takes(self, text):
        ends = self.ends(("rule", self.first), text, 0, False, {})
        return any(self.blank.match(text, end).end() == len(text) for end in ends)

    def ends(self, part, text, at, within_token, known):
        """Where a part that begins at a place may end."""
        key = (id(part), part[1] if part[0] == "rule" else None, at, within_token)
        if key not in known:
            known[key] = frozenset()
            known[key] = frozenset(self.find_ends(part, text, at, within_token, known))
        return known[key]

    def find_ends(self, part, text, at, within_token, known):
        kind, *content = part
        if kind in ("text", "regex") or (kind == "rule" and content[0] in self.tokens):
            at = at if within_token else self.blank.match(text, at).end()
        if kind == "text":
            return {at + len(content[0])} if text.startswith(content[0], at) else set()
        if kind == "regex":
            found = content[0].match(text, at)
            return {found.end()} if found else set()
        if kind == "rule":
            return self.ends(self.rules[content[0]], text, at, within_token or content[0] in self.tokens, known)
        if kind == "one of":
            return set().union(*(self.ends(each, text, at, within_token, known) for each in content))
        reached, new = {at}, {at}
        if kind == "any":
            while new := set().union(*(self.ends(content[0], text, place, within_token, known) for place in new)) - reached:
                reached |= new
            return reached
        for each in content:
            reached = set().union(*(self.ends(each, text, place, within_token, known) for place in reached))
        return reached


def prepared(formula):
    """A formula without comments, and with blanks for the line ends within brackets."""
    depth, plain = 0, ""
    for character in re.sub(r'("[^"\n]*")|#[^\n]*', lambda match: match[1] or "", formula):
        depth += (character in "([") - (character in ")]")
        plain += " " if character == "\n" and depth > 0 else character
    return plain


# Texts that fit the grammar and can be read, and texts that do neither.
GOOD = {
    "sf": ["X", "+X Y", "- r + + q X\tq Y\nq Z f1", "* f.5 f-2e-3 ", "f2,5", "pradius[2.5]", "+ # 3 #BRX:nut.stl", "o0.5 X",
           "b0.1 X Y", "m[1;0;0;3;0;1;0;0;0;0;1;0] X", "n[0;0;0;0;0;1;2] X", "d[#A;#B] X", "g[[#A;#B][#C]] X", "g[] X",
           "\\ ! ? a c e l q r s t C S T X U D I ^ X Y Z Y X"],
    "vm": ["a var-x", "# ball\n\na var-x # x\nb const -1.5e3\nc add a b\n", 'p param "a \\"b\\x41" 2', "p param r 2 0 10\n",
           "n const nan:7ff8000000000001", "n const -inf"],
    "sfm": ["x", "a = 2; b = -a\nsphere(radius = b^2)", "param r = -.5e1 (-6 .. 2)\nr*x", "union(\n  sphere(1), # ball\n  box([1, 2, 3])\n)",
            "\n\n--x^-2\n\n", "translate(sphere(2), by = [1, 0, 0])"]}
BAD = {
    "sf": ["", "+ X", "- 3 X", "fz ", "f2.5X Y", "p[1]", "m[1;2;x;0;0;1;0;0;0;0;1;0] X", "d[#A] X", "X Y", "o X", "(X)"],
    "vm": ["", "a", "a var-x var-x extra", 'p param "r 2', "n const nan:1", "a b c", "a var-x\nb add a", "a const"],
    "sfm": ["", "sphere(", "x +", "a = 2", "x y", "[1, 2", "param r\nx", "2x", "x;;y", 'resource("#a)']}


def reads(sfdag, ending, text, fits):
    with tempfile.NamedTemporaryFile("w", suffix=f".{ending}") as file:
        file.write(text)
        file.flush()
        verb = ["info"] if ending != "sf" else ["text", "--strict"] if fits else ["check"]
        return subprocess.run([sfdag, *verb, file.name], capture_output=True, check=False).returncode == 0


def main():
    sfdag = sys.argv[1]
    (expression, listing), (formula,) = (list(blocks(ROOT / "docs" / f"{name}.md", "ebnf")) for name in ("text_formats", "formulae"))
    grammars = {"sf": Grammar(expression.text, r"[ \t\r\n]*"), "vm": Grammar(listing.text, r"[ \t\r]*"),
                "sfm": Grammar(formula.text, r"[ \t\r]*")}
    complaints = 0
    for ending, grammar in grammars.items():
        corpus = [path.read_text(errors="replace") for path in (ROOT / "examples").glob(f"**/*.{ending}")]
        corpus += [block.text for document in (ROOT / "docs").glob("*.md") for block in blocks(document, ending)]
        for text in [*GOOD[ending], *BAD[ending], *(text for text in corpus if len(text) < 1000)]:
            fits = text not in BAD[ending]
            taken = grammar.takes(prepared(text) if ending == "sfm" else text)
            if taken != fits or reads(sfdag, ending, text, fits) != fits:
                complaints += 1
                print(f".{ending}: {text!r} is {'' if taken else 'not '}taken by the grammar, and should be {fits}; sfdag says "
                      f"{reads(sfdag, ending, text, fits)}")
    return complaints != 0


if __name__ == "__main__":
    sys.exit(main())
