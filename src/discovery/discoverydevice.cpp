#include "discovery/discoverydevice.h"

#include <QDataStream>
#include <QStringList>

#include <algorithm>

namespace {

enum Command : qint8 { Answer = 1, Configure = 2 };

/// The longest name that still leaves room for its length byte or its terminating zero.
constexpr int maximumNameLength = DiscoveryDevice::nameAreaSize - 1;

QByteArray upToZero(const QByteArray &bytes)
{
    const int end = bytes.indexOf('\0');
    return end < 0 ? bytes : bytes.left(end);
}

} // namespace

std::optional<DiscoveryDevice> DiscoveryDevice::fromAnswer(const QByteArray &datagram)
{
    // Padded first, so that every field which a short datagram doesn't reach reads as zero.
    QByteArray padded = datagram.left(datagramSize);
    padded.append(datagramSize - padded.size(), '\0');

    QDataStream stream(padded);
    stream.setByteOrder(QDataStream::BigEndian);
    qint32 tag = 0;
    qint8 command = 0;
    stream >> tag >> command;
    if (command != Command::Answer) {
        return std::nullopt;
    }
    DiscoveryDevice device;
    stream >> device;
    device.m_tag = tag;
    return device;
}

QByteArray DiscoveryDevice::requestDatagram()
{
    return QByteArray(datagramSize, '\0');
}

QByteArray DiscoveryDevice::configurationDatagram() const
{
    QByteArray datagram;
    datagram.reserve(datagramSize);
    QDataStream stream(&datagram, QIODevice::WriteOnly);
    stream << m_tag << static_cast<qint8>(Command::Configure) << *this;
    return datagram;
}

QString DiscoveryDevice::macText() const
{
    const QByteArray bytes(reinterpret_cast<const char *>(m_mac.data()), static_cast<int>(m_mac.size()));
    return QString::fromLatin1(bytes.toHex(':')).toUpper();
}

void DiscoveryDevice::setMacText(const QString &text)
{
    const QStringList parts = text.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    if (parts.size() != static_cast<int>(m_mac.size())) {
        return;
    }
    std::transform(parts.begin(), parts.end(), m_mac.begin(),
                   [](const QString &part) { return static_cast<quint8>(part.toUInt(nullptr, 16)); });
}

QByteArray DiscoveryDevice::encodedNameArea() const
{
    QByteArray area = m_hostname.toLocal8Bit();
    if (m_variant != zeroTerminatedVariant) {
        // The length counts characters, whatever number of bytes they need: this is what the devices expect.
        area.prepend(static_cast<char>(std::min(m_hostname.size(), maximumNameLength)));
    }
    area.truncate(nameAreaSize);
    area.append(nameAreaSize - area.size(), '\0');
    return area;
}

void DiscoveryDevice::decodeNameArea()
{
    if (m_variant == zeroTerminatedVariant) {
        m_hostname = QString::fromLatin1(upToZero(m_nameField));
        return;
    }
    // A length that no name area can have is a broken or hostile one: what the area holds is all there is.
    const int length =
        std::clamp(static_cast<int>(static_cast<qint8>(m_nameField.at(0))), 0, maximumNameLength);
    // By pointer and length: zeros within the length belong to the name.
    m_hostname = QString::fromLatin1(m_nameField.constData() + 1, length);
    // The devices count from the length byte, so the text starts on the last character of the name.
    m_extraText = length > 0 ? QString::fromUtf8(upToZero(m_nameField.mid(length))) : QString();
}

QDataStream &operator<<(QDataStream &stream, const DiscoveryDevice &device)
{
    stream << device.m_variant;
    stream.writeRawData(reinterpret_cast<const char *>(device.m_mac.data()),
                        static_cast<int>(device.m_mac.size()));
    stream << device.m_address << device.m_netmask << device.m_gateway << device.m_staticAddress;
    stream.writeRawData(device.encodedNameArea().constData(), DiscoveryDevice::nameAreaSize);
    return stream;
}

QDataStream &operator>>(QDataStream &stream, DiscoveryDevice &device)
{
    stream >> device.m_variant;
    stream.readRawData(reinterpret_cast<char *>(device.m_mac.data()), static_cast<int>(device.m_mac.size()));
    stream >> device.m_address >> device.m_netmask >> device.m_gateway >> device.m_staticAddress;
    device.m_nameField = QByteArray(DiscoveryDevice::nameAreaSize, '\0');
    stream.readRawData(device.m_nameField.data(), DiscoveryDevice::nameAreaSize);
    device.decodeNameArea();
    return stream;
}
