// Descriptions that end the process that builds them.
#ifndef ZOMU_TESTS_SUPPORT_BUILD_FAILURE_H
#define ZOMU_TESTS_SUPPORT_BUILD_FAILURE_H

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "support/forked.h"
#include "support/nets.h"

// Builds `text` in a child process whose standard output is a pipe and already holds half a line.
inline void expectBuildFailure(const std::string& text, const std::string& reason,
                               const std::string& folder = "") {
    const ForkedResult result = runForked([&] {
        std::fputs("before;", stdout);
        buildNet(text, folder);
    });
    EXPECT_EQ(result.output, "before;Error creating ConvNet: " + reason + "\n");
    EXPECT_EQ(result.status, 1);
}

#endif
