#pragma once

/// Asks the fleet as the program does and counts what comes back, with nothing but a receive loop: what the
/// machine can do at best.
struct BareReceiver
{
    int datagrams = 0;
    int devices = 0;
    /// From the request to the last answer, milliseconds.
    double time = 0.0;

    static BareReceiver ask();
};
