#pragma once

#include <QColor>

/// The background of what was last heard of `age` refresh cycles ago: plain while it is recent, then yellow,
/// then red, each in a shade that suits the palette's text colour.
QColor ageColor(int age);
