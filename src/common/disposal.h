#pragma once

#include <chrono>

class QHostAddress;
class QNetworkAccessManager;

namespace http {

/// Takes a manager down whose request ended without an answer, and everything that belongs to it, without
/// keeping the caller waiting. A peer that sends headers without an end holds the client's own thread: the
/// destructor waits for it for seconds. Such a peer loses all its connections to this program.
///
/// From the manager's own thread, but not out of a signal of the manager or its replies.
void dispose(QNetworkAccessManager *manager, const QHostAddress &peer);

/// The same once control is back in the event loop, or the time is over. Until then the manager belongs to
/// the application; it may end earlier by other hands. From the main thread.
void disposeLater(QNetworkAccessManager *manager, const QHostAddress &peer,
                  std::chrono::milliseconds delay = std::chrono::milliseconds(0));

/// Takes down, at the end of the program, all that is left to dispose of. Nobody is given time any more, so
/// that a flood doesn't keep the program from ending. From the main thread, after its event loop.
void disposeOfAll();

} // namespace http
