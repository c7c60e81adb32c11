"""The bash completion of vornix-sim offers the options of its help text; the manual page lists
all."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

PROGRAM = pathlib.Path(os.environ["VORNIX_BIN"]) / "vornix-sim"
PAGE = pathlib.Path(os.environ["VORNIX_MAN"]) / "man1/vornix-sim.1"
COMPLETION = pathlib.Path(os.environ["VORNIX_COMPLETION"])
OPTION = r"--[a-z][a-z-]*"

# Runs in a separate shell that loads only the completion file. The arguments are the words of the
# line to complete.
COMPLETE = """
source "$1"; shift
COMP_WORDS=("$@")
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
COMP_LINE="${COMP_WORDS[*]}"
COMP_POINT=${#COMP_LINE}
_vornix_sim
printf '%s\\n' "${COMPREPLY[@]}"
"""


def refused(*arguments):
    """Whether the program rejects these options. The --help after them prevents it from
    starting."""
    return subprocess.run([PROGRAM, *arguments, "--help"], capture_output=True).returncode != 0


def complete(*words, directory="/"):
    """The completions offered for the last word of `vornix-sim WORDS...`."""
    run = subprocess.run(
        ["bash", "--norc", "-c", COMPLETE, "bash", COMPLETION, "vornix-sim", *words],
        capture_output=True, text=True, check=True, cwd=directory)
    if run.stderr:
        raise AssertionError(run.stderr)
    return run.stdout.split()


def help_options():
    """Each option of --help with the name of its value, "" for a switch."""
    text = subprocess.run([PROGRAM, "--help"], capture_output=True, text=True, check=True).stdout
    return dict(re.findall(rf"^  (?:-h,)?({OPTION}) ?(\S*)  ", text, re.MULTILINE))


def page():
    """The manual page as a reader sees it."""
    return subprocess.run(
        ["man", "--encoding=UTF-8", "--local-file", PAGE], capture_output=True, text=True,
        check=True, env=dict(os.environ, MANWIDTH="200", LC_ALL="C.UTF-8")).stdout


def page_options():
    """The same for the manual page as help_options() for --help."""
    text = page()
    options = dict(re.findall(rf"^ {{7}}(?:-h,)?({OPTION})(?: (\S+))?$", text, re.MULTILINE))
    # A switch that is short enough is followed by its text on the same line.
    options.update(dict.fromkeys(re.findall("^ {7}(--[a-z]{1,4}) +[A-Z][a-z]", text, re.MULTILINE), ""))
    return options


def page_commands():
    """The command names that the fault options accept, from the manual page."""
    section = re.search(r"The\s+commands:(.*?)\.", page(), re.DOTALL).group(1)
    return re.findall("[A-Z_]+", section)


class Options(unittest.TestCase):
    def test_help_is_understood(self):
        options = help_options()
        self.assertGreater(len(options), 20)
        self.assertEqual(options["--motion"], "KIND")
        self.assertEqual(options["--silent"], "")

    def test_page_has_the_same_with_the_same_values(self):
        self.assertEqual(page_options(), help_options())

    def test_completion_offers_the_same(self):
        self.assertEqual(sorted(complete("")), sorted(["--", *help_options()]))

    def test_completion_knows_which_take_a_value(self):
        for option, value in help_options().items():
            offered = set(complete(option, "-"))
            self.assertEqual("--motion" in offered, not value, option)


class Values(unittest.TestCase):
    def assert_taken(self, option, values):
        self.assertGreater(len(values), 1, option)
        for value in values:
            self.assertFalse(refused(option, value), f"{option} {value}")

    def test_what_is_offered_is_taken(self):
        for option in ("--motion", "--reply-shape", "--baud", "--line-baud", "--rate", "--outputs",
                       "--no-reply", "--wrong-echo", "--refuse", "--ignore", "--adapter", "--fault"):
            self.assert_taken(option, complete(option, ""))
        self.assert_taken("--late-reply", [word + "20" for word in complete("--late-reply", "")])

    def test_words_of_the_help_are_offered(self):
        text = subprocess.run([PROGRAM, "--help"], capture_output=True, text=True).stdout
        kinds = re.search(r"--motion KIND +(.*) \[", text).group(1)
        self.assertEqual(complete("--motion", ""), re.split(", | or ", kinds))
        shapes = re.search(r"--reply-shape SHAPE +(.*)", text).group(1)
        self.assertEqual(complete("--reply-shape", ""), re.sub(r" \([^)]*\)", "", shapes).split(", "))

    def test_begins_as_the_word_does(self):
        self.assertEqual(complete("--mo"), ["--motion"])
        self.assertEqual(complete("--motion", "t"), ["tumble", "turn"])
        self.assertEqual(complete("--silent", "--refuse", "STA"), ["START_CALIBRATION"])
        self.assertEqual(complete("--late-reply", "OUT"), ["OUTPUTS:"])
        self.assertEqual(complete("--seed", ""), [])

    def test_commands_are_those_of_the_page(self):
        commands = complete("--refuse", "")
        self.assertEqual(commands, page_commands())
        self.assertIn("DATA_RATE", commands)


class Files(unittest.TestCase):
    def setUp(self):
        self.directory = self.enterContext(tempfile.TemporaryDirectory())
        (pathlib.Path(self.directory) / "a-file").touch()

    def complete(self, *words):
        return complete(*words, directory=self.directory)

    def test_are_offered_where_a_file_is_meant(self):
        for option in ("--link", "--record", "--replay"):
            self.assertEqual(self.complete(option, "a-"), ["a-file"])
        self.assertEqual(self.complete("a-"), [])

    def test_are_arguments_of_the_command(self):
        self.assertEqual(self.complete("--silent", "--", "cat", "a-"), ["a-file"])
        self.assertEqual(self.complete("--", "cat", "--mo"), [])

    def test_the_command_is_a_command(self):
        self.assertIn("cat", self.complete("--", "ca"))
        self.assertNotIn("a-file", self.complete("--", "a-"))


if __name__ == "__main__":
    unittest.main()
