#!/usr/bin/env python3
"""Makes the manual page of sfdag and its completion for bash out of the help texts: make_manual.py SFDAG DATE FOLDER."""

import re
import subprocess
import sys
import textwrap
from pathlib import Path

SHARED = ("Model", "Common options")  # groups of options that all verbs have
COMPLETION = r"""
# The options of a verb, and what may follow one of them: words parted by "|", the ends of files, or nothing that is known.
_sfdag()
{
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} verb=${COMP_WORDS[1]}
  [[ $verb == help ]] && verb=${COMP_WORDS[2]}
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    mapfile -t COMPREPLY < <(compgen -W "${!_sfdag_options[*]} help --help --version" -- "$word")
  elif [[ ${COMP_WORDS[1]} == help ]]; then
    ((COMP_CWORD == 2)) && mapfile -t COMPREPLY < <(compgen -W "${!_sfdag_options[*]}" -- "$word")
  elif [[ $before == -* && -n ${_sfdag_values[$verb $before]-} ]]; then
    local values=${_sfdag_values[$verb $before]}
    case $values in
      FILE) _sfdag_files '' ;;
      OUT.*) values=${values#OUT.} && _sfdag_files "${values//|./|}" ;;
      *'|'*) mapfile -t COMPREPLY < <(compgen -W "${values//|/ }" -- "$word") ;;
    esac
  elif [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "${_sfdag_options[$verb]-}" -- "$word")
  elif [[ $verb == view ]]; then
    _sfdag_files 'sf|sfm|vm|py'
  else
    _sfdag_files 'sf|sfm|vm'
  fi
}

# Folders, and the files whose names end so.
_sfdag_files()
{
  local ends=$1 file
  compopt -o filenames 2>/dev/null
  while IFS= read -r file; do
    [[ -z $ends || -d $file || $file =~ \.($ends)$ ]] && COMPREPLY+=("$file")
  done < <(compgen -f -- "$word")
}

complete -F _sfdag sfdag
"""


class Help:
    """A help text: its first line, its options by group as (names, values, explanation), and what stands below them."""

    def __init__(self, text):
        head, _, rest = text.partition("\nUsage: ")
        self.summary = head.strip()
        self.usage, _, rest = rest.partition("\n")
        self.groups, self.below = {}, []
        group = None
        for line in rest.splitlines():
            title = re.fullmatch(r"(\w[\w ]*):", line)
            option = re.fullmatch(r"  (\S.*?)(?:  +(\S.*))?", line)
            if title and title[1] != "Examples":
                group = self.groups.setdefault(title[1], [])
            elif group is not None and not self.below and re.match(" {10,}", line):
                group[-1][2] = line.strip()
            elif group is not None and not self.below and option:
                names, _, values = option[1].partition(" ")
                group.append([names, values.removesuffix(" (required)").removesuffix("(required)"), option[2] or ""])
            elif line or self.below:
                self.below.append(line)


def helps(sfdag):
    def text(*words):
        return Help(subprocess.run([sfdag, *words], capture_output=True, text=True, check=True).stdout)

    program = text("--help")
    return program, {verb: text("help", verb) for verb, _, _ in program.groups["Verbs"]}


def roff(text):
    text = text.replace("\\", r"\(rs").replace("-", r"\-")
    return re.sub(r"^([.'])", r"\\&\1", text, flags=re.MULTILINE)


def filled(text):
    return roff(textwrap.fill(" ".join(text.split()), 76, break_on_hyphens=False))


def paragraphs(lines):
    """Paragraphs as they are; indented lines as examples."""
    for paragraph in "\n".join(lines).strip("\n").split("\n\n"):
        title, _, examples = paragraph.partition("\n")
        if title == "Examples:":
            yield ".PP\n.EX\n" + roff(re.sub("^  ", "", examples, flags=re.MULTILINE)) + "\n.EE"
        else:
            yield ".PP\n" + filled(paragraph)


def options(entries):
    for names, values, explanation in entries:
        yield f".TP\n.B {roff(names.replace(',', ', '))} {roff(values)}".rstrip() + f"\n{filled(explanation)}"


def manual(program, verbs, version, date):
    *text, units, codes = "\n".join(program.below).strip("\n").split("\n\n")
    yield f'.TH SFDAG 1 "{date}" "{version}" "User Commands"\n.SH NAME\nsfdag \\- {roff(program.summary[0].lower() + program.summary[1:-1])}'
    yield ".SH SYNOPSIS\n.B sfdag\nVERB [OPTIONS] [MODEL]\n.br\n.B sfdag help\nVERB"
    yield ".SH DESCRIPTION"
    yield filled(text[0])
    yield from paragraphs("\n\n".join([*text[1:], units]).split("\n"))
    yield ".SH VERBS"
    for verb, text in verbs.items():
        yield f".SS {verb}\n{roff(text.summary)}."
        for group, entries in text.groups.items():
            if group not in (*SHARED, "Positionals"):
                yield from options(entry for entry in entries if not entry[0].startswith("-h,"))
        below = "\n".join(text.below).strip("\n").split("\n\n")
        yield from paragraphs("\n\n".join(part for part in below if part not in (units, codes)).split("\n"))
    any_verb = next(iter(verbs.values()))
    yield ".SH OPTIONS OF EVERY VERB"
    for group in SHARED:
        yield from options(any_verb.groups[group])
    yield ".SH EXIT STATUS"
    for code in re.findall(r"(\d+) ([^;]+)", codes.replace("\n", " ").removesuffix(".")):
        yield f".TP\n.B {code[0]}\n{roff(code[1])}"


def completion(verbs, version):
    yield f"# Completion for {version}, made from its help texts.\n"
    for table in ("options", "values"):
        yield f"declare -A _sfdag_{table}=("
        for verb, text in verbs.items():
            entries = [entry for group, all_of_it in text.groups.items() if group != "Positionals" for entry in all_of_it]
            if table == "options":
                yield f"  [{verb}]='{' '.join(entry[0].replace(',', ' ') for entry in entries)}'"
            else:
                for names, values, _ in entries:
                    for name in names.split(",") if values else ():
                        yield f"  ['{verb} {name}']='{values.replace('OUT.png|svg', 'OUT.png|.svg')}'"
        yield ")"
    yield COMPLETION.rstrip()


def main():
    sfdag, date, folder = sys.argv[1:]
    version = subprocess.run([sfdag, "--version"], capture_output=True, text=True, check=True).stdout.strip()
    program, verbs = helps(sfdag)
    (Path(folder) / "sfdag.1").write_text("\n".join(manual(program, verbs, version, date)) + "\n")
    (Path(folder) / "sfdag.bash").write_text("\n".join(completion(verbs, version)) + "\n")


if __name__ == "__main__":
    main()
