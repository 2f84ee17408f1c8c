#include "device/devicelistfile.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// Sanitizers look at every allocation, and a list is nothing but allocations.
constexpr int kills = 200;
constexpr int fewDevices = 10;
constexpr int manyDevices = 20;
#else
constexpr int kills = 500;
constexpr int fewDevices = 300;
constexpr int manyDevices = 500;
#endif
/// For measuring how long saving takes here.
constexpr int measuredWrites = 50;

/// Whether this process stops when its new file has a name and hasn't taken the place of the old one: the
/// shortest step of saving, which a kill at any moment rarely meets.
bool stopsBeforeRenaming = false;

QJsonArray listOf(int count)
{
    QJsonArray list;
    for (int i = 0; i < count; ++i) {
        list.append(
            QJsonObject{{QStringLiteral("hostname"), QStringLiteral("device %1 of %2").arg(i).arg(count)}});
    }
    return list;
}

/// The file of such a list, written out by hand.
QByteArray contentOf(int count)
{
    QByteArray content = "{\n    \"devices\": [\n";
    for (int i = 0; i < count; ++i) {
        content += "        {\n            \"hostname\": \"device " + QByteArray::number(i) + " of " +
                   QByteArray::number(count) + "\"\n        }" + (i + 1 < count ? ",\n" : "\n");
    }
    return content + "    ]\n}\n";
}

/// Whether the process has a file of the directory open, be it one without a name.
bool holdsOpenFileIn(pid_t process, const QString &directory)
{
    const QDir descriptors(QStringLiteral("/proc/%1/fd").arg(process));
    const QStringList names = descriptors.entryList(QDir::Files | QDir::System | QDir::Hidden);
    return std::any_of(names.begin(), names.end(), [&](const QString &name) {
        return QFile::symLinkTarget(descriptors.filePath(name)).startsWith(directory + QLatin1Char('/'));
    });
}

/// Never returns. Tells by a byte that it begins.
[[noreturn]] void saveUntilKilled(const QString &path, int started, bool stops)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    stopsBeforeRenaming = stops;
    const QJsonArray few = listOf(fewDevices);
    const QJsonArray many = listOf(manyDevices);
    if (write(started, "x", 1) != 1) {
        _exit(1);
    }
    for (;;) {
        if (devicelistfile::write(path, few) != devicelistfile::Outcome::Saved ||
            devicelistfile::write(path, many) != devicelistfile::Outcome::Saved) {
            _exit(2);
        }
    }
}

/// How often something was seen.
struct Tally
{
    int few = 0;
    int many = 0;
    int leftBehind = 0;
    int atAnOpenFile = 0;
};

} // namespace

/// In place of the system's own, for this program and its libraries.
extern "C" int rename(const char *from, const char *to) noexcept
{
    if (stopsBeforeRenaming) {
        raise(SIGSTOP);
    }
    return renameat(AT_FDCWD, from, AT_FDCWD, to);
}

class TestDeviceListFileKilled : public QObject
{
    Q_OBJECT

private slots:
    void leavesTheOldOrTheNewFileWhole();

private:
    void measureWrites();
    /// Starts a process that saves, and returns when it has begun. `stops`: before it renames.
    void startSaving(bool stops);
    void waitUntilStopped();
    void killSaving();
    /// Kills one that saves at any moment: each number has its own. Every other one is stopped first, to see
    /// what it is at.
    void killAtAnyMoment(int number);
    void killBeforeRenaming();
    /// Looks at what is there after a kill, and clears up.
    void verifyWhole(int number);

    const QTemporaryDir m_directory;
    const QString m_path = m_directory.filePath(QStringLiteral("devices.json"));
    const QByteArray m_few = contentOf(fewDevices);
    const QByteArray m_many = contentOf(manyDevices);
    std::chrono::nanoseconds m_bothWrites{0};
    pid_t m_child = -1;
    Tally m_tally;
};

void TestDeviceListFileKilled::measureWrites()
{
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < measuredWrites; ++i) {
        QCOMPARE(devicelistfile::write(m_path, listOf(fewDevices)), devicelistfile::Outcome::Saved);
        QCOMPARE(devicelistfile::write(m_path, listOf(manyDevices)), devicelistfile::Outcome::Saved);
    }
    m_bothWrites = std::chrono::nanoseconds(timer.nsecsElapsed() / measuredWrites);
}

void TestDeviceListFileKilled::startSaving(bool stops)
{
    std::array<int, 2> started{};
    QCOMPARE(pipe(started.data()), 0);
    m_child = fork();
    QVERIFY(m_child >= 0);
    if (m_child == 0) {
        saveUntilKilled(m_path, started[1], stops);
    }
    ::close(started[1]);
    char byte = 0;
    QCOMPARE(read(started[0], &byte, 1), ssize_t(1));
    ::close(started[0]);
}

void TestDeviceListFileKilled::waitUntilStopped()
{
    int status = 0;
    QCOMPARE(waitpid(m_child, &status, WUNTRACED), m_child);
    QVERIFY(WIFSTOPPED(status));
}

void TestDeviceListFileKilled::killSaving()
{
    int status = 0;
    QCOMPARE(kill(m_child, SIGKILL), 0);
    QCOMPARE(waitpid(m_child, &status, 0), m_child);
    QVERIFY2(WIFSIGNALED(status), qPrintable(QStringLiteral("exit code %1").arg(WEXITSTATUS(status))));
}

void TestDeviceListFileKilled::killAtAnyMoment(int number)
{
    startSaving(false);
    // Nothing to wait for: the moment is what differs, from the begin of a list to the end of the next.
    std::this_thread::sleep_for(m_bothWrites * number / kills);
    if (number % 2 == 0) {
        QCOMPARE(kill(m_child, SIGSTOP), 0);
        waitUntilStopped();
        m_tally.atAnOpenFile += holdsOpenFileIn(m_child, m_directory.path()) ? 1 : 0;
    }
    killSaving();
}

void TestDeviceListFileKilled::killBeforeRenaming()
{
    startSaving(true);
    waitUntilStopped();
    killSaving();
}

void TestDeviceListFileKilled::verifyWhole(int number)
{
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray content = file.readAll();
    QVERIFY2(content == m_few || content == m_many,
             qPrintable(QStringLiteral("kill %1 left %2 bytes").arg(number).arg(content.size())));
    m_tally.few += content == m_few ? 1 : 0;
    m_tally.many += content == m_many ? 1 : 0;
    const QStringList others =
        QDir(m_directory.path()).entryList({QStringLiteral("devices.json.*")}, QDir::Files | QDir::Hidden);
    m_tally.leftBehind += others.size();
    for (const QString &other : others) {
        QVERIFY(QFile::remove(m_directory.filePath(other)));
    }
}

void TestDeviceListFileKilled::leavesTheOldOrTheNewFileWhole()
{
    measureWrites();
    int killsBeforeRenaming = 0;
    for (int i = 0; i < kills; ++i) {
        if (i % 5 == 4) {
            killBeforeRenaming();
            ++killsBeforeRenaming;
        } else {
            killAtAnyMoment(i);
        }
        if (QTest::currentTestFailed()) {
            return;
        }
        verifyWhole(i);
        if (QTest::currentTestFailed()) {
            return;
        }
    }
    qInfo("%d times the one list, %d times the other; %d killed at an open file, %d files left behind; "
          "%lld us for two lists",
          m_tally.few, m_tally.many, m_tally.atAnOpenFile, m_tally.leftBehind,
          static_cast<long long>(m_bothWrites.count() / 1000));
    // The kills did come while it was saving.
    QVERIFY(m_tally.atAnOpenFile > 0);
    QVERIFY(m_tally.leftBehind >= killsBeforeRenaming);
    QVERIFY(m_tally.few > 0);
    QVERIFY(m_tally.many > 0);
}

QTEST_GUILESS_MAIN(TestDeviceListFileKilled)
#include "tst_devicelistfile_killed.moc"
