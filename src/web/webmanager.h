#pragma once

#include <QNetworkAccessManager>
#include <QNetworkRequest>

/// An HTTP client for devices. To its users it is Qt's own, with cookies of its own; but all clients of the
/// process share one engine, and what a peer sends is bounded, see weblimits.
///
/// No redirection is followed, nothing is unpacked, no proxy is used, no host name is looked up, and no
/// certificate is verified. Any thread with an event loop.
class WebManager final : public QNetworkAccessManager
{
    Q_OBJECT

public:
    /// Has no cookies yet.
    explicit WebManager(QObject *parent = nullptr);
    ~WebManager() override;
    Q_DISABLE_COPY_MOVE(WebManager)

    /// An attribute of requests that may go out twice: over TLS they use the client's connection, which is
    /// kept open, and are silently repeated if the device was just closing it. All others go over a
    /// connection of their own, once.
    static constexpr auto MayBeRepeatedAttribute = QNetworkRequest::User;

protected:
    QNetworkReply *createRequest(Operation operation, const QNetworkRequest &request,
                                 QIODevice *outgoingData) override;
};
