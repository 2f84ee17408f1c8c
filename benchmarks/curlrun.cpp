#include "curlrun.h"

#include "device/deviceinfo.h"
#include "report.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHostAddress>
#include <QProcess>

namespace {

constexpr quint32 firstAddress = 0x0A4D8001;

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush()) {
        report::giveUp(QStringLiteral("can't write ") + path);
    }
}

} // namespace

CurlRun::CurlRun(int devices)
{
    const QString body = m_directory.filePath(QStringLiteral("template"));
    write(body, deviceinfo::queryTemplate());
    // Options of one transfer end at the next "next", so every block names all of them.
    QString config;
    for (int i = 0; i < devices; ++i) {
        config += QStringLiteral("%1url = \"http://%2/admin/proctpl.cgi\"\ndata-binary = \"@%3\"\n"
                                 "header = \"Content-Type: text\"\noutput = \"/dev/null\"\nfail\n")
                      .arg(i == 0 ? QString() : QStringLiteral("next\n"),
                           QHostAddress(firstAddress + static_cast<quint32>(i)).toString(), body);
    }
    write(m_directory.filePath(QStringLiteral("config")), config.toUtf8());
}

double CurlRun::run() const
{
    QProcess curl;
    QEventLoop loop;
    QObject::connect(&curl, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), &loop,
                     &QEventLoop::quit);
    QElapsedTimer clock;
    clock.start();
    curl.start(QStringLiteral("curl"),
               {QStringLiteral("--disable"), QStringLiteral("--silent"), QStringLiteral("--noproxy"),
                QStringLiteral("*"), QStringLiteral("--parallel"), QStringLiteral("--parallel-max"),
                QStringLiteral("300"), QStringLiteral("--config"),
                m_directory.filePath(QStringLiteral("config"))});
    loop.exec();
    const auto time = static_cast<double>(clock.elapsed());
    if (curl.exitStatus() != QProcess::NormalExit || curl.exitCode() != 0) {
        report::giveUp(QStringLiteral("curl ended with %1").arg(curl.exitCode()));
    }
    return time;
}
