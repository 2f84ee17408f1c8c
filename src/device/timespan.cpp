#include "device/timespan.h"

#include <tuple>

namespace {

auto fields(const Timespan &span)
{
    return std::tie(span.days, span.hours, span.minutes, span.seconds);
}

} // namespace

QString Timespan::toString() const
{
    return QStringLiteral("%1d %2h %3m %4s").arg(days).arg(hours).arg(minutes).arg(seconds);
}

void Timespan::registerMetaType()
{
    qRegisterMetaType<Timespan>("Timespan");
    if (!QMetaType::hasRegisteredConverterFunction<Timespan, QString>()) {
        QMetaType::registerConverter(&Timespan::toString);
    }
    if (!QMetaType::hasRegisteredComparators<Timespan>()) {
        QMetaType::registerComparators<Timespan>();
    }
}

bool operator==(const Timespan &left, const Timespan &right)
{
    return fields(left) == fields(right);
}
bool operator<(const Timespan &left, const Timespan &right)
{
    return fields(left) < fields(right);
}
