// Shows how far a long task has come.
#ifndef ZOMU_TOOLS_MODEL_PROGRESS_BAR_H
#define ZOMU_TOOLS_MODEL_PROGRESS_BAR_H

#include <cstdio>
#include <string>

// On a terminal one line with a bar, redrawn in place; anywhere else a plain line for each stage of
// the work, when it begins.
class ProgressBar {
  public:
    explicit ProgressBar(std::FILE* stream);
    ProgressBar(std::FILE* stream, bool isTerminal);
    // Ends the line of the bar, so that whatever is printed next starts a new one.
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // `done` of `total` steps, with total above 0, in the stage of that name.
    void show(int done, int total, const std::string& stage);

  private:
    void draw(int done, int total);

    std::FILE* stream;
    bool terminal;
    std::string currentStage;
    int currentPercent = -1;
};

#endif
