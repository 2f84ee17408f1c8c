#include "widgets/contrast.h"

#include <algorithm>
#include <cmath>

namespace contrast {

namespace {

/// A part of a colour, 0 to 1, as light.
double linear(double part)
{
    return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
}

double luminance(const QColor &color)
{
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

QColor mixed(const QColor &from, const QColor &to, double share)
{
    const auto mix = [share](double a, double b) { return a + (b - a) * share; };
    return QColor::fromRgbF(mix(from.redF(), to.redF()), mix(from.greenF(), to.greenF()),
                            mix(from.blueF(), to.blueF()));
}

} // namespace

double between(const QColor &one, const QColor &other)
{
    constexpr double glare = 0.05;
    const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
    return (lighter + glare) / (darker + glare);
}

QColor readable(const QColor &color, const QColor &background, double least)
{
    // Nearly always; and this is asked for each cell that is painted.
    if (between(color, background) >= least) {
        return color;
    }
    constexpr int steps = 8;
    QColor end = between(Qt::black, background) > between(Qt::white, background) ? Qt::black : Qt::white;
    for (int step = 1; step < steps; ++step) {
        QColor shade = mixed(color, end, static_cast<double>(step) / steps);
        if (between(shade, background) >= least) {
            return shade;
        }
    }
    return end;
}

} // namespace contrast
