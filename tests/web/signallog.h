#pragma once

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QStringList>

/// The signals of a reply and of its manager, in their order. Outlives both.
class SignalLog final
{
public:
    explicit SignalLog(QNetworkReply *reply)
    {
        note(reply, &QNetworkReply::metaDataChanged, "metaDataChanged");
        note(reply, &QNetworkReply::readyRead, "readyRead");
        note(reply, &QNetworkReply::errorOccurred, "errorOccurred");
        note(reply, &QNetworkReply::downloadProgress, "downloadProgress");
        note(reply, &QNetworkReply::uploadProgress, "uploadProgress");
        note(reply, &QNetworkReply::readChannelFinished, "readChannelFinished");
        note(reply->manager(), &QNetworkAccessManager::finished, "finished of the manager");
        note(reply, &QNetworkReply::finished, "finished");
    }

    QStringList names() const { return m_names; }
    /// Without those of progress, which depend on the time.
    QStringList mainNames() const
    {
        QStringList names = m_names;
        names.removeAll(QStringLiteral("downloadProgress"));
        names.removeAll(QStringLiteral("uploadProgress"));
        return names;
    }
    /// Each only the first time.
    QStringList differentNames() const
    {
        QStringList names = m_names;
        names.removeDuplicates();
        return names;
    }

private:
    template <typename Sender, typename Signal>
    void note(const Sender *sender, Signal signal, const char *name)
    {
        QObject::connect(sender, signal, &m_context, [this, name] { m_names += QLatin1String(name); });
    }

    QObject m_context;
    QStringList m_names;
};
