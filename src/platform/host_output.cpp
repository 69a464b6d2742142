#include "platform/host_output.h"

#include <cstdio>

#if defined(_WIN32)

void findStandardOutput() {}

void printLine(const char* before, const char* text, const char* after) {
    std::printf("%s%s%s\n", before, text, after);
    std::fflush(stdout);
}

#else

#include <fcntl.h>
#include <poll.h>
#include <stdio_ext.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <ctime>

namespace {

bool g_hasOutput = true;

// While an object of this class exists, writing raises no signal in this thread: not where nobody reads,
// not at a limit on the sizes of files, and not in the background of a terminal. `errno` is kept, too.
class QuietWriting {
  public:
    QuietWriting() {
        sigset_t blocked;
        sigset_t waiting;
        sigemptyset(&blocked);
        sigemptyset(&raised);
        sigaddset(&blocked, SIGTTOU);
        sigpending(&waiting);
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            sigaddset(&blocked, signal);
            if (sigismember(&waiting, signal) == 0) {  // otherwise it is not ours
                sigaddset(&raised, signal);
            }
        }
        pthread_sigmask(SIG_BLOCK, &blocked, &former);
    }

    ~QuietWriting() {
        const timespec noTime = {};
        while (sigtimedwait(&raised, nullptr, &noTime) > 0) {
        }
        pthread_sigmask(SIG_SETMASK, &former, nullptr);
        errno = formerError;
    }

    QuietWriting(const QuietWriting&) = delete;
    QuietWriting& operator=(const QuietWriting&) = delete;

  private:
    int formerError = errno;
    sigset_t raised;
    sigset_t former;
};

struct Line {
    char text[PIPE_BUF];  // in a pipe, so much is written at once or not at all
    std::size_t length;

    Line(const char* before, const char* middle, const char* after) {
        const int whole = std::snprintf(text, sizeof text, "%s%s%s\n", before, middle, after);
        length = std::min(static_cast<std::size_t>(std::max(whole, 0)), sizeof text - 1);
        if (length > 0) {
            text[length - 1] = '\n';
        }
    }
};

// Whether the other end exists and would take something.
bool hasRoom(int descriptor) {
    pollfd end = {descriptor, POLLOUT, 0};
    return poll(&end, 1, 0) == 1 && end.revents == POLLOUT;
}

// As much as the other end takes at once.
void writeWithoutWaiting(int descriptor, bool isSocket, const Line& line) {
    if (isSocket) {
        send(descriptor, line.text, line.length, MSG_DONTWAIT | MSG_NOSIGNAL);
        return;
    }
    // The host's descriptor may be one that waits, and is to stay so: this opens the same pipe or
    // terminal once more.
    char path[32];
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", descriptor);
    const int own = open(path, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (own >= 0 || hasRoom(descriptor)) {
        [[maybe_unused]] const ssize_t ignored =
            write(own >= 0 ? own : descriptor, line.text, line.length);
    }
    if (own >= 0) {
        close(own);
    }
}

// By the stream, which this thread has locked. If that fails, the stream keeps what it had.
void writeByStream(const Line& line) {
    const bool wasEmpty = __fpending(stdout) == 0;
    std::fwrite(line.text, 1, line.length, stdout);
    if (std::fflush(stdout) != 0 && wasEmpty) {
        __fpurge(stdout);
    }
}

}  // namespace

void findStandardOutput() {
    g_hasOutput = fcntl(fileno_unlocked(stdout), F_GETFD) != -1;
}

void printLine(const char* before, const char* text, const char* after) {
    const QuietWriting quiet;
    const int descriptor = fileno_unlocked(stdout);  // -1 if the host has closed the stream
    struct stat status;
    if (!g_hasOutput || fstat(descriptor, &status) != 0) {
        return;
    }
    const Line line(before, text, after);
    const bool isSocket = S_ISSOCK(status.st_mode);
    const bool mayWait = isSocket || S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode);
    const bool isLocked = ftrylockfile(stdout) == 0;
    const std::size_t held = isLocked ? __fpending(stdout) : 0;
    const bool isSureToFit = held + line.length <= PIPE_BUF && hasRoom(descriptor);
    if (isLocked && (!mayWait || (held > 0 && isSureToFit))) {
        writeByStream(line);
    } else if (mayWait) {
        writeWithoutWaiting(descriptor, isSocket, line);
    } else {
        [[maybe_unused]] const ssize_t ignored = write(descriptor, line.text, line.length);
    }
    if (isLocked) {
        funlockfile(stdout);
    }
}

#endif
