"""How the programs of the packages were compiled and linked, read from their ELF files.

_FORTIFY_SOURCE leaves no trace in these files: no call with a buffer of known size has a length
that is unknown to the compiler. test_overflow proves that it is active.
"""

import pathlib
import platform
import re
import tempfile
import unittest

from built_packages import built_packages, output

# x86 instructions of a hardened program: the landing pad of an indirect jump, and the access to
# each page of a large stack frame.
ENDBR64 = bytes.fromhex("f30f1efa")
PROBE = bytes.fromhex("48830c2400")


class Hardening(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        directory = cls.enterClassContext(tempfile.TemporaryDirectory())
        for package in built_packages():
            package.unpack(directory)
        tree = pathlib.Path(directory)
        cls.programs = [tree / "usr/lib/vornix/vornix", tree / "usr/bin/vornix-sim",
                        tree / "usr/bin/vornixctl"]

    def assert_each(self, option, pattern):
        """The output of readelf with that option contains the pattern for every program."""
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
