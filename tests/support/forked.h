// Runs a piece of a test in a child process, to see what it prints and how it ends.
#ifndef ZOMU_TESTS_SUPPORT_FORKED_H
#define ZOMU_TESTS_SUPPORT_FORKED_H

#include <functional>
#include <string>

struct ForkedResult {
    std::string output;  // standard output
    int status = 0;      // exit status; 128 and the signal where one ended the child
};

// `body` runs in the child, which ends with status 0 after it unless `body` ends the process
// itself. What `body` leaves in the buffer of standard output is dropped, as it would be in a
// crash, unless an orderly exit writes it.
//
// Windows has no fork: there the child is the same program, which runs the same test once more, in
// the same temporary folders, up to this call. What stands before the call runs twice.
ForkedResult runForked(const std::function<void()>& body);

#endif
