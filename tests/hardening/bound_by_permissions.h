// While such an object lives, the calling thread may open only what a file's mode lets it: a
// superuser is no exception.
#ifndef ZOMU_TESTS_HARDENING_BOUND_BY_PERMISSIONS_H
#define ZOMU_TESTS_HARDENING_BOUND_BY_PERMISSIONS_H

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <stdexcept>

// Drops the capabilities that overrule modes, of this thread and for as long as needed.
class BoundByPermissions {
  public:
    BoundByPermissions() {
        __user_cap_data_struct bound[2];
        if (syscall(SYS_capget, &header, former) != 0) {
            throw std::runtime_error("cannot read the capabilities");
        }
        bound[0] = former[0];
        bound[1] = former[1];
        bound[0].effective &= ~((1U << CAP_DAC_OVERRIDE) | (1U << CAP_DAC_READ_SEARCH));
        if (syscall(SYS_capset, &header, bound) != 0) {
            throw std::runtime_error("cannot drop capabilities");
        }
    }

    ~BoundByPermissions() { syscall(SYS_capset, &header, former); }

    BoundByPermissions(const BoundByPermissions&) = delete;
    BoundByPermissions& operator=(const BoundByPermissions&) = delete;

  private:
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct former[2] = {};
};

#endif
