#include "devicelisttest.h"

#include "device/devicelistfile.h"

#include <QtGlobal>

namespace {

QStringList &messages()
{
    static QStringList list;
    return list;
}

void collectMessage(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString &text)
{
    messages() += text;
}

} // namespace

const QByteArray DeviceListTest::oldContent = "{\"devices\": [{\"hostname\": \"old\"}]}\n";
const QString DeviceListTest::usualName = QStringLiteral("devices.json");

QJsonObject DeviceListTest::device(const char *hostname, const char *mac, const char *firstSeen,
                                   const char *lastSeen)
{
    return {{QStringLiteral("mac"), QLatin1String(mac)},
            {QStringLiteral("last_seen"), QLatin1String(lastSeen)},
            {QStringLiteral("hostname"), QString::fromUtf8(hostname)},
            {QStringLiteral("first_seen"), QLatin1String(firstSeen)}};
}

QJsonArray DeviceListTest::devices(int count)
{
    QJsonArray array;
    for (int i = 0; i < count; ++i) {
        array.append(
            device("long list", "0E:5A:11:00:00:01", "2021-03-04T05:06:07Z", "2021-03-04T05:06:07Z"));
    }
    return array;
}

void DeviceListTest::put(const QByteArray &content, const QString &name) const
{
    TestDirectory::put(name, content);
}

DeviceListTest::Reading DeviceListTest::read(const QString &path)
{
    messages().clear();
    const QtMessageHandler handlerBefore = qInstallMessageHandler(collectMessage);
    const QJsonArray elements = devicelistfile::read(path);
    qInstallMessageHandler(handlerBefore);
    return {elements, messages()};
}
