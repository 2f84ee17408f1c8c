#include "faultlist.h"

#include <algorithm>

namespace simulator {

namespace {

bool fitsScheme(const Fault &fault, bool https)
{
    return fault.scheme == Fault::Scheme::Any || (fault.scheme == Fault::Scheme::Https) == https;
}

/// Concerns whole connections, not single requests.
bool concernsConnection(const Fault &fault)
{
    switch (fault.kind) {
    case Fault::Kind::Refuse:
        return fault.path.empty() && !fault.exactPath;
    case Fault::Kind::TlsGarbage:
    case Fault::Kind::TlsHang:
    case Fault::Kind::TlsAlert:
    case Fault::Kind::Unasked:
        return true;
    default:
        return false;
    }
}

bool fitsConnection(const Fault &fault, bool https)
{
    const bool isOfTls = fault.kind == Fault::Kind::TlsGarbage || fault.kind == Fault::Kind::TlsHang ||
                         fault.kind == Fault::Kind::TlsAlert;
    return concernsConnection(fault) && fitsScheme(fault, https) && (!isOfTls || https);
}

bool fitsTarget(const Fault &fault, std::string_view target)
{
    if (!target.empty() && target.front() == '/') {
        target.remove_prefix(1);
    }
    return fault.exactPath ? target == fault.path : target.substr(0, fault.path.size()) == fault.path;
}

/// Lets a request pass that the fault fits, if it is to spare some more.
bool spares(Fault &fault)
{
    return fault.spared > 0 && fault.spared-- > 0;
}

} // namespace

void FaultList::use(std::vector<Fault>::iterator &fault)
{
    if (fault->requests > 0 && --fault->requests == 0) {
        fault = m_faults.erase(fault);
    } else {
        ++fault;
    }
}

bool FaultList::refusesForEver(bool https) const
{
    return std::any_of(m_faults.begin(), m_faults.end(), [https](const Fault &fault) {
        return fault.kind == Fault::Kind::Refuse && fault.requests < 0 && fault.spared == 0 &&
               fitsConnection(fault, https);
    });
}

std::optional<Fault> FaultList::takeForConnection(bool https)
{
    auto fault = std::find_if(m_faults.begin(), m_faults.end(), [https](Fault &candidate) {
        return fitsConnection(candidate, https) && !spares(candidate);
    });
    if (fault == m_faults.end()) {
        return std::nullopt;
    }
    Fault taken = *fault;
    use(fault);
    return taken;
}

FaultList::Decision FaultList::takeForRequest(bool https, std::string_view target)
{
    Decision decision;
    auto fault = m_faults.begin();
    while (fault != m_faults.end()) {
        if (concernsConnection(*fault) || !fitsScheme(*fault, https) || !fitsTarget(*fault, target) ||
            spares(*fault)) {
            ++fault;
            continue;
        }
        if (fault->kind == Fault::Kind::Delay) {
            decision.delay += fault->delay;
        } else if (fault->kind == Fault::Kind::ForgetSession) {
            decision.forgetsSessions = true;
        } else {
            decision.fault = *fault;
            use(fault);
            return decision;
        }
        use(fault);
    }
    return decision;
}

} // namespace simulator
