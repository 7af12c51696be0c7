// Stands in front of the posting and the delivery of Qt's events: see README.md.

#include "tests/support/tsan/annotation.h"
#include "tests/support/tsan/qt_core.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QEvent>
#include <QMetaMethod>
#include <QMetaObject>
#include <QMetaType>
#include <QString>
#include <QStringList>

#include <atomic>
#include <cstddef>
#include <memory>
#include <new>
#include <vector>

namespace
{

Real<void(QObject *, QEvent *, int)>
    real_post_event("_ZN16QCoreApplication9postEventEP7QObjectP6QEventi");
Real<void *(std::size_t)> real_operator_new("_Znwm");
Real<void(QObject *, const QMetaObject *, int, void **)>
    real_activate("_ZN11QMetaObject8activateEP7QObjectPKS_iPPv");
Real<int(const QByteArray &, QMetaType::Destructor, QMetaType::Constructor, int,
         QMetaType::TypeFlags, const QMetaObject *)>
    real_register_type("_ZN9QMetaType22registerNormalizedTypeERK10QByteArrayPFvPvEPFS3_S3_PKvEi"
                       "6QFlagsINS_8TypeFlagEEPK11QMetaObject");

/// Qt's callback before every delivery. Never takes the event away.
bool deliverAfterPosting(void **receiver_event_result)
{
    __tsan_acquire(receiver_event_result[1]);
    return false;
}

const bool registered =
    QInternal::registerCallback(QInternal::EventNotifyCallback, deliverAfterPosting);

} // namespace

void QCoreApplication::postEvent(QObject *receiver, QEvent *event, int priority)
{
    __tsan_release(event);
    real_post_event(receiver, event, priority);
}

// The events that Qt posts itself do not pass postEvent(), but Qt makes them with operator new.
void *operator new(std::size_t size)
{
    if (!isQtCore(__builtin_return_address(0)))
        return real_operator_new(size);
    const Unrecorded as_all_that_qt_does;
    void *const object = real_operator_new(size);
    __tsan_release(object);
    return object;
}

// A queued signal copies its arguments after its event was made: those of the project's types with
// their own copy constructors, whose accesses would lie behind the release. They are not recorded.
// Qt calls a copy constructor by a bare function pointer, so functions out of a pool stand in front
// of the registered ones.
namespace
{

const int most_types = 64;

std::atomic<QMetaType::Constructor> copy_constructors[most_types];

template <int index>
void *copyUnrecorded(void *where, const void *original)
{
    const Unrecorded copying;
    return copy_constructors[index].load(std::memory_order_relaxed)(where, original);
}

template <int index>
QMetaType::Constructor inFrontOf(QMetaType::Constructor copy_constructor)
{
    QMetaType::Constructor holder = nullptr;
    const bool was_free = copy_constructors[index].compare_exchange_strong(
        holder, copy_constructor, std::memory_order_relaxed);
    if (was_free || holder == copy_constructor)
        return copyUnrecorded<index>;
    return inFrontOf<index + 1>(copy_constructor);
}

template <>
QMetaType::Constructor inFrontOf<most_types>(QMetaType::Constructor)
{
    std::fprintf(stderr, "too many registered types; raise most_types in %s\n", __FILE__);
    std::abort();
}

} // namespace

// In the class QByteArray is the name of a type's number.
int QMetaType::registerNormalizedType(const ::QByteArray &name, Destructor destructor,
                                      Constructor constructor, int size, TypeFlags flags,
                                      const QMetaObject *meta_object)
{
    return real_register_type(name, destructor, inFrontOf<0>(constructor), size, flags,
                              meta_object);
}

// The copies that a queued signal makes of texts share their characters with the sender's, and the
// last use of them is inside Qt. So the sender parts with them here, before Qt copies.
namespace
{

QString unshared(const QString &text)
{
    return text.isNull() ? QString() : QString(text.constData(), text.size());
}

QByteArray unshared(const QByteArray &bytes)
{
    return bytes.isNull() ? QByteArray() : QByteArray(bytes.constData(), bytes.size());
}

QStringList unshared(const QStringList &texts)
{
    QStringList copies;
    for (const QString &text : texts)
        copies.append(unshared(text));
    return copies;
}

/// The arguments of one emission, texts replaced by copies that share nothing.
class UnsharedArguments
{
public:
    UnsharedArguments(const QMetaMethod &signal, void **arguments)
    {
        m_arguments.push_back(arguments ? arguments[0] : nullptr);
        for (int i = 0; i < signal.parameterCount(); ++i)
            add(signal.parameterType(i), arguments[i + 1]);
    }
    // A slot that a signal waited for has read them in another thread, and nothing that is seen
    // here tells that it has ended.
    ~UnsharedArguments()
    {
        const Unrecorded ending;
        m_copies.clear();
    }
    UnsharedArguments(const UnsharedArguments &) = delete;
    UnsharedArguments &operator=(const UnsharedArguments &) = delete;

    void **get() { return m_arguments.data(); }

private:
    void add(int type, void *argument)
    {
        switch (type) {
        case QMetaType::QString:
            return addCopy<QString>(argument);
        case QMetaType::QByteArray:
            return addCopy<QByteArray>(argument);
        case QMetaType::QStringList:
            return addCopy<QStringList>(argument);
        default:
            m_arguments.push_back(argument);
        }
    }

    template <typename Text>
    void addCopy(const void *argument)
    {
        m_copies.push_back(std::make_shared<Text>(unshared(*static_cast<const Text *>(argument))));
        m_arguments.push_back(m_copies.back().get());
    }

    std::vector<void *> m_arguments;
    std::vector<std::shared_ptr<void>> m_copies;
};

} // namespace

void QMetaObject::activate(QObject *sender, const QMetaObject *meta_object, int signal_index,
                           void **arguments)
{
    const QMetaMethod signal = meta_object->method(meta_object->methodOffset() + signal_index);
    UnsharedArguments unshared_arguments(signal, arguments);
    real_activate(sender, meta_object, signal_index, unshared_arguments.get());
}
