#pragma once

#include <functional>
#include <string>
#include <utility>

#include <QAction>
#include <QComboBox>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QTest>
#include <QTimer>

#include "app/application.h"
#include "app/main_window.h"
#include "driver/imu.h"
#include "tests/fixtures/device_testbed.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"

namespace app_test {

using namespace Qt::StringLiterals;

// The one main window of a test program. Tests trigger its actions and read its labels.
class WindowFixture
{
public:
    // Contents of the port chooser.
    struct Chooser
    {
        bool seen = false;
        QString title;
        QString label;
        QStringList items;
        QString current;
        bool editable = true;
        QWidget *parent = nullptr;
    };

    bool show()
    {
        m_window = new MainWindow;
        m_window->show();
        m_recorder.setInterval(2);
        QObject::connect(&m_recorder, &QTimer::timeout, m_window, [this] { noteStatus(); });
        m_recorder.start();
        return QTest::qWaitForWindowExposed(m_window, kWaitLimitMs);
    }

    MainWindow *window() const { return m_window; }
    imu *driver() const { return m_window->findChild<imu *>(); }
    QAction *action(const QString &name) const { return m_window->findChild<QAction *>(name); }
    QLabel *label(const QString &name) const { return m_window->findChild<QLabel *>(name); }
    QString status() const { return label(u"label_status"_s)->text(); }

    bool deviceActionsEnabled() const
    {
        const bool enabled = action(u"actionShowDeviceInfo_2"_s)->isEnabled();
        const bool same = action(u"actionOpenSettings"_s)->isEnabled() == enabled &&
                          action(u"actionCalibration"_s)->isEnabled() == enabled;
        return same && enabled;
    }
    bool deviceActionsDisabled() const
    {
        return !action(u"actionShowDeviceInfo_2"_s)->isEnabled() &&
               !action(u"actionOpenSettings"_s)->isEnabled() &&
               !action(u"actionCalibration"_s)->isEnabled();
    }

    void scan() const { action(u"actionScan"_s)->trigger(); }
    void disconnect() const { action(u"actionDisconnect_4"_s)->trigger(); }

    // Triggers the action as a user does: from the event loop, which also handles port errors.
    // Returns when the action is over, by an exception too.
    void choose(const QString &name)
    {
        bool over = false;
        QTimer::singleShot(0, m_window, [&] {
            struct Over
            {
                WindowFixture &fixture;
                bool &flag;
                ~Over()
                {
                    fixture.noteStatus();
                    flag = true;
                }
            } const atTheEnd{*this, over};
            action(name)->trigger();
        });
        if (!QTest::qWaitFor([&] { return over; }, 5 * kWaitLimitMs))
            qFatal("%s does not end", qPrintable(name));
    }

    // Chooses Connect. Selects `port` in the chooser; cancels it if `port` is empty.
    Chooser connectTo(const QString &port)
    {
        Chooser chooser;
        QTimer watcher;
        QObject::connect(&watcher, &QTimer::timeout, m_window, [&] {
            auto *dialog = qobject_cast<QInputDialog *>(QApplication::activeModalWidget());
            if (!dialog || chooser.seen)
                return;
            chooser = {true,
                       dialog->windowTitle(),
                       dialog->labelText(),
                       dialog->comboBoxItems(),
                       dialog->textValue(),
                       dialog->isComboBoxEditable(),
                       dialog->parentWidget()};
            if (port.isEmpty()) {
                dialog->reject();
                return;
            }
            dialog->setTextValue(port);
            dialog->accept();
        });
        watcher.start(5);
        choose(u"actionConnect_2"_s);
        return chooser;
    }

    // Chooses Connect and that port while a search runs, during its event processing.
    void chooseAnotherPort(const QString &port) const
    {
        QTimer watcher;
        QObject::connect(&watcher, &QTimer::timeout, m_window, [&] {
            if (auto *dialog = qobject_cast<QInputDialog *>(QApplication::activeModalWidget())) {
                dialog->setTextValue(port);
                dialog->accept();
            }
        });
        watcher.start(5);
        action(u"actionConnect_2"_s)->trigger();
    }

    // Returns after the worker has reported two more rates. Effects of the first report are
    // complete at the second.
    bool waitForTwoRates() const
    {
        int rates = 0;
        QObject context;
        QObject::connect(m_window, &MainWindow::dataRateWrite, &context, [&] { ++rates; });
        return QTest::qWaitFor([&] { return rates >= 2; }, kWaitLimitMs);
    }

    // Records the current status. A timer also records it every 2 ms, but the once-a-second status
    // can change it before the next tick.
    void noteStatus()
    {
        if (m_history.isEmpty() || m_history.last() != status())
            m_history.append(status());
    }
    // Whether a search has ended without a baud rate since takeStatusHistory() was called.
    bool searchFailed()
    {
        noteStatus();
        return m_history.contains(u"Connection failed (no valid baud found)"_s);
    }
    // Every status text since the last call, without consecutive repetitions.
    QStringList takeStatusHistory()
    {
        noteStatus();
        return std::exchange(m_history, {});
    }

private:
    MainWindow *m_window = nullptr; // never destroyed, because its destructor ends the process
    QTimer m_recorder;
    QStringList m_history;
};

// A device that streams quaternions at this baud rate.
inline sim::DeviceOptions streamingAt(std::uint32_t baud, std::uint16_t rateHz = 100)
{
    sim::DeviceOptions options;
    options.settings.baud = baud;
    options.settings.rateHz = rateHz;
    options.settings.outputs = protocol::OUT_QUATERNION;
    return options;
}

// SET of the zero threshold to 0.02, as sent on the line.
inline const std::vector<unsigned char> kSetZeroThreshold{0x53, 0x43, 0x0C, 0x00, 0x0D, 0x17,
                                                          0x0A, 0xD7, 0xA3, 0x3C, 0xE4, 0x01};

inline QString connectedText(const QString &port, int baud)
{
    return u"Connected to /dev/%1 @ %2 baud"_s.arg(port).arg(baud);
}

inline QString tryingText(const QString &port, int baud)
{
    return u"Trying /dev/%1 @ %2 baud..."_s.arg(port).arg(baud);
}

} // namespace app_test
