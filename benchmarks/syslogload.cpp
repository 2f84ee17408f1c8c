#include "cases.h"
#include "common/settings.h"
#include "heartbeat.h"
#include "report.h"
#include "syslog/loglist.h"
#include "waiting.h"

#include <QFileInfo>
#include <QListWidget>
#include <QProcess>
#include <QTemporaryDir>
#include <QUdpSocket>

#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;

namespace cases {

namespace {

struct Load
{
    const char *name;
    int messages;
    int perMillisecond;
};

constexpr Load steadyLoad{"10,000 a second for 20 s", 200000, 10};
constexpr Load burstLoad{"20,000 within 0.2 s", 20000, 100};
constexpr std::size_t messageSize = 200;
/// As the program asks for.
constexpr int receiveBufferSize = 4 * 1024 * 1024;
constexpr const char *ownAddress = "10.77.0.1";
constexpr double bound = 50.0; // milliseconds
/// Nothing for so long means that all have arrived.
constexpr timeval silence{1, 0};
constexpr auto sendTimeout = 60s;
constexpr auto arrivalTimeout = 3s;

sockaddr_in addressOf(quint16 port)
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    inet_pton(AF_INET, ownAddress, &result.sin_addr);
    return result;
}

quint16 freePort()
{
    QUdpSocket socket;
    if (!socket.bind(QHostAddress::Any, 0, QAbstractSocket::DontShareAddress)) {
        report::giveUp(QStringLiteral("no port is free"));
    }
    return socket.localPort();
}

/// Sends all messages at their rate, some every millisecond, in a thread of its own.
class Sender final
{
public:
    Sender(const Load &load, quint16 port)
        : m_thread([this, load, port] { send(load, port); })
    {
    }
    ~Sender() { m_thread.join(); }
    Q_DISABLE_COPY_MOVE(Sender)

    bool done() const { return m_done; }
    /// What the kernel took.
    int accepted() const { return m_accepted; }

private:
    void send(const Load &load, quint16 port)
    {
        const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const sockaddr_in receiver = addressOf(port);
        const std::string text = "<13>" + std::string(messageSize - 4, 'x');
        auto next = std::chrono::steady_clock::now();
        for (int i = 0; i < load.messages; ++i) {
            if (i % load.perMillisecond == 0) {
                next += 1ms;
                std::this_thread::sleep_until(next);
            }
            if (sendto(descriptor, text.data(), text.size(), 0, reinterpret_cast<const sockaddr *>(&receiver),
                       sizeof receiver) == static_cast<ssize_t>(text.size())) {
                ++m_accepted;
            }
        }
        close(descriptor);
        m_done = true;
    }

    std::atomic<int> m_accepted{0};
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

/// Nothing but a loop that receives until nothing comes any more.
class BareLoop final
{
public:
    explicit BareLoop(quint16 port)
        : m_descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        setsockopt(m_descriptor, SOL_SOCKET, SO_RCVBUF, &receiveBufferSize, sizeof receiveBufferSize);
        setsockopt(m_descriptor, SOL_SOCKET, SO_RCVTIMEO, &silence, sizeof silence);
        const sockaddr_in local = addressOf(port);
        if (bind(m_descriptor, reinterpret_cast<const sockaddr *>(&local), sizeof local) != 0) {
            report::giveUp(QStringLiteral("the reference can't bind its port"));
        }
        m_thread = std::thread([this] { receive(); });
    }
    ~BareLoop()
    {
        m_thread.join();
        close(m_descriptor);
    }
    Q_DISABLE_COPY_MOVE(BareLoop)

    int received() const { return m_received; }

private:
    void receive()
    {
        std::array<char, 65536> bytes{};
        while (recv(m_descriptor, bytes.data(), bytes.size(), 0) >= 0) {
            ++m_received;
        }
    }

    const int m_descriptor;
    std::atomic<int> m_received{0};
    std::thread m_thread;
};

/// socat, which writes what it receives into a file.
class SocatRun final
{
public:
    explicit SocatRun(quint16 port)
        : m_path(m_directory.filePath(QStringLiteral("received")))
    {
        m_process.start(QStringLiteral("socat"),
                        {QStringLiteral("-u"), QStringLiteral("-b"), QStringLiteral("65536"),
                         QStringLiteral("UDP4-RECV:%1,rcvbuf=%2").arg(port).arg(receiveBufferSize),
                         QStringLiteral("OPEN:%1,creat").arg(m_path)});
        // It opens the port first.
        if (!waitUntil([this] { return QFileInfo::exists(m_path); }, 5s)) {
            report::giveUp(QStringLiteral("socat does not start: ") + m_process.errorString());
        }
    }
    ~SocatRun()
    {
        m_process.terminate();
        m_process.waitForFinished();
    }
    Q_DISABLE_COPY_MOVE(SocatRun)

    int received() const { return static_cast<int>(QFileInfo(m_path).size() / qint64(messageSize)); }

private:
    const QTemporaryDir m_directory;
    const QString m_path;
    QProcess m_process;
};

struct Run
{
    int lost = 0;
    Heartbeat::Result stalls;
};

/// `received` tells how many messages have arrived so far.
Run send(const Load &load, quint16 port, const std::function<int()> &received)
{
    Run run;
    Heartbeat heartbeat;
    const Sender sender(load, port);
    heartbeat.start();
    waitUntil([&sender] { return sender.done(); }, sendTimeout);
    waitUntil([&] { return received() >= sender.accepted(); }, arrivalTimeout);
    run.stalls = heartbeat.stop();
    run.lost = sender.accepted() - received();
    return run;
}

/// The window is at rest while the same messages go to the reference.
template <typename Receiver>
Run reference(const Load &load)
{
    const quint16 port = freePort();
    const Receiver receiver(port);
    return send(load, port, [&receiver] { return receiver.received(); });
}

void measure(const Load &load, const QListWidget &list, quint16 port)
{
    const QString name = QLatin1String(load.name);
    const Run bare = reference<BareLoop>(load);
    const Run socat = reference<SocatRun>(load);
    const int before = list.count();
    const Run run = send(load, port, [&] { return list.count() - before; });
    report::figure(QStringLiteral("longest stall, ") + name, run.stalls.longestGap, bare.stalls.longestGap,
                   bound, QStringLiteral("ms"));
    report::note(
        QStringLiteral("the thread's own longest work between two beats %1 ms; in all %2 ms within %3 ms")
            .arg(run.stalls.longestWork, 0, 'f', 1)
            .arg(run.stalls.work, 0, 'f', 0)
            .arg(run.stalls.wallTime, 0, 'f', 0));
    report::count(QStringLiteral("    lost of %1 messages (reference: bare loop)").arg(load.messages),
                  run.lost, bare.lost, 0);
    report::count(QStringLiteral("    the same (reference: socat)"), run.lost, socat.lost, 0);
}

} // namespace

void syslogLoad()
{
    const quint16 port = freePort();
    settings::setValue(settings::syslogPort, int(port));
    CLogList window(nullptr);
    window.show();
    settle(1s);
    const auto *const list = window.findChild<QListWidget *>(QStringLiteral("logListWidget"));
    measure(steadyLoad, *list, port);
    measure(burstLoad, *list, port);
}

} // namespace cases
