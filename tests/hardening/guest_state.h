// What belongs to a host and what a guest in its process must leave alone.
#ifndef ZOMU_TESTS_HARDENING_GUEST_STATE_H
#define ZOMU_TESTS_HARDENING_GUEST_STATE_H

#include <map>
#include <string>

// By name, each as a text that changes where the thing does.
using GuestState = std::map<std::string, std::string>;

// The process's: locale, signal handlers, environment, working directory, open files, buffering of
// the standard streams and more, with the calling thread's own.
GuestState processState();

// The calling thread's: floating-point mode, signal mask, affinity. The flags that say which
// floating-point exceptions have happened are left out: any calculation may raise them.
GuestState threadState();

// One line on standard error for each difference. Returns their number.
int reportDifferences(const char* moment, const GuestState& before, const GuestState& after);

#endif
