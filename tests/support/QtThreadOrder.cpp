// Qt is not built with ThreadSanitizer, so its locks are invisible, and with them two orders: what a thread did before
// it posted a call is done when that call runs, and what it did before its last one is done when a wait for the thread
// has ended. This file, linked into ThreadSanitizer's build alone, tells these two and nothing more: a call is in order
// with its poster only, and a wait with its thread only, or a race between others would be hidden.
//
// It stands before two functions of Qt, by the names that they have in the library; one of them has another since
// Qt 6.7. With a Qt that lacks one of the names, the test ends before it begins.

#include <QDeadlineTimer>
#include <QMetaObject>
#include <QThread>

#include <dlfcn.h>

extern "C" void __tsan_acquire(void *address);
extern "C" void __tsan_release(void *address);

// QMetaObject::invokeMethodImpl(), through which QMetaObject::invokeMethod() posts, and QThread::wait().
#define VELMO_POST "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeE"
#if QT_VERSION < QT_VERSION_CHECK(6, 7, 0)
#define VELMO_POST_SYMBOL VELMO_POST "Pv"
#else
#define VELMO_POST_SYMBOL VELMO_POST "xPKPKvPKPKcPKPKNS2_18QMetaTypeInterfaceE"
#endif
#define VELMO_WAIT_SYMBOL "_ZN7QThread4waitE14QDeadlineTimer"

using QtPrivate::QSlotObjectBase;

namespace {

void *inQt(const char *symbol)
{
    void *const function = dlsym(RTLD_NEXT, symbol);
    if (!function) {
        qFatal("Qt %s has no %s: QtThreadOrder.cpp needs a variant for it", qVersion(), symbol);
    }
    return function;
}

void *const postInQt = inQt(VELMO_POST_SYMBOL);
void *const waitInQt = inQt(VELMO_WAIT_SYMBOL);

/// A call that begins where its poster has come to. Neither it nor the call is ever deleted: which thread does that
/// last is the queue's business.
class OrderedCall : public QSlotObjectBase {
public:
    explicit OrderedCall(QSlotObjectBase *call)
        : QSlotObjectBase(&OrderedCall::operate)
        , call_(call)
    {
        __tsan_release(this);
        __tsan_release(QThread::currentThread());
    }

private:
    static void operate(int which, QSlotObjectBase *self, QObject *receiver, void **arguments, bool * /*result*/)
    {
        if (which == Call) {
            __tsan_acquire(self);
            static_cast<OrderedCall *>(self)->call_->call(receiver, arguments);
        }
    }

    QSlotObjectBase *call_;
};

template<typename... Rest>
bool postInOrder(QObject *object, QSlotObjectBase *call, Qt::ConnectionType type, Rest... rest)
{
    using Post = bool (*)(QObject *, QSlotObjectBase *, Qt::ConnectionType, Rest...);
    return reinterpret_cast<Post>(postInQt)(object, new OrderedCall(call), type, rest...);
}

} // namespace

#if QT_VERSION < QT_VERSION_CHECK(6, 7, 0)
extern "C" bool velmoPost(QObject *object, QSlotObjectBase *call, Qt::ConnectionType type,
                          void *result) asm(VELMO_POST_SYMBOL);

bool velmoPost(QObject *object, QSlotObjectBase *call, Qt::ConnectionType type, void *result)
{
    return postInOrder(object, call, type, result);
}
#else
using MetaTypes = const QtPrivate::QMetaTypeInterface *const *;

extern "C" bool velmoPost(QObject *object, QSlotObjectBase *call, Qt::ConnectionType type, qsizetype count,
                          const void *const *arguments, const char *const *names,
                          MetaTypes types) asm(VELMO_POST_SYMBOL);

bool velmoPost(QObject *object, QSlotObjectBase *call, Qt::ConnectionType type, qsizetype count,
               const void *const *arguments, const char *const *names, MetaTypes types)
{
    return postInOrder(object, call, type, count, arguments, names, types);
}
#endif

extern "C" bool velmoWait(QThread *thread, QDeadlineTimer deadline) asm(VELMO_WAIT_SYMBOL);

bool velmoWait(QThread *thread, QDeadlineTimer deadline)
{
    using Wait = bool (*)(QThread *, QDeadlineTimer);
    const bool ended = reinterpret_cast<Wait>(waitInQt)(thread, deadline);
    if (ended) {
        __tsan_acquire(thread);
    }
    return ended;
}
