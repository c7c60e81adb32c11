#include "app/interface_translator.h"

using namespace Qt::StringLiterals;

void InterfaceTranslator::loadQtTexts(const QString &code, const QString &folder)
{
    // A missing file is not an error: the system may not have it installed.
    static_cast<void>(m_qtTexts.load(folder + "/qtbase_"_L1 + code + ".qm"_L1));
}

QString InterfaceTranslator::translate(const char *context, const char *sourceText,
                                       const char *disambiguation, int n) const
{
    const QString own = QTranslator::translate(context, sourceText, disambiguation, n);
    return own.isNull() ? m_qtTexts.translate(context, sourceText, disambiguation, n) : own;
}
