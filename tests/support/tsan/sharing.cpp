// Stands in front of what Qt's implicitly shared containers do out of line: see README.md.

#include "tests/support/tsan/annotation.h"

#include <QArrayData>
#include <QByteArray>
#include <QHash>
#include <QList>
#include <QMap>
#include <QString>

#include <cstddef>

namespace
{

Real<void(QArrayData *, std::size_t, std::size_t)>
    real_array_free("_ZN10QArrayData10deallocateEPS_mm");
Real<void(QListData::Data *)> real_list_free("_ZN9QListData7disposeEPNS_4DataE");
Real<void(QMapDataBase *)> real_map_free("_ZN12QMapDataBase8freeDataEPS_");
Real<void(QMapDataBase *, QMapNodeBase *, int)>
    real_map_free_nodes("_ZN12QMapDataBase8freeTreeEP12QMapNodeBasei");
Real<void(QHashData *, void (*)(QHashData::Node *))>
    real_hash_free("_ZN9QHashData11free_helperEPFvPNS_4NodeEE");

} // namespace

// Memory goes when its last owner lets go of it. The owners before may have let go inside Qt, which
// nobody saw, so freeing is not recorded as an access.

void QArrayData::deallocate(QArrayData *data, std::size_t object_size,
                            std::size_t alignment) noexcept
{
    const Unrecorded last_owner;
    real_array_free(data, object_size, alignment);
}

void QListData::dispose(Data *data)
{
    const Unrecorded last_owner;
    real_list_free(data);
}

void QMapDataBase::freeData(QMapDataBase *data)
{
    const Unrecorded last_owner;
    real_map_free(data);
}

void QMapDataBase::freeTree(QMapNodeBase *root, int alignment)
{
    const Unrecorded last_owner;
    real_map_free_nodes(this, root, alignment);
}

void QHashData::free_helper(void (*delete_node)(Node *))
{
    const Unrecorded last_owner;
    real_hash_free(this, delete_node);
}

// Assignments are the most frequent writing to a text, and Qt does it out of line. Made of inlined
// functions, they are recorded.

QString &QString::operator=(const QString &other) noexcept
{
    QString copy(other);
    swap(copy);
    return *this;
}

QByteArray &QByteArray::operator=(const QByteArray &other) noexcept
{
    QByteArray copy(other);
    swap(copy);
    return *this;
}
