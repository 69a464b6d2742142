// What the small tools' main functions have in common: options in, one line for what went wrong.
#ifndef ZOMU_TOOLS_TOOL_MAIN_H
#define ZOMU_TOOLS_TOOL_MAIN_H

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

// Parses the command line and does `work`. Returns the exit status: 0 done, 1 the work failed, 2
// the command line was wrong. Problems go to standard error behind the name of `app`.
template <typename Work>
int runTool(CLI::App& app, int argc, char** argv, Work work) {
    const auto fail = [&app](const std::exception& problem, int status) {
        std::fprintf(stderr, "%s: %s\n", app.get_name().c_str(), problem.what());
        return status;
    };
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& problem) {
        // A request for help is thrown, too.
        return problem.get_exit_code() == 0 ? app.exit(problem) : fail(problem, 2);
    }
    try {
        work();
    } catch (const std::exception& problem) {
        return fail(problem, 1);
    }
    return 0;
}

#endif
