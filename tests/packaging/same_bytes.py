"""The packages, built once more from a copy of the source in another directory: the same bytes.

It compiles the programs anew and costs a few minutes of processor time. Nothing is taken from a
compiler cache, which would compare a program with itself.
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
# Not in the copy: what was built, and what git keeps.
LEFT_OUT = shutil.ignore_patterns("build", ".git", "__pycache__")


def run(*command, **options):
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, **options)
    if done.returncode:
        raise AssertionError(f"{command}: exit status {done.returncode}\n{done.stdout}")


class SameBytes(unittest.TestCase):
    def setUp(self):
        # Longer than where any source lies, so that a path in a program would move what follows it.
        directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.copy = directory / "another-place-for-the-same-source" / "vornix"
        # Times of today for all files, as a fresh clone has them.
        shutil.copytree(SOURCE, self.copy, ignore=LEFT_OUT, copy_function=shutil.copy)

    def build(self):
        """The packages of the copy, made by the preset that makes them for users."""
        environment = dict(os.environ, CCACHE_DISABLE="1")
        # Neither is what the build of a package has.
        for name in ("LD_PRELOAD", "SOURCE_DATE_EPOCH"):
            environment.pop(name, None)
        jobs = str(os.cpu_count() or 1)
        run("cmake", "--preset", "package", cwd=self.copy, env=environment)
        run("cmake", "--build", "--preset", "package", "--parallel", jobs, cwd=self.copy,
            env=environment)
        # What the umask of the first build was is not known; this one differs from the usual.
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
        """Which files differ, for those who look for the reason."""
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
