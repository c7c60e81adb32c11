#pragma once

#include <QLibraryInfo>
#include <QTranslator>

// The texts of one language: the program's, loaded with load(), and those that Qt shows by itself,
// as on the buttons of a message box. One translator for both, so that a switch of the language is
// one installation, and one event for every window.
//
// Load only while it is not installed: any thread may translate.
class InterfaceTranslator : public QTranslator
{
public:
    using QTranslator::QTranslator;

    // Qt's catalogue of that language (a code as "tr"), from a folder of such catalogues. Without a
    // readable file Qt's texts stay English, and those loaded before are given up.
    void loadQtTexts(const QString &code,
                     const QString &folder = QLibraryInfo::path(QLibraryInfo::TranslationsPath));

    QString translate(const char *context, const char *sourceText,
                      const char *disambiguation = nullptr, int n = -1) const override;

private:
    QTranslator m_qtTexts;
};
