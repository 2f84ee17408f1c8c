#include "platform/process.h"

#include <windows.h>

void raiseDescriptorLimit() {}

int descriptorLimit()
{
    // Sockets are bounded by nothing but memory.
    return 65536;
}

void pinTimeZone() {}

void letOthersComeToTheFront()
{
    AllowSetForegroundWindow(ASFW_ANY);
}

bool isRunning(qint64 process)
{
    const HANDLE handle = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(process));
    if (!handle) {
        return GetLastError() != ERROR_INVALID_PARAMETER;
    }
    DWORD exitCode = 0;
    const bool isKnown = GetExitCodeProcess(handle, &exitCode) != 0;
    CloseHandle(handle);
    return !isKnown || exitCode == STILL_ACTIVE;
}
