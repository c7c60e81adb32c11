#include "tests/fixtures/test_main.h"

#include <limits>
#include <mutex>

#include <QLabel>
#include <QRegularExpression>
#include <QSignalSpy>

#include "app/application.h"
#include "app/main_window.h"
#include "driver/imu.h"
#include "tests/fixtures/bytes.h"
#include "tests/fixtures/pty_port.h"
#include "tests/fixtures/wait_limit.h"

using namespace Qt::StringLiterals;
using namespace bytes;

// From the bytes on the line to the texts in the panel of values.
class TestMainWindowPanel : public QObject
{
    Q_OBJECT

    PtyPort m_port;
    MainWindow *m_window = nullptr;

    QString text(const QString &label) const
    {
        return m_window->findChild<QLabel *>(label)->text();
    }

    QStringList values() const
    {
        QStringList texts;
        for (const auto &name :
             {u"label_quat"_s, u"label_euler"_s, u"label_covariance"_s, u"label_magfield"_s,
              u"label_linAcceleration"_s, u"label_angularRate"_s, u"label_pressure"_s})
            texts.append(text(name));
        return texts;
    }

private slots:
    void initTestCase()
    {
        m_window = new MainWindow;
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window));
        m_window->findChild<imu *>()->connect(m_port.path(), 921600, 8, 0, 1);
    }

    void eachBlockHasItsLabel_data()
    {
        QTest::addColumn<QByteArray>("block");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("shown");
        QTest::newRow("quaternion")
            << code(2) + floats({1, 0, 0, 0}) << u"label_quat"_s << u"1, 0, 0, 0"_s;
        QTest::newRow("quaternion, another") << code(2) + floats({-0.5F, 0.5F, 0.5F, -0.5F})
                                             << u"label_quat"_s << u"-0.5, 0.5, 0.5, -0.5"_s;
        QTest::newRow("euler") << code(5) + floats({10.5F, -20, 179.875F}) << u"label_euler"_s
                               << u"10.5, -20, 179.875"_s;
        QTest::newRow("covariances") << code(4) + floats({0.000012345F, 0.0001F, 0})
                                     << u"label_covariance"_s << u"1.2345e-05, 0.0001, 0"_s;
        QTest::newRow("field") << code(6) + floats({0.25F, -1, 123456789.F}) << u"label_magfield"_s
                               << u"0.25, -1, 1.23457e+08"_s;
        QTest::newRow("accelerations") << code(1) + floats({0, 0, 9.80665F})
                                       << u"label_linAcceleration"_s << u"0, 0, 9.80665"_s;
        QTest::newRow("rates") << code(0) + floats({1e-3F, -2e-3F, 3}) << u"label_angularRate"_s
                               << u"0.001, -0.002, 3"_s;
        QTest::newRow("pressure, from the altitude block")
            << code(3) + floats({1013.25F}) << u"label_pressure"_s << u"1013.25"_s;
        QTest::newRow("pressure, not a number")
            << code(3) + floats({std::numeric_limits<float>::quiet_NaN()}) << u"label_pressure"_s
            << u"nan"_s;
        QTest::newRow("pressure, largest finite")
            << code(3) + floats({std::numeric_limits<float>::max()}) << u"label_pressure"_s
            << u"3.40282e+38"_s;
    }

    // Each block changes exactly one label.
    void eachBlockHasItsLabel()
    {
        QFETCH(QByteArray, block);
        QFETCH(QString, label);
        QFETCH(QString, shown);
        QStringList expected = values();
        expected.replace(expected.indexOf(text(label)), shown);
        const QStringList before = values();
        QVERIFY(m_port.write(packet('D', block)));
        QTRY_COMPARE(text(label), shown);
        QStringList after = values();
        int changed = 0;
        for (qsizetype i = 0; i < after.size(); ++i)
            changed += after[i] != before[i] ? 1 : 0;
        QCOMPARE(changed, 1);
    }

    // The driver uses infinity for "no new value", so an infinite pressure from the device is not
    // shown.
    void infinitePressureIsNotShown()
    {
        QVERIFY(m_port.write(packet('D', code(3) + floats({1000}))));
        QTRY_COMPARE(text(u"label_pressure"_s), u"1000"_s);
        QVERIFY(
            m_port.write(packet('D', code(3) + floats({std::numeric_limits<float>::infinity()}))));
        QVERIFY(m_port.write(packet('D', code(0) + floats({7, 8, 9}))));
        QTRY_COMPARE(text(u"label_angularRate"_s), u"7, 8, 9"_s);
        QCOMPARE(text(u"label_pressure"_s), u"1000"_s);
    }

    // Each quaternion counts once, including those that the panel does not show: the worker takes
    // only a few of fifty that arrive together. Other blocks do not count. The count continues over
    // a reconnect.
    void theRateCountsQuaternions()
    {
        std::mutex mutex;
        int shown = 0; // guarded by the mutex, as is `rates`
        QStringList rates;
        QObject context;
        // Waits until the samples of earlier tests have been counted.
        QSignalSpy earlier(m_window, &MainWindow::dataRateWrite);
        QTRY_VERIFY(earlier.size() >= 2);
        // Direct connection: the slots run on the worker thread, so no rate waits for the GUI
        // thread.
        connect(
            m_window, &MainWindow::DataQuaternionWrite, &context,
            [&] {
                const std::lock_guard guard(mutex);
                ++shown;
            },
            Qt::DirectConnection);
        connect(
            m_window, &MainWindow::dataRateWrite, &context,
            [&](const QString &rate) {
                const std::lock_guard guard(mutex);
                rates.append(rate);
            },
            Qt::DirectConnection);
        auto *driver = m_window->findChild<imu *>();
        const auto before = driver->statistics().samples;
        QByteArray burst;
        for (int sample = 0; sample < 50; ++sample)
            burst += quaternionPacket(0, 0, 0, 1) + packet('D', code(0) + floats({1, 2, 3}));
        constexpr int kBursts = 20;
        for (int sent = 0; sent < kBursts; ++sent) {
            QVERIFY(m_port.write(burst));
            QTRY_COMPARE(driver->statistics().samples - before,
                         static_cast<std::uint64_t>(50 * (sent + 1)));
            if (sent != kBursts / 2)
                continue;
            driver->disconnect();
            driver->connect(m_port.path(), 921600, 8, 0, 1);
        }
        // Two rates of 0 in a row mean that an earlier rate counted the last sample.
        QTRY_VERIFY([&] {
            const std::lock_guard guard(mutex);
            const auto count = rates.size();
            return count >= 3 && rates[count - 1] == u"Receiving 0 Hz"_s &&
                   rates[count - 2] == u"Receiving 0 Hz"_s;
        }());
        disconnect(m_window, nullptr, &context, nullptr);

        const std::lock_guard guard(mutex);
        int counted = 0;
        for (const QString &rate : rates) {
            const auto match = QRegularExpression(u"^Receiving (\\d+) Hz$"_s).match(rate);
            QVERIFY2(match.hasMatch(), qPrintable(rate));
            counted += match.captured(1).toInt();
        }
        QCOMPARE(counted, 50 * kBursts);
        QVERIFY2(shown > 0 && shown < counted, qPrintable(QString::number(shown)));
    }

    void otherBlocksDoNotCount()
    {
        QTRY_COMPARE(text(u"label_datarate"_s), u"Receiving 0 Hz"_s);
        QStringList rates; // delivered to the GUI thread
        QObject context;
        connect(m_window, &MainWindow::dataRateWrite, &context,
                [&](const QString &rate) { rates.append(rate); });
        for (int value = 0; rates.size() < 2; ++value) {
            QVERIFY(m_port.write(packet('D', code(5) + floats({static_cast<float>(value), 0, 0}))));
            QTest::qWait(10);
        }
        QCOMPARE(rates.at(1), u"Receiving 0 Hz"_s);
        QVERIFY(text(u"label_euler"_s) != u"None"_s);
    }

    void valuesStayAfterDisconnecting()
    {
        QVERIFY(m_port.write(quaternionPacket(0, 1, 0, 0)));
        QTRY_COMPARE(text(u"label_quat"_s), u"0, 1, 0, 0"_s);
        const QStringList before = values();
        m_window->findChild<QAction *>(u"actionDisconnect_4"_s)->trigger();
        int rates = 0; // counted on the GUI thread
        QObject context;
        connect(m_window, &MainWindow::dataRateWrite, &context, [&] { ++rates; });
        QTRY_VERIFY(rates >= 2);
        QCOMPARE(values(), before);
        QCOMPARE(text(u"label_status"_s), u"Not connected"_s);
    }
};

VORNIX_TEST_MAIN(TestMainWindowPanel, Application)
#include "test_main_window_panel.moc"
