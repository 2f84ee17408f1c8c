#include "devicerow.h"
#include "fleet.h"
#include "operations/logindevicesdialog.h"
#include "testenvironment.h"

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTranslator>
#include <QtTest>

#include <memory>
#include <vector>

using namespace std::chrono_literals;
using simulator::Fault;
using simulator::Fleet;

namespace {

/// Milliseconds that a device of the fleet has to answer.
constexpr int patience = 20000;
/// Milliseconds that a whole list of devices has.
constexpr int longPatience = 30000;

const char *const userField = "lineEditUser";
const char *const passwordField = "lineEditPassword";

const QString asking = QStringLiteral("asking");
const QString waiting = QStringLiteral("waiting: Waiting...");
const QString refused = QStringLiteral("waiting: Missing access rights");
const QString wrongLogin = QStringLiteral("asking: Wrong login");

/// Collects the debug log, as long as it lives.
class LogReader final
{
public:
    LogReader()
    {
        lines().clear();
        m_before = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &message) { lines() += message; });
    }
    ~LogReader() { qInstallMessageHandler(m_before); }
    Q_DISABLE_COPY_MOVE(LogReader)

    static QString text() { return lines().join(QLatin1Char('\n')); }

private:
    static QStringList &lines()
    {
        static QStringList lines;
        return lines;
    }

    QtMessageHandler m_before;
};

} // namespace

class TestLoginDevicesDialog : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void looksAsDesigned();
    void speaksGerman();
    void namesTheDeviceAndItsNumber_data();
    void namesTheDeviceAndItsNumber();
    void showsThePasswordOnDemandOnly();
    void leadsByTabThroughItsFields();
    void namesItsFields();

    void movesOnByReturn();
    void logsIn_data();
    void logsIn();
    void waitsForTheLogin();
    void waitsForTheRights();
    void needsTheRights_data();
    void needsTheRights();
    void goesByTheAnswerAfterTheLogin_data();
    void goesByTheAnswerAfterTheLogin();
    void asksAgainAfterAWrongLogin();
    void asksAgainAfterAProblemOfTheNetwork();
    void asksAgainForADeviceWithoutAnAddress();
    void givesNoSecondTryWithoutTheRights();
    void leadsFromDeviceToDevice();
    void logsInToTwentyDevicesByReturn();
    void acceptsAnEmptyList_data();
    void acceptsAnEmptyList();

    void waitsForADeviceThatNeverAnswersTheQuery();
    void endsAtAnyMoment_data();
    void endsAtAnyMoment();
    void leavesTheDevicesAlone();
    void ignoresOtherDevices();
    void ignoresReadingsOfOthersWhileItWaits();
    void showsTheNameAnewAfterTheLogin();
    void ignoresReadingsWhileItAsks();
    void asksForTheNextDeviceWhateverItReports_data();
    void asksForTheNextDeviceWhateverItReports();
    void logsInToTheNextDeviceWhileAQueryIsOut();
    void startsOverALoginThatWasLeft();
    void logsWhatHappensWithoutThePassword();

private:
    /// A fleet of so many devices "lab-1", "lab-2" and so on, with a row each.
    void start(int count, const simulator::DeviceOptions &options = {});
    /// Opens the dialog for the whole fleet.
    void open(int requiredGroup);
    void openFor(const QList<Device *> &devices, int requiredGroup);
    Device &device(int index) { return m_rows.at(static_cast<std::size_t>(index))->device(); }
    template <typename T>
    T *find(const char *objectName) const
    {
        return m_dialog->findChild<T *>(QLatin1String(objectName));
    }
    QString hostname() const { return find<QLabel>("labelHostname")->text(); }
    /// Whether it asks or waits, and its message: "asking: Wrong login"; "done: 1" when it is closed.
    QString state() const;
    /// Name of what has the focus.
    QString focused() const;
    /// Types it over what the field holds.
    void type(const char *field, const QString &text) const;
    void fillIn(const QString &user, const QString &password) const;
    void press(const char *button) const;
    static void pressKey(Qt::Key key) { QTest::keyClick(QApplication::focusWidget(), key); }
    std::size_t loginCount(int index) const { return m_fleet->requests(index, "login.cgi").size(); }
    /// Has the device ask for its readings, and waits for them.
    void refresh(int index);

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<Fleet> m_fleet;
    std::vector<std::unique_ptr<DeviceRow>> m_rows;
    std::unique_ptr<LoginDevicesDialog> m_dialog;
    std::unique_ptr<QSignalSpy> m_finished;
};

void TestLoginDevicesDialog::init()
{
    m_environment = std::make_unique<TestEnvironment>();
}

void TestLoginDevicesDialog::cleanup()
{
    m_finished.reset();
    m_dialog.reset();
    m_rows.clear();
    m_fleet.reset();
    // Requests that were out end with the fleet; none may outlive the test.
    QTRY_COMPARE_WITH_TIMEOUT(orphanedManagers().size(), 0, patience);
    m_environment.reset();
}

void TestLoginDevicesDialog::start(int count, const simulator::DeviceOptions &options)
{
    m_fleet = std::make_unique<Fleet>();
    for (int i = 0; i < count; ++i) {
        simulator::DeviceOptions own = options;
        if (!own.hostName) {
            own.hostName = "lab-" + std::to_string(i + 1);
        }
        m_fleet->addDevice(own);
    }
    m_fleet->start();
    for (int i = 0; i < count; ++i) {
        m_rows.push_back(std::make_unique<DeviceRow>(*m_fleet, i));
    }
}

void TestLoginDevicesDialog::open(int requiredGroup)
{
    QList<Device *> devices;
    for (const auto &row : m_rows) {
        devices += &row->device();
    }
    openFor(devices, requiredGroup);
}

void TestLoginDevicesDialog::openFor(const QList<Device *> &devices, int requiredGroup)
{
    m_dialog = std::make_unique<LoginDevicesDialog>(devices, AccessLevel(requiredGroup), nullptr);
    m_finished = std::make_unique<QSignalSpy>(m_dialog.get(), &QDialog::finished);
    m_dialog->show();
    m_dialog->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(m_dialog.get()));
}

QString TestLoginDevicesDialog::state() const
{
    if (!m_dialog->isVisible()) {
        return QStringLiteral("done: %1").arg(m_dialog->result());
    }
    const bool user = find<QLineEdit>(userField)->isEnabled();
    const bool password = find<QLineEdit>(passwordField)->isEnabled();
    const bool ok = find<QPushButton>("pushButtonOK")->isEnabled();
    if (user != password || user != ok || !find<QPushButton>("pushButtonCancel")->isEnabled() ||
        !find<QCheckBox>("checkBoxShowPassword")->isEnabled()) {
        return QStringLiteral("neither asking nor waiting");
    }
    const QString message = find<QLabel>("labelError")->text();
    return (user ? asking : QStringLiteral("waiting")) +
           (message.isEmpty() ? QString() : QLatin1String(": ") + message);
}

QString TestLoginDevicesDialog::focused() const
{
    return m_dialog->focusWidget() && m_dialog->focusWidget()->hasFocus()
               ? m_dialog->focusWidget()->objectName()
               : QString();
}

void TestLoginDevicesDialog::type(const char *field, const QString &text) const
{
    auto *const edit = find<QLineEdit>(field);
    edit->setFocus();
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Delete);
    QTest::keyClicks(edit, text);
}

void TestLoginDevicesDialog::fillIn(const QString &user, const QString &password) const
{
    type(userField, user);
    type(passwordField, password);
}

void TestLoginDevicesDialog::press(const char *button) const
{
    QTest::mouseClick(find<QPushButton>(button), Qt::LeftButton);
}

void TestLoginDevicesDialog::refresh(int index)
{
    const DeviceRow &row = *m_rows.at(static_cast<std::size_t>(index));
    const int before = row.newDataCount();
    device(index).updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(row.newDataCount(), before + 1, patience);
}

void TestLoginDevicesDialog::looksAsDesigned()
{
    start(1);
    LoginDevicesDialog unshown({&device(0)}, AccessLevel::None, nullptr);
    QVERIFY(!unshown.windowFlags().testFlag(Qt::WindowContextHelpButtonHint));
    QCOMPARE(unshown.findChild<QLabel *>(QStringLiteral("labelHostname"))->text(), QStringLiteral("lab-1"));
    QCOMPARE(unshown.findChild<QLabel *>(QStringLiteral("labelError"))->text(), QString());

    open(0);
    QCOMPARE(m_dialog->windowTitle(), QStringLiteral("Login"));
    QVERIFY(m_dialog->windowFlags().testFlag(Qt::Dialog));
    QVERIFY(!m_dialog->windowFlags().testFlag(Qt::WindowContextHelpButtonHint));
    QCOMPARE(state(), asking);
    QCOMPARE(focused(), QLatin1String(userField));
    QCOMPARE(find<QLineEdit>(userField)->text(), QString());
    QCOMPARE(find<QLineEdit>(passwordField)->text(), QString());
    QCOMPARE(find<QLineEdit>(userField)->echoMode(), QLineEdit::Normal);
    QCOMPARE(find<QLineEdit>(passwordField)->echoMode(), QLineEdit::Password);
    QCOMPARE(find<QCheckBox>("checkBoxShowPassword")->isChecked(), false);

    const auto *const grid = qobject_cast<QGridLayout *>(m_dialog->layout());
    QVERIFY(grid);
    QCOMPARE(grid->objectName(), QStringLiteral("gridLayout"));
    // The labels beside what they are for.
    const QList<QList<QByteArray>> rows{{"label_4", "Hostname", "labelHostname"},
                                        {"label", "User", userField},
                                        {"label_2", "Password", passwordField}};
    for (int row = 0; row < rows.size(); ++row) {
        const QList<QByteArray> &expected = rows.at(row);
        const auto *const label = find<QLabel>(expected.at(0).constData());
        QVERIFY2(label, expected.at(0).constData());
        QCOMPARE(label->text(), QString::fromLatin1(expected.at(1)));
        QCOMPARE(grid->itemAtPosition(row, 0)->widget(), label);
        QCOMPARE(grid->itemAtPosition(row, 1)->widget(), find<QWidget>(expected.at(2).constData()));
    }
    QCOMPARE(find<QCheckBox>("checkBoxShowPassword")->text(), QStringLiteral("Show"));
    QVERIFY(grid->indexOf(find<QLabel>("labelError")) >= 0);
    const auto *const buttons = m_dialog->findChild<QHBoxLayout *>(QStringLiteral("horizontalLayout"));
    QVERIFY(buttons);
    QCOMPARE(buttons->indexOf(find<QPushButton>("pushButtonCancel")), 0);
    QCOMPARE(buttons->indexOf(find<QPushButton>("pushButtonOK")), 1);
    QCOMPARE(find<QPushButton>("pushButtonCancel")->text(), QStringLiteral("Cancel"));
    QCOMPARE(find<QPushButton>("pushButtonOK")->text(), QStringLiteral("OK"));
    const QList<QPushButton *> allButtons = m_dialog->findChildren<QPushButton *>();
    for (const QPushButton *const button : allButtons) {
        QVERIFY(!button->autoDefault());
        QVERIFY(!button->isDefault());
    }
}

void TestLoginDevicesDialog::speaksGerman()
{
    QTranslator german;
    QVERIFY(german.load(QStringLiteral(NEMBRA_TRANSLATIONS "/NembraHub_de.qm")));
    QVERIFY(QCoreApplication::installTranslator(&german));
    start(1);
    open(3);
    QCOMPARE(m_dialog->windowTitle(), QStringLiteral("Anmeldung"));
    QCOMPARE(find<QLabel>("label")->text(), QStringLiteral("Benutzer"));
    QCOMPARE(find<QLabel>("label_2")->text(), QStringLiteral("Passwort"));
    QCOMPARE(find<QPushButton>("pushButtonCancel")->text(), QStringLiteral("Abbrechen"));
    m_fleet->addFault(0, Fault::answerAfter(100ms).onPath("login.cgi"));
    fillIn(QStringLiteral("guest"), QStringLiteral("guest"));
    press("pushButtonOK");
    QCOMPARE(state(), QStringLiteral("waiting: Bitte warten …"));
    QTRY_COMPARE_WITH_TIMEOUT(state(), QStringLiteral("waiting: Fehlende Zugriffsrechte"), patience);
}

void TestLoginDevicesDialog::namesTheDeviceAndItsNumber_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("shown");
    QTest::newRow("one device") << "lab-sensor" << 1 << "lab-sensor";
    QTest::newRow("three devices") << "lab-sensor" << 3 << "lab-sensor (1/3)";
    QTest::newRow("markup stays text") << "<b>a</b><img src=x>" << 1 << "<b>a</b><img src=x>";
    QTest::newRow("markup of one of two") << "<b>a</b>&amp;" << 2 << "<b>a</b>&amp; (1/2)";
    QTest::newRow("ampersand") << "R&D" << 1 << "R&D";
    QTest::newRow("placeholders") << "%1 %2 %3" << 2 << "%1 %2 %3 (1/2)";
    QTest::newRow("no name") << "" << 1 << "";
    QTest::newRow("no name of two") << "" << 2 << " (1/2)";
    QTest::newRow("line breaks") << QString(99, QLatin1Char('\n')) << 1 << QString(99, QLatin1Char(' '));
    QTest::newRow("control characters") << "a\x1b[2J\u0085" << 1 << "a [2J ";
    QTest::newRow("wide letters") << QString(99, QLatin1Char('W')) << 1 << QString(99, QLatin1Char('W'));
}

void TestLoginDevicesDialog::namesTheDeviceAndItsNumber()
{
    QFETCH(QString, name);
    QFETCH(int, count);
    QList<Device *> devices;
    for (int i = 0; i < count; ++i) {
        DiscoveryDevice record;
        record.setHostname(name);
        m_rows.push_back(std::make_unique<DeviceRow>());
        m_rows.back()->device().updateFromDiscovery(record);
        devices += &m_rows.back()->device();
    }
    openFor(devices, 0);
    QTEST(hostname(), "shown");
    QCOMPARE(find<QLabel>("labelHostname")->textFormat(), Qt::PlainText);
    QVERIFY(!find<QLabel>("labelHostname")->buddy());
    // All of it stays on a small screen.
    QVERIFY(m_dialog->width() <= 800);
    QVERIFY(m_dialog->height() <= 600);
    // What a device makes of an error may hold markup, too.
    QCOMPARE(find<QLabel>("labelError")->textFormat(), Qt::PlainText);
}

void TestLoginDevicesDialog::showsThePasswordOnDemandOnly()
{
    start(1);
    m_fleet->addFault(0, Fault::hang().onPath("login.cgi"));
    open(0);
    fillIn(QStringLiteral("admin"), QStringLiteral("secret"));
    auto *const password = find<QLineEdit>(passwordField);
    auto *const box = find<QCheckBox>("checkBoxShowPassword");
    QVERIFY(!password->displayText().contains(QLatin1String("secret")));
    box->setFocus();
    pressKey(Qt::Key_Space);
    QCOMPARE(password->echoMode(), QLineEdit::Normal);
    QCOMPARE(password->displayText(), QStringLiteral("secret"));
    // No input method learns it.
    QVERIFY(password->inputMethodHints().testFlag(Qt::ImhSensitiveData));
    QVERIFY(password->inputMethodHints().testFlag(Qt::ImhNoPredictiveText));
    pressKey(Qt::Key_Space);
    QCOMPARE(password->echoMode(), QLineEdit::Password);
    QVERIFY(!password->displayText().contains(QLatin1String("secret")));
    // Also while it waits.
    press("pushButtonOK");
    QCOMPARE(state(), waiting);
    box->click();
    QCOMPARE(password->echoMode(), QLineEdit::Normal);
    box->click();
    QCOMPARE(password->echoMode(), QLineEdit::Password);
    QCOMPARE(password->text(), QStringLiteral("secret"));
}

void TestLoginDevicesDialog::leadsByTabThroughItsFields()
{
    start(1);
    open(0);
    QStringList chain{focused()};
    for (int i = 0; i < 5; ++i) {
        pressKey(Qt::Key_Tab);
        chain += focused();
    }
    QCOMPARE(
        chain.join(QLatin1Char(' ')),
        QStringLiteral("lineEditUser lineEditPassword checkBoxShowPassword pushButtonCancel pushButtonOK "
                       "lineEditUser"));
}

void TestLoginDevicesDialog::namesItsFields()
{
    start(1);
    open(0);
    QCOMPARE(find<QLabel>("label")->buddy(), find<QWidget>(userField));
    QCOMPARE(find<QLabel>("label_2")->buddy(), find<QWidget>(passwordField));
    const auto accessibleName = [this](const char *name) {
        const QAccessibleInterface *const interface =
            QAccessible::queryAccessibleInterface(find<QWidget>(name));
        return interface ? interface->text(QAccessible::Name) : QString();
    };
    QCOMPARE(accessibleName(userField), QStringLiteral("User"));
    QCOMPARE(accessibleName(passwordField), QStringLiteral("Password"));
    QCOMPARE(accessibleName("checkBoxShowPassword"), QStringLiteral("Show"));
    QCOMPARE(accessibleName("pushButtonCancel"), QStringLiteral("Cancel"));
    QCOMPARE(accessibleName("pushButtonOK"), QStringLiteral("OK"));
    // Nobody reads the password aloud.
    const QAccessibleInterface *const password =
        QAccessible::queryAccessibleInterface(find<QWidget>(passwordField));
    type(passwordField, QStringLiteral("secret"));
    QVERIFY(password->state().passwordEdit);
    QVERIFY(!password->text(QAccessible::Value).contains(QLatin1String("secret")));
}

void TestLoginDevicesDialog::movesOnByReturn()
{
    start(1);
    open(0);
    type(userField, QStringLiteral("admin"));
    pressKey(Qt::Key_Return);
    QCOMPARE(focused(), QLatin1String(passwordField));
    QCOMPARE(state(), asking);
    QCOMPARE(device(0).requestOutstanding(), false);
    // Neither a button nor the box is pressed by Return.
    for (const char *const name : {"checkBoxShowPassword", "pushButtonCancel", "pushButtonOK"}) {
        find<QWidget>(name)->setFocus();
        pressKey(Qt::Key_Return);
        QCOMPARE(state(), asking);
        QCOMPARE(focused(), QLatin1String(name));
    }
    QCOMPARE(m_fleet->requests(0).size(), std::size_t(0));
}

void TestLoginDevicesDialog::logsIn_data()
{
    QTest::addColumn<QByteArray>("way");
    QTest::newRow("Return in the password") << QByteArray("return");
    QTest::newRow("Enter in the password") << QByteArray("enter");
    QTest::newRow("click on OK") << QByteArray("click");
    QTest::newRow("blank on OK") << QByteArray("blank");
}

void TestLoginDevicesDialog::logsIn()
{
    QFETCH(QByteArray, way);
    start(1);
    open(0);
    fillIn(QStringLiteral("admin"), QStringLiteral("admin"));
    if (way == "click") {
        press("pushButtonOK");
    } else if (way == "blank") {
        find<QPushButton>("pushButtonOK")->setFocus();
        pressKey(Qt::Key_Space);
    } else {
        pressKey(way == "enter" ? Qt::Key_Enter : Qt::Key_Return);
    }
    QCOMPARE(state(), waiting);
    QTRY_COMPARE_WITH_TIMEOUT(state(), QStringLiteral("done: 1"), patience);
    QCOMPARE(m_finished->count(), 1);
    QCOMPARE(loginCount(0), std::size_t(1));
    QCOMPARE(m_fleet->requests(0).size(), std::size_t(2));
    QCOMPARE(device(0).loginUser(), QStringLiteral("admin"));
    QCOMPARE(device(0).loginPassword(), QStringLiteral("admin"));
    QCOMPARE(device(0).sidCookie().name(), QByteArray("sid"));
}

void TestLoginDevicesDialog::waitsForTheLogin()
{
    start(1);
    m_fleet->addFault(0, Fault::hang().onPath("login.cgi"));
    open(0);
    fillIn(QStringLiteral("admin"), QStringLiteral("admin"));
    pressKey(Qt::Key_Return);
    QCOMPARE(state(), waiting);
    QCOMPARE(hostname(), QStringLiteral("lab-1"));
    QTRY_COMPARE_WITH_TIMEOUT(loginCount(0), std::size_t(1), patience);
    // Nothing brings it out a second time.
    press("pushButtonOK");
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter}) {
        pressKey(key);
        QTest::keyClick(m_dialog.get(), key);
        QTest::keyClick(find<QLineEdit>(passwordField), key);
    }
    QCOMPARE(state(), waiting);
    QCOMPARE(find<QLineEdit>(userField)->text(), QStringLiteral("admin"));
    QCOMPARE(find<QLineEdit>(passwordField)->text(), QStringLiteral("admin"));
    press("pushButtonCancel");
    QCOMPARE(state(), QStringLiteral("done: 0"));
    QCOMPARE(loginCount(0), std::size_t(1));
}

void TestLoginDevicesDialog::waitsForTheRights()
{
    start(2);
    m_fleet->addFault(0, Fault::answerAfter(300ms).onPath("admin/proctpl.cgi"));
    open(3);
    QSignalSpy result(&device(0), &Device::loginResult);
    fillIn(QStringLiteral("admin"), QStringLiteral("admin"));
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(result.count(), 1, patience);
    QCOMPARE(result.constFirst().constFirst().toBool(), true);
    QCOMPARE(state(), waiting);
    QCOMPARE(hostname(), QStringLiteral("lab-1 (1/2)"));
    QTRY_COMPARE_WITH_TIMEOUT(state(), asking, patience);
    QCOMPARE(hostname(), QStringLiteral("lab-2 (2/2)"));
    // One login and one query.
    QCOMPARE(m_fleet->requests(0).size(), std::size_t(2));
}

void TestLoginDevicesDialog::needsTheRights_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<int>("required");
    QTest::addColumn<bool>("enough");
    const QStringList users{QStringLiteral("none"), QStringLiteral("guest"), QStringLiteral("service"),
                            QStringLiteral("admin")};
    // By user, then by what is required, 0 to 3.
    const std::vector<std::vector<bool>> enough{{true, false, false, false},
                                                {true, true, false, false},
                                                {true, true, true, false},
                                                {true, true, true, true}};
    for (int user = 0; user < users.size(); ++user) {
        for (int required = 0; required <= 3; ++required) {
            QTest::newRow(qPrintable(QStringLiteral("%1 for %2").arg(users.at(user)).arg(required)))
                << users.at(user) << required
                << bool(enough.at(static_cast<std::size_t>(user)).at(static_cast<std::size_t>(required)));
        }
    }
}

void TestLoginDevicesDialog::needsTheRights()
{
    QFETCH(QString, user);
    QFETCH(int, required);
    QFETCH(bool, enough);
    start(1);
    open(required);
    fillIn(user, user);
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(state(), enough ? QStringLiteral("done: 1") : refused, patience);
}

void TestLoginDevicesDialog::goesByTheAnswerAfterTheLogin_data()
{
    QTest::addColumn<int>("required");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("enough");
    QTest::newRow("403 counts as none, which is enough") << 0 << QByteArray("403") << true;
    QTest::newRow("403 counts as none, which is too little") << 1 << QByteArray("403") << false;
    QTest::newRow("less than before") << 3 << QByteArray("2") << false;
    QTest::newRow("more than there is") << 3 << QByteArray("4") << true;
    QTest::newRow("a negative number") << 0 << QByteArray("-1") << false;
    QTest::newRow("no number") << 1 << QByteArray("admin") << false;
}

void TestLoginDevicesDialog::goesByTheAnswerAfterTheLogin()
{
    QFETCH(int, required);
    QFETCH(QByteArray, answer);
    QFETCH(bool, enough);
    start(1);
    m_fleet->setVariable(0, "login_group", "3");
    refresh(0);
    QCOMPARE(device(0).loginGroup(), 3);
    open(required);
    if (answer == "403") {
        m_fleet->addFault(0, Fault::status(403, "Forbidden").onPath("admin/proctpl.cgi"));
    } else {
        m_fleet->setVariable(0, "login_group", answer.toStdString());
    }
    fillIn(QStringLiteral("admin"), QStringLiteral("admin"));
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(state(), enough ? QStringLiteral("done: 1") : refused, patience);
}

void TestLoginDevicesDialog::asksAgainAfterAWrongLogin()
{
    start(1);
    open(3);
    fillIn(QStringLiteral("admin"), QStringLiteral("Wrong"));
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(state(), wrongLogin, patience);
    QCOMPARE(focused(), QLatin1String(passwordField));
    QCOMPARE(find<QLineEdit>(passwordField)->selectedText().size(), 5);
    QCOMPARE(find<QLineEdit>(userField)->text(), QStringLiteral("admin"));
    // The information that follows changes nothing.
    QTRY_COMPARE_WITH_TIMEOUT(m_rows.front()->newDataCount(), 1, patience);
    QCOMPARE(state(), wrongLogin);
    // What is typed now stands in its place.
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("admin"));
    pressKey(Qt::Key_Return);
    QCOMPARE(state(), waiting);
    QTRY_COMPARE_WITH_TIMEOUT(state(), QStringLiteral("done: 1"), patience);
    QCOMPARE(loginCount(0), std::size_t(2));
}

void TestLoginDevicesDialog::asksAgainAfterAProblemOfTheNetwork()
{
    start(1);
    m_fleet->addFault(0, Fault::closeWithoutAnswer().onPath("login.cgi").times(1));
    open(3);
    // What it showed at each result.
    const auto shown = std::make_shared<QStringList>();
    connect(&device(0), &Device::loginResult, this,
            [this, shown](bool, const QString &) { *shown += find<QLabel>("labelError")->text(); });
    fillIn(QStringLiteral("admin"), QStringLiteral("admin"));
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(shown->size(), 2, patience);
    disconnect(&device(0), &Device::loginResult, this, nullptr);
    QVERIFY2(shown->constFirst().startsWith(QLatin1String("Network Problem: ")),
             qPrintable(shown->constFirst()));
    QCOMPARE(state(), wrongLogin);
    QCOMPARE(focused(), QLatin1String(passwordField));
    QCOMPARE(find<QLineEdit>(passwordField)->selectedText().size(), 5);
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(state(), QStringLiteral("done: 1"), patience);
}

void TestLoginDevicesDialog::asksAgainForADeviceWithoutAnAddress()
{
    m_rows.push_back(std::make_unique<DeviceRow>());
    open(0);
    fillIn(QStringLiteral("admin"), QStringLiteral("admin"));
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(state(), wrongLogin, patience);
    QTRY_COMPARE_WITH_TIMEOUT(m_rows.front()->newDataCount(), 1, patience);
    QCOMPARE(state(), wrongLogin);
}

void TestLoginDevicesDialog::givesNoSecondTryWithoutTheRights()
{
    start(2);
    open(3);
    fillIn(QStringLiteral("service"), QStringLiteral("service"));
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(state(), refused, patience);
    QCOMPARE(hostname(), QStringLiteral("lab-1 (1/2)"));
    press("pushButtonOK");
    QTest::keyClick(find<QLineEdit>(passwordField), Qt::Key_Return);
    QTest::keyClick(m_dialog.get(), Qt::Key_Return);
    QCOMPARE(state(), refused);
    // Even if the device changes its mind.
    m_fleet->setVariable(0, "login_group", "3");
    refresh(0);
    QCOMPARE(device(0).loginGroup(), 3);
    QCOMPARE(state(), refused);
    QCOMPARE(hostname(), QStringLiteral("lab-1 (1/2)"));
    QCOMPARE(loginCount(0), std::size_t(1));
    QCOMPARE(m_finished->count(), 0);
    press("pushButtonCancel");
    QCOMPARE(state(), QStringLiteral("done: 0"));
    QCOMPARE(loginCount(1), std::size_t(0));
}

void TestLoginDevicesDialog::leadsFromDeviceToDevice()
{
    start(3);
    // Its administrator has another password.
    m_fleet->change(1, [](simulator::DeviceOptions &options) { options.users = {{"admin", "other", 3}}; });
    open(2);
    QCOMPARE(hostname(), QStringLiteral("lab-1 (1/3)"));
    fillIn(QStringLiteral("admin"), QStringLiteral("admin"));
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(state(), asking, patience);
    QCOMPARE(hostname(), QStringLiteral("lab-2 (2/3)"));
    QCOMPARE(focused(), QLatin1String(userField));
    QCOMPARE(find<QLineEdit>(userField)->selectedText(), QStringLiteral("admin"));
    QCOMPARE(find<QLineEdit>(passwordField)->text(), QStringLiteral("admin"));
    QCOMPARE(loginCount(1), std::size_t(0));

    pressKey(Qt::Key_Return);
    QCOMPARE(focused(), QLatin1String(passwordField));
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(state(), wrongLogin, patience);
    QCOMPARE(hostname(), QStringLiteral("lab-2 (2/3)"));
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("other"));
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(state(), asking, patience);
    QCOMPARE(hostname(), QStringLiteral("lab-3 (3/3)"));
    QCOMPARE(find<QLineEdit>(passwordField)->text(), QStringLiteral("other"));

    fillIn(QStringLiteral("service"), QStringLiteral("service"));
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(state(), QStringLiteral("done: 1"), patience);
    QCOMPARE(loginCount(0), std::size_t(1));
    QCOMPARE(loginCount(1), std::size_t(2));
    QCOMPARE(loginCount(2), std::size_t(1));
    QCOMPARE(device(0).loginGroup(), 3);
    QCOMPARE(device(1).loginPassword(), QStringLiteral("other"));
    QCOMPARE(device(2).loginUser(), QStringLiteral("service"));
}

void TestLoginDevicesDialog::logsInToTwentyDevicesByReturn()
{
    start(20);
    open(3);
    type(userField, QStringLiteral("admin"));
    pressKey(Qt::Key_Return);
    QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("admin"));
    for (int i = 1; i <= 20; ++i) {
        QCOMPARE(hostname(), QStringLiteral("lab-%1 (%1/20)").arg(i));
        QCOMPARE(focused(), QLatin1String(i == 1 ? passwordField : userField));
        if (i > 1) {
            pressKey(Qt::Key_Return);
        }
        pressKey(Qt::Key_Return);
        QTRY_COMPARE_WITH_TIMEOUT(state(), i < 20 ? asking : QStringLiteral("done: 1"), longPatience);
    }
    QCOMPARE(m_finished->count(), 1);
    QStringList order;
    for (const simulator::HttpRecord &request : m_fleet->journal().requests) {
        if (request.target == "/login.cgi") {
            order += QString::number(request.device + 1);
            QCOMPARE(request.body, std::string("btnapp=Submit&login_user=admin&login_password=admin"));
        }
    }
    QCOMPARE(order.join(QLatin1Char(' ')),
             QStringLiteral("1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20"));
    for (int i = 0; i < 20; ++i) {
        QCOMPARE(device(i).loginGroup(), 3);
    }
}

void TestLoginDevicesDialog::acceptsAnEmptyList_data()
{
    QTest::addColumn<bool>("byKey");
    QTest::newRow("OK") << false;
    QTest::newRow("Return in the password") << true;
}

void TestLoginDevicesDialog::acceptsAnEmptyList()
{
    QFETCH(bool, byKey);
    openFor({}, 3);
    QCOMPARE(hostname(), QString());
    QCOMPARE(state(), asking);
    if (byKey) {
        find<QLineEdit>(passwordField)->setFocus();
        pressKey(Qt::Key_Return);
    } else {
        press("pushButtonOK");
    }
    QCOMPARE(state(), QStringLiteral("done: 1"));
}

void TestLoginDevicesDialog::waitsForADeviceThatNeverAnswersTheQuery()
{
    start(1);
    m_fleet->addFault(0, Fault::hang().onPath("admin/proctpl.cgi"));
    open(0);
    fillIn(QStringLiteral("admin"), QStringLiteral("admin"));
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(0, "admin/proctpl.cgi").size(), std::size_t(1), patience);
    QCOMPARE(state(), waiting);
    // A device that is refreshed meanwhile is not asked twice.
    device(0).updateInfo();
    QCOMPARE(state(), waiting);
    press("pushButtonCancel");
    QCOMPARE(state(), QStringLiteral("done: 0"));
    QCOMPARE(m_fleet->requests(0).size(), std::size_t(2));
    QCOMPARE(device(0).sidCookie().name(), QByteArray("sid"));
}

void TestLoginDevicesDialog::endsAtAnyMoment_data()
{
    QTest::addColumn<QByteArray>("moment");
    QTest::addColumn<QByteArray>("way");
    for (const char *const moment : {"asking", "login", "rights", "refused", "asking again"}) {
        for (const char *const way : {"escape", "close", "cancel"}) {
            QTest::newRow((QByteArray(moment) + ", " + way).constData())
                << QByteArray(moment) << QByteArray(way);
        }
    }
}

void TestLoginDevicesDialog::endsAtAnyMoment()
{
    QFETCH(QByteArray, moment);
    QFETCH(QByteArray, way);
    start(1);
    QSignalSpy results(&device(0), &Device::loginResult);
    if (moment == "login") {
        m_fleet->addFault(0, Fault::answerAfter(100ms).onPath("login.cgi"));
    } else if (moment == "rights") {
        m_fleet->addFault(0, Fault::answerAfter(100ms).onPath("admin/proctpl.cgi"));
    }
    open(3);
    if (moment != "asking") {
        fillIn(moment == "refused" ? QStringLiteral("guest") : QStringLiteral("admin"),
               moment == "refused"        ? QStringLiteral("guest")
               : moment == "asking again" ? QStringLiteral("wrong")
                                          : QStringLiteral("admin"));
        pressKey(Qt::Key_Return);
        QCOMPARE(state(), waiting);
    }
    if (moment == "rights") {
        QTRY_COMPARE_WITH_TIMEOUT(results.count(), 1, patience);
        QCOMPARE(state(), waiting);
    } else if (moment == "refused") {
        QTRY_COMPARE_WITH_TIMEOUT(state(), refused, patience);
    } else if (moment == "asking again") {
        QTRY_COMPARE_WITH_TIMEOUT(state(), wrongLogin, patience);
    }
    if (way == "escape") {
        QTest::keyClick(m_dialog.get(), Qt::Key_Escape);
    } else if (way == "close") {
        m_dialog->close();
    } else {
        press("pushButtonCancel");
    }
    QCOMPARE(state(), QStringLiteral("done: 0"));
    QCOMPARE(m_finished->count(), 1);
    // What is out ends in its own time, without the dialog.
    m_dialog.reset();
    if (moment != "asking") {
        QTRY_COMPARE_WITH_TIMEOUT(m_rows.front()->newDataCount(), 1, patience);
        QCOMPARE(results.count(), 1);
        QCOMPARE(device(0).requestOutstanding(), false);
    }
}

void TestLoginDevicesDialog::leavesTheDevicesAlone()
{
    start(2);
    open(0);
    m_dialog.reset();
    for (int i = 0; i < 2; ++i) {
        refresh(i);
        device(i).login(QStringLiteral("admin"), QStringLiteral("admin"));
        QTRY_COMPARE_WITH_TIMEOUT(device(i).loginGroup(), 3, patience);
    }
}

void TestLoginDevicesDialog::ignoresOtherDevices()
{
    start(3);
    m_fleet->addFault(0, Fault::answerAfter(600ms).onPath("login.cgi"));
    // The third takes no part at all.
    openFor({&device(0), &device(1)}, 3);
    fillIn(QStringLiteral("admin"), QStringLiteral("admin"));
    const auto logInElsewhere = [this] {
        for (const int other : {1, 2}) {
            DeviceRow &row = *m_rows.at(static_cast<std::size_t>(other));
            const QString shown = state();
            for (const QString &password : {QStringLiteral("admin"), QStringLiteral("wrong")}) {
                const int before = row.newDataCount();
                row.device().login(QStringLiteral("admin"), password);
                QTRY_COMPARE_WITH_TIMEOUT(row.newDataCount(), before + 1, patience);
                QCOMPARE(state(), shown);
                QCOMPARE(hostname(), QStringLiteral("lab-1 (1/2)"));
            }
        }
    };
    logInElsewhere();
    QCOMPARE(state(), asking);
    QSignalSpy result(&device(0), &Device::loginResult);
    pressKey(Qt::Key_Return);
    QCOMPARE(state(), waiting);
    logInElsewhere();
    QCOMPARE(result.count(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(hostname(), QStringLiteral("lab-2 (2/2)"), patience);
    // The first has had its turn.
    device(0).login(QStringLiteral("admin"), QStringLiteral("wrong"));
    QTRY_COMPARE_WITH_TIMEOUT(result.count(), 2, patience);
    refresh(0);
    QCOMPARE(state(), asking);
    QCOMPARE(hostname(), QStringLiteral("lab-2 (2/2)"));
    QCOMPARE(focused(), QLatin1String(userField));
}

void TestLoginDevicesDialog::ignoresReadingsOfOthersWhileItWaits()
{
    start(2);
    // Its rights are known from before; what counts are those of the login to come.
    const QString admin = QStringLiteral("admin");
    device(0).login(admin, admin);
    QTRY_COMPARE_WITH_TIMEOUT(device(0).loginGroup(), 3, patience);
    m_fleet->addFault(0, Fault::answerAfter(1s).onPath("admin/proctpl.cgi"));
    open(3);
    QSignalSpy result(&device(0), &Device::loginResult);
    fillIn(admin, admin);
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(result.count(), 1, patience);
    refresh(1);
    QCOMPARE(state(), waiting);
    QCOMPARE(hostname(), QStringLiteral("lab-1 (1/2)"));
    QTRY_COMPARE_WITH_TIMEOUT(hostname(), QStringLiteral("lab-2 (2/2)"), patience);
}

void TestLoginDevicesDialog::showsTheNameAnewAfterTheLogin()
{
    start(1);
    m_fleet->addFault(0, Fault::hang().onPath("admin/proctpl.cgi"));
    open(0);
    DiscoveryDevice renamed = device(0).record();
    renamed.setHostname(QStringLiteral("roof"));
    device(0).updateFromDiscovery(renamed);
    QCOMPARE(hostname(), QStringLiteral("lab-1"));
    fillIn(QStringLiteral("admin"), QStringLiteral("admin"));
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(hostname(), QStringLiteral("roof"), patience);
    QCOMPARE(state(), waiting);
}

void TestLoginDevicesDialog::ignoresReadingsWhileItAsks()
{
    start(1);
    m_fleet->setVariable(0, "login_group", "3");
    open(0);
    refresh(0);
    QCOMPARE(state(), asking);
    QCOMPARE(hostname(), QStringLiteral("lab-1"));
    QCOMPARE(m_finished->count(), 0);
}

void TestLoginDevicesDialog::asksForTheNextDeviceWhateverItReports_data()
{
    QTest::addColumn<int>("required");
    QTest::newRow("what everybody may") << 0;
    QTest::newRow("what a visitor may not") << 3;
}

void TestLoginDevicesDialog::asksForTheNextDeviceWhateverItReports()
{
    QFETCH(int, required);
    start(2);
    open(required);
    fillIn(QStringLiteral("admin"), QStringLiteral("admin"));
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(hostname(), QStringLiteral("lab-2 (2/2)"), patience);
    // A refresh comes along while the user types.
    refresh(1);
    QCOMPARE(state(), asking);
    QCOMPARE(hostname(), QStringLiteral("lab-2 (2/2)"));
    QCOMPARE(loginCount(1), std::size_t(0));
    pressKey(Qt::Key_Return);
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(state(), QStringLiteral("done: 1"), patience);
    QCOMPARE(loginCount(1), std::size_t(1));
}

void TestLoginDevicesDialog::logsInToTheNextDeviceWhileAQueryIsOut()
{
    start(3);
    refresh(1);
    open(0);
    fillIn(QStringLiteral("admin"), QStringLiteral("admin"));
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(hostname(), QStringLiteral("lab-2 (2/3)"), patience);
    const std::size_t requests = m_fleet->requests(1).size();
    m_fleet->addFault(1, Fault::hang().onPath("admin/proctpl.cgi").times(1));
    device(1).updateInfo();
    QTRY_COMPARE_WITH_TIMEOUT(m_fleet->requests(1).size(), requests + 1, patience);
    // The end of the query is no answer to the login.
    pressKey(Qt::Key_Return);
    pressKey(Qt::Key_Return);
    QCOMPARE(hostname(), QStringLiteral("lab-2 (2/3)"));
    QCOMPARE(state(), waiting);
    QTRY_COMPARE_WITH_TIMEOUT(hostname(), QStringLiteral("lab-3 (3/3)"), patience);
    QCOMPARE(state(), asking);
    QCOMPARE(device(1).loginGroup(), 3);
}

void TestLoginDevicesDialog::startsOverALoginThatWasLeft()
{
    start(1);
    m_fleet->addFault(0, Fault::hang().onPath("login.cgi").times(1));
    open(3);
    fillIn(QStringLiteral("guest"), QStringLiteral("guest"));
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(loginCount(0), std::size_t(1), patience);
    QTest::keyClick(m_dialog.get(), Qt::Key_Escape);

    open(3);
    QCOMPARE(state(), asking);
    QCOMPARE(find<QLineEdit>(passwordField)->text(), QString());
    fillIn(QStringLiteral("admin"), QStringLiteral("admin"));
    pressKey(Qt::Key_Return);
    // The old one has failed meanwhile, which is no news.
    QCOMPARE(state(), waiting);
    QTRY_COMPARE_WITH_TIMEOUT(state(), QStringLiteral("done: 1"), patience);
    QCOMPARE(loginCount(0), std::size_t(2));
    QCOMPARE(device(0).loginUser(), QStringLiteral("admin"));
}

void TestLoginDevicesDialog::logsWhatHappensWithoutThePassword()
{
    simulator::DeviceOptions options;
    options.users = {{"admin", "pass&word 1", 3}};
    start(1, options);
    open(3);
    const LogReader log;
    fillIn(QStringLiteral("admin"), QStringLiteral("wrong word+2"));
    find<QCheckBox>("checkBoxShowPassword")->click();
    pressKey(Qt::Key_Return);
    press("pushButtonOK");
    QTRY_COMPARE_WITH_TIMEOUT(state(), wrongLogin, patience);
    type(passwordField, QStringLiteral("pass&word 1"));
    pressKey(Qt::Key_Return);
    QTRY_COMPARE_WITH_TIMEOUT(state(), QStringLiteral("done: 1"), patience);
    const QString text = LogReader::text();
    QVERIFY2(text.contains(QLatin1String("onLoginResult false \"Wrong login\" false")), qPrintable(text));
    QVERIFY2(text.contains(QLatin1String("onLoginResult true \"\" true")), qPrintable(text));
    QVERIFY2(text.contains(QLatin1String("onDeviceData true 3")), qPrintable(text));
    QVERIFY2(text.contains(QLatin1String("on_LoginFinished")), qPrintable(text));
    for (const char *const secret : {"word 1", "word%201", "wrong word", "wrong%20", "word+2", "%2B2"}) {
        QVERIFY2(!text.contains(QString::fromUtf8(secret)), qPrintable(text));
    }
}

NEMBRA_GUI_TEST_MAIN(TestLoginDevicesDialog)
#include "tst_logindevicesdialog.moc"
