"""Saved settings of the device are still set after a power cycle."""

import support


class Settings(support.ProgramCase):
    device = ("--seed", "2", "--motion", "hand", "--serial", "0xbee")

    def test_saved_settings_outlive_a_power_cycle(self):
        self.connect(baud=115200)
        factory = self.device_info()
        self.assertEqual(factory["Baud Rate"], "115200")

        self.change_settings(baud="921600", rate="200 Hz", preset="Full output")
        self.wait_for_rate(200)
        self.assert_info(baud="921600", rate=200, outputs="ff")

        self.power_cycle()
        self.wait_for_rate(200)
        self.assert_info(baud="921600", rate=200, outputs="ff")

        # The search finds the device at its new baud rate.
        self.disconnect()
        self.connect(baud=921600)

        self.revert_to_factory_settings()
        self.assert_info(baud="921600", rate=200, outputs="ff")
        self.power_cycle()
        self.wait_for_rate(0)
        self.disconnect()
        self.connect(baud=115200)
        self.assertEqual(self.device_info(), factory)

        self.disconnect()
        self.close()

    def test_cancel_changes_nothing(self):
        self.connect()
        before = self.device_info()
        dialog = self.open_settings()
        support.combo_offering(dialog, "921600").choose("921600")
        support.combo_offering(dialog, "200 Hz").choose("200 Hz")
        dialog.find("push button", "Cancel").activate()
        self.wait_until_closed("Settings")
        self.assertEqual(self.device_info(), before)
        self.disconnect()
        self.close()

    def open_settings(self):
        self.program.menu("Settings", "Open Settings")
        return self.program.dialog("Settings")

    def change_settings(self, baud, rate, preset):
        dialog = self.open_settings()
        support.combo_offering(dialog, baud).choose(baud)
        support.combo_offering(dialog, rate).choose(rate)
        support.combo_offering(dialog, preset).choose(preset)
        self.shoot("settings", dialog)
        dialog.find("push button", "Save to Device").activate()
        self.wait_until_closed("Settings")

    def revert_to_factory_settings(self):
        dialog = self.open_settings()
        dialog.find("push button", "Revert to Factory Settings").activate()
        box = self.program.dialog("Device Factory Settings")
        box.find("push button", "OK").activate()
        self.wait_until_closed("Device Factory Settings")
        self.wait_until_closed("Settings")

    def device_info(self):
        self.program.menu("Connection", "Device Info")
        dialog = self.program.dialog("Device Info")
        received = dialog.find("panel", "Received from device").find("text")
        captions = ("Baud Rate", "COM Port", "Serial No (S/N)", "Firmware Version")
        texts = dialog.texts([*dialog.values_beside(captions), received])
        info = dict(zip((*captions, "received"), texts))
        self.shoot("device-info", dialog)
        dialog.find("push button", "Close").activate()
        self.wait_until_closed("Device Info")
        return info

    def assert_info(self, baud, rate, outputs):
        self.assertEqual(self.device_info(), {
            "Baud Rate": baud,
            "COM Port": "",
            "Serial No (S/N)": "bee",
            "Firmware Version": "2.3",
            "received": f"Data rate: {rate} Hz\nOutputs: 0x{outputs}",
        })


if __name__ == "__main__":
    support.main()
