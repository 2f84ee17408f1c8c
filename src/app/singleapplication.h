#pragma once

#include <QApplication>
#include <QLocalServer>
#include <QSharedMemory>

#include <memory>

/// The application object, of which only one may run: a second start wakes the first one, whose window then
/// comes to the front, and ends.
class SingleApplication final : public QApplication
{
    Q_OBJECT

public:
    /// Doesn't return in a second start: the process ends with exit code 0. After a crash of the first one
    /// the next start clears up and ends likewise; the one after that runs.
    SingleApplication(int &argc, char **argv);
    ~SingleApplication() override;

    /// The name of the lock and of the wake-up channel: both names without what a file name can't hold.
    [[nodiscard]] static QString instanceKey(const QString &applicationName, const QString &organizationName);

signals:
    /// The program was started once more.
    void showUp();

private slots:
    void slotConnectionEstablished();

private:
    [[noreturn]] void wakeFirstInstance(const QString &key);

    /// Its existence marks a running instance.
    std::unique_ptr<QSharedMemory> m_sharedMemory;
    std::unique_ptr<QLocalServer> m_localServer;
};
