#include "operations/devicerequest.h"

#include <QDateTime>
#include <QHttpMultiPart>
#include <QIODevice>

namespace devicerequest {

namespace {

/// A part with nothing but its name: the devices know no others.
QHttpPart namedPart(const char *name)
{
    QHttpPart part;
    part.setRawHeader(QByteArrayLiteral("Content-Disposition"),
                      QByteArrayLiteral("form-data; name=\"") + name + '"');
    return part;
}

void appendPart(QHttpMultiPart *form, const char *name, const QByteArray &body)
{
    QHttpPart part = namedPart(name);
    part.setBody(body);
    form->append(part);
}

QString secondsAtStartOf(const QDate &day)
{
    return QString::number(day.startOfDay(Qt::LocalTime).toSecsSinceEpoch());
}

} // namespace

QUrl configuration(const QString &baseUrl, bool includePasswords)
{
    const QString passwords = includePasswords ? QStringLiteral("&incl_passwords=on") : QString();
    return QUrl(baseUrl + QLatin1String("tpl/document.cgi?tpl/j/config.tpl") + passwords);
}

QUrl configurationUpload(const QString &baseUrl)
{
    return QUrl(baseUrl + QLatin1String("admin/config.cgi"));
}

QHttpMultiPart *configurationForm(const QByteArray &configuration)
{
    auto *const form = new QHttpMultiPart(QHttpMultiPart::FormDataType);
    appendPart(form, "image", configuration);
    appendPart(form, "redir", QByteArray());
    appendPart(form, "form_fw_up", QByteArrayLiteral("Submit"));
    return form;
}

QHttpMultiPart *firmwareForm(int buffer, QIODevice *image)
{
    auto *const form = new QHttpMultiPart(QHttpMultiPart::FormDataType);
    appendPart(form, "buffer", QByteArray::number(buffer));
    QHttpPart part = namedPart("image");
    part.setBodyDevice(image);
    image->setParent(form);
    form->append(part);
    return form;
}

QUrl history(const QString &baseUrl, const HistorySpan &span)
{
    return QUrl(baseUrl + QLatin1String("tpl/document.cgi?tpl/j/csv.tpl&start=") +
                secondsAtStartOf(span.first) + QLatin1String("&end=") +
                secondsAtStartOf(span.last.addDays(1)) + QLatin1String("&step=") +
                QString::number(span.stepSeconds));
}

} // namespace devicerequest
