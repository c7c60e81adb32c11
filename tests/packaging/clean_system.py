"""Makes a system for the packages to be installed in, as the directory VORNIX_CLEAN_SYSTEM.

It is Debian as it comes, without recommended packages, and with nothing added to it but what our
packages say they depend on. Needs root's rights; without them it says so and exits with SKIPPED.
"""

import os
import pathlib
import platform
import shutil
import subprocess
import sys
import tempfile

from built_packages import built_packages

SKIPPED = 77
_IN_NAMESPACE = "VORNIX_CLEAN_SYSTEM_MOUNTS"


def skip_unless_possible():
    """Ends the script if nobody here can change root."""
    missing = [tool for tool in ("apt-get", "mmdebstrap", "chroot") if not shutil.which(tool)]
    if os.geteuid() != 0:
        skip("setting up a clean system needs root's rights")
    if missing:
        skip(f"no {' and no '.join(missing)} here")


def skip(reason):
    print(f"SKIPPED: {reason}", file=sys.stderr)
    sys.exit(SKIPPED)


def skip_unless_reachable():
    """Ends the script if this machine cannot get at its archive now, as on a train."""
    _, sources = _sources()
    _, archive, release, _ = sources.split()[:4]
    with tempfile.TemporaryDirectory() as directory:
        fetched = subprocess.run(
            ["/usr/lib/apt/apt-helper", "download-file", f"{archive}dists/{release}/InRelease",
             f"{directory}/InRelease"], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    if fetched.returncode != 0:
        skip(f"the archive cannot be reached: {fetched.stderr.strip()}")


def enter_namespace():
    """Returns in a mount namespace of this script's own, so that no mount outlives it, whatever
    becomes of it; or where it was, if that is not allowed, as in many containers."""
    if _IN_NAMESPACE in os.environ:
        return
    allowed = subprocess.run(["unshare", "--mount", "true"], stderr=subprocess.DEVNULL).returncode == 0
    os.environ[_IN_NAMESPACE] = "1" if allowed else ""
    script = [sys.executable, "-B", *sys.argv]
    command = ["unshare", "--mount", *script] if allowed else script
    os.execvp(command[0], command)


def _sources():
    """The archives of this machine's own Debian release, as apt is told to reach them."""
    codename = platform.freedesktop_os_release()["VERSION_CODENAME"]
    wanted = {codename, f"{codename}-updates", f"{codename}-security"}
    lines = subprocess.run(
        ["apt-get", "indextargets", "--format", "$(REPO_URI) $(RELEASE) $(COMPONENT)",
         "Identifier: Packages"], check=True, stdout=subprocess.PIPE, text=True).stdout.splitlines()
    ours = [line for line in dict.fromkeys(lines)
            if line.split()[1] in wanted and line.split()[2] == "main"]
    return codename, "".join(f"deb {line}\n" for line in ours)


def _apt_settings():
    """How this machine's apt reaches its archives: proxies, and whether dates are checked."""
    dump = subprocess.run(["apt-config", "dump", "Acquire"], check=True, stdout=subprocess.PIPE,
                          text=True).stdout
    return "".join(f"{line}\n" for line in dump.splitlines()
                   if not line.startswith(("Acquire::IndexTargets", "Acquire::cdrom")))


class CleanSystem:
    def __init__(self, root):
        self.root = pathlib.Path(root).resolve()

    @classmethod
    def create(cls, root):
        system = cls(root)
        system.remove()
        codename, sources = _sources()
        with tempfile.TemporaryDirectory() as directory:
            settings = pathlib.Path(directory, "apt.conf")
            settings.write_text(_apt_settings() + 'Acquire::Retries "3";\nAcquire::Languages "none";\n',
                                encoding="utf-8")
            # A machine that loses power now loses nothing, so no file need be on the disk at once.
            subprocess.run(
                ["mmdebstrap", "--quiet", "--mode=root", "--variant=apt", "--skip=cleanup/apt",
                 f"--aptopt={settings}", "--dpkgopt=force-unsafe-io",
                 codename, str(system.root), "-"],
                check=True, input=sources, text=True)
        return system

    def remove(self):
        subprocess.run(["rm", "-rf", "--one-file-system", str(self.root)], check=True)

    def mount(self):
        """Gives it the kernel's file systems; False if that is not allowed. They are gone when this
        script ends."""
        if not os.environ.get(_IN_NAMESPACE):
            return False
        for options in (["-t", "proc", "proc", "proc"], ["--rbind", "/dev", "dev"]):
            subprocess.run(["mount", *options[:-1], str(self.root / options[-1])], check=True)
        return True

    def run(self, *command):
        """What a command in there writes; RuntimeError with that if it fails."""
        environment = dict(os.environ, DEBIAN_FRONTEND="noninteractive", LC_ALL="C.UTF-8",
                           PATH="/usr/sbin:/usr/bin:/sbin:/bin")
        environment.pop("LD_PRELOAD", None)
        result = subprocess.run(
            ["chroot", str(self.root), *command], env=environment, text=True,
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if result.returncode != 0:
            raise RuntimeError(f"{' '.join(command)}: exit status {result.returncode}\n{result.stdout}")
        return result.stdout


def main():
    system = CleanSystem.create(os.environ["VORNIX_CLEAN_SYSTEM"])
    system.mount()
    dependencies = ", ".join(package.field("Depends") for package in built_packages())
    print(system.run("apt-get", "satisfy", "--yes", "--no-install-recommends", dependencies))
    system.run("apt-get", "clean")


if __name__ == "__main__":
    skip_unless_possible()
    enter_namespace()
    skip_unless_reachable()
    main()
