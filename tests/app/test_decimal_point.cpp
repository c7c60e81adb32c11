// On a system whose decimal separator is a comma, and with the window in Turkish, numbers keep the
// point. They are compared with logs and data sheets, and commas already separate them.

#include <chrono>
#include <clocale>
#include <cstdio>
#include <cstdlib>

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QGraphicsSimpleTextItem>
#include <QGraphicsView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTimer>
#include <QTranslator>

#include "app/application.h"
#include "app/main_window.h"
#include "dialogs/magneto_calibration_dialog.h"
#include "dialogs/settings_dialog.h"
#include "driver/imu.h"
#include "sim/device/imu_simulator_server.h"
#include "tests/fixtures/bytes.h"
#include "tests/fixtures/pty_port.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"
#include "views/magneto_gl_widget.h"
#include "views/pose_gl_widget.h"
#include "views/rpy_plotter.h"

using namespace Qt::StringLiterals;
using namespace bytes;
using namespace std::chrono_literals;

namespace {

constexpr const char *kTurkish = "tr_TR.UTF-8";

// The machine may lack the locale, so it is compiled into a temporary directory.
class TurkishSystem
{
public:
    TurkishSystem()
    {
        const QByteArray folder = QFile::encodeName(m_folder.path());
        const QByteArray command = "localedef -i tr_TR -f UTF-8 " + folder + "/" + kTurkish;
        if (std::system(command.constData()) != 0)
            std::fputs("cannot compile the locale tr_TR (package: locales)\n", stderr);
        qputenv("LOCPATH", folder);
        qputenv("LC_ALL", kTurkish);
        qunsetenv("LANGUAGE");
    }

private:
    QTemporaryDir m_folder;
};

// Replaces the text of the pose readout.
class Readout : public QTranslator
{
public:
    explicit Readout(const QString &text)
        : m_text(text)
    {
    }
    QString translate(const char *context, const char *, const char *, int) const override
    {
        return QByteArrayView(context) == "PoseGLWidget" ? m_text : QString();
    }
    bool isEmpty() const override { return false; }

private:
    QString m_text;
};

QImage pictureWith(const QString &text, PoseGLWidget &pose)
{
    Readout readout(text);
    QCoreApplication::installTranslator(&readout);
    QImage image = pose.grabFramebuffer();
    QCoreApplication::removeTranslator(&readout);
    return image;
}

} // namespace

class TestDecimalPoint : public QObject
{
    Q_OBJECT

    PtyPort m_port;
    MainWindow *m_window = nullptr;
    imu *m_driver = nullptr;

    QString text(const QString &label) const
    {
        return m_window->findChild<QLabel *>(label)->text();
    }

    void choose(const QString &code)
    {
        for (QAction *entry : m_window->findChild<QMenu *>(u"menuLanguage"_s)->actions()) {
            if (entry->data() == code)
                entry->trigger();
        }
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LanguageChange);
    }

    static void languages()
    {
        QTest::addColumn<QString>("code");
        QTest::newRow("English") << u"en"_s;
        QTest::newRow("Turkish") << u"tr"_s;
    }

private slots:
    void initTestCase()
    {
        // Without these conditions the tests prove nothing.
        QCOMPARE(QString::fromLatin1(std::localeconv()->decimal_point), u","_s);
        QCOMPARE(QLocale::system().language(), QLocale::Turkish);
        QCOMPARE(QLocale::system().toString(1.5), u"1,5"_s);
        m_window = new MainWindow;
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window, kWaitLimitMs));
        m_driver = m_window->findChild<imu *>();
    }

    void init()
    {
        if (!QTest::currentDataTag())
            return;
        QFETCH(QString, code);
        choose(code);
        QCOMPARE(QLocale().toString(1.5), code == "tr"_L1 ? u"1,5"_s : u"1.5"_s);
    }

    // Disconnects also after a failure; otherwise later tests wait for replies on a silent line.
    void cleanup() { m_driver->disconnect(); }

    void livePanel_data() { languages(); }
    void livePanel()
    {
        m_driver->connect(m_port.path(), 921600, 8, 0, 1);
        const QByteArray blocks = code(2) + floats({-0.5F, 0.5F, 0.25F, 0.75F}) + code(5) +
                                  floats({10.5F, -1234.5F, 12345678}) + code(3) +
                                  floats({1013.25F});
        QVERIFY(m_port.write(packet('D', blocks)));
        QTRY_COMPARE(text(u"label_pressure"_s), u"1013.25"_s);
        QCOMPARE(text(u"label_quat"_s), u"-0.5, 0.5, 0.25, 0.75"_s);
        QCOMPARE(text(u"label_euler"_s), u"10.5, -1234.5, 1.23457e+07"_s);
    }

    void legend_data() { languages(); }
    void legend()
    {
        auto *plotter = m_window->findChild<RpyPlotter *>();
        plotter->addRPY(12.34F, -0.5F, 179.96F);
        QStringList texts;
        for (const auto *item : m_window->findChild<QGraphicsView *>()->scene()->items()) {
            if (const auto *text = dynamic_cast<const QGraphicsSimpleTextItem *>(item))
                texts << text->text();
        }
        for (const auto &value : {u"12.3°"_s, u"-0.5°"_s, u"180.0°"_s})
            QVERIFY2(texts.contains(value), qPrintable(texts.join(u' ')));
    }

    void poseReadout_data() { languages(); }
    // The numbers filled in are painted like the same numbers written out.
    void poseReadout()
    {
        auto *pose = m_window->findChild<PoseGLWidget *>(u"PoseWidget"_s);
        pose->setPose(0, 0, 0, 12.5F, -30.5F, 170.5F);
        pose->grabFramebuffer(); // the first picture is drawn with the depth test
        const QImage filled = pictureWith(u"%1 %2 %3"_s, *pose);
        for (int i = 0; i < 6; ++i)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"Argument missing"_s));
        QCOMPARE(filled, pictureWith(u"12.5 -30.5 170.5"_s, *pose));
        QVERIFY(filled != pictureWith(u"12,5 -30.5 170.5"_s, *pose));
    }

    void calibration_data() { languages(); }
    void calibration()
    {
        MagnetoCalibrationDialog dialog(nullptr, m_window, 0);
        float mean = 0;
        float deviation = 0;
        dialog.computeQualityMetrics({{1, 0, 0}, {0, 1.5F, 0}}, Eigen::Vector3f::Zero(),
                                     Eigen::Matrix3f::Identity(), mean, deviation);
        QCOMPARE(dialog.findChild<QLineEdit *>(u"avgNormLineEdit"_s)->text(), u"1.2500"_s);
        QCOMPARE(dialog.findChild<QLineEdit *>(u"stdDevLineEdit"_s)->text(), u"0.2500"_s);
    }

    void calibrationOnADevice_data() { languages(); }
    // From the raw samples of a tumbling device to the log: numbers with a point, separated by
    // commas. The test collects enough samples for an ellipsoid: with a few the fit is not finite
    // and is not sent.
    void calibrationOnADevice()
    {
        sim::DeviceOptions options;
        options.motion = sim::Motion::Tumble;
        options.settings.baud = 921600;
        options.settings.outputs = protocol::OUT_QUATERNION | protocol::OUT_MAGNETIC_FIELD_RAW;
        sim::ImuSimulatorServer device(options);
        m_driver->connect(device.path(), 921600, 8, 0, 1);
        MagnetoCalibrationDialog dialog(m_driver, m_window, protocol::OUT_QUATERNION);
        // At 200 ms so many samples take half a minute.
        dialog.findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly)->setInterval(20ms);
        dialog.startCalibration();
        auto *log = dialog.findChild<QPlainTextEdit *>(u"plainTextEdit"_s);
        const auto *view = dialog.findChild<MagnetoGLWidget *>(u"openGLSphere"_s);
        QTRY_VERIFY_WITH_TIMEOUT(view->correctedSamples().size() >= 150, 30000);
        dialog.stopCalibration();
        dialog.applyCalibration();
        const QString lines = log->toPlainText();
        QVERIFY2(lines.contains(QRegularExpression(u"\\|p\\|=\\d+\\.?\\d*(e[+-]\\d+)?, "_s)),
                 qPrintable(lines));
        const QRegularExpression applied(u"L = \\[(-?\\d\\.\\d{4}E[+-]\\d\\d(, )?){9}\\]"_s);
        QVERIFY2(lines.contains(applied), qPrintable(lines));
        QVERIFY2(!lines.contains(QRegularExpression(u"\\d,\\d"_s)), qPrintable(lines));
    }

    void settings_data() { languages(); }
    void settings()
    {
        SettingsDialog dialog(nullptr, m_window);
        QCOMPARE(dialog.findChild<QComboBox *>(u"comboBox_stop_bits"_s)->itemText(1), u"1.5"_s);
        QCOMPARE(dialog.findChild<QComboBox *>(u"comboBox_baud"_s)->itemText(4), u"1000000"_s);
    }
};

int main(int argc, char **argv)
{
    const TurkishSystem system; // must be set before Qt reads the locale
    Application application(argc, argv);
    TestDecimalPoint test;
    const int failures = QTest::qExec(&test, argc, argv);
    std::fflush(nullptr);
    QDir(QString::fromLocal8Bit(qgetenv("LOCPATH"))).removeRecursively();
    std::_Exit(failures);
}
#include "test_decimal_point.moc"
