#include "testdirectory.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtTest>

QStringList everythingBelow(const QString &directory)
{
    QStringList names;
    const QFileInfoList entries = QDir(directory).entryInfoList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo &entry : entries) {
        names += entry.fileName();
        if (entry.isDir() && !entry.isSymLink()) {
            const QStringList below = everythingBelow(entry.filePath());
            for (const QString &name : below) {
                names += entry.fileName() + QLatin1Char('/') + name;
            }
        }
    }
    return names;
}

void TestDirectory::begin()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY2(m_directory->isValid(), qPrintable(m_directory->errorString()));
}

void TestDirectory::end()
{
    m_directory.reset();
}

QString TestDirectory::path(const QString &name) const
{
    return name.isEmpty() ? m_directory->path() : m_directory->path() + QLatin1Char('/') + name;
}

void TestDirectory::put(const QString &name, const QByteArray &content) const
{
    QFile file(path(name));
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(file.errorString()));
    QCOMPARE(file.write(content), qint64(content.size()));
    file.close();
    QCOMPARE(file.error(), QFileDevice::NoError);
}

QByteArray TestDirectory::content(const QString &name) const
{
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArrayLiteral("(no such file)");
}
