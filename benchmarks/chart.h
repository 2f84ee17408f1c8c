#pragma once

#include <QPair>
#include <QString>
#include <QVector>

/// A curve: what was measured at so many devices.
struct Curve
{
    QString name;
    QVector<QPair<double, double>> points;
};

/// Draws curves over a number of devices, both scales logarithmic, so that what grows in proportion to the
/// devices is a straight line with the slope of the grey ones. The text of an SVG file.
QString chart(const QString &title, const QString &unit, const QVector<Curve> &curves);
