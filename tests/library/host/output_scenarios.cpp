// Standard outputs of every kind, into which the library prints its lines.
#include <fcntl.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>

#include "library/host/host.h"
#include "library/host/limits.h"
#include "support/threads.h"

// Something else in place of the host's standard output. What arrives there is kept until the end.
class Output {
  public:
    ~Output() {
        isOver = true;
        if (locking.joinable()) {
            locking.join();
        }
        if (reader < 0) {
            return;
        }
        std::string arrived(1 << 20, '\0');
        fcntl(reader, F_SETFL, O_NONBLOCK);
        lseek(reader, 0, SEEK_SET);  // in a file
        const ssize_t length = read(reader, arrived.data(), arrived.size());
        arrived.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
        std::erase(arrived, kFiller);
        dup2(former, STDOUT_FILENO);
        if (write(STDOUT_FILENO, arrived.data(), arrived.size()) < 0) {
            std::abort();
        }
    }

    void openPipe() { open(pipe); }

    void openSocket() {
        open([](int* ends) { return socketpair(AF_UNIX, SOCK_STREAM, 0, ends); });
    }

    // In which somebody has pressed Ctrl-S.
    void openStoppedTerminal() {
        open([](int* ends) {
            ends[0] = posix_openpt(O_RDWR | O_NOCTTY);
            const bool isOpen = grantpt(ends[0]) == 0 && unlockpt(ends[0]) == 0;
            ends[1] = isOpen ? ::open(ptsname(ends[0]), O_RDWR | O_NOCTTY) : -1;
            return ends[1] < 0 ? -1 : tcflow(ends[1], TCOOFF);
        });
    }

    void openFile() {
        open([](int* ends) {
            const std::FILE* file = std::tmpfile();
            ends[0] = file == nullptr ? -1 : dup(fileno(const_cast<std::FILE*>(file)));
            ends[1] = dup(ends[0]);
            return ends[1] < 0 ? -1 : 0;
        });
    }

    static void fill() {
        const int flags = fcntl(STDOUT_FILENO, F_GETFL);
        fcntl(STDOUT_FILENO, F_SETFL, flags | O_NONBLOCK);
        while (write(STDOUT_FILENO, &kFiller, 1) == 1) {
        }
        fcntl(STDOUT_FILENO, F_SETFL, flags);
    }

    // By another thread, for as long as this exists.
    void lockStream() {
        std::atomic<bool> isLocked = false;
        locking = std::thread([&] {
            flockfile(stdout);
            isLocked = true;
            while (!isOver) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            funlockfile(stdout);
        });
        while (!isLocked) {
            std::this_thread::yield();
        }
    }

    void closeReader() {
        close(reader);
        reader = -1;
    }

  private:
    static constexpr char kFiller = '\1';

    // `make` gives the end to read from and the end to write to.
    void open(int (*make)(int* ends)) {
        int ends[2] = {-1, -1};
        if (make(ends) != 0 || dup2(ends[1], STDOUT_FILENO) < 0) {
            throw std::runtime_error("no such output");
        }
        reader = ends[0];
        close(ends[1]);
    }

    int former = dup(STDOUT_FILENO);
    int reader = -1;
    std::thread locking;
    std::atomic<bool> isOver = false;
};

// What a host may do to its standard output.
static void prepare(const std::string& kind, Output& output) {
    const std::map<std::string, std::function<void()>> kinds = {
        {"pipe", [&] { output.openPipe(); }},
        {"pipe-behind-text",
         [&] {
             output.openPipe();
             std::fputs("before;", stdout);
         }},
        {"pipe-behind-much-text",
         [&] {
             output.openPipe();
             static char room[1 << 16];
             std::setvbuf(stdout, room, _IOFBF, sizeof room);
             std::fputs(std::string(PIPE_BUF, 'm').c_str(), stdout);
         }},
        {"locked-stream",
         [&] {
             output.openPipe();
             output.lockStream();
         }},
        {"no-reader",
         [&] {
             output.openPipe();
             output.closeReader();
         }},
        {"no-reader-and-a-signal-that-waits",
         [&] {
             output.openPipe();
             output.closeReader();
             sigset_t signals;
             sigemptyset(&signals);
             sigaddset(&signals, SIGPIPE);
             pthread_sigmask(SIG_BLOCK, &signals, nullptr);
             std::raise(SIGPIPE);
         }},
        {"full-pipe",
         [&] {
             output.openPipe();
             Output::fill();
         }},
        {"full-pipe-behind-text",
         [&] {
             output.openPipe();
             Output::fill();
             std::fputs("before;", stdout);
         }},
        {"full-socket",
         [&] {
             output.openSocket();
             Output::fill();
         }},
        {"stopped-terminal", [&] { output.openStoppedTerminal(); }},
        {"file-at-its-limit",
         [&] {
             output.openFile();
             setLimit(RLIMIT_FSIZE, 0);
         }},
        {"closed", [&] { close(STDOUT_FILENO); }},
        {"closed-as-a-stream",
         [&] {
             std::fclose(stdout);
             output.openFile();
         }},
    };
    kinds.at(kind)();
}

static int waitingSignals() {
    sigset_t waiting;
    sigpending(&waiting);
    return sigismember(&waiting, SIGPIPE) + sigismember(&waiting, SIGXFSZ);
}

// KIND, MOMENT: before the library is opened, or before a refusal. Keeps how many signals wait in the end,
// and the template.
static void printInto(Host& host) {
    const Alarm alarm(20);
    Output output;
    const bool isEarly = host.arguments.at(1) == "before-load";
    if (isEarly) {
        prepare(host.arguments.at(0), output);
    }
    {
        const Library library(host.path);
        const Context context(library);
        if (!isEarly) {
            prepare(host.arguments.at(0), output);
        } else if (fcntl(STDOUT_FILENO, F_GETFD) < 0) {
            output.openFile();  // which is not the host's standard output
        }
        FaceTemplate face = numberedTemplate();
        library.extract(context.get(), nullptr, 9, 9, 27, nullptr, &face);
        host.keep(static_cast<float>(waitingSignals()));
        host.keep(face);
    }
    rlimit limit;
    getrlimit(RLIMIT_FSIZE, &limit);
    setLimit(RLIMIT_FSIZE, limit.rlim_max);
    if (fcntl(STDOUT_FILENO, F_GETFD) < 0) {
        output.openFile();
        std::fflush(stdout);  // what has been left behind
    }
}

const Scenario kOutputScenarios[] = {
    {"print-into", printInto},
    {nullptr, nullptr},
};
