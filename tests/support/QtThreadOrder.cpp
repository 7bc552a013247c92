// Qt is not built with ThreadSanitizer, so its locks are invisible, and with them the order between posting a call and
// running it, and between a thread's work and the end of a wait for it. This file, linked into ThreadSanitizer's build
// alone, tells that order.

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEvent>
#include <QThread>

#include <dlfcn.h>

extern "C" void __tsan_acquire(void *address);
extern "C" void __tsan_release(void *address);

namespace {

char order; // one for all

/// Sees every event of the main thread before its receiver does.
class DeliveryWatch : public QObject {
public:
    using QObject::QObject;

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        __tsan_acquire(&order);
        return QObject::eventFilter(watched, event);
    }
};

void watchDeliveries()
{
    QCoreApplication::instance()->installEventFilter(new DeliveryWatch(QCoreApplication::instance()));
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(watchDeliveries)

namespace {

// QMetaObject::invokeMethod() posts through QMetaObject::invokeMethodImpl(), which takes more since Qt 6.7.
#define VELMO_POST "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionType"
#if QT_VERSION < QT_VERSION_CHECK(6, 7, 0)
#define VELMO_POST_SYMBOL VELMO_POST "EPv"
#else
#define VELMO_POST_SYMBOL VELMO_POST "ExPKPKvPKPKcPKPKNS2_18QMetaTypeInterfaceE"
#endif

template<typename... Rest>
bool postInOrder(QObject *object, QtPrivate::QSlotObjectBase *slot, Qt::ConnectionType type, Rest... rest)
{
    using Post = bool (*)(QObject *, QtPrivate::QSlotObjectBase *, Qt::ConnectionType, Rest...);
    static const Post post = reinterpret_cast<Post>(dlsym(RTLD_NEXT, VELMO_POST_SYMBOL));
    slot->ref(); // never deleted: which thread does that last is the queue's business too
    __tsan_release(&order);
    return post(object, slot, type, rest...);
}

} // namespace

/// Stands before QMetaObject::invokeMethodImpl().
#if QT_VERSION < QT_VERSION_CHECK(6, 7, 0)
extern "C" bool velmoPostInOrder(QObject *object, QtPrivate::QSlotObjectBase *slot, Qt::ConnectionType type,
                                 void *result) asm(VELMO_POST_SYMBOL);

bool velmoPostInOrder(QObject *object, QtPrivate::QSlotObjectBase *slot, Qt::ConnectionType type, void *result)
{
    return postInOrder(object, slot, type, result);
}
#else
using MetaTypes = const QtPrivate::QMetaTypeInterface *const *;

extern "C" bool velmoPostInOrder(QObject *object, QtPrivate::QSlotObjectBase *slot, Qt::ConnectionType type,
                                 qsizetype count, const void *const *parameters, const char *const *names,
                                 MetaTypes metaTypes) asm(VELMO_POST_SYMBOL);

bool velmoPostInOrder(QObject *object, QtPrivate::QSlotObjectBase *slot, Qt::ConnectionType type, qsizetype count,
                      const void *const *parameters, const char *const *names, MetaTypes metaTypes)
{
    return postInOrder(object, slot, type, count, parameters, names, metaTypes);
}
#endif

/// Stands before QThread::wait(): what a thread did before its last posted call is done when it has ended.
extern "C" bool velmoWaitInOrder(QThread *thread, QDeadlineTimer deadline) asm("_ZN7QThread4waitE14QDeadlineTimer");

bool velmoWaitInOrder(QThread *thread, QDeadlineTimer deadline)
{
    using Wait = bool (*)(QThread *, QDeadlineTimer);
    static const Wait wait = reinterpret_cast<Wait>(dlsym(RTLD_NEXT, "_ZN7QThread4waitE14QDeadlineTimer"));
    const bool ended = wait(thread, deadline);
    __tsan_acquire(&order);
    return ended;
}
