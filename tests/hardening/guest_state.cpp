#include "hardening/guest_state.h"

#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <stdio_ext.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cfenv>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <locale>
#include <new>
#include <string>
#include <utility>

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

template <typename T>
static std::string addressOf(T* pointer) {
    char text[32];
    std::snprintf(text, sizeof text, "%#llx",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(pointer)));
    return text;
}

static std::string textOf(const sigset_t& set) {
    std::string text;
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        text += sigismember(&set, signal) == 1 ? std::to_string(signal) + " " : "";
    }
    return text;
}

static void addSignals(GuestState& state) {
    for (int signal = 1; signal <= SIGRTMAX; ++signal) {
        struct sigaction action;
        if (sigaction(signal, nullptr, &action) == 0) {
            state["handler of signal " + std::to_string(signal)] =
                addressOf(action.sa_handler) + ", flags " + std::to_string(action.sa_flags) +
                ", mask " + textOf(action.sa_mask);
        }
    }
    itimerval timer;
    for (const int which : {ITIMER_REAL, ITIMER_VIRTUAL, ITIMER_PROF}) {
        getitimer(static_cast<__itimer_which_t>(which), &timer);
        // The time that is left of a running timer changes by itself.
        const bool isRunning = timer.it_value.tv_sec != 0 || timer.it_value.tv_usec != 0;
        state["timer " + std::to_string(which)] = isRunning ? "running" : "off";
    }
}

static void addEnvironment(GuestState& state) {
    std::string& text = state["environment"];
    text = addressOf(environ) + ":";
    for (char** variable = environ; *variable != nullptr; ++variable) {
        text += " " + addressOf(*variable) + " " + *variable;
    }
}

// The folder's own descriptor is left out.
static void addDescriptors(GuestState& state) {
    DIR* folder = opendir("/proc/self/fd");
    std::string& text = state["open files"];
    while (const dirent* entry = readdir(folder)) {
        const int descriptor = std::atoi(entry->d_name);
        char target[512] = {};
        if (entry->d_name[0] != '.' && descriptor != dirfd(folder)) {
            const bool isRead =
                readlinkat(dirfd(folder), entry->d_name, target, sizeof target - 1) >= 0;
            text += std::string(entry->d_name) + " -> " + (isRead ? target : "?") + ", flags " +
                    std::to_string(fcntl(descriptor, F_GETFD)) + " " +
                    std::to_string(fcntl(descriptor, F_GETFL)) + "; ";
        }
    }
    closedir(folder);
}

static void addLimits(GuestState& state) {
    rlimit limit;
    for (const int resource : {RLIMIT_CORE, RLIMIT_NOFILE, RLIMIT_STACK, RLIMIT_AS, RLIMIT_DATA}) {
        getrlimit(static_cast<__rlimit_resource_t>(resource), &limit);
        state["limit " + std::to_string(resource)] =
            std::to_string(limit.rlim_cur) + " of " + std::to_string(limit.rlim_max);
    }
    state["priority"] = std::to_string(getpriority(PRIO_PROCESS, 0));
    state["dumpable"] = std::to_string(prctl(PR_GET_DUMPABLE));
    int status = 0;
    state["children"] = waitpid(-1, &status, WNOHANG) < 0 ? "none" : "some";
}

GuestState processState() {
    GuestState state = threadState();
    char text[4096];
    std::snprintf(text, sizeof text, "%.1f", 0.5);
    state["number format"] = text;
    state["locale"] = std::setlocale(LC_ALL, nullptr);
    state["locale of the thread"] = addressOf(uselocale(nullptr));
    state["C++ locale"] = std::locale().name();
    state["working directory"] = getcwd(text, sizeof text) == nullptr ? "" : text;
    const mode_t mask = umask(0);
    umask(mask);
    state["umask"] = std::to_string(mask);
    // Not the orientation of streams: a line that the library owes the host is printed in bytes.
    const std::pair<const char*, std::FILE*> streams[] = {
        {"input", stdin}, {"output", stdout}, {"error", stderr}};
    for (const auto& [name, stream] : streams) {
        state[std::string("buffering of standard ") + name] =
            std::to_string(__fbufsize(stream)) + " bytes, by line " +
            std::to_string(__flbf(stream)) + ", waiting " + std::to_string(__fpending(stream));
    }
    addSignals(state);
    addEnvironment(state);
    addDescriptors(state);
    addLimits(state);
    state["terminate handler"] = addressOf(std::get_terminate());
    state["new handler"] = addressOf(std::get_new_handler());
    return state;
}

GuestState threadState() {
    GuestState state;
    state["rounding"] = std::to_string(std::fegetround());
    state["trapped exceptions"] = std::to_string(fegetexcept());
#if defined(__x86_64__)
    constexpr unsigned kFlags = 0x3F;
    state["MXCSR"] = std::to_string(_mm_getcsr() & ~kFlags);
    std::uint16_t x87 = 0;
    __asm__ volatile("fnstcw %0" : "=m"(x87));
    state["x87 control word"] = std::to_string(x87);
#endif

    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    state["blocked signals"] = textOf(mask);
    stack_t stack;
    sigaltstack(nullptr, &stack);
    state["signal stack"] = addressOf(stack.ss_sp) + ", flags " + std::to_string(stack.ss_flags);

    cpu_set_t processors;
    CPU_ZERO(&processors);
    pthread_getaffinity_np(pthread_self(), sizeof processors, &processors);
    std::string& affinity = state["affinity"];
    for (std::size_t i = 0; i < CPU_SETSIZE; ++i) {
        affinity += CPU_ISSET(i, &processors) ? std::to_string(i) + " " : "";
    }
    char name[32] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    state["name of the thread"] = name;
    int cancellation = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &cancellation);
    pthread_setcancelstate(cancellation, nullptr);
    state["cancellation"] = std::to_string(cancellation);
    return state;
}

int reportDifferences(const char* moment, const GuestState& before, const GuestState& after) {
    int count = 0;
    for (const auto& [name, was] : before) {
        const auto is = after.find(name);
        if (is == after.end() || is->second != was) {
            std::fprintf(stderr, "%s: %s was %s, is %s\n", moment, name.c_str(), was.c_str(),
                         is == after.end() ? "gone" : is->second.c_str());
            ++count;
        }
    }
    return count;
}
