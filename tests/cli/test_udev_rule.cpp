#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include "cli/udev_rule.h"

using namespace Qt::StringLiterals;

class TestUdevRule : public QObject
{
    Q_OBJECT

private slots:
    void findsTheRuleOfAPackage_data();
    void findsTheRuleOfAPackage();
    void findsNone_data();
    void findsNone();
};

namespace {

// Makes the file below the folder; an empty path makes nothing.
void make(const QTemporaryDir &root, const QString &path)
{
    if (path.isEmpty())
        return;
    const QFileInfo info(root.path() + path);
    QVERIFY(QDir().mkpath(info.path()));
    QFile file(info.filePath());
    QVERIFY(file.open(QIODevice::WriteOnly));
}

} // namespace

void TestUdevRule::findsTheRuleOfAPackage_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("of the window") << u"/usr/lib/udev/rules.d/70-vornix.rules"_s;
    QTest::newRow("of vornixctl") << u"/usr/lib/udev/rules.d/70-vornix-cli.rules"_s;
    QTest::newRow("not merged") << u"/lib/udev/rules.d/70-vornix-cli.rules"_s;
    QTest::newRow("built by hand") << u"/usr/local/lib/udev/rules.d/70-vornix.rules"_s;
    QTest::newRow("of the administrator") << u"/etc/udev/rules.d/70-vornix.rules"_s;
    QTest::newRow("until the next start") << u"/run/udev/rules.d/70-vornix.rules"_s;
}

void TestUdevRule::findsTheRuleOfAPackage()
{
    QFETCH(const QString, path);
    const QTemporaryDir root;
    make(root, path);
    QCOMPARE(QString::fromStdString(cli::installedUdevRule(root.path().toStdString())),
             root.path() + path);
}

void TestUdevRule::findsNone_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("nothing") << QString();
    QTest::newRow("another rule") << u"/usr/lib/udev/rules.d/70-other.rules"_s;
    QTest::newRow("a folder that udev does not read") << u"/usr/udev/rules.d/70-vornix.rules"_s;
}

void TestUdevRule::findsNone()
{
    QFETCH(const QString, path);
    const QTemporaryDir root;
    make(root, path);
    QVERIFY(cli::installedUdevRule(root.path().toStdString()).empty());
}

QTEST_GUILESS_MAIN(TestUdevRule)

#include "test_udev_rule.moc"
