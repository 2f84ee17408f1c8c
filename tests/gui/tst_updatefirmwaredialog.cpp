#include "common/settings.h"
#include "device/device.h"
#include "dialogseries.h"
#include "discovery/discovery.h"
#include "fleet.h"
#include "operations/updatefirmwaredialog.h"
#include "testenvironment.h"
#include "transferbench.h"
#include "updatebench.h"
#include "widgets/fileselectorwidget.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QStandardPaths>
#include <QTableWidget>
#include <QTimer>
#include <QVBoxLayout>
#include <QtTest>

#include <memory>
#include <vector>

using namespace std::chrono_literals;
using simulator::Fault;

namespace {

/// Instead of ten seconds. Longer than an answer to discovery may be under way that a device gave before it
/// restarted.
constexpr std::chrono::milliseconds restartTime = 1500ms;
/// A refresh leaves for the limited and for the directed broadcast address.
constexpr std::uint64_t copies = 2;

const QString idleInputs = QStringLiteral(
    "comboBoxBuffer firmwareFile checkBoxSaveConfig configsDir pushButtonUpdate pushButtonClose");
const QString updatingInputs = QStringLiteral("checkBoxSaveConfig pushButtonClose pushButtonCancel");

const QString wrongStatus = QStringLiteral("Wrong HTTP Status-Code ");

const QSize initialSize(654, 326);

QStringList storedLook()
{
    return settings::store().allKeys().filter(QStringLiteral("UpdateFirmwareDialog/"));
}

const QStringList wholeLook{QStringLiteral("UpdateFirmwareDialog/Geometry"),
                            QStringLiteral("UpdateFirmwareDialog/horizontalHeader"),
                            QStringLiteral("UpdateFirmwareDialog/horizontalHeaderState")};

/// The dialog on the screen, with what a user finds in it.
class Screen final
{
public:
    Screen(const QList<Device *> &devices, Discovery &discovery)
        : m_dialog(std::make_unique<UpdateFirmwareDialog>(devices, discovery, nullptr))
    {
        m_dialog->show();
    }

    QDialog &dialog() const { return *m_dialog; }
    void setRestartTime(std::chrono::milliseconds time) const { m_dialog->setRestartTime(time); }
    bool isShown() const { return m_dialog && m_dialog->isVisible(); }
    void destroy() { m_dialog.reset(); }
    template <typename T>
    T &find(const char *objectName) const
    {
        return *m_dialog->findChild<T *>(QLatin1String(objectName));
    }
    bool has(const char *objectName, const QMetaObject &type) const
    {
        const auto *const object = m_dialog->findChild<QObject *>(QLatin1String(objectName));
        return object && object->metaObject() == &type;
    }
    QTableWidget &table() const { return find<QTableWidget>("tableWidget"); }
    void click(const char *button) const { find<QPushButton>(button).click(); }
    QString pathIn(const char *selector) const { return find<FileSelectorWidget>(selector).text(); }
    void setPath(const char *selector, const QString &path) const
    {
        find<FileSelectorWidget>(selector).setText(path);
    }

    /// The names of the inputs and buttons that can be used.
    QString enabledInputs() const
    {
        QStringList names;
        for (const char *const name : {"comboBoxBuffer", "firmwareFile", "checkBoxSaveConfig", "configsDir",
                                       "pushButtonUpdate", "pushButtonClose", "pushButtonCancel"}) {
            if (find<QWidget>(name).isEnabled()) {
                names += QLatin1String(name);
            }
        }
        return names.join(QLatin1Char(' '));
    }
    QString message(int row) const { return table().item(row, 1)->text(); }
    QStringList messages() const
    {
        QStringList messages;
        for (int row = 0; row < table().rowCount(); ++row) {
            messages += message(row);
        }
        return messages;
    }
    bool showsOnly(const QString &message) const
    {
        const QStringList all = messages();
        return all.count(message) == all.size();
    }
    [[nodiscard]] bool awaitMessage(int row, const QString &text, int time = patience) const
    {
        const bool came = QTest::qWaitFor([&] { return message(row) == text; }, time);
        if (!came) {
            qWarning() << "shown instead:" << messages();
        }
        return came;
    }
    /// Null while no update is shown.
    QProgressBar *bar(int row) const { return qobject_cast<QProgressBar *>(table().cellWidget(row, 2)); }
    int progress(int row) const { return bar(row) ? bar(row)->value() : -1; }
    bool hasBars() const
    {
        bool any = false;
        for (int row = 0; row < table().rowCount(); ++row) {
            any = any || table().cellWidget(row, 2);
        }
        return any;
    }

private:
    std::unique_ptr<UpdateFirmwareDialog> m_dialog;
};

/// Between two bytes: the whole answer takes longer than anybody waits here.
constexpr std::chrono::milliseconds dripPause = 500ms;

/// Where an update stands still, for longer than anybody waits here.
struct Phase
{
    const char *name;
    std::vector<Fault> faults;
    /// Shown as long as it stands still; empty: nothing has been told yet.
    QString message;
    bool overHttps = false;
};

std::vector<Phase> phases()
{
    return {
        {"before anything is told", {}, {}},
        {"while the configuration is fetched", {Fault::hang().onPath("tpl/document.cgi")}, savingConfig},
        {"while the configuration drips in",
         {Fault::drip(1, dripPause).onPath("tpl/document.cgi")},
         savingConfig},
        {"in the handshake", {Fault::tlsHang()}, savingConfig, true},
        {"while the upload waits for its answer",
         {Fault::hang().onPath("admin/upload.cgi")},
         uploadingFirmware},
        {"while the answer to the upload drips in",
         {Fault::drip(1, dripPause).onPath("admin/upload.cgi")},
         uploadingFirmware},
        {"while the image is activated", {Fault::hang().onPath("admin/upgrade.cgi")}, activatingFirmware},
        {"while the device shuts down", {}, waitingTenSeconds},
        {"after the failure",
         {Fault::status(500, "Oops").onPath("admin/upload.cgi")},
         wrongStatus + QStringLiteral("500")},
    };
}

/// How a user ends an update, and who else may.
struct WayOut
{
    const char *name;
    void (*take)(Screen &screen);
    /// The dialog is closed by it, and doesn't just go or stay.
    bool closes;
};

std::vector<WayOut> waysOut()
{
    return {
        {"Cancel", [](Screen &screen) { screen.click("pushButtonCancel"); }, false},
        {"Close", [](Screen &screen) { screen.click("pushButtonClose"); }, true},
        {"Escape", [](Screen &screen) { QTest::keyClick(&screen.dialog(), Qt::Key_Escape); }, true},
        {"its window is closed", [](Screen &screen) { screen.dialog().close(); }, true},
        {"it is destroyed", [](Screen &screen) { screen.destroy(); }, false},
        {"all windows are closed", [](Screen &) { QApplication::closeAllWindows(); }, true},
    };
}

} // namespace

class TestUpdateFirmwareDialog final : public QObject, private UpdateBench
{
    Q_OBJECT

private slots:
    void initTestCase() { omitDebugOutput(); }
    void init();
    void cleanup();

    void looksAsItIsToLook();
    void canBeUsedWithoutAMouse();
    void listsItsDevices();
    void startsInThePlacesOfTheLastTime();
    void startsWithTheDirectoryOfTheProgram();
    void remembersThePlaces();
    void remembersItsLook_data();
    void remembersItsLook();
    void survivesADamagedLook();
    void doesNothingBeforeUpdate();

    void showsThatItUpdates();
    void sendsTheImageToTheChosenBuffer_data();
    void sendsTheImageToTheChosenBuffer();
    void takesThePortsOfTheMoment();
    void asksTheNetworkEverySecond();
    void tellsOfAFailureInItsOwnRow();
    void tellsThatThereIsNoImage_data();
    void tellsThatThereIsNoImage();
    void tellsThatNothingCanBeKept();
    void showsTextsAsTheyAre();
    void ignoresMessagesOfStrangers();

    void updatesEveryDeviceOnItsOwn();

    void endsAtOnce_data();
    void endsAtOnce();
    void endsAtOnceWhileItWaitsForDevices();
    void endsWithTheProgram_data();
    void endsWithTheProgram();
    void startsAnewAfterCancel();
    void forgetsWhatWasOnItsWay();

private:
    /// The dialog for all devices, with an image and a directory chosen.
    std::unique_ptr<Screen> show();
    std::unique_ptr<Screen> show(const QList<Device *> &devices);
    void listen();
    std::uint64_t broadcasts() const { return m_bench->fleet().counters().discoveryRequests; }
    QString image() const { return job().firmwareFile; }
    /// Two devices with which an update stands still.
    void beginWith(const Phase &phase) const;

    /// The devices of updatesEveryDeviceOnItsOwn(), and what it looks at after the update.
    enum Row { Plain, Secured, Broken, Lost, Open, Unkept };
    void beginWithEveryKind() const;
    void verifyEachUpdate(const Screen &screen) const;
    void verifyKeptConfigurations() const;
    void verifyStaysOnShowUntilCancel(const Screen &screen) const;
    void verifyBeginsAnew(const Screen &screen) const;

    std::unique_ptr<Discovery> m_service;
};

void TestUpdateFirmwareDialog::init()
{
    open();
}

void TestUpdateFirmwareDialog::cleanup()
{
    m_service.reset();
    close();
}

void TestUpdateFirmwareDialog::listen()
{
    m_service = std::make_unique<Discovery>(m_bench->fleet().discoveryPort());
    m_service->setListening(true);
    // As the main window hands answers out: each to its own device.
    connect(m_service.get(), &Discovery::device, this, [this](const DiscoveryDevice &record) {
        const QList<Device *> devices = m_bench->devices();
        for (Device *const device : devices) {
            if (device->record().macText() == record.macText()) {
                device->updateFromDiscovery(record);
            }
        }
    });
}

std::unique_ptr<Screen> TestUpdateFirmwareDialog::show()
{
    return show(m_bench->devices());
}

std::unique_ptr<Screen> TestUpdateFirmwareDialog::show(const QList<Device *> &devices)
{
    if (!m_service) {
        listen();
    }
    auto screen = std::make_unique<Screen>(devices, *m_service);
    screen->setPath("firmwareFile", image());
    screen->setPath("configsDir", m_bench->directory());
    return screen;
}

void TestUpdateFirmwareDialog::beginWith(const Phase &phase) const
{
    simulator::DeviceOptions options;
    options.redirectToHttps = phase.overHttps;
    addDevice("lab", options);
    addDevice("roof", options);
    begin();
    for (const Fault &fault : phase.faults) {
        m_bench->fleet().addFault(fault);
    }
}

void TestUpdateFirmwareDialog::looksAsItIsToLook()
{
    begin();
    const auto screen = show();
    const QDialog &dialog = screen->dialog();
    QCOMPARE(dialog.objectName(), QStringLiteral("UpdateFirmwareDialog"));
    QCOMPARE(dialog.windowTitle(), QStringLiteral("Update Nembra Firmware"));
    QCOMPARE(dialog.size(), initialSize);
    QVERIFY(!dialog.windowFlags().testFlag(Qt::WindowContextHelpButtonHint));

    QVERIFY(screen->has("verticalLayout", QVBoxLayout::staticMetaObject));
    QVERIFY(screen->has("formLayout", QFormLayout::staticMetaObject));
    QVERIFY(screen->has("horizontalLayout", QHBoxLayout::staticMetaObject));
    QCOMPARE(screen->find<QLabel>("label").text(), QStringLiteral("Buffer"));
    QCOMPARE(screen->find<QLabel>("label_2").text(), QStringLiteral("Firmware"));
    const auto &link = screen->find<QLabel>("labelDownloadUrl");
    const QString url = QStringLiteral("https://www.ostrel.example/nembra/firmware");
    QCOMPARE(link.text(),
             QStringLiteral("Download the Nembra firmware here: <a href=\"%1\">%1</a>").arg(url));
    QCOMPARE(link.textFormat(), Qt::RichText);
    QVERIFY(link.openExternalLinks());

    const auto &buffer = screen->find<QComboBox>("comboBoxBuffer");
    QCOMPARE(buffer.count(), 2);
    QCOMPARE(buffer.itemText(0), QStringLiteral("Buffer 1"));
    QCOMPARE(buffer.itemText(1), QStringLiteral("Buffer 2"));
    QCOMPARE(buffer.currentIndex(), 0);
    const auto &save = screen->find<QCheckBox>("checkBoxSaveConfig");
    QCOMPARE(save.text(), QStringLiteral("Save Config"));
    QVERIFY(save.isChecked());
    QVERIFY(screen->has("firmwareFile", FileSelectorWidget::staticMetaObject));
    QVERIFY(screen->has("configsDir", FileSelectorWidget::staticMetaObject));
    QCOMPARE(screen->find<QPushButton>("pushButtonUpdate").text(), QStringLiteral("Update"));
    QCOMPARE(screen->find<QPushButton>("pushButtonClose").text(), QStringLiteral("Close"));
    QCOMPARE(screen->find<QPushButton>("pushButtonCancel").text(), QStringLiteral("Cancel"));

    const QTableWidget &table = screen->table();
    QCOMPARE(table.columnCount(), 3);
    QCOMPARE(table.horizontalHeaderItem(0)->text(), QStringLiteral("Hostname"));
    QCOMPARE(table.horizontalHeaderItem(1)->text(), QStringLiteral("Message"));
    QCOMPARE(table.horizontalHeaderItem(2)->text(), QString());
    QCOMPARE(table.columnWidth(1), 200);
    QCOMPARE(table.columnWidth(2), 200);

    QCOMPARE(screen->enabledInputs(), idleInputs);
}

void TestUpdateFirmwareDialog::canBeUsedWithoutAMouse()
{
    begin();
    const auto screen = show();
    QCOMPARE(screen->find<QLabel>("label").buddy(), &screen->find<QWidget>("comboBoxBuffer"));
    QCOMPARE(screen->find<QLabel>("label_2").buddy(), &screen->find<QWidget>("firmwareFile"));
    QCOMPARE(screen->find<QWidget>("configsDir").findChild<QLineEdit *>()->accessibleName(),
             QStringLiteral("Save Config"));
    QCOMPARE(screen->table().accessibleName(), QStringLiteral("Devices"));
    // Enter ends a path, and doesn't yet start anything.
    auto &path = *screen->find<QWidget>("firmwareFile").findChild<QLineEdit *>();
    path.setFocus();
    QTest::keyClick(&path, Qt::Key_Return);
    QVERIFY(screen->isShown());
    QCOMPARE(screen->enabledInputs(), idleInputs);
    screen->table().setFocus();
    QTest::keyClick(&screen->table(), Qt::Key_Tab);
    QVERIFY(!screen->table().hasFocus());
}

void TestUpdateFirmwareDialog::listsItsDevices()
{
    addDevice("roof");
    addDevice("cellar");
    addDevice("lab");
    m_bench->start();
    const auto screen = show({&m_bench->device(2), &m_bench->device(0), &m_bench->device(1)});
    const QTableWidget &table = screen->table();
    QCOMPARE(table.rowCount(), 3);
    QCOMPARE(table.item(0, 0)->text(), QStringLiteral("lab"));
    QCOMPARE(table.item(1, 0)->text(), QStringLiteral("roof"));
    QCOMPARE(table.item(2, 0)->text(), QStringLiteral("cellar"));
    for (int cell = 0; cell < 9; ++cell) {
        const QTableWidgetItem *const item = table.item(cell / 3, cell % 3);
        QVERIFY(item);
        QVERIFY(!item->flags().testFlag(Qt::ItemIsEditable));
        QVERIFY(cell % 3 == 0 || item->text().isEmpty());
    }
    QVERIFY(!screen->hasBars());
}

void TestUpdateFirmwareDialog::startsInThePlacesOfTheLastTime()
{
    begin();
    listen();
    settings::store().setValue(QStringLiteral("FirmwareDir"), QStringLiteral("/images"));
    settings::store().setValue(QStringLiteral("ConfigDir"), QStringLiteral("/configurations"));
    const Screen screen(m_bench->devices(), *m_service);
    QCOMPARE(screen.pathIn("firmwareFile"), QStringLiteral("/images"));
    QCOMPARE(screen.pathIn("configsDir"), QStringLiteral("/configurations"));
}

void TestUpdateFirmwareDialog::startsWithTheDirectoryOfTheProgram()
{
    begin();
    listen();
    const Screen screen(m_bench->devices(), *m_service);
    QCOMPARE(screen.pathIn("firmwareFile"), QString());
    const QString own = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    QVERIFY(!own.isEmpty());
    QCOMPARE(screen.pathIn("configsDir"), own);
    // It is only shown.
    QVERIFY(!settings::store().contains(QStringLiteral("ConfigDir")));
}

void TestUpdateFirmwareDialog::remembersThePlaces()
{
    begin();
    const auto screen = show();
    const auto search = [&screen](const char *selector) {
        screen->find<QWidget>(selector).findChild<QPushButton *>()->click();
    };
    DialogSeries dialogs;
    dialogs.then(dialogstep::choose(image()));
    search("firmwareFile");
    const QString chosen = m_bench->directory() + QLatin1String("/chosen here");
    QVERIFY(QDir().mkdir(chosen));
    dialogs.then(dialogstep::choose(chosen));
    search("configsDir");
    QCOMPARE(dialogs.seen(),
             QStringList({QStringLiteral("files: Firmware"), QStringLiteral("files: Save Config")}));
    QCOMPARE(screen->pathIn("firmwareFile"), image());
    QCOMPARE(screen->pathIn("configsDir"), chosen);
    QCOMPARE(settings::store().value(QStringLiteral("FirmwareDir")).toString(),
             QFileInfo(image()).absolutePath());
    QCOMPARE(settings::store().value(QStringLiteral("ConfigDir")).toString(), chosen);
}

void TestUpdateFirmwareDialog::remembersItsLook_data()
{
    QTest::addColumn<int>("way");
    int index = 0;
    for (const WayOut &way : waysOut()) {
        if (way.closes) {
            QTest::newRow(way.name) << index;
        }
        ++index;
    }
}

void TestUpdateFirmwareDialog::remembersItsLook()
{
    QFETCH(int, way);
    begin();
    auto screen = show();
    screen->dialog().resize(800, 500);
    screen->table().setColumnWidth(0, 123);
    screen->table().setColumnWidth(1, 321);
    screen->table().horizontalHeader()->moveSection(2, 1);
    QCOMPARE(storedLook(), QStringList());
    waysOut().at(static_cast<std::size_t>(way)).take(*screen);
    QVERIFY(!screen->isShown());
    QCOMPARE(storedLook(), wholeLook);

    screen = show();
    QCOMPARE(screen->dialog().size(), QSize(800, 500));
    QCOMPARE(screen->table().columnWidth(0), 123);
    QCOMPARE(screen->table().columnWidth(1), 321);
    QCOMPARE(screen->table().horizontalHeader()->visualIndex(2), 1);
    QVERIFY(screen->table().horizontalHeader()->isVisible());
}

void TestUpdateFirmwareDialog::survivesADamagedLook()
{
    begin();
    // A header of millions of columns.
    const QByteArray damage =
        QByteArray::fromHex("000000ff00000000000000010000000100000000010000000000000000000000000000"
                            "0000000000000000012c7fffffff0101000100000000000000000000000064ffffff"
                            "ff0000008100000000000000017fffffff7fffffff00000000000003e80000000064");
    for (const QString &key : wholeLook) {
        settings::store().setValue(key, damage);
    }
    const auto screen = show();
    QCOMPARE(screen->dialog().size(), initialSize);
    QCOMPARE(screen->table().columnWidth(1), 200);
    QCOMPARE(screen->table().columnWidth(2), 200);
    QVERIFY(screen->table().horizontalHeader()->isVisible());
    QCOMPARE(screen->table().horizontalHeader()->count(), 3);
    QCOMPARE(screen->table().horizontalHeader()->hiddenSectionCount(), 0);
}

void TestUpdateFirmwareDialog::doesNothingBeforeUpdate()
{
    begin();
    const int threads = threadCount();
    const auto screen = show();
    // Longer than the network is left alone during an update.
    QVERIFY(!QTest::qWaitFor([this] { return broadcasts() > 0; }, 1500));
    QCOMPARE(requestCount(), std::size_t(0));
    QVERIFY(threadCount() <= threads);
    screen->click("pushButtonClose");
    QVERIFY(!screen->isShown());
    QCOMPARE(broadcasts(), std::uint64_t(0));
    QCOMPARE(requestCount(), std::size_t(0));
}

void TestUpdateFirmwareDialog::showsThatItUpdates()
{
    addDevice("lab");
    addDevice("roof");
    begin();
    m_bench->fleet().addFault(0, Fault::hang().onPath("tpl/document.cgi"));
    m_bench->fleet().addFault(1, Fault::hang().onPath("admin/upgrade.cgi"));
    const auto screen = show();
    screen->click("pushButtonUpdate");
    QCOMPARE(screen->enabledInputs(), updatingInputs);
    for (int row = 0; row < 2; ++row) {
        const QProgressBar *const bar = screen->bar(row);
        QCOMPARE(bar->accessibleName(), screen->table().item(row, 0)->text());
        QVERIFY(bar);
        QCOMPARE(bar->minimum(), 0);
        QCOMPARE(bar->maximum(), 100);
        QVERIFY(!bar->isTextVisible());
    }
    QVERIFY(screen->awaitMessage(0, savingConfig));
    QVERIFY(screen->awaitMessage(1, activatingFirmware));
    QTRY_COMPARE_WITH_TIMEOUT(screen->progress(0), 0, patience);
    QTRY_COMPARE_WITH_TIMEOUT(screen->progress(1), 60, patience);
    const QPointer<QProgressBar> bar = screen->bar(1);

    screen->click("pushButtonCancel");
    QCOMPARE(screen->enabledInputs(), idleInputs);
    QVERIFY(!screen->hasBars());
    QTRY_VERIFY_WITH_TIMEOUT(!bar, patience);
    QVERIFY(screen->showsOnly(QString()));
    QCOMPARE(screen->table().item(0, 0)->text(), QStringLiteral("lab"));
    QCOMPARE(screen->table().item(1, 0)->text(), QStringLiteral("roof"));
}

void TestUpdateFirmwareDialog::sendsTheImageToTheChosenBuffer_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<bool>("save");
    QTest::addColumn<QString>("buffer");
    QTest::addColumn<QStringList>("files");
    const QStringList kept{QStringLiteral("lab-0E5A11000001-TIME.qini")};
    QTest::newRow("the first, with a file") << 0 << true << "1" << kept;
    QTest::newRow("the first, without a file") << 0 << false << "1" << QStringList();
    QTest::newRow("the second, with a file") << 1 << true << "2" << kept;
    QTest::newRow("the second, without a file") << 1 << false << "2" << QStringList();
}

void TestUpdateFirmwareDialog::sendsTheImageToTheChosenBuffer()
{
    QFETCH(int, index);
    QFETCH(bool, save);
    QFETCH(QString, buffer);
    QFETCH(QStringList, files);
    begin();
    const auto screen = show();
    screen->find<QComboBox>("comboBoxBuffer").setCurrentIndex(index);
    screen->find<QCheckBox>("checkBoxSaveConfig").setChecked(save);
    screen->click("pushButtonUpdate");
    QVERIFY(screen->awaitMessage(0, waitingTenSeconds));
    const auto uploads = m_bench->fleet().requests(0, "admin/upload.cgi");
    QCOMPARE(uploads.size(), std::size_t(1));
    QCOMPARE(partsOf(uploads.front()).at("buffer"), buffer.toStdString());
    QCOMPARE(partsOf(uploads.front()).at("image"), std::string("version=7.8.9\nimage"));
    const auto activations = m_bench->fleet().requests(0, "admin/upgrade.cgi");
    QCOMPARE(activations.size(), std::size_t(1));
    QCOMPARE(simulator::formFields(activations.front().body).at("buffer"), buffer.toStdString());
    QCOMPARE(m_bench->fileNames(), files);
    for (const QString &file : files) {
        QCOMPARE(m_bench->files().value(file), configuration);
    }
    QCOMPARE(requestCount(), std::size_t(3));
}

void TestUpdateFirmwareDialog::takesThePortsOfTheMoment()
{
    addDevice("lab");
    simulator::DeviceOptions secured;
    secured.redirectToHttps = true;
    addDevice("roof", secured);
    begin();
    m_bench->fleet().addFault(Fault::hang().onPath("admin/upload.cgi"));
    const auto screen = show();
    settings::store().setValue(QStringLiteral("Scan/HTTPPort"), 8081);
    settings::store().setValue(QStringLiteral("Scan/HTTPSPort"), 8444);
    screen->click("pushButtonUpdate");
    const QString refused = httpError + QStringLiteral("Connection refused  ");
    const QString path = QStringLiteral("/tpl/document.cgi?tpl/j/config.tpl");
    QVERIFY(screen->awaitMessage(0, refused + QStringLiteral("http://10.77.128.1:8081") + path));
    QVERIFY(screen->awaitMessage(1, refused + QStringLiteral("https://10.77.128.2:8444") + path));
    screen->click("pushButtonCancel");

    settings::store().remove(QStringLiteral("Scan/HTTPPort"));
    settings::store().remove(QStringLiteral("Scan/HTTPSPort"));
    screen->click("pushButtonUpdate");
    QVERIFY(screen->awaitMessage(0, uploadingFirmware));
    QVERIFY(screen->awaitMessage(1, uploadingFirmware));
}

void TestUpdateFirmwareDialog::asksTheNetworkEverySecond()
{
    begin();
    m_bench->fleet().addFault(Fault::hang().onPath("tpl/document.cgi"));
    const auto screen = show();
    // The second is real: devices must not be asked more often. That they are asked no less often is told by
    // a clock that stands still when we do.
    QElapsedTimer timer;
    timer.start();
    QTimer seconds;
    const QSignalSpy ticks(&seconds, &QTimer::timeout);
    seconds.start(1s);
    screen->click("pushButtonUpdate");
    QTRY_VERIFY_WITH_TIMEOUT(broadcasts() >= 3 * copies, patience);
    QVERIFY2(timer.elapsed() >= 2700, qPrintable(QString::number(timer.elapsed())));
    QVERIFY2(ticks.count() < 6, qPrintable(QString::number(ticks.count())));
    screen->click("pushButtonCancel");
    // A request may come as two datagrams, of which one is still on its way.
    QTRY_VERIFY_WITH_TIMEOUT(broadcasts() % copies == 0, patience);
    const auto sent = broadcasts();
    QVERIFY(!QTest::qWaitFor([&] { return broadcasts() > sent; }, 1500));
}

void TestUpdateFirmwareDialog::tellsOfAFailureInItsOwnRow()
{
    for (const char *const name : {"fine", "no/file", "lost page", "broken", "silent"}) {
        addDevice(name);
    }
    begin();
    simulator::Fleet &fleet = m_bench->fleet();
    fleet.addFault(2, Fault::status(404, "Not Found").onPath("tpl/document.cgi"));
    fleet.addFault(3, Fault::status(500, "Oops").onPath("admin/upload.cgi"));
    fleet.addFault(4, Fault::refuse());
    const auto screen = show();
    screen->click("pushButtonUpdate");
    QVERIFY(screen->awaitMessage(2, wrongStatus + QStringLiteral("404")));
    QVERIFY(screen->awaitMessage(3, wrongStatus + QStringLiteral("500")));
    QVERIFY(screen->awaitMessage(
        4, httpError + QStringLiteral("Connection refused  "
                                      "http://10.77.128.5:80/tpl/document.cgi?tpl/j/config.tpl")));
    QTRY_VERIFY_WITH_TIMEOUT(screen->message(1).startsWith(QLatin1String("Error opening file ") +
                                                           m_bench->directory() +
                                                           QLatin1String("/no/file-0E5A11000002-")),
                             patience);
    QVERIFY2(screen->message(1).endsWith(QLatin1String(".qinifor writing")), qPrintable(screen->message(1)));
    QVERIFY(screen->awaitMessage(0, waitingTenSeconds));
    QTRY_COMPARE_WITH_TIMEOUT(screen->progress(0), 70, patience);
    QCOMPARE(screen->progress(1), 0);
    QCOMPARE(screen->progress(2), 0);
    QCOMPARE(screen->progress(4), 0);
    // Those that failed stay on show, and it goes on for the other one.
    QCOMPARE(screen->enabledInputs(), updatingInputs);
    QCOMPARE(requestCount(0), std::size_t(3));
    QCOMPARE(requestCount(1), std::size_t(1));
    QCOMPARE(requestCount(2), std::size_t(1));
    QCOMPARE(requestCount(3), std::size_t(2));
    QCOMPARE(requestCount(4), std::size_t(0));
}

void TestUpdateFirmwareDialog::tellsThatThereIsNoImage_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("nothing chosen") << QString();
    QTest::newRow("not there") << QStringLiteral("/nowhere/image.bin");
    QTest::newRow("a directory") << QStringLiteral("/");
}

void TestUpdateFirmwareDialog::tellsThatThereIsNoImage()
{
    QFETCH(QString, path);
    addDevice("lab");
    addDevice("roof");
    begin();
    const auto screen = show();
    screen->setPath("firmwareFile", path);
    screen->click("pushButtonUpdate");
    for (int row = 0; row < 2; ++row) {
        QVERIFY(screen->awaitMessage(row, QStringLiteral("Error opening firmware file ") + path));
        QCOMPARE(requestCount(row), std::size_t(1));
    }
    QCOMPARE(screen->enabledInputs(), updatingInputs);
    // The next attempt is as good as the first.
    screen->click("pushButtonCancel");
    screen->setPath("firmwareFile", image());
    screen->click("pushButtonUpdate");
    QVERIFY(screen->awaitMessage(0, waitingTenSeconds));
    QVERIFY(screen->awaitMessage(1, waitingTenSeconds));
}

void TestUpdateFirmwareDialog::tellsThatNothingCanBeKept()
{
    addDevice("lab");
    addDevice("roof");
    begin();
    const auto screen = show();
    const QString directory = m_bench->directory() + QStringLiteral("/not there");
    screen->setPath("configsDir", directory);
    screen->click("pushButtonUpdate");
    for (int row = 0; row < 2; ++row) {
        QTRY_VERIFY_WITH_TIMEOUT(
            screen->message(row).startsWith(QLatin1String("Error opening file ") + directory), patience);
        // The device keeps its firmware where its configuration isn't safe.
        QCOMPARE(requestCount(row), std::size_t(1));
    }
    QVERIFY(!QDir(directory).exists());
    // Without a copy the directory is nobody's concern.
    screen->click("pushButtonCancel");
    screen->find<QCheckBox>("checkBoxSaveConfig").setChecked(false);
    screen->click("pushButtonUpdate");
    QVERIFY(screen->awaitMessage(0, waitingTenSeconds));
    QVERIFY(screen->awaitMessage(1, waitingTenSeconds));
}

void TestUpdateFirmwareDialog::showsTextsAsTheyAre()
{
    const QString markup = QStringLiteral("<img src=/dev/zero><b>roof</b>&amp;");
    addDevice("lab");
    addDevice(markup.toUtf8());
    begin();
    DiscoveryDevice wide = m_bench->device(0).record();
    wide.setHostname(QStringLiteral("wide ").repeated(5000) + QStringLiteral("\r\nend"));
    m_bench->device(0).updateFromDiscovery(wide);
    const auto screen = show();
    const QTableWidget &table = screen->table();
    QCOMPARE(screen->dialog().size(), initialSize);
    QCOMPARE(table.item(1, 0)->text(), markup);
    QVERIFY2(table.columnWidth(0) <= 250, qPrintable(QString::number(table.columnWidth(0))));

    const QString path =
        QStringLiteral("/<b>no</b>/<a href=\"x\">image</a>/") + QString(20000, QLatin1Char('x'));
    screen->find<QCheckBox>("checkBoxSaveConfig").setChecked(false);
    screen->setPath("firmwareFile", path);
    const int height = table.rowHeight(0);
    screen->click("pushButtonUpdate");
    for (int row = 0; row < 2; ++row) {
        QVERIFY(screen->awaitMessage(row, QStringLiteral("Error opening firmware file ") +
                                              screen->pathIn("firmwareFile")));
        QVERIFY(screen->message(row).contains(QLatin1String("/<b>no</b>/<a href=\"x\">image</a>/xxx")));
        QVERIFY(!table.item(row, 1)->data(Qt::ToolTipRole).isValid());
        QCOMPARE(table.rowHeight(row), height);
    }
    QCOMPARE(table.columnWidth(1), 200);
    QCOMPARE(screen->dialog().size(), initialSize);
}

void TestUpdateFirmwareDialog::ignoresMessagesOfStrangers()
{
    begin();
    const auto screen = show();
    // Slots can be called by their names, by whoever can reach the dialog.
    QVERIFY(QMetaObject::invokeMethod(&screen->dialog(), "onThreadMessage",
                                      Q_ARG(QString, QStringLiteral("of nobody"))));
    QVERIFY(screen->showsOnly(QString()));
    // And without an update there is nothing to cancel.
    QVERIFY(QMetaObject::invokeMethod(&screen->dialog(), "on_pushButtonCancel_clicked"));
    QCOMPARE(screen->enabledInputs(), idleInputs);
    QVERIFY(screen->isShown());
}

void TestUpdateFirmwareDialog::beginWithEveryKind() const
{
    addDevice("plain");
    simulator::DeviceOptions secured;
    secured.redirectToHttps = true;
    addDevice("secured", secured);
    addDevice("broken");
    simulator::DeviceOptions lost;
    lost.restartTime = 1h;
    addDevice("lost", lost);
    simulator::DeviceOptions open;
    open.anonymousLevel = 3;
    addDevice("open", open);
    addDevice("unkept");
    m_bench->start();
    for (int row = 0; row < 6; ++row) {
        setUp(row, row == Open ? QString() : admin);
    }
    QVERIFY(comesToRest());
    m_bench->fleet().addFault(Broken, Fault::status(500, "Oops").onPath("admin/upload.cgi"));
}

void TestUpdateFirmwareDialog::verifyEachUpdate(const Screen &screen) const
{
    simulator::Fleet &fleet = m_bench->fleet();
    for (const Row row : {Plain, Secured, Open, Unkept}) {
        const simulator::DeviceInfo info = fleet.device(row);
        QCOMPARE(info.activeBuffer, row == Unkept ? 2 : 1);
        QCOMPARE(info.firmwareVersion, std::string("7.8.9"));
        QCOMPARE(info.restarts, 2);
        QCOMPARE(info.configurationUploads, 2);
        QCOMPARE(QByteArray::fromStdString(info.configuration), configuration);
    }
    QCOMPARE(screen.message(Broken), wrongStatus + QStringLiteral("500"));
    QCOMPARE(screen.message(Lost), waitingForDevice);
    QCOMPARE(screen.progress(Lost), 70);
    QCOMPARE(requestCount(Plain), std::size_t(13));
    // It tells first whether it still wants HTTPS.
    QCOMPARE(requestCount(Secured), std::size_t(14));
    QCOMPARE(requestCount(Broken), std::size_t(2));
    QCOMPARE(requestCount(Lost), std::size_t(3));
    // Nobody logs in where nobody was.
    QCOMPARE(requestCount(Open), std::size_t(7));
    QCOMPARE(fleet.requests(Open, "login.cgi").size(), std::size_t(0));
}

void TestUpdateFirmwareDialog::verifyKeptConfigurations() const
{
    const QMap<QString, QByteArray> files = m_bench->files();
    QCOMPARE(files.keys(), QStringList({QStringLiteral("broken-0E5A11000003-TIME.qini"),
                                        QStringLiteral("lost-0E5A11000004-TIME.qini"),
                                        QStringLiteral("open-0E5A11000005-TIME.qini"),
                                        QStringLiteral("plain-0E5A11000001-TIME.qini"),
                                        QStringLiteral("secured-0E5A11000002-TIME.qini")}));
    QCOMPARE(files.values(),
             QList<QByteArray>({configuration, configuration, configuration, configuration, configuration}));
}

void TestUpdateFirmwareDialog::verifyStaysOnShowUntilCancel(const Screen &screen) const
{
    QCOMPARE(screen.enabledInputs(), updatingInputs);
    const QStringList messages = screen.messages();
    const auto sent = broadcasts();
    QTRY_VERIFY_WITH_TIMEOUT(broadcasts() >= sent + 2 * copies, patience);
    QCOMPARE(screen.enabledInputs(), updatingInputs);
    QCOMPARE(screen.messages(), messages);
    QVERIFY(screen.hasBars());
    screen.click("pushButtonCancel");
    QVERIFY(screen.showsOnly(QString()));
    QVERIFY(!screen.hasBars());
    QCOMPARE(screen.enabledInputs(), idleInputs);
}

void TestUpdateFirmwareDialog::verifyBeginsAnew(const Screen &screen) const
{
    m_bench->fleet().clearFaults();
    m_bench->fleet().clearJournal();
    screen.setRestartTime(1h);
    screen.click("pushButtonUpdate");
    for (const Row row : {Broken, Open}) {
        QVERIFY(screen.awaitMessage(row, waitingTenSeconds));
        QTRY_COMPARE_WITH_TIMEOUT(screen.progress(row), 70, patience);
        QCOMPARE(requestCount(row), std::size_t(3));
    }
    for (const Row row : {Plain, Secured}) {
        QVERIFY(screen.awaitMessage(row, wrongStatus + QStringLiteral("403")));
        QCOMPARE(requestCount(row), std::size_t(1));
    }
    screen.click("pushButtonClose");
    QVERIFY(!screen.isShown());
}

void TestUpdateFirmwareDialog::updatesEveryDeviceOnItsOwn()
{
    beginWithEveryKind();
    // The last one has a dialog of its own, by which no file is written.
    QList<Device *> devices = m_bench->devices();
    const auto other = show({devices.takeLast()});
    other->find<QCheckBox>("checkBoxSaveConfig").setChecked(false);
    other->find<QComboBox>("comboBoxBuffer").setCurrentIndex(1);
    other->setRestartTime(restartTime);
    other->click("pushButtonUpdate");
    const auto screen = show(devices);
    screen->setRestartTime(restartTime);
    screen->click("pushButtonUpdate");
    QVERIFY(other->awaitMessage(0, finished));
    for (const Row row : {Plain, Secured, Open}) {
        QVERIFY(screen->awaitMessage(row, finished));
        QCOMPARE(screen->progress(row), 100);
    }
    verifyEachUpdate(*screen);
    verifyKeptConfigurations();
    // All stays on show, and the network is asked, until the user has seen it.
    verifyStaysOnShowUntilCancel(*screen);
    // And all again. The sessions have ended with the restart, and the user would have to log in anew.
    verifyBeginsAnew(*screen);
}

void TestUpdateFirmwareDialog::endsAtOnce_data()
{
    QTest::addColumn<int>("phase");
    QTest::addColumn<int>("way");
    int phaseIndex = 0;
    for (const Phase &phase : phases()) {
        int wayIndex = 0;
        for (const WayOut &way : waysOut()) {
            QTest::addRow("%s: %s", phase.name, way.name) << phaseIndex << wayIndex;
            ++wayIndex;
        }
        ++phaseIndex;
    }
}

void TestUpdateFirmwareDialog::endsAtOnce()
{
    QFETCH(int, phase);
    QFETCH(int, way);
    const Phase standstill = phases().at(static_cast<std::size_t>(phase));
    const WayOut wayOut = waysOut().at(static_cast<std::size_t>(way));
    beginWith(standstill);
    const int threads = threadCount();
    const auto screen = show();
    screen->setRestartTime(1h);
    screen->click("pushButtonUpdate");
    if (!standstill.message.isEmpty()) {
        QVERIFY(screen->awaitMessage(0, standstill.message));
        QVERIFY(screen->awaitMessage(1, standstill.message));
    }
    QElapsedTimer timer;
    timer.start();
    wayOut.take(*screen);
    QVERIFY2(timer.elapsed() < patience, qPrintable(QString::number(timer.elapsed())));
    QTRY_VERIFY_WITH_TIMEOUT(threadCount() <= threads, patience);
    QVERIFY(comesToRest());
    const QStringList requested = lines(0) + lines(1);
    const QStringList look = storedLook();
    QCOMPARE(look, wayOut.closes ? wholeLook : QStringList());
    QCOMPARE(screen->isShown(), qstrcmp(wayOut.name, "Cancel") == 0);
    if (screen->isShown()) {
        QCOMPARE(screen->enabledInputs(), idleInputs);
        QVERIFY(!screen->hasBars());
    }
    // Nothing follows, neither to the network nor on the screen.
    const auto sent = broadcasts();
    const auto follows = [&] {
        return lines(0) + lines(1) != requested || broadcasts() != sent ||
               (screen->isShown() && !screen->showsOnly(QString()));
    };
    QVERIFY(!QTest::qWaitFor(follows, silence));
}

void TestUpdateFirmwareDialog::endsAtOnceWhileItWaitsForDevices()
{
    const std::vector<WayOut> ways = waysOut();
    simulator::DeviceOptions lost;
    lost.restartTime = 1h;
    for (std::size_t i = 0; i < ways.size(); ++i) {
        addDevice("lab", lost);
    }
    begin();
    const int threads = threadCount();
    std::vector<std::unique_ptr<Screen>> screens;
    for (std::size_t i = 0; i < ways.size(); ++i) {
        screens.push_back(show({&m_bench->device(static_cast<int>(i))}));
        screens.back()->setRestartTime(restartTime);
        screens.back()->click("pushButtonUpdate");
    }
    for (const auto &screen : screens) {
        QVERIFY(screen->awaitMessage(0, waitingForDevice));
    }
    // The one that closes all windows comes last.
    for (std::size_t i = 0; i < ways.size(); ++i) {
        Screen &screen = *screens.at(i);
        QElapsedTimer timer;
        timer.start();
        ways.at(i).take(screen);
        QVERIFY2(timer.elapsed() < patience, ways.at(i).name);
        if (screen.isShown()) {
            QVERIFY(screen.showsOnly(QString()));
            QCOMPARE(screen.enabledInputs(), idleInputs);
        }
    }
    QTRY_VERIFY_WITH_TIMEOUT(threadCount() <= threads, patience);
    QVERIFY(comesToRest());
    for (std::size_t i = 0; i < ways.size(); ++i) {
        QCOMPARE(requestCount(static_cast<int>(i)), std::size_t(3));
    }
}

void TestUpdateFirmwareDialog::endsWithTheProgram_data()
{
    QTest::addColumn<int>("phase");
    int index = 0;
    for (const Phase &phase : phases()) {
        QTest::newRow(phase.name) << index++;
    }
}

void TestUpdateFirmwareDialog::endsWithTheProgram()
{
    QFETCH(int, phase);
    const Phase standstill = phases().at(static_cast<std::size_t>(phase));
    beginWith(standstill);
    const int threads = threadCount();
    const auto screen = show();
    screen->setRestartTime(1h);
    bool reached = false;
    bool returned = false;
    QTimer::singleShot(0, this, [&] {
        screen->click("pushButtonUpdate");
        screen->dialog().exec();
        returned = true;
        screen->destroy();
    });
    QTimer look;
    QElapsedTimer sinceQuit;
    connect(&look, &QTimer::timeout, this, [&] {
        if (screen->bar(0) && (standstill.message.isEmpty() || screen->showsOnly(standstill.message))) {
            reached = true;
            look.stop();
            sinceQuit.start();
            QApplication::quit();
        }
    });
    look.start(standstill.message.isEmpty() ? 0 : 5);
    QTimer::singleShot(patience, &look, &QApplication::quit);
    QApplication::exec();
    QVERIFY(reached);
    QVERIFY(returned);
    QVERIFY2(sinceQuit.elapsed() < patience, qPrintable(QString::number(sinceQuit.elapsed())));
    QTRY_VERIFY_WITH_TIMEOUT(threadCount() <= threads, patience);
    QVERIFY(comesToRest());
}

void TestUpdateFirmwareDialog::startsAnewAfterCancel()
{
    addDevice("lab");
    addDevice("roof");
    begin();
    m_bench->fleet().addFault(Fault::hang().onPath("admin/upload.cgi"));
    const int threads = threadCount();
    const auto screen = show();
    // What the threads of before still had to tell is not told of the new ones.
    for (int round = 0; round < 20; ++round) {
        screen->click("pushButtonUpdate");
        QVERIFY(screen->showsOnly(QString()));
        QCOMPARE(screen->progress(0), screen->bar(0)->minimum() - 1);
        if (round % 2 == 0) {
            QVERIFY(screen->awaitMessage(round % 4 / 2, uploadingFirmware));
        }
        screen->click("pushButtonCancel");
        QVERIFY(screen->showsOnly(QString()));
        QCOMPARE(screen->enabledInputs(), idleInputs);
    }
    QTRY_VERIFY_WITH_TIMEOUT(threadCount() <= threads, patience);
    QVERIFY(comesToRest());
    m_bench->fleet().clearFaults();
    screen->click("pushButtonUpdate");
    QVERIFY(screen->awaitMessage(0, waitingTenSeconds));
    QVERIFY(screen->awaitMessage(1, waitingTenSeconds));
}

void TestUpdateFirmwareDialog::forgetsWhatWasOnItsWay()
{
    addDevice("lab");
    addDevice("roof");
    begin();
    m_bench->fleet().addFault(Fault::hang().onPath("admin/upload.cgi"));
    const auto screen = show();
    screen->click("pushButtonUpdate");
    // The event loop stands still, so that what the threads tell arrives after the end.
    const auto areUploading = [](const simulator::Counters &counters) {
        const auto uploads = counters.requestsByPath.find("admin/upload.cgi");
        return uploads != counters.requestsByPath.end() && uploads->second == 2;
    };
    QVERIFY(m_bench->fleet().waitFor(areUploading, std::chrono::milliseconds(patience)));
    QVERIFY(screen->showsOnly(QString()));
    screen->click("pushButtonCancel");
    QVERIFY(!QTest::qWaitFor([&] { return !screen->showsOnly(QString()) || screen->hasBars(); }, silence));
}

NEMBRA_GUI_TEST_MAIN(TestUpdateFirmwareDialog)
#include "tst_updatefirmwaredialog.moc"
