#include "dialogseries.h"

#include <QApplication>
#include <QDialog>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QtTest>

#include <chrono>

using namespace std::chrono_literals;
using dialogstep::in;

namespace {

// A step that meets another dialog than it is for leaves it, so that the test fails and doesn't crash.

/// How often it is looked whether a dialog has come up, and how long one may stay.
constexpr std::chrono::milliseconds lookInterval = 5ms;
constexpr std::chrono::milliseconds longestDialog = 120s;

QString description(const QWidget *dialog)
{
    if (const auto *const box = qobject_cast<const QMessageBox *>(dialog)) {
        return QStringLiteral("box: ") + box->text();
    }
    const QString name = dialog->objectName();
    if (name == QLatin1String("LoginDevicesDialog")) {
        return QStringLiteral("login: ") + in<QLabel>(dialog, "labelHostname")->text();
    }
    const QString kind = name == QLatin1String("NetworkOperationsDialog") ? QStringLiteral("transfer")
                         : name == QLatin1String("LoadHistoryDialog")     ? QStringLiteral("history")
                         : name == QLatin1String("UpdateFirmwareDialog")  ? QStringLiteral("firmware")
                         : qobject_cast<const QFileDialog *>(dialog)      ? QStringLiteral("files")
                                                                          : name;
    return kind + QLatin1String(": ") + dialog->windowTitle();
}

} // namespace

DialogSeries::DialogSeries()
{
    connect(&m_timer, &QTimer::timeout, this, &DialogSeries::look);
    m_timer.start(lookInterval);
}

DialogSeries &DialogSeries::then(Step step)
{
    m_steps.push_back(std::move(step));
    return *this;
}

void DialogSeries::look()
{
    QWidget *const dialog = QApplication::activeModalWidget();
    if (m_busy && dialog != m_dialog) {
        m_busy = false;
        if (!m_steps.empty()) {
            m_steps.pop_front();
        }
    }
    if (!dialog || !dialog->isVisible()) {
        return;
    }
    if (!m_busy) {
        m_busy = true;
        m_dialog = dialog;
        m_age.start();
        m_seen += description(dialog);
    }
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (const QWidget *const window : windows) {
        m_titles += window->windowTitle();
    }
    m_titles.removeDuplicates();
    if (m_steps.empty() || m_age.hasExpired(longestDialog / 1ms)) {
        leave(dialog);
    } else {
        m_steps.front()(dialog);
    }
}

void DialogSeries::leave(QWidget *dialog)
{
    m_seen += m_steps.empty() ? QStringLiteral("(nobody expects it)") : QStringLiteral("(stays)");
    // A transfer can't be left before it has ended.
    if (auto *const cancel = in<QPushButton>(dialog, "pushButtonCancel")) {
        cancel->click();
    }
    if (auto *const left = qobject_cast<QDialog *>(dialog)) {
        left->reject();
    }
}

namespace dialogstep {

void cancel(QWidget *dialog)
{
    QTest::keyClick(dialog, Qt::Key_Escape);
}

DialogSeries::Step logIn(const QString &user, const QString &password, QStringList *asked)
{
    return [=](QWidget *dialog) {
        auto *const ok = in<QPushButton>(dialog, "pushButtonOK");
        if (!ok) {
            cancel(dialog);
            return;
        }
        if (!ok->isEnabled()) {
            return;
        }
        if (asked) {
            *asked += in<QLabel>(dialog, "labelHostname")->text();
        }
        in<QLineEdit>(dialog, "lineEditUser")->setText(user);
        in<QLineEdit>(dialog, "lineEditPassword")->setText(password);
        ok->click();
    };
}

DialogSeries::Step logInInVain(const QString &user, const QString &password, const QString &message)
{
    return [=](QWidget *dialog) {
        if (in<QLabel>(dialog, "labelError")->text() == message) {
            in<QPushButton>(dialog, "pushButtonCancel")->click();
        } else {
            logIn(user, password)(dialog);
        }
    };
}

DialogSeries::Step choose(const QString &path)
{
    return [path](QWidget *dialog) {
        auto *const fileName = in<QLineEdit>(dialog, "fileNameEdit");
        if (!fileName) {
            cancel(dialog);
            return;
        }
        fileName->setText(path);
        // Public for any dialog, though not for this one.
        qobject_cast<QDialog *>(dialog)->accept();
    };
}

DialogSeries::Step answer(QMessageBox::StandardButton button)
{
    return [button](QWidget *dialog) {
        if (const auto *const box = qobject_cast<QMessageBox *>(dialog)) {
            box->button(button)->click();
        } else {
            cancel(dialog);
        }
    };
}

DialogSeries::Step closeAtTheEnd(QStringList *statuses)
{
    return [statuses](QWidget *dialog) {
        auto *const close = in<QPushButton>(dialog, "pushButtonClose");
        if (!close) {
            cancel(dialog);
            return;
        }
        if (!close->isEnabled()) {
            return;
        }
        const auto *const table = in<QTableWidget>(dialog, "tableWidget");
        for (int row = 0; statuses && row < table->rowCount(); ++row) {
            *statuses += table->item(row, 0)->text() + QLatin1String(": ") + table->item(row, 1)->text();
        }
        close->click();
    };
}

DialogSeries::Step loadAndClose(QStringList *devices)
{
    return [devices, loading = false](QWidget *dialog) mutable {
        auto *const close = in<QPushButton>(dialog, "pushButtonClose");
        if (!loading) {
            loading = true;
            const auto *const table = in<QTableWidget>(dialog, "tableWidget");
            for (int row = 0; devices && row < table->rowCount(); ++row) {
                *devices += table->item(row, 0)->text();
            }
            in<QPushButton>(dialog, "pushButtonLoad")->click();
        } else if (close->isEnabled()) {
            close->click();
        }
    };
}

} // namespace dialogstep
