#include "device/device.h"
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
#include "testenvironment.h"
#include "windowbench.h"

#include <QAccessible>
#include <QToolButton>
#include <QtTest>

#include <algorithm>
#include <functional>
#include <memory>

namespace {

constexpr int patience = 20000; // milliseconds

/// What users can work with, or what tells them how far something is.
bool isControl(const QAccessibleInterface &accessible)
{
    switch (accessible.role()) {
    case QAccessible::Button:
    case QAccessible::ButtonMenu:
    case QAccessible::CheckBox:
    case QAccessible::ComboBox:
    case QAccessible::EditableText:
    case QAccessible::List:
    case QAccessible::ProgressBar:
    case QAccessible::RadioButton:
    case QAccessible::SpinBox:
    case QAccessible::Table:
    case QAccessible::Tree:
        return true;
    default:
        return accessible.state().focusable && accessible.object() && accessible.object()->isWidgetType();
    }
}

QString described(const QAccessibleInterface &accessible)
{
    const QObject *const object = accessible.object();
    return QStringLiteral("%1 %2").arg(
        QLatin1String(object ? object->metaObject()->className() : "no object"),
        object ? object->objectName() : QString());
}

/// The controls below this one without a name of their own.
QStringList nameless(QAccessibleInterface *accessible)
{
    QStringList found;
    // Scroll bars and the views' own parts say what they are by their role; the field of a spin box speaks
    // for it.
    if (!accessible || accessible->state().invisible || accessible->role() == QAccessible::ScrollBar) {
        return found;
    }
    const QString name = accessible->text(QAccessible::Name);
    if (isControl(*accessible) && name.trimmed().isEmpty()) {
        found += described(*accessible) + QStringLiteral(": no name");
    }
    // Here its name is always its value.
    if (accessible->role() == QAccessible::ComboBox && accessible->relations(QAccessible::Label).isEmpty() &&
        accessible->text(QAccessible::Description).isEmpty()) {
        found += described(*accessible) + QStringLiteral(": only its value");
    }
    if (accessible->role() == QAccessible::SpinBox || accessible->role() == QAccessible::ComboBox) {
        return found;
    }
    for (int i = 0; i < accessible->childCount(); ++i) {
        found += nameless(accessible->child(i));
    }
    return found;
}

} // namespace

using Show = std::function<void(const QList<Device *> &, Discovery &)>;
Q_DECLARE_METATYPE(Show)

/// What a screen reader says of the windows.
class TestAccessibility final : public QObject, private WindowTest
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void namesEachControl_data();
    void namesEachControl();
    void namesWhatIsInTheMainWindow();
};

void TestAccessibility::init()
{
    open();
    m_fleet = std::make_unique<simulator::Fleet>();
    m_fleet->addDevices(2);
    m_fleet->start();
    m_bench = std::make_unique<WindowBench>();
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->list().topLevelItemCount(), 2, patience);
}

void TestAccessibility::cleanup()
{
    close();
}

void TestAccessibility::namesEachControl_data()
{
    QTest::addColumn<Show>("show");
    const auto add = [](const char *name, const Show &show) { QTest::newRow(name) << show; };
    add("scan options", [](const QList<Device *> &, Discovery &) { SettingsDialog().exec(); });
    add("network configuration", [](const QList<Device *> &, Discovery &) { CConfigDialog(nullptr).exec(); });
    add("login", [](const QList<Device *> &devices, Discovery &) {
        LoginDevicesDialog(devices, AccessLevel::WriteConfig, nullptr).exec();
    });
    add("configurations", [](const QList<Device *> &devices, Discovery &) {
        NetworkOperationsDialog::uploadConfig("[system]", devices, nullptr);
    });
    add("history", [](const QList<Device *> &devices, Discovery &) {
        LoadHistoryDialog::downloadHistory(devices, nullptr);
    });
    add("firmware", [](const QList<Device *> &devices, Discovery &discovery) {
        UpdateFirmwareDialog(devices, discovery, nullptr).exec();
    });
    add("syslog", [](const QList<Device *> &, Discovery &) { CLogList(nullptr).exec(); });
}

void TestAccessibility::namesEachControl()
{
    QFETCH(Show, show);
    QList<Device *> devices;
    for (int row = 0; row < 2; ++row) {
        devices += &static_cast<DeviceItem *>(m_bench->list().topLevelItem(row))->device();
    }
    QString name;
    QStringList wrong{QStringLiteral("nothing was looked at")};
    DialogSeries dialogs;
    dialogs.then([&](QWidget *dialog) {
        QAccessibleInterface *const accessible = QAccessible::queryAccessibleInterface(dialog);
        name = accessible->text(QAccessible::Name);
        wrong = nameless(accessible);
        dialogstep::cancel(dialog);
    });
    Discovery discovery(9806);
    show(devices, discovery);
    QVERIFY(!name.isEmpty());
    QCOMPARE(wrong.join(QStringLiteral(", ")), QString());
}

void TestAccessibility::namesWhatIsInTheMainWindow()
{
    m_bench->trigger("actionFilter");
    // Not all tools have room any more: there is a button for the others.
    m_bench->window().resize(300, 200);
    const auto hasMore = [this] {
        const QList<QToolButton *> buttons =
            m_bench->window().findChildren<QToolButton *>(QStringLiteral("qt_toolbar_ext_button"));
        return std::any_of(buttons.begin(), buttons.end(),
                           [](const QToolButton *button) { return button->isVisible(); });
    };
    QTRY_VERIFY_WITH_TIMEOUT(hasMore(), patience);
    QCOMPARE(nameless(QAccessible::queryAccessibleInterface(&m_bench->window())).join(QStringLiteral(", ")),
             QString());
}

NEMBRA_GUI_TEST_MAIN(TestAccessibility)
#include "tst_accessibility.moc"
