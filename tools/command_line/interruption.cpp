#include "command_line/interruption.h"

#include <csignal>

namespace {

volatile std::sig_atomic_t g_signal = 0;

extern "C" void noteSignal(int signal) {
    g_signal = signal;
    std::signal(signal, SIG_DFL);
}

void catchSignal(int signal) {
    if (std::signal(signal, noteSignal) == SIG_IGN) {
        std::signal(signal, SIG_IGN);
    }
}

}  // namespace

void catchSignals() {
    catchSignal(SIGINT);
    catchSignal(SIGTERM);
#if defined(SIGHUP)
    catchSignal(SIGHUP);
#endif
}

bool isInterrupted() {
    return g_signal != 0;
}

void stopIfInterrupted() {
    if (isInterrupted()) {
        throw Interruption{static_cast<int>(g_signal)};
    }
}
