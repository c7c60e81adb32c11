"""The bash completion and the manual page of vornixctl have the commands and options of its help
text."""

import os
import pathlib
import re
import subprocess
import unittest

BIN = pathlib.Path(os.environ["VORNIX_BIN"])
PROGRAM = BIN / "vornixctl"
PAGE = pathlib.Path(os.environ["VORNIX_MAN"]) / "man1/vornixctl.1"
COMPLETION = pathlib.Path(os.environ["VORNIX_CTL_COMPLETION"])

# Runs in a separate shell that loads only the completion file. The arguments are the words of the
# line to complete.
COMPLETE = """
source "$1"; shift
COMP_WORDS=("$@")
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
_vornixctl
printf '%s\\n' "${COMPREPLY[@]}"
"""


def help_text(*command):
    return subprocess.run([PROGRAM, *command, "--help"], capture_output=True, text=True,
                          check=True).stdout


def complete(*words):
    run = subprocess.run(["bash", "--norc", "-c", COMPLETE, "bash", COMPLETION, PROGRAM, *words],
                         capture_output=True, text=True, check=True)
    if run.stderr:
        raise AssertionError(run.stderr)
    return run.stdout.split()


def commands(*parent):
    """The commands of a help text, such as ("settings", "get")."""
    section = re.search("^Commands:\n(.*?)(?:\n\n|\\Z)", help_text(*parent), re.DOTALL | re.MULTILINE)
    if not section:
        return [parent]
    return [command for name in re.findall("^  ([a-z-]+) ", section.group(1), re.MULTILINE)
            for command in commands(*parent, name)]


def options(*command):
    """Each option of a command with the name of its value, "" for a switch."""
    return dict(re.findall(r"^  (?:-h,)?(--[a-z-]+) ?(\S*)  ", help_text(*command), re.MULTILINE))


class Help(unittest.TestCase):
    def test_is_understood(self):
        self.assertIn(("settings", "set"), commands())
        self.assertIn(("stream",), commands())
        self.assertEqual(options("stream")["--format"], "FORMAT")
        self.assertEqual(options("stream")["--all"], "")

    def test_page_has_every_command_with_its_options(self):
        page = subprocess.run(
            ["man", "--encoding=UTF-8", "--local-file", PAGE], capture_output=True, text=True,
            check=True, env=dict(os.environ, MANWIDTH="200", LC_ALL="C.UTF-8")).stdout
        for command in commands():
            section = re.search(rf"^   vornixctl {' '.join(command)} .*?(?=^   \S|^\S)", page,
                                re.DOTALL | re.MULTILINE)
            self.assertTrue(section, command)
            for option in options(*command):
                if option != "--help":
                    self.assertIn(option, section.group(), command)


class Completion(unittest.TestCase):
    def test_offers_the_commands(self):
        top = {command[0] for command in commands()}
        self.assertEqual(set(complete("")), top | {"--help", "--version"})
        self.assertEqual(set(complete("settings", "")),
                         {command[1] for command in commands() if command[0] == "settings"} |
                         {"--help", "--version"})
        self.assertEqual(complete("st"), ["stream"])

    def test_offers_the_options_of_each_command(self):
        for command in commands():
            self.assertEqual(set(complete(*command, "--")), set(options(*command)), command)

    def test_offers_values(self):
        self.assertEqual(complete("stream", "--format", ""), ["csv", "jsonl", "raw"])
        self.assertEqual(complete("stream", "--count", ""), [])
        self.assertIn("--count", complete("stream", "--all", "--"))
        self.assertIn("rate=", complete("settings", "set", "r"))


if __name__ == "__main__":
    unittest.main()
