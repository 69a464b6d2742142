#include "model/progress_bar.h"

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace {

bool isTerminal(std::FILE* stream) {
#if defined(_WIN32)
    return _isatty(_fileno(stream)) != 0;
#else
    return isatty(fileno(stream)) != 0;
#endif
}

}  // namespace

ProgressBar::ProgressBar(std::FILE* out) : ProgressBar(out, isTerminal(out)) {}

ProgressBar::ProgressBar(std::FILE* out, bool onTerminal) : stream(out), terminal(onTerminal) {}

ProgressBar::~ProgressBar() {
    if (terminal && currentPercent >= 0) {
        std::fputc('\n', stream);
        std::fflush(stream);
    }
}

void ProgressBar::show(int done, int total, const std::string& stage) {
    const bool isNewStage = stage != currentStage;
    currentStage = stage;
    if (terminal) {
        draw(done, total);
    } else if (isNewStage) {
        std::fprintf(stream, "%s\n", stage.c_str());
        std::fflush(stream);
    }
}

void ProgressBar::draw(int done, int total) {
    constexpr int kWidth = 30;
    const int percent = static_cast<int>(100LL * done / total);
    if (percent == currentPercent) {
        return;
    }
    currentPercent = percent;
    const std::string bar(static_cast<std::size_t>(kWidth * percent / 100), '#');
    // "\033[K" clears what a longer stage name has left behind.
    std::fprintf(stream, "\r[%-*s] %3d %%  %s\033[K", kWidth, bar.c_str(), percent,
                 currentStage.c_str());
    std::fflush(stream);
}
