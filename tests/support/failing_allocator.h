// The allocator of a whole test program, and of the libraries that it opens: it counts requests and
// fails where it is told to. Linking failing_allocator.cpp puts it behind every operator new.
#ifndef ZOMU_TESTS_SUPPORT_FAILING_ALLOCATOR_H
#define ZOMU_TESTS_SUPPORT_FAILING_ALLOCATOR_H

enum class Failing {
    once,        // one request fails, the later ones are met again
    fromThenOn,  // as if memory had run out for good
};

// Counts requests anew and lets the `first`-th fail, 1 being the next one of any thread. With 0
// none fails.
void failAllocations(long first, Failing kind);

// All requests are met again. Returns how many there were since failAllocations.
long stopFailing();

// How many of the requests that failed since failAllocations were of the kind that takes null for
// an answer, so that nothing need follow.
long quietFailures();

// Blocks that were handed out and not given back.
long outstandingBlocks();

#endif
