#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace simulator {

/// One misbehaviour of a device's web interface. Make one with a static function, narrow it with the chained
/// calls: `Fault::status(500, "Oops").onPath("login.cgi").times(2)`. The first fault of a device that fits a
/// request decides, in the order of adding; delay() and forgetSession() let the request go on to the next
/// one.
struct Fault
{
    enum class Kind {
        /// Connections are refused. For ever: the listener is closed (fleets with a listener per device);
        /// counted, or with one listener for all: reset right after the handshake.
        Refuse,
        /// The request is read and never answered; the connection stays open.
        Hang,
        /// The answer begins after `delay`.
        Delay,
        /// The answer comes as `bytes` bytes every `delay`.
        Drip,
        /// The whole length is promised, half of the body is sent, then the connection closes.
        Cut,
        /// The connection closes instead of an answer.
        CloseWithoutAnswer,
        /// The device does what it was asked to, and its answer ends at `place` by a reset.
        Reset,
        /// `status`, `reason`, `location` (if any), `headers` and `body`.
        Status,
        /// Bytes that aren't HTTP, then the connection closes.
        Garbage,
        /// Status 200 with a broken JSON document.
        InvalidJson,
        /// Status 200 with `body` and `headers`.
        Body,
        /// The device's own answer with `headers` added, and `body` in front of it, byte for byte.
        Extra,
        /// Nothing but `body`, byte for byte, then the connection closes.
        Verbatim,
        /// `body`, byte for byte, before anything is asked; what is asked then stays unread. Counts
        /// connections; ignores the path.
        Unasked,
        /// Status 200, gzip of a few hundred kB that inflates to `bytes` blanks.
        InflatingBody,
        /// `status` and `headers` with a chunked body without an end and without a pause.
        EndlessBody,
        /// Status 200 and `headers` with a chunked body whose first chunk never says how long it is.
        EndlessChunkSize,
        /// Header lines without an end.
        EndlessHeaders,
        /// The HTTPS port talks something that isn't TLS. Counts connections; ignores the path.
        TlsGarbage,
        /// The HTTPS port accepts and never shakes hands. Counts connections; ignores the path.
        TlsHang,
        /// The HTTPS port refuses by an alert: at once (`place` Start), within the handshake (Head), or when
        /// the client takes the handshake for done (End). Counts connections; ignores the path.
        TlsAlert,
        /// All sessions of the device are dropped before the request is handled.
        ForgetSession,
    };
    enum class Scheme { Any, Http, Https };
    /// Where in an answer: before its first byte, in its headers, in its body, behind its last byte.
    enum class Place { Start, Head, Body, End };

    Kind kind = Kind::Hang;
    /// Without a leading slash, compared with the target (query included). Empty fits every path.
    std::string path;
    /// The target must be the path, not only begin with it. With an empty path: the root.
    bool exactPath = false;
    /// How many requests it hits before it is used up; negative: all.
    int requests = -1;
    /// How many requests that it fits pass unharmed before.
    int spared = 0;
    Scheme scheme = Scheme::Any;
    std::chrono::milliseconds delay{0};
    std::size_t bytes = 0;
    Place place = Place::Start;
    int statusCode = 200;
    std::string reason;
    std::string location;
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;

    [[nodiscard]] static Fault refuse();
    [[nodiscard]] static Fault hang();
    [[nodiscard]] static Fault answerAfter(std::chrono::milliseconds delay);
    [[nodiscard]] static Fault drip(std::size_t bytes, std::chrono::milliseconds every);
    [[nodiscard]] static Fault cut();
    [[nodiscard]] static Fault closeWithoutAnswer();
    [[nodiscard]] static Fault reset(Place place);
    [[nodiscard]] static Fault status(int code, std::string reason, std::string location = {});
    [[nodiscard]] static Fault garbage();
    [[nodiscard]] static Fault invalidJson();
    [[nodiscard]] static Fault answerWith(std::string body,
                                          std::vector<std::pair<std::string, std::string>> headers = {});
    [[nodiscard]] static Fault extra(std::string bytesInFront,
                                     std::vector<std::pair<std::string, std::string>> headers = {});
    [[nodiscard]] static Fault verbatim(std::string bytes);
    [[nodiscard]] static Fault unasked(std::string bytes);
    [[nodiscard]] static Fault inflatingBody(std::size_t inflatedBytes = 400U << 20U);
    [[nodiscard]] static Fault endlessBody(int status = 200);
    [[nodiscard]] static Fault endlessChunkSize();
    [[nodiscard]] static Fault endlessHeaders();
    [[nodiscard]] static Fault tlsGarbage();
    [[nodiscard]] static Fault tlsHang();
    [[nodiscard]] static Fault tlsAlert(Place place);
    [[nodiscard]] static Fault forgetSession();

    [[nodiscard]] Fault onPath(std::string prefix) &&;
    [[nodiscard]] Fault onExactly(std::string target) &&;
    [[nodiscard]] Fault times(int count) &&;
    [[nodiscard]] Fault after(int count) &&;
    [[nodiscard]] Fault onlyHttp() &&;
    [[nodiscard]] Fault onlyHttps() &&;
};

} // namespace simulator
