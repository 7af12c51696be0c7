// Stands in front of the C library's header where parsers are fuzzed. A text of no known form ends
// the program, on purpose and through an assertion; here such an end is thrown instead, so that one
// run meets many of them.
//
// Without a guard, as the original: each inclusion defines `assert` again.

#include "fuzz/failed_assertion.h"

#undef assert
#define assert(condition) ((condition) ? static_cast<void>(0) : failAssertion(#condition))
