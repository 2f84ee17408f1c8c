#include "chart.h"

#include <QStringList>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr double width = 720;
constexpr double height = 420;
constexpr double left = 70;
constexpr double right = 190;
constexpr double top = 40;
constexpr double bottom = 50;

const std::array<const char *, 5> colors{"#1b6ca8", "#c0392b", "#2e8b57", "#8e44ad", "#d68910"};

/// A scale from one power of ten to another.
class Scale final
{
public:
    Scale(double lowest, double highest, double from, double to)
        : m_lowest(std::floor(std::log10(lowest)))
        , m_highest(std::max(std::ceil(std::log10(highest)), m_lowest + 1))
        , m_from(from)
        , m_to(to)
    {
    }

    double place(double value) const
    {
        return m_from + (std::log10(value) - m_lowest) / (m_highest - m_lowest) * (m_to - m_from);
    }
    QVector<double> decades() const
    {
        QVector<double> values;
        for (double power = m_lowest; power <= m_highest; ++power) {
            values.append(std::pow(10.0, power));
        }
        return values;
    }

private:
    double m_lowest;
    double m_highest;
    double m_from;
    double m_to;
};

QString line(double x1, double y1, double x2, double y2)
{
    return QStringLiteral("<line x1='%1' y1='%2' x2='%3' y2='%4' stroke='#ccc'/>\n")
        .arg(x1)
        .arg(y1)
        .arg(x2)
        .arg(y2);
}

QString text(double x, double y, const QString &words, const char *anchor)
{
    return QStringLiteral("<text x='%1' y='%2' text-anchor='%3'>%4</text>\n")
        .arg(x)
        .arg(y)
        .arg(QLatin1String(anchor), words.toHtmlEscaped());
}

QString grid(const Scale &x, const Scale &y)
{
    QString svg;
    const QVector<double> columns = x.decades();
    for (const double value : columns) {
        svg += line(x.place(value), top, x.place(value), height - bottom);
        svg += text(x.place(value), height - bottom + 18, QString::number(value), "middle");
    }
    const QVector<double> rows = y.decades();
    for (const double value : rows) {
        svg += line(left, y.place(value), width - right, y.place(value));
        svg += text(left - 6, y.place(value) + 4, QString::number(value), "end");
    }
    return svg;
}

QString drawn(const Curve &curve, const char *color, const Scale &x, const Scale &y)
{
    QStringList places;
    QString svg;
    for (const auto &point : curve.points) {
        places += QStringLiteral("%1,%2").arg(x.place(point.first)).arg(y.place(point.second));
        svg += QStringLiteral("<circle cx='%1' cy='%2' r='3' fill='%3'/>\n")
                   .arg(x.place(point.first))
                   .arg(y.place(point.second))
                   .arg(QLatin1String(color));
    }
    svg += QStringLiteral("<polyline points='%1' fill='none' stroke='%2' stroke-width='2'/>\n")
               .arg(places.join(QLatin1Char(' ')), QLatin1String(color));
    const auto &last = curve.points.constLast();
    return svg + text(x.place(last.first) + 8, y.place(last.second) + 4, curve.name, "start");
}

} // namespace

QString chart(const QString &title, const QString &unit, const QVector<Curve> &curves)
{
    QVector<double> devices;
    QVector<double> values;
    for (const Curve &curve : curves) {
        for (const auto &point : curve.points) {
            devices.append(point.first);
            values.append(point.second);
        }
    }
    const auto range = [](const QVector<double> &all, double from, double to) {
        const auto ends = std::minmax_element(all.begin(), all.end());
        return Scale(*ends.first, *ends.second, from, to);
    };
    const Scale x = range(devices, left, width - right);
    const Scale y = range(values, height - bottom, top);
    QString svg = QStringLiteral("<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %1 %2' "
                                 "font-family='sans-serif' font-size='12'>\n"
                                 "<rect width='%1' height='%2' fill='white'/>\n")
                      .arg(width)
                      .arg(height);
    svg += grid(x, y);
    for (int i = 0; i < curves.size(); ++i) {
        svg += drawn(curves.at(i), colors.at(static_cast<std::size_t>(i) % colors.size()), x, y);
    }
    svg += text(left, top - 14, title + QStringLiteral(", ") + unit, "start");
    svg += text((left + width - right) / 2, height - 12, QStringLiteral("devices"), "middle");
    return svg + QStringLiteral("</svg>\n");
}
