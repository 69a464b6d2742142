// The library as a guest in a host's process: what belongs to the host stays as it is. The same
// hosts are let loose on a guest without manners, to see that they notice.
#include <gtest/gtest.h>

#include <string>

#include "library/host_run.h"
#include "support/process.h"
#include "support/temporary_folder.h"

static ProcessResult visit(const std::string& library, const std::string& settings,
                           Variables variables) {
    variables.emplace_back("LOCPATH", ZOMU_COMMA_LOCALE);
    return runProcess({ZOMU_GUEST_HOST, library, settings}, variables);
}

static void expectQuiet(const ProcessResult& run) {
    EXPECT_EQ(run.exitStatus, 0) << "signal " << run.signal;
    EXPECT_EQ(run.err, "");
}

struct Settings {
    const char* name;
    const char* lines;  // what the host's calls are worth where no file is missing
};

class GuestManners : public testing::TestWithParam<Settings> {};

TEST_P(GuestManners, leaveTheHostAsItWas) {
    const ProcessResult run =
        visit(ZOMU_LIBRARY, GetParam().name, {{"TMPDIR", sharedTemporaryDirectory()}});
    expectQuiet(run);
    EXPECT_EQ(run.out, GetParam().lines);
}

TEST_P(GuestManners, printTheStatedLinesAndNothingElse) {
    const TemporaryFolder empty;
    const std::string path = empty.path().string();
    const ProcessResult run = visit(ZOMU_LIBRARY, GetParam().name, {{"TMPDIR", path}});
    EXPECT_EQ(run.exitStatus, 0) << "signal " << run.signal;
    EXPECT_EQ(run.out, tableLines(path) + weightLines(path) + GetParam().lines);
    if (std::string(GetParam().name) != "plain") {
        EXPECT_EQ(run.err, "");
    }
}

INSTANTIATE_TEST_SUITE_P(Library, GuestManners,
                         testing::Values(Settings{"plain", ""},
                                         Settings{"ownSettings", "template refused: no image\n"},
                                         Settings{"floatModes", "template refused: no image\n"}),
                         [](const auto& test) { return test.param.name; });

struct BadManner {
    const char* manner;
    const char* report;
};

class BadGuest : public testing::TestWithParam<BadManner> {};

TEST_P(BadGuest, isNoticed) {
    const auto& [manner, report] = GetParam();
    const ProcessResult run = visit(ZOMU_BAD_GUEST, "ownSettings", {{"BAD_MANNER", manner}});
    EXPECT_EQ(run.exitStatus, 0) << "signal " << run.signal;
    EXPECT_NE((run.err + run.out).find(report), std::string::npos) << run.err;
}

INSTANTIATE_TEST_SUITE_P(
    GuestManners, BadGuest,
    testing::Values(BadManner{"locale", "after a create: locale was"},
                    BadManner{"rounding", "after a create: rounding was"},
                    BadManner{"signalHandler", "after a create: handler of signal 12 was"},
                    BadManner{"environment", "after a create: environment was"},
                    BadManner{"workingDirectory", "after a create: working directory was"},
                    BadManner{"umask", "after a create: umask was"},
                    BadManner{"openFile", "after a create: open files was"},
                    BadManner{"buffering", "after a create: buffering of standard output was"},
                    BadManner{"standardOutput", "hello"}, BadManner{"standardError", "hello"},
                    BadManner{"thread", "threads before the first extraction"},
                    BadManner{"randomNumbers", "rand() gives another number"}),
    [](const auto& test) { return test.param.manner; });

// A good guest by the same measure, or the tests above would prove nothing.
TEST(BadGuest, withoutABadMannerIsQuiet) {
    const ProcessResult run = visit(ZOMU_BAD_GUEST, "ownSettings", {});
    expectQuiet(run);
    EXPECT_EQ(run.out, "");
}

// --- Beside another BLAS and another team -------------------------------------------------------

static ProcessResult visitBlasHost(const std::string& library, const std::string& build, int cycles,
                                   Variables variables) {
    const std::string folder = std::string(ZOMU_BLAS_FOLDERS) + "/openblas-" + build;
    variables.emplace_back("LD_LIBRARY_PATH", folder);
    return runProcess({ZOMU_BLAS_HOST, library, folder, std::to_string(cycles)}, variables);
}

class OtherBlas : public testing::TestWithParam<const char*> {};

TEST_P(OtherBlas, andTeamOfTheHostStayAsTheyAreInAHundredLoads) {
    const ProcessResult run =
        visitBlasHost(ZOMU_LIBRARY, GetParam(), 100, {{"TMPDIR", sharedTemporaryDirectory()}});
    expectQuiet(run);
    EXPECT_EQ(run.out, "");
}

INSTANTIATE_TEST_SUITE_P(GuestManners, OtherBlas, testing::Values("openmp", "pthread"),
                         [](const auto& test) { return test.param; });

TEST(OtherBlas, hostNoticesAGuestThatSetsItsTeam) {
    const ProcessResult run =
        visitBlasHost(ZOMU_BAD_GUEST, "openmp", 3, {{"BAD_MANNER", "teamSize"}});
    EXPECT_NE(run.err.find("the host's OpenMP settings have changed"), std::string::npos)
        << run.err;
    EXPECT_NE(run.err.find("the host's team has another size"), std::string::npos) << run.err;
}
