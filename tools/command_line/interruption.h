// Signals that end a tool, at a place where what it has not finished is removed.
#ifndef ZOMU_TOOLS_COMMAND_LINE_INTERRUPTION_H
#define ZOMU_TOOLS_COMMAND_LINE_INTERRUPTION_H

// Thrown between two steps of the work; runTool makes the exit status of it. Not a std::exception, so that
// nobody takes it for a failure.
struct Interruption {
    int signal;
};

// From now on the signals of a terminal and of a shutdown wait for stopIfInterrupted. A second one ends the
// program at once. What was ignored when the program started, as under nohup, stays ignored.
void catchSignals();

bool isInterrupted();

// Throws Interruption where one of these signals has come.
void stopIfInterrupted();

#endif
