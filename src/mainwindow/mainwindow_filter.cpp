#include "mainwindow/mainwindow.h"

#include "ui_mainwindow.h"

#include "common/settings.h"
#include "device/deviceitem.h"

#include <QCompleter>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QStringListModel>
#include <QVector>

#include <algorithm>

namespace {

constexpr int maximumHistory = 10;
/// Characters. The expression is compiled by a function that calls itself for each parenthesis.
constexpr int longestPattern = 1000;

/// The indices below `size` that the array now read has an entry for, in order. Its size alone tells nothing:
/// a damaged one would be counted up to for minutes.
QVector<int> storedIndices(const QSettings &store, int size)
{
    QVector<int> indices;
    const QStringList groups = store.childGroups();
    for (const QString &group : groups) {
        // They count from 1 in the store.
        const int number = group.toInt();
        if (number >= 1 && number <= size) {
            indices.append(number - 1);
        }
    }
    std::sort(indices.begin(), indices.end());
    return indices;
}

} // namespace

void MainWindow::setUpFilterBar()
{
    m_filterLabel = new QLabel(this);
    m_filterEdit = new QLineEdit(this);
    m_filterEdit->setMaxLength(longestPattern);
    m_filterLabel->setBuddy(m_filterEdit);
    const int gap = fontMetrics().horizontalAdvance(QLatin1Char(' '));
    m_filterLabel->setContentsMargins(gap, 0, gap, 0);
    ui->filterToolBar->insertWidget(ui->actionApply, m_filterLabel);
    ui->filterToolBar->insertWidget(ui->actionApply, m_filterEdit);
    ui->filterToolBar->hide();

    loadFilterHistory();
    m_filterHistoryModel = new QStringListModel(m_filterHistory, this);
    auto *const completer = new QCompleter(m_filterHistoryModel, this);
    completer->setCaseSensitivity(Qt::CaseInsensitive);
    m_filterEdit->setCompleter(completer);
    connect(m_filterEdit, &QLineEdit::returnPressed, this, &MainWindow::on_actionApply_triggered);
}

void MainWindow::loadFilterHistory()
{
    QSettings &store = settings::store();
    store.beginGroup(QLatin1String(settings::filterHistoryGroup));
    const int size = store.beginReadArray(QLatin1String(settings::filterHistoryArray));
    const QVector<int> indices = storedIndices(store, size);
    for (const int index : indices) {
        store.setArrayIndex(index);
        m_filterHistory.append(store.value(QLatin1String(settings::filterHistoryEntry)).toString());
    }
    store.endArray();
    store.endGroup();
}

void MainWindow::on_actionFilter_triggered()
{
    ui->filterToolBar->show();
    m_filterEdit->setFocus(Qt::OtherFocusReason);
    m_filterEdit->selectAll();
}

void MainWindow::on_actionApply_triggered()
{
    if (!ui->filterToolBar->isVisible()) {
        return;
    }
    const QString pattern = m_filterEdit->text().trimmed();
    if (!pattern.isEmpty()) {
        rememberFilter(pattern);
    }
    m_filterRegExp = QRegExp(pattern, Qt::CaseInsensitive, QRegExp::RegExp);
    filterAllRows();
    updateStatusBarAndMenu();
}

void MainWindow::rememberFilter(const QString &pattern)
{
    if (!m_filterHistory.contains(pattern)) {
        m_filterHistory.prepend(pattern);
    }
    while (m_filterHistory.size() > maximumHistory) {
        m_filterHistory.removeLast();
    }
    QSettings &store = settings::store();
    store.beginGroup(QLatin1String(settings::filterHistoryGroup));
    // A longer one that was stored before must not shine through.
    store.remove(QLatin1String(settings::filterHistoryArray));
    store.beginWriteArray(QLatin1String(settings::filterHistoryArray), m_filterHistory.size());
    for (int i = 0; i < m_filterHistory.size(); ++i) {
        store.setArrayIndex(i);
        store.setValue(QLatin1String(settings::filterHistoryEntry), m_filterHistory.at(i));
    }
    store.endArray();
    store.endGroup();
    m_filterHistoryModel->setStringList(m_filterHistory);
}

void MainWindow::filterAllRows()
{
    for (DeviceItem *const item : qAsConst(m_deviceItems)) {
        item->device().applyFilter(m_filterRegExp);
    }
}

void MainWindow::on_actionFilterClose_triggered()
{
    ui->filterToolBar->hide();
}

void MainWindow::on_filterToolBar_visibilityChanged(bool visible)
{
    if (!visible) {
        // The text and the history stay, so that Apply brings the filter back.
        m_filterRegExp = QRegExp();
        filterAllRows();
    }
    ui->actionFilter->setChecked(visible);
}

void MainWindow::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape && focusWidget() == m_filterEdit) {
        ui->filterToolBar->hide();
        return;
    }
    event->ignore();
}
