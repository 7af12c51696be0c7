// Where QtCore lies in memory.

#ifndef TESTS_SUPPORT_TSAN_QT_CORE_H
#define TESTS_SUPPORT_TSAN_QT_CORE_H

/// Whether an address lies in the code of libQt5Core. False for all before it was looked up, which
/// is before main().
bool isQtCore(const void *code_address);

#endif // TESTS_SUPPORT_TSAN_QT_CORE_H
