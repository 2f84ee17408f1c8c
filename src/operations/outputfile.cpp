#include "operations/outputfile.h"

#include "platform/files.h"
#include "platform/process.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDebug>
#include <QDir>
#include <QSysInfo>
#include <QUuid>

namespace {

const QLatin1String partSuffix(".part");

/// Of the files of this computer that are not finished; the process and a name of their own follow. Others
/// may write into the same directory, and host names are not always unique.
QString partPrefix()
{
    constexpr int digits = 16;
    const QByteArray computer = QSysInfo::machineUniqueId() + QSysInfo::machineHostName().toUtf8();
    const QByteArray hash = QCryptographicHash::hash(computer, QCryptographicHash::Sha256).toHex();
    return QLatin1String(".nembra-") + QString::fromLatin1(hash.left(digits)) + QLatin1Char('-');
}

} // namespace

QString OutputName::at(const QDateTime &time) const
{
    QString digits = mac;
    digits.remove(QLatin1Char(':'));
    return hostname + QLatin1Char('-') + digits + QLatin1Char('-') +
           time.toString(QStringLiteral("yyyyMMdd-hhmmss")) + suffix;
}

bool OutputName::isOfAFile() const
{
    return isFileName(at(QDateTime()));
}

OutputFile::OutputFile(const QString &directory, const OutputName &name)
    : m_directory(directory)
    , m_name(name)
    // Without a directory the file would land at the root of all of them.
    , m_good(!directory.isEmpty() && name.isOfAFile())
{
}

OutputFile::~OutputFile()
{
    if (m_file.isOpen()) {
        m_file.close();
        // By its name: the object itself removes nothing once its last bytes couldn't be written.
        QFile::remove(m_file.fileName());
    }
}

void OutputFile::removeLeftovers(const QString &directory)
{
    const QString prefix = partPrefix();
    const QDir files(directory);
    const QStringList names =
        files.entryList({prefix + QLatin1Char('*') + partSuffix}, QDir::Files | QDir::Hidden);
    for (const QString &name : names) {
        bool isNumber = false;
        const qint64 process = name.mid(prefix.size()).section(QLatin1Char('-'), 0, 0).toLongLong(&isNumber);
        if (isNumber && process > 0 && !isRunning(process)) {
            qDebug() << "Left by a process that is gone:" << name;
            QFile::remove(files.filePath(name));
        }
    }
}

bool OutputFile::create()
{
    m_file.setFileName(m_directory + QLatin1Char('/') + partPrefix() +
                       QString::number(QCoreApplication::applicationPid()) + QLatin1Char('-') +
                       QUuid::createUuid().toString(QUuid::Id128) + partSuffix);
    return m_file.open(QIODevice::ReadWrite | QIODevice::NewOnly);
}

void OutputFile::write(const QByteArray &piece)
{
    if (!m_good) {
        return;
    }
    m_good = (m_file.isOpen() || create()) && m_file.write(piece) == piece.size();
    if (!m_good) {
        qDebug() << "Can't write in" << m_directory << m_file.errorString();
    }
}

QByteArray OutputFile::head(qint64 maximum)
{
    if (!m_file.isOpen() || !m_file.seek(0)) {
        return {};
    }
    QByteArray bytes = m_file.read(maximum);
    m_good = m_file.seek(m_file.size()) && m_good;
    return bytes;
}

bool OutputFile::flush()
{
    // An empty file is a file, too.
    write(QByteArray());
    m_good = m_good && m_file.flush();
    return m_good;
}

bool OutputFile::sync()
{
    m_good = flush() && syncFile(m_file);
    m_outlastsPowerLoss = m_good;
    return m_good;
}

bool OutputFile::commit(const QDateTime &time)
{
    if (!flush()) {
        return false;
    }
    m_file.close();
    m_good = replaceFile(m_file.fileName(), m_directory + QLatin1Char('/') + m_name.at(time));
    if (!m_good) {
        QFile::remove(m_file.fileName());
    } else if (m_outlastsPowerLoss) {
        syncDirectory(m_directory);
    }
    return m_good;
}
