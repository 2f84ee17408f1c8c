#pragma once

#include "fault.h"

#include <chrono>
#include <optional>
#include <string_view>
#include <vector>

namespace simulator {

/// The faults that one device still has to commit, in the order of adding.
class FaultList
{
public:
    /// What becomes of one request.
    struct Decision
    {
        std::optional<Fault> fault;
        std::chrono::milliseconds delay{0};
        bool forgetsSessions = false;
    };

    void add(Fault fault)
    {
        if (fault.requests != 0) {
            m_faults.push_back(std::move(fault));
        }
    }
    void clear() { m_faults.clear(); }

    /// The scheme's listener must be closed.
    [[nodiscard]] bool refusesForEver(bool https) const;
    /// What becomes of a connection before anything is read: Refuse, Unasked, a fault of TLS, or nothing.
    /// Counts it.
    [[nodiscard]] std::optional<Fault> takeForConnection(bool https);
    /// `target` as sent, with its leading slash. Counts every fault that takes part.
    [[nodiscard]] Decision takeForRequest(bool https, std::string_view target);

private:
    void use(std::vector<Fault>::iterator &fault);

    std::vector<Fault> m_faults;
};

} // namespace simulator
