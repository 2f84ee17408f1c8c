#include "device/idlemanagers.h"

#include <QNetworkAccessManager>
#include <QPointer>

#include <algorithm>
#include <deque>

namespace IdleManagers {

namespace {

/// The longest idle first.
std::deque<QPointer<QNetworkAccessManager>> &warmManagers()
{
    static std::deque<QPointer<QNetworkAccessManager>> managers;
    return managers;
}

} // namespace

void use(QNetworkAccessManager *manager)
{
    auto &warm = warmManagers();
    // Takes those that are gone along.
    warm.erase(std::remove_if(warm.begin(), warm.end(),
                              [manager](const auto &known) { return known.isNull() || known == manager; }),
               warm.end());
}

void rest(QNetworkAccessManager *manager, bool keepWarm)
{
    use(manager);
    if (!keepWarm) {
        manager->clearConnectionCache();
        return;
    }
    auto &warm = warmManagers();
    warm.emplace_back(manager);
    if (warm.size() > maximumWarm) {
        warm.front()->clearConnectionCache();
        warm.pop_front();
    }
}

} // namespace IdleManagers
