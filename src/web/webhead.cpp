#include "web/webhead.h"

#include "web/weblimits.h"

#include <QHash>

#include <algorithm>

namespace {

bool isControl(char character)
{
    constexpr char firstPrintable = ' ';
    constexpr char lastControl = 0x7f;
    return (character >= 0 && character < firstPrintable) || character == lastControl;
}

} // namespace

WebHead::Headers WebHead::merged() const
{
    QHash<QByteArray, QByteArray> values;
    QHash<QByteArray, int> places;
    for (int i = 0; i < headers.size(); ++i) {
        const QByteArray name = headers.at(i).first.toLower();
        QByteArray &value = values[name];
        if (name == "location") {
            // The last one counts.
            value.clear();
        } else if (!value.isEmpty()) {
            value += name == "set-cookie" ? "\n" : ", ";
        }
        value += headers.at(i).second;
        places[name] = i;
    }
    Headers all;
    for (int i = 0; i < headers.size(); ++i) {
        const QByteArray name = headers.at(i).first.toLower();
        if (places.value(name) == i) {
            all.append({headers.at(i).first, values.value(name)});
        }
    }
    return all;
}

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
    if (goesOn) {
        m_head.headers.last().second += ' ' + text;
    } else if (text.startsWith("HTTP/")) {
        m_head = WebHead();
        const int reason = text.indexOf(' ', text.indexOf(' ') + 1);
        m_head.reason = reason < 0 ? QByteArray() : text.mid(reason + 1);
    } else if (colon > 0) {
        m_head.headers.append({text.left(colon).trimmed(), text.mid(colon + 1).trimmed()});
    }
    return Outcome::Goes;
}
