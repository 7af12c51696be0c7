// Included by the compiler in front of every source of a ThreadSanitizer build.
//
// Qt's containers look with a relaxed load whether they may write in place. That they are the last
// owner is ordered after what the other owners read by control dependency only, which
// ThreadSanitizer does not know; an acquiring load says the same in its language.

#if defined(__cplusplus) && __has_include(<QtCore/qrefcount.h>)
#include <QtCore/qatomic.h>
#define loadRelaxed loadAcquire
#include <QtCore/qrefcount.h>
#undef loadRelaxed
#endif
