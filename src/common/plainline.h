#pragma once

#include <QString>

/// A text from the network as it can be shown in one line: line breaks and control characters become blanks,
/// and what is longer than `maximum` characters is cut.
[[nodiscard]] QString plainLine(const QString &text, int maximum);

/// A text from the network as it can be written to a terminal, which obeys some control characters: all but
/// tabs and line breaks become their numbers, "\x1b".
[[nodiscard]] QString forLog(const QString &text);
