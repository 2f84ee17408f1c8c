#include "mainwindow/mainwindow.h"

#include "ui_mainwindow.h"

#include "common/settings.h"
#include "device/devicecolumns.h"
#include "widgets/plainmessagebox.h"
#include "widgets/savedstate.h"

#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QFontDialog>
#include <QFontInfo>
#include <QHeaderView>
#include <QScreen>

namespace {

/// The same font under the names of the family and style that really show it. By any other name the dialog
/// would not find it among the fonts, and would propose another.
QFont asListed(QFont font)
{
    const QFontInfo shown(font);
    font.setFamily(shown.family());
    font.setStyleName(shown.styleName());
    return font;
}

/// Whether the keyboard focus is in the menu bar or in one of its menus.
bool isInMenuBar(const QWidget *focus, const QMenuBar *menuBar)
{
    while (qobject_cast<const QMenu *>(focus)) {
        focus = focus->parentWidget();
    }
    return focus == menuBar;
}

} // namespace

void MainWindow::setUpColumns()
{
    for (int i = 0; i < Column::Count; ++i) {
        const DeviceColumn &column = deviceColumns[static_cast<std::size_t>(i)];
        ui->devList->setColumnCount(i + 1);
        ui->devList->headerItem()->setText(i, QLatin1String(column.header));
        ui->devList->setColumnHidden(i, column.hidden);
    }
    QHeaderView *const header = ui->devList->header();
    header->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(header, &QWidget::customContextMenuRequested, this, &MainWindow::onDevListHeaderContextMenu);
}

void MainWindow::setUpIconSizes()
{
    ui->actionSmall->setData(11);
    ui->actionNormal->setData(22);
    ui->actionLarge->setData(44);
    m_iconSizeGroup = new QActionGroup(this);
    for (QAction *const action : {ui->actionSmall, ui->actionNormal, ui->actionLarge}) {
        m_iconSizeGroup->addAction(action);
    }
    connect(m_iconSizeGroup, &QActionGroup::triggered, this, &MainWindow::onIconSizeChange);
}

void MainWindow::restoreView()
{
    restorePlace();
    restoreSorting();
    savedstate::restoreHeader(ui->devList->header(), settings::bytes(settings::tableHeader),
                              settings::bytes(settings::tableHeaderState));
    restoreListFont();
    if (!settings::value(settings::statusBarShown)) {
        ui->statusBar->hide();
    }
    const int iconSize = settings::value(settings::iconSize);
    const QList<QAction *> sizes = m_iconSizeGroup->actions();
    for (QAction *const action : sizes) {
        action->setChecked(action->data().toInt() == iconSize);
    }
}

void MainWindow::restorePlace()
{
    restoreGeometry(settings::bytes(settings::windowGeometry));
    // A size that no screen has would cost the memory to paint it.
    const QSize screens = screen()->availableVirtualSize();
    if (width() > screens.width() || height() > screens.height()) {
        resize(size().boundedTo(screens));
    }
    const QByteArray state = settings::bytes(settings::windowState);
    if (savedstate::fitsWindow(state)) {
        restoreState(state);
    }
    setWindowState(windowState() & ~Qt::WindowFullScreen);
}

void MainWindow::restoreSorting()
{
    const int stored = settings::value(settings::sortColumn);
    // -1: the rows stay in the order of their coming.
    const int column = stored >= -1 && stored < Column::Count ? stored : settings::sortColumn.fallback;
    const bool descending = settings::value(settings::sortDescending) != 0;
    ui->devList->sortByColumn(column, descending ? Qt::DescendingOrder : Qt::AscendingOrder);
}

void MainWindow::restoreListFont()
{
    ui->devList->setFont(savedstate::fontOf(settings::value(settings::listFont),
                                            settings::value(settings::listFontSize), QApplication::font()));
}

void MainWindow::setUpColumnActions()
{
    bool anyVisible = false;
    for (int i = 0; i < Column::Count; ++i) {
        auto *const action = new QAction(this);
        action->setCheckable(true);
        action->setChecked(!ui->devList->isColumnHidden(i));
        anyVisible = anyVisible || action->isChecked();
        connect(action, &QAction::toggled, this, &MainWindow::updateVisibleColumns);
        m_columnActions.append(action);
    }
    if (!anyVisible) {
        m_columnActions.first()->setChecked(true);
    }
    ui->menuVisible_columns->addActions(m_columnActions);
}

void MainWindow::updateVisibleColumns()
{
    int shown = 0;
    for (int i = 0; i < m_columnActions.size(); ++i) {
        const bool wasHidden = ui->devList->isColumnHidden(i);
        const bool show = m_columnActions.at(i)->isChecked();
        ui->devList->setColumnHidden(i, !show);
        if (show && wasHidden) {
            ui->devList->resizeColumnToContents(i);
        }
        shown += show ? 1 : 0;
    }
    if (shown == 0) {
        // By way of this slot.
        m_columnActions.first()->setChecked(true);
    }
}

void MainWindow::onDevListHeaderContextMenu(const QPoint &pos)
{
    QMenu menu;
    menu.addAction(ui->actionResize_columns);
    menu.addSeparator();
    menu.addActions(m_columnActions);
    menu.exec(ui->devList->header()->mapToGlobal(pos));
}

void MainWindow::resizeColumnsToContents()
{
    for (int i = 0; i < ui->devList->columnCount(); ++i) {
        if (!ui->devList->isColumnHidden(i)) {
            ui->devList->resizeColumnToContents(i);
        }
    }
}

void MainWindow::on_actionResize_columns_triggered()
{
    resizeColumnsToContents();
}

void MainWindow::on_actionFont_triggered()
{
    bool accepted = false;
    const QFont font = QFontDialog::getFont(&accepted, asListed(ui->devList->font()), this, QString());
    if (accepted) {
        settings::setValue(settings::listFont, font.toString());
        ui->devList->setFont(font);
    }
}

void MainWindow::onIconSizeChange()
{
    const int size = m_iconSizeGroup->checkedAction()->data().toInt();
    settings::setValue(settings::iconSize, size);
    ui->mainToolBar->setIconSize(QSize(size, size));
}

void MainWindow::on_actionToolbar_triggered(bool checked)
{
    ui->mainToolBar->setVisible(checked);
}

void MainWindow::on_mainToolBar_visibilityChanged(bool visible)
{
    ui->actionToolbar->setChecked(visible);
}

void MainWindow::on_actionStatusbar_triggered(bool checked)
{
    ui->statusBar->setVisible(checked);
}

void MainWindow::on_actionFullscreen_triggered(bool checked)
{
    setWindowState(checked ? windowState() | Qt::WindowFullScreen : windowState() & ~Qt::WindowFullScreen);
    ui->menuBar->setMaximumHeight(checked ? 0 : QWIDGETSIZE_MAX);
}

void MainWindow::onFocusChanged(QWidget *old, QWidget *now)
{
    Q_UNUSED(old)
    if (ui->actionFullscreen->isChecked()) {
        ui->menuBar->setMaximumHeight(isInMenuBar(now, ui->menuBar) ? QWIDGETSIZE_MAX : 0);
    }
}

void MainWindow::on_actionReset_configuration_triggered()
{
    if (PlainMessageBox::question(this, tr("Restore the default configuration of Nembra Hub?"))) {
        QCoreApplication::exit(resetExitCode);
    }
}

void MainWindow::showEvent(QShowEvent *event)
{
    QMainWindow::showEvent(event);
    ui->actionToolbar->setChecked(ui->mainToolBar->isVisible());
    ui->actionFilter->setChecked(ui->filterToolBar->isVisible());
    ui->actionStatusbar->setChecked(ui->statusBar->isVisible());
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    saveView();
    QMainWindow::closeEvent(event);
}

void MainWindow::saveView()
{
    settings::setValue(settings::windowGeometry, saveGeometry());
    settings::setValue(settings::windowState, saveState());
    settings::setValue(settings::sortColumn, ui->devList->sortColumn());
    settings::setValue(settings::sortDescending,
                       static_cast<int>(ui->devList->header()->sortIndicatorOrder()));
    settings::setValue(settings::tableHeader, ui->devList->header()->saveGeometry());
    settings::setValue(settings::tableHeaderState, ui->devList->header()->saveState());
    settings::setValue(settings::statusBarShown, ui->statusBar->isVisible());
    settings::setValue(settings::scanAutoUpdate, ui->actionAuto->isChecked());
}
