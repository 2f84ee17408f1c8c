#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>

/// The beginning of an answer.
struct WebHead
{
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    int status = 0;
    QByteArray reason;
    /// In the order of arrival; a name may come more than once.
    Headers headers;

    /// Each name once, where the last header of that name stood, with the values of all of them, as the
    /// toolkit joins them. Costs no more for hundreds of one name than for hundreds of names.
    Headers merged() const;
};

/// Puts the head of an answer together from its lines. Pure.
class WebHeadReader final
{
public:
    enum class Outcome {
        /// More lines belong to it.
        Goes,
        /// That was the empty line behind it. An interim answer ends so, too; the next line begins anew.
        Ends,
        /// More than the limit.
        TooLong,
    };

    /// Takes a line with its end. Control characters in it become blanks: what a device says here comes back
    /// in our next request, as a cookie, or is shown.
    Outcome take(const QByteArray &line);
    /// Without its status, which libcurl knows best.
    const WebHead &head() const { return m_head; }

private:
    WebHead m_head;
    /// With the lines of interim answers.
    qint64 m_size = 0;
};
