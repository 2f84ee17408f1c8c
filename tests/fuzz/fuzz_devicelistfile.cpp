#include "device/device.h"
#include "device/devicelistfile.h"
#include "device/deviceview.h"
#include "fuzztarget.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

/// A device that nobody looks at.
class NoView final : public DeviceView
{
public:
    void showRecord(const DiscoveryDevice &record, const QDateTime &firstSeen,
                    const QDateTime &lastSeen) override
    {
        (void)record.macText();
        (void)firstSeen.toLocalTime().toString(Qt::ISODate);
        (void)lastSeen.toLocalTime().toString(Qt::ISODate);
    }
    void showInfo(const deviceinfo::DeviceInfo &) override {}
    void showStatus(const QString &) override {}
    void showScheme(bool) override {}
    void showAccessRights(qint32) override {}
    void showAges() override {}
    void applyFilter(const QRegExp &) override {}
};

QJsonObject written(const Device &device)
{
    QJsonObject object;
    device.writeJson(object);
    return object;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray content(reinterpret_cast<const char *>(data), static_cast<int>(size));
    QJsonArray devices;
    {
        const LeaksOfQt allowed;
        devices = devicelistfile::decode(content);
    }
    for (const QJsonValue &element : qAsConst(devices)) {
        NoView view;
        Device first(&view);
        first.readJson(element.toObject());
        const QJsonObject saved = written(first);
        Device second(&view);
        second.readJson(saved);
        require(written(second) == saved, "a device is read back as it was saved");
        require(first.record().address().toIPv4Address() == 0, "a device that was read has no address yet");
    }
    return 0;
}
