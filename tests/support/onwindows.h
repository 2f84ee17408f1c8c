#pragma once

#include <QtGlobal>

/// For what a test expects of one system and not of others.
#ifdef Q_OS_WIN
inline constexpr bool onWindows = true;
#else
inline constexpr bool onWindows = false;
#endif
