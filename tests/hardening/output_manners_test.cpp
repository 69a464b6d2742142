// The library's lines on a standard output that doesn't take them: no signal, no wait, and nothing in
// somebody else's file.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "library/host_run.h"
#include "support/environment.h"

static const std::string kRefusal = "template refused: no image\n";

static std::string linesOfLoadAndCreate() {
    return tableLines(kNowhere) + weightLines(kNowhere);
}

struct OutputCase {
    const char* kind;
    std::string arrived;
    int waitingSignals = 0;
};

static void expectArrived(const OutputCase& output, const char* moment, const std::string& before) {
    const HostRun run = runHost(kNowhere, {"print-into", output.kind, moment});
    EXPECT_TRUE(ended(run, before + output.arrived, 1 + kTemplateSize)) << output.kind;
    if (run.results.size() == 1 + kTemplateSize) {
        EXPECT_EQ(run.results[0], static_cast<float>(output.waitingSignals)) << output.kind;
        EXPECT_NE(run.results[1], run.results[1]) << output.kind << ": not refused";
    }
}

TEST(OutputManners, linesArriveInTheirOrderWhereThereIsRoom) {
    const std::string lines = linesOfLoadAndCreate() + kRefusal;
    const OutputCase cases[] = {
        {"pipe", lines},
        {"pipe-behind-text", "before;" + lines},
        // What the host has kept back would not fit for certain: it stays where it is.
        {"pipe-behind-much-text", lines + std::string(PIPE_BUF, 'm')},
        {"locked-stream", lines},
    };
    for (const OutputCase& output : cases) {
        expectArrived(output, "before-load", "");
    }
}

TEST(OutputManners, linesAreDroppedWhereTheyWouldStopOrEndTheHost) {
    const OutputCase cases[] = {
        {"no-reader", ""},         {"no-reader-and-a-signal-that-waits", "", 1},
        {"full-pipe", ""},         {"full-pipe-behind-text", "before;"},
        {"full-socket", ""},       {"stopped-terminal", ""},
        {"file-at-its-limit", ""},
    };
    for (const OutputCase& output : cases) {
        expectArrived(output, "before-load", "");
        expectArrived(output, "before-refusal", linesOfLoadAndCreate());
    }
}

TEST(OutputManners, linesAreDroppedWhereTheHostHasNoStandardOutput) {
    expectArrived({"closed", ""}, "before-load", "");
    expectArrived({"closed", ""}, "before-refusal", linesOfLoadAndCreate());
    expectArrived({"closed-as-a-stream", ""}, "before-refusal", linesOfLoadAndCreate());
}
