#include "common/settings.h"
#include "device/device.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "device/devicelist.h"
#include "dialogseries.h"
#include "discovery/configdialog.h"
#include "discovery/discovery.h"
#include "fleet.h"
#include "mainwindow/mainwindow.h"
#include "mainwindow/settingsdialog.h"
#include "operations/loadhistorydialog.h"
#include "operations/logindevicesdialog.h"
#include "operations/networkoperationsdialog.h"
#include "operations/updatefirmwaredialog.h"
#include "syslog/loglist.h"
#include "syslog/loglistwidget.h"
#include "testenvironment.h"
#include "windowbench.h"

#include <QAbstractButton>
#include <QAbstractScrollArea>
#include <QAbstractSpinBox>
#include <QApplication>
#include <QCalendarWidget>
#include <QCheckBox>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QSizeGrip>
#include <QStyleOption>
#include <QTableWidget>
#include <QToolBar>
#include <QToolButton>
#include <QtTest>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <utility>

namespace {

constexpr int patience = 20000; // milliseconds

// ---- How desktops make a window look
// ------------------------------------------------------------------------

enum class Theme { Light, Dark, Contrast };

QPalette paletteOf(Theme theme)
{
    if (theme == Theme::Light) {
        QPalette palette = QApplication::style()->standardPalette();
        palette.setColor(QPalette::Highlight, QColor(0, 90, 160));
        return palette;
    }
    const bool contrast = theme == Theme::Contrast;
    const QColor window = contrast ? QColor(0, 0, 0) : QColor(49, 54, 59);
    const QColor base = contrast ? QColor(0, 0, 0) : QColor(35, 38, 41);
    QPalette palette(window, window);
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(role, contrast ? Qt::white : QColor(239, 240, 241));
        palette.setColor(QPalette::Disabled, role, Qt::gray);
    }
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::Highlight, contrast ? QColor(255, 255, 0) : QColor(35, 100, 145));
    palette.setColor(QPalette::HighlightedText, contrast ? Qt::black : Qt::white);
    return palette;
}

const QFont &usualFont()
{
    static const QFont font = QApplication::font();
    return font;
}

void setLook(Theme theme, int points, Qt::LayoutDirection direction)
{
    QApplication::setPalette(paletteOf(theme));
    QFont font = usualFont();
    font.setPointSize(points);
    QApplication::setFont(font);
    QApplication::setLayoutDirection(direction);
}

// ---- What is wrong with a layout
// ----------------------------------------------------------------------------

QString nameOf(const QWidget &widget)
{
    return QStringLiteral("%1 %2").arg(QLatin1String(widget.metaObject()->className()), widget.objectName());
}

QString sizeText(const QSize &size)
{
    return QStringLiteral("%1x%2").arg(size.width()).arg(size.height());
}

bool isSmaller(const QSize &size, const QSize &needed)
{
    return size.width() < needed.width() || size.height() < needed.height();
}

/// What the widget needs so that all of its text is seen.
QSize neededSize(const QWidget &widget)
{
    const auto *const label = qobject_cast<const QLabel *>(&widget);
    if (label && label->wordWrap()) {
        return {label->minimumSizeHint().width(), label->heightForWidth(label->width())};
    }
    const bool holdsOneText = label || qobject_cast<const QAbstractButton *>(&widget);
    return holdsOneText ? widget.sizeHint() : widget.minimumSizeHint().boundedTo(widget.maximumSize());
}

QStringList cutHeadings(const QTableWidget &table)
{
    QStringList faults;
    for (int column = 0; column < table.columnCount(); ++column) {
        const int needed = table.horizontalHeader()->sectionSizeHint(column);
        if (table.columnWidth(column) < needed) {
            faults += QStringLiteral("column %1 is too narrow").arg(column);
        }
    }
    if (table.rowCount() > 0 && table.rowHeight(0) < table.fontMetrics().height()) {
        faults += QStringLiteral("rows are too low");
    }
    return faults;
}

QList<QWidget *> visibleParts(const QWidget &widget)
{
    QList<QWidget *> parts = widget.findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly);
    // A size grip is in the corner, where the margins of the layouts are.
    const auto isNoPart = [](const QWidget *part) {
        return part->isWindow() || !part->isVisible() || qobject_cast<const QSizeGrip *>(part);
    };
    parts.erase(std::remove_if(parts.begin(), parts.end(), isNoPart), parts.end());
    return parts;
}

/// What is in it is the toolkit's own, and lies upon each other on purpose.
bool isClosed(const QWidget &widget)
{
    return qobject_cast<const QAbstractScrollArea *>(&widget) ||
           qobject_cast<const QAbstractSpinBox *>(&widget) || qobject_cast<const QComboBox *>(&widget) ||
           qobject_cast<const QLineEdit *>(&widget) || qobject_cast<const QMenuBar *>(&widget);
}

QStringList layoutFaults(const QWidget &widget)
{
    QStringList faults;
    if (isSmaller(widget.size(), neededSize(widget))) {
        faults += QStringLiteral("%1 is %2 and needs %3")
                      .arg(nameOf(widget), sizeText(widget.size()), sizeText(neededSize(widget)));
    }
    if (const auto *const table = qobject_cast<const QTableWidget *>(&widget)) {
        faults += cutHeadings(*table);
    }
    if (isClosed(widget)) {
        return faults;
    }
    const QList<QWidget *> parts = visibleParts(widget);
    for (int i = 0; i < parts.size(); ++i) {
        for (int j = i + 1; j < parts.size(); ++j) {
            if (parts.at(i)->geometry().intersects(parts.at(j)->geometry())) {
                faults += nameOf(*parts.at(i)) + QLatin1String(" lies upon ") + nameOf(*parts.at(j));
            }
        }
        if (!widget.rect().contains(parts.at(i)->geometry())) {
            faults += nameOf(*parts.at(i)) + QLatin1String(" reaches beyond ") + nameOf(widget);
        }
        faults += layoutFaults(*parts.at(i));
    }
    return faults;
}

/// Even with the biggest writing a small screen must do, on which there are a frame and a title, too.
QStringList windowFaults(const QWidget &window)
{
    const QSize screen = QSize(1280, 720) - QSize(2, 22);
    QStringList faults = layoutFaults(window);
    if (isSmaller(screen, window.size())) {
        faults += QLatin1String("the window is ") + sizeText(window.size());
    }
    return faults;
}

// ---- What can't be read
// -------------------------------------------------------------------------------------

double linear(int part)
{
    const double share = part / 255.0;
    return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
}

double luminance(QRgb color)
{
    return 0.2126 * linear(qRed(color)) + 0.7152 * linear(qGreen(color)) + 0.0722 * linear(qBlue(color));
}

double contrastBetween(QRgb one, QRgb other)
{
    const double first = luminance(one) + 0.05;
    const double second = luminance(other) + 0.05;
    return std::max(first, second) / std::min(first, second);
}

/// Between the ground, which is what there is most of, and what stands out most from it.
double contrastIn(const QImage &picture)
{
    QHash<QRgb, int> counts;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            ++counts[picture.pixel(x, y)];
        }
    }
    QRgb ground = 0;
    for (auto color = counts.constBegin(); color != counts.constEnd(); ++color) {
        ground = color.value() > counts.value(ground) ? color.key() : ground;
    }
    double highest = 1.0;
    for (auto color = counts.constBegin(); color != counts.constEnd(); ++color) {
        highest = std::max(highest, contrastBetween(color.key(), ground));
    }
    return highest;
}

struct Writing
{
    const QWidget *widget;
    QRect place;
    QString text;
};

/// The frames of fields and buttons stand out from their ground, too, so they are left out.
constexpr int frame = 5; // pixels

/// Whether the cell is all in view, and is not one of those that are faint because nothing can be done with
/// them, such as the days of other months.
bool isMeantToBeRead(const QAbstractItemView &view, const QModelIndex &index)
{
    const QVariant color = index.data(Qt::ForegroundRole);
    return index.flags().testFlag(Qt::ItemIsEnabled) && !index.data().toString().isEmpty() &&
           view.viewport()->rect().contains(view.visualRect(index)) &&
           (!color.isValid() ||
            color.value<QBrush>().color() != view.palette().color(QPalette::Disabled, QPalette::Text));
}

QVector<Writing> cellsOf(const QAbstractItemView &view)
{
    QVector<Writing> cells;
    const QAbstractItemModel &model = *view.model();
    for (int row = 0; row < model.rowCount(); ++row) {
        for (int column = 0; column < model.columnCount(); ++column) {
            const QModelIndex index = model.index(row, column);
            if (isMeantToBeRead(view, index)) {
                cells +=
                    {view.viewport(), view.visualRect(index).adjusted(2, 2, -2, -2), index.data().toString()};
            }
        }
    }
    return cells;
}

QVector<Writing> writingOf(const QWidget &widget)
{
    const auto *const tool = qobject_cast<const QToolButton *>(&widget);
    if (!widget.isEnabled() || (tool && tool->toolButtonStyle() == Qt::ToolButtonIconOnly)) {
        return {};
    }
    if (const auto *const view = qobject_cast<const QAbstractItemView *>(&widget)) {
        return cellsOf(*view);
    }
    if (const auto *const label = qobject_cast<const QLabel *>(&widget)) {
        return {{label, label->contentsRect(), label->text()}};
    }
    if (const auto *const box = qobject_cast<const QCheckBox *>(&widget)) {
        QStyleOptionButton option;
        option.initFrom(box);
        return {{box, box->style()->subElementRect(QStyle::SE_CheckBoxContents, &option, box), box->text()}};
    }
    const QRect inside = widget.rect().adjusted(frame, frame, -frame, -frame);
    if (const auto *const button = qobject_cast<const QAbstractButton *>(&widget)) {
        return {{button, inside, button->text()}};
    }
    if (const auto *const field = qobject_cast<const QLineEdit *>(&widget)) {
        return {{field, inside, field->text()}};
    }
    return {};
}

QStringList contrastFaults(QWidget &window)
{
    constexpr double least = 4.5;
    QStringList faults;
    const QImage picture = window.grab().toImage();
    const QList<QWidget *> widgets = window.findChildren<QWidget *>();
    for (const QWidget *const widget : widgets) {
        const QVector<Writing> writings =
            widget->isVisible() && widget->window() == &window ? writingOf(*widget) : QVector<Writing>();
        for (const Writing &writing : writings) {
            const QRect place(writing.widget->mapTo(&window, writing.place.topLeft()), writing.place.size());
            const double contrast = contrastIn(picture.copy(place));
            if (!writing.text.trimmed().isEmpty() && contrast < least) {
                faults +=
                    QStringLiteral("%1 '%2': %3").arg(nameOf(*widget), writing.text).arg(contrast, 0, 'f', 1);
            }
        }
    }
    return faults;
}

// ---- What the keyboard reaches
// ------------------------------------------------------------------------------

/// The part of the dialog that holds the widget.
const QWidget *partWith(const QWidget *widget, const QWidget &dialog)
{
    while (widget && widget->parentWidget() != &dialog) {
        widget = widget->parentWidget();
    }
    return widget;
}

/// Whether one reads `next` after `part`: below it, or beside it in the direction of reading.
bool isReadAfter(const QWidget &next, const QWidget &part)
{
    if (next.y() > part.geometry().bottom()) {
        return true;
    }
    const bool isBeside = next.geometry().bottom() >= part.y();
    const bool mirrored = QApplication::isRightToLeft();
    return isBeside && (mirrored ? next.x() < part.x() : next.x() > part.x());
}

/// What has the focus after each Tab, once around.
QVector<QWidget *> tabRound(QWidget &dialog)
{
    constexpr int most = 100;
    QVector<QWidget *> round;
    for (int i = 0; i < most; ++i) {
        QWidget *const focus = dialog.focusWidget();
        if (round.contains(focus)) {
            break;
        }
        if (focus) {
            round += focus;
        }
        QTest::keyClick(focus ? focus : &dialog, Qt::Key_Tab);
    }
    return round;
}

/// Whether the user needs it and gets nowhere else what it does.
bool mustBeReached(const QWidget &widget)
{
    if (!widget.isVisible() || !widget.isEnabled()) {
        return false;
    }
    // The keys of the calendar and of the fields do what the buttons in them do.
    const QObject *const holder = widget.parent()->parent();
    if (qobject_cast<const QCalendarWidget *>(holder) || isClosed(*widget.parentWidget())) {
        return false;
    }
    return qobject_cast<const QAbstractButton *>(&widget) ||
           (widget.focusPolicy() & Qt::TabFocus) == Qt::TabFocus;
}

QStringList keyboardFaults(QWidget &dialog)
{
    QStringList faults;
    QVector<QWidget *> round = tabRound(dialog);
    const QList<QWidget *> widgets = dialog.findChildren<QWidget *>();
    for (QWidget *const widget : widgets) {
        const QWidget *const proxy = widget->focusProxy();
        if (mustBeReached(*widget) && !proxy && !round.contains(widget)) {
            faults += nameOf(*widget) + QLatin1String(" is not reached");
        }
    }
    // A link is no input: it comes after all of them.
    const auto isLink = [](const QWidget *widget) { return qobject_cast<const QLabel *>(widget); };
    round.erase(std::remove_if(round.begin(), round.end(), isLink), round.end());
    int backwards = 0;
    for (int i = 0; i < round.size(); ++i) {
        const QWidget *const part = partWith(round.at(i), dialog);
        const QWidget *const next = partWith(round.at((i + 1) % round.size()), dialog);
        if (part && next && part != next && !isReadAfter(*next, *part)) {
            ++backwards;
            faults += nameOf(*part) + QLatin1String(" leads back to ") + nameOf(*next);
        }
    }
    // Once, from the last one to the first.
    return backwards == 1 && faults.size() == 1 ? QStringList() : faults;
}

} // namespace

using Show = std::function<void(const QList<Device *> &, Discovery &)>;
Q_DECLARE_METATYPE(Show)
Q_DECLARE_METATYPE(Theme)

/// How the windows look in the themes, fonts and directions that desktops have, and whether the keyboard is
/// enough for them.
class TestAppearance final : public QObject, private WindowTest
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void cleanupTestCase();

    void hasRoomForEverything_data();
    void hasRoomForEverything();
    void hasRoomInTheMainWindow_data();
    void hasRoomInTheMainWindow();
    void canBeRead_data();
    void canBeRead();
    void canBeReadInTheList_data();
    void canBeReadInTheList();
    void hasRoomForTheTitle_data();
    void hasRoomForTheTitle();
    void needsNoMouse_data();
    void needsNoMouse();

private:
    using Look = std::function<QStringList(QWidget &)>;
    /// What the look at a dialog finds.
    QStringList faultsOf(const Show &show, const Look &look);
};

namespace {

QVector<std::pair<const char *, Show>> dialogs()
{
    return {
        {"scan options", [](const QList<Device *> &, Discovery &) { SettingsDialog(nullptr).exec(); }},
        {"network configuration",
         [](const QList<Device *> &devices, Discovery &) {
             CConfigDialog dialog(nullptr);
             dialog.showRecord(devices.first()->record());
             dialog.exec();
         }},
        {"login", [](const QList<Device *> &devices,
                     Discovery &) { LoginDevicesDialog(devices, AccessLevel::WriteConfig, nullptr).exec(); }},
        {"configurations",
         [](const QList<Device *> &devices, Discovery &) {
             NetworkOperationsDialog::uploadConfig("[system]", devices, nullptr);
         }},
        {"history", [](const QList<Device *> &devices,
                       Discovery &) { LoadHistoryDialog::downloadHistory(devices, nullptr); }},
        {"firmware", [](const QList<Device *> &devices,
                        Discovery &discovery) { UpdateFirmwareDialog(devices, discovery, nullptr).exec(); }},
        {"syslog",
         [](const QList<Device *> &, Discovery &) {
             CLogList log(nullptr);
             log.findChild<CLogListWidget *>()->append({{0, "sensor 2 above limit"}, {1, "link up"}});
             log.exec();
         }},
    };
}

void addLooks(const char *window, const Show &show)
{
    using Named = std::pair<const char *, Theme>;
    for (const Named &theme : {Named("light", Theme::Light), Named("dark", Theme::Dark),
                               Named("high contrast", Theme::Contrast)}) {
        for (const int points : {6, 10, 24}) {
            for (const Qt::LayoutDirection direction : {Qt::LeftToRight, Qt::RightToLeft}) {
                QTest::addRow("%s, %s, %d points%s", window, theme.first, points,
                              direction == Qt::RightToLeft ? ", mirrored" : "")
                    << show << theme.second << points << direction;
            }
        }
    }
}

void addLookColumns()
{
    QTest::addColumn<Show>("show");
    QTest::addColumn<Theme>("theme");
    QTest::addColumn<int>("points");
    QTest::addColumn<Qt::LayoutDirection>("direction");
}

void addThemes()
{
    QTest::newRow("light") << Theme::Light;
    QTest::newRow("dark") << Theme::Dark;
    QTest::newRow("high contrast") << Theme::Contrast;
}

/// In which the lines of letters are some pixels wide, so that their colour is seen.
constexpr int bigPoints = 24;

} // namespace

void TestAppearance::initTestCase()
{
    QApplication::setStyle(QStringLiteral("Fusion"));
    // Start-up names the program; the system adds that to the titles.
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Nembra Hub"));
    usualFont();
    open();
    m_fleet = std::make_unique<simulator::Fleet>();
    simulator::DeviceOptions warning;
    simulator::Sensor tooHot;
    tooHot.status = "2";
    warning.sensors = std::vector<simulator::Sensor>{tooHot, simulator::Sensor()};
    m_fleet->addDevices(3, warning);
    m_fleet->start();
    m_bench = std::make_unique<WindowBench>();
    const auto isRead = [this] {
        const QStringList statuses = m_bench->column(Column::Status);
        return statuses.count(QStringLiteral("200 OK")) == 3;
    };
    QTRY_VERIFY_WITH_TIMEOUT(isRead(), patience);
}

void TestAppearance::cleanup()
{
    // The next dialog must come as it comes at first.
    settings::store().clear();
    setLook(Theme::Light, usualFont().pointSize(), Qt::LeftToRight);
}

void TestAppearance::cleanupTestCase()
{
    close();
}

QStringList TestAppearance::faultsOf(const Show &show, const Look &look)
{
    QList<Device *> devices;
    for (int row = 0; row < m_bench->list().topLevelItemCount(); ++row) {
        devices += &static_cast<DeviceItem *>(m_bench->list().topLevelItem(row))->device();
    }
    QStringList faults{QStringLiteral("nothing was looked at")};
    DialogSeries series;
    series.then([&](QWidget *dialog) {
        // What is transferred comes to its end first.
        const auto *const close = dialogstep::in<QPushButton>(dialog, "pushButtonClose");
        if (!dialog->isActiveWindow() || (close && !close->isEnabled())) {
            return;
        }
        faults = look(*dialog);
        dialogstep::cancel(dialog);
    });
    Discovery discovery(9806);
    show(devices, discovery);
    return faults;
}

void TestAppearance::hasRoomForEverything_data()
{
    addLookColumns();
    const QVector<std::pair<const char *, Show>> all = dialogs();
    for (const auto &dialog : all) {
        addLooks(dialog.first, dialog.second);
    }
    addLooks("about",
             [this](const QList<Device *> &, Discovery &) { m_bench->trigger("actionAbout_NembraHub"); });
}

void TestAppearance::hasRoomForEverything()
{
    QFETCH(Show, show);
    QFETCH(Theme, theme);
    QFETCH(int, points);
    QFETCH(Qt::LayoutDirection, direction);
    setLook(theme, points, direction);
    QCOMPARE(faultsOf(show, windowFaults).join(QStringLiteral("; ")), QString());
}

void TestAppearance::hasRoomInTheMainWindow_data()
{
    addLookColumns();
    addLooks("main window", Show());
}

void TestAppearance::hasRoomInTheMainWindow()
{
    QFETCH(Theme, theme);
    QFETCH(int, points);
    QFETCH(Qt::LayoutDirection, direction);
    setLook(theme, points, direction);
    m_bench->list().setFont(QApplication::font());
    MainWindow &window = m_bench->window();
    QTRY_COMPARE_WITH_TIMEOUT(windowFaults(window).join(QStringLiteral("; ")), QString(), patience);
    const auto *const list = &m_bench->list();
    QVERIFY(list->visualItemRect(list->topLevelItem(0)).height() >= list->fontMetrics().height());
}

void TestAppearance::canBeRead_data()
{
    QTest::addColumn<Show>("show");
    QTest::addColumn<Theme>("theme");
    const QVector<std::pair<const char *, Show>> all = dialogs();
    for (const auto &dialog : all) {
        QTest::addRow("%s, light", dialog.first) << dialog.second << Theme::Light;
        QTest::addRow("%s, dark", dialog.first) << dialog.second << Theme::Dark;
        QTest::addRow("%s, high contrast", dialog.first) << dialog.second << Theme::Contrast;
    }
}

void TestAppearance::canBeRead()
{
    QFETCH(Show, show);
    QFETCH(Theme, theme);
    settings::store().setValue(QStringLiteral("FirmwareDir"), QStringLiteral("/nowhere"));
    setLook(theme, bigPoints, Qt::LeftToRight);
    QCOMPARE(faultsOf(show, contrastFaults).join(QStringLiteral("; ")), QString());
}

void TestAppearance::canBeReadInTheList_data()
{
    QTest::addColumn<Theme>("theme");
    addThemes();
}

void TestAppearance::canBeReadInTheList()
{
    QFETCH(Theme, theme);
    setLook(theme, bigPoints, Qt::LeftToRight);
    DeviceList &list = m_bench->list();
    list.setFont(QApplication::font());
    list.clearSelection();
    list.setCurrentItem(nullptr);
    for (const int column : {int{Column::Status}, int{Column::Sensor1}, Column::Sensor1 + 1}) {
        list.setColumnHidden(column, false);
    }
    m_bench->trigger("actionResize_columns");
    m_bench->window().resize(2400, 700);
    // Recent, some time ago, long ago: in three colours.
    for (int row = 0; row < 3; ++row) {
        Device &device = static_cast<DeviceItem *>(list.topLevelItem(row))->device();
        device.resetDiscoveryAge();
        device.resetDataAge();
        device.resetWebAge();
        device.addAge(2 * row);
    }
    const auto faults = [this] {
        QStringList found = contrastFaults(m_bench->window());
        // A warning is red, which is a little less than that on white and on yellow; its sign says the same.
        const auto isWarning = [](const QString &fault) {
            return fault.contains(QChar(0x21A5)) && fault.section(QLatin1String("': "), 1).toDouble() >= 3.0;
        };
        found.erase(std::remove_if(found.begin(), found.end(), isWarning), found.end());
        return found.join(QStringLiteral("; "));
    };
    QTRY_COMPARE_WITH_TIMEOUT(faults(), QString(), patience);
}

void TestAppearance::hasRoomForTheTitle_data()
{
    QTest::addColumn<int>("points");
    for (const int points : {9, 10, 24}) {
        QTest::addRow("%d points", points) << points;
    }
}

void TestAppearance::hasRoomForTheTitle()
{
    QFETCH(int, points);
    setLook(Theme::Light, points, Qt::LeftToRight);
    const Show show = [](const QList<Device *> &, Discovery &) { CConfigDialog(nullptr).exec(); };
    const QStringList faults = faultsOf(show, [](QWidget &dialog) {
        QFont bold = dialog.font();
        bold.setBold(true);
        // The icon and three buttons, each as wide as it is high.
        const int beside = 4 * dialog.fontMetrics().height();
        const QString title = QStringLiteral("Network Configuration \u2014 Nembra Hub");
        const int needed = QFontMetrics(bold).horizontalAdvance(title) + beside;
        return dialog.width() >= needed ? QStringList() : QStringList(sizeText(dialog.size()));
    });
    QCOMPARE(faults, QStringList());
}

void TestAppearance::needsNoMouse_data()
{
    QTest::addColumn<Show>("show");
    QTest::addColumn<Qt::LayoutDirection>("direction");
    const QVector<std::pair<const char *, Show>> all = dialogs();
    for (const auto &dialog : all) {
        QTest::addRow("%s", dialog.first) << dialog.second << Qt::LeftToRight;
        QTest::addRow("%s, mirrored", dialog.first) << dialog.second << Qt::RightToLeft;
    }
}

void TestAppearance::needsNoMouse()
{
    QFETCH(Show, show);
    QFETCH(Qt::LayoutDirection, direction);
    setLook(Theme::Light, usualFont().pointSize(), direction);
    QCOMPARE(faultsOf(show, keyboardFaults).join(QStringLiteral("; ")), QString());
}

NEMBRA_GUI_TEST_MAIN(TestAppearance)
#include "tst_appearance.moc"
