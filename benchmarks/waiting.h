#pragma once

#include <chrono>
#include <functional>

/// Runs the event loop until `done` holds, which is looked at every few milliseconds. Tells whether it did
/// before the timeout.
bool waitUntil(const std::function<bool()> &done, std::chrono::milliseconds timeout);
/// Runs the event loop for that long.
void settle(std::chrono::milliseconds time);
