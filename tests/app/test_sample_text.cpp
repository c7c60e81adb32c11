#include <array>
#include <limits>

#include <QLocale>
#include <QTest>

#include "app/sample_text.h"

using namespace Qt::StringLiterals;

class TestSampleText : public QObject
{
    Q_OBJECT

private slots:
    void number_data()
    {
        QTest::addColumn<float>("value");
        QTest::addColumn<QString>("text");
        constexpr float infinity = std::numeric_limits<float>::infinity();
        QTest::newRow("zero") << 0.F << u"0"_s;
        QTest::newRow("zero has no sign") << -0.F << u"0"_s;
        QTest::newRow("whole") << 1.F << u"1"_s;
        QTest::newRow("six digits") << 0.123456789F << u"0.123457"_s;
        QTest::newRow("no trailing zeros") << 1013.25F << u"1013.25"_s;
        QTest::newRow("pressure loses what six digits cannot hold") << 1013.2512F << u"1013.25"_s;
        QTest::newRow("smallest fixed") << 0.00012345F << u"0.00012345"_s;
        QTest::newRow("small") << 0.000012345F << u"1.2345e-05"_s;
        QTest::newRow("largest fixed") << 123456.F << u"123456"_s;
        QTest::newRow("large") << 123456789.F << u"1.23457e+08"_s;
        QTest::newRow("negative") << -9.80665F << u"-9.80665"_s;
        QTest::newRow("infinity") << infinity << u"inf"_s;
        QTest::newRow("negative infinity") << -infinity << u"-inf"_s;
        QTest::newRow("not a number") << std::numeric_limits<float>::quiet_NaN() << u"nan"_s;
    }

    void number()
    {
        QFETCH(float, value);
        QTEST(sampleText(value), "text");
    }

    void vectors()
    {
        QCOMPARE(sampleText(std::array{1.F, 0.F, 0.F, 0.F}), u"1, 0, 0, 0"_s);
        QCOMPARE(sampleText(std::array{0.5F, -2.F, 0.000012345F}), u"0.5, -2, 1.2345e-05"_s);
    }

    void theDecimalPointDoesNotFollowTheLanguage()
    {
        QLocale::setDefault(QLocale(u"tr"_s));
        QCOMPARE(sampleText(0.5F), u"0.5"_s);
        QCOMPARE(sampleText(123456.F), u"123456"_s);
        QLocale::setDefault(QLocale::c());
    }
};

QTEST_APPLESS_MAIN(TestSampleText)
#include "test_sample_text.moc"
