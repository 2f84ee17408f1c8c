#pragma once

#include <QString>
#include <QStringList>
#include <QTranslator>

/// The translations of the program and of Qt, and where their files are. One object, made at start-up, which
/// outlives every main window. GUI thread only.
class Translations final
{
public:
    /// Looks for the directory beside the running program. Needs the application object.
    Translations();
    ~Translations();
    Q_DISABLE_COPY_MOVE(Translations)

    /// The one object; null before start-up made it.
    static Translations *instance();

    /// The directory of the ".qm" files.
    QString directory() const { return m_directory; }

    /// The directory that belongs to a program in `programDirectory`: the installed place if it exists, else
    /// "i18n" beside the program.
    static QString directoryFor(const QString &programDirectory);

    /// "en" or "de": the first of the user's languages, most wanted first, that we have; "en" if we have
    /// none.
    static QString detectLanguage(const QStringList &uiLanguages);

    /// Installs the translations of a language. A missing file leaves its texts untranslated, without a
    /// message.
    void load(const QString &language);

private:
    void reload(QTranslator *translator, const QString &fileName) const;

    QString m_directory;
    QTranslator m_program;
    QTranslator m_qt;
};
