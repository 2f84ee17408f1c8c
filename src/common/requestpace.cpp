#include "common/requestpace.h"

#include <algorithm>
#include <chrono>
#include <sys/resource.h>

using namespace std::chrono_literals;

namespace {

/// A request that has been out for longer no longer counts as prompt.
constexpr std::chrono::milliseconds promptAge = 1s;

/// Of a network access manager with a request: two for its thread, one for the connection, one to spare.
constexpr rlim_t descriptorsPerRequest = 4;
/// For everything else that the program opens.
constexpr rlim_t reservedDescriptors = 256;
constexpr rlim_t owners = 2;
constexpr rlim_t fewestRequests = 32;
constexpr rlim_t mostRequests = 2000;

} // namespace

int RequestPace::requestsThatFit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur <= reservedDescriptors) {
        return static_cast<int>(fewestRequests);
    }
    const rlim_t fitting = (limit.rlim_cur - reservedDescriptors) / descriptorsPerRequest / owners;
    return static_cast<int>(std::clamp(fitting, fewestRequests, mostRequests));
}

void RequestPace::started(Key key)
{
    if (m_outstanding.contains(key)) {
        return;
    }
    m_outstanding[key].age.start();
    ++m_prompt;
}

void RequestPace::ended(Key key)
{
    const auto request = m_outstanding.find(key);
    if (request == m_outstanding.end()) {
        return;
    }
    if (request->prompt) {
        --m_prompt;
    }
    m_outstanding.erase(request);
}

void RequestPace::noticeSlowOnes()
{
    for (Request &request : m_outstanding) {
        if (request.prompt && request.age.hasExpired(promptAge / 1ms)) {
            request.prompt = false;
            --m_prompt;
        }
    }
}
