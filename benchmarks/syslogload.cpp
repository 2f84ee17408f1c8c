#include "cases.h"
#include "common/settings.h"
#include "heartbeat.h"
#include "report.h"
#include "syslog/loglist.h"
#include "syslog/loglistwidget.h"
#include "waiting.h"

#include <QUdpSocket>

#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <chrono>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;

namespace cases {

namespace {

constexpr int perSecond = 10000;
constexpr int messages = 10 * perSecond;
constexpr std::size_t messageSize = 200;
constexpr const char *ownAddress = "10.77.0.1";
constexpr double bound = 50.0; // milliseconds
/// Nothing for so long means that all have arrived.
constexpr timeval silence{1, 0};
constexpr auto patience = 30s;

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

/// Sends all messages at their rate, a few every millisecond, in a thread of its own.
class Sender final
{
public:
    explicit Sender(quint16 port)
        : m_thread([this, port] { send(port); })
    {
    }
    ~Sender() { m_thread.join(); }
    Q_DISABLE_COPY_MOVE(Sender)

    bool done() const { return m_done; }
    /// What the kernel took.
    int accepted() const { return m_accepted; }

private:
    void send(quint16 port)
    {
        constexpr int perMillisecond = perSecond / 1000;
        const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const sockaddr_in receiver = addressOf(port);
        const std::string text = "<13>" + std::string(messageSize - 4, 'x');
        auto next = std::chrono::steady_clock::now();
        for (int i = 0; i < messages; ++i) {
            if (i % perMillisecond == 0) {
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
        constexpr int receiveBufferSize = 4 * 1024 * 1024;
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

    bool done() const { return m_done; }
    int received() const { return m_received; }

private:
    void receive()
    {
        std::array<char, 65536> bytes{};
        while (recv(m_descriptor, bytes.data(), bytes.size(), 0) >= 0) {
            ++m_received;
        }
        m_done = true;
    }

    const int m_descriptor;
    std::atomic<int> m_received{0};
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

struct Run
{
    int lost = 0;
    Heartbeat::Result stalls;
};

/// The window is at rest while the same messages go to a bare loop.
Run reference()
{
    const quint16 port = freePort();
    Run run;
    Heartbeat heartbeat;
    const BareLoop loop(port);
    const Sender sender(port);
    heartbeat.start();
    waitUntil([&sender] { return sender.done(); }, patience);
    run.stalls = heartbeat.stop();
    waitUntil([&loop] { return loop.done(); }, patience);
    run.lost = sender.accepted() - loop.received();
    return run;
}

Run measured(const CLogList &window, quint16 port)
{
    const auto *const list = window.findChild<CLogListWidget *>(QStringLiteral("logListWidget"));
    Run run;
    Heartbeat heartbeat;
    const Sender sender(port);
    heartbeat.start();
    waitUntil([&sender] { return sender.done(); }, patience);
    waitUntil([&] { return list->count() >= sender.accepted(); }, 3s);
    run.stalls = heartbeat.stop();
    run.lost = sender.accepted() - list->count();
    return run;
}

} // namespace

void syslogLoad()
{
    const quint16 port = freePort();
    settings::setValue(settings::syslogPort, int(port));
    CLogList window(nullptr);
    window.show();
    settle(1s);
    const Run bare = reference();
    const Run run = measured(window, port);
    report::figure(QStringLiteral("longest stall, %1 messages a second").arg(perSecond),
                   run.stalls.longestGap, bare.stalls.longestGap, bound, QStringLiteral("ms"));
    report::note(
        QStringLiteral("the thread's own longest work between two beats %1 ms; in all %2 ms within %3 ms")
            .arg(run.stalls.longestWork, 0, 'f', 1)
            .arg(run.stalls.work, 0, 'f', 0)
            .arg(run.stalls.wallTime, 0, 'f', 0));
    report::count(QStringLiteral("lost of %1 messages").arg(messages), run.lost, bare.lost, 0);
}

} // namespace cases
