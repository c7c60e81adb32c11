"""The packages built again from a copy of the source in another directory have the same bytes.

The test compiles the programs again, which takes a few minutes of processor time. It uses no
compiler cache, because that would compare a program with itself.
"""

import filecmp
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from built_packages import built_packages, output

SOURCE = pathlib.Path(__file__).resolve().parents[2]
# Not copied: build results and the data of git.
LEFT_OUT = shutil.ignore_patterns("build", ".git", "__pycache__")


def run(*command, **options):
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, **options)
    if done.returncode:
        raise AssertionError(f"{command}: exit status {done.returncode}\n{done.stdout}")


class SameBytes(unittest.TestCase):
    def setUp(self):
        # A longer path than the source has: a path stored in a program would move the bytes after
        # it.
        directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.copy = directory / "another-place-for-the-same-source" / "vornix"
        # All files get the current time, as in a fresh clone.
        shutil.copytree(SOURCE, self.copy, ignore=LEFT_OUT, copy_function=shutil.copy)

    def build(self):
        """Builds the packages of the copy with the preset for user packages; returns their
        directory."""
        environment = dict(os.environ, CCACHE_DISABLE="1")
        # The build of a package has neither variable.
        for name in ("LD_PRELOAD", "SOURCE_DATE_EPOCH"):
            environment.pop(name, None)
        jobs = str(os.cpu_count() or 1)
        run("cmake", "--preset", "package", cwd=self.copy, env=environment)
        run("cmake", "--build", "--preset", "package", "--parallel", jobs, cwd=self.copy,
            env=environment)
        # The umask of the first build is unknown, so this one differs from the usual one.
        run("cpack", "--preset", "package", cwd=self.copy, env=environment, umask=0o077)
        return self.copy / "build/package/packages"

    def test_of_a_build_in_another_directory(self):
        directory = self.build()
        for package in built_packages():
            again = directory / package.path.name
            self.assertTrue(again.is_file(), again)
            with self.subTest(package.path.name):
                self.assertTrue(filecmp.cmp(package.path, again, shallow=False),
                                self.differences(package.path, again))

    @staticmethod
    def differences(first, second):
        """The names of the files that differ, for the failure message."""
        trees = []
        with tempfile.TemporaryDirectory() as directory:
            for name, package in (("first", first), ("second", second)):
                tree = pathlib.Path(directory, name)
                run("dpkg-deb", "--raw-extract", package, tree)
                trees.append({str(path.relative_to(tree)): path.read_bytes()
                              for path in tree.rglob("*") if path.is_file()})
        names = sorted(trees[0].keys() | trees[1].keys())
        files = [name for name in names if trees[0].get(name) != trees[1].get(name)]
        listings = [output("dpkg-deb", "--contents", package) for package in (first, second)]
        return f"files: {files}" if files else "\n".join(listings)


if __name__ == "__main__":
    unittest.main()
