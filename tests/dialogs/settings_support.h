#pragma once

#include <QComboBox>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

#include "dialogs/settings_dialog.h"
#include "tests/dialogs/device_fixture.h"
#include "tests/dialogs/dialog_support.h"
#include "tests/fixtures/box_watcher.h"

// Helpers of the tests that operate the settings dialog.
namespace dialog_test {

// Commands as sent on the line. The last two payload bytes of SET DATA_RATE and SET OUTPUTS are
// 10 11, left over from GET.
inline const Bytes kRate100{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x08, 0x64, 0x00, 0x10, 0x11, 0x9A, 0x00};
inline const Bytes kRate200{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x08, 0xC8, 0x00, 0x10, 0x11, 0xFE, 0x00};
inline const Bytes kOutputs47{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x09,
                              0x47, 0x00, 0x10, 0x11, 0x7E, 0x00};
inline const Bytes kOutputsAll{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x09,
                               0xFF, 0x00, 0x10, 0x11, 0x36, 0x01};
inline const Bytes kSave47{0x53, 0x43, 0x09, 0x00, 0x0B, 0x47, 0x00, 0x52, 0x00};
inline const Bytes kSaveAll{0x53, 0x43, 0x09, 0x00, 0x0B, 0xFF, 0x00, 0x0A, 0x01};

inline QComboBox *combo(const SettingsDialog &dialog, const QString &name)
{
    return child<QComboBox>(dialog, name);
}

inline void press(const SettingsDialog &dialog, const QString &name)
{
    QTest::mouseClick(child<QPushButton>(dialog, name), Qt::LeftButton);
}

// Fails the test unless the dialog has shown one box, with this content.
inline void compareBox(const BoxWatcher &boxes, const SettingsDialog &dialog,
                       QMessageBox::Icon icon, const QString &title, const QString &text)
{
    QCOMPARE(boxes.shown.size(), 1);
    QCOMPARE(boxes.shown[0].title, title);
    QCOMPARE(boxes.shown[0].text, text);
    QCOMPARE(boxes.shown[0].icon, icon);
    QCOMPARE(boxes.shown[0].buttons, QList{QMessageBox::Ok});
    QCOMPARE(boxes.shown[0].parent, &dialog);
    QVERIFY(!boxes.shown[0].busyPointer);
}

} // namespace dialog_test
