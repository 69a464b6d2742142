// What the library has to say to its host: lines on standard output.
#ifndef ZOMU_PLATFORM_HOST_OUTPUT_H
#define ZOMU_PLATFORM_HOST_OUTPUT_H

// To be called while the library is loaded. If the host has no standard output then, nothing is ever
// printed: what gets its descriptor later is something else.
void findStandardOutput();

// Prints the three texts and a line end on the stream `stdout`, behind what the host has printed there,
// and flushes it. The line is dropped if it would raise a signal or wait for a reader: in a pipe, a
// socket or a terminal that is full or has nobody at its other end. Where another thread has locked the
// stream, or holds back more text than is sure to fit, the line goes past the stream. A line longer than
// 4,095 bytes is cut. Asks for no memory. On Windows, prints and flushes.
void printLine(const char* before, const char* text, const char* after = "");

#endif
