#pragma once

#include <QLibraryInfo>
#include <QTranslator>

// The texts of one language: those of the program, loaded with load(), and those of Qt itself, for
// example on the buttons of a message box. With one translator for both, a change of the language
// takes one installation and one event per window.
//
// Load only while it is not installed, because any thread may translate.
class InterfaceTranslator : public QTranslator
{
public:
    using QTranslator::QTranslator;

    // Loads Qt's catalogue of a language (`code` such as "tr") from a folder of catalogues. Without
    // a readable file Qt's texts are English, and those loaded before are discarded.
    void loadQtTexts(const QString &code,
                     const QString &folder = QLibraryInfo::path(QLibraryInfo::TranslationsPath));

    QString translate(const char *context, const char *sourceText,
                      const char *disambiguation = nullptr, int n = -1) const override;

private:
    QTranslator m_qtTexts;
};
