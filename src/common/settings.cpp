#include "common/settings.h"

#include <memory>

namespace settings {

namespace {

std::unique_ptr<QSettings> &instance()
{
    // Never destroyed: windows and rows read settings until the very end of the process.
    static auto *const holder = new std::unique_ptr<QSettings>;
    return *holder;
}

} // namespace

void open(const QString &file)
{
    QSettings::setDefaultFormat(QSettings::IniFormat);
    instance() = file.isEmpty() ? std::make_unique<QSettings>()
                                : std::make_unique<QSettings>(file, QSettings::IniFormat);
}

QSettings &store()
{
    Q_ASSERT_X(instance(), "settings::store", "open() comes first");
    return *instance();
}

} // namespace settings
