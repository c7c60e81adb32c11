"""The Debian packages that this build made."""

import os
import pathlib
import subprocess

NAMES = ("vornix", "vornix-cli", "vornix-sim")


def output(*command):
    return subprocess.run([str(part) for part in command], check=True, stdout=subprocess.PIPE,
                          text=True).stdout


class Package:
    def __init__(self, path):
        self.path = pathlib.Path(path)

    def field(self, name):
        return output("dpkg-deb", "--field", self.path, name).strip()

    def listing(self):
        """(permissions, owner, path, target of a link or None) for every file and directory."""
        entries = []
        for line in output("dpkg-deb", "--contents", self.path).splitlines():
            permissions, owner, _, _, _, place = line.split(maxsplit=5)
            path, _, target = place.partition(" -> ")
            entries.append((permissions, owner, path.removeprefix(".").rstrip("/"), target or None))
        return entries

    def files(self):
        """All paths except those of directories."""
        return [path for permissions, _, path, _ in self.listing() if not permissions.startswith("d")]

    def unpack(self, directory):
        subprocess.run(["dpkg-deb", "--extract", self.path, directory], check=True)


def built_packages():
    """The packages of this version in the order of NAMES, found by Debian's file naming."""
    directory = pathlib.Path(os.environ["VORNIX_PACKAGES"])
    architecture = output("dpkg", "--print-architecture").strip()
    version = os.environ["VORNIX_VERSION"]
    return [Package(directory / f"{name}_{version}-1_{architecture}.deb") for name in NAMES]
