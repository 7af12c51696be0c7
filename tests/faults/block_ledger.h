// Who allocated what, and what of it nobody holds any more.

#ifndef TESTS_FAULTS_BLOCK_LEDGER_H
#define TESTS_FAULTS_BLOCK_LEDGER_H

#include "tests/faults/fault_injector.h"

// Threads: any, but only one may be left when `leftovers` is called.

void watchBlocks();
bool watchesBlocks();

/// A block was given out; the stack that was taken last in this thread tells to whom.
void noteBlock(void *block);
void forgetBlock(const void *block);

/// What is left of the blocks that were noted; ends the watching.
/// \param print  tells a person about each
FaultLeftovers leftovers(bool print);

#endif // TESTS_FAULTS_BLOCK_LEDGER_H
