#include "updatebench.h"

#include "device/device.h"
#include "devicerow.h"
#include "testenvironment.h"
#include "transferbench.h"

#include <QFile>
#include <QLoggingCategory>
#include <QtTest>

using namespace std::chrono_literals;

bool Run::awaitEnd() const
{
    return QTest::qWaitFor([this] { return m_hasEnded; }, patience);
}

bool Run::awaitMessage(const QString &text, int count) const
{
    return QTest::qWaitFor([&] { return m_messages.count(text) >= count; }, patience);
}

bool Run::waits()
{
    // An event loop that has to end still handles what was posted to it before, but nothing later. The way
    // back is that of the messages, which come first.
    constexpr int rounds = 2;
    for (int i = 0; i < rounds; ++i) {
        const auto turned = std::make_shared<bool>(false);
        QMetaObject::invokeMethod(
            &m_probe,
            [this, turned] {
                QMetaObject::invokeMethod(
                    this, [turned] { *turned = true; }, Qt::QueuedConnection);
            },
            Qt::QueuedConnection);
        if (!QTest::qWaitFor([&] { return *turned || m_hasEnded; }, patience) || m_hasEnded) {
            return false;
        }
    }
    return true;
}

QString requestLine(const simulator::HttpRecord &record)
{
    return QString::fromStdString(record.method) +
           (record.https ? QStringLiteral(" https:/") : QStringLiteral(" http:/")) +
           QString::fromStdString(record.target);
}

simulator::FieldMap partsOf(const simulator::HttpRecord &record)
{
    return simulator::multipartFields(record.header("Content-Type"), record.body)
        .value_or(simulator::FieldMap());
}

UpdateBench::UpdateBench() = default;
UpdateBench::~UpdateBench() = default;

void UpdateBench::omitDebugOutput()
{
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
}

void UpdateBench::open()
{
    m_environment = std::make_unique<TestEnvironment>();
    simulator::FleetOptions options;
    options.journalBodyLimit = 64U << 20U;
    m_bench = std::make_unique<TransferBench>(options);
    QVERIFY(writeImage("version=7.8.9\nimage"));
}

void UpdateBench::close()
{
    m_discovery.reset();
    m_bench.reset();
    m_environment.reset();
}

int UpdateBench::addDevice(const QByteArray &name, simulator::DeviceOptions options) const
{
    if (!options.restartTime) {
        options.restartTime = shortRestart;
    }
    if (!options.configuration) {
        options.configuration = configuration.toStdString();
    }
    return m_bench->addDevice(name, std::move(options));
}

/// A fleet of one device, where none was added, with a user at each.
void UpdateBench::begin() const
{
    if (m_bench->fleet().deviceCount() == 0) {
        addDevice("lab");
    }
    m_bench->start();
    for (int i = 0; i < m_bench->fleet().deviceCount(); ++i) {
        setUp(i);
    }
    // Those who asked are gone, too.
    QVERIFY(comesToRest());
}

void UpdateBench::setUp(int index, const QString &user) const
{
    QVERIFY(m_bench->ask(index));
    if (!user.isEmpty()) {
        QVERIFY(m_bench->logIn(index, user));
    }
    // The connection that it has kept goes.
    m_bench->device(index).recreateNetworkManager();
    m_bench->fleet().clearJournal();
}

bool UpdateBench::writeImage(const QByteArray &image) const
{
    QFile file(job().firmwareFile);
    return file.open(QIODevice::WriteOnly) && file.write(image) == image.size() && file.flush();
}

UpdateThread::Job UpdateBench::job() const
{
    UpdateThread::Job job;
    job.firmwareFile = m_environment->path(QStringLiteral("image.bin"));
    job.restartTime = shortRestart;
    return job;
}

/// The devices that are there answer all the time.
void UpdateBench::answerDiscovery(std::chrono::milliseconds interval)
{
    m_discovery = std::make_unique<QTimer>();
    QObject::connect(m_discovery.get(), &QTimer::timeout, m_discovery.get(), [this] {
        for (int i = 0; i < m_bench->fleet().deviceCount(); ++i) {
            const simulator::DeviceInfo info = m_bench->fleet().device(i);
            const auto asked = std::chrono::steady_clock::now();
            const bool isThere = !m_bench->fleet().isRestarting(i);
            // What took longer may tell of the time before a restart for which somebody waits by now.
            const bool isFresh = std::chrono::steady_clock::now() - asked < shortRestart / 2;
            if (isFresh && isThere) {
                m_bench->device(i).updateFromDiscovery(recordOf(info));
            }
        }
    });
    m_discovery->start(interval);
}

/// Whether nobody is left who could send anything.
bool UpdateBench::comesToRest() const
{
    return m_bench->areAllClosed();
}

QStringList UpdateBench::lines(int index) const
{
    QStringList lines;
    for (const simulator::HttpRecord &record : m_bench->fleet().requests(index)) {
        lines += requestLine(record);
    }
    return lines;
}

std::size_t UpdateBench::requestCount(int index) const
{
    return m_bench->fleet().requests(index).size();
}
