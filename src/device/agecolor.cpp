#include "device/agecolor.h"

#include <QGuiApplication>
#include <QPalette>

namespace {

/// Text lighter than this belongs to a dark theme; QColor::lightness().
constexpr int darkThemeLightness = 128;

} // namespace

QColor ageColor(int age)
{
    const QColor text = QGuiApplication::palette().color(QPalette::Current, QPalette::Text);
    const bool dark = text.lightness() > darkThemeLightness;
    if (age <= 1) {
        return dark ? QColor(0, 0, 0) : QColor(255, 255, 255);
    }
    if (age <= 3) {
        return dark ? QColor(155, 155, 0) : QColor(255, 255, 171);
    }
    return dark ? QColor(155, 0, 0) : QColor(255, 171, 171);
}
