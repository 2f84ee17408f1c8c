#include "common/settings.h"
#include "common/translations.h"
#include "device/devicecolumns.h"
#include "device/deviceitem.h"
#include "eventloopwatch.h"
#include "faultmatrix.h"
#include "mainwindow/mainwindow.h"
#include "operations/updatefirmwaredialog.h"
#include "syslog/loglist.h"
#include "testenvironment.h"
#include "thisprocess.h"
#include "windowbench.h"

#include <QAbstractButton>
#include <QAbstractSpinBox>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileDialog>
#include <QHeaderView>
#include <QInputMethodEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLoggingCategory>
#include <QMenu>
#include <QMessageBox>
#include <QPointer>
#include <QRegularExpression>
#include <QSpinBox>
#include <QStatusBar>
#include <QtTest>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <vector>

using namespace std::chrono_literals;
using simulator::Fault;

namespace {

constexpr int deviceCount = 24;
/// Of a walk that takes some ten seconds.
constexpr int usualActions = 1200;
constexpr unsigned usualSeed = 20260301;
/// Milliseconds of work in one turn of the event loop. More is felt as standing still; a build with
/// sanitizers is several times as slow.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int longestTurn = 10000;
#else
constexpr int longestTurn = 2000;
#endif
/// Milliseconds in which all that is open must go when the user wants to leave.
constexpr int leavingTime = 60000;
/// Milliseconds for what is over to go.
constexpr int patience = 30000;

int fromEnvironment(const char *name, int fallback)
{
    bool isNumber = false;
    const int value = qEnvironmentVariableIntValue(name, &isNumber);
    return isNumber ? value : fallback;
}

int descriptorCount()
{
    return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::System | QDir::Files).size();
}

QString described(const QWidget *widget)
{
    return widget ? QLatin1String(widget->metaObject()->className()) + QLatin1Char(' ') +
                        widget->objectName() + QLatin1Char(' ') + widget->windowTitle()
                  : QStringLiteral("nothing");
}

/// What a user types where a text is asked for.
const QStringList &texts()
{
    static const QStringList all{QStringLiteral("admin"),
                                 QStringLiteral("service"),
                                 QStringLiteral("none"),
                                 QString(),
                                 QStringLiteral("lab"),
                                 QStringLiteral("^.*[0-9]+$"),
                                 QStringLiteral("("),
                                 QStringLiteral("<b>&amp;</b>%1%n"),
                                 QStringLiteral("10.77.128.3"),
                                 QStringLiteral("0E:5A:11:00:00:03"),
                                 QStringLiteral("\u00e4\u20ac\u202e"),
                                 QString(3000, QLatin1Char('x'))};
    return all;
}

} // namespace

/// A user who does anything at all, one action after the other, in windows and dialogs alike. Each action
/// starts from the event loop that happens to run: that of the program, or that of a modal dialog or a menu.
class Walker final : public QObject
{
public:
    Walker(unsigned seed, int actions, simulator::Fleet &fleet, QString directory)
        : m_random(seed)
        , m_seed(seed)
        , m_actionsLeft(actions)
        , m_fleet(fleet)
        , m_directory(std::move(directory))
    {
        setUpActions();
    }

    /// The program: a window, and a new one whenever it is closed or its configuration reset.
    void walk();
    /// The first thing that was wrong; empty if nothing was.
    QString failure() const { return m_failure; }
    int actionCount() const { return m_number; }

private:
    struct Action
    {
        const char *name;
        int weight;
        std::function<void()> act;
    };

    int upTo(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }
    bool oneIn(int count) { return upTo(count) == 0; }
    template <typename List>
    auto anyOf(const List &list)
    {
        return *std::next(list.begin(), upTo(static_cast<int>(list.size())));
    }

    void setUpActions();
    void step();
    void act();
    void leave();
    void check();
    void fail(const QString &text);
    void note(const QString &text);

    // What is on the screen.
    void useWindow();
    void useMenu(QWidget *menu);
    void useDialog(QWidget *dialog);
    void useFiles(QDialog *dialog);
    void usePart(QWidget *dialog);
    void trigger(const char *name);
    void triggerAnyOf(const char *menu);
    void key(QWidget *widget, Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
    void click(QWidget *widget, const QPoint &point, Qt::KeyboardModifiers modifiers);
    void clickRow();
    void selectActive();
    void clickHeader();
    void contextMenu(QWidget *widget);
    void filter();
    void misbehave();
    DeviceList &list() const;

    std::mt19937 m_random;
    const unsigned m_seed;
    int m_actionsLeft;
    int m_number = 0;
    bool m_isLeaving = false;
    QElapsedTimer m_leavingSince;
    /// What had to go at that time.
    QPointer<QWidget> m_lastDialog;
    QString m_failure;
    QPointer<MainWindow> m_window;
    simulator::Fleet &m_fleet;
    const QString m_directory;
    std::vector<Action> m_actions;
    EventLoopWatch m_watch;
};

DeviceList &Walker::list() const
{
    return *m_window->findChild<DeviceList *>(QStringLiteral("devList"));
}

void Walker::note(const QString &text)
{
    std::printf("walk %u, action %d: %s\n", m_seed, m_number, qPrintable(text));
    std::fflush(stdout);
}

void Walker::fail(const QString &text)
{
    if (m_failure.isEmpty()) {
        m_failure = QStringLiteral("walk %1, action %2: %3").arg(m_seed).arg(m_number).arg(text);
        note(QStringLiteral("FAILED: ") + text);
        m_isLeaving = true;
    }
}

void Walker::setUpActions()
{
    const auto launch = [this](const char *name, int weight) {
        m_actions.push_back({name, weight, [this, name] { trigger(name); }});
    };
    const auto operate = [this](const char *name) {
        m_actions.push_back({name, 5, [this, name] {
                                 selectActive();
                                 trigger(name);
                             }});
    };
    m_actions = {
        {"click on a row", 12, [this] { clickRow(); }},
        {"click on a header", 4, [this] { clickHeader(); }},
        {"filter", 8, [this] { filter(); }},
        {"menu of the list", 3, [this] { contextMenu(list().viewport()); }},
        {"menu of the header", 2, [this] { contextMenu(list().header()->viewport()); }},
        {"a column", 4, [this] { triggerAnyOf("menuVisible_columns"); }},
        {"a language", 3, [this] { triggerAnyOf("menuLanguage"); }},
        {"an icon size", 2, [this] { triggerAnyOf("menu_Icons"); }},
        {"key down", 3,
         [this] { key(&list(), Qt::Key_Down, oneIn(2) ? Qt::ShiftModifier : Qt::NoModifier); }},
        {"key up", 2, [this] { key(&list(), Qt::Key_Up, oneIn(2) ? Qt::ShiftModifier : Qt::NoModifier); }},
        {"key end", 1, [this] { key(&list(), Qt::Key_End, Qt::ShiftModifier); }},
        {"a size", 2, [this] { m_window->resize(200 + upTo(1200), 150 + upTo(700)); }},
        {"the fleet misbehaves", 14, [this] { misbehave(); }},
        {"minimized and back", 1,
         [this] {
             m_window->showMinimized();
             m_window->showup();
         }},
    };
    for (const char *const name :
         {"actionSet_Login", "actionSave_Configs", "actionSave_with_passwords", "actionDownload_CSV",
          "actionUpload_config", "actionUpdate_Firmware", "actionConfigureDevice"}) {
        operate(name);
    }
    for (const char *const name :
         {"actionProgram_options", "actionSelect_all", "actionSyslog", "actionAuto"}) {
        launch(name, 3);
    }
    for (const char *const name :
         {"actionFont", "actionAbout_NembraHub", "actionAbout_QT", "actionWeb_interface",
          "actionReset_configuration", "actionToolbar", "actionStatusbar", "actionFullscreen", "actionFilter",
          "actionFilterClose", "actionResize_columns", "actionSave_list"}) {
        launch(name, 2);
    }
    launch("actionDiscover_devices", 16);
    launch("actionRemove", 3);
    launch("actionExit", 1);
}

void Walker::walk()
{
    QTimer::singleShot(0, this, &Walker::step);
    while (!m_isLeaving || m_window) {
        Translations::instance()->load(settings::value(settings::language));
        int result = 0;
        {
            MainWindow window(m_directory + QStringLiteral("/devices.json"));
            m_window = &window;
            window.show();
            result = QApplication::exec();
        }
        if (result == MainWindow::resetExitCode) {
            settings::store().clear();
        }
        check();
        if (m_isLeaving) {
            return;
        }
    }
}

void Walker::step()
{
    // First: an action may run an event loop of its own, in which the next one comes.
    QTimer::singleShot(oneIn(8) ? upTo(20) : 0, this, &Walker::step);
    check();
    if (m_watch.longestWork() > longestTurn) {
        fail(QStringLiteral("the event loop stood still for %1 ms").arg(m_watch.longestWork()));
    }
    if (m_isLeaving) {
        leave();
        return;
    }
    if (m_actionsLeft-- == 0) {
        m_isLeaving = true;
        return;
    }
    ++m_number;
    act();
}

void Walker::act()
{
    if (QWidget *const menu = QApplication::activePopupWidget()) {
        useMenu(menu);
    } else if (QWidget *const dialog = QApplication::activeModalWidget()) {
        useDialog(dialog);
    } else if (!m_window || !m_window->isVisible()) {
        // Closed, the program runs as long as the log is open, and can be called to the front.
        const auto logs = QApplication::topLevelWidgets();
        for (QWidget *const log : logs) {
            if (qobject_cast<CLogList *>(log) && log->isVisible()) {
                note(QStringLiteral("the log alone is closed, or the window called back"));
                if (m_window && oneIn(2)) {
                    m_window->showup();
                } else {
                    log->close();
                }
                return;
            }
        }
    } else {
        useWindow();
    }
}

void Walker::leave()
{
    QWidget *const dialog = QApplication::activeModalWidget();
    if (!m_leavingSince.isValid() || dialog != m_lastDialog) {
        // Each of several dialogs may take its time.
        m_leavingSince.start();
        m_lastDialog = dialog;
        note(QStringLiteral("leaves ") + described(dialog));
    }
    if (m_leavingSince.hasExpired(leavingTime)) {
        qFatal("walk %u, action %d: %s can't be left", m_seed, m_number, qPrintable(described(dialog)));
    }
    if (QWidget *const menu = QApplication::activePopupWidget()) {
        menu->close();
    } else if (dialog) {
        auto *const cancel = dialog->findChild<QAbstractButton *>(QStringLiteral("pushButtonCancel"));
        if (cancel && cancel->isEnabled()) {
            cancel->click();
        } else {
            dialog->close();
        }
    } else {
        QApplication::closeAllWindows();
    }
}

/// What must hold whatever was done.
void Walker::check()
{
    const QWidget *const modal = QApplication::activeModalWidget();
    const QWidgetList windows = QApplication::topLevelWidgets();
    int visibleDialogs = 0;
    for (const QWidget *const window : windows) {
        const bool isDialog =
            qobject_cast<const QDialog *>(window) && !qobject_cast<const CLogList *>(window);
        visibleDialogs += isDialog && window->isVisible() ? 1 : 0;
        if (isDialog && window->isVisible() && !modal) {
            fail(QStringLiteral("nobody waits for ") + described(window));
        }
    }
    if (modal && !modal->isVisible()) {
        fail(QStringLiteral("nobody sees ") + described(modal));
    }
    // A file dialog in a dialog, a question of that, and one more.
    constexpr int deepest = 4;
    if (visibleDialogs > deepest) {
        fail(QStringLiteral("too many dialogs: %1").arg(visibleDialogs));
    }
    if (!m_window) {
        return;
    }
    QString status;
    const QList<QLabel *> labels = m_window->findChild<QStatusBar *>()->findChildren<QLabel *>();
    for (const QLabel *const label : labels) {
        status += label->text();
    }
    static const QRegularExpression counts(QStringLiteral("(\\d+)/(\\d+)"));
    const QRegularExpressionMatch match = counts.match(status);
    const int rows = list().topLevelItemCount();
    if (match.captured(2) != QString::number(rows) || match.captured(1).toInt() > rows) {
        fail(QStringLiteral("the status bar says \"%1\" of %2 rows").arg(status).arg(rows));
    }
}

void Walker::useWindow()
{
    int total = 0;
    for (const Action &action : m_actions) {
        total += action.weight;
    }
    int chosen = upTo(total);
    for (const Action &action : m_actions) {
        chosen -= action.weight;
        if (chosen < 0) {
            note(QLatin1String(action.name));
            action.act();
            return;
        }
    }
}

void Walker::trigger(const char *name)
{
    auto *const action = m_window->findChild<QAction *>(QLatin1String(name));
    if (!action) {
        fail(QLatin1String("there is no ") + QLatin1String(name));
    } else if (action->isEnabled()) {
        if (qstrcmp(name, "actionDiscover_devices") == 0) {
            // A device that hangs is asked anew soon, not after twenty seconds.
            for (int row = 0; row < list().topLevelItemCount(); ++row) {
                static_cast<DeviceItem *>(list().topLevelItem(row))->device().setGiveUpAge(50ms);
            }
        }
        action->trigger();
    }
}

void Walker::triggerAnyOf(const char *menu)
{
    const QList<QAction *> actions = m_window->findChild<QMenu *>(QLatin1String(menu))->actions();
    if (!actions.isEmpty()) {
        QAction *const action = anyOf(actions);
        note(QStringLiteral("... ") + action->text());
        action->trigger();
    }
}

void Walker::key(QWidget *widget, Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    QTest::keyClick(widget, key, modifiers);
}

void Walker::click(QWidget *widget, const QPoint &point, Qt::KeyboardModifiers modifiers)
{
    if (oneIn(10)) {
        QTest::mouseDClick(widget, Qt::LeftButton, modifiers, point);
    } else {
        QTest::mouseClick(widget, Qt::LeftButton, modifiers, point);
    }
}

void Walker::clickRow()
{
    const std::vector<Qt::KeyboardModifiers> modifiers{Qt::NoModifier, Qt::ControlModifier,
                                                       Qt::ShiftModifier};
    QWidget *const viewport = list().viewport();
    const QPoint point(upTo(std::max(1, viewport->width())), upTo(std::max(1, viewport->height())));
    click(viewport, point, anyOf(modifiers));
}

/// Most often what is selected is something to work with.
void Walker::selectActive()
{
    if (oneIn(4)) {
        return;
    }
    QVector<DeviceItem *> active;
    for (int row = 0; row < list().topLevelItemCount(); ++row) {
        auto *const item = static_cast<DeviceItem *>(list().topLevelItem(row));
        if (!item->isHidden() && item->device().webAge() < 2) {
            active += item;
        }
    }
    for (int count = active.isEmpty() ? 0 : 1 + upTo(4); count > 0; --count) {
        QTreeWidgetItem *const item = anyOf(active);
        list().scrollToItem(item);
        const QPoint point = list().visualItemRect(item).center();
        const QPoint visible(std::min(point.x(), list().viewport()->width() / 2), point.y());
        QTest::mouseClick(list().viewport(), Qt::LeftButton, oneIn(2) ? Qt::ControlModifier : Qt::NoModifier,
                          visible);
    }
}

void Walker::clickHeader()
{
    QWidget *const viewport = list().header()->viewport();
    const QPoint point(upTo(std::max(1, viewport->width())), viewport->height() / 2);
    if (oneIn(3)) {
        // A section is moved, or made wider.
        QTest::mousePress(viewport, Qt::LeftButton, Qt::NoModifier, point);
        QTest::mouseMove(viewport, point + QPoint(upTo(200) - 100, 0));
        QTest::mouseRelease(viewport, Qt::LeftButton, Qt::NoModifier, point + QPoint(upTo(200) - 100, 0));
    } else {
        click(viewport, point, Qt::NoModifier);
    }
}

void Walker::contextMenu(QWidget *widget)
{
    const QPoint point = widget->rect().center();
    QContextMenuEvent event(QContextMenuEvent::Mouse, point, widget->mapToGlobal(point));
    QApplication::sendEvent(widget, &event);
}

void Walker::filter()
{
    auto *const bar = m_window->findChild<QWidget *>(QStringLiteral("filterToolBar"));
    auto *const edit = bar->findChild<QLineEdit *>();
    if (!edit || !edit->isVisible()) {
        trigger("actionFilter");
        return;
    }
    edit->setFocus();
    edit->clear();
    const QString text = anyOf(texts()).left(40);
    const auto isPlain = [](QChar c) { return c.unicode() < 0x80; };
    if (std::all_of(text.begin(), text.end(), isPlain)) {
        QTest::keyClicks(edit, text);
    } else {
        // By way of an input method.
        QInputMethodEvent event;
        event.setCommitString(text);
        QApplication::sendEvent(edit, &event);
    }
    key(edit, oneIn(4) ? Qt::Key_Down : Qt::Key_Return);
    if (oneIn(3)) {
        trigger("actionApply");
    }
}

void Walker::misbehave()
{
    const int device = upTo(deviceCount);
    switch (upTo(8)) {
    case 0:
        m_fleet.clearFaults();
        break;
    case 1:
        m_fleet.setPowered(device, oneIn(2));
        break;
    case 2:
        m_fleet.restart(device);
        break;
    case 3:
        m_fleet.dropSessions(device);
        break;
    case 4:
        m_fleet.announce(device);
        break;
    case 5:
        m_fleet.change(device, [this](simulator::DeviceOptions &options) {
            options.redirectToHttps = oneIn(2);
            options.informationNeedsLogin = oneIn(4);
            options.anonymousLevel = oneIn(2) ? 3 : upTo(4);
        });
        break;
    default: {
        const MatrixFault row = anyOf(matrixFaults());
        note(QStringLiteral("... %1 %2").arg(device).arg(QLatin1String(row.name)));
        if (row.fault) {
            m_fleet.addFault(device, *row.fault);
        }
        break;
    }
    }
}

void Walker::useMenu(QWidget *menu)
{
    const std::vector<Qt::Key> keys{Qt::Key_Down, Qt::Key_Down,   Qt::Key_Up,    Qt::Key_Right,
                                    Qt::Key_Left, Qt::Key_Return, Qt::Key_Escape};
    const Qt::Key chosen = anyOf(keys);
    note(QStringLiteral("menu, key %1").arg(chosen, 0, 16));
    key(menu, chosen);
}

void Walker::useDialog(QWidget *dialog)
{
    if (auto *const update = qobject_cast<UpdateFirmwareDialog *>(dialog)) {
        update->setRestartTime(20ms);
    }
    auto *const logIn = dialog->findChild<QAbstractButton *>(QStringLiteral("pushButtonOK"));
    if (dialog->objectName() == QLatin1String("LoginDevicesDialog") && logIn->isEnabled() && oneIn(2)) {
        note(QStringLiteral("logs in"));
        const QString account = oneIn(4) ? QStringLiteral("service") : QStringLiteral("admin");
        for (const char *const name : {"lineEditUser", "lineEditPassword"}) {
            dialog->findChild<QLineEdit *>(QLatin1String(name))->setText(account);
        }
        logIn->click();
    } else if (oneIn(12)) {
        note(QStringLiteral("Escape in ") + described(dialog));
        key(dialog, Qt::Key_Escape);
    } else if (oneIn(30)) {
        note(QStringLiteral("closes ") + described(dialog));
        dialog->close();
    } else if (auto *const files = qobject_cast<QFileDialog *>(dialog)) {
        useFiles(files);
    } else {
        usePart(dialog);
    }
}

void Walker::useFiles(QDialog *dialog)
{
    const QStringList paths{m_directory + QStringLiteral("/out"), m_directory + QStringLiteral("/image.bin"),
                            m_directory + QStringLiteral("/config.qini"),
                            m_directory + QStringLiteral("/missing"), m_directory};
    const QString path = anyOf(paths);
    note(QStringLiteral("chooses ") + path.mid(m_directory.size()));
    dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(path);
    static_cast<void>(QMetaObject::invokeMethod(dialog, "accept"));
}

/// Any part of a dialog that can be used.
void Walker::usePart(QWidget *dialog)
{
    QList<QWidget *> parts;
    const QList<QWidget *> all = dialog->findChildren<QWidget *>();
    for (QWidget *const part : all) {
        const bool isUsed = qobject_cast<QAbstractButton *>(part) || qobject_cast<QLineEdit *>(part) ||
                            qobject_cast<QSpinBox *>(part) || qobject_cast<QComboBox *>(part);
        if (isUsed && part->isVisible() && part->isEnabled()) {
            parts += part;
        }
    }
    if (parts.isEmpty()) {
        note(QStringLiteral("waits in ") + described(dialog));
        return;
    }
    QWidget *const part = anyOf(parts);
    note(described(dialog) + QLatin1String(": ") + described(part));
    if (auto *const edit = qobject_cast<QLineEdit *>(part)) {
        const bool isPath = edit->parentWidget()->inherits("FileSelectorWidget");
        const QStringList paths{m_directory + QStringLiteral("/out"),
                                m_directory + QStringLiteral("/image.bin")};
        const bool isAccount = edit->objectName() == QLatin1String("lineEditUser") ||
                               edit->objectName() == QLatin1String("lineEditPassword");
        edit->setFocus();
        edit->setText(isPath                   ? anyOf(paths)
                      : isAccount && !oneIn(4) ? QStringLiteral("admin")
                                               : anyOf(texts()));
        if (oneIn(4)) {
            key(edit, Qt::Key_Return);
        }
    } else if (auto *const spin = qobject_cast<QSpinBox *>(part)) {
        const QString name = spin->objectName();
        const int usual = name == QLatin1String("spinBoxDiscoveryPort") ? 9806
                          : name == QLatin1String("spinBoxHTTPPort")    ? 80
                                                                        : 443;
        const std::vector<int> numbers{0, 1, spin->minimum(), spin->maximum(), 9807};
        spin->setValue(oneIn(4) ? anyOf(numbers) : usual);
    } else if (auto *const combo = qobject_cast<QComboBox *>(part)) {
        combo->setCurrentIndex(upTo(std::max(1, combo->count())));
    } else if (auto *const button = qobject_cast<QAbstractButton *>(part)) {
        button->click();
    }
}

class TestRandomWalk final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void leavesNothingBehind();

private:
    void walk(unsigned seed, int actions);
    QString m_failure;
};

void TestRandomWalk::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    // The translations of this build, beside this test.
    const QString i18n = QCoreApplication::applicationDirPath() + QStringLiteral("/i18n");
    QVERIFY(QDir().mkpath(i18n));
    const QDir built(QStringLiteral(NEMBRA_TRANSLATIONS));
    for (const char *const name : {"NembraHub_de.qm", "NembraHub_en.qm", "qtbase_de.qm", "qtbase_en.qm"}) {
        const QString copy = i18n + QLatin1Char('/') + QLatin1String(name);
        QFile::remove(copy);
        QVERIFY2(QFile::copy(built.filePath(QLatin1String(name)), copy), name);
    }
}

void TestRandomWalk::walk(unsigned seed, int actions)
{
    auto environment = std::make_unique<TestEnvironment>();
    const BrowserCatcher browser;
    QDir directory(environment->path(QString()));
    QVERIFY(directory.mkpath(QStringLiteral("out")));
    for (const char *const name : {"image.bin", "config.qini"}) {
        QFile file(environment->path(QLatin1String(name)));
        QVERIFY(file.open(QIODevice::WriteOnly) &&
                file.write("version=1.2.3\r\n[system]\r\nname=roof\r\n") > 0);
    }
    auto fleet = std::make_unique<simulator::Fleet>();
    simulator::DeviceOptions options;
    options.restartTime = 20ms;
    options.mac = simulator::MacAddress{0x0E, 0x5A, 0x11, 0x00, 0x00, 0x01};
    fleet->addDevices(deviceCount / 2, options);
    // The others let everybody do everything.
    options.mac->back() = 1 + deviceCount / 2;
    options.anonymousLevel = 3;
    fleet->addDevices(deviceCount - deviceCount / 2, options);
    fleet->start();
    simulator::SyslogOptions syslog;
    syslog.rate = 300;
    fleet->sendSyslog(syslog);
    {
        Walker walker(seed, actions, *fleet, directory.path());
        walker.walk();
        m_failure = walker.failure();
    }
    fleet.reset();
    QTRY_COMPARE_WITH_TIMEOUT(orphanedManagers().size(), 0, patience);
    QCOMPARE(QApplication::topLevelWidgets().size(), 0);
    const QStringList files =
        QDir(directory.filePath(QStringLiteral("out")))
            .entryList({QStringLiteral("*.part*"), QStringLiteral(".*")}, QDir::Files | QDir::Hidden);
    QCOMPARE(files, QStringList());
}

void TestRandomWalk::leavesNothingBehind()
{
    const auto seed = static_cast<unsigned>(fromEnvironment("NEMBRA_WALK_SEED", usualSeed));
    // What the process starts once and keeps shows in a short walk.
    walk(seed, 50);
    QVERIFY2(m_failure.isEmpty(), qPrintable(m_failure));
    const int threads = thisprocess::threadCount();
    const int descriptors = descriptorCount();
    walk(seed, fromEnvironment("NEMBRA_WALK_ACTIONS", usualActions));
    QVERIFY2(m_failure.isEmpty(), qPrintable(m_failure));
    QTRY_VERIFY_WITH_TIMEOUT(thisprocess::threadCount() <= threads, patience);
    QTRY_VERIFY_WITH_TIMEOUT(descriptorCount() <= descriptors, patience);
}

NEMBRA_GUI_TEST_MAIN(TestRandomWalk)
#include "tst_randomwalk.moc"
