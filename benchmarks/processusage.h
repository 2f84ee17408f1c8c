#pragma once

/// What this process holds at the moment, from /proc/self.
struct ProcessUsage
{
    int threads = 0;
    int descriptors = 0;
    double resident = 0.0; // MiB

    static ProcessUsage now();
};
