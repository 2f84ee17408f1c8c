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
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr int kills = 1000;
constexpr int fewDevices = 300;
constexpr int manyDevices = 500;
/// For measuring how long saving takes here.
constexpr int measuredWrites = 50;

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
[[noreturn]] void saveUntilKilled(const QString &path, int started)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
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

} // namespace

class TestDeviceListFileKilled : public QObject
{
    Q_OBJECT

private slots:
    void leavesTheOldOrTheNewFileWhole();
};

void TestDeviceListFileKilled::leavesTheOldOrTheNewFileWhole()
{
    const QTemporaryDir directory;
    const QString path = directory.filePath(QStringLiteral("devices.json"));
    const QByteArray few = contentOf(fewDevices);
    const QByteArray many = contentOf(manyDevices);

    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < measuredWrites; ++i) {
        QCOMPARE(devicelistfile::write(path, listOf(fewDevices)), devicelistfile::Outcome::Saved);
        QCOMPARE(devicelistfile::write(path, listOf(manyDevices)), devicelistfile::Outcome::Saved);
    }
    const std::chrono::nanoseconds bothWrites(timer.nsecsElapsed() / measuredWrites);

    int fewSeen = 0;
    int manySeen = 0;
    int leftBehind = 0;
    int killedAtAnOpenFile = 0;
    for (int i = 0; i < kills; ++i) {
        std::array<int, 2> started{};
        QCOMPARE(pipe(started.data()), 0);
        const pid_t child = fork();
        QVERIFY(child >= 0);
        if (child == 0) {
            saveUntilKilled(path, started[1]);
        }
        close(started[1]);
        char byte = 0;
        QCOMPARE(read(started[0], &byte, 1), ssize_t(1));
        close(started[0]);
        // Nothing to wait for: the moment is what differs, from the begin of a list to the end of the next.
        std::this_thread::sleep_for(bothWrites * i / kills);
        int status = 0;
        if (i % 2 == 0) {
            // Every other one is stopped first, to see what it was at.
            QCOMPARE(kill(child, SIGSTOP), 0);
            QCOMPARE(waitpid(child, &status, WUNTRACED), child);
            QVERIFY(WIFSTOPPED(status));
            killedAtAnOpenFile += holdsOpenFileIn(child, directory.path()) ? 1 : 0;
        }
        QCOMPARE(kill(child, SIGKILL), 0);
        QCOMPARE(waitpid(child, &status, 0), child);
        QVERIFY2(WIFSIGNALED(status), qPrintable(QStringLiteral("exit code %1").arg(WEXITSTATUS(status))));

        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray content = file.readAll();
        QVERIFY2(content == few || content == many,
                 qPrintable(QStringLiteral("kill %1 left %2 bytes").arg(i).arg(content.size())));
        fewSeen += content == few ? 1 : 0;
        manySeen += content == many ? 1 : 0;
        const QStringList others =
            QDir(directory.path()).entryList({QStringLiteral("devices.json.*")}, QDir::Files | QDir::Hidden);
        leftBehind += others.size();
        for (const QString &other : others) {
            QVERIFY(QFile::remove(directory.filePath(other)));
        }
    }
    qInfo("%d times the one list, %d times the other; %d of %d killed at an open file, %d files left behind; "
          "%lld us for two lists",
          fewSeen, manySeen, killedAtAnOpenFile, kills / 2, leftBehind,
          static_cast<long long>(bothWrites.count() / 1000));
    // The kills did come while it was saving: before the new file had a name, and after that.
    QVERIFY(killedAtAnOpenFile > 0);
    QVERIFY(leftBehind > 0);
    QVERIFY(fewSeen > 0);
    QVERIFY(manySeen > 0);
}

QTEST_GUILESS_MAIN(TestDeviceListFileKilled)
#include "tst_devicelistfile_killed.moc"
