// While such an object lives, no file of the process may grow beyond some bytes: writes fail as they do where
// a disk is full.
#ifndef ZOMU_TESTS_SUPPORT_SMALL_FILES_H
#define ZOMU_TESTS_SUPPORT_SMALL_FILES_H

#include <sys/resource.h>

#include <csignal>

class SmallFiles {
  public:
    explicit SmallFiles(rlim_t bytes) : formerHandler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &former);
        const rlimit small = {bytes, former.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }

    ~SmallFiles() {
        setrlimit(RLIMIT_FSIZE, &former);
        std::signal(SIGXFSZ, formerHandler);
    }

    SmallFiles(const SmallFiles&) = delete;
    SmallFiles& operator=(const SmallFiles&) = delete;

    static constexpr char kReason[] = "cannot be written: File too large";

  private:
    void (*formerHandler)(int);
    rlimit former = {};
};

#endif
