// What can be wrong with one file of a model folder, what the library must make of it, and how to
// bring it about.
#ifndef ZOMU_TESTS_HARDENING_MODEL_FAULT_H
#define ZOMU_TESTS_HARDENING_MODEL_FAULT_H

#include <vector>

#include "model/model_files.h"
#include "support/linked_model.h"

// A file without a header has a float where others have one: the three faults of the header then
// change its first four bytes.
enum class Fault {
    absent,
    empty,
    oneByte,
    half,            // of its bytes
    hugeHeader,      // every number in it is 2^31 - 1
    zeroHeader,      // every number in it is 0
    negativeHeader,  // the count, or the rows, with a minus
    bothNegative,    // rows and columns with a minus; weights and biases only
    trailingBytes,
    nan,         // in place of the middle float
    folder,      // in its place
    unreadable,  // mode 000, for a process that may not overrule it
    linkLoop,    // a link to itself
    namedPipe,   // that nobody writes to
    device,      // a link to /dev/zero
};

const char* nameOf(Fault fault);

// What the file is worth to the library then.
enum class Effect {
    none,       // as if undamaged
    zeros,      // all of its values read as 0, or add nothing
    firstHalf,  // values, or bytes of values, behind the half are 0
    firstByte,  // all but the first byte of its values are 0
    firstZero,  // its first value is 0
    firstNan,   // its first value is NaN
    middleNan,  // its middle value is NaN
    noOutput,   // its network has no output, and all 502 values are NaN
    noMemory,   // the create raises std::bad_alloc
};

struct FaultCase {
    ModelFile file;
    Fault fault;
    Effect effect;
    bool isReported;  // with the line that it cannot be opened

    bool isTable() const;  // read while the library is loaded, otherwise by a create
};

// All cases, file by file in the order of reading.
std::vector<FaultCase> listFaultCases();

// Puts the damaged file in place of its link.
void inflict(const FaultCase& faultCase, const LinkedModel& model);

#endif
