#pragma once

class QNetworkReply;

namespace http {

/// Ends the connections of a device from which the client takes megabytes and hands nothing on: it reads
/// headers, the size of a chunk, or the page that comes with a call for a password by itself, however long
/// they are, and keeps them all in memory.
///
/// For a reply that has just been made, in its thread; the watch lasts until the reply ends.
void watchForFlood(QNetworkReply *reply);

} // namespace http
