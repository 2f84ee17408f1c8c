#include "common/plainline.h"

#include <algorithm>

QString plainLine(const QString &text, int maximum)
{
    QString line = text.left(maximum);
    std::replace_if(
        line.begin(), line.end(),
        [](QChar c) {
            return c.category() == QChar::Other_Control || c.category() == QChar::Separator_Line ||
                   c.category() == QChar::Separator_Paragraph;
        },
        QLatin1Char(' '));
    return line;
}

QString forLog(const QString &text)
{
    QString printable;
    printable.reserve(text.size());
    for (const QChar c : text) {
        const bool isUsual = c == QLatin1Char('\t') || c == QLatin1Char('\n') || c == QLatin1Char('\r');
        if (c.category() == QChar::Other_Control && !isUsual) {
            printable += QStringLiteral("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
        } else {
            printable += c;
        }
    }
    return printable;
}
