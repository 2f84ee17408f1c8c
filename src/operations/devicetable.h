#pragma once

#include "operations/transfer.h"

class QTableWidget;
class QTableWidgetItem;

/// The table in which the dialogs show a row for each device. Nothing in it can be edited, and the texts,
/// which are the devices', are shown as they are.
namespace devicetable {

/// Each text stands in one line, whatever line breaks are in it, and the lines are as high as the writing
/// needs. One of them is always in view.
void showAsLines(QTableWidget *table);
/// Of a column for texts that come and go, in pixels.
[[nodiscard]] int statusWidth(const QTableWidget *table);
/// Fills a row with these texts, and with an empty one for each further column.
void fillRow(QTableWidget *table, int row, const QStringList &texts);
/// Makes the column of the host names as wide as they are, but leaves room for the others.
void fitHostnames(QTableWidget *table);
/// Shows how far a device is, green or red at the good or bad end.
void showStatus(QTableWidgetItem *item, const QString &text, Transfer::Mark mark);
/// Empty on white, as before a run.
void clearStatus(QTableWidgetItem *item);

} // namespace devicetable
