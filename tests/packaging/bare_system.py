"""./run in a minimal Debian without added packages: the release VORNIX_BARE_RELEASE in the
directory VORNIX_BARE_SYSTEM. Then, in the same system, the build with some of the optional
packages, and without the simulated device."""

import contextlib
import glob
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time
import unittest

import debian_system

SOURCE = pathlib.Path(__file__).resolve().parents[2]
RELEASE = os.environ["VORNIX_BARE_RELEASE"]
ROOT = pathlib.Path(os.environ["VORNIX_BARE_SYSTEM"])
DOWNLOADS = pathlib.Path(os.environ["VORNIX_DOWNLOADS"], RELEASE)
SHOTS = pathlib.Path(os.environ["VORNIX_SHOTS"])

CLONE = "/root/vornix"
BENCHMARK, XTEST, QCUSTOMPLOT, CLANG = OPTIONAL = (
    "libbenchmark-dev", "libxcb-xtest0-dev", "libqcustomplot-dev", "clang")


@contextlib.contextmanager
def timed(what):
    start = time.monotonic()
    yield
    print(f"{RELEASE}: {what}: {time.monotonic() - start:.0f} s", file=sys.stderr)


def copy_of_source(directory):
    """The files of a clone: those of the last commit, or of a source archive without its build."""
    directory.mkdir()
    git = ["git", "-c", "safe.directory=*", "-C", str(SOURCE)]
    if (SOURCE / ".git").exists():
        if subprocess.run([*git, "diff", "--quiet", "HEAD"]).returncode:
            print("Changes that are not committed are not in the clone.", file=sys.stderr)
        pack = [*git, "archive", "--format=tar", "HEAD"]
    else:
        pack = ["tar", "-c", "-C", str(SOURCE), "--exclude=./build", "."]
    with subprocess.Popen(pack, stdout=subprocess.PIPE) as packing:
        subprocess.run(["tar", "-x", "-C", str(directory)], check=True, stdin=packing.stdout)
    if packing.returncode:
        raise RuntimeError(f"{' '.join(pack)}: exit status {packing.returncode}")


def part(title, output):
    """The state of an optional part in the output of the configuration."""
    return re.search(rf"^-- {re.escape(title)}: (.*)$", output, re.MULTILINE).group(1)


class BareSystem(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.system = debian_system.DebianSystem(ROOT, DOWNLOADS)
        cls.addClassCleanup(cls.system.remove)
        with timed("a bare system"):
            cls.system.create(RELEASE)
        cls.system.mount()
        copy_of_source(ROOT / CLONE[1:])
        # With an adapter plugged in, ./run uses that; --simulated prevents it.
        adapters = glob.glob("/dev/ttyUSB*") + glob.glob("/dev/ttyACM*")
        with timed("./run"):
            cls.output = cls.in_clone("./run", *(["--simulated"] if adapters else []))
        cls.system.save_downloads()
        built = ROOT / CLONE[1:] / "build/release"
        cls.made = {str(path.relative_to(built)): path.lstat().st_size for path in built.rglob("*")}
        SHOTS.mkdir(parents=True, exist_ok=True)

    @classmethod
    def in_clone(cls, *command):
        return cls.system.run(*command, directory=CLONE, environment={"VORNIX_PATIENCE": "4"})

    def configured(self, preset, *options):
        """The output of a configuration without an earlier cache."""
        return self.in_clone("cmake", "--preset", preset, "--fresh", "-B", f"build/try-{preset}",
                             *options)

    def test_run_connects(self):
        self.assertIn("There is no display: showing it on a virtual one.\n", self.output)
        self.assertRegex(self.output, r"(?m)^Connected to /dev/tty\w+ @ \d+ baud$")
        self.assertRegex(self.output, r"(?m)^Receiving [1-9]\d* Hz$")
        self.assertTrue(self.output.endswith("Closed with exit status 0\n"), self.output)

    def test_answers_in_a_terminal(self):
        programs = "build/release/bin"
        self.assertIn("serial number: c0ffee\n", self.in_clone(
            f"{programs}/vornix-sim", "--", f"{programs}/vornixctl", "info"))

    def test_run_leaves_a_screenshot(self):
        shot = SHOTS / f"bare-{RELEASE}.png"
        shutil.copy(ROOT / CLONE[1:] / "build/screenshot.png", shot)
        width, height, colours = map(int, subprocess.run(
            ["identify", "-format", "%w %h %k", shot], check=True, stdout=subprocess.PIPE,
            text=True).stdout.split())
        self.assertGreater(min(width, height), 300)
        self.assertGreater(colours, 100, "a blank picture")

    def test_catalogue_is_beside_the_program(self):
        self.assertGreater(self.made.get("bin/languages/translate_tr.qm", 0), 1000)

    def test_run_builds_nothing_else(self):
        self.assertEqual({path for path in self.made if re.fullmatch("bin/[^/]*", path)},
                         {"bin/languages", "bin/vornix", "bin/vornix-sim", "bin/vornixctl"})
        self.assertEqual([path for path in self.made if re.match("(tests|bench)(/|$)", path)], [])

    def test_run_misses_no_package_afterwards(self):
        self.assertEqual(
            self.in_clone("tools/install-packages", "build", "runtime", "headless"), "")

    def test_configures_without_optional_packages(self):
        output = self.configured("release")
        self.assertEqual(part("Simulated device", output), "on")
        self.assertEqual(part("vornixctl", output), "on")
        self.assertEqual(part("Tests", output), "off (VORNIX_BUILD_TESTS is OFF)")
        self.assertEqual(part("Benchmarks", output), "off (VORNIX_BUILD_BENCH is OFF)")

    def test_configures_with_each_optional_package_alone(self):
        no_benchmark, no_xtest = "no Google Benchmark", "no xcb-xtest"
        for package, benchmarks in ((BENCHMARK, f"off ({no_xtest})"),
                                    (XTEST, f"off ({no_benchmark})"),
                                    (QCUSTOMPLOT, f"off ({no_benchmark}, {no_xtest})"),
                                    (CLANG, f"off ({no_benchmark}, {no_xtest})")):
            with self.subTest(package), timed(package), self.system.with_packages(package):
                self.configured("release")
                output = self.configured("test")
                self.assertEqual(part("Tests", output), "on")
                self.assertEqual(part("Benchmarks", output), benchmarks)
                self.assertEqual(part("Comparison with QCustomPlot", output), "off (no benchmarks)")
                if package == CLANG:
                    # Debian's clang contains libFuzzer in some releases only.
                    self.assertRegex(part("Fuzzers", self.configured("fuzz")), "^(on|off .*)$")

    def test_comparison_is_off_without_qcustomplot(self):
        with self.system.with_packages(BENCHMARK, XTEST):
            output = self.configured("test")
        self.assertEqual(part("Benchmarks", output), "on")
        self.assertEqual(part("Comparison with QCustomPlot", output),
                         "off (no QCustomPlot header, no QCustomPlot library for Qt 6)")

    def test_configures_with_all_optional_packages(self):
        with timed("all"), self.system.with_packages(*OPTIONAL):
            self.configured("release")
            output = self.configured("test")
        self.assertEqual(part("Tests", output), "on")
        self.assertEqual(part("Benchmarks", output), "on")
        self.assertEqual(part("Comparison with QCustomPlot", output), "on")

    def test_program_alone_needs_no_umockdev(self):
        with self.system.without_packages("libumockdev-dev", "umockdev"):
            with self.assertRaisesRegex(RuntimeError, "VORNIX_BUILD_SIMULATOR=OFF"):
                self.configured("release")
            # Uses the build tree of ./run, so that only changed parts are built again.
            alone = self.in_clone("cmake", "--preset", "release", "-D", "VORNIX_BUILD_SIMULATOR=OFF")
            self.assertEqual(part("Simulated device", alone), "off (VORNIX_BUILD_SIMULATOR is OFF)")
            self.in_clone("cmake", "--build", "--preset", "release")
            self.in_clone("ls", "build/release/bin/vornix")


if __name__ == "__main__":
    debian_system.skip_unless_possible()
    debian_system.enter_namespace()
    if not debian_system.may_mount():
        debian_system.skip("no right to mount, so no /dev/pts for the simulated device in there")
    debian_system.skip_unless_reachable(RELEASE)
    unittest.main()
