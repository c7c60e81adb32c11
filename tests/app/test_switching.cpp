// Language switches while the window is connected, while it asks for a port, and while it shows an
// error.

#include <QDialogButtonBox>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpression>

#include "tests/app/window_fixture.h"
#include "tests/app/window_walk.h"
#include "tests/fixtures/wait_limit.h"

using namespace app_test;
using windows_test::clippedWidgets;
using windows_test::overlappingWidgets;

class TestSwitching : public QObject
{
    Q_OBJECT

    // Contents of a modal window before it was answered.
    struct Seen
    {
        QString title;
        QStringList labels;
        QStringList buttons;
        QStringList clipped;
        QStringList overlapping;
    };

    DeviceTestbed m_bed;
    WindowFixture m_fixture;

    void choose(const QString &code)
    {
        const auto entries = m_fixture.window()->findChild<QMenu *>(u"menuLanguage"_s)->actions();
        for (QAction *const entry : entries) {
            if (entry->data() == code)
                entry->trigger();
        }
        // Delivers the posted language events; posted events of the worker stay queued.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LanguageChange);
    }

    QString text(const QString &label) const { return m_fixture.label(label)->text(); }

    static Seen look(QWidget &window)
    {
        Seen seen{window.windowTitle(), {}, {}, clippedWidgets(window), overlappingWidgets(window)};
        for (const QLabel *label : window.findChildren<QLabel *>())
            seen.labels << label->text();
        for (const QPushButton *button : window.findChildren<QPushButton *>())
            seen.buttons << button->text().remove(u'&');
        seen.buttons.sort();
        return seen;
    }

    // Chooses a menu entry that opens a modal window, records that window and answers it with a
    // key.
    Seen openAndPress(const QString &action, Qt::Key key)
    {
        Seen seen;
        bool over = false;
        QTimer watcher;
        connect(&watcher, &QTimer::timeout, this, [&] {
            QWidget *window = QApplication::activeModalWidget();
            if (!window || !window->isVisible() || !seen.title.isEmpty())
                return;
            seen = look(*window);
            QTest::keyClick(window->focusWidget() ? window->focusWidget() : window, key);
        });
        watcher.start(20);
        QTimer::singleShot(0, m_fixture.window(), [&] {
            m_fixture.action(action)->trigger();
            m_fixture.noteStatus();
            over = true;
        });
        if (!QTest::qWaitFor([&] { return over; }, kWaitLimitMs))
            qFatal("the window does not close");
        return seen;
    }

private slots:
    void initTestCase()
    {
        m_bed.plug("ttyUSB0", streamingAt(921600));
        QVERIFY(m_fixture.show());
    }

    void init() { choose(u"en"_s); }

    void messageBox_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("button");
        QTest::newRow("en") << u"en"_s << u"Not connected"_s
                            << u"Please connect to a device first."_s << u"OK"_s;
        QTest::newRow("tr") << u"tr"_s << u"Bağlı değil"_s << u"Lütfen önce bir cihaza bağlanın."_s
                            << u"Tamam"_s;
    }

    void messageBox()
    {
        QFETCH(QString, code);
        choose(code);
        for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Escape}) {
            const Seen seen = openAndPress(u"actionOpenSettings"_s, key);
            QTEST(seen.title, "title");
            QFETCH(QString, text);
            QVERIFY(seen.labels.contains(text));
            QFETCH(QString, button);
            QCOMPARE(seen.buttons, QStringList{button});
            QCOMPARE(seen.clipped, QStringList());
            QCOMPARE(seen.overlapping, QStringList());
        }
    }

    void portChooser_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QStringList>("buttons");
        QTest::addColumn<QString>("cancelled");
        QTest::newRow("en") << u"en"_s << u"Select Serial Port"_s << u"Available Ports:"_s
                            << QStringList{u"Cancel"_s, u"OK"_s} << u"Connection cancelled"_s;
        QTest::newRow("tr") << u"tr"_s << u"Seri Port Seçimi"_s << u"Kullanılabilir Portlar:"_s
                            << QStringList{u"Tamam"_s, u"İptal"_s} << u"Bağlantı iptal edildi"_s;
    }

    void portChooser()
    {
        QFETCH(QString, code);
        choose(code);
        m_fixture.scan();
        m_fixture.takeStatusHistory();
        const Seen seen = openAndPress(u"actionConnect_2"_s, Qt::Key_Escape);
        QTEST(seen.title, "title");
        QFETCH(QString, label);
        QVERIFY(seen.labels.contains(label));
        QTEST(seen.buttons, "buttons");
        QCOMPARE(seen.clipped, QStringList());
        QCOMPARE(seen.overlapping, QStringList());
        QFETCH(QString, cancelled);
        QVERIFY(m_fixture.takeStatusHistory().contains(cancelled));
    }

    void searchingInTurkish()
    {
        choose(u"tr"_s);
        m_fixture.scan();
        QCOMPARE(m_fixture.status(), u"Tarama tamamlandı: ttyUSB0..."_s);
        m_fixture.takeStatusHistory();
        m_fixture.connectTo(u"ttyUSB0"_s);
        QCOMPARE(m_fixture.status(), u"Bağlı: /dev/ttyUSB0 @ 921600 baud"_s);
        QVERIFY(
            m_fixture.takeStatusHistory().contains(u"Deneniyor: /dev/ttyUSB0 @ 921600 baud..."_s));
    }

    void switchResetsTheFormUntilTheNextData_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("to");
        QTest::addColumn<QStringList>("reset"); // status, rate, a value
        QTest::addColumn<QString>("status");
        QTest::addColumn<QString>("rate");
        const QString english = connectedText(u"ttyUSB0"_s, 921600);
        QTest::newRow("to Turkish")
            << u"en"_s << u"tr"_s
            << QStringList{u"Durum: Bağlı değil"_s, u"Veri Hızı: 0 Hz"_s, u"Yok"_s}
            << u"Bağlı: /dev/ttyUSB0 @ 921600 baud"_s << u"^Veri alınıyor: [1-9]\\d* Hz$"_s;
        QTest::newRow("back to English")
            << u"tr"_s << u"en"_s
            << QStringList{u"Status: Not connected"_s, u"Data Rate: 0 Hz"_s, u"None"_s} << english
            << u"^Receiving [1-9]\\d* Hz$"_s;
    }

    // Connected and streaming throughout; the next report of the second rewrites the row.
    void switchResetsTheFormUntilTheNextData()
    {
        QFETCH(QString, from);
        QFETCH(QString, to);
        choose(from);
        const QRegularExpression numbers(u"^-?\\d"_s);
        QTRY_VERIFY(numbers.match(text(u"label_quat"_s)).hasMatch());
        choose(to);
        QTEST((QStringList{text(u"label_status"_s), text(u"label_datarate"_s),
                           text(u"label_quat"_s)}),
              "reset");
        QTRY_VERIFY(numbers.match(text(u"label_quat"_s)).hasMatch());
        QFETCH(QString, status);
        QTRY_COMPARE(m_fixture.status(), status);
        QFETCH(QString, rate);
        QTRY_VERIFY(QRegularExpression(rate).match(text(u"label_datarate"_s)).hasMatch());
        // Values that the device does not stream keep the text of the form.
        QCOMPARE(text(u"label_pressure"_s), to == "tr"_L1 ? u"Yok"_s : u"None"_s);
    }

    void deviceDialogOpensInTurkish()
    {
        choose(u"tr"_s);
        const Seen info = openAndPress(u"actionShowDeviceInfo_2"_s, Qt::Key_Escape);
        QCOMPARE(info.title, u"Cihaz Bilgileri"_s);
        QCOMPARE(info.buttons, QStringList{u"Kapat"_s});
    }

    void disconnectingInTurkish()
    {
        choose(u"tr"_s);
        m_fixture.disconnect();
        QCOMPARE(m_fixture.status(), u"Bağlı değil"_s);
    }

    // The error report beside the status. A switch resets the status text itself.
    void reportOfAFailedSearchIsTranslated()
    {
        m_fixture.scan();
        m_bed.unplug("ttyUSB0");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^Unhandled error: open: "_s));
        m_fixture.connectTo(u"ttyUSB0"_s);
        const QLabel *status = m_fixture.label(u"label_status"_s);
        QVERIFY(status->toolTip().startsWith(u"The serial port failed:\nopen: "_s));
        choose(u"tr"_s);
        QVERIFY(status->toolTip().startsWith(u"Seri port hatası:\nopen: "_s));
        QVERIFY(status->toolTip().contains(u"cihazı takın"_s));
        QCOMPARE(status->accessibleDescription(), status->toolTip());
    }
};

VORNIX_TEST_MAIN(TestSwitching, Application)
#include "test_switching.moc"
