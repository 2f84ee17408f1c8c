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
