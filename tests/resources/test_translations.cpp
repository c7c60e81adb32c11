// The translation sources against the texts in the code. A text without a finished Turkish entry,
// or an entry that lost a placeholder, fails here before a user sees it.

#include <algorithm>

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTranslator>
#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

namespace {

struct Message
{
    QString context;
    QString source;
    QString translation;
    QString type; // "unfinished", "vanished", "obsolete" or empty
};

Message readMessage(QXmlStreamReader &xml, const QString &context)
{
    Message message{context, {}, {}, {}};
    while (xml.readNextStartElement()) {
        if (xml.name() == "source"_L1) {
            message.source = xml.readElementText();
        } else if (xml.name() == "translation"_L1) {
            message.type = xml.attributes().value("type"_L1).toString();
            message.translation = xml.readElementText(QXmlStreamReader::IncludeChildElements);
        } else {
            xml.skipCurrentElement();
        }
    }
    return message;
}

QList<Message> readMessages(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QXmlStreamReader xml(&file);
    QList<Message> messages;
    QString context;
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement())
            continue;
        if (xml.name() == "name"_L1)
            context = xml.readElementText();
        else if (xml.name() == "message"_L1)
            messages.append(readMessage(xml, context));
    }
    return messages;
}

QStringList sorted(const QString &text, const QRegularExpression &pattern)
{
    QStringList found;
    for (auto match = pattern.globalMatch(text); match.hasNext();)
        found.append(match.next().captured());
    std::sort(found.begin(), found.end());
    return found;
}

QString label(const Message &message)
{
    return u"%1: \"%2\""_s.arg(message.context, message.source);
}

} // namespace

class TestTranslations : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void everyTextHasAFinishedTranslation();
    void noEntryWithoutItsText();
    void placeholdersAndMarkupAreKept();
    void compiledFileHoldsOnlyOurTexts();

private:
    QTemporaryDir m_dir;
    QList<Message> m_messages; // the sources after an update from the code
};

// Updates a copy from the code, so that a text which was added, changed or removed without a run of
// the update target also shows.
void TestTranslations::initTestCase()
{
    const QString copy = m_dir.filePath(u"translate_tr.ts"_s);
    QVERIFY(QFile::copy(SOURCE_DIR "/resources/languages/translate_tr.ts"_L1, copy));
    QVERIFY(QFile::setPermissions(copy, QFile::ReadOwner | QFile::WriteOwner));
    QProcess lupdate;
    lupdate.start(QString::fromLatin1(LUPDATE),
                  {u"-silent"_s, u"-locations"_s, u"none"_s, SOURCE_DIR "/src"_L1, u"-ts"_s, copy});
    QVERIFY(lupdate.waitForFinished(60000));
    QCOMPARE(lupdate.exitCode(), 0);
    m_messages = readMessages(copy);
    QVERIFY(m_messages.size() > 100);
}

void TestTranslations::everyTextHasAFinishedTranslation()
{
    for (const Message &message : std::as_const(m_messages)) {
        if (message.type == "unfinished"_L1 || message.translation.isEmpty())
            QFAIL(qPrintable(u"unfinished: "_s + label(message)));
    }
}

void TestTranslations::noEntryWithoutItsText()
{
    for (const Message &message : std::as_const(m_messages)) {
        if (message.type == "vanished"_L1 || message.type == "obsolete"_L1)
            QFAIL(qPrintable(u"no longer in the code: "_s + label(message)));
    }
}

void TestTranslations::placeholdersAndMarkupAreKept()
{
    const QRegularExpression placeholder(u"%(?:L?\\d{1,2}|n)|</?[a-z0-9]+|\\n"_s);
    for (const Message &message : std::as_const(m_messages)) {
        if (sorted(message.source, placeholder) != sorted(message.translation, placeholder))
            QFAIL(qPrintable(u"placeholders or markup differ: "_s + label(message)));
    }
}

void TestTranslations::compiledFileHoldsOnlyOurTexts()
{
    QTranslator translator;
    QVERIFY(translator.load(LANGUAGES_DIR "/translate_tr.qm"_L1));
    QCOMPARE(translator.translate("MainWindow", "Connection"), u"Bağlantı"_s);
    // Qt's texts have their own licence and stay in Qt's file.
    QVERIFY(translator.translate("QPlatformTheme", "OK").isNull());
}

QTEST_APPLESS_MAIN(TestTranslations)
#include "test_translations.moc"
