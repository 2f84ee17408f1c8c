#pragma once

#include <QElapsedTimer>
#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTimer>
#include <QWidget>

#include <deque>
#include <functional>

/// Deals with the modal dialogs that come up one after the other, as a user does, as long as it lives. A
/// dialog that nobody expects, or that stays for too long, is left. One at a time.
class DialogSeries final : public QObject
{
public:
    /// Called again and again while a dialog is up.
    using Step = std::function<void(QWidget *)>;

    DialogSeries();

    /// What is done with the next dialog.
    DialogSeries &then(Step step);
    /// What the dialogs so far were and said: "login: lab-1", "box: Really?", "files: Open Directory",
    /// "transfer: Save config", "history: Downloading CSV", "firmware: Update Nembra Firmware".
    QStringList seen() const { return m_seen; }
    /// The titles of all windows that were there while a dialog was up.
    QString titles() const { return m_titles.join(QLatin1Char('\n')); }

private:
    void look();
    void leave(QWidget *dialog);

    std::deque<Step> m_steps;
    QStringList m_seen;
    QStringList m_titles;
    QPointer<QWidget> m_dialog;
    /// A step is being taken.
    bool m_busy = false;
    QElapsedTimer m_age;
    QTimer m_timer;
};

/// What users do in the program's dialogs.
namespace dialogstep {

/// A part of a dialog by its name.
template <typename T>
T *in(const QWidget *dialog, const char *objectName)
{
    return dialog->findChild<T *>(QLatin1String(objectName));
}

/// Leaves any dialog by its key.
void cancel(QWidget *dialog);
/// Logs in to each device with the same account. `asked`: which devices the dialog has asked for.
DialogSeries::Step logIn(const QString &user, const QString &password, QStringList *asked = nullptr);
/// Tries to log in, and leaves the dialog when it says this.
DialogSeries::Step logInInVain(const QString &user, const QString &password, const QString &message);
/// Types a path into the file dialog and confirms it.
DialogSeries::Step choose(const QString &path);
DialogSeries::Step answer(QMessageBox::StandardButton button);
/// Waits for the end of the transfers and closes their dialog. `statuses`: what it said of them in the end,
/// "lab-1: Finished".
DialogSeries::Step closeAtTheEnd(QStringList *statuses = nullptr);
/// Loads the histories and closes the dialog. `devices`: those that it lists.
DialogSeries::Step loadAndClose(QStringList *devices = nullptr);

} // namespace dialogstep
