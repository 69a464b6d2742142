#include "command_line/command_line.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <stdexcept>

#include "command_line/interruption.h"

static constexpr char kLandmarks[] = "LANDMARKS";

void Command::addArgument(const char* name, std::string& value, const char* help) {
    app->add_option(name, value, help)->required();
}

void Command::addLandmarks(std::string& value) {
    addArgument(kLandmarks, value,
                "CSV file with id,x,y; `zomu find PICTURE --csv FOLDER` writes one");
}

void Command::addOptionalArgument(const char* name, std::string& value, const char* help) {
    app->add_option(name, value, help);
}

void Command::addFlag(const char* name, bool& value, const char* help) {
    app->add_flag(name, value, help);
}

void Command::addUnchecked(bool& value) {
    addFlag("--unchecked", value, "Take the landmarks as they are, even if they are not a face's");
}

static constexpr int kSignalled = 128;  // plus the number of the signal, as shells report it

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

// For whoever has named too few files.
static std::string nextStep(const CLI::App& app) {
    const std::vector<CLI::App*> given = app.get_subcommands();
    const CLI::App& command = given.empty() ? app : *given.front();
    return command.get_option_no_throw(kLandmarks) != nullptr
               ? "; `zomu find PICTURE --csv FOLDER` writes landmark files"
               : "";
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
            if (dynamic_cast<const CLI::RequiredError*>(&problem) != nullptr) {
                throw std::runtime_error(problem.what() + nextStep(app));
            }
            throw;
        }
        work();
        return 0;
    } catch (const Interruption& interruption) {
        std::fprintf(stderr, "%s: interrupted, nothing was made\n", name);
        return kSignalled + interruption.signal;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s: %s\n", name, problem.what());
        return status;
    }
}
