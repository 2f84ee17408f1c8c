#include "common/settings.h"
#include "device/device.h"
#include "devicerow.h"
#include "operations/loadhistorydialog.h"
#include "testenvironment.h"
#include "transfertest.h"
#include "widgets/fileselectorwidget.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCalendarWidget>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>
#include <QStandardPaths>
#include <QTableWidget>
#include <QtTest>

#include <algorithm>
#include <memory>

using namespace std::chrono_literals;
using simulator::Fault;

namespace {

/// Some fonts need more room than the form has.
QSize initialSize(const QDialog &dialog)
{
    return QSize(570, 459).expandedTo(dialog.minimumSizeHint());
}

} // namespace

/// How the dialog looks, what it offers, and what it remembers.
class TestLoadHistoryDialogView final : public QObject, private HistoryTest
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup() { end(); }

    void looksAsItIsToLook();
    void canBeUsedWithoutAMouse();
    void listsItsDevices();
    void listsADeviceThatWasNeverAsked();
    void staysReadableOnDarkGround();

    void offersTheDaysOfAHistory_data();
    void offersTheDaysOfAHistory();
    void offersTheDaysOfAllDevices();
    void offersTheDaysOfAWrongClock_data();
    void offersTheDaysOfAWrongClock();
    void offersNoMoreDaysThanACalendarHas_data();
    void offersNoMoreDaysThanACalendarHas();

    void remembersItsLook();
    void writesItsSettingsOnlyWhenItCloses_data();
    void writesItsSettingsOnlyWhenItCloses();
    void takesStoredSteps_data();
    void takesStoredSteps();
    void survivesDamagedLooks_data();
    void survivesDamagedLooks();
    void remembersTheDirectory();
    void startsWithTheDirectoryOfTheProgram();
};

void TestLoadHistoryDialogView::looksAsItIsToLook()
{
    m_bench->addOpenDevice("lab-sensor");
    m_bench->start();
    run([](DialogUser &user) {
        QCOMPARE(user.dialog().objectName(), QStringLiteral("LoadHistoryDialog"));
        QCOMPARE(user.dialog().windowTitle(), QStringLiteral("Downloading CSV"));
        QCOMPARE(user.dialog().size(), initialSize(user.dialog()));
        QVERIFY(user.dialog().isModal());
        QVERIFY(!user.dialog().windowFlags().testFlag(Qt::WindowContextHelpButtonHint));
        QCOMPARE(user.find<QLabel>("label_2").text(), QStringLiteral("Save in directory"));
        QCOMPARE(user.find<QLabel>("label_4").text(), QStringLiteral("Steps"));
        QCOMPARE(user.find<QLabel>("label").text(), QStringLiteral("From"));
        QCOMPARE(user.find<QLabel>("label_3").text(), QStringLiteral("To"));
        QCOMPARE(user.button("pushButtonLoad").text(), QStringLiteral("Load"));
        QCOMPARE(user.button("pushButtonClose").text(), QStringLiteral("Close"));
        QCOMPARE(user.button("pushButtonCancel").text(), QStringLiteral("Cancel"));

        const auto &size = user.find<QSpinBox>("spinBoxStepSize");
        QCOMPARE(size.minimum(), 1);
        QCOMPARE(size.value(), 1);
        const auto &unit = user.find<QComboBox>("comboBoxStepUnit");
        QCOMPARE(unit.count(), 2);
        QCOMPARE(unit.itemText(0), QStringLiteral("Minutes"));
        QCOMPARE(unit.itemText(1), QStringLiteral("Hours"));
        QCOMPARE(unit.currentIndex(), 0);
        for (const char *const name : {"calendarWidgetStart", "calendarWidgetEnd"}) {
            const auto &calendar = user.find<QCalendarWidget>(name);
            QVERIFY(!calendar.isGridVisible());
            QCOMPARE(calendar.verticalHeaderFormat(), QCalendarWidget::NoVerticalHeader);
        }

        const QTableWidget &table = user.table();
        QCOMPARE(table.columnCount(), 3);
        QCOMPARE(table.horizontalHeaderItem(0)->text(), QStringLiteral("Hostname"));
        QCOMPARE(table.horizontalHeaderItem(1)->text(), QStringLiteral("History start"));
        QCOMPARE(table.horizontalHeaderItem(2)->text(), QStringLiteral("Status"));
        QCOMPARE(table.columnWidth(2), 200);

        QCOMPARE(enabledHistoryInputs(user), allHistoryInputs);
        QCOMPARE(user.status(0), QString());
        // Nothing is asked before Load.
        user.button("pushButtonClose").click();
        QVERIFY(!user.dialog().isVisible());
    });
    QCOMPARE(m_bench->fleet().counters().httpRequests, std::uint64_t(0));
}

void TestLoadHistoryDialogView::canBeUsedWithoutAMouse()
{
    m_bench->addOpenDevice("lab-sensor");
    m_bench->start();
    run([this](DialogUser &user) {
        auto &selector = user.find<FileSelectorWidget>("fileSelectorOutput");
        QCOMPARE(user.find<QLabel>("label_2").buddy(), &selector);
        QCOMPARE(selector.findChild<QLineEdit *>()->accessibleName(), QStringLiteral("Save in directory"));
        auto &size = user.find<QSpinBox>("spinBoxStepSize");
        QCOMPARE(user.find<QLabel>("label_4").buddy(), &size);
        QCOMPARE(user.find<QComboBox>("comboBoxStepUnit").accessibleName(),
                 QStringLiteral("Unit of the steps"));
        QCOMPARE(user.find<QLabel>("label").buddy(), &user.find<QWidget>("calendarWidgetStart"));
        QCOMPARE(user.find<QLabel>("label_3").buddy(), &user.find<QWidget>("calendarWidgetEnd"));
        QCOMPARE(user.table().accessibleName(), QStringLiteral("Devices"));
        // Enter ends a number, and doesn't yet start anything.
        size.setFocus();
        QTest::keyClick(&size, Qt::Key_Return);
        QVERIFY(user.dialog().isVisible());
        QCOMPARE(enabledHistoryInputs(user), allHistoryInputs);
        QCOMPARE(m_bench->fleet().counters().httpRequests, std::uint64_t(0));
        user.table().setFocus();
        QTest::keyClick(&user.table(), Qt::Key_Tab);
        QVERIFY(!user.table().hasFocus());
    });
}

void TestLoadHistoryDialogView::listsItsDevices()
{
    const QString markup = QStringLiteral("<img src=/dev/zero><b>roof</b>");
    simulator::DeviceOptions options;
    options.historyStart = 1600000000;
    m_bench->addOpenDevice("lab-sensor", options);
    options.historyStart = 1610000000;
    m_bench->addOpenDevice(markup.toUtf8(), options);
    m_bench->start();
    QVERIFY(m_bench->ask(0));
    QVERIFY(m_bench->ask(1));
    run([&markup](DialogUser &user) {
        const QTableWidget &table = user.table();
        QCOMPARE(table.rowCount(), 2);
        QCOMPARE(table.item(0, 0)->text(), QStringLiteral("lab-sensor"));
        QCOMPARE(table.item(1, 0)->text(), markup);
        QCOMPARE(table.item(0, 1)->data(Qt::DisplayRole).toDateTime(),
                 QDateTime(QDate(2020, 9, 13), QTime(12, 26, 40), Qt::UTC));
        QCOMPARE(table.item(1, 1)->data(Qt::DisplayRole).toDateTime(),
                 QDateTime(QDate(2021, 1, 7), QTime(6, 13, 20), Qt::UTC));
        QVERIFY(!table.item(0, 1)->text().isEmpty());
        for (int cell = 0; cell < 6; ++cell) {
            const QTableWidgetItem &item = *table.item(cell / 3, cell % 3);
            QVERIFY(!item.flags().testFlag(Qt::ItemIsEditable));
            QVERIFY(!item.data(Qt::ToolTipRole).isValid());
        }
        QCOMPARE(user.status(0), QString());
    });
}

void TestLoadHistoryDialogView::listsADeviceThatWasNeverAsked()
{
    m_bench->addOpenDevice("lab-sensor");
    m_bench->start();
    run([](DialogUser &user) {
        QCOMPARE(user.table().item(0, 1)->text(), QString());
        for (const char *const name : {"calendarWidgetStart", "calendarWidgetEnd"}) {
            const auto &calendar = user.find<QCalendarWidget>(name);
            QCOMPARE(calendar.minimumDate(), QDate::currentDate());
            QCOMPARE(calendar.maximumDate(), QDate::currentDate());
            QCOMPARE(calendar.selectedDate(), QDate::currentDate());
        }
    });
}

void TestLoadHistoryDialogView::staysReadableOnDarkGround()
{
    m_bench->addOpenDevice("finishes");
    m_bench->addOpenDevice("fails");
    m_bench->addOpenDevice("hangs");
    m_bench->start();
    m_bench->fleet().addFault(1, Fault::refuse());
    m_bench->fleet().addFault(2, Fault::hang());
    const DarkPalette darkPalette;
    run([](DialogUser &user) {
        user.button("pushButtonLoad").click();
        QTRY_COMPARE_WITH_TIMEOUT(user.statuses(), (QStringList{finished, canceled, downloading}), patience);
        for (int cell = 0; cell < 9; ++cell) {
            QVERIFY2(contrast(user.table(), cell / 3, cell % 3) >= 70, qPrintable(QString::number(cell)));
        }
    });
}

void TestLoadHistoryDialogView::offersTheDaysOfAHistory_data()
{
    QTest::addColumn<qint64>("historyStart");
    QTest::addColumn<QDate>("first");
    QTest::addColumn<QDate>("selected");
    const QDate weekAgo = dateAgo(7);
    QTest::newRow("3 days") << secondsAgo(3) << QDateTime::fromSecsSinceEpoch(secondsAgo(3)).date()
                            << QDateTime::fromSecsSinceEpoch(secondsAgo(3)).date();
    QTest::newRow("30 days") << secondsAgo(30) << QDateTime::fromSecsSinceEpoch(secondsAgo(30)).date()
                             << weekAgo;
    QTest::newRow("since just now") << secondsAgo(0) << QDate::currentDate() << QDate::currentDate();
    // As a device has it that doesn't know the time.
    QTest::newRow("since 1970") << qint64(0) << QDate(1970, 1, 1) << weekAgo;
    QTest::newRow("before 1970") << qint64(-3 * daySeconds) << QDate(1969, 12, 29) << weekAgo;
}

void TestLoadHistoryDialogView::offersTheDaysOfAHistory()
{
    QFETCH(qint64, historyStart);
    QFETCH(QDate, first);
    QFETCH(QDate, selected);
    simulator::DeviceOptions options;
    options.historyStart = historyStart;
    m_bench->addOpenDevice("lab-sensor", options);
    m_bench->start();
    QVERIFY(m_bench->ask(0));
    run([&](DialogUser &user) {
        for (const char *const name : {"calendarWidgetStart", "calendarWidgetEnd"}) {
            const auto &calendar = user.find<QCalendarWidget>(name);
            QCOMPARE(calendar.minimumDate(), first);
            QCOMPARE(calendar.maximumDate(), QDate::currentDate());
        }
        QCOMPARE(user.find<QCalendarWidget>("calendarWidgetStart").selectedDate(), selected);
        QCOMPARE(user.find<QCalendarWidget>("calendarWidgetEnd").selectedDate(), QDate::currentDate());
    });
}

void TestLoadHistoryDialogView::offersTheDaysOfAllDevices()
{
    simulator::DeviceOptions options;
    options.historyStart = secondsAgo(2);
    m_bench->addOpenDevice("young", options);
    options.historyStart = secondsAgo(5);
    m_bench->addOpenDevice("old", options);
    options.historyStart = secondsAgo(1);
    options.clockOffset = 72h;
    m_bench->addOpenDevice("ahead", options);
    m_bench->addOpenDevice("never asked");
    m_bench->start();
    for (int i = 0; i < 3; ++i) {
        QVERIFY(m_bench->ask(i));
    }
    run([](DialogUser &user) {
        const auto &start = user.find<QCalendarWidget>("calendarWidgetStart");
        const auto &end = user.find<QCalendarWidget>("calendarWidgetEnd");
        QCOMPARE(start.minimumDate(), QDateTime::fromSecsSinceEpoch(secondsAgo(5)).date());
        QCOMPARE(start.selectedDate(), start.minimumDate());
        QCOMPARE(end.minimumDate(), start.minimumDate());
        QCOMPARE(start.maximumDate(), QDateTime::fromSecsSinceEpoch(secondsAgo(-3)).date());
        QCOMPARE(end.maximumDate(), start.maximumDate());
        QCOMPARE(end.selectedDate(), end.maximumDate());
    });
}

void TestLoadHistoryDialogView::offersTheDaysOfAWrongClock_data()
{
    QTest::addColumn<qint64>("historyDays");
    QTest::addColumn<qint64>("clockDays");
    QTest::addColumn<qint64>("firstDays");
    QTest::addColumn<qint64>("lastDays");
    QTest::addColumn<qint64>("selectedDays");
    // All in days before today.
    QTest::newRow("years behind") << qint64(3700) << qint64(3650) << qint64(3700) << qint64(0) << qint64(7);
    QTest::newRow("behind its own history")
        << qint64(3) << qint64(3650) << qint64(3650) << qint64(0) << qint64(7);
    QTest::newRow("years ahead") << qint64(3) << qint64(-3650) << qint64(3) << qint64(-3650) << qint64(3);
    QTest::newRow("all of the history ahead")
        << qint64(-3640) << qint64(-3650) << qint64(0) << qint64(-3650) << qint64(0);
}

void TestLoadHistoryDialogView::offersTheDaysOfAWrongClock()
{
    QFETCH(qint64, historyDays);
    QFETCH(qint64, clockDays);
    QFETCH(qint64, firstDays);
    QFETCH(qint64, lastDays);
    QFETCH(qint64, selectedDays);
    simulator::DeviceOptions options;
    options.historyStart = secondsAgo(historyDays);
    options.variables["systimestamp"] = std::to_string(secondsAgo(clockDays));
    m_bench->addOpenDevice("lab-sensor", options);
    m_bench->start();
    QVERIFY(m_bench->ask(0));
    const auto dateOf = [](qint64 days) { return QDateTime::fromSecsSinceEpoch(secondsAgo(days)).date(); };
    run([&](DialogUser &user) {
        const auto &start = user.find<QCalendarWidget>("calendarWidgetStart");
        const auto &end = user.find<QCalendarWidget>("calendarWidgetEnd");
        QCOMPARE(start.minimumDate(), dateOf(firstDays));
        QCOMPARE(end.minimumDate(), dateOf(firstDays));
        QCOMPARE(start.maximumDate(), dateOf(lastDays));
        QCOMPARE(end.maximumDate(), dateOf(lastDays));
        QCOMPARE(start.selectedDate(), selectedDays == 7 ? dateAgo(7) : dateOf(selectedDays));
        QCOMPARE(end.selectedDate(), dateOf(lastDays));
    });
}

void TestLoadHistoryDialogView::offersNoMoreDaysThanACalendarHas_data()
{
    QTest::addColumn<QByteArray>("historyStart");
    QTest::addColumn<QByteArray>("clock");
    QTest::newRow("the year 9999") << QByteArray("0") << QByteArray("253370764800");
    QTest::newRow("before the first year") << QByteArray("-99999999999") << QByteArray("1600000000");
    QTest::newRow("both") << QByteArray("-99999999999") << QByteArray("999999999999");
    QTest::newRow("the largest numbers")
        << QByteArray("-9223372036854775808") << QByteArray("9223372036854775807");
    QTest::newRow("the other way round")
        << QByteArray("9223372036854775807") << QByteArray("-9223372036854775808");
    QTest::newRow("milliseconds") << QByteArray("9223372036854775") << QByteArray("-9223372036854775");
    QTest::newRow("beyond all numbers") << QByteArray("99999999999999999999") << QByteArray("1e300");
    QTest::newRow("no numbers") << QByteArray("yesterday") << QByteArray();
}

void TestLoadHistoryDialogView::offersNoMoreDaysThanACalendarHas()
{
    QFETCH(QByteArray, historyStart);
    QFETCH(QByteArray, clock);
    simulator::DeviceOptions options;
    options.variables["histo_start"] = historyStart.toStdString();
    options.variables["systimestamp"] = clock.toStdString();
    m_bench->addOpenDevice("lab-sensor", options);
    m_bench->start();
    QVERIFY(m_bench->ask(0));
    run([this](DialogUser &user) {
        const QCalendarWidget any;
        const QDate today = QDate::currentDate();
        for (const char *const name : {"calendarWidgetStart", "calendarWidgetEnd"}) {
            const auto &calendar = user.find<QCalendarWidget>(name);
            const QByteArray seen = calendar.minimumDate().toString(Qt::ISODate).toUtf8() + " to " +
                                    calendar.maximumDate().toString(Qt::ISODate).toUtf8() + ": " +
                                    calendar.selectedDate().toString(Qt::ISODate).toUtf8();
            QVERIFY2(calendar.minimumDate() >= any.minimumDate() && calendar.minimumDate() <= today,
                     seen.constData());
            QVERIFY2(calendar.maximumDate() <= any.maximumDate() && calendar.maximumDate() >= today,
                     seen.constData());
            QVERIFY2(calendar.selectedDate() >= calendar.minimumDate() &&
                         calendar.selectedDate() <= calendar.maximumDate(),
                     seen.constData());
        }
        // And what is chosen so can be asked for.
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
        QCOMPARE(m_bench->operations().size(), std::size_t(1));
        QCOMPARE(user.statuses(), QStringList{finished});
    });
}

void TestLoadHistoryDialogView::remembersItsLook()
{
    m_bench->addOpenDevice("lab-sensor");
    m_bench->start();
    QRect headerPlace;
    run([&](DialogUser &user) {
        user.dialog().resize(700, 600);
        QHeaderView &header = *user.table().horizontalHeader();
        header.resizeSection(0, 123);
        header.resizeSection(2, 321);
        QTRY_VERIFY_WITH_TIMEOUT(user.table().width() > 650, patience);
        headerPlace = header.geometry();
        chooseHistory(user, QDate::currentDate(), QDate::currentDate(), 45, 1);
    });
    run([&](DialogUser &user) {
        QCOMPARE(user.dialog().size(), QSize(700, 600));
        QCOMPARE(user.table().columnWidth(0), 123);
        QCOMPARE(user.table().columnWidth(2), 321);
        QVERIFY(user.table().horizontalHeader()->isVisible());
        QCOMPARE(user.table().horizontalHeader()->geometry(), headerPlace);
        QCOMPARE(user.find<QSpinBox>("spinBoxStepSize").value(), 45);
        QCOMPARE(user.find<QComboBox>("comboBoxStepUnit").currentIndex(), 1);
    });
}

void TestLoadHistoryDialogView::writesItsSettingsOnlyWhenItCloses_data()
{
    QTest::addColumn<QString>("how");
    for (const char *const how : {"button", "Escape", "close"}) {
        QTest::newRow(how) << how;
    }
}

void TestLoadHistoryDialogView::writesItsSettingsOnlyWhenItCloses()
{
    QFETCH(QString, how);
    m_bench->addOpenDevice("lab-sensor");
    m_bench->start();
    const QStringList keys{
        QStringLiteral("LoadHistoryDialog/Geometry"), QStringLiteral("LoadHistoryDialog/horizontalHeader"),
        QStringLiteral("LoadHistoryDialog/horizontalHeaderState"),
        QStringLiteral("LoadHistoryDialog/stepSize"), QStringLiteral("LoadHistoryDialog/stepUnit")};
    const auto storedKeys = [] {
        return settings::store().allKeys().filter(QStringLiteral("LoadHistoryDialog/"));
    };
    run([&](DialogUser &user) {
        chooseHistory(user, QDate::currentDate(), QDate::currentDate(), 15, 1);
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
        QCOMPARE(storedKeys(), QStringList());
        if (how == QLatin1String("button")) {
            user.button("pushButtonClose").click();
        } else if (how == QLatin1String("Escape")) {
            QTest::keyClick(&user.dialog(), Qt::Key_Escape);
        } else {
            QVERIFY(user.dialog().close());
        }
        QCOMPARE(storedKeys(), keys);
        QCOMPARE(settings::store().value(keys[0]).toByteArray(), user.dialog().saveGeometry());
        const QHeaderView &header = *user.table().horizontalHeader();
        QCOMPARE(settings::store().value(keys[1]).toByteArray(), header.saveGeometry());
        QCOMPARE(settings::store().value(keys[2]).toByteArray(), header.saveState());
    });
    settings::store().sync();
    QFile file(m_environment->settingsFile());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = file.readAll().split('\n');
    QVERIFY(lines.contains("[LoadHistoryDialog]"));
    QVERIFY(lines.contains("stepSize=15"));
    QVERIFY(lines.contains("stepUnit=1"));
    for (const char *const start : {"Geometry=", "horizontalHeader=", "horizontalHeaderState="}) {
        QVERIFY2(std::any_of(lines.begin(), lines.end(),
                             [start](const QByteArray &line) {
                                 return line.startsWith(start + QByteArray("@ByteArray("));
                             }),
                 start);
    }
}

void TestLoadHistoryDialogView::takesStoredSteps_data()
{
    QTest::addColumn<QVariant>("size");
    QTest::addColumn<QVariant>("unit");
    QTest::addColumn<int>("shownSize");
    QTest::addColumn<int>("shownUnit");
    QTest::newRow("none") << QVariant() << QVariant() << 1 << 0;
    QTest::newRow("usual") << QVariant(15) << QVariant(1) << 15 << 1;
    QTest::newRow("texts, as a file has them")
        << QVariant(QStringLiteral("15")) << QVariant(QStringLiteral("1")) << 15 << 1;
    QTest::newRow("zero") << QVariant(0) << QVariant(0) << 1 << 0;
    QTest::newRow("negative") << QVariant(-5) << QVariant(-1) << 1 << 0;
    QTest::newRow("beyond the units") << QVariant(2) << QVariant(2) << 2 << 1;
    QTest::newRow("far beyond") << QVariant(2147483647) << QVariant(2147483647) << 100000 << 1;
    QTest::newRow("far below") << QVariant(-2147483647 - 1) << QVariant(-2147483647 - 1) << 1 << 0;
    QTest::newRow("no numbers") << QVariant(QStringLiteral("often")) << QVariant(QStringLiteral("days")) << 1
                                << 0;
    QTest::newRow("other types") << QVariant(QByteArray("\xFF")) << QVariant(QStringList{}) << 1 << 0;
}

void TestLoadHistoryDialogView::takesStoredSteps()
{
    QFETCH(QVariant, size);
    QFETCH(QVariant, unit);
    QFETCH(int, shownSize);
    QFETCH(int, shownUnit);
    m_bench->start();
    if (size.isValid()) {
        settings::store().setValue(QStringLiteral("LoadHistoryDialog/stepSize"), size);
        settings::store().setValue(QStringLiteral("LoadHistoryDialog/stepUnit"), unit);
    }
    run([&](DialogUser &user) {
        QCOMPARE(user.find<QSpinBox>("spinBoxStepSize").value(), shownSize);
        QCOMPARE(user.find<QComboBox>("comboBoxStepUnit").currentIndex(), shownUnit);
    });
}

void TestLoadHistoryDialogView::survivesDamagedLooks_data()
{
    QTest::addColumn<QVariant>("damage");
    QTest::newRow("empty") << QVariant(QByteArray());
    QTest::newRow("no look") << QVariant(QByteArray("rubbish"));
    QTest::newRow("zeros") << QVariant(QByteArray(300, '\0'));
    QTest::newRow("ones") << QVariant(QByteArray(300, '\xFF'));
    QTest::newRow("a number") << QVariant(5);
    QTest::newRow("a list") << QVariant(QStringList{QStringLiteral("a"), QStringLiteral("b")});
    // Sections without end.
    QTest::newRow("a header of millions of columns") << QVariant(
        QByteArray::fromHex("000000ff00000000000000010000000100000000010000000000000000000000000000"
                            "0000000000000000012c7fffffff0101000100000000000000000000000064ffffff"
                            "ff0000008100000000000000017fffffff7fffffff00000000000003e80000000064"));
}

void TestLoadHistoryDialogView::survivesDamagedLooks()
{
    QFETCH(QVariant, damage);
    m_bench->addOpenDevice("lab-sensor");
    m_bench->start();
    for (const char *const key : {"Geometry", "horizontalHeader", "horizontalHeaderState"}) {
        settings::store().setValue(QLatin1String("LoadHistoryDialog/") + QLatin1String(key), damage);
    }
    run([](DialogUser &user) {
        QCOMPARE(user.dialog().size(), initialSize(user.dialog()));
        QCOMPARE(user.table().columnWidth(2), 200);
        QVERIFY(user.table().horizontalHeader()->isVisible());
        QCOMPARE(user.table().horizontalHeader()->count(), 3);
        QCOMPARE(user.table().horizontalHeader()->hiddenSectionCount(), 0);
        user.button("pushButtonLoad").click();
        QVERIFY(user.awaitEnd());
        QCOMPARE(user.statuses(), QStringList{finished});
    });
}

void TestLoadHistoryDialogView::remembersTheDirectory()
{
    const QString chosen = m_bench->directory() + QLatin1String("/chosen here");
    QVERIFY(QDir().mkdir(chosen));
    m_bench->start();
    run([&](DialogUser &user) {
        auto &selector = user.find<FileSelectorWidget>("fileSelectorOutput");
        QCOMPARE(selector.text(), m_bench->directory());
        // What is only typed is not remembered.
        selector.setText(QStringLiteral("/"));
        QCOMPARE(settings::store().value(QStringLiteral("CSVDir")).toString(), m_bench->directory());

        QTimer look;
        QObject::connect(&look, &QTimer::timeout, &look, [&] {
            if (auto *const files = qobject_cast<QFileDialog *>(QApplication::activeModalWidget())) {
                look.stop();
                QCOMPARE(files->windowTitle(), QStringLiteral("Save in directory"));
                files->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(chosen);
                static_cast<QDialog *>(files)->accept();
            }
        });
        look.start(5);
        selector.findChild<QAbstractButton *>(QStringLiteral("pushButton"))->click();
        QCOMPARE(selector.text(), chosen);
        QCOMPARE(settings::store().value(QStringLiteral("CSVDir")).toString(), chosen);
    });
    QVERIFY(withDialog([] { LoadHistoryDialog::downloadHistory({}, nullptr); },
                       [&](DialogUser &user) {
                           QCOMPARE(user.find<FileSelectorWidget>("fileSelectorOutput").text(), chosen);
                       }));
}

void TestLoadHistoryDialogView::startsWithTheDirectoryOfTheProgram()
{
    m_bench->start();
    QVERIFY(withDialog([] { LoadHistoryDialog::downloadHistory({}, nullptr); },
                       [](DialogUser &user) {
                           const QString shown = user.find<FileSelectorWidget>("fileSelectorOutput").text();
                           QCOMPARE(shown, QStandardPaths::writableLocation(QStandardPaths::AppDataLocation));
                           QVERIFY(QDir::isAbsolutePath(shown));
                       }));
    QVERIFY(!settings::store().contains(QStringLiteral("CSVDir")));
}

NEMBRA_GUI_TEST_MAIN(TestLoadHistoryDialogView)

#include "tst_loadhistorydialog_view.moc"
