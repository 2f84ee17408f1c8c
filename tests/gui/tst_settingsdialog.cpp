#include "common/settings.h"
#include "mainwindow/settingsdialog.h"
#include "testenvironment.h"

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFile>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QtTest>

#include <array>
#include <memory>

namespace {

/// The fields from top to bottom, and the label in front of each.
struct Field
{
    const char *name;
    const char *label;
};
constexpr std::array<Field, 6> fields{{{"spinBoxDiscoveryPort", "Scan UDP port"},
                                       {"spinBoxHTTPPort", "HTTP port"},
                                       {"spinBoxHTTPSPort", "HTTPS port"},
                                       {"checkBoxAutoUpdate", "Auto update"},
                                       {"doubleSpinBoxUpdateInterval", "Auto update interval in seconds"},
                                       {"checkBoxPreferExtended", "Prefer extended resolution"}}};

/// What the fields show, from top to bottom.
const QString defaults = QStringLiteral("9806 80 443 off 10 off");

} // namespace

class TestSettingsDialog : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void looksAsDesigned();
    void labelsItsFields();
    void showsTheDefaults();
    void showsWhatIsStored();
    void readsPreferExtendedAtTheTopLevelOnly();
    void showsOtherTypes_data();
    void showsOtherTypes();
    void limitsItsNumbers_data();
    void limitsItsNumbers();
    void takesNoLettersAndNoFractions();

    void storesWhatItShows();
    void storesNumbersAndSwitchesAsSuch();
    void storesTheDefaultsToo();
    void leavesOtherSettingsAlone();
    void storesNothingWhenLeft_data();
    void storesNothingWhenLeft();
    void storesNothingBeforeItIsAccepted();
    void acceptsByReturn_data();
    void acceptsByReturn();
    void hasOkAsTheDefaultInEachField();

    void replacesTheFirstNumberByWhatIsTyped();
    void leadsByTabThroughItsFields();
    void leadsBackByTab();
    void isUsedByKeysAlone();
    void namesItsFields();

private:
    void write(const QByteArray &content);
    QByteArray written() const;
    void open();
    template <typename T>
    T *find(const char *objectName) const
    {
        return m_dialog->findChild<T *>(QLatin1String(objectName));
    }
    QString shown() const;
    /// Types it over what the field holds.
    void type(const char *field, const char *text) const;
    void fillIn() const;

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<SettingsDialog> m_dialog;
};

void TestSettingsDialog::init()
{
    m_environment = std::make_unique<TestEnvironment>();
}

void TestSettingsDialog::cleanup()
{
    m_dialog.reset();
    m_environment.reset();
}

void TestSettingsDialog::write(const QByteArray &content)
{
    QFile file(m_environment->settingsFile());
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(file.errorString()));
    QCOMPARE(file.write(content), content.size());
    file.close();
    settings::open(file.fileName());
}

QByteArray TestSettingsDialog::written() const
{
    settings::store().sync();
    QFile file(m_environment->settingsFile());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
}

void TestSettingsDialog::open()
{
    m_dialog = std::make_unique<SettingsDialog>();
    m_dialog->show();
    m_dialog->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_dialog.get()));
}

QString TestSettingsDialog::shown() const
{
    const auto onOff = [this](const char *name) {
        return find<QCheckBox>(name)->isChecked() ? QStringLiteral("on") : QStringLiteral("off");
    };
    return QStringList{find<QSpinBox>("spinBoxDiscoveryPort")->text(),
                       find<QSpinBox>("spinBoxHTTPPort")->text(),
                       find<QSpinBox>("spinBoxHTTPSPort")->text(),
                       onOff("checkBoxAutoUpdate"),
                       find<QDoubleSpinBox>("doubleSpinBoxUpdateInterval")->text(),
                       onOff("checkBoxPreferExtended")}
        .join(QLatin1Char(' '));
}

void TestSettingsDialog::type(const char *field, const char *text) const
{
    auto *const box = find<QAbstractSpinBox>(field);
    box->setFocus();
    box->selectAll();
    QTest::keyClicks(box, QLatin1String(text));
}

void TestSettingsDialog::fillIn() const
{
    type("spinBoxDiscoveryPort", "12345");
    type("spinBoxHTTPPort", "8080");
    type("spinBoxHTTPSPort", "8443");
    QTest::keyClick(find<QCheckBox>("checkBoxAutoUpdate"), Qt::Key_Space);
    type("doubleSpinBoxUpdateInterval", "25");
    QTest::keyClick(find<QCheckBox>("checkBoxPreferExtended"), Qt::Key_Space);
}

void TestSettingsDialog::looksAsDesigned()
{
    m_dialog = std::make_unique<SettingsDialog>();
    QCOMPARE(m_dialog->size(), QSize(266, 232));
    QCOMPARE(m_dialog->windowTitle(), QStringLiteral("Scan options"));
    QVERIFY(!m_dialog->windowFlags().testFlag(Qt::WindowContextHelpButtonHint));
    QVERIFY(m_dialog->windowFlags().testFlag(Qt::Dialog));
    QVERIFY(!m_dialog->parent());
    open();
    QVERIFY(!m_dialog->windowFlags().testFlag(Qt::WindowContextHelpButtonHint));

    auto *const column = qobject_cast<QVBoxLayout *>(m_dialog->layout());
    QVERIFY(column);
    QCOMPARE(column->count(), 2);
    QVERIFY(qobject_cast<QFormLayout *>(column->itemAt(0)->layout()));
    const auto *const buttons = qobject_cast<QHBoxLayout *>(column->itemAt(1)->layout());
    QVERIFY(buttons);
    QCOMPARE(buttons->count(), 2);
    QCOMPARE(buttons->itemAt(0)->widget(), find<QWidget>("pushButtonCancel"));
    QCOMPARE(buttons->itemAt(1)->widget(), find<QWidget>("pushButtonOK"));
    QCOMPARE(find<QPushButton>("pushButtonCancel")->text(), QStringLiteral("Cancel"));
    QCOMPARE(find<QPushButton>("pushButtonOK")->text(), QStringLiteral("OK"));
}

void TestSettingsDialog::labelsItsFields()
{
    m_dialog = std::make_unique<SettingsDialog>();
    const auto *const form = m_dialog->findChild<QFormLayout *>();
    QCOMPARE(form->rowCount(), 6);
    for (int i = 0; i < form->rowCount(); ++i) {
        const Field &field = fields.at(static_cast<std::size_t>(i));
        const auto *const label = qobject_cast<QLabel *>(form->itemAt(i, QFormLayout::LabelRole)->widget());
        QVERIFY2(label, field.name);
        QCOMPARE(label->text(), QLatin1String(field.label));
        QCOMPARE(form->itemAt(i, QFormLayout::FieldRole)->widget()->objectName(), QLatin1String(field.name));
        QCOMPARE(label->buddy(), find<QWidget>(field.name));
    }
    QVERIFY(find<QSpinBox>("spinBoxDiscoveryPort"));
    QVERIFY(find<QDoubleSpinBox>("doubleSpinBoxUpdateInterval"));
    QVERIFY(find<QCheckBox>("checkBoxAutoUpdate"));
}

void TestSettingsDialog::showsTheDefaults()
{
    open();
    QCOMPARE(shown(), defaults);
    // Looking at them stores none.
    QCOMPARE(settings::store().allKeys(), QStringList());
}

void TestSettingsDialog::showsWhatIsStored()
{
    write("[General]\nPreferExtended=true\n\n"
          "[Scan]\nAutoUpdate=true\nAutoUpdateInterval=30\nHTTPPort=8080\nHTTPSPort=8443\nPort=1\n");
    open();
    QCOMPARE(shown(), QStringLiteral("1 8080 8443 on 30 on"));
}

void TestSettingsDialog::readsPreferExtendedAtTheTopLevelOnly()
{
    write("[Scan]\nPreferExtended=true\n[MainWindow]\nPort=1\n[General]\nPort=2\nAutoUpdate=true\n");
    open();
    QCOMPARE(shown(), defaults);
}

void TestSettingsDialog::showsOtherTypes_data()
{
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<QString>("shown");
    // One value for all six.
    QTest::newRow("text") << QByteArray("many") << "0 0 0 on 1 on";
    QTest::newRow("empty") << QByteArray("") << "0 0 0 off 1 off";
    QTest::newRow("zero") << QByteArray("0") << "0 0 0 off 1 off";
    QTest::newRow("negative") << QByteArray("-5") << "0 0 0 on 1 on";
    QTest::newRow("too big") << QByteArray("70000") << "65535 65535 65535 on 10000 on";
    // Cut to the bits of an integer, as everywhere in the program.
    QTest::newRow("much too big") << QByteArray("4294967376") << "80 80 80 on 10000 on";
    QTest::newRow("a fraction") << QByteArray("12.7") << "0 0 0 on 13 on";
    QTest::newRow("no number") << QByteArray("nan") << "0 0 0 on 10000 on";
    QTest::newRow("without end") << QByteArray("inf") << "0 0 0 on 10000 on";
    QTest::newRow("true") << QByteArray("true") << "0 0 0 on 1 on";
    QTest::newRow("false") << QByteArray("false") << "0 0 0 off 1 off";
    QTest::newRow("a list") << QByteArray("80, 81") << "0 0 0 off 1 off";
    QTest::newRow("bytes") << QByteArray("@ByteArray(80)") << "80 80 80 on 80 on";
    QTest::newRow("invalid") << QByteArray("@Invalid()") << "0 0 0 off 1 off";
}

void TestSettingsDialog::showsOtherTypes()
{
    QFETCH(QByteArray, stored);
    write("[General]\nPreferExtended=" + stored + "\n[Scan]\nAutoUpdate=" + stored + "\nAutoUpdateInterval=" +
          stored + "\nHTTPPort=" + stored + "\nHTTPSPort=" + stored + "\nPort=" + stored + '\n');
    open();
    QTEST(shown(), "shown");
}

void TestSettingsDialog::limitsItsNumbers_data()
{
    QTest::addColumn<double>("lowest");
    QTest::addColumn<double>("highest");
    QTest::newRow("spinBoxDiscoveryPort") << 0.0 << 65535.0;
    QTest::newRow("spinBoxHTTPPort") << 0.0 << 65535.0;
    QTest::newRow("spinBoxHTTPSPort") << 0.0 << 65535.0;
    QTest::newRow("doubleSpinBoxUpdateInterval") << 1.0 << 10000.0;
}

void TestSettingsDialog::limitsItsNumbers()
{
    QFETCH(double, lowest);
    QFETCH(double, highest);
    open();
    auto *const box = find<QAbstractSpinBox>(QTest::currentDataTag());
    const auto press = [box](Qt::Key key) {
        for (int i = 0; i < 3; ++i) {
            QTest::keyClick(box, key);
        }
    };
    type(QTest::currentDataTag(), qPrintable(QString::number(highest - 1)));
    press(Qt::Key_Up);
    QCOMPARE(box->text(), QString::number(highest));
    // No further digit fits.
    QTest::keyClick(box, Qt::Key_End);
    QTest::keyClick(box, Qt::Key_9);
    QCOMPARE(box->text(), QString::number(highest));
    type(QTest::currentDataTag(), qPrintable(QString::number(lowest + 1)));
    press(Qt::Key_Down);
    QCOMPARE(box->text(), QString::number(lowest));
    QTest::keyClick(box, Qt::Key_Home);
    QTest::keyClick(box, Qt::Key_Minus);
    QCOMPARE(box->text(), QString::number(lowest));
}

void TestSettingsDialog::takesNoLettersAndNoFractions()
{
    open();
    QCOMPARE(find<QDoubleSpinBox>("doubleSpinBoxUpdateInterval")->decimals(), 0);
    type("doubleSpinBoxUpdateInterval", "2x5-");
    QCOMPARE(find<QDoubleSpinBox>("doubleSpinBoxUpdateInterval")->text(), QStringLiteral("25"));
    type("doubleSpinBoxUpdateInterval", "7.5");
    QCOMPARE(find<QDoubleSpinBox>("doubleSpinBoxUpdateInterval")->value(), 7.0);
    type("spinBoxHTTPPort", "8a.1");
    QCOMPARE(find<QSpinBox>("spinBoxHTTPPort")->text(), QStringLiteral("81"));
}

void TestSettingsDialog::storesWhatItShows()
{
    open();
    fillIn();
    QTest::mouseClick(find<QPushButton>("pushButtonOK"), Qt::LeftButton);
    QVERIFY(!m_dialog->isVisible());
    QCOMPARE(m_dialog->result(), int(QDialog::Accepted));
    // PreferExtended at the top level, which this format calls General.
    QCOMPARE(written(), QByteArray("[General]\nPreferExtended=true\n\n"
                                   "[Scan]\nAutoUpdate=true\nAutoUpdateInterval=25\nHTTPPort=8080\n"
                                   "HTTPSPort=8443\nPort=12345\n"));
    m_dialog.reset();
    open();
    QCOMPARE(shown(), QStringLiteral("12345 8080 8443 on 25 on"));
}

void TestSettingsDialog::storesNumbersAndSwitchesAsSuch()
{
    open();
    m_dialog->on_pushButtonOK_clicked();
    const QSettings &store = settings::store();
    QCOMPARE(store.value(QStringLiteral("Scan/Port")), QVariant(9806));
    QCOMPARE(store.value(QStringLiteral("Scan/Port")).type(), QVariant::Int);
    QCOMPARE(store.value(QStringLiteral("Scan/HTTPPort")).type(), QVariant::Int);
    QCOMPARE(store.value(QStringLiteral("Scan/HTTPSPort")).type(), QVariant::Int);
    QCOMPARE(store.value(QStringLiteral("Scan/AutoUpdate")).type(), QVariant::Bool);
    QCOMPARE(store.value(QStringLiteral("Scan/AutoUpdateInterval")).type(), QVariant::Double);
    QCOMPARE(store.value(QStringLiteral("PreferExtended")).type(), QVariant::Bool);
    QCOMPARE(store.group(), QString());
}

void TestSettingsDialog::storesTheDefaultsToo()
{
    open();
    QTest::mouseClick(find<QPushButton>("pushButtonOK"), Qt::LeftButton);
    QCOMPARE(written(), QByteArray("[General]\nPreferExtended=false\n\n"
                                   "[Scan]\nAutoUpdate=false\nAutoUpdateInterval=10\nHTTPPort=80\n"
                                   "HTTPSPort=443\nPort=9806\n"));
}

void TestSettingsDialog::leavesOtherSettingsAlone()
{
    write("[General]\nLanguage=de\n\n[MainWindow]\nIconSize=44\n\n[Other]\nkey=value\n\n[Scan]\nUnknown=7\n");
    open();
    QTest::mouseClick(find<QPushButton>("pushButtonOK"), Qt::LeftButton);
    QCOMPARE(written(), QByteArray("[General]\nLanguage=de\nPreferExtended=false\n\n"
                                   "[MainWindow]\nIconSize=44\n\n[Other]\nkey=value\n\n"
                                   "[Scan]\nAutoUpdate=false\nAutoUpdateInterval=10\nHTTPPort=80\n"
                                   "HTTPSPort=443\nPort=9806\nUnknown=7\n"));
}

void TestSettingsDialog::storesNothingWhenLeft_data()
{
    QTest::addColumn<int>("way");
    QTest::newRow("by Cancel") << 0;
    QTest::newRow("by Escape") << 1;
    QTest::newRow("by the title bar") << 2;
    QTest::newRow("by Space on Cancel") << 3;
    QTest::newRow("by Return on Cancel") << 4;
    QTest::newRow("by Enter on Cancel") << 5;
}

void TestSettingsDialog::storesNothingWhenLeft()
{
    QFETCH(int, way);
    const QByteArray before("[Scan]\nPort=1\n");
    write(before);
    open();
    fillIn();
    auto *const cancel = find<QPushButton>("pushButtonCancel");
    if (way == 0) {
        QTest::mouseClick(cancel, Qt::LeftButton);
    } else if (way == 1) {
        QTest::keyClick(find<QSpinBox>("spinBoxHTTPPort"), Qt::Key_Escape);
    } else if (way == 2) {
        m_dialog->close();
    } else {
        cancel->setFocus();
        QTest::keyClick(cancel, way == 3 ? Qt::Key_Space : way == 4 ? Qt::Key_Return : Qt::Key_Enter);
    }
    QVERIFY(!m_dialog->isVisible());
    QCOMPARE(m_dialog->result(), int(QDialog::Rejected));
    QCOMPARE(settings::store().allKeys(), QStringList{QStringLiteral("Scan/Port")});
    QCOMPARE(written(), before);
}

void TestSettingsDialog::storesNothingBeforeItIsAccepted()
{
    open();
    fillIn();
    QCOMPARE(settings::store().allKeys(), QStringList());
}

void TestSettingsDialog::acceptsByReturn_data()
{
    QTest::addColumn<int>("key");
    for (const Field &field : fields) {
        QTest::newRow(field.name) << int(Qt::Key_Return);
    }
    QTest::newRow("pushButtonOK") << int(Qt::Key_Enter);
}

void TestSettingsDialog::acceptsByReturn()
{
    QFETCH(int, key);
    open();
    type("spinBoxHTTPSPort", "8443");
    auto *const field = find<QWidget>(QTest::currentDataTag());
    field->setFocus();
    auto *const box = qobject_cast<QAbstractSpinBox *>(field);
    if (box) {
        box->selectAll();
        QTest::keyClicks(box, QStringLiteral("77"));
    }
    QTest::keyClick(field, static_cast<Qt::Key>(key));
    QVERIFY(!m_dialog->isVisible());
    QCOMPARE(m_dialog->result(), int(QDialog::Accepted));
    // What was just typed counts.
    const int typed = field->objectName() == QLatin1String("spinBoxHTTPSPort") ? 77 : 8443;
    QCOMPARE(settings::value(settings::scanHttpsPort), typed);
    if (field->objectName() == QLatin1String("spinBoxDiscoveryPort")) {
        QCOMPARE(settings::value(settings::scanPort), 77);
    }
    if (field->objectName() == QLatin1String("doubleSpinBoxUpdateInterval")) {
        QCOMPARE(settings::value(settings::scanAutoUpdateInterval), 77.0);
    }
}

void TestSettingsDialog::hasOkAsTheDefaultInEachField()
{
    open();
    for (const Field &field : fields) {
        // Coming back from Cancel, whose own key is Return while it has the focus.
        find<QPushButton>("pushButtonCancel")->setFocus();
        QVERIFY2(find<QPushButton>("pushButtonCancel")->isDefault(), field.name);
        find<QWidget>(field.name)->setFocus();
        QVERIFY2(find<QPushButton>("pushButtonOK")->isDefault(), field.name);
        QVERIFY2(!find<QPushButton>("pushButtonCancel")->isDefault(), field.name);
    }
}

void TestSettingsDialog::replacesTheFirstNumberByWhatIsTyped()
{
    open();
    QTest::keyClicks(m_dialog->focusWidget(), QStringLiteral("77"));
    QCOMPARE(find<QSpinBox>("spinBoxDiscoveryPort")->text(), QStringLiteral("77"));
}

void TestSettingsDialog::leadsByTabThroughItsFields()
{
    open();
    QStringList order;
    for (std::size_t i = 0; i < fields.size() + 2; ++i) {
        QVERIFY(QApplication::focusWidget());
        order += QApplication::focusWidget()->objectName();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
    QCOMPARE(order.join(QLatin1Char(' ')),
             QStringLiteral("spinBoxDiscoveryPort spinBoxHTTPPort spinBoxHTTPSPort checkBoxAutoUpdate "
                            "doubleSpinBoxUpdateInterval checkBoxPreferExtended pushButtonCancel "
                            "pushButtonOK"));
    // And around.
    QCOMPARE(QApplication::focusWidget()->objectName(), QStringLiteral("spinBoxDiscoveryPort"));
}

void TestSettingsDialog::leadsBackByTab()
{
    open();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab, Qt::ShiftModifier);
    QCOMPARE(QApplication::focusWidget()->objectName(), QStringLiteral("pushButtonOK"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Backtab, Qt::ShiftModifier);
    QCOMPARE(QApplication::focusWidget()->objectName(), QStringLiteral("pushButtonCancel"));
}

void TestSettingsDialog::isUsedByKeysAlone()
{
    open();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_A, Qt::ControlModifier);
    // Going to the next field by Tab selects what is in it.
    for (const char *const text : {"1000", "2000", "3000", " ", "40", " "}) {
        QTest::keyClicks(QApplication::focusWidget(), QLatin1String(text));
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
    QCOMPARE(shown(), QStringLiteral("1000 2000 3000 on 40 on"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
    QCOMPARE(m_dialog->result(), int(QDialog::Accepted));
    QCOMPARE(settings::value(settings::scanPort), 1000);
    QCOMPARE(settings::value(settings::scanHttpPort), 2000);
    QCOMPARE(settings::value(settings::preferExtended), true);
}

void TestSettingsDialog::namesItsFields()
{
    open();
    for (const Field &field : fields) {
        QAccessibleInterface *const accessible =
            QAccessible::queryAccessibleInterface(find<QWidget>(field.name));
        QVERIFY2(accessible, field.name);
        QCOMPARE(accessible->text(QAccessible::Name), QLatin1String(field.label));
    }
}

NEMBRA_GUI_TEST_MAIN(TestSettingsDialog)
#include "tst_settingsdialog.moc"
