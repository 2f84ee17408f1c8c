#pragma once

#include "syslog/logmessage.h"

#include <QListWidget>
#include <QVector>

/// The received messages, a line each, made for a million of them. Each line is the local time, a blank and
/// the text, whatever is in it.
class CLogListWidget final : public QListWidget
{
    Q_OBJECT

public:
    explicit CLogListWidget(QWidget *parent = nullptr);

    /// Adds messages at the end and scrolls there. Laying out the list costs as much for one as for many.
    void append(const QVector<LogMessage> &messages);

    /// Puts the selected lines on the clipboard, each with "\r\n" at its end. Nothing happens without any,
    /// and with more than the clipboard may take it only tells so.
    void copySelection();
    /// The same, and takes them off the list.
    void cutSelection();
    /// How much the clipboard may take, characters.
    void setClipboardLimit(qint64 characters) { m_clipboardLimit = characters; }

    /// Finds nothing in a long list.
    void keyboardSearch(const QString &search) override;

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    /// Rows; the first and the last selected one. Selections are contiguous.
    struct Range
    {
        int first;
        int last;
    };
    QVector<Range> selectedRanges() const;
    void remove(Range range);
    /// At least as many characters as textOf() makes, without making them.
    qint64 lengthOf(const QVector<Range> &ranges) const;
    QString textOf(const QVector<Range> &ranges) const;
    /// Whether the clipboard has them now. Otherwise the user knows.
    bool putOnClipboard(const QVector<Range> &ranges);
    void makeRoomFor(const QVector<LogMessage> &messages);

    /// Of the longest message since the list was empty, bytes.
    int m_longest = 0;
    /// Half a gigabyte, and a quarter of what a text can be.
    qint64 m_clipboardLimit = 1LL << 28;
    class LineDelegate;
    LineDelegate *m_delegate;
};
