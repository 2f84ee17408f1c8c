#pragma once

#include <QByteArray>
#include <QString>

/// A message as it arrived.
struct LogMessage
{
    /// Milliseconds since 1970, UTC.
    qint64 time;
    /// UTF-8, or whatever the sender took for it.
    QByteArray text;

    /// `size`: bytes of the datagram, which is read up to its first zero byte.
    static LogMessage of(qint64 time, const char *datagram, qint64 size);
};

/// Makes the lines of messages that follow each other: many have the same second, and its text is what costs.
class LineMaker final
{
public:
    /// The local time, a blank and the text, whatever is in it.
    QString lineOf(const LogMessage &message);

private:
    qint64 m_second = -1;
    QString m_time;
};
