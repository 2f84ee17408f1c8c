#include "curlrun.h"

#include "device/deviceinfo.h"
#include "report.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QHostAddress>
#include <QProcess>

#include <algorithm>

namespace {

constexpr quint32 firstAddress = 0x0A4D8001;
/// The last byte of an address.
constexpr quint32 hostBits = 0xFF;

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush()) {
        report::giveUp(QStringLiteral("can't write ") + path);
    }
}

} // namespace

CurlRun CurlRun::queries(int devices)
{
    CurlRun run;
    const QString body = run.m_directory->filePath(QStringLiteral("template"));
    write(body, deviceinfo::queryTemplate());
    run.prepare(devices, QStringLiteral("admin/proctpl.cgi"),
                QStringLiteral("data-binary = \"@%1\"\nheader = \"Content-Type: text\"\n"
                               "output = \"/dev/null\"\n")
                    .arg(body),
                hostBits);
    return run;
}

CurlRun CurlRun::downloads(int devices, const QString &path)
{
    CurlRun run;
    run.prepare(devices, path, QStringLiteral("output = \"%1/#device\"\n").arg(run.m_directory->path()),
                hostBits);
    return run;
}

CurlRun CurlRun::firmwareUploads(int devices, const QString &image)
{
    CurlRun run;
    run.prepare(
        devices, QStringLiteral("admin/upload.cgi"),
        QStringLiteral("form = \"buffer=1\"\nform = \"image=@%1\"\noutput = \"/dev/null\"\n").arg(image),
        // curl reads the file of a form once for each block.
        0);
    return run;
}

CurlRun::CurlRun()
    : m_directory(std::make_unique<QTemporaryDir>())
{
}

void CurlRun::prepare(int devices, const QString &path, const QString &options, quint32 bitsOfBlock)
{
    // One block for each network of 256 addresses where it can be: curl goes through all blocks that are left
    // for each transfer that it starts, so that a block for each device would cost the square of their
    // number.
    QString config;
    const quint32 last = firstAddress + static_cast<quint32>(devices) - 1;
    for (quint32 first = firstAddress; first <= last; first = (first | bitsOfBlock) + 1) {
        const QString network = QHostAddress(first).toString().section(QLatin1Char('.'), 0, 2);
        QString own = options;
        own.replace(QLatin1String("#device"), network + QLatin1String(".#1"));
        // Options end at the next "next", so every block names all of them.
        config += (config.isEmpty() ? QString() : QStringLiteral("next\n")) +
                  QStringLiteral("url = \"http://%1.[%2-%3]/%4\"\n")
                      .arg(network)
                      .arg(first & hostBits)
                      .arg(std::min(last, first | bitsOfBlock) & hostBits)
                      .arg(path) +
                  own + QLatin1String("fail\n");
    }
    write(m_directory->filePath(QStringLiteral("config")), config.toUtf8());
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
                m_directory->filePath(QStringLiteral("config"))});
    loop.exec();
    const auto time = static_cast<double>(clock.elapsed());
    if (curl.exitStatus() != QProcess::NormalExit || curl.exitCode() != 0) {
        report::giveUp(QStringLiteral("curl ended with %1").arg(curl.exitCode()));
    }
    return time;
}
