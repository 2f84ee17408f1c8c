#include "operations/devicetable.h"

#include "common/plainline.h"

#include <QHeaderView>
#include <QScrollBar>
#include <QStyledItemDelegate>
#include <QTableWidget>

#include <algorithm>

namespace devicetable {

namespace {

/// The text of a coloured cell is black, since the usual one may be as light as the colour.
void setColor(QTableWidgetItem *item, Qt::GlobalColor color)
{
    item->setBackground(color);
    item->setForeground(Qt::black);
}

/// As wide as so many usual characters, but not less than so many pixels.
int widthFor(int characters, int pixels, const QTableWidget *table)
{
    return std::max(pixels, characters * table->fontMetrics().averageCharWidth());
}

class LineDelegate final : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QString displayText(const QVariant &value, const QLocale &locale) const override
    {
        constexpr int longestLine = 1024;
        return plainLine(QStyledItemDelegate::displayText(value, locale), longestLine);
    }
};

} // namespace

void showAsLines(QTableWidget *table)
{
    table->setItemDelegate(new LineDelegate(table));
    const int rowHeight = table->fontMetrics().height() * 3 / 2;
    table->verticalHeader()->setMinimumSectionSize(rowHeight);
    table->verticalHeader()->setDefaultSectionSize(rowHeight);
    table->setMinimumHeight(table->horizontalHeader()->sizeHint().height() + rowHeight +
                            table->horizontalScrollBar()->sizeHint().height() + 2 * table->frameWidth());
}

int statusWidth(const QTableWidget *table)
{
    return widthFor(20, 200, table);
}

void fillRow(QTableWidget *table, int row, const QStringList &texts)
{
    for (int column = 0; column < table->columnCount(); ++column) {
        auto *const item = new QTableWidgetItem(texts.value(column));
        item->setFlags(item->flags() & ~Qt::ItemIsEditable);
        table->setItem(row, column, item);
    }
}

void fitHostnames(QTableWidget *table)
{
    table->resizeColumnToContents(0);
    table->setColumnWidth(0, std::min(table->columnWidth(0), widthFor(25, 250, table)));
}

void showStatus(QTableWidgetItem *item, const QString &text, Transfer::Mark mark)
{
    item->setText(text);
    switch (mark) {
    case Transfer::Mark::None:
        break;
    case Transfer::Mark::Good:
        setColor(item, Qt::green);
        break;
    case Transfer::Mark::Bad:
        setColor(item, Qt::red);
        break;
    }
}

void clearStatus(QTableWidgetItem *item)
{
    item->setText(QString());
    setColor(item, Qt::white);
}

} // namespace devicetable
