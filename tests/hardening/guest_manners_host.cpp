// A host that looks after each call of the library whether its process is as it was. What is not
// goes to standard error, one line each; standard output belongs to the library.
//
//   zomu_guest_host LIBRARY plain|ownSettings|floatModes
//
// "ownSettings": the host has a locale with a decimal comma, handlers, limits and buffers of its
// own. "floatModes": it also rounds upwards and flushes small numbers to zero.
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cfenv>
#include <clocale>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>

#include "hardening/guest_state.h"
#include "library/host/library.h"
#include "library/host/scene.h"
#include "support/program.h"
#include "support/threads.h"

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif

static void require(bool isTrue, const char* what) {
    if (!isTrue) {
        throw std::runtime_error(what);
    }
}

static void setSignals() {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART | SA_ONSTACK;
    sigaddset(&action.sa_mask, SIGUSR2);
    for (const int signal : {SIGUSR1, SIGFPE, SIGCHLD, SIGTERM, SIGRTMIN, SIGRTMAX}) {
        require(sigaction(signal, &action, nullptr) == 0, "no handler");
    }
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGWINCH);
    require(pthread_sigmask(SIG_BLOCK, &blocked, nullptr) == 0, "no signal mask");
    static char signalStack[1 << 16];
    stack_t stack = {};
    stack.ss_sp = signalStack;
    stack.ss_size = sizeof signalStack;
    require(sigaltstack(&stack, nullptr) == 0, "no signal stack");
}

// On the first processor that is allowed.
static void bindThread() {
    cpu_set_t allowed, first;
    require(sched_getaffinity(0, sizeof allowed, &allowed) == 0, "no affinity");
    std::size_t number = 0;
    while (!CPU_ISSET(number, &allowed)) {
        ++number;
    }
    CPU_ZERO(&first);
    CPU_SET(number, &first);
    require(sched_setaffinity(0, sizeof first, &first) == 0, "no affinity");
}

static void useOwnSettings() {
    require(std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr, "no locale with a decimal comma");
    setSignals();
    bindThread();
    umask(027);
    std::filesystem::current_path("/");
    static char outBuffer[5000];
    static char errBuffer[300];
    std::setvbuf(stdout, outBuffer, _IOLBF, sizeof outBuffer);
    std::setvbuf(stderr, errBuffer, _IOLBF, sizeof errBuffer);
    setenv("ZOMU_HOST_VARIABLE", "1", 1);
    std::set_terminate([] { std::abort(); });
    std::set_new_handler([] { throw std::bad_alloc(); });
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    pthread_setname_np(pthread_self(), "host");
}

static void useOwnFloatModes() {
    std::fesetround(FE_UPWARD);
#if defined(__x86_64__)
    constexpr unsigned kFlushToZero = 0x8000;
    constexpr unsigned kDenormalsAreZero = 0x0040;
    _mm_setcsr(_mm_getcsr() | kFlushToZero | kDenormalsAreZero);
    std::uint16_t x87 = 0;
    __asm__ volatile("fnstcw %0" : "=m"(x87));
    x87 = static_cast<std::uint16_t>((x87 & ~0x300U) | 0x200U);  // 53 bits instead of 64
    __asm__ volatile("fldcw %0" : : "m"(x87));
#endif
}

// A stream that the host has never used gets its buffer with the first line, so that a host which
// has given it none calls for no line. Threads are counted where the library has no reason for any.
static void visit(const std::string& path, bool hasBuffers) {
    constexpr unsigned kSeed = 7;
    std::srand(kSeed);
    const int firstNumber = std::rand();
    const int secondNumber = std::rand();
    std::srand(kSeed);
    require(std::rand() == firstNumber, "rand() does not repeat");
    const Scene face = scene(0);
    const Picture& picture = face.picture;

    const auto threads = threadsOfThisProcess();
    const GuestState before = processState();
    const auto check = [&](const char* moment) {
        reportDifferences(moment, before, processState());
    };
    {
        const Library library(path);
        check("after the load");
        FaceTemplate one = {};
        one.projectionNorm = 1;
        library.compare(&one, &one);
        check("after a comparison");
        ZomuContext* context = library.create();
        check("after a create");
        if (threadsOfThisProcess() != threads) {
            std::fputs("threads before the first extraction\n", stderr);
        }
        library.extract(context, picture.topRow(), picture.width, picture.height, picture.stride,
                        &face.record, &one);
        check("after an extraction");
        if (hasBuffers) {
            library.extract(context, nullptr, 0, 0, 0, &face.record, &one);
            check("after a refused extraction");
        }
        library.compare(&one, &one);
        check("after another comparison");
        library.destroy(context);
        check("after a destroy");
    }
    check("after the library was closed");
    if (std::rand() != secondNumber) {
        std::fputs("rand() gives another number\n", stderr);
    }
}

int main(int argc, char** argv) {
    return runProgram("zomu_guest_host", 3, [&] {
        const std::string settings = argc == 3 ? argv[2] : "";
        require(settings == "plain" || settings == "ownSettings" || settings == "floatModes",
                "usage: zomu_guest_host LIBRARY plain|ownSettings|floatModes");
        const std::string path = std::filesystem::absolute(argv[1]);
        if (settings != "plain") {
            useOwnSettings();
        }
        if (settings == "floatModes") {
            useOwnFloatModes();
        }
        visit(path, settings != "plain");
        return 0;
    });
}
