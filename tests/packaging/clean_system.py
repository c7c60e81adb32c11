"""Makes a system in the directory VORNIX_CLEAN_SYSTEM, in which tests install the packages.

It is a minimal Debian without recommended packages. Only the dependencies that our packages declare
are added. Needs root; otherwise it prints the reason and exits with SKIPPED.
"""

import os

import debian_system
from built_packages import built_packages


def main():
    codename = debian_system.own_release()
    debian_system.skip_unless_reachable(codename)
    system = debian_system.DebianSystem(os.environ["VORNIX_CLEAN_SYSTEM"],
                                        f"{os.environ['VORNIX_DOWNLOADS']}/{codename}")
    system.create(codename)
    system.mount()
    dependencies = ", ".join(package.field("Depends") for package in built_packages())
    print(system.run("apt-get", "satisfy", "--yes", "--no-install-recommends", dependencies))
    system.save_downloads()
    system.run("apt-get", "clean")


if __name__ == "__main__":
    debian_system.skip_unless_possible()
    debian_system.enter_namespace()
    main()
