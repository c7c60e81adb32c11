#include <limits>

#include <QTest>

#include "cli/exit_status.h"
#include "cli/record_format.h"

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using cli::RecordFormat;

namespace {

session::Sample sample()
{
    session::Sample sample;
    sample.time.utc = std::chrono::sys_time<std::chrono::nanoseconds>(1234567890123456789ns);
    sample.time.monotonic = std::chrono::steady_clock::time_point(42ns);
    sample.serialNumber = 0xC0FFEE;
    sample.blocks = 0x0028; // pressure and Euler angles
    sample.pressure = 1013.25F;
    sample.euler = {0.1F, -2, 1e-10F};
    return sample;
}

QString text(const std::string &text)
{
    return QString::fromStdString(text);
}

} // namespace

class TestRecordFormat : public QObject
{
    Q_OBJECT

private slots:
    void writesCsv();
    void writesJson();
    void writesSingleValues();
    void writesWhatIsNoNumber();
    void takesTheFieldsOfAMask();
    void rejectsUnknownFields_data();
    void rejectsUnknownFields();
};

void TestRecordFormat::writesCsv()
{
    const RecordFormat format(RecordFormat::Kind::Csv, cli::parseFields("euler,pressure", 0));
    QCOMPARE(text(format.header()),
             u"time_utc_ns,time_monotonic_ns,serial,euler_roll [deg],euler_pitch [deg],"
             "euler_yaw [deg],pressure [hPa]\n");
    QCOMPARE(text(format.record(sample())),
             u"1234567890123456789,42,c0ffee,0.1,-2,1e-10,1013.25\n");
}

void TestRecordFormat::writesJson()
{
    const RecordFormat format(RecordFormat::Kind::Jsonl, cli::parseFields("euler,pressure", 0));
    QCOMPARE(text(format.header()), u"{\"units\":{\"euler\":\"deg\",\"pressure\":\"hPa\"}}\n");
    QCOMPARE(text(format.record(sample())),
             u"{\"time_utc_ns\":1234567890123456789,\"time_monotonic_ns\":42,\"serial\":\"c0ffee\","
             "\"euler\":[0.1,-2.0,1e-10],\"pressure\":1013.25}\n");
}

void TestRecordFormat::writesSingleValues()
{
    const auto fields = cli::parseFields("quaternion_w,euler_pitch", 0);
    const RecordFormat csv(RecordFormat::Kind::Csv, fields);
    QCOMPARE(text(csv.record(sample())), u"1234567890123456789,42,c0ffee,,-2\n");
    const RecordFormat json(RecordFormat::Kind::Jsonl, fields);
    QVERIFY(text(json.record(sample())).endsWith(u"\"c0ffee\",\"euler_pitch\":-2.0}\n"));
}

void TestRecordFormat::writesWhatIsNoNumber()
{
    session::Sample broken = sample();
    broken.pressure = std::numeric_limits<float>::quiet_NaN();
    const auto fields = cli::parseFields("pressure", 0);
    QVERIFY(text(RecordFormat(RecordFormat::Kind::Csv, fields).record(broken))
                .endsWith(u",c0ffee,nan\n"));
    QVERIFY(text(RecordFormat(RecordFormat::Kind::Jsonl, fields).record(broken))
                .endsWith(u"\"pressure\":null}\n"));
}

void TestRecordFormat::takesTheFieldsOfAMask()
{
    // The sync output has no values.
    QStringList names;
    for (const cli::Field &field : cli::parseFields("", 0x0188))
        names.append(text(field.name()));
    QCOMPARE(names,
             (QStringList{u"pressure"_s, u"raw_field_x"_s, u"raw_field_y"_s, u"raw_field_z"_s}));
}

void TestRecordFormat::rejectsUnknownFields_data()
{
    QTest::addColumn<QString>("list");
    QTest::newRow("no such output") << u"pitch"_s;
    QTest::newRow("no such component") << u"euler_w"_s;
    QTest::newRow("no values") << u"sync"_s;
    QTest::newRow("empty entry") << u"euler,,pressure"_s;
    QTest::newRow("ends with a comma") << u"euler,"_s;
}

void TestRecordFormat::rejectsUnknownFields()
{
    QFETCH(const QString, list);
    try {
        cli::parseFields(list.toStdString(), 0);
        QFAIL("accepted");
    } catch (const cli::Failure &failure) {
        QCOMPARE(failure.status(), cli::ExitStatus::Usage);
    }
}

QTEST_GUILESS_MAIN(TestRecordFormat)
#include "test_record_format.moc"
