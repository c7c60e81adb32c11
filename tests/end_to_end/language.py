"""Choosing Turkish in the menu: the built program finds its translation and uses it at once."""

import pathlib
import re
import shutil
import subprocess
import tempfile

import support

CAPTIONS = {
    "Quaternion (unitless)": "Kuaterniyon (birimsiz)",
    "Magnetic Field (unitless)": "Manyetik Alan (birimsiz)",
    "Linear Acceleration (m/s²)": "Doğrusal İvme (m/s²)",
}
INFO, INFO_TR = ("Connection", "Device Info"), ("Bağlantı", "Cihaz Bilgileri")
QUATERNION = r"(-?\d+(\.\d+)?(e[+-]\d+)?(, |$)){4}"


class Language(support.ProgramCase):
    device = ("--seed", "1", "--motion", "tumble", "--outputs", "0x7F")

    def test_speaks_turkish_while_connected(self):
        self.connect(baud=115200)
        labels = {english: self.window.find("label", english) for english in CAPTIONS}
        quaternion = self.value("Quaternion (unitless)")

        self.program.menu("Language", "Türkçe")
        self.wait_for_status("Bağlı: /dev/ttyUSB0 @ 115200 baud")
        for english, turkish in CAPTIONS.items():
            self.assertEqual(labels[english].name, turkish)
        support.wait_until(lambda: re.fullmatch(r"Veri alınıyor: [1-9]\d* Hz", self.rate.name),
                           "a rate in Turkish")
        self.assertRegex(self.wait_for_change(quaternion), QUATERNION)
        self.shoot("live-turkish")

        self.assert_turkish_dialog()
        self.program.menu("Dil", "English")
        self.wait_for_status("Connected to /dev/ttyUSB0 @ 115200 baud")
        self.disconnect()
        self.close()

    def test_buttons_that_qt_writes_on(self):
        self.program.menu("Language", "Türkçe")
        self.assertEqual(self.button_of_refusal(*INFO_TR, title="Bağlı değil"), "Tamam")
        self.program.menu("Dil", "English")
        self.assertEqual(self.button_of_refusal(*INFO, title="Not connected"), "OK")
        self.close()

    def assert_turkish_dialog(self):
        self.program.menu(*INFO_TR)
        info = self.program.dialog("Cihaz Bilgileri")
        self.assertEqual(info.value_beside("Seri No (S/N)").text, "c0ffee")
        info.find("push button", "Kapat").activate()
        self.wait_until_closed("Cihaz Bilgileri")


class WithoutQtsCatalogue(support.ProgramCase):
    device = ("--seed", "1")

    def command(self):
        """A copy of the program in a directory where it finds no catalogues of Qt."""
        directory = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        program = (support.BIN / "vornix").resolve()
        shutil.copy(program, directory)
        shutil.copytree(program.parent / "languages", directory / "languages")
        plugins = subprocess.run(["qtpaths6", "--plugin-dir"], check=True, stdout=subprocess.PIPE,
                                 text=True).stdout.strip()
        (directory / "qt.conf").write_text(
            f"[Paths]\nPlugins={plugins}\nTranslations={directory}/none\n", encoding="utf-8")
        return [support.BIN / "vornix-sim", *self.device, "--", directory / "vornix"]

    def test_only_the_buttons_stay_english(self):
        self.program.menu("Language", "Türkçe")
        self.window.find("label", "Kuaterniyon (birimsiz)")
        self.assertEqual(self.button_of_refusal(*INFO_TR, title="Bağlı değil"), "OK")
        self.close()


if __name__ == "__main__":
    support.main()
