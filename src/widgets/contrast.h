#pragma once

#include <QColor>

/// What is needed to read a text, as WCAG defines it.
namespace contrast {

/// For writing of usual size.
constexpr double leastForText = 4.5;
/// For what says no more than something beside it does.
constexpr double leastForSigns = 3.0;

/// Between two opaque colours: from 1, for the same colour, to 21, for black and white.
[[nodiscard]] double between(const QColor &one, const QColor &other);

/// The colour, or the nearest shade of it, darker or lighter, that can be read on that background.
[[nodiscard]] QColor readable(const QColor &color, const QColor &background, double least = leastForText);

} // namespace contrast
