"""The packages in a clean system: installed with apt, used, and removed with no file left.

The desktop runs outside the system, the program inside.
"""

import contextlib
import os
import pathlib
import re
import shutil
import stat
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "end_to_end"))

import debian_system  # noqa: E402
import support  # noqa: E402
from built_packages import NAMES, built_packages  # noqa: E402

ROOT = pathlib.Path(os.environ["VORNIX_CLEAN_SYSTEM"])
_SHARED = "VORNIX_SHARED_PATH"

# Files that apt and dpkg write at every installation, and files of the running system.
VOLATILE = re.compile(
    r"/(dev|proc|run|sys|tmp)/|/var/log/|/var/cache/(apt|ldconfig|debconf)/|/etc/ld\.so\.cache$"
    r"|/var/lib/apt/(extended_states|lists/)"
    r"|/var/lib/dpkg/(status|available|diversions|statoverride|lock|triggers/|info/format)")


def files():
    """All files of the system except VOLATILE: path to kind, permissions, owner, size or target."""
    found = {}
    for folder, directories, names in os.walk(ROOT):
        for name in directories + names:
            path = pathlib.Path(folder, name)
            inside = "/" + str(path.relative_to(ROOT))
            if VOLATILE.match(inside) or VOLATILE.match(inside + "/"):
                continue
            status = path.lstat()
            what = ("directory" if stat.S_ISDIR(status.st_mode) else
                    os.readlink(path) if path.is_symlink() else status.st_size)
            found[inside] = (oct(status.st_mode), status.st_uid, status.st_gid, what)
        directories[:] = [name for name in directories
                          if not VOLATILE.match(f"/{pathlib.Path(folder, name).relative_to(ROOT)}/")]
    return found


class Installed(support.ProgramCase):
    device = ("--seed", "1", "--motion", "tumble", "--outputs", "0x7F")

    @classmethod
    def setUpClass(cls):
        cls.system = debian_system.DebianSystem(ROOT)
        cls.has_device = cls.system.mount()
        if not cls.has_device:
            sys.stderr.write("\nNo right to mount, so no /dev/pts in there: without a device.\n")

    def command(self):
        simulated = ["vornix-sim", *self.device, "--"] if self.has_device else []
        return ["chroot", ROOT, *simulated, "vornix"]

    def setUp(self):
        self.before = files()
        self.install()
        super().setUp()

    def install(self):
        packages = built_packages()
        for package in packages:
            shutil.copy(package.path, ROOT / "tmp")
        output = self.system.run("apt-get", "install", "--yes", "--no-install-recommends",
                                 *(f"/tmp/{package.path.name}" for package in packages))
        self.assertIn(" 3 newly installed, 0 to remove ", output, "something was missing")
        self.addCleanup(self.system.run, "dpkg", "--purge", *NAMES)
        added = set(files()) - set(self.before)
        for package in packages:
            self.assertLessEqual(set(package.files()), added)

    def remove(self):
        self.system.run("apt-get", "purge", "--yes", *NAMES)
        after = files()
        changed = {path: (self.before.get(path), after.get(path))
                   for path in self.before.keys() | after.keys()
                   if self.before.get(path) != after.get(path)}
        self.assertEqual(changed, {}, "left behind, taken away or changed")

    def connect_if_possible(self):
        if self.has_device:
            self.connect(baud=115200)
            support.wait_until(lambda: re.fullmatch(r"Receiving [1-9]\d* Hz", self.rate.name), "a rate")

    def assert_moving(self, pose):
        """Checks that the pose is drawn, and that it changes if there is a device."""
        before = self.picture_of(pose)
        self.assertGreater(len(set(before)), 8, "a blank picture")
        if self.has_device:
            support.wait_until(lambda: self.picture_of(pose) != before, "a new picture")

    def test_in_english(self):
        self.assertEqual(self.window.name, support.TITLE)
        self.connect_if_possible()
        self.assert_moving("Orientation Display")
        self.shoot("installed-english")
        self.close()
        self.remove()

    def test_in_turkish(self):
        self.program.menu("Language", "Türkçe")
        refused = self.button_of_refusal("Bağlantı", "Cihaz Bilgileri", title="Bağlı değil")
        self.assertEqual(refused, "Tamam", "Qt's own texts")
        self.program.menu("Dil", "English")
        self.connect_if_possible()
        self.program.menu("Language", "Türkçe")
        self.window.find("menu item", "Bağlantı")
        self.window.find("label", "Kuaterniyon (birimsiz)")
        if self.has_device:
            support.wait_until(lambda: re.fullmatch(r"Veri alınıyor: [1-9]\d* Hz", self.rate.name),
                               "a rate in Turkish")
        self.assert_moving("Yönelim Görünümü")
        self.shoot("installed-turkish")
        self.close()
        self.remove()


@contextlib.contextmanager
def shared_path():
    """A short path to the same files outside and inside the system, for the sockets of the desktop.
    Outside it is a link to the system's root; inside, the same link points to /."""
    link = pathlib.Path(os.environ.get(_SHARED) or tempfile.mkdtemp(prefix="vornix-"), "root")
    if _SHARED not in os.environ:
        link.symlink_to(ROOT)
        inside = pathlib.Path(f"{ROOT}{link}")
        inside.parent.mkdir(parents=True)
        inside.symlink_to("/")
        home = link / "tmp" / "home"
        home.mkdir(mode=0o700, exist_ok=True)
        os.environ[_SHARED] = str(link.parent)
        # Mesa does not use HOME for its cache.
        for variable in ("HOME", "XDG_RUNTIME_DIR", "XDG_CACHE_HOME"):
            os.environ[variable] = str(home)
    try:
        yield
    finally:
        link.unlink()
        link.parent.rmdir()


if __name__ == "__main__":
    debian_system.skip_unless_possible()
    if not ROOT.is_dir():
        debian_system.skip(f"no system at {ROOT}")
    debian_system.enter_namespace()
    with shared_path():
        support.main()
