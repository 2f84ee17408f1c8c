#include "web/webhead.h"

#include "web/weblimits.h"

#include <algorithm>

namespace {

bool isControl(char character)
{
    constexpr char firstPrintable = ' ';
    constexpr char lastControl = 0x7f;
    return (character >= 0 && character < firstPrintable) || character == lastControl;
}

} // namespace

WebHeadReader::Outcome WebHeadReader::take(const QByteArray &line)
{
    m_size += line.size() + weblimits::headerLine;
    if (m_size > weblimits::headers) {
        return Outcome::TooLong;
    }
    if (line == "\r\n" || line == "\n") {
        return Outcome::Ends;
    }
    QByteArray text = line;
    std::replace_if(text.begin(), text.end(), isControl, ' ');
    const bool goesOn = text.startsWith(' ') && !m_head.headers.isEmpty();
    text = text.trimmed();
    const int colon = text.indexOf(':');
    if (text.startsWith("HTTP/")) {
        m_head = WebHead();
        const int reason = text.indexOf(' ', text.indexOf(' ') + 1);
        m_head.reason = reason < 0 ? QByteArray() : text.mid(reason + 1);
    } else if (goesOn) {
        m_head.headers.last().second += ' ' + text;
    } else if (colon > 0) {
        m_head.headers.append({text.left(colon).trimmed(), text.mid(colon + 1).trimmed()});
    }
    return Outcome::Goes;
}
