// Stands in front of functions as slots: see README.md.
//
// Qt counts, out of line, who still needs such a slot. Whoever comes last destroys it, and with it
// what the function captured, after the calls in other threads.

#include "tests/support/tsan/annotation.h"

#include <QMetaObject>
#include <QObject>

namespace
{

/// Calls another slot and orders its calls before its destruction.
class OrderedSlot : public QtPrivate::QSlotObjectBase
{
public:
    /// Takes over the caller's share of `slot`.
    explicit OrderedSlot(QtPrivate::QSlotObjectBase *slot) : QSlotObjectBase(perform), m_slot(slot)
    {
    }

private:
    ~OrderedSlot()
    {
        __tsan_acquire(this);
        m_slot->destroyIfLastRef();
    }

    static void perform(int operation, QSlotObjectBase *base, QObject *receiver, void **arguments,
                        bool *equal)
    {
        const auto self = static_cast<OrderedSlot *>(base);
        switch (operation) {
        case Destroy:
            delete self;
            break;
        case Call:
            self->m_slot->call(receiver, arguments);
            __tsan_release(self);
            break;
        case Compare:
            *equal = self->m_slot->compare(arguments);
            break;
        }
    }

    QtPrivate::QSlotObjectBase *const m_slot;
};

Real<bool(QObject *, QtPrivate::QSlotObjectBase *, Qt::ConnectionType, void *)>
    real_invoke("_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt"
                "14ConnectionTypeEPv");
Real<QMetaObject::Connection(const QObject *, void **, const QObject *, void **,
                             QtPrivate::QSlotObjectBase *, Qt::ConnectionType, const int *,
                             const QMetaObject *)>
    real_connect("_ZN7QObject11connectImplEPKS_PPvS1_S3_PN9QtPrivate15QSlotObjectBaseEN2Qt"
                 "14ConnectionTypeEPKiPK11QMetaObject");

} // namespace

bool QMetaObject::invokeMethodImpl(QObject *object, QtPrivate::QSlotObjectBase *slot,
                                   Qt::ConnectionType type, void *result)
{
    return real_invoke(object, new OrderedSlot(slot), type, result);
}

QMetaObject::Connection QObject::connectImpl(const QObject *sender, void **signal,
                                             const QObject *receiver, void **slot_pointer,
                                             QtPrivate::QSlotObjectBase *slot,
                                             Qt::ConnectionType type, const int *types,
                                             const QMetaObject *sender_meta_object)
{
    return real_connect(sender, signal, receiver, slot_pointer, new OrderedSlot(slot), type, types,
                        sender_meta_object);
}
