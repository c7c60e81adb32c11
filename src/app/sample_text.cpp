#include "app/sample_text.h"

QString sampleText(std::span<const float> values)
{
    QString text;
    for (const float value : values) {
        if (!text.isEmpty())
            text += QLatin1String(", ");
        text += sampleText(value);
    }
    return text;
}

QString sampleText(float value)
{
    return QStringLiteral("%1").arg(static_cast<double>(value));
}
