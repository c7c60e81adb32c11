"""The manual pages: groff reports no problem, `whatis` can read them, and the version is right."""

import os
import pathlib
import re
import subprocess
import unittest

MAN = pathlib.Path(os.environ["VORNIX_MAN"])
VERSION = os.environ["VORNIX_VERSION"]
PAGES = ("man1/vornix.1", "tr/man1/vornix.1", "man1/vornix-sim.1", "man1/vornixctl.1")


def man(page, *options):
    return subprocess.run(
        ["man", "--encoding=UTF-8", "--local-file", *options, MAN / page],
        capture_output=True, text=True, check=True,
        env=dict(os.environ, MANROFFSEQ="", MANWIDTH="80", LC_ALL="C.UTF-8"))


class ManPages(unittest.TestCase):
    def test_groff_has_no_complaint(self):
        for page in PAGES:
            self.assertEqual(man(page, "--warnings", "-Tutf8", "--ditroff").stderr, "", page)

    def test_whatis_reads_them(self):
        for page in PAGES:
            name = pathlib.Path(page).stem
            line = subprocess.run(["lexgrog", MAN / page], capture_output=True, text=True,
                                  env=dict(os.environ, LC_ALL="C.UTF-8")).stdout
            self.assertRegex(line, rf'"{name} - .{{10,}}"')

    def test_are_of_this_version(self):
        for page in PAGES:
            footer = man(page).stdout.rstrip().splitlines()[-1]
            self.assertRegex(footer, rf"^{pathlib.Path(page).stem} {re.escape(VERSION)} ")

    def test_turkish_page_has_every_section(self):
        def sections(page):
            return re.findall(r"^\.SH (.*)$", (MAN / page).read_text(encoding="utf-8"), re.MULTILINE)
        english, turkish = sections("man1/vornix.1"), sections("tr/man1/vornix.1")
        self.assertEqual(len(turkish), len(english))
        self.assertFalse(set(turkish) & set(english))

    def test_are_packed_without_a_date(self):
        for page in PAGES:
            packed = (MAN / f"{page}.gz").read_bytes()
            self.assertEqual(packed[4:8], bytes(4), page)


if __name__ == "__main__":
    unittest.main()
