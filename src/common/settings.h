#pragma once

#include <QByteArray>
#include <QSettings>
#include <QString>
#include <QVariant>

#include <type_traits>

/// The one settings store of the program and the table of everything that stands in it.
/// GUI thread only.
namespace settings {

/// One setting: its group (null for the top level), its key and the value it has when it is not stored.
template <typename T>
struct Key
{
    const char *group;
    const char *name;
    T fallback;
};

/// A setting of a toolkit's own form, empty until it is stored.
struct BytesKey
{
    const char *group;
    const char *name;
};

inline constexpr Key<int> scanPort{"Scan", "Port", 9806};
inline constexpr Key<int> scanHttpPort{"Scan", "HTTPPort", 80};
inline constexpr Key<int> scanHttpsPort{"Scan", "HTTPSPort", 443};
inline constexpr Key<bool> scanAutoUpdate{"Scan", "AutoUpdate", false};
/// Seconds.
inline constexpr Key<double> scanAutoUpdateInterval{"Scan", "AutoUpdateInterval", 10.0};

/// Top level on purpose: other versions of the program read it there.
inline constexpr Key<bool> preferExtended{nullptr, "PreferExtended", false};
/// "en", "de" or the code of any further translation file; empty until the first start.
inline constexpr Key<const char *> language{nullptr, "Language", ""};

inline constexpr BytesKey windowGeometry{"MainWindow", "Geometry"};
inline constexpr BytesKey windowState{"MainWindow", "WindowState"};
inline constexpr BytesKey tableHeader{"MainWindow", "tableHeader"};
inline constexpr BytesKey tableHeaderState{"MainWindow", "tableHeaderState"};
inline constexpr Key<int> sortColumn{"MainWindow", "SortColumn", 0};
/// A Qt::SortOrder.
inline constexpr Key<int> sortDescending{"MainWindow", "SortDescending", 0};
/// QFont::toString().
inline constexpr Key<const char *> listFont{"MainWindow", "Font", ""};
/// Points.
inline constexpr Key<int> listFontSize{"MainWindow", "FontSize", 9};
inline constexpr Key<bool> statusBarShown{"MainWindow", "Statusbar", true};
/// Pixels.
inline constexpr Key<int> iconSize{"MainWindow", "IconSize", 22};
/// An array, newest pattern first, each element with filterHistoryEntry.
inline constexpr char filterHistoryGroup[] = "MainWindow";
inline constexpr char filterHistoryArray[] = "FilterHistory";
inline constexpr char filterHistoryEntry[] = "String";

/// Directories and files that were chosen last.
inline constexpr Key<const char *> configDirectory{nullptr, "ConfigDir", ""};
inline constexpr Key<const char *> lastUploadConfigFile{nullptr, "LastUploadConfigFile", ""};
inline constexpr Key<const char *> firmwareDirectory{nullptr, "FirmwareDir", ""};
inline constexpr Key<const char *> historyDirectory{nullptr, "CSVDir", ""};

inline constexpr BytesKey historyGeometry{"LoadHistoryDialog", "Geometry"};
inline constexpr BytesKey historyHeader{"LoadHistoryDialog", "horizontalHeader"};
inline constexpr BytesKey historyHeaderState{"LoadHistoryDialog", "horizontalHeaderState"};
inline constexpr BytesKey firmwareGeometry{"UpdateFirmwareDialog", "Geometry"};
inline constexpr BytesKey firmwareHeader{"UpdateFirmwareDialog", "horizontalHeader"};
inline constexpr BytesKey firmwareHeaderState{"UpdateFirmwareDialog", "horizontalHeaderState"};
inline constexpr Key<int> syslogPort{nullptr, "SyslogPort", 514};
inline constexpr BytesKey syslogGeometry{"LogDialog", "Geometry"};
inline constexpr BytesKey configGeometry{"ConfigDialog", "Geometry"};

inline constexpr Key<int> historyStepSize{"LoadHistoryDialog", "stepSize", 1};
/// 0: minutes, 1 and above: hours.
inline constexpr Key<int> historyStepUnit{"LoadHistoryDialog", "stepUnit", 0};

/// Creates the store: the INI file of that name, or the user's own file for the application's identity when
/// it is empty. Called once by the start-up; the store lives until the process ends. A test may call it
/// again, which replaces the store.
void open(const QString &file);

/// The store; open() must have been called.
QSettings &store();

/// The path of a setting in the store.
template <typename AnyKey>
QString path(const AnyKey &key)
{
    const QString name = QLatin1String(key.name);
    return key.group ? QLatin1String(key.group) + QLatin1Char('/') + name : name;
}

/// The stored value as QVariant converts it (a text that is no number reads as 0), or the fallback.
template <typename T>
T value(const Key<T> &key)
{
    return store().value(path(key), key.fallback).template value<T>();
}
inline QString value(const Key<const char *> &key)
{
    return store().value(path(key), QLatin1String(key.fallback)).toString();
}
inline QByteArray bytes(const BytesKey &key)
{
    return store().value(path(key)).toByteArray();
}

/// What is stored has the type of the key, whatever the value is given as.
template <typename T>
void setValue(const Key<T> &key, std::common_type_t<T> value)
{
    store().setValue(path(key), QVariant::fromValue(value));
}
inline void setValue(const Key<const char *> &key, const QString &value)
{
    store().setValue(path(key), value);
}
inline void setValue(const BytesKey &key, const QByteArray &value)
{
    store().setValue(path(key), value);
}

} // namespace settings
