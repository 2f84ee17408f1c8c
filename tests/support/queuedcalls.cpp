#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMetaObject>
#include <QThread>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

// Qt's library is not built with ThreadSanitizer, which therefore sees no order between a signal in one
// thread and its slot in another, and calls all that they share a race. Here it is told: what comes before
// anything that may make an event comes before all events that are taken later. Two threads that touch the
// same without any event between them are still found.

namespace {

char order;

/// Qt's own function.
template <typename Function>
Function *next(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

/// Windows and dialogs take their events inside of Qt, but not before the application has seen them.
class Taker final : public QObject
{
public:
    using QObject::QObject;
    bool eventFilter(QObject *, QEvent *) override
    {
        __tsan_acquire(&order);
        return false;
    }
};

void watchApplication()
{
    QCoreApplication::instance()->installEventFilter(new Taker(QCoreApplication::instance()));
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(watchApplication)

void QMetaObject::activate(QObject *sender, const QMetaObject *metaObject, int signal, void **arguments)
{
    __tsan_release(&order);
    static auto *const ofQt = next<void(QObject *, const QMetaObject *, int, void **)>(
        "_ZN11QMetaObject8activateEP7QObjectPKS_iPPv");
    ofQt(sender, metaObject, signal, arguments);
}

bool QMetaObject::invokeMethodImpl(QObject *object, QtPrivate::QSlotObjectBase *slot, Qt::ConnectionType type,
                                   void *result)
{
    __tsan_release(&order);
    static auto *const ofQt = next<bool(QObject *, QtPrivate::QSlotObjectBase *, Qt::ConnectionType, void *)>(
        "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv");
    return ofQt(object, slot, type, result);
}

void QObject::deleteLater()
{
    __tsan_release(&order);
    static auto *const ofQt = next<void(QObject *)>("_ZN7QObject11deleteLaterEv");
    ofQt(this);
}

bool QObject::event(QEvent *event)
{
    __tsan_acquire(&order);
    static auto *const ofQt = next<bool(QObject *, QEvent *)>("_ZN7QObject5eventEP6QEvent");
    const bool isTaken = ofQt(this, event);
    // For whoever waits for the end of this thread.
    __tsan_release(&order);
    return isTaken;
}

bool QThread::wait(QDeadlineTimer deadline)
{
    static auto *const ofQt = next<bool(QThread *, QDeadlineTimer)>("_ZN7QThread4waitE14QDeadlineTimer");
    const bool hasEnded = ofQt(this, deadline);
    __tsan_acquire(&order);
    return hasEnded;
}
