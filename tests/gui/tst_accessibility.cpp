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
#include "widgets/fileselectorwidget.h"
#include "windowbench.h"

#include <QAccessible>
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QToolButton>
#include <QtTest>

#include <algorithm>
#include <array>
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

struct Kind
{
    const char *className;
    QAccessible::Role role;
};

/// What users take a control for. The first that fits counts.
constexpr std::array kinds{
    Kind{"QCheckBox", QAccessible::CheckBox},       Kind{"QComboBox", QAccessible::ComboBox},
    Kind{"QLineEdit", QAccessible::EditableText},   Kind{"QPushButton", QAccessible::Button},
    Kind{"QProgressBar", QAccessible::ProgressBar}, Kind{"QSpinBox", QAccessible::SpinBox},
    Kind{"QTableView", QAccessible::Table},         Kind{"QTreeView", QAccessible::Tree},
};

/// Whether a screen reader is told what the control is.
bool tellsItsKind(const QAccessibleInterface &accessible)
{
    const QObject *const object = accessible.object();
    const auto kind = std::find_if(kinds.begin(), kinds.end(), [object](const Kind &candidate) {
        return object && object->inherits(candidate.className);
    });
    return kind == kinds.end() || accessible.role() == kind->role;
}

/// Whether a screen reader is told what the control shows.
bool tellsItsValue(QAccessibleInterface &accessible)
{
    const QObject *const object = accessible.object();
    const auto number = [&accessible] { return accessible.valueInterface()->currentValue().toInt(); };
    if (const auto *const box = qobject_cast<const QCheckBox *>(object)) {
        return accessible.state().checked == box->isChecked();
    }
    if (const auto *const choice = qobject_cast<const QComboBox *>(object)) {
        return accessible.text(QAccessible::Value) == choice->currentText();
    }
    if (const auto *const line = qobject_cast<const QLineEdit *>(object)) {
        return accessible.text(QAccessible::Value) == line->displayText();
    }
    if (const auto *const bar = qobject_cast<const QProgressBar *>(object)) {
        return number() == bar->value();
    }
    if (const auto *const spinBox = qobject_cast<const QSpinBox *>(object)) {
        return number() == spinBox->value();
    }
    return true;
}

/// The controls below this one that a screen reader can't say: without a name of their own, of another kind,
/// or with another value.
QStringList unsaid(QAccessibleInterface *accessible)
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
    if (!tellsItsKind(*accessible)) {
        found += described(*accessible) + QStringLiteral(": of another kind");
    } else if (!tellsItsValue(*accessible)) {
        found += described(*accessible) + QStringLiteral(": another value");
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
        found += unsaid(accessible->child(i));
    }
    return found;
}

/// With an image that no device gets: it is looked at before anything is sent.
void startUpdate(QWidget *dialog)
{
    dialogstep::in<FileSelectorWidget>(dialog, "firmwareFile")->setText(QStringLiteral("/proc/version"));
    dialogstep::in<QCheckBox>(dialog, "checkBoxSaveConfig")->setChecked(false);
    dialogstep::in<QPushButton>(dialog, "pushButtonUpdate")->click();
    QCOMPARE(dialog->findChildren<QProgressBar *>().size(), 2);
}

} // namespace

using Prepare = std::function<void(QWidget *)>;
Q_DECLARE_METATYPE(Prepare)
using Show = std::function<void(const QList<Device *> &, Discovery &)>;
Q_DECLARE_METATYPE(Show)

/// What a screen reader says of the windows.
class TestAccessibility final : public QObject, private WindowTest
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void tellsOfEachControl_data();
    void tellsOfEachControl();
    void tellsOfTheMainWindow();
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

void TestAccessibility::tellsOfEachControl_data()
{
    QTest::addColumn<Show>("show");
    QTest::addColumn<Prepare>("prepare");
    const auto add = [](const char *name, const Show &show, const Prepare &prepare = nullptr) {
        QTest::newRow(name) << show << prepare;
    };
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
    add(
        "firmware, running",
        [](const QList<Device *> &devices, Discovery &discovery) {
            UpdateFirmwareDialog(devices, discovery, nullptr).exec();
        },
        startUpdate);
    add("syslog", [](const QList<Device *> &, Discovery &) { CLogList(nullptr).exec(); });
    add("about", [this](const QList<Device *> &, Discovery &) { m_bench->trigger("actionAbout_NembraHub"); });
    add("question",
        [this](const QList<Device *> &, Discovery &) { m_bench->trigger("actionReset_configuration"); });
}

void TestAccessibility::tellsOfEachControl()
{
    QFETCH(Show, show);
    QFETCH(Prepare, prepare);
    QList<Device *> devices;
    for (int row = 0; row < 2; ++row) {
        devices += &static_cast<DeviceItem *>(m_bench->list().topLevelItem(row))->device();
    }
    QString name;
    QStringList wrong{QStringLiteral("nothing was looked at")};
    DialogSeries dialogs;
    dialogs.then([&](QWidget *dialog) {
        if (prepare) {
            prepare(dialog);
        }
        QAccessibleInterface *const accessible = QAccessible::queryAccessibleInterface(dialog);
        name = accessible->text(QAccessible::Name);
        wrong = unsaid(accessible);
        dialogstep::cancel(dialog);
    });
    Discovery discovery(9806);
    show(devices, discovery);
    QVERIFY(!name.isEmpty());
    QCOMPARE(wrong.join(QStringLiteral(", ")), QString());
}

void TestAccessibility::tellsOfTheMainWindow()
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
    QCOMPARE(unsaid(QAccessible::queryAccessibleInterface(&m_bench->window())).join(QStringLiteral(", ")),
             QString());
}

NEMBRA_GUI_TEST_MAIN(TestAccessibility)
#include "tst_accessibility.moc"
