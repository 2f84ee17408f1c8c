#pragma once

#include "testdirectory.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

/// For tests of the file with the list of devices: a directory for it, and lists to write.
class DeviceListTest : private TestDirectory
{
public:
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    /// Sanitizers look at every allocation, and long lists are nothing but allocations: they are so many
    /// times as short.
    static constexpr int shortened = 500;
#else
    static constexpr int shortened = 1;
#endif

    /// A list that the program may have written before.
    static const QByteArray oldContent;
    /// How the file is called where a test says nothing else.
    static const QString usualName;

    static QJsonObject device(const char *hostname, const char *mac, const char *firstSeen,
                              const char *lastSeen);
    /// So many devices that their file is longer than every buffer on the way: about 150 bytes each.
    static QJsonArray devices(int count);

    using TestDirectory::begin;
    using TestDirectory::end;

    QString directory() const
    {
        return TestDirectory::path();
    }
    QString path(const QString &name = usualName) const
    {
        return TestDirectory::path(name);
    }
    void put(const QByteArray &content, const QString &name = usualName) const;
    QByteArray content(const QString &name = usualName) const
    {
        return TestDirectory::content(name);
    }
    /// Of everything in the directory and below it.
    QStringList names() const
    {
        return everything();
    }

    /// What the program reads from a file, and what it says meanwhile.
    struct Reading
    {
        QJsonArray elements;
        QStringList messages;
    };
    static Reading read(const QString &path);
};
