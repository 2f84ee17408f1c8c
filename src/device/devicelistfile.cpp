#include "device/devicelistfile.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace devicelistfile {

namespace {

const QLatin1String devicesKey("devices");

} // namespace

QJsonArray read(const QString &path)
{
    QFile file(path);
    // Opening a pipe would wait for somebody to write into it.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QByteArray content = file.read(maximumSize + 1);
    if (content.size() > maximumSize) {
        qDebug() << "Too long for a list of devices:" << path;
        return {};
    }
    return decode(content);
}

QJsonArray decode(const QByteArray &content)
{
    return QJsonDocument::fromJson(content).object().value(devicesKey).toArray();
}

Outcome write(const QString &path, const QJsonArray &devices)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        qDebug() << "Can't open" << path << file.errorString();
        return Outcome::NotOpened;
    }
    const QByteArray content = QJsonDocument(QJsonObject{{devicesKey, devices}}).toJson();
    // commit() doesn't notice that the disk took only a part, or that its own flushing failed, and would put
    // what there is in the place of the old file.
    if (file.write(content) != content.size() || !file.flush()) {
        qDebug() << "Can't write" << path << file.errorString();
        file.cancelWriting();
        return Outcome::NotWritten;
    }
    if (!file.commit()) {
        qDebug() << "Can't replace" << path << file.errorString();
        return Outcome::NotWritten;
    }
    return Outcome::Saved;
}

} // namespace devicelistfile
