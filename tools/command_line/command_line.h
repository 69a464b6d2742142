// What a tool takes from its command line, and the frame of its main function. CLI11 reads the
// words; it stays behind this header, since its own takes longer to compile than any tool.
#ifndef ZOMU_TOOLS_COMMAND_LINE_COMMAND_LINE_H
#define ZOMU_TOOLS_COMMAND_LINE_COMMAND_LINE_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

// A tool, or one of its commands. Values must live until the tool has done its work; what they hold
// before is the default of their option.
class Command {
  public:
    explicit Command(CLI::App& commandLine) : app(&commandLine) {}

    // Must be given, in the order of the calls.
    void addArgument(const char* name, std::string& value, const char* help);

    // LANDMARKS, the file of a face, which must be given as well. A command line that is too short then gets an
    // answer that says how to make one.
    void addLandmarks(std::string& value);

    // May be left out, behind those that must be given.
    void addOptionalArgument(const char* name, std::string& value, const char* help);

    void addFlag(const char* name, bool& value, const char* help);

    // --unchecked: the user vouches for the landmarks.
    void addUnchecked(bool& value);

    // A number that is not negative.
    void addOption(const char* name, std::uint64_t& value, const char* help);

    void addOption(const char* name, std::string& value, const std::vector<std::string>& choices,
                   const char* help);

    // One of a tool's commands must be given.
    Command addCommand(const char* name, const char* help);

    // After the command line was read: whether it named this command.
    bool isGiven() const;

  private:
    CLI::App* app;
};

// `addOptions` says what the tool takes, `work` does it. Returns the exit status: 0 done, 1 the
// work failed, 2 the command line was wrong, 128 and a signal's number where it was interrupted (see
// interruption.h). Problems go to standard error after `name`.
int runTool(const char* name, const char* description, int argc, char** argv,
            const std::function<void(Command&)>& addOptions, const std::function<void()>& work);

#endif
