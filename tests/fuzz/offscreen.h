#pragma once

#include <QGuiApplication>

/// For decoders whose result is a part of a window: an application without a screen, once for the process.
template <typename Application>
void startOffscreen()
{
    static const bool isOffscreen = qputenv("QT_QPA_PLATFORM", "offscreen");
    static int count = isOffscreen ? 1 : 0;
    static char name[] = "fuzz";
    static char *arguments[] = {name, nullptr};
    static auto *const application = new Application(count, arguments);
    Q_UNUSED(application)
}
