// The dialog without a device: layout, texts, accessibility and behaviour.

#include <cmath>
#include <memory>

#include <QApplication>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QTranslator>

#include "dialogs/magneto_calibration_dialog.h"
#include "tests/dialogs/dialog_support.h"
#include "tests/fixtures/wait_limit.h"
#include "views/magneto_gl_widget.h"

using namespace Qt::StringLiterals;

namespace {

// A translator that puts every text of the dialog into brackets.
class Bracketer : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char *context, const char *source, const char * /*disambiguation*/,
                      int /*n*/) const override
    {
        if (QByteArray(context) != "MagnetoCalibrationDialog")
            return {};
        return u"<"_s + QString::fromUtf8(source) + u">"_s;
    }
};

} // namespace

class TestMagnetoCalibrationForm : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void texts_data();
    void texts();
    void formRows();
    void buttonsInOrder();
    void opensIdle();
    void everyEditHasItsLabel();
    void figuresCannotBeTyped();
    void nothingIsClipped();
    void followsTheLanguage();
    void otherChangesReachTheBase();

    void stopWithoutSamples();
    void withoutADevice();
    void escapeClosesToo();
    void enterPressesNothing();
    void keyboardReachesEverything();

    void metricsFillThePanel();
    void metricsOfNothingLeaveThePanel();
    void qualityWords();
    void fitMatchesTheLibrary();

private:
    template <typename Widget>
    Widget *find(const QString &name)
    {
        return m_dialog->findChild<Widget *>(name);
    }
    QString textOf(const QString &edit) { return find<QLineEdit>(edit)->text(); }
    QString log() { return find<QPlainTextEdit>(u"plainTextEdit"_s)->toPlainText(); }
    void click(const QString &button)
    {
        QTest::mouseClick(find<QPushButton>(button), Qt::LeftButton);
    }

    std::unique_ptr<MagnetoCalibrationDialog> m_dialog;
};

void TestMagnetoCalibrationForm::init()
{
    QTest::ignoreMessage(QtDebugMsg, "Mask: 511");
    m_dialog = std::make_unique<MagnetoCalibrationDialog>(nullptr, nullptr, 511);
    m_dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_dialog.get(), kWaitLimitMs));
}

void TestMagnetoCalibrationForm::cleanup()
{
    m_dialog.reset();
}

void TestMagnetoCalibrationForm::texts_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QString>("text");
    const auto add = [](const char *name, const QString &text, const char *property = "text") {
        QTest::newRow(name) << QByteArray(property) << text;
    };
    add("calibparamBox", u"Calibration Parameters"_s, "title");
    add("resultsBox", u"Results Panel"_s, "title");
    add("infoBox", u"INFO"_s, "title");
    add("sphereBox", u"Magnetic Field (Sphere 3D scatter plot)"_s, "title");
    add("biasXLabel", u"BiasX"_s);
    add("biasYLabel", u"BiasY"_s);
    add("biasZLabel", u"BiasZ"_s);
    add("scaleXLabel", u"ScaleX"_s);
    add("scaleYLabel", u"ScaleY"_s);
    add("scaleZLabel", u"ScaleZ"_s);
    add("avgNormLabel", u"AvgNorm"_s);
    add("stdDevLabel", u"StdDev"_s);
    add("samplesLabel", u"Samples"_s);
    add("qualityLabel", u"Quality"_s);
    add("push_start_calib", u"Start Calibration"_s);
    add("push_stop_calib", u"Stop Calibration"_s);
    add("pushButton", u"Load Calibration"_s);
    add("push_apply_calib", u"Apply Calibration"_s);
    add("push_save_device", u"Save to Device"_s);
    add("push_close", u"Close"_s);
}

void TestMagnetoCalibrationForm::texts()
{
    QFETCH(QByteArray, property);
    QFETCH(QString, text);
    const auto *widget = find<QWidget>(QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(widget);
    QCOMPARE(widget->property(property.constData()).toString(), text);
    QCOMPARE(m_dialog->windowTitle(), u"Magnetometer Calibration"_s);
}

void TestMagnetoCalibrationForm::formRows()
{
    const auto rowsOf = [this](const QString &form) {
        QStringList rows;
        const auto *layout = find<QFormLayout>(form);
        for (int row = 0; layout && row < layout->rowCount(); ++row)
            rows << layout->itemAt(row, QFormLayout::FieldRole)->widget()->objectName();
        return rows.join(u' ');
    };
    QCOMPARE(rowsOf(u"formParameters"_s), u"biasXLineEdit biasYLineEdit biasZLineEdit "
                                          "scaleXLineEdit scaleYLineEdit scaleZLineEdit"_s);
    QCOMPARE(rowsOf(u"formResults"_s),
             u"avgNormLineEdit stdDevLineEdit samplesLineEdit qualityLineEdit"_s);
    for (const auto &name : {u"verticalLayout_device_data"_s, u"verticalLayout_device_data_2"_s,
                             u"verticalLayout_orientation"_s})
        QVERIFY(find<QLayout>(name));
    QVERIFY(find<MagnetoGLWidget>(u"openGLSphere"_s));
}

void TestMagnetoCalibrationForm::buttonsInOrder()
{
    const auto *row = find<QLayout>(u"bottom_layout"_s);
    QStringList names;
    int right = 0;
    for (int i = 0; i < row->count(); ++i) {
        const QWidget *button = row->itemAt(i)->widget();
        names << button->objectName();
        QVERIFY(button->x() >= right);
        right = button->geometry().right();
    }
    QCOMPARE(names.join(u' '), u"push_start_calib push_stop_calib pushButton push_apply_calib "
                               "push_save_device push_close"_s);
    QCOMPARE(row->contentsMargins(), QMargins());
}

void TestMagnetoCalibrationForm::opensIdle()
{
    QVERIFY(!find<QPushButton>(u"push_save_device"_s)->isEnabled());
    for (const auto &name : {u"push_start_calib"_s, u"push_stop_calib"_s, u"pushButton"_s,
                             u"push_apply_calib"_s, u"push_close"_s})
        QVERIFY(find<QPushButton>(name)->isEnabled());
    QCOMPARE(log(), QString());
    for (const auto *edit : m_dialog->findChildren<QLineEdit *>())
        QCOMPARE(edit->text(), QString());
    const auto timers = m_dialog->findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
    QCOMPARE(timers.size(), 1);
    QVERIFY(timers[0]->isActive());
    QCOMPARE(timers[0]->interval(), 200);
}

void TestMagnetoCalibrationForm::everyEditHasItsLabel()
{
    QStringList labelled;
    for (const auto *label : m_dialog->findChildren<QLabel *>()) {
        QVERIFY2(label->buddy(), qPrintable(label->objectName()));
        labelled << label->buddy()->objectName();
        QCOMPARE(label->objectName().chopped(5), label->buddy()->objectName().chopped(8));
    }
    QCOMPARE(labelled.size(), 10);
    for (const auto *edit : m_dialog->findChildren<QLineEdit *>())
        QVERIFY2(labelled.contains(edit->objectName()), qPrintable(edit->objectName()));
}

void TestMagnetoCalibrationForm::figuresCannotBeTyped()
{
    QTest::keyClicks(find<QLineEdit>(u"biasXLineEdit"_s), u"1"_s);
    QTest::keyClicks(find<QPlainTextEdit>(u"plainTextEdit"_s), u"1"_s);
    QCOMPARE(textOf(u"biasXLineEdit"_s), QString());
    QCOMPARE(log(), QString());
}

void TestMagnetoCalibrationForm::nothingIsClipped()
{
    for (const auto *widget : find<QWidget>(u"MagnetoCenterWidget"_s)->findChildren<QWidget *>()) {
        if (widget->objectName().startsWith(u"qt_") || !widget->isVisible())
            continue;
        const QString name = widget->objectName();
        QVERIFY2(widget->parentWidget()->rect().contains(widget->geometry()), qPrintable(name));
        if (qobject_cast<const QLabel *>(widget) || qobject_cast<const QPushButton *>(widget)) {
            QVERIFY2(widget->width() >= widget->sizeHint().width(), qPrintable(name));
            QVERIFY2(widget->height() >= widget->sizeHint().height(), qPrintable(name));
        }
        if (qobject_cast<const QLineEdit *>(widget))
            QVERIFY2(widget->height() >= widget->minimumSizeHint().height(), qPrintable(name));
    }
}

void TestMagnetoCalibrationForm::followsTheLanguage()
{
    Bracketer bracketer;
    QCoreApplication::installTranslator(&bracketer);
    QTRY_COMPARE(find<QPushButton>(u"push_close"_s)->text(), u"<Close>"_s);
    QCOMPARE(m_dialog->windowTitle(), u"<Magnetometer Calibration>"_s);
    QCOMPARE(find<QGroupBox>(u"infoBox"_s)->title(), u"<INFO>"_s);
    QCOMPARE(MagnetoCalibrationDialog::qualityLabel(0), u"<Good>"_s);
    click(u"push_stop_calib"_s);
    QCOMPARE(log(), u"<Calibration stopped.>\n<No samples collected!>"_s);
    QCoreApplication::removeTranslator(&bracketer);
    QTRY_COMPARE(find<QPushButton>(u"push_close"_s)->text(), u"Close"_s);
}

// QDialog uses these events to keep the default button's focus and the window's activation, so the
// dialog must pass them on.
void TestMagnetoCalibrationForm::otherChangesReachTheBase()
{
    m_dialog->setWindowTitle(u"kept"_s);
    QEvent event(QEvent::EnabledChange);
    QCoreApplication::sendEvent(m_dialog.get(), &event);
    QCOMPARE(m_dialog->windowTitle(), u"kept"_s);
}

void TestMagnetoCalibrationForm::stopWithoutSamples()
{
    find<QLineEdit>(u"biasXLineEdit"_s)->setText(u"kept"_s);
    find<QLineEdit>(u"qualityLineEdit"_s)->setText(u"kept"_s);
    click(u"push_stop_calib"_s);
    QCOMPARE(log(), u"Calibration stopped.\nNo samples collected!"_s);
    click(u"push_start_calib"_s);
    click(u"push_stop_calib"_s);
    QCOMPARE(log(), u"Calibration stopped.\nNo samples collected!\n"
                    "Calibration started...\nCalibration stopped.\nNo samples collected!"_s);
    QCOMPARE(textOf(u"biasXLineEdit"_s), u"kept"_s);
    QCOMPARE(textOf(u"qualityLineEdit"_s), u"kept"_s);
    QVERIFY(!find<QPushButton>(u"push_save_device"_s)->isEnabled());
}

void TestMagnetoCalibrationForm::withoutADevice()
{
    click(u"pushButton"_s);
    QCOMPARE(log(), QString());
    click(u"push_start_calib"_s);
    m_dialog->updateMagData();
    click(u"push_apply_calib"_s);
    QVERIFY(!find<QPushButton>(u"push_save_device"_s)->isEnabled());
    m_dialog->saveDevice();
    QCOMPARE(log(), u"Calibration started...\nFailed to apply calibration to device.\n"
                    "Failed to save calibration to device."_s);
    QTest::ignoreMessage(QtDebugMsg, "Close button clicked. Restoring outputs with prevMask = 511");
    click(u"push_close"_s);
    QVERIFY(!m_dialog->isVisible());
}

void TestMagnetoCalibrationForm::escapeClosesToo()
{
    QTest::keyClick(m_dialog.get(), Qt::Key_Escape);
    QVERIFY(!m_dialog->isVisible());
}

// Enter must not start a calibration, because that would discard the samples collected so far.
void TestMagnetoCalibrationForm::enterPressesNothing()
{
    QCOMPARE(dialog_test::pressedByEnter(*m_dialog), QStringList());
    QVERIFY(m_dialog->isVisible());
    QCOMPARE(log(), QString());
    QTest::keyClick(find<QPushButton>(u"push_start_calib"_s), Qt::Key_Space);
    QCOMPARE(log(), u"Calibration started..."_s);
}

void TestMagnetoCalibrationForm::keyboardReachesEverything()
{
    find<QPushButton>(u"push_save_device"_s)->setEnabled(true);
    find<QLineEdit>(u"biasXLineEdit"_s)->setFocus();
    const QStringList visited = dialog_test::tabRound(*m_dialog);
    for (const auto *button : m_dialog->findChildren<QPushButton *>())
        QVERIFY2(visited.contains(button->objectName()), qPrintable(visited.join(u' ')));
    for (const auto *edit : m_dialog->findChildren<QLineEdit *>())
        QVERIFY2(visited.contains(edit->objectName()), qPrintable(visited.join(u' ')));
    QVERIFY(visited.contains(u"plainTextEdit"_s));
}

void TestMagnetoCalibrationForm::metricsFillThePanel()
{
    float mean = 0;
    float deviation = 0;
    const std::vector<std::array<float, 3>> samples{{3, 2, 3}, {1, 4.2F, 3}, {1, 2, 4.9F}};
    m_dialog->computeQualityMetrics(samples, {1, 2, 3}, Eigen::Matrix3f::Identity() * 0.5F, mean,
                                    deviation);
    QCOMPARE(mean, (2 + 2.2F + 1.9F) / 6);
    QCOMPARE(textOf(u"avgNormLineEdit"_s), u"1.0167"_s);
    QCOMPARE(textOf(u"stdDevLineEdit"_s), u"0.0624"_s);
    QCOMPARE(QString::number(static_cast<double>(deviation), 'f', 4), u"0.0624"_s);
    QCOMPARE(textOf(u"samplesLineEdit"_s), u"3"_s);
    QCOMPARE(textOf(u"qualityLineEdit"_s), u"Acceptable"_s);
    QCOMPARE(textOf(u"biasXLineEdit"_s), QString());
}

void TestMagnetoCalibrationForm::metricsOfNothingLeaveThePanel()
{
    find<QLineEdit>(u"avgNormLineEdit"_s)->setText(u"a"_s);
    find<QLineEdit>(u"stdDevLineEdit"_s)->setText(u"b"_s);
    find<QLineEdit>(u"samplesLineEdit"_s)->setText(u"c"_s);
    find<QLineEdit>(u"qualityLineEdit"_s)->setText(u"d"_s);
    float mean = 0;
    float deviation = 0;
    m_dialog->computeQualityMetrics({}, Eigen::Vector3f::Zero(), Eigen::Matrix3f::Identity(), mean,
                                    deviation);
    QVERIFY(std::isnan(mean) && std::isnan(deviation));
    QCOMPARE(textOf(u"avgNormLineEdit"_s) + textOf(u"stdDevLineEdit"_s) +
                 textOf(u"samplesLineEdit"_s) + textOf(u"qualityLineEdit"_s),
             u"abcd"_s);
}

void TestMagnetoCalibrationForm::qualityWords()
{
    QCOMPARE(MagnetoCalibrationDialog::qualityLabel(0.0299F), u"Good"_s);
    QCOMPARE(MagnetoCalibrationDialog::qualityLabel(0.03F), u"Acceptable"_s);
    QCOMPARE(MagnetoCalibrationDialog::qualityLabel(0.0799F), u"Acceptable"_s);
    QCOMPARE(MagnetoCalibrationDialog::qualityLabel(0.08F), u"Bad"_s);
    QCOMPARE(MagnetoCalibrationDialog::qualityLabel(NAN), u"Bad"_s);
}

void TestMagnetoCalibrationForm::fitMatchesTheLibrary()
{
    Eigen::Vector3f centre(9, 9, 9);
    const Eigen::Matrix3f shape = MagnetoCalibrationDialog::fitEllipsoidGN(
        {{3, 0, 0}, {-1, 0, 0}, {1, 4, 0}, {1, -4, 0}, {1, 0, 8}, {1, 0, -8}}, centre);
    QVERIFY((centre - Eigen::Vector3f(1, 0, 0)).norm() < 1e-6F);
    const Eigen::Matrix3f expected = Eigen::Vector3f(1 / 4.0F, 1 / 16.0F, 1 / 64.0F).asDiagonal();
    QVERIFY((shape - expected).norm() < 1e-6F);
}

QTEST_MAIN(TestMagnetoCalibrationForm)

#include "test_magneto_calibration_form.moc"
