#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QMetaType>
#include <QString>

#include <array>
#include <optional>

class QDataStream;

/// One device as it describes itself in an answer to discovery, or as it is ordered to become. A value.
class DiscoveryDevice
{
public:
    /// Length of every datagram that the program sends, in bytes.
    static constexpr int datagramSize = 128;
    /// Length of the area that holds the host name, in bytes.
    static constexpr int nameAreaSize = 100;
    /// The variant whose names end with a zero byte; every other one puts a length byte in front.
    static constexpr qint8 zeroTerminatedVariant = 16;

    DiscoveryDevice() = default;
    DiscoveryDevice(const DiscoveryDevice &) = default;
    DiscoveryDevice(DiscoveryDevice &&) = default;
    DiscoveryDevice &operator=(const DiscoveryDevice &) = default;
    DiscoveryDevice &operator=(DiscoveryDevice &&) = default;
    virtual ~DiscoveryDevice() = default;

    /// The record in a datagram, or nothing if it is no answer. What a short datagram doesn't reach is zero,
    /// what follows the record is ignored; nothing else is checked.
    [[nodiscard]] static std::optional<DiscoveryDevice> fromAnswer(const QByteArray &datagram);
    /// The datagram that asks every device to answer.
    [[nodiscard]] static QByteArray requestDatagram();
    /// The datagram that orders a device to take over this record.
    [[nodiscard]] QByteArray configurationDatagram() const;

    QHostAddress address() const { return QHostAddress(m_address); }
    void setAddress(const QHostAddress &address) { m_address = address.toIPv4Address(); }
    QHostAddress netmask() const { return QHostAddress(m_netmask); }
    void setNetmask(const QHostAddress &netmask) { m_netmask = netmask.toIPv4Address(); }
    QHostAddress gateway() const { return QHostAddress(m_gateway); }
    void setGateway(const QHostAddress &gateway) { m_gateway = gateway.toIPv4Address(); }
    /// 0.0.0.0: the device takes its address by DHCP.
    QHostAddress staticAddress() const { return QHostAddress(m_staticAddress); }
    void setStaticAddress(const QHostAddress &address) { m_staticAddress = address.toIPv4Address(); }
    /// The fixed address if there is one, else the current one.
    QHostAddress effectiveAddress() const { return m_staticAddress != 0 ? staticAddress() : address(); }

    QString hostname() const { return m_hostname; }
    void setHostname(const QString &hostname) { m_hostname = hostname; }
    int variant() const { return m_variant; }
    void setVariant(int variant) { m_variant = static_cast<qint8>(variant); }
    qint32 tag() const { return m_tag; }
    void setTag(qint32 tag) { m_tag = tag; }
    /// A second text that some devices put into their name area.
    QString extraText() const { return m_extraText; }
    /// The name area as received; empty in a record that was never read from a datagram.
    QByteArray nameField() const { return m_nameField; }

    /// "0E:5A:11:00:1F:A2"; the key of a device everywhere.
    QString macText() const;
    /// Takes a text of six hexadecimal parts joined by ":" (empty parts don't count, a part that is no number
    /// gives 0); any other text changes nothing.
    void setMacText(const QString &text);

    /// The record proper, 123 bytes: everything but the tag and the command in front. The stream must be
    /// big-endian, and its own status tells whether the bytes were all there.
    friend QDataStream &operator<<(QDataStream &stream, const DiscoveryDevice &device);
    friend QDataStream &operator>>(QDataStream &stream, DiscoveryDevice &device);

private:
    QByteArray encodedNameArea() const;
    void decodeNameArea();

    std::array<quint8, 6> m_mac{};
    quint32 m_address = 0;
    quint32 m_netmask = 0;
    quint32 m_gateway = 0;
    quint32 m_staticAddress = 0;
    QByteArray m_nameField;
    QString m_hostname;
    QString m_extraText;
    qint32 m_tag = 0;
    /// 0 in a record that never came from an answer.
    qint8 m_variant = 0;
};

Q_DECLARE_METATYPE(DiscoveryDevice)
