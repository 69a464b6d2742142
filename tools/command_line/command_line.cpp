#include "command_line/command_line.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

void Command::addArgument(const char* name, std::string& value, const char* help) {
    app->add_option(name, value, help)->required();
}

void Command::addFlag(const char* name, bool& value, const char* help) {
    app->add_flag(name, value, help);
}

void Command::addUnchecked(bool& value) {
    addFlag("--unchecked", value, "Take the landmarks as they are, even if they are not a face's");
}

// The conversion to an unsigned number alone would wrap -1 around.
static std::string notNegative(const std::string& text) {
    return text.starts_with('-') ? "must not be negative" : "";
}

void Command::addOption(const char* name, std::uint64_t& value, const char* help) {
    app->add_option(name, value, help)->check(notNegative)->capture_default_str();
}

void Command::addOption(const char* name, std::string& value,
                        const std::vector<std::string>& choices, const char* help) {
    app->add_option(name, value, help)->check(CLI::IsMember(choices))->capture_default_str();
}

Command Command::addCommand(const char* name, const char* help) {
    app->require_subcommand(1);
    return Command(*app->add_subcommand(name, help));
}

bool Command::isGiven() const {
    return app->parsed();
}

int runTool(const char* name, const char* description, int argc, char** argv,
            const std::function<void(Command&)>& addOptions, const std::function<void()>& work) {
    int status = 1;
    try {
        CLI::App app(description, name);
        app.allow_windows_style_options(false);  // a path may begin with a slash
        Command tool(app);
        addOptions(tool);
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
