#pragma once

#include <QtGlobal>

#include <algorithm>
#include <chrono>

/// What one device, or all of them together, may cost the client. A request that goes beyond ends with an
/// error, unless a comment says that it waits.
namespace weblimits {

/// Bytes of the status line, the headers and the trailers of an answer, interim answers included. Devices
/// send a few hundred.
inline constexpr qint64 headers = 64LL * 1024;
/// What a line of them counts besides its bytes: each takes memory for itself, however short it is.
inline constexpr qint64 headerLine = 64;
/// Bytes of a body that wait for their reader, on either way. The sender waits meanwhile. Enough for a fast
/// network to go on while the GUI thread is busy for some milliseconds.
inline constexpr qint64 unreadBody = 512LL * 1024;
/// Bytes with which the peer may say how long its chunks are: so many in all, and so many for each byte of
/// the body. Chunks of one byte take six.
inline constexpr qint64 framing = 64LL * 1024;
inline constexpr qint64 framingPerByte = 16;

/// Connections over TLS that are kept open, since a handshake costs a device most. Others are closed at once:
/// over plain HTTP a new connection is as fast.
inline constexpr int keptConnections = 4000;
/// Connections that are open for requests; further requests wait. More than any network has devices; a
/// connection to a device that doesn't answer costs some 25 kB.
inline constexpr int openConnections = 20000;
/// For the connection and the TLS handshake. So long a device that is switched off may stay unnoticed.
inline constexpr std::chrono::seconds connectTime{60};

/// Connections that may be open where the system grants so many descriptors.
constexpr int openConnectionsOf(int descriptors)
{
    // Each may have a file that its answer goes to.
    constexpr int perConnection = 2;
    constexpr int reserved = 256;
    constexpr int fewest = 32;
    // Where there is next to nothing, the program itself needs half of it.
    constexpr int leastShare = 8;
    return std::clamp((descriptors - reserved) / perConnection,
                      std::clamp(descriptors / leastShare, 1, fewest), openConnections);
}

/// Those of them that may be kept: others need room, too.
constexpr int keptConnectionsOf(int descriptors)
{
    return std::min(keptConnections, openConnectionsOf(descriptors) / 2);
}

} // namespace weblimits
