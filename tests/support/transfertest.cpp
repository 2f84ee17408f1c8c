#include "transfertest.h"

#include "common/settings.h"
#include "operations/loadhistorydialog.h"
#include "operations/networkoperationsdialog.h"
#include "testenvironment.h"

#include <QDir>
#include <QGuiApplication>
#include <QTableWidget>
#include <QTimer>
#include <QtTest>

using namespace std::chrono_literals;
using simulator::Fault;

const QString TransferTest::finished = QStringLiteral("Finished, #00ff00");
const QString TransferTest::canceled = QStringLiteral("Canceled, #ff0000");
const QString TransferTest::errorWriting = QStringLiteral("Error writing file, #ff0000");
const QString HistoryTest::downloading = QStringLiteral("Downloading, #ffffff");
const QString ConfigurationTest::downloading = QStringLiteral("Downloading, none");
const QString ConfigurationTest::uploading = QStringLiteral("Uploading, none");
const QByteArray ConfigurationTest::uploaded("[system]\r\nname=roof\r\n\0\xFF", 23);

namespace {

/// Devices of which a dialog is left at work.
constexpr int leftDevices = 6;

const QString amidAnAnswer = QStringLiteral("amid an answer");
const QString someFinished = QStringLiteral("some finished");

} // namespace

TransferTest::TransferTest() = default;

TransferTest::~TransferTest() = default;

void TransferTest::begin()
{
    m_environment = std::make_unique<TestEnvironment>();
    m_bench = std::make_unique<TransferBench>();
}

void TransferTest::end()
{
    // Whatever a test did with the dialog: its requests went with it.
    m_bench->dropRows();
    const bool rests = m_bench->comesToRest();
    m_bench.reset();
    m_environment.reset();
    QVERIFY(rests);
}

void TransferTest::addUnwritableFiles()
{
    QTest::addColumn<QByteArray>("hostName");
    QTest::addColumn<QString>("directory");
    QTest::newRow("a slash in the host name") << QByteArray("a/b") << "out";
    QTest::newRow("up") << QByteArray("../lab-sensor") << "out";
    QTest::newRow("from the root") << QByteArray("/tmp/lab-sensor") << "out";
    QTest::newRow("too long a host name") << QByteArray(300, 'n') << "out";
    QTest::newRow("a zero") << QByteArray("a\0b", 3) << "out";
    QTest::newRow("no such directory") << QByteArray("lab-sensor") << "missing";
    QTest::newRow("no directory") << QByteArray("lab-sensor") << QString();
}

void TransferTest::verifyNothingWritten() const
{
    QCOMPARE(m_bench->fileNames(), QStringList());
    QCOMPARE(QDir(m_bench->directory().chopped(3))
                 .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("out")});
}

void TransferTest::addMisbehavingDevices(const simulator::DeviceOptions &options) const
{
    for (const Misbehaviour &misbehaviour : misbehaviours()) {
        simulator::DeviceOptions own = options;
        own.redirectToHttps = misbehaviour.overHttps;
        m_bench->addOpenDevice(misbehaviour.name, own);
    }
}

void TransferTest::misbehave(const Outcome &outcome, Expectation &expected) const
{
    int index = 0;
    for (const Misbehaviour &misbehaviour : misbehaviours()) {
        if (misbehaviour.overHttps) {
            QVERIFY2(m_bench->ask(index), misbehaviour.name);
        }
        for (const Fault &fault : misbehaviour.faults) {
            m_bench->fleet().addFault(index, fault);
        }
        ++index;
        const QString name = QLatin1String(misbehaviour.name) + QLatin1String(": ");
        expected.hanging += misbehaviour.hangs ? 1 : 0;
        expected.statuses += name + misbehaviour.*outcome.status;
        if (outcome.writesFiles && misbehaviour.hasFile) {
            const bool isOwn = misbehaviour.content == "(own)";
            const QByteArray content = isOwn ? outcome.ownContent : misbehaviour.content;
            expected.files += name + QString::fromLatin1(content.toHex());
        }
    }
    expected.files.sort();
}

QStringList TransferTest::namedStatuses(const DialogUser &user)
{
    QStringList named;
    for (int row = 0; row < user.table().rowCount(); ++row) {
        named += user.table().item(row, 0)->text() + QLatin1String(": ") + user.statuses().at(row);
    }
    return named;
}

QStringList TransferTest::namedFiles(const QString &suffix) const
{
    QStringList named;
    const QMap<QString, QByteArray> written = m_bench->files();
    for (auto file = written.begin(); file != written.end(); ++file) {
        const QString name = file.key().endsWith(suffix) ? file.key().section(QStringLiteral("-0E5A"), 0, 0)
                                                         : file.key() + QLatin1String(" (other suffix)");
        named += name + QLatin1String(": ") + QString::fromLatin1(file.value().toHex());
    }
    return named;
}

void TransferTest::addLeavings(const std::vector<const char *> &ways)
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<QString>("when");
    for (const char *const how : ways) {
        for (const char *const when : {"at once", "hanging", "amid an answer", "some finished"}) {
            QTest::addRow("%s, %s", how, when) << how << when;
        }
    }
}

void TransferTest::startUntil(const QString &when, const Fault &drip,
                              const simulator::DeviceOptions &options) const
{
    for (int i = 0; i < leftDevices; ++i) {
        m_bench->addOpenDevice("lab-sensor", options);
    }
    m_bench->start();
    if (when == amidAnAnswer) {
        m_bench->fleet().addFault(drip);
        return;
    }
    const int hanging = when == someFinished ? leftDevices - 1 : leftDevices;
    for (int i = 0; i < hanging; ++i) {
        m_bench->fleet().addFault(i, Fault::hang());
    }
}

void TransferTest::awaitPoint(const QString &when, const DialogUser &user) const
{
    if (when != QLatin1String("at once")) {
        QTRY_VERIFY_WITH_TIMEOUT(m_bench->fleet().counters().httpRequests == leftDevices, patience);
    }
    if (when == amidAnAnswer) {
        QTRY_COMPARE_WITH_TIMEOUT(m_bench->fileNames().size(), leftDevices, patience);
    } else if (when == someFinished) {
        QTRY_COMPARE_WITH_TIMEOUT(user.statuses().count(finished), 1, patience);
    }
}

void TransferTest::leave(QDialog &dialog, const QString &how)
{
    if (how == QLatin1String("Escape")) {
        QTest::keyClick(&dialog, Qt::Key_Escape);
    } else if (how == QLatin1String("close")) {
        QVERIFY(dialog.close());
    } else {
        QCOMPARE(how, QStringLiteral("reject"));
        dialog.reject();
    }
}

void TransferTest::verifyGoesWithTheProgram(
    const std::function<void(const std::function<void()> &inDialog)> &useDialog) const
{
    for (int i = 0; i < leftDevices; ++i) {
        m_bench->addOpenDevice("lab-sensor");
    }
    m_bench->start();
    m_bench->fleet().addFault(Fault::hang());
    // Else the dialog, as the last window, would end the program once more, at the next test.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    bool returned = false;
    QTimer::singleShot(0, QCoreApplication::instance(), [&] {
        useDialog([this] {
            QTRY_VERIFY_WITH_TIMEOUT(m_bench->fleet().counters().httpRequests == leftDevices, patience);
            QCoreApplication::quit();
        });
        returned = true;
    });
    const int exitCode = QCoreApplication::exec();
    QGuiApplication::setQuitOnLastWindowClosed(true);
    QCOMPARE(exitCode, 0);
    QVERIFY(returned);
    QCOMPARE(m_bench->fileNames(), QStringList());
}

void HistoryTest::begin()
{
    // What is today must stay so to the end of a test.
    QTRY_VERIFY_WITH_TIMEOUT(QTime::currentTime() < QTime(23, 59, 20), 60000);
    TransferTest::begin();
}

void HistoryTest::run(const std::function<void(DialogUser &)> &use) const
{
    settings::store().setValue(QStringLiteral("CSVDir"), m_bench->directory());
    QVERIFY(withDialog([this] { LoadHistoryDialog::downloadHistory(m_bench->devices(), nullptr); }, use));
}

QDate HistoryTest::dateAgo(qint64 days)
{
    return QDateTime::currentDateTime().addDays(-days).date();
}

qint64 HistoryTest::secondsAgo(qint64 days)
{
    return QDateTime::currentSecsSinceEpoch() - days * daySeconds;
}

QString HistoryTest::suffixed(const char *stem)
{
    return QLatin1String(stem) + QLatin1String("-TIME.csv");
}

void ConfigurationTest::addOperations()
{
    QTest::addColumn<Operation>("operation");
    QTest::newRow("download") << Operation::Download;
    QTest::newRow("download with passwords") << Operation::DownloadWithPasswords;
    QTest::newRow("upload") << Operation::Upload;
}

void ConfigurationTest::open(Operation operation) const
{
    if (operation == Operation::Upload) {
        NetworkOperationsDialog::uploadConfig(uploaded, m_bench->devices(), nullptr);
    } else {
        NetworkOperationsDialog::downloadConfigs(m_bench->directory(), m_bench->devices(),
                                                 operation == Operation::DownloadWithPasswords, nullptr);
    }
}

void ConfigurationTest::run(Operation operation, const std::function<void(DialogUser &)> &use) const
{
    QVERIFY(withDialog([this, operation] { open(operation); }, use));
}

QString ConfigurationTest::suffixed(const char *stem)
{
    return QLatin1String(stem) + QLatin1String("-TIME.qini");
}
