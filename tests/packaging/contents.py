"""Contents of the packages: lintian findings, dependencies, and the same version everywhere."""

import gzip
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from built_packages import NAMES, built_packages, output

VERSION = os.environ["VORNIX_VERSION"]
APP_ID = os.environ["VORNIX_APP_ID"]
STAGED = pathlib.Path(os.environ["VORNIX_STAGED"])


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.packages = built_packages()
        cls.program, cls.terminal, cls.simulator = cls.packages
        directory = cls.enterClassContext(tempfile.TemporaryDirectory())
        cls.tree = pathlib.Path(directory)
        for package in cls.packages:
            package.unpack(cls.tree)

    def test_lintian_has_no_complaint(self):
        """Fails on errors and warnings. Hints are only printed, because they differ by release."""
        run = subprocess.run(
            ["lintian", "--fail-on", "error,warning", "--display-info", "--pedantic",
             "--tag-display-limit", "0", *(package.path for package in self.packages)],
            capture_output=True, text=True)
        sys.stderr.write(run.stdout)
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
        self.assertNotRegex(run.stdout, re.compile("^[EW]:", re.MULTILINE))

    def test_every_override_is_explained(self):
        for name in NAMES:
            lines = (self.tree / "usr/share/lintian/overrides" / name).read_text().splitlines()
            for before, line in zip(["", *lines], lines):
                self.assertTrue(line.startswith("#") or before.startswith("#"), line)

    def test_only_the_simulator_needs_the_test_bed(self):
        self.assertNotIn("umockdev", self.program.field("Depends"))
        # libumockdev0 is linked; umockdev has the library that it preloads into other programs.
        self.assertRegex(self.simulator.field("Depends"), r"(^|, )umockdev(,|$)")
        self.assertRegex(self.simulator.field("Depends"), r"\blibumockdev0 \(>= ")

    def test_the_libraries_were_found(self):
        for library in ("libqt6widgets6", "libqt6serialport6", "libopengl0", "libboost-thread1", "libc6"):
            self.assertIn(library, self.program.field("Depends"))
        self.assertNotIn("libqt6", self.simulator.field("Depends"))

    def test_the_terminal_needs_no_display(self):
        self.assertRegex(self.terminal.field("Depends"), r"\blibudev1 \(>= ")
        for library in ("qt", "libgl", "libopengl", "libx", "wayland", "umockdev"):
            self.assertNotIn(library, self.terminal.field("Depends"))

    def test_what_is_loaded_by_name_is_asked_for(self):
        self.assertRegex(self.program.field("Depends"), r"(^|, )qt6-translations-l10n(,|$)")
        self.assertEqual(self.program.field("Recommends"), "qt6-wayland")

    def test_every_place_says_the_same_version(self):
        for package in self.packages:
            self.assertEqual(package.field("Version"), f"{VERSION}-1")
        self.assertEqual(output(self.tree / "usr/bin/vornix-sim", "--version"),
                         f"vornix-sim {VERSION}\n")
        self.assertEqual(output(self.tree / "usr/bin/vornixctl", "--version"),
                         f"vornixctl {VERSION}\n")
        metainfo = self.tree / f"usr/share/metainfo/{APP_ID}.metainfo.xml"
        self.assertEqual(re.findall(r'<release version="([^"]*)"', metainfo.read_text())[0], VERSION)
        for page in ("man1/vornix.1", "tr/man1/vornix.1", "man1/vornix-sim.1",
                     "man1/vornixctl.1"):
            text = gzip.decompress((self.tree / f"usr/share/man/{page}.gz").read_bytes()).decode()
            program = pathlib.Path(page).stem
            self.assertRegex(text, rf'\n\.TH .*"{program} {re.escape(VERSION)}"')
        for name in NAMES:
            changelog = self.tree / "usr/share/doc" / name / "changelog.Debian.gz"
            newest = subprocess.run(["dpkg-parsechangelog", "-l", changelog, "-S", "Version"],
                                    check=True, capture_output=True, text=True)
            self.assertEqual((newest.stdout, newest.stderr), (f"{VERSION}-1\n", ""))

    def test_the_link_leads_to_the_program_beside_its_translations(self):
        link = self.tree / "usr/bin/vornix"
        self.assertFalse(os.readlink(link).startswith("/"))
        program = link.resolve()
        self.assertEqual(program, (self.tree / "usr/lib/vornix/vornix").resolve())
        self.assertEqual([path.name for path in (program.parent / "languages").iterdir()],
                         ["translate_tr.qm"])

    def test_belong_to_root_who_alone_may_change_them(self):
        for package in self.packages:
            for permissions, owner, path, target in package.listing():
                self.assertEqual(owner, "root/root", path)
                self.assertTrue(target or re.fullmatch("[d-]rw[x-]r-[x-]r-[x-]", permissions),
                                f"{path}: {permissions}")

    def test_install_without_a_package_gives_the_same_files(self):
        staged = {f"/usr/{path.relative_to(STAGED)}" for path in STAGED.rglob("*")
                  if path.is_symlink() or not path.is_dir()}
        self.assertEqual(staged, {path for package in self.packages for path in package.files()})

    def test_share_no_file(self):
        files = [path for package in self.packages for path in package.files()]
        self.assertEqual(len(files), len(set(files)))


if __name__ == "__main__":
    unittest.main()
