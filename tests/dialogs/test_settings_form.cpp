#include <algorithm>

#include <QCheckBox>
#include <QGroupBox>

#include "dialogs/settings_dialog.h"
#include "tests/dialogs/dialog_support.h"
#include "tests/fixtures/box_watcher.h"

using namespace Qt::StringLiterals;
using namespace dialog_test;

// The settings dialog without a device: contents of the form, meaning of its boxes and presets.
class TestSettingsForm : public QObject
{
    Q_OBJECT

private slots:
    void windowAsItOpens();
    void textsOfTheForm_data();
    void textsOfTheForm();
    void comboItems_data();
    void comboItems();
    void checkBoxStandsForItsBit_data();
    void checkBoxStandsForItsBit();
    void maskChecksBoxes();
    void presetChecksItsBoxes_data();
    void presetChecksItsBoxes();
    void unknownPresetClearsAll();
    void manualChangeKeepsPreset();
    void combosAreRead();
    void withoutDriverSaveCloses();
    void withoutDriverFactoryCloses();
    void cancelAndEscapeReject();
    void languageChangeKeepsChoices();
    void presetsWorkInAnotherLanguage();
    void namesForScreenReaders();
    void keyboardReachesEverything();
    void enterPressesNothing();

private:
    SettingsDialog m_dialog{nullptr, nullptr};
    QComboBox *combo(const QString &name) const { return child<QComboBox>(m_dialog, name); }
    QCheckBox *box(const QString &name) const { return child<QCheckBox>(m_dialog, name); }
};

void TestSettingsForm::windowAsItOpens()
{
    const SettingsDialog fresh(nullptr, nullptr);
    QCOMPARE(fresh.objectName(), u"SettingsDialog"_s);
    QCOMPARE(fresh.size(), QSize(820, 700));
    QCOMPARE(fresh.windowTitle(), u"Settings"_s);
    QCOMPARE(int(fresh.buildOutputsMask()), 0);
    const auto combos = fresh.findChildren<QComboBox *>();
    QCOMPARE(combos.size(), 6);
    for (const QComboBox *each : combos) {
        QCOMPARE(each->currentIndex(), 0);
        QVERIFY(!each->isEditable());
    }
}

void TestSettingsForm::textsOfTheForm_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const char *property, const QString &text) {
        QTest::newRow(name) << QString::fromLatin1(name) << QByteArray(property) << text;
    };
    row("groupBox_serial", "title", u"Serial Port Settings"_s);
    row("label_baud", "text", u"Baud Rate"_s);
    row("label_data_bits", "text", u"Data Bits"_s);
    row("label_parity", "text", u"Parity"_s);
    row("label_stop_bits", "text", u"Stop Bits"_s);
    row("groupBox_outputs", "title", u"Outputs"_s);
    row("label_preset", "text", u"Preset:"_s);
    row("check_quaternion", "text", u"Quaternion (x, y, z, w)"_s);
    row("check_euler", "text", u"Euler Angles (roll, pitch, yaw)"_s);
    row("check_pressure", "text", u"Pressure"_s);
    row("check_lin_acc", "text", u"Linear Accelerations"_s);
    row("check_ang_rates", "text", u"Angular Rates"_s);
    row("check_mag", "text", u"Calibrated Magnetic Field"_s);
    row("check_covariance", "text", u"Covariance"_s);
    row("check_sync", "text", u"Sync Output"_s);
    row("label_dataRate", "text", u"Data Rate"_s);
    row("push_save", "text", u"Save to Device"_s);
    row("push_factory", "text", u"Revert to Factory Settings"_s);
    row("push_cancel", "text", u"Cancel"_s);
}

void TestSettingsForm::textsOfTheForm()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, property);
    QFETCH(QString, text);
    QCOMPARE(child<QWidget>(m_dialog, name)->property(property).toString(), text);
}

void TestSettingsForm::comboItems_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("items");
    QTest::newRow("baud") << u"comboBox_baud"_s
                          << QStringList{u"115200"_s, u"230400"_s, u"460800"_s, u"921600"_s,
                                         u"1000000"_s};
    QTest::newRow("data bits") << u"comboBox_data_bits"_s
                               << QStringList{u"8"_s, u"7"_s, u"6"_s, u"5"_s};
    QTest::newRow("parity") << u"comboBox_parity"_s
                            << QStringList{u"None"_s, u"Even"_s, u"Odd"_s, u"Space"_s, u"Mark"_s};
    QTest::newRow("stop bits") << u"comboBox_stop_bits"_s << QStringList{u"1"_s, u"1.5"_s, u"2"_s};
    QTest::newRow("preset") << u"comboBox_preset"_s
                            << QStringList{u"Custom"_s,
                                           u"Quaternion only"_s,
                                           u"Euler angles only"_s,
                                           u"Quaternion + inertial data"_s,
                                           u"Quaternion + inertial data + barometer"_s,
                                           u"Full output"_s};
    QTest::newRow("rate") << u"comboBox_quaternion_rate"_s
                          << QStringList{u"50 Hz"_s, u"100 Hz"_s, u"200 Hz"_s, u"500 Hz"_s,
                                         u"1000 Hz"_s};
}

void TestSettingsForm::comboItems()
{
    QFETCH(QString, name);
    QFETCH(QStringList, items);
    QCOMPARE(itemTexts(*combo(name)), items);
}

void TestSettingsForm::checkBoxStandsForItsBit_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("mask");
    QTest::newRow("angular rates") << u"check_ang_rates"_s << 0x01;
    QTest::newRow("linear accelerations") << u"check_lin_acc"_s << 0x02;
    QTest::newRow("quaternion") << u"check_quaternion"_s << 0x04;
    QTest::newRow("pressure") << u"check_pressure"_s << 0x08;
    QTest::newRow("covariance") << u"check_covariance"_s << 0x10;
    QTest::newRow("euler") << u"check_euler"_s << 0x20;
    QTest::newRow("magnetic field") << u"check_mag"_s << 0x40;
    QTest::newRow("sync") << u"check_sync"_s << 0x80;
}

void TestSettingsForm::checkBoxStandsForItsBit()
{
    QFETCH(QString, name);
    QFETCH(int, mask);
    m_dialog.applyOutputsMask(0);
    box(name)->click();
    QCOMPARE(int(m_dialog.buildOutputsMask()), mask);
    m_dialog.applyOutputsMask(static_cast<unsigned short>(0xFF ^ mask));
    QVERIFY(!box(name)->isChecked());
    QCOMPARE(int(m_dialog.buildOutputsMask()), 0xFF ^ mask);
}

void TestSettingsForm::maskChecksBoxes()
{
    m_dialog.applyOutputsMask(0xFF80);
    QVERIFY(box(u"check_sync"_s)->isChecked());
    QCOMPARE(int(m_dialog.buildOutputsMask()), 0x80);
}

void TestSettingsForm::presetChecksItsBoxes_data()
{
    QTest::addColumn<QString>("preset");
    QTest::addColumn<int>("mask");
    QTest::newRow("quaternion") << u"Quaternion only"_s << 0x04;
    QTest::newRow("euler") << u"Euler angles only"_s << 0x20;
    QTest::newRow("inertial") << u"Quaternion + inertial data"_s << 0x47;
    QTest::newRow("barometer") << u"Quaternion + inertial data + barometer"_s << 0x4F;
    QTest::newRow("full") << u"Full output"_s << 0xFF;
    QTest::newRow("custom") << u"Custom"_s << 0x00;
}

void TestSettingsForm::presetChecksItsBoxes()
{
    QFETCH(QString, preset);
    QFETCH(int, mask);
    QComboBox *const presets = combo(u"comboBox_preset"_s);
    presets->setCurrentIndex(preset == u"Custom"_s ? 1 : 0);
    m_dialog.applyOutputsMask(0x90);
    presets->setCurrentText(preset);
    QCOMPARE(int(m_dialog.buildOutputsMask()), mask);
}

void TestSettingsForm::unknownPresetClearsAll()
{
    SettingsDialog dialog(nullptr, nullptr);
    auto *const presets = child<QComboBox>(dialog, u"comboBox_preset"_s);
    presets->addItem(u"Unheard of"_s);
    dialog.applyOutputsMask(0xFF);
    presets->setCurrentIndex(6);
    QCOMPARE(int(dialog.buildOutputsMask()), 0);
}

void TestSettingsForm::manualChangeKeepsPreset()
{
    QComboBox *const presets = combo(u"comboBox_preset"_s);
    presets->setCurrentText(u"Full output"_s);
    box(u"check_euler"_s)->setChecked(false);
    QCOMPARE(presets->currentText(), u"Full output"_s);
    QCOMPARE(int(m_dialog.buildOutputsMask()), 0xDF);
    presets->setCurrentIndex(0);
}

void TestSettingsForm::combosAreRead()
{
    unsigned int baud = 0;
    unsigned short rate = 0;
    combo(u"comboBox_baud"_s)->setCurrentText(u"1000000"_s);
    combo(u"comboBox_quaternion_rate"_s)->setCurrentText(u"500 Hz"_s);
    QVERIFY(m_dialog.parseBaud(baud));
    QVERIFY(m_dialog.parseRate(rate));
    QCOMPARE(baud, 1000000U);
    QCOMPARE(int(rate), 500);
}

void TestSettingsForm::withoutDriverSaveCloses()
{
    SettingsDialog dialog(nullptr, nullptr);
    const BoxWatcher boxes;
    dialog.show();
    QTest::mouseClick(child<QPushButton>(dialog, u"push_save"_s), Qt::LeftButton);
    QVERIFY(!dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    QVERIFY(boxes.shown.isEmpty());
}

void TestSettingsForm::withoutDriverFactoryCloses()
{
    SettingsDialog dialog(nullptr, nullptr);
    const BoxWatcher boxes;
    dialog.show();
    QTest::mouseClick(child<QPushButton>(dialog, u"push_factory"_s), Qt::LeftButton);
    QVERIFY(!dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    QVERIFY(boxes.shown.isEmpty());
}

void TestSettingsForm::cancelAndEscapeReject()
{
    SettingsDialog dialog(nullptr, nullptr);
    dialog.show();
    dialog.setResult(QDialog::Accepted);
    QTest::mouseClick(child<QPushButton>(dialog, u"push_cancel"_s), Qt::LeftButton);
    QVERIFY(!dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    dialog.show();
    QTest::keyClick(&dialog, Qt::Key_Escape);
    QVERIFY(!dialog.isVisible());
}

void TestSettingsForm::languageChangeKeepsChoices()
{
    SettingsDialog dialog(nullptr, nullptr);
    const auto chosen = [&](const QString &name) { return child<QComboBox>(dialog, name); };
    chosen(u"comboBox_baud"_s)->setCurrentIndex(3);
    chosen(u"comboBox_parity"_s)->setCurrentIndex(2);
    chosen(u"comboBox_preset"_s)->setCurrentIndex(4);
    chosen(u"comboBox_quaternion_rate"_s)->setCurrentIndex(2);
    dialog.applyOutputsMask(0x21);

    MarkingTranslator marking;
    QCoreApplication::installTranslator(&marking);
    QCoreApplication::processEvents();
    QCOMPARE(dialog.windowTitle(), u"~Settings"_s);
    QCOMPARE(child<QPushButton>(dialog, u"push_save"_s)->text(), u"~Save to Device"_s);
    QCOMPARE(chosen(u"comboBox_baud"_s)->currentText(), u"921600"_s);
    QCOMPARE(chosen(u"comboBox_parity"_s)->currentText(), u"~Odd"_s);
    QCOMPARE(chosen(u"comboBox_preset"_s)->currentText(),
             u"~Quaternion + inertial data + barometer"_s);
    QCOMPARE(chosen(u"comboBox_quaternion_rate"_s)->currentText(), u"200 Hz"_s);
    QCOMPARE(int(dialog.buildOutputsMask()), 0x21);

    QCoreApplication::removeTranslator(&marking);
    QCoreApplication::processEvents();
    QCOMPARE(dialog.windowTitle(), u"Settings"_s);
    QCOMPARE(chosen(u"comboBox_preset"_s)->currentIndex(), 4);
    QCOMPARE(int(dialog.buildOutputsMask()), 0x21);
}

void TestSettingsForm::presetsWorkInAnotherLanguage()
{
    MarkingTranslator marking;
    QCoreApplication::installTranslator(&marking);
    SettingsDialog dialog(nullptr, nullptr);
    auto *const presets = child<QComboBox>(dialog, u"comboBox_preset"_s);
    presets->setCurrentText(u"~Full output"_s);
    QCOMPARE(presets->currentIndex(), 5);
    QCOMPARE(int(dialog.buildOutputsMask()), 0xFF);
    QCoreApplication::removeTranslator(&marking);
}

void TestSettingsForm::namesForScreenReaders()
{
    SettingsDialog dialog(nullptr, nullptr);
    dialog.show();
    QCOMPARE(unnamedWidgets(dialog), QStringList());
    const auto combos = dialog.findChildren<QComboBox *>();
    const auto labels = dialog.findChildren<QLabel *>();
    for (QComboBox *const each : combos) {
        QVERIFY(std::any_of(labels.begin(), labels.end(),
                            [each](const QLabel *label) { return label->buddy() == each; }));
    }
}

void TestSettingsForm::keyboardReachesEverything()
{
    SettingsDialog dialog(nullptr, nullptr);
    dialog.show();
    child<QComboBox>(dialog, u"comboBox_baud"_s)->setFocus();
    QCOMPARE(tabRound(dialog),
             (QStringList{u"comboBox_baud"_s, u"comboBox_data_bits"_s, u"comboBox_parity"_s,
                          u"comboBox_stop_bits"_s, u"comboBox_preset"_s, u"check_quaternion"_s,
                          u"check_euler"_s, u"check_pressure"_s, u"check_lin_acc"_s,
                          u"check_ang_rates"_s, u"check_mag"_s, u"check_covariance"_s,
                          u"check_sync"_s, u"comboBox_quaternion_rate"_s, u"push_save"_s,
                          u"push_factory"_s, u"push_cancel"_s}));
    QTest::keyClick(child<QCheckBox>(dialog, u"check_mag"_s), Qt::Key_Space);
    QCOMPARE(int(dialog.buildOutputsMask()), 0x40);
    QTest::keyClick(child<QComboBox>(dialog, u"comboBox_baud"_s), Qt::Key_Down);
    QCOMPARE(child<QComboBox>(dialog, u"comboBox_baud"_s)->currentText(), u"230400"_s);
}

// Enter on a combo box belongs to the combo box and must not save to the device.
void TestSettingsForm::enterPressesNothing()
{
    SettingsDialog dialog(nullptr, nullptr);
    dialog.show();
    QCOMPARE(pressedByEnter(dialog), QStringList());
    QVERIFY(dialog.isVisible());
    QTest::keyClick(child<QPushButton>(dialog, u"push_save"_s), Qt::Key_Space);
    QVERIFY(!dialog.isVisible());
}

QTEST_MAIN(TestSettingsForm)
#include "test_settings_form.moc"
