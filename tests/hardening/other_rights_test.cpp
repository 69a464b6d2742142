// A host with other rights than its caller: a set-user-ID program.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "support/process.h"
#include "support/temporary_folder.h"

// A sanitizer's runtime reads the caller's variables, too.
#if !defined(ZOMU_SANITIZED)
TEST(OtherRights, meanThatNoVariableOfTheCallerNamesTheModelFolder) {
    constexpr uid_t kNobody = 65534;
    const TemporaryFolder folder;
    struct statvfs system;
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can make a program another user's";
    }
    if (statvfs(folder.path().c_str(), &system) != 0 || (system.f_flag & ST_NOSUID) != 0) {
        GTEST_SKIP() << "the temporary directory is on a file system without set-user-ID programs";
    }
    const std::string host = folder.prefix() + "host";
    const std::string library = folder.prefix() + "library";
    std::filesystem::copy_file(ZOMU_HOST, host);
    std::filesystem::copy_file(ZOMU_LIBRARY, library);
    ASSERT_EQ(chmod(folder.path().c_str(), 0755) + chmod(library.c_str(), 0755), 0);
    ASSERT_EQ(chown(host.c_str(), kNobody, kNobody) + chmod(host.c_str(), 04755), 0);

    const ProcessResult run = runProcess(
        {host, library, "/dev/null", "load-with-other-rights"},
        {{"TMPDIR", "/no/1"}, {"TMP", "/no/2"}, {"TEMP", "/no/3"}, {"TEMPDIR", "/no/4"}});
    if (run.err.find("no other rights") != std::string::npos) {
        GTEST_SKIP() << "this process may not start set-user-ID programs";
    }
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out.find("/no/"), std::string::npos) << run.out.substr(0, run.out.find('\n'));
    // No lines where a model lies there.
    EXPECT_TRUE(run.out.empty() || run.out.starts_with("load /tmp/~zvplugintmp~/")) << run.out;
}
#endif
