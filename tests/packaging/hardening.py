"""How the programs of the packages were compiled and linked, read from their ELF files.

_FORTIFY_SOURCE leaves nothing to read there: no buffer of a size known to the compiler takes a length
that is not. test_overflow shows that it is at work.
"""

import pathlib
import platform
import re
import tempfile
import unittest

from built_packages import built_packages, output

# What a compiler leaves in a program for an x86 processor: the landing of an indirect jump, and the
# access to each page that a large frame crosses.
ENDBR64 = bytes.fromhex("f30f1efa")
PROBE = bytes.fromhex("48830c2400")


class Hardening(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        directory = cls.enterClassContext(tempfile.TemporaryDirectory())
        for package in built_packages():
            package.unpack(directory)
        tree = pathlib.Path(directory)
        cls.programs = [tree / "usr/lib/vornix/vornix", tree / "usr/bin/vornix-sim"]

    def assert_each(self, option, pattern):
        """Every program shows, in what readelf says with that option, the pattern."""
        for program in self.programs:
            with self.subTest(program.name):
                self.assertRegex(output("readelf", "--wide", option, program), re.compile(pattern, re.M))

    def test_is_loaded_anywhere(self):
        self.assert_each("--file-header", r"^ *Type: +DYN ")
        self.assert_each("--dynamic", r"\(FLAGS_1\).*\bPIE\b")

    def test_what_the_loader_has_filled_in_is_read_only(self):
        self.assert_each("--program-headers", r"^ +GNU_RELRO ")
        self.assert_each("--dynamic", r"\(FLAGS_1\).*\bNOW\b")

    def test_no_stack_can_be_executed(self):
        self.assert_each("--program-headers", r"^ +GNU_STACK .* RW +0x")

    def test_a_smashed_stack_is_seen(self):
        self.assert_each("--dyn-syms", r" __stack_chk_fail@")

    @unittest.skipUnless(platform.machine() == "x86_64", "the instructions are those of another processor")
    def test_jumps_land_and_frames_grow_where_they_may(self):
        for program in self.programs:
            with self.subTest(program.name):
                code = program.read_bytes()
                self.assertGreater(code.count(ENDBR64), 100)
                self.assertGreater(code.count(PROBE), 0)


if __name__ == "__main__":
    unittest.main()
