#pragma once

#include "fleetprocess.h"
#include "testenvironment.h"
#include "windowbench.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

class Device;
namespace failingcalls {
enum class Call;
} // namespace failingcalls

/// The main window, and a fleet of five devices in a process of its own: two of them by HTTPS, and all open
/// to everybody. Each call of the system by which the program can fail for lack of something does so once,
/// wherever users meet it: the first one of its kind in an action, one in the middle, and the last one.
/// Whatever it is, the action ends with a word to the user, nothing is left behind, and the next time it
/// works.
class TortureBench
{
public:
    /// Milliseconds for whatever must come to an end.
    static constexpr int patience = 15000;
    static constexpr int deviceCount = 5;
    /// Of each device.
    static const QByteArray configuration;

    /// Something that a user does, and what comes of it.
    struct Action
    {
        /// What must be there before.
        std::function<void()> prepare = [] {};
        /// Does it and tells what the user was told, each device or box on its own.
        std::function<QStringList()> run;
        /// What is told when nothing fails.
        QStringList good;
        /// What may be told else of a device, as a whole.
        QString bad;
        /// Empty if all files are as they must be after what was told.
        std::function<QString(const QStringList &)> checkFiles = [](const QStringList &) {
            return QString();
        };
    };

    TortureBench();
    ~TortureBench();
    Q_DISABLE_COPY_MOVE(TortureBench)

    // For the functions of a test that have these names.
    void begin();
    void end();
    void open();
    void close();

    void openWindow();
    /// Presses the key for a refresh until every device has a row that says it is well, and nothing is under
    /// way. Tells whether that is reached.
    [[nodiscard]] bool comesToRest();
    /// What the rows say.
    QString rows() const;
    QList<Device *> devices() const;
    QString path(const QString &name) const { return m_environment->path(name); }
    QString outputDirectory() const { return path(QStringLiteral("out")); }
    /// Takes away what lies in the output directory and tells what is wrong with it: the files must be as
    /// many, and each be good.
    QString checkOutput(int count, const std::function<bool(const QByteArray &)> &isGood) const;

    /// Takes the action again and again, with one call that fails.
    void torture(const Action &action);

    static QByteArray contentOf(const QString &path);
    static QStringList allDevices(const QString &outcome);

    std::unique_ptr<WindowBench> m_bench;

private:
    /// What the process has open and running.
    struct Holdings
    {
        int descriptors = 0;
        int threads = 0;

        static Holdings now();
        bool operator==(const Holdings &other) const;
        QString text() const;
    };

    bool isAtRest() const;
    /// What is wrong afterwards; empty if nothing is.
    QString failAt(const Action &action, failingcalls::Call call, int number, int inARow = 1);

    FleetProcess m_fleet;
    std::unique_ptr<TestEnvironment> m_environment;
    /// Before and after an action.
    Holdings m_holdings;
    int m_injected = 0;
};
