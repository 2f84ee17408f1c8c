#include "syslog/loglistwidget.h"

#include "common/plainline.h"

#include <QApplication>
#include <QClipboard>
#include <QDebug>
#include <QKeyEvent>
#include <QMessageBox>
#include <QSignalBlocker>
#include <QStyle>
#include <QStyledItemDelegate>

#include <algorithm>

namespace {

/// Characters of a line that are shown; all of them are copied.
constexpr int longestShownLine = 2048;
/// Characters of the clipboard that are logged.
constexpr int longestLoggedText = 4096;

/// Lines that a search goes through in less than 50 ms, as long as lines usually are.
constexpr int longestSearchedList = 20000;

/// Keeps a message as it arrived, which takes a third of the memory that its text would.
class LogItem final : public QListWidgetItem
{
public:
    explicit LogItem(LogMessage message)
        : QListWidgetItem(nullptr, UserType)
        , m_message(std::move(message))
    {
    }

    QVariant data(int role) const override
    {
        return role == Qt::DisplayRole ? QVariant(LineMaker().lineOf(m_message))
                                       : QListWidgetItem::data(role);
    }
    const LogMessage &message() const { return m_message; }

private:
    const LogMessage m_message;
};

} // namespace

/// All lines are as high as a line and as wide as the longest one.
class CLogListWidget::LineDelegate final : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void widenTo(int width) { m_width = std::max(m_width, width); }
    void forgetWidth() { m_width = 0; }

    QString displayText(const QVariant &value, const QLocale &locale) const override
    {
        return plainLine(QStyledItemDelegate::displayText(value, locale), longestShownLine);
    }
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        const int width = QStyledItemDelegate::sizeHint(option, index).width();
        return {std::max(width, m_width), heightOfLine(option)};
    }

private:
    /// The same for every line. A character from another font may be higher than this one, and all lines
    /// would jump when it comes and when it isn't the last one any more.
    static int heightOfLine(const QStyleOptionViewItem &option)
    {
        QStyleOptionViewItem plain = option;
        plain.features |= QStyleOptionViewItem::HasDisplay;
        plain.text = QStringLiteral("x");
        const QStyle *const style = option.widget ? option.widget->style() : QApplication::style();
        return style->sizeFromContents(QStyle::CT_ItemViewItem, &plain, QSize(), option.widget).height();
    }

    int m_width = 0;
};

CLogListWidget::CLogListWidget(QWidget *parent)
    : QListWidget(parent)
    , m_delegate(new LineDelegate(this))
{
    setItemDelegate(m_delegate);
    // Otherwise every line would be measured, each time.
    setUniformItemSizes(true);
}

void CLogListWidget::append(const QVector<LogMessage> &messages)
{
    if (messages.isEmpty()) {
        return;
    }
    makeRoomFor(messages);
    const int first = count();
    {
        // One by one the list would lay itself out for each of them; it is told of all together.
        const QSignalBlocker blocker(model());
        for (const LogMessage &message : messages) {
            addItem(new LogItem(message));
        }
    }
    rowsInserted(QModelIndex(), first, count() - 1);
    scrollToBottom();
}

void CLogListWidget::makeRoomFor(const QVector<LogMessage> &messages)
{
    if (count() == 0) {
        m_longest = 0;
        m_delegate->forgetWidth();
    }
    const auto longest =
        std::max_element(messages.begin(), messages.end(), [](const LogMessage &a, const LogMessage &b) {
            return a.text.size() < b.text.size();
        });
    if (longest->text.size() > m_longest) {
        m_longest = longest->text.size();
        constexpr int margin = 16; // pixels
        const QString line = plainLine(LineMaker().lineOf(*longest), longestShownLine);
        m_delegate->widenTo(fontMetrics().horizontalAdvance(line) + margin);
    }
}

QVector<CLogListWidget::Range> CLogListWidget::selectedRanges() const
{
    QVector<Range> ranges;
    const QItemSelection selection = selectionModel()->selection();
    for (const QItemSelectionRange &range : selection) {
        ranges.append({range.top(), range.bottom()});
    }
    std::sort(ranges.begin(), ranges.end(), [](Range a, Range b) { return a.first < b.first; });
    return ranges;
}

qint64 CLogListWidget::lengthOf(const QVector<Range> &ranges) const
{
    constexpr qint64 besidesTheMessage = 32; // the time, a blank and the end of the line
    qint64 length = 0;
    for (const Range range : ranges) {
        for (int row = range.first; row <= range.last; ++row) {
            // No byte makes more than one character.
            length += static_cast<const LogItem *>(item(row))->message().text.size() + besidesTheMessage;
        }
    }
    return length;
}

QString CLogListWidget::textOf(const QVector<Range> &ranges) const
{
    QString text;
    LineMaker maker;
    for (const Range range : ranges) {
        for (int row = range.first; row <= range.last; ++row) {
            text += maker.lineOf(static_cast<const LogItem *>(item(row))->message()) + QLatin1String("\r\n");
        }
    }
    return text;
}

bool CLogListWidget::putOnClipboard(const QVector<Range> &ranges)
{
    if (ranges.isEmpty()) {
        return false;
    }
    if (lengthOf(ranges) > m_clipboardLimit) {
        // A text has an upper limit, beyond which the program would end.
        QMessageBox::critical(this, QString(), tr("Too many lines for the clipboard."));
        return false;
    }
    QApplication::clipboard()->setText(textOf(ranges), QClipboard::Clipboard);
    return true;
}

void CLogListWidget::copySelection()
{
    if (!putOnClipboard(selectedRanges())) {
        return;
    }
    const QString text = QApplication::clipboard()->text(QClipboard::Clipboard);
    if (text.isEmpty()) {
        qDebug() << "Clipboard is empty!";
    } else {
        qDebug() << "Clipboard is not empty: " << text.left(longestLoggedText);
    }
}

void CLogListWidget::cutSelection()
{
    const QVector<Range> ranges = selectedRanges();
    if (!putOnClipboard(ranges)) {
        return;
    }
    for (auto range = ranges.rbegin(); range != ranges.rend(); ++range) {
        remove(*range);
    }
}

void CLogListWidget::remove(Range range)
{
    setCurrentRow(-1);
    {
        // From the end, where it costs nothing; taken out of the middle, each row would move all behind it.
        const QSignalBlocker blocker(model());
        QVector<QListWidgetItem *> kept;
        while (count() > range.first) {
            QListWidgetItem *const last = takeItem(count() - 1);
            if (count() > range.last) {
                kept.append(last);
            } else {
                delete last;
            }
        }
        for (auto item = kept.rbegin(); item != kept.rend(); ++item) {
            addItem(*item);
        }
    }
    reset();
}

void CLogListWidget::keyboardSearch(const QString &search)
{
    // It makes every line anew, which would freeze a long list with each key.
    if (count() <= longestSearchedList) {
        QListWidget::keyboardSearch(search);
    }
}

void CLogListWidget::keyPressEvent(QKeyEvent *event)
{
    if (event->matches(QKeySequence::Copy)) {
        copySelection();
    } else if (event->matches(QKeySequence::Cut)) {
        cutSelection();
    } else {
        QListWidget::keyPressEvent(event);
    }
}
