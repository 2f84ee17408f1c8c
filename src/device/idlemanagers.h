#pragma once

class QNetworkAccessManager;

/// Gives back what an idle HTTP client holds. A network access manager starts a thread with its first request
/// and keeps it, with two descriptors and its connection, for as long as it lives; with one manager for every
/// known device that would be thousands. GUI thread only.
namespace IdleManagers {

/// How many managers with an open HTTPS connection are left alone, the most recently used ones: a handshake
/// is dear, for the device most of all.
inline constexpr int maximumWarm = 32;

/// A request is about to go out: the manager is no longer idle.
void use(QNetworkAccessManager *manager);
/// The last request of the manager has ended. A manager with a request still out must not rest: its reply
/// would never end. `keepWarm`: its connection is worth keeping.
void rest(QNetworkAccessManager *manager, bool keepWarm);

} // namespace IdleManagers
