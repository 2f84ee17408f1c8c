#pragma once

#include "fault.h"
#include "webinterface.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace simulator {

struct OutgoingOptions
{
    bool keepsAlive = false;
    /// The asker understands chunks.
    bool isHttp11 = true;
};

/// The bytes of one answer in the pieces in which they leave, and what becomes of the connection then.
class Outgoing
{
public:
    enum class End {
        NextRequest,
        /// An orderly end, for TLS with its farewell.
        Goodbye,
        /// The connection just ends, as if the device had lost its mind.
        HangUp,
        Reset,
    };

    Outgoing() = default;
    /// Just these bytes, then the line goes dead.
    [[nodiscard]] static Outgoing plain(std::string bytes);
    [[nodiscard]] static Outgoing proper(Response response, OutgoingOptions options);
    /// `response` is the true answer where the fault only disturbs its way.
    [[nodiscard]] static Outgoing faulty(const Fault &fault, std::optional<Response> response,
                                         OutgoingOptions options);

    /// What is to be sent next; empty at the end. Valid until advance().
    [[nodiscard]] std::string_view current() const;
    void advance();
    /// Between two pieces.
    [[nodiscard]] std::chrono::milliseconds pause() const { return m_pause; }
    [[nodiscard]] End end() const { return m_end; }

private:
    /// The first half of the answer or so.
    [[nodiscard]] static Outgoing brokenOff(Response response, OutgoingOptions options, Fault::Place place);
    void refill();

    std::string m_bytes;
    std::size_t m_offset = 0;
    /// 0: all that is there at once.
    std::size_t m_pieceSize = 0;
    std::chrono::milliseconds m_pause{0};
    BodySource m_source;
    bool m_isChunked = false;
    End m_end = End::NextRequest;
};

/// Whether the device's own answer is not needed, and its request not carried out.
[[nodiscard]] bool replacesAnswer(const Fault &fault);
/// Neither HTTP nor TLS.
[[nodiscard]] std::string garbageBytes();

} // namespace simulator
