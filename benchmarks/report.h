#pragma once

#include <QString>
#include <QVector>

/// Prints the figures, one a line, beside their references and bounds.
namespace report {

/// The smaller the better: reached if `value` is at most `bound`. `reference` is what the same run measured
/// for comparison. `value`/`reference` is printed where the reference isn't 0.
void figure(const QString &name, double value, double reference, double bound, const QString &unit);
/// As figure(), but what is bounded is `value`/`reference`.
void ratio(const QString &name, double value, double reference, double bound, const QString &unit);
/// Reached if `value` is `wanted`.
void count(const QString &name, int value, int reference, int wanted);
/// The one in the middle; `values` is not empty.
double median(QVector<double> values);
/// A remark on the figures above it.
void note(const QString &text);
/// Ends the process: the case could not be measured.
[[noreturn]] void giveUp(const QString &reason);

/// Whether everything so far was reached.
bool allReached();

} // namespace report
