#pragma once

#include <QCache>
#include <QFont>
#include <QLocale>
#include <QPair>
#include <QStaticText>
#include <QStyledItemDelegate>

class DeviceItem;
class DeviceList;

/// Paints the cells of a device list as the toolkit would, at a fraction of the cost: a text is laid out once
/// and kept for as long as it is painted, and the style is asked for what is behind it only where that is
/// more than a colour. Shows a text in one line of bounded length, whatever a device put into it: line breaks
/// would make every row as high as the one that holds them.
class CellDelegate final : public QStyledItemDelegate
{
    Q_OBJECT

public:
    /// `list`: owns the delegate.
    explicit CellDelegate(DeviceList *list);

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    /// A whole row at once that is neither the current one nor under the mouse. `option`: of the row.
    void paintPlainRow(QPainter *painter, const QStyleOptionViewItem &option, const DeviceItem &row) const;
    QString displayText(const QVariant &value, const QLocale &locale) const override;
    /// The tool tip of a cell that has no room for its text shows the whole of it.
    bool helpEvent(QHelpEvent *event, QAbstractItemView *view, const QStyleOptionViewItem &option,
                   const QModelIndex &index) override;

private:
    QRect roomForText(const QRect &cell) const;
    void paintPanel(QPainter *painter, const QStyleOptionViewItem &option, const QColor &background) const;
    void paintText(QPainter *painter, const QStyleOptionViewItem &option, const DeviceItem &row,
                   int column) const;
    QColor textColor(const QStyleOptionViewItem &option, const DeviceItem &row, int column) const;
    const QStaticText &laidOut(const QString &text, int width, const QStyleOptionViewItem &option) const;

    const DeviceList &m_list;
    // How the kept texts are laid out.
    mutable QFont m_font;
    mutable Qt::LayoutDirection m_direction = Qt::LeftToRight;
    mutable Qt::TextElideMode m_elideMode = Qt::ElideRight;
    /// By text and the width that there is for it.
    mutable QCache<QPair<QString, int>, QStaticText> m_texts;
};
