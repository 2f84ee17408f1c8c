#include "report.h"

#include <QByteArray>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace report {

namespace {

bool everythingReached = true;

void line(const QString &name, const QString &value, const QString &reference, const QString &quotient,
          const QString &bound, bool reached)
{
    everythingReached = everythingReached && reached;
    std::printf("%-58s %14s %14s %8s %14s  %s\n", qUtf8Printable(name), qUtf8Printable(value),
                qUtf8Printable(reference), qUtf8Printable(quotient), qUtf8Printable(bound),
                reached ? "ok" : "NOT REACHED");
    std::fflush(stdout);
}

QString amount(double value, const QString &unit)
{
    const QString number = QString::number(value, 'f', value < 100 ? 1 : 0);
    return unit.isEmpty() ? number : number + QLatin1Char(' ') + unit;
}

QString quotient(double value, double reference)
{
    return reference > 0 ? QString::number(value / reference, 'f', 2) : QStringLiteral("-");
}

} // namespace

void figure(const QString &name, double value, double reference, double bound, const QString &unit)
{
    line(name, amount(value, unit), amount(reference, unit), quotient(value, reference),
         QStringLiteral("<= ") + amount(bound, unit), value <= bound);
}

void ratio(const QString &name, double value, double reference, double bound, const QString &unit)
{
    line(name, amount(value, unit), amount(reference, unit), quotient(value, reference),
         QStringLiteral("ratio <= ") + QString::number(bound), reference > 0 && value / reference <= bound);
}

void count(const QString &name, int value, int reference, int wanted)
{
    line(name, QString::number(value), QString::number(reference), quotient(value, reference),
         QStringLiteral("= ") + QString::number(wanted), value == wanted);
}

double median(QVector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

void note(const QString &text)
{
    std::printf("    %s\n", qUtf8Printable(text));
    std::fflush(stdout);
}

void giveUp(const QString &reason)
{
    std::fprintf(stderr, "bench_fleet: %s\n", qUtf8Printable(reason));
    std::exit(EXIT_FAILURE);
}

bool allReached()
{
    return everythingReached;
}

} // namespace report
