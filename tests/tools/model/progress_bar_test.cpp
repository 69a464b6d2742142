// What progress looks like on a terminal and in a file.
#include "model/progress_bar.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "support/read_file.h"
#include "support/temporary_folder.h"

// Everything that `work` shows on a bar whose stream is a terminal or not.
template <typename Work>
static std::string shown(bool terminal, const Work& work) {
    const TemporaryFolder folder;
    const std::string path = folder.prefix() + "shown";
    std::FILE* stream = std::fopen(path.c_str(), "wb");
    {
        ProgressBar bar(stream, terminal);
        work(bar);
    }
    std::fclose(stream);
    return readFile(path);
}

TEST(ProgressBar, isDrawnOnATerminalOnlyAndIsAPlainLineForEachStageElsewhere) {
    EXPECT_EQ(shown(false,
                    [](ProgressBar& bar) {
                        bar.show(0, 3, "first");
                        bar.show(1, 3, "first");
                        bar.show(2, 3, "second");
                        bar.show(3, 3, "second");
                    }),
              "first\nsecond\n");
    EXPECT_EQ(shown(true,
                    [](ProgressBar& bar) {
                        bar.show(0, 2, "work");
                        bar.show(1, 2, "work");
                        bar.show(2, 2, "rest");
                    }),
              "\r[                              ]   0 %  work\033[K"
              "\r[###############               ]  50 %  work\033[K"
              "\r[##############################] 100 %  rest\033[K\n");
}

TEST(ProgressBar, stepsThatChangeNothingVisibleAreNotDrawn) {
    const std::string text = shown(true, [](ProgressBar& bar) {
        for (int i = 0; i <= 100000; ++i) {
            bar.show(i, 100000, "work");
        }
    });
    EXPECT_LT(text.size(), 101U * 60U);
    for (const bool terminal : {true, false}) {
        EXPECT_EQ(shown(terminal, [](ProgressBar&) {}), "");
    }
}
