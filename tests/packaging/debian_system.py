"""A minimal Debian system in a directory, without recommended packages.

Creating it and changing root into it needs root. A script that uses it first calls the skip
functions, which end it with SKIPPED and the reason, and then enter_namespace().
"""

import contextlib
import os
import pathlib
import platform
import shlex
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77
_IN_NAMESPACE = "VORNIX_DEBIAN_SYSTEM_MOUNTS"
_PROXIES = ("http_proxy", "https_proxy", "no_proxy")
_ARCHIVES = "var/cache/apt/archives"


def skip_unless_possible():
    """Ends the script if it cannot change root."""
    missing = [tool for tool in ("apt-get", "mmdebstrap", "chroot") if not shutil.which(tool)]
    if os.geteuid() != 0:
        skip("setting up a Debian system needs root's rights")
    if missing:
        skip(f"no {' and no '.join(missing)} here")


def skip(reason):
    print(f"SKIPPED: {reason}", file=sys.stderr)
    sys.exit(SKIPPED)


def skip_unless_reachable(codename):
    """Ends the script if this machine cannot reach the archives of that release now."""
    archives = _sources(codename)
    if not archives:
        skip("apt has no archive of this machine's release")
    with tempfile.TemporaryDirectory() as directory:
        for uri, release, _ in archives:
            fetched = subprocess.run(
                ["/usr/lib/apt/apt-helper", "download-file", f"{uri}dists/{release}/InRelease",
                 f"{directory}/{release}"],
                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
            if fetched.returncode != 0:
                skip(f"the archive of {release} cannot be reached: {fetched.stderr.strip()}")


def enter_namespace():
    """Restarts the script in a private mount namespace, so that its mounts end with it, even if it
    is killed. Does not change the namespace where that is not allowed, as in many containers."""
    if _IN_NAMESPACE in os.environ:
        return
    allowed = subprocess.run(["unshare", "--mount", "true"], stderr=subprocess.DEVNULL).returncode == 0
    os.environ[_IN_NAMESPACE] = "1" if allowed else ""
    script = [sys.executable, "-B", *sys.argv]
    command = ["unshare", "--mount", *script] if allowed else script
    os.execvp(command[0], command)


def may_mount():
    """Whether enter_namespace() entered one."""
    return bool(os.environ.get(_IN_NAMESPACE))


def own_release():
    """The codename of this machine's release."""
    return platform.freedesktop_os_release()["VERSION_CODENAME"]


def _sources(codename):
    """The archives of a release, each as (URI, release, component). They are those that this
    machine's apt uses for its release, with the other codename."""
    own = own_release()
    wanted = {own, f"{own}-updates", f"{own}-security"}
    lines = subprocess.run(
        ["apt-get", "indextargets", "--format", "$(REPO_URI) $(RELEASE) $(COMPONENT)",
         "Identifier: Packages"], check=True, stdout=subprocess.PIPE, text=True).stdout.splitlines()
    return [(uri, release.replace(own, codename, 1), component)
            for uri, release, component in map(str.split, dict.fromkeys(lines))
            if release in wanted and component == "main"]


def _apt_settings():
    """The settings with which this machine's apt reaches its archives: proxies, date checks."""
    dump = subprocess.run(["apt-config", "dump", "Acquire"], check=True, stdout=subprocess.PIPE,
                          text=True).stdout
    return "".join(f"{line}\n" for line in dump.splitlines()
                   if not line.startswith(("Acquire::IndexTargets", "Acquire::cdrom")))


def _link_command(source, target):
    """A shell command that hard-links each package in `source` into `target`, which needs no disk
    space. Both arguments are shell words."""
    return (f"mkdir -p {target} && find {source} -maxdepth 1 -name '*.deb' "
            f"-exec cp --link --no-clobber -t {target} {{}} +")


class DebianSystem:
    """A system below `root`. `downloads` is a directory that keeps the packages apt downloads, so
    that other systems of the same release reuse them. It must be in the root's file system."""

    def __init__(self, root, downloads=None):
        self.root = pathlib.Path(root).resolve()
        self._downloads = downloads and pathlib.Path(downloads).resolve()
        self._mounts = []

    def create(self, codename):
        self.remove()
        sources = "".join(f"deb {' '.join(source)}\n" for source in _sources(codename))
        with tempfile.TemporaryDirectory() as directory:
            settings = pathlib.Path(directory, "apt.conf")
            settings.write_text(_apt_settings() + 'Acquire::Retries "3";\nAcquire::Languages "none";\n',
                                encoding="utf-8")
            # The system is temporary, so dpkg need not sync every file to the disk.
            subprocess.run(
                ["mmdebstrap", "--quiet", "--mode=root", "--variant=apt", "--skip=cleanup/apt",
                 f"--aptopt={settings}", "--dpkgopt=force-unsafe-io", *self._reuse_options(),
                 codename, str(self.root), "-"],
                check=True, input=sources, text=True)
        self.save_downloads()

    def _reuse_options(self):
        if not self._downloads:
            return []
        self._downloads.mkdir(parents=True, exist_ok=True)
        link = _link_command(shlex.quote(str(self._downloads)), f'"$1"/{_ARCHIVES}')
        return ["--skip=download/empty", "--skip=essential/unlink", f"--setup-hook={link}"]

    def save_downloads(self):
        """Keeps the packages that apt downloaded in this system for the next one."""
        if self._downloads:
            link = _link_command(shlex.quote(str(self.root / _ARCHIVES)),
                                 shlex.quote(str(self._downloads)))
            subprocess.run(["sh", "-c", link], check=True)

    def remove(self):
        while self._mounts:
            subprocess.run(["umount", "--lazy", "--recursive", self._mounts.pop()], check=True)
        subprocess.run(["rm", "-rf", "--one-file-system", str(self.root)], check=True)

    def mount(self):
        """Mounts /proc, /sys and /dev in the system; False if that is not allowed. The mounts end
        with this script."""
        if not may_mount():
            return False
        for options in (["-t", "proc", "proc", "proc"],
                        ["-t", "sysfs", "-o", "ro", "sysfs", "sys"], ["--rbind", "/dev", "dev"]):
            place = str(self.root / options[-1])
            subprocess.run(["mount", *options[:-1], place], check=True)
            self._mounts.append(place)
        return True

    def run(self, *command, directory="/", environment=None):
        """Runs a command in the system and returns its output; RuntimeError with the output if it
        fails. From this machine's environment it gets only the proxies."""
        variables = {name: os.environ[name] for name in _PROXIES if name in os.environ}
        variables.update(DEBIAN_FRONTEND="noninteractive", HOME="/root", LC_ALL="C.UTF-8",
                         PATH="/usr/sbin:/usr/bin:/sbin:/bin", **(environment or {}))
        result = subprocess.run(
            ["chroot", str(self.root), "env", f"--chdir={directory}", *command], env=variables,
            text=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if result.returncode != 0:
            raise RuntimeError(f"{' '.join(command)}: exit status {result.returncode}\n{result.stdout}")
        return result.stdout

    def packages(self):
        """The names of all packages installed in the system."""
        return set(self.run("dpkg-query", "-W", "-f", "${binary:Package}\n").split())

    @contextlib.contextmanager
    def with_packages(self, *names):
        """Installs packages and their dependencies for the duration of the context."""
        before = self.packages()
        self.run("apt-get", "install", "--yes", "--no-install-recommends", *names)
        self.save_downloads()
        try:
            yield
        finally:
            self.run("apt-get", "purge", "--yes", *(self.packages() - before))
            if self.packages() != before:
                raise RuntimeError(f"{names} left or took: {self.packages() ^ before}")

    @contextlib.contextmanager
    def without_packages(self, *names):
        """Removes packages and those that depend on them for the duration of the context."""
        before = self.packages()
        self.run("apt-get", "purge", "--yes", *names)
        try:
            yield
        finally:
            self.run("apt-get", "install", "--yes", "--no-install-recommends",
                     *(before - self.packages()))
