#include "syslog/logmessage.h"

#include <QDateTime>

LogMessage LogMessage::of(qint64 time, const char *datagram, qint64 size)
{
    // With its own memory, as long as it is.
    return {time, QByteArray(datagram, static_cast<int>(qstrnlen(datagram, static_cast<uint>(size))))};
}

QString LineMaker::lineOf(const LogMessage &message)
{
    constexpr qint64 millisecondsPerSecond = 1000;
    const qint64 second = message.time / millisecondsPerSecond;
    if (second != m_second) {
        m_second = second;
        m_time = QDateTime::fromSecsSinceEpoch(second).toString(Qt::TextDate) + QLatin1Char(' ');
    }
    return m_time + QString::fromUtf8(message.text);
}
