// What the small tools' main functions have in common: options in, one line for what went wrong.
#ifndef ZOMU_TOOLS_TOOL_MAIN_H
#define ZOMU_TOOLS_TOOL_MAIN_H

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

// `addOptions` tells the command line what the tool takes, `work` does it. Returns the exit status:
// 0 done, 1 the work failed, 2 the command line was wrong. Problems go to standard error behind
// `name`.
template <typename AddOptions, typename Work>
int runTool(const char* name, const char* description, int argc, char** argv, AddOptions addOptions,
            Work work) {
    int status = 1;
    try {
        CLI::App app(description, name);
        app.allow_windows_style_options(false);  // a path may begin with a slash
        addOptions(app);
        try {
            app.parse(argc, argv);
        } catch (const CLI::ParseError& problem) {
            if (problem.get_exit_code() == 0) {
                return app.exit(problem);  // a request for help
            }
            status = 2;
            throw;
        }
        work();
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s: %s\n", name, problem.what());
        return status;
    }
}

#endif
