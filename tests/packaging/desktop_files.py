"""Menu entry, metainfo and icons: checked with the validators of desktops, and compared with the
program's version, its maker and the existing pictures."""

import configparser
import os
import pathlib
import re
import struct
import subprocess
import sys
import unittest
from xml.etree import ElementTree

SOURCE = pathlib.Path(__file__).resolve().parents[2]
BUILT = pathlib.Path(os.environ["VORNIX_DESKTOP"])
APP_ID = os.environ["VORNIX_APP_ID"]
VERSION = os.environ["VORNIX_VERSION"]
ENTRY = BUILT / f"{APP_ID}.desktop"
METAINFO = BUILT / f"{APP_ID}.metainfo.xml"
UDEV_RULE = pathlib.Path(os.environ["VORNIX_UDEV_RULE"])
SIZES = (16, 22, 24, 32, 48, 64, 128, 256, 512)
LANGUAGE = "{http://www.w3.org/XML/1998/namespace}lang"


def menu_entry():
    parser = configparser.RawConfigParser(strict=True)
    parser.optionxform = str
    parser.read_string(ENTRY.read_text(encoding="utf-8"))
    return parser["Desktop Entry"]


def constant_of_maker(name):
    text = (SOURCE / "src/dialogs/manufacturer.h").read_text(encoding="utf-8")
    return re.search(rf'\b{name} =\s+"([^"]*)"', text).group(1)


def maker_name():
    text = (SOURCE / "src/dialogs/manufacturer.h").read_text(encoding="utf-8")
    return re.search(r'"AboutDialog", "(\w+) - ', text).group(1)


class Validators(unittest.TestCase):
    def assert_silent(self, *command):
        run = subprocess.run(command, capture_output=True, text=True)
        self.assertEqual((run.returncode, run.stdout + run.stderr), (0, ""))

    def test_menu_entry(self):
        self.assert_silent("desktop-file-validate", ENTRY)

    def test_metainfo(self):
        """Fails on errors and warnings. Hints are only printed, because an older release of the
        tool does not support each element that a newer one requests."""
        run = subprocess.run(
            ["appstreamcli", "validate", "--no-net", "--pedantic", "--no-color", METAINFO],
            capture_output=True, text=True)
        self.assertEqual(run.returncode, 0, run.stdout)
        findings = re.findall(r"^([A-Z]): .*", run.stdout, re.MULTILINE)
        self.assertFalse(set(findings) & {"E", "W"}, run.stdout)
        if findings:
            sys.stderr.write(run.stdout)


class MenuEntry(unittest.TestCase):
    def test_speaks_turkish(self):
        entry = menu_entry()
        for key in ("GenericName", "Comment", "Keywords"):
            self.assertNotEqual(entry[f"{key}[tr]"], entry[key])
            self.assertTrue(entry[f"{key}[tr]"])

    def test_starts_the_program(self):
        self.assertEqual(menu_entry()["Exec"], "vornix")

    def test_names_the_icon(self):
        self.assertEqual(menu_entry()["Icon"], APP_ID)


class Metainfo(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.root = ElementTree.parse(METAINFO).getroot()

    def text(self, path):
        return self.root.find(path).text

    def test_belongs_to_the_menu_entry(self):
        self.assertEqual(self.text("id"), APP_ID)
        self.assertEqual(self.text("launchable"), ENTRY.name)
        self.assertEqual(self.text("summary"), menu_entry()["Comment"])

    def test_newest_release_is_this_one(self):
        self.assertEqual(self.root.find("releases/release").get("version"), VERSION)

    def test_is_the_makers(self):
        website = constant_of_maker("kWebsite")
        self.assertEqual(self.text("url[@type='homepage']"), website)
        domain = website.split("//")[1].removeprefix("www.").split(".")
        self.assertEqual(APP_ID, ".".join([*reversed(domain), "vornix"]))
        self.assertEqual(self.text("developer/name"), maker_name())
        self.assertEqual(self.root.find("developer").get("id"), ".".join(reversed(domain)))

    def test_offers_itself_for_the_devices_of_the_udev_rule(self):
        rule = UDEV_RULE.read_text(encoding="utf-8")
        devices = re.findall(r'ATTRS{idVendor}=="(\w+)", ATTRS{idProduct}=="(\w+)", TAG\+=', rule)
        self.assertGreater(len(devices), 0)
        self.assertEqual([alias.text for alias in self.root.iter("modalias")],
                         [f"usb:v{vendor.upper()}p{product.upper()}d*" for vendor, product in devices])

    def test_licence_is_the_makers_own(self):
        self.assertEqual(self.text("project_license"), "LicenseRef-proprietary")
        self.assertIn(self.text("metadata_license"), ("FSFAP", "CC0-1.0"))

    def test_every_english_text_has_its_turkish(self):
        for tag in ("summary", "p", "li", "caption"):
            languages = [element.get(LANGUAGE) for element in self.root.iter(tag)]
            self.assertEqual(languages.count(None), languages.count("tr"), tag)
            self.assertGreater(len(languages), 1, tag)

    def test_pictures_are_those_of_the_documentation(self):
        pictures = [image.text.rsplit("/", 1)[1] for image in self.root.iter("image")]
        self.assertIn("live-tr.png", pictures)
        for picture in pictures:
            self.assertTrue((SOURCE / "docs/images" / picture).is_file(), picture)


class Icons(unittest.TestCase):
    def test_have_their_sizes(self):
        for size in SIZES:
            data = (BUILT / f"icons/{size}x{size}/{APP_ID}.png").read_bytes()
            self.assertEqual(data[:8], b"\x89PNG\r\n\x1a\n")
            self.assertEqual(struct.unpack(">II", data[16:24]), (size, size))

    def test_window_has_the_same(self):
        """The window icon compiled into the program equals the desktop's icon."""
        def pixels(path):
            return subprocess.run(["convert", path, "-depth", "8", "rgba:-"], check=True,
                                  capture_output=True).stdout
        self.assertEqual(pixels(BUILT / f"icons/256x256/{APP_ID}.png"),
                         pixels(SOURCE / "resources/icons/vornix.png"))

    def test_drawings_are_square(self):
        for name in ("vornix.svg", "vornix-small.svg"):
            root = ElementTree.parse(SOURCE / "resources/icons" / name).getroot()
            self.assertEqual(root.get("width"), root.get("height"))


if __name__ == "__main__":
    unittest.main()
