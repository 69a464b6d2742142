// Two separators in a row at the end of the temporary directory: Windows leaves one of them.
#include <gtest/gtest.h>

#include <cstdio>

#include "model/model_tables.h"
#include "support/environment.h"
#include "support/forked.h"

TEST(ModelDirectory, losesItsFinalSeparatorOnly) {
    const ForkedResult result = runForked([] {
        setVariable(kTemporaryVariable, "/a//b//");
        findModelDirectory();
        std::printf("%s|%s", tempPath, modelDir);
        std::fflush(stdout);
    });
    EXPECT_EQ(result.output, "/a//b/|/a//b//~zvplugintmp~/");
}
