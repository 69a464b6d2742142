#!/usr/bin/python3
"""Writes the man page of `zomu` and its completions for bash, zsh and fish, from its parser.

    PYTHONPATH=python python/make_pages.py [FOLDER]    by default python/pages
"""

from __future__ import annotations

import argparse
import sys
from pathlib import Path
from typing import Iterator, NamedTuple

from zomu.command._parser import DESCRIPTION, Parser, build_parser


class Option(NamedTuple):
    names: list[str]
    value: str  # "" for a flag
    help: str


class Command(NamedTuple):
    path: tuple[str, ...]  # ("model", "install")
    help: str
    description: str
    options: list[Option]
    arguments: list[Option]
    usage: str
    has_actions: bool


def commands_of(parser: argparse.ArgumentParser, path: tuple[str, ...] = (), help: str = "") -> Iterator[Command]:
    """The command of this parser and those below it."""
    options, arguments, below = [], [], []
    if isinstance(parser, Parser):
        parser.complete()
    for action in parser._actions:
        if isinstance(action, argparse._SubParsersAction):
            helps = {choice.dest: choice.help or "" for choice in action._choices_actions}
            below = [(name, child, helps[name]) for name, child in action.choices.items()]
        elif action.option_strings:
            options.append(Option(list(action.option_strings), _value(action), action.help or ""))
        else:
            arguments.append(Option([_value(action)], "", action.help or ""))
    usage = " ".join(parser.format_usage().split()).removeprefix("usage: ")
    yield Command(path, help, parser.description or "", options, arguments, usage, bool(below))
    for name, child, words in below:
        yield from commands_of(child, (*path, name), words)


def _value(action: argparse.Action) -> str:
    if isinstance(action.metavar, tuple):
        return " ".join(action.metavar)
    return action.metavar or ("" if action.nargs == 0 else action.dest.upper())


def man_page(commands: list[Command]) -> str:
    def text(words: str) -> str:
        return words.replace("\\", "\\e").replace("-", "\\-").replace("`", "")

    purpose = text(DESCRIPTION[0].lower() + DESCRIPTION[1:-1])
    lines = ['.TH ZOMU 1 "" "ZOMU" "User Commands"', ".SH NAME", f"zomu \\- {purpose}"]
    lines += [".SH SYNOPSIS", ".B zomu", "COMMAND ...", ".SH DESCRIPTION", text(DESCRIPTION)]
    lines += ["The exit status is 0 if all is well, 1 if the work failed and 2 if the command line was wrong;"]
    lines += [".B zomu verify", "has its own."]
    for command in commands:
        if command.path:
            title = text(" ".join(command.path).upper())
            lines += [f".SH ZOMU {title}", f".B {text(command.usage)}", ".PP", text(command.description)]
        elif command.options:
            lines.append(".SH OPTIONS")
        for option in command.arguments + command.options:
            names = f".B {text(', '.join(option.names))}"
            value = f" \\fI{text(option.value)}\\fR" if option.value else ""
            lines += [".TP", names + value, text(option.help)]
    lines += [".SH FILES", ".TP", ".I ~zvplugintmp~"]
    lines.append("In the temporary directory (TMPDIR, else /tmp): the model folder.")
    lines += [".SH SEE ALSO", "zomu\\-model and zomu\\-template, which need no Python."]
    return "\n".join(lines) + "\n"


def bash_completion(commands: list[Command]) -> str:
    lines = [
        "# Completion of zomu for bash. Written by python/make_pages.py.",
        "_zomu() {",
        "    local word=${COMP_WORDS[COMP_CWORD]} path= words=",
        "    case \"${COMP_WORDS[1]} ${COMP_WORDS[2]}\" in",
    ]
    groups = [command for command in commands if command.has_actions and command.path]
    for group in groups:
        (name,) = group.path
        lines.append(f'        "{name} "*) [ $COMP_CWORD -gt 2 ] && path="{name} ${{COMP_WORDS[2]}}" ;;')
    lines += ["    esac", "    if [ -z \"$path\" ] && [ $COMP_CWORD -gt 1 ]; then path=${COMP_WORDS[1]}; fi"]
    lines.append("    case $path in")
    for command in commands:
        words = [name for option in command.options for name in option.names] + _below(command, commands)
        lines.append(f"        \"{' '.join(command.path)}\") words=\"{' '.join(words)}\" ;;")
    lines += [
        "    esac",
        "    # Where nothing is left, `-o default` completes names of files.",
        "    if [[ $word == -* || -z $path || $path == model ]]; then",
        "        mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")",
        "    else",
        "        COMPREPLY=()",
        "    fi",
        "}",
        "complete -o default -F _zomu zomu",
    ]
    return "\n".join(lines) + "\n"


def _below(command: Command, commands: list[Command]) -> list[str]:
    return [other.path[-1] for other in commands if other.path and other.path[:-1] == command.path]


def zsh_completion(commands: list[Command]) -> str:
    def text(words: str) -> str:
        return words.replace("'", "'\\''").replace("[", "\\[").replace("]", "\\]").replace(":", "\\:").replace("`", "")

    def function(path: tuple[str, ...]) -> str:
        return "_".join(("_zomu", *path))

    lines = ["#compdef zomu", "# Completion of zomu for zsh. Written by python/make_pages.py."]
    for command in commands:
        lines.append(f"{function(command.path)}() {{")
        specs = []
        for option in command.options:
            value = "".join(f":{name}:_files" for name in option.value.split())
            excluded = f"({' '.join(option.names)})"
            specs += [f"'{excluded}{name}[{text(option.help)}]{value}'" for name in option.names]
        if command.has_actions:
            names = _below(command, commands)
            helps = {other.path: other.help for other in commands}
            choices = " ".join(f"'{name}:{text(helps[(*command.path, name)])}'" for name in names)
            lines += [f"    local -a actions=({choices})", "    local line state"]
            specs += ["'1:command:->command'", "'*::arguments:->arguments'"]
            lines.append("    _arguments -C \\\n        " + " \\\n        ".join(specs))
            lines += ["    case $state in", "        command) _describe command actions ;;", "        arguments)"]
            lines.append("            case $line[1] in")
            lines += [f"                {name}) {function((*command.path, name))} ;;" for name in names]
            lines += ["            esac", "            ;;", "    esac"]
        else:
            specs.append("'*:file:_files'")
            lines.append("    _arguments \\\n        " + " \\\n        ".join(specs))
        lines.append("}")
    lines.append('_zomu "$@"')
    return "\n".join(lines) + "\n"


def fish_completion(commands: list[Command]) -> str:
    def text(words: str) -> str:
        return "'" + words.replace("\\", "\\\\").replace("'", "\\'").replace("`", "") + "'"

    lines = ["# Completion of zomu for fish. Written by python/make_pages.py."]
    for command in commands:
        below = _below(command, commands)
        seen = "; and ".join(f"__fish_seen_subcommand_from {name}" for name in command.path)
        fresh = f"not __fish_seen_subcommand_from {' '.join(below)}" if command.path else "__fish_use_subcommand"
        unless = "; and ".join(part for part in (seen, fresh) if part) if below else seen
        for name in below:
            help = next(other.help for other in commands if other.path == (*command.path, name))
            lines.append(f"complete -c zomu -f -n {text(unless)} -a {name} -d {text(help)}")
        for option in command.options:
            words = "".join(f" -l {name[2:]}" if name.startswith("--") else f" -s {name[1:]}" for name in option.names)
            needs = " -r" if option.value else ""
            lines.append(f"complete -c zomu -n {text(unless)}{words}{needs} -d {text(option.help)}")
    return "\n".join(lines) + "\n"


def pages() -> dict[str, str]:
    """The content of each file by its name."""
    parser: Parser = build_parser()
    commands = list(commands_of(parser))
    return {
        "zomu.1": man_page(commands),
        "zomu.bash": bash_completion(commands),
        "_zomu": zsh_completion(commands),
        "zomu.fish": fish_completion(commands),
    }


if __name__ == "__main__":
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else Path(__file__).parent / "pages"
    folder.mkdir(parents=True, exist_ok=True)
    for name, content in pages().items():
        (folder / name).write_text(content, encoding="utf-8")
