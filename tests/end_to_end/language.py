"""Choosing Turkish in the menu: the built program finds its translation and speaks it at once."""

import re

import support

CAPTIONS = {
    "Quaternion (unitless)": "Kuaterniyon (birimsiz)",
    "Magnetic Field (unitless)": "Manyetik Alan (birimsiz)",
    "Linear Acceleration (m/s²)": "Doğrusal İvme (m/s²)",
}
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
        support.wait_until(lambda: re.fullmatch(r"Alınıyor: [1-9]\d* Hz", self.rate.name),
                           "a rate in Turkish")
        self.assertRegex(self.wait_for_change(quaternion), QUATERNION)
        self.shoot("live-turkish")

        self.assert_turkish_dialog()
        self.program.menu("Dil", "English")
        self.wait_for_status("Connected to /dev/ttyUSB0 @ 115200 baud")
        self.disconnect()
        self.close()

    def assert_turkish_dialog(self):
        self.program.menu("Bağlantı", "Cihaz Bilgileri")
        info = self.program.dialog("Cihaz Bilgileri")
        self.assertEqual(info.value_beside("Seri No (S/N)").text, "c0ffee")
        info.find("push button", "Kapat").activate()
        self.wait_until_closed("Cihaz Bilgileri")


if __name__ == "__main__":
    support.main()
