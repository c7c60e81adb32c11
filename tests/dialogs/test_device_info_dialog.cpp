#include <QGroupBox>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTextDocumentFragment>
#include <QTimer>

#include "dialogs/device_info_dialog.h"
#include "protocol/protocol.h"
#include "tests/dialogs/device_fixture.h"
#include "tests/dialogs/dialog_support.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"

using namespace Qt::StringLiterals;
using namespace dialog_test;

class TestDeviceInfoDialog : public QObject
{
    Q_OBJECT

private slots:
    void windowAsItOpens();
    void withoutDriverAllStaysEmpty();
    void showsTheDevice_data();
    void showsTheDevice();
    void refreshesTwiceASecond();
    void neverMoreThanTwoLines();
    void refreshKeepsTheSelection();
    void aChangeKeepsSelectionAndScrollPosition();
    void enterPressesNothing();
    void silentDeviceShowsWhatTheDriverGives();
    void lostDeviceShowsWhatTheDriverGives();
    void closeHidesTheDialog();
    void languageChange();
    void namesForScreenReaders();
    void keyboardReachesEverything();

private:
    static QString line(const DeviceInfoDialog &dialog, const QString &name)
    {
        return child<QLineEdit>(dialog, name)->text();
    }
    static QString received(const DeviceInfoDialog &dialog)
    {
        return child<QPlainTextEdit>(dialog, u"plainText_received"_s)->toPlainText();
    }

    DeviceFixture m_fixture;
};

void TestDeviceInfoDialog::windowAsItOpens()
{
    const DeviceInfoDialog dialog(nullptr, nullptr);
    QCOMPARE(dialog.objectName(), u"DeviceInfoDialog"_s);
    QCOMPARE(dialog.size(), QSize(1063, 674));
    QCOMPARE(dialog.windowTitle(), u"Device Info"_s);
    QCOMPARE(child<QLabel>(dialog, u"label_baud"_s)->text(), u"Baud Rate"_s);
    QCOMPARE(child<QLabel>(dialog, u"label_com"_s)->text(), u"COM Port"_s);
    QCOMPARE(child<QLabel>(dialog, u"label_sn"_s)->text(), u"Serial No (S/N)"_s);
    QCOMPARE(child<QLabel>(dialog, u"label_fw"_s)->text(), u"Firmware Version"_s);
    QCOMPARE(child<QGroupBox>(dialog, u"group_device_data_view"_s)->title(), QString());
    QCOMPARE(child<QGroupBox>(dialog, u"group_received"_s)->title(), u"Received from device"_s);
    QCOMPARE(child<QPushButton>(dialog, u"push_close"_s)->text(), u"Close"_s);
    const auto edits = dialog.findChildren<QLineEdit *>();
    QCOMPARE(edits.size(), 4);
    for (const QLineEdit *edit : edits)
        QVERIFY(edit->isReadOnly());
    QVERIFY(child<QPlainTextEdit>(dialog, u"plainText_received"_s)->isReadOnly());
}

void TestDeviceInfoDialog::withoutDriverAllStaysEmpty()
{
    DeviceInfoDialog dialog(nullptr, nullptr);
    dialog.show();
    QMetaObject::invokeMethod(&dialog, "updateFromDevice");
    for (const QLineEdit *edit : dialog.findChildren<QLineEdit *>())
        QCOMPARE(edit->text(), QString());
    QCOMPARE(received(dialog), QString());
}

void TestDeviceInfoDialog::showsTheDevice_data()
{
    QTest::addColumn<unsigned int>("baud");
    QTest::addColumn<unsigned int>("serial");
    QTest::addColumn<unsigned short>("firmware");
    QTest::addColumn<unsigned short>("rate");
    QTest::addColumn<unsigned short>("outputs");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QString>("box");
    const auto row = [](const char *name, unsigned int baud, unsigned int serial,
                        unsigned short firmware, unsigned short rate, unsigned short outputs,
                        const QStringList &lines, const QString &box) {
        QTest::newRow(name) << baud << serial << firmware << rate << outputs << lines << box;
    };
    row("letters", 115200, 3054, 0x0203, 100, 0x0044, {u"115200"_s, u"bee"_s, u"2.3"_s},
        u"Data rate: 100 Hz\nOutputs: 0x44"_s);
    row("hexadecimal version", 921600, 0x00C0FFEE, 0x010A, 200, 0x00FF,
        {u"921600"_s, u"c0ffee"_s, u"1.a"_s}, u"Data rate: 200 Hz\nOutputs: 0xff"_s);
    row("largest", 460800, 0xFFFFFFFF, 0xFFFF, 1000, 0x0104,
        {u"460800"_s, u"ffffffff"_s, u"ff.ff"_s}, u"Data rate: 1000 Hz\nOutputs: 0x104"_s);
    row("nothing", 115200, 0, 0x0000, 50, 0x0004, {u"115200"_s, u"0"_s, u"0.0"_s},
        u"Data rate: 50 Hz\nOutputs: 0x4"_s);
    row("unlisted", 1500000, 1, 0x0100, 400, 0x0004, {u"1500000"_s, u"1"_s, u"1.0"_s},
        u"Data rate: 400 Hz\nOutputs: 0x4"_s);
}

void TestDeviceInfoDialog::showsTheDevice()
{
    QFETCH(unsigned int, baud);
    QFETCH(unsigned int, serial);
    QFETCH(unsigned short, firmware);
    QFETCH(unsigned short, rate);
    QFETCH(unsigned short, outputs);
    QFETCH(QStringList, lines);
    QFETCH(QString, box);
    sim::DeviceOptions options = deviceWith(baud, rate, outputs);
    options.serialNumber = serial;
    options.firmwareVersion = firmware;
    QVERIFY(m_fixture.connectTo(options));
    const DeviceInfoDialog dialog(m_fixture.driver(), nullptr);
    QCOMPARE((QStringList{line(dialog, u"line_baud"_s), line(dialog, u"line_sn"_s),
                          line(dialog, u"line_fw"_s)}),
             lines);
    QCOMPARE(line(dialog, u"line_com"_s), QString());
    QCOMPARE(received(dialog), box);
    QCOMPARE(m_fixture.commands(), Commands{kGetSettings});
}

void TestDeviceInfoDialog::refreshesTwiceASecond()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x0004)));
    DeviceInfoDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    const auto timers = dialog.findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
    QCOMPARE(timers.size(), 1);
    QCOMPARE(timers[0]->interval(), 500);
    QVERIFY(timers[0]->isActive());
    m_fixture.change([](sim::ImuSimulator &simulator) {
        sim::DeviceSettings settings = simulator.memory().active;
        settings.rateHz = 200;
        settings.outputs = 0x0041;
        simulator.setSettings(settings);
    });
    QTRY_COMPARE(received(dialog), u"Data rate: 200 Hz\nOutputs: 0x41"_s);
    QTRY_VERIFY(m_fixture.count(kGetSettings) >= 4);
    QCOMPARE(line(dialog, u"line_com"_s), QString());
}

void TestDeviceInfoDialog::neverMoreThanTwoLines()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x0004)));
    DeviceInfoDialog dialog(m_fixture.driver(), nullptr);
    auto *const box = child<QPlainTextEdit>(dialog, u"plainText_received"_s);
    int most = box->blockCount();
    connect(box, &QPlainTextEdit::textChanged, [&] { most = std::max(most, box->blockCount()); });
    for (int refresh = 0; refresh < 5; ++refresh)
        QMetaObject::invokeMethod(&dialog, "updateFromDevice");
    QCOMPARE(box->blockCount(), 2);
    QCOMPARE(most, 2);
}

// The selection must last long enough to copy the serial number. A refresh without a new value must
// raise no accessibility event; otherwise there are two a second.
void TestDeviceInfoDialog::refreshKeepsTheSelection()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x0044)));
    DeviceInfoDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    auto *const serial = child<QLineEdit>(dialog, u"line_sn"_s);
    auto *const box = child<QPlainTextEdit>(dialog, u"plainText_received"_s);
    serial->selectAll();
    box->selectAll();
    QSignalSpy boxChanges(box, &QPlainTextEdit::textChanged);
    QSignalSpy serialChanges(serial, &QLineEdit::textChanged);
    for (int refresh = 0; refresh < 3; ++refresh)
        QMetaObject::invokeMethod(&dialog, "updateFromDevice");
    QVERIFY(m_fixture.count(kGetSettings) >= 4);
    QCOMPARE(serial->selectedText(), u"c0ffee"_s);
    QCOMPARE(box->textCursor().selection().toPlainText(), u"Data rate: 100 Hz\nOutputs: 0x44"_s);
    QCOMPARE(boxChanges.size(), 0);
    QCOMPARE(serialChanges.size(), 0);
}

void TestDeviceInfoDialog::aChangeKeepsSelectionAndScrollPosition()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x0044)));
    DeviceInfoDialog dialog(m_fixture.driver(), nullptr);
    auto *const box = child<QPlainTextEdit>(dialog, u"plainText_received"_s);
    box->setMaximumSize(60, 30); // less high than two lines, less wide than one
    box->setLineWrapMode(QPlainTextEdit::NoWrap);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QTextCursor mask = box->textCursor();
    mask.setPosition(18);
    mask.setPosition(29, QTextCursor::KeepAnchor);
    box->setTextCursor(mask);
    QCOMPARE(box->textCursor().selectedText(), u"Outputs: 0x"_s);
    box->verticalScrollBar()->setValue(1);
    box->horizontalScrollBar()->setValue(7);
    QCOMPARE(box->verticalScrollBar()->value(), 1);
    QCOMPARE(box->horizontalScrollBar()->value(), 7);
    m_fixture.change([](sim::ImuSimulator &simulator) {
        sim::DeviceSettings settings = simulator.memory().active;
        settings.rateHz = 1000;
        simulator.setSettings(settings);
    });
    QMetaObject::invokeMethod(&dialog, "updateFromDevice");
    QCOMPARE(received(dialog), u"Data rate: 1000 Hz\nOutputs: 0x44"_s);
    QCOMPARE(box->textCursor().selectedText(), u"Outputs: 0x"_s);
    QCOMPARE(box->verticalScrollBar()->value(), 1);
    QCOMPARE(box->horizontalScrollBar()->value(), 7);
}

void TestDeviceInfoDialog::enterPressesNothing()
{
    DeviceInfoDialog dialog(nullptr, nullptr);
    dialog.show();
    QCOMPARE(pressedByEnter(dialog), QStringList());
    QVERIFY(dialog.isVisible());
}

void TestDeviceInfoDialog::silentDeviceShowsWhatTheDriverGives()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x0004)));
    DeviceInfoDialog dialog(m_fixture.driver(), nullptr);
    m_fixture.change([](sim::ImuSimulator &simulator) { simulator.faults().silent = true; });
    m_fixture.haste = 200;
    QMetaObject::invokeMethod(&dialog, "updateFromDevice");
    QCOMPARE(line(dialog, u"line_baud"_s), u"0"_s);
    QCOMPARE(line(dialog, u"line_sn"_s), u"c0ffee"_s);
    QCOMPARE(line(dialog, u"line_fw"_s), u"2.3"_s);
    QCOMPARE(received(dialog), u"Data rate: 0 Hz\nOutputs: 0x0"_s);
}

void TestDeviceInfoDialog::lostDeviceShowsWhatTheDriverGives()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x0004)));
    DeviceInfoDialog dialog(m_fixture.driver(), nullptr);
    dialog.show();
    m_fixture.device().unplug();
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^device info not read: write_some"_s));
    QMetaObject::invokeMethod(&dialog, "updateFromDevice");
    QCOMPARE(line(dialog, u"line_baud"_s), u"0"_s);
    QCOMPARE(line(dialog, u"line_sn"_s), u"c0ffee"_s);
    QCOMPARE(received(dialog), u"Data rate: 0 Hz\nOutputs: 0x0"_s);
    QVERIFY(dialog.isVisible());
}

void TestDeviceInfoDialog::closeHidesTheDialog()
{
    DeviceInfoDialog dialog(nullptr, nullptr);
    dialog.show();
    QTest::mouseClick(child<QPushButton>(dialog, u"push_close"_s), Qt::LeftButton);
    QVERIFY(!dialog.isVisible());
}

void TestDeviceInfoDialog::languageChange()
{
    QVERIFY(m_fixture.connectTo(deviceWith(115200, 100, 0x0044)));
    DeviceInfoDialog dialog(m_fixture.driver(), nullptr);
    MarkingTranslator marking;
    QCoreApplication::installTranslator(&marking);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(dialog.windowTitle(), u"~Device Info"_s);
    QCOMPARE(child<QLabel>(dialog, u"label_com"_s)->text(), u"~COM Port"_s);
    QCOMPARE(child<QGroupBox>(dialog, u"group_received"_s)->title(), u"~Received from device"_s);
    QCOMPARE(received(dialog), u"~Data rate: 100 Hz\n~Outputs: 0x44"_s);
    QCOMPARE(line(dialog, u"line_baud"_s), u"115200"_s);
    QCOMPARE(m_fixture.commands(), Commands{kGetSettings});
    QCoreApplication::removeTranslator(&marking);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(received(dialog), u"Data rate: 100 Hz\nOutputs: 0x44"_s);
}

void TestDeviceInfoDialog::namesForScreenReaders()
{
    DeviceInfoDialog dialog(nullptr, nullptr);
    dialog.show();
    QCOMPARE(unnamedWidgets(dialog), QStringList());
}

void TestDeviceInfoDialog::keyboardReachesEverything()
{
    DeviceInfoDialog dialog(nullptr, nullptr);
    dialog.show();
    child<QLineEdit>(dialog, u"line_baud"_s)->setFocus();
    QCOMPARE(tabRound(dialog),
             (QStringList{u"line_baud"_s, u"line_com"_s, u"line_sn"_s, u"line_fw"_s,
                          u"plainText_received"_s, u"push_close"_s}));
    QTest::keyClick(&dialog, Qt::Key_Escape);
    QVERIFY(!dialog.isVisible());
}

VORNIX_TEST_MAIN(TestDeviceInfoDialog, QApplication)
#include "test_device_info_dialog.moc"
