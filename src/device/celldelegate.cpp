#include "device/celldelegate.h"

#include "common/plainline.h"
#include "device/deviceitem.h"
#include "device/devicelist.h"
#include "widgets/contrast.h"

#include <QHeaderView>
#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QTextOption>
#include <QToolTip>

#include <algorithm>

namespace {

/// As many as a big screen shows at a time, twice.
constexpr int keptTexts = 4000;

/// Characters of a tool tip; more would cover the screen.
constexpr int maximumTip = 2000;

QPalette::ColorGroup colorGroup(QStyle::State state)
{
    if (!state.testFlag(QStyle::State_Enabled)) {
        return QPalette::Disabled;
    }
    return state.testFlag(QStyle::State_Active) ? QPalette::Active : QPalette::Inactive;
}

} // namespace

CellDelegate::CellDelegate(DeviceList *list)
    : QStyledItemDelegate(list)
    , m_list(*list)
    , m_texts(keptTexts)
{
}

QString CellDelegate::displayText(const QVariant &value, const QLocale &locale) const
{
    return plainLine(QStyledItemDelegate::displayText(value, locale), maximumCellText);
}

void CellDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                         const QModelIndex &index) const
{
    const DeviceItem &row = *m_list.rowOf(index);
    paintPanel(painter, option, row.ageBackground(index.column()));
    paintText(painter, option, row, index.column());
}

void CellDelegate::paintPlainRow(QPainter *painter, const QStyleOptionViewItem &option,
                                 const DeviceItem &row) const
{
    const QHeaderView &header = *m_list.header();
    const int right = m_list.viewport()->width();
    QStyleOptionViewItem cell(option);
    for (int column = 0; column < Column::Count; ++column) {
        const int left = header.sectionViewportPosition(column);
        const int width = header.sectionSize(column);
        if (width <= 0 || left >= right || left + width <= 0) {
            continue;
        }
        cell.rect = QRect(left, option.rect.y(), width, option.rect.height());
        if (option.state.testFlag(QStyle::State_Selected)) {
            paintPanel(painter, cell, row.ageBackground(column));
        } else {
            painter->fillRect(cell.rect, row.ageBackground(column));
        }
        paintText(painter, cell, row, column);
    }
}

bool CellDelegate::helpEvent(QHelpEvent *event, QAbstractItemView *view, const QStyleOptionViewItem &option,
                             const QModelIndex &index)
{
    if (event->type() != QEvent::ToolTip || !index.isValid()) {
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    }
    const QString text = plainLine(m_list.rowOf(index)->shownText(index.column(), option.locale), maximumTip);
    const bool isWhole = text.size() <= maximumCellText &&
                         option.fontMetrics.horizontalAdvance(text) <= roomForText(option.rect).width();
    // As HTML it is broken into lines; what the device made look like HTML stays as it is.
    QToolTip::showText(event->globalPos(),
                       isWhole ? QString()
                               : QLatin1String("<p>") + text.toHtmlEscaped() + QLatin1String("</p>"),
                       view->viewport(), option.rect);
    return true;
}

QRect CellDelegate::roomForText(const QRect &cell) const
{
    // The style's own margin beside a text in a cell.
    const int margin = m_list.style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, &m_list) + 1;
    return cell.adjusted(margin, 0, -margin, 0);
}

void CellDelegate::paintPanel(QPainter *painter, const QStyleOptionViewItem &option,
                              const QColor &background) const
{
    QStyleOptionViewItem panel(option);
    panel.backgroundBrush = background;
    m_list.style()->drawPrimitive(QStyle::PE_PanelItemViewItem, &panel, painter, &m_list);
}

void CellDelegate::paintText(QPainter *painter, const QStyleOptionViewItem &option, const DeviceItem &row,
                             int column) const
{
    const QString text = row.shownText(column, option.locale).left(maximumCellText);
    const QRect room = roomForText(option.rect);
    if (text.isEmpty() || room.width() <= 0) {
        return;
    }
    const QStaticText &laidOut = this->laidOut(text, room.width(), option);
    const QSizeF size = laidOut.size();
    const int height = qRound(size.height() - std::max(0, option.fontMetrics.leading()));
    const Qt::Alignment alignment = DeviceItem::alignment(column);
    const int top =
        QStyle::alignedRect(Qt::LayoutDirectionAuto, alignment, QSize(room.width(), height), room).top();
    const bool right = QStyle::visualAlignment(option.direction, alignment).testFlag(Qt::AlignRight);
    const qreal left = right ? room.x() + room.width() - size.width() : room.x();

    painter->setPen(textColor(option, row, column));
    painter->setFont(option.font);
    if (size.width() <= room.width() && height <= room.height()) {
        painter->drawStaticText(QPointF(left, top), laidOut);
        return;
    }
    // Not even the sign for what was left out has room, or the writing is higher than that of other rows.
    painter->save();
    painter->setClipRect(option.rect, Qt::IntersectClip);
    painter->drawStaticText(QPointF(left, top), laidOut);
    painter->restore();
}

QColor CellDelegate::textColor(const QStyleOptionViewItem &option, const DeviceItem &row, int column) const
{
    const QPalette::ColorGroup group = colorGroup(option.state);
    if (option.state.testFlag(QStyle::State_Selected)) {
        // The style of Windows marks selected rows by a pale panel, on which the usual text stands.
        const bool isPale = m_list.style()->inherits("QWindowsVistaStyle");
        return option.palette.color(group, isPale ? QPalette::Text : QPalette::HighlightedText);
    }
    const QColor ownColor = row.sensorColor(column);
    QColor color = ownColor.isValid() ? ownColor : option.palette.color(group, QPalette::Text);
    if (group == QPalette::Disabled) {
        return color;
    }
    // The colours of the ages are the same in every palette, and not every text can be read on them. Beside a
    // warning stands a sign for it, so that its red may stay what it is where one can tell it at all.
    return contrast::readable(color, row.ageBackground(column),
                              row.hasAlarm(column) ? contrast::leastForSigns : contrast::leastForText);
}

const QStaticText &CellDelegate::laidOut(const QString &text, int width,
                                         const QStyleOptionViewItem &option) const
{
    if (option.font != m_font || option.direction != m_direction || option.textElideMode != m_elideMode) {
        m_texts.clear();
        m_font = option.font;
        m_direction = option.direction;
        m_elideMode = option.textElideMode;
    }
    const QPair<QString, int> key(text, width);
    if (const QStaticText *const known = m_texts.object(key)) {
        return *known;
    }
    const auto layOut = [&option](const QString &line) {
        auto *const made = new QStaticText(line);
        made->setTextFormat(Qt::PlainText);
        QTextOption direction;
        direction.setTextDirection(option.direction);
        direction.setWrapMode(QTextOption::ManualWrap);
        made->setTextOption(direction);
        made->prepare(QTransform(), option.font);
        return made;
    };
    auto *made = layOut(plainLine(text, maximumCellText));
    if (made->size().width() > width) {
        const QString shortened = option.fontMetrics.elidedText(made->text(), option.textElideMode, width);
        delete made;
        made = layOut(shortened);
    }
    m_texts.insert(key, made);
    return *made;
}
