#include "platform/files.h"

#include <QDebug>
#include <QFile>

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

bool isFileName(const QString &name)
{
    return !name.contains(QLatin1Char('/')) && !name.contains(QChar::Null);
}

bool syncFile(const QFile &file)
{
    return fsync(file.handle()) == 0;
}

bool linkFile(const QString &file, const QString &secondName)
{
    return link(QFile::encodeName(file).constData(), QFile::encodeName(secondName).constData()) == 0;
}

bool replaceFile(const QString &from, const QString &to)
{
    return std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
}

void syncDirectory(const QString &path)
{
    const int directory = open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0 || fsync(directory) != 0) {
        qDebug() << "Can't sync" << path;
    }
    if (directory >= 0) {
        close(directory);
    }
}
