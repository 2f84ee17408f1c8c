#include "common/settings.h"

#include "platform/files.h"

#include <QDebug>
#include <QEvent>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <memory>

namespace settings {

namespace {

/// The toolkit writes the file whenever something has changed. It doesn't notice where a full disk takes only
/// a part, or nothing, and puts that in the place of the old file. So the old one stays until the new one was
/// looked at.
class Store final : public QSettings
{
public:
    using QSettings::QSettings;

protected:
    bool event(QEvent *event) override
    {
        const QString file = QFileInfo(fileName()).canonicalFilePath();
        if (event->type() != QEvent::UpdateRequest || file.isEmpty()) {
            return QSettings::event(event);
        }
        // A name that no user gives to a copy of his own.
        const QString old = file + QLatin1String(".nembra-old");
        QFile::remove(old);
        // A disk that knows no second names has to do without.
        const bool isKept = linkFile(file, old);
        const bool isTaken = QSettings::event(event);
        if (isKept && !isWhole(file)) {
            const bool isBack = replaceFile(old, file);
            qDebug() << "Can't write" << file << "old one is back" << isBack;
        } else {
            QFile::remove(old);
        }
        return isTaken;
    }

private:
    /// Whether the file has a line for each key that it should have.
    bool isWhole(const QString &path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            return false;
        }
        // Only what is in this file.
        setFallbacksEnabled(false);
        const int keys = allKeys().size();
        setFallbacksEnabled(true);
        const QList<QByteArray> lines = file.readAll().split('\n');
        // On Windows lines end with a carriage return.
        const auto entries = std::count_if(lines.begin(), lines.end(), [](const QByteArray &line) {
            return !line.trimmed().isEmpty() && !line.startsWith('[');
        });
        return lines.last().isEmpty() && entries >= keys;
    }
};

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
    instance() =
        file.isEmpty() ? std::make_unique<Store>() : std::make_unique<Store>(file, QSettings::IniFormat);
}

QSettings &store()
{
    Q_ASSERT_X(instance(), "settings::store", "open() comes first");
    return *instance();
}

} // namespace settings
