"""The packages that tools/install-packages reads from packages.txt for each Debian release, and
those that it installs."""

import os
import pathlib
import shutil
import stat
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
RELEASES = ("12", "13")

LIST = """
[build]
everywhere
old-only 12
new-only 13

[other]
another
"""
# Replace the system's tools: apt-get writes its arguments into a file.
TOOLS = {
    "apt-get": 'echo "$@" >>"$ASKED"',
    "id": "echo 0",
}


def entry(package, *provides, status="install ok installed"):
    """A package as an entry of dpkg's database."""
    return (f"Package: {package}\nStatus: {status}\nVersion: 1\nArchitecture: all\n"
            "Maintainer: Kestrova <maker@example.com>\nDescription: none\n" +
            (f"Provides: {', '.join(provides)}\n" if provides else "") + "\n")


class Project:
    """A project that contains only a list of packages and the script that reads it."""

    def __init__(self, directory, packages=LIST):
        self._path = pathlib.Path(directory)
        (self._path / "tools").mkdir()
        (self._path / "bin").mkdir()
        shutil.copy(ROOT / "tools/install-packages", self._path / "tools")
        (self._path / "packages.txt").write_text(packages)
        for name, line in TOOLS.items():
            tool = self._path / "bin" / name
            tool.write_text(f"#!/bin/sh\n{line}\n")
            tool.chmod(tool.stat().st_mode | stat.S_IXUSR)

    def _run(self, *arguments, release):
        system = self._path / "os-release"
        system.write_text("ID=debian\n" + (f'VERSION_ID="{release}"\n' if release else ""))
        environment = dict(os.environ, ASKED=str(self._path / "asked"),
                           DPKG_ADMINDIR=str(self._path), VORNIX_OS_RELEASE=str(system),
                           PATH=f"{self._path}/bin:{os.environ['PATH']}")
        run = subprocess.run([self._path / "tools/install-packages", *arguments], env=environment,
                             capture_output=True, text=True, check=True)
        return run.stdout.split()

    def listed(self, *sections, release):
        return self._run("--list", *sections, release=release)

    def asked_for(self, *installed, release="12"):
        """The packages installed for [build] on a system with these entries in dpkg's database."""
        (self._path / "status").write_text("".join(installed))
        asked = self._path / "asked"
        asked.write_text("")
        self._run("build", release=release)
        return [word for line in asked.read_text().splitlines() if line.startswith("install")
                for word in line.split()[1:] if not word.startswith("-")]


class PackageList(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.project = Project(directory.name)

    def test_differs_by_release(self):
        self.assertEqual(self.project.listed("build", release="12"), ["everywhere", "old-only"])
        self.assertEqual(self.project.listed("build", release="13"), ["everywhere", "new-only"])

    def test_is_the_newest_on_another_system(self):
        for release in ("", "24.04", "40"):
            self.assertEqual(self.project.listed("build", release=release),
                             ["everywhere", "new-only"], release)

    def test_has_only_the_wanted_sections(self):
        self.assertEqual(self.project.listed("other", release="12"), ["another"])
        self.assertEqual(self.project.listed("build", "other", release="12"),
                         ["everywhere", "old-only", "another"])

    def test_of_the_project_names_releases_that_exist(self):
        for line in (ROOT / "packages.txt").read_text().splitlines():
            if line and line[0] not in "#[" and " " in line:
                self.assertIn(line.split()[1:], [[release] for release in RELEASES], line)


class Installation(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.project = Project(directory.name)

    def test_adds_what_is_missing(self):
        self.assertEqual(self.project.asked_for(), ["everywhere", "old-only"])
        self.assertEqual(self.project.asked_for(entry("other")), ["everywhere", "old-only"])
        self.assertEqual(self.project.asked_for(entry("everywhere"), release="13"), ["new-only"])

    def test_asks_for_nothing_if_all_is_there(self):
        self.assertEqual(self.project.asked_for(entry("everywhere"), entry("old-only")), [])

    def test_takes_a_provided_package_for_installed(self):
        self.assertEqual(
            self.project.asked_for(entry("big", "first (= 6.8)", "everywhere (= 1)", "last"),
                                   entry("bigger", "old-only")), [])

    def test_takes_a_held_package_for_installed(self):
        self.assertEqual(
            self.project.asked_for(entry("everywhere", status="hold ok installed"),
                                   entry("old-only")), [])

    def test_adds_a_package_that_was_removed(self):
        self.assertEqual(
            self.project.asked_for(entry("everywhere", status="deinstall ok config-files"),
                                   entry("old-only")), ["everywhere"])

    def test_does_not_take_a_similar_name(self):
        self.assertEqual(
            self.project.asked_for(entry("everywhere-else", "not-everywhere"), entry("old-only")),
            ["everywhere"])


if __name__ == "__main__":
    unittest.main()
