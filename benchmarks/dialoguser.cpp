#include "dialoguser.h"

#include <QApplication>
#include <QDialog>
#include <QPushButton>

DialogUser::DialogUser(std::function<bool(QDialog &dialog)> look, std::chrono::milliseconds interval)
{
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [look = std::move(look)] {
        auto *const dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        if (dialog && look(*dialog)) {
            dialog->close();
        }
    });
    m_timer.start(interval);
}

QPushButton *DialogUser::button(const QDialog &dialog, const char *name)
{
    return dialog.findChild<QPushButton *>(QLatin1String(name));
}
