// The preload list of a command, and the command's exit status.

#include <algorithm>

#include <QCoreApplication>
#include <QTemporaryFile>
#include <QTest>

#include "sim/cli/spawn.h"

using Libraries = std::vector<std::string>;

class TestSpawn : public QObject
{
    Q_OBJECT

private slots:
    void ordersThePreloadList_data();
    void ordersThePreloadList();
    void readsNeededLibraries();
    void readsNothingFromOtherFiles();
    void reportsExitAsAShellDoes();
};

void TestSpawn::ordersThePreloadList_data()
{
    QTest::addColumn<QString>("current");
    QTest::addColumn<Libraries>("needed");
    QTest::addColumn<QString>("list");
    const auto row = [](const char *name, const char *current, const Libraries &needed,
                        const char *list) {
        QTest::newRow(name) << QString::fromUtf8(current) << needed << QString::fromUtf8(list);
    };
    row("nothing else", "", {"libc.so.6"}, "libumockdev-preload.so.0");
    row("others behind", "libfoo.so:libbar.so", {}, "libumockdev-preload.so.0:libfoo.so:libbar.so");
    row("separated by blanks", "libfoo.so libbar.so", {},
        "libumockdev-preload.so.0:libfoo.so:libbar.so");
    row("needed runtime first", "libfoo.so", {"libQt6Core.so.6", "libasan.so.8"},
        "libasan.so.8:libumockdev-preload.so.0:libfoo.so");
    row("needed thread runtime first", "", {"libtsan.so.2"},
        "libtsan.so.2:libumockdev-preload.so.0");
    row("the one that is there stays", "/usr/lib/libfoo.so:/usr/lib/libasan.so", {"libasan.so.8"},
        "/usr/lib/libasan.so:libumockdev-preload.so.0:/usr/lib/libfoo.so");
    row("not twice", "libumockdev-preload.so.0", {}, "libumockdev-preload.so.0");
}

void TestSpawn::ordersThePreloadList()
{
    QFETCH(const QString, current);
    QFETCH(const Libraries, needed);
    QFETCH(const QString, list);
    QCOMPARE(QString::fromStdString(sim::preloadList(current.toStdString(), needed)), list);
}

void TestSpawn::readsNeededLibraries()
{
    const Libraries needed = sim::neededLibraries("/proc/self/exe");
    QVERIFY(std::find(needed.begin(), needed.end(), "libc.so.6") != needed.end());
    QVERIFY(std::any_of(needed.begin(), needed.end(), [](const std::string &library) {
        return library.starts_with("libQt6Test.so");
    }));
}

void TestSpawn::readsNothingFromOtherFiles()
{
    QVERIFY(sim::neededLibraries("/does/not/exist").empty());
    for (const QByteArray &content : {QByteArray(), QByteArray("#!/bin/sh\n"),
                                      QByteArray("\x7f"
                                                 "ELF"),
                                      QByteArray("\x7f"
                                                 "ELF\x02\x01\x01")
                                          .append(QByteArray(200, '\xff'))}) {
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write(content);
        file.flush();
        QVERIFY(sim::neededLibraries(file.fileName().toStdString()).empty());
    }
}

void TestSpawn::reportsExitAsAShellDoes()
{
    QCOMPARE(sim::exitStatus(7 << 8), 7);
    QCOMPARE(sim::exitStatus(0), 0);
    QCOMPARE(sim::exitStatus(9), 137);
}

QTEST_GUILESS_MAIN(TestSpawn)
#include "test_spawn.moc"
