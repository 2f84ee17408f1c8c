#include "common/translations.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {

Translations *s_instance = nullptr;

} // namespace

Translations::Translations()
    : m_directory(directoryFor(QCoreApplication::applicationDirPath()))
{
    s_instance = this;
}

Translations::~Translations()
{
    s_instance = nullptr;
}

Translations *Translations::instance()
{
    return s_instance;
}

QString Translations::directoryFor(const QString &programDirectory)
{
    const QString start = programDirectory.isEmpty() ? QStringLiteral(".") : programDirectory;
    const QString installed = start + QLatin1String("/../share/nembrahub/i18n");
    return QFileInfo::exists(installed) ? installed : start + QLatin1String("/i18n");
}

QString Translations::detectLanguage(const QStringList &uiLanguages)
{
    for (const QString &wanted : uiLanguages) {
        for (const QString &known : {QStringLiteral("en"), QStringLiteral("de")}) {
            if (wanted.startsWith(known)) {
                return known;
            }
        }
    }
    return QStringLiteral("en");
}

void Translations::load(const QString &language)
{
    reload(&m_program, QLatin1String("NembraHub_") + language + QLatin1String(".qm"));
    reload(&m_qt, QLatin1String("qtbase_") + language + QLatin1String(".qm"));
}

void Translations::reload(QTranslator *translator, const QString &fileName) const
{
    QCoreApplication::removeTranslator(translator);
    // Neither delimiters nor suffix (empty ones; null stands for the usual ones): a language code must not
    // fall back to the file of another one.
    if (translator->load(fileName, m_directory, QLatin1String(""), QLatin1String(""))) {
        QCoreApplication::installTranslator(translator);
    }
}
