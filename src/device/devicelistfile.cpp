#include "device/devicelistfile.h"

#include <QDebug>
#include <QFile>
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
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QByteArray content = file.read(maximumSize + 1);
    if (content.size() > maximumSize) {
        qDebug() << "Too long for a list of devices:" << path;
        return {};
    }
    return QJsonDocument::fromJson(content).object().value(devicesKey).toArray();
}

Outcome write(const QString &path, const QJsonArray &devices)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        qDebug() << "Can't open" << path << file.errorString();
        return Outcome::NotOpened;
    }
    // A write that fails, or stops short, makes commit() fail.
    file.write(QJsonDocument(QJsonObject{{devicesKey, devices}}).toJson());
    if (!file.commit()) {
        qDebug() << "Can't write" << path << file.errorString();
        return Outcome::NotWritten;
    }
    return Outcome::Saved;
}

} // namespace devicelistfile
