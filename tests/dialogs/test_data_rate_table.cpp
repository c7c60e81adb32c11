// The tables that say which data rate fits which baud rate, against the wire format and the presets
// of the settings dialog.

#include <array>

#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include "dialogs/settings_choices.h"

using namespace Qt::StringLiterals;

namespace {

constexpr std::array<int, 4> kBauds{115200, 230400, 460800, 921600};
constexpr std::array<int, 5> kRatesHz{50, 100, 200, 500, 1000};
constexpr int kBitsPerByte = 10; // start bit, eight data bits, stop bit

// A packet has six bytes besides its blocks. A block is its code and its floats. The sync block is
// sent once a second.
int bytesOf(unsigned mask)
{
    constexpr std::array<int, 7> kFloatsOfBit{3, 3, 4, 1, 3, 3, 3};
    int bytes = 6;
    for (std::size_t bit = 0; bit < kFloatsOfBit.size(); ++bit) {
        if (mask & (1U << bit))
            bytes += 1 + 4 * kFloatsOfBit[bit];
    }
    return bytes;
}

int bytesASecond(unsigned mask, int rateHz)
{
    constexpr unsigned kSync = 0x80;
    return bytesOf(mask) * rateHz + (mask & kSync ? 37 : 0);
}

int highestRateHz(unsigned mask, int baud)
{
    int highest = 0;
    for (const int rateHz : kRatesHz) {
        if (bytesASecond(mask, rateHz) * kBitsPerByte <= baud)
            highest = rateHz;
    }
    return highest;
}

QList<int> numbersIn(const QString &text)
{
    QList<int> numbers;
    for (const QString &word : text.split(u' ', Qt::SkipEmptyParts)) {
        bool isNumber = false;
        const int number = word.toInt(&isNumber);
        if (isNumber)
            numbers << number;
    }
    return numbers;
}

// All numbers of each line that ends in four data rates.
QList<QList<int>> rowsOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    static const QRegularExpression kRow(u"( +\\|?\\s*(50|100|200|500|1000)){4} *\\|?$"_s);
    QList<QList<int>> rows;
    for (const QString &line : QString::fromUtf8(file.readAll()).split(u'\n')) {
        if (line.contains(kRow))
            rows << numbersIn(QString(line).replace(u'|', u' '));
    }
    return rows;
}

} // namespace

class TestDataRateTable : public QObject
{
    Q_OBJECT

private slots:
    void tableMatchesTheWireFormat_data();
    void tableMatchesTheWireFormat();
    void allOutputsExceptOneFitAThousandHertz();
};

void TestDataRateTable::tableMatchesTheWireFormat_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("withBytes");
    QTest::newRow("page") << u"docs/troubleshooting.md"_s << true;
    QTest::newRow("manual") << u"packaging/man/vornix.scd.in"_s << false;
    QTest::newRow("Turkish manual") << u"packaging/man/vornix.tr.scd.in"_s << false;
}

void TestDataRateTable::tableMatchesTheWireFormat()
{
    QFETCH(QString, file);
    QFETCH(bool, withBytes);
    QList<QList<int>> expected;
    for (int preset = settings::QuaternionPreset; preset < settings::PresetCount; ++preset) {
        const unsigned mask = settings::presetMask(static_cast<settings::Preset>(preset));
        QList<int> row;
        if (withBytes)
            row << bytesOf(mask);
        for (const int baud : kBauds)
            row << highestRateHz(mask, baud);
        expected << row;
    }
    QCOMPARE(rowsOf(QStringLiteral(VORNIX_SOURCE_DIR "/") + file), expected);
}

void TestDataRateTable::allOutputsExceptOneFitAThousandHertz()
{
    QVERIFY(bytesASecond(0xFF, 1000) * kBitsPerByte > 921600);
    QVERIFY(bytesASecond(0xFF, 1000) * kBitsPerByte <= 1000000);
    for (unsigned bit = 0; bit < 7; ++bit)
        QCOMPARE(highestRateHz(0xFFU & ~(1U << bit), 921600), 1000);
}

QTEST_APPLESS_MAIN(TestDataRateTable)
#include "test_data_rate_table.moc"
