// zomu-model: makes, checks, names, lists, packs and unpacks the files of a model folder.
#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>
#include <system_error>

#include "model/model_check.h"
#include "model/model_files.h"
#include "model/model_fingerprint.h"
#include "model/model_maker.h"
#include "model/model_pack.h"
#include "model/progress_bar.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;
constexpr int kSignalled = 128;  // plus the signal's number, as shells report it

volatile std::sig_atomic_t g_signal = 0;

extern "C" void noteSignal(int signal) {
    g_signal = signal;
}

// Thrown between two steps, so that the unfinished folder is cleared away on the way out.
class Interruption : public std::exception {
  public:
    const char* what() const noexcept override { return "interrupted, nothing was made"; }
};

// A signal that whoever started the program wants ignored (nohup does) stays ignored.
void catchSignal(int signal) {
    if (std::signal(signal, noteSignal) == SIG_IGN) {
        std::signal(signal, SIG_IGN);
    }
}

void catchSignals() {
    catchSignal(SIGINT);
    catchSignal(SIGTERM);
#if defined(SIGHUP)
    catchSignal(SIGHUP);
#endif
}

void make(const ModelRequest& request) {
    catchSignals();
    ModelSummary summary;
    {
        ProgressBar bar(stdout);
        summary = makeModel(request, [&bar](int done, int total, const std::string& stage) {
            if (g_signal != 0) {
                throw Interruption();
            }
            bar.show(done, total, stage);
        });
    }
    if (request.weights == WeightKind::integer) {
        std::printf("no sum inside a network exceeds %lld, floats are exact to 16777216\n",
                    static_cast<long long>(summary.largestSum));
    }
    std::printf("%s: %d files, %lld bytes\n", request.folder.string().c_str(), summary.files,
                static_cast<long long>(summary.bytes));
}

void check(const std::string& folder) {
    const std::vector<std::string> faults = checkModelFolder(folder);
    const std::size_t fileCount = listModelFiles().size();
    for (const std::string& line : faults) {
        std::printf("%s\n", line.c_str());
    }
    if (faults.empty()) {
        std::printf("%s: all %zu files are good\n", folder.c_str(), fileCount);
        return;
    }
    throw std::runtime_error(folder + ": " + std::to_string(faults.size()) + " of " +
                             std::to_string(fileCount) + " files are wrong");
}

void list() {
    const std::vector<ModelFile> files = listModelFiles();
    std::printf("%-8s %-12s %7s %-6s %11s %10s\n", "file", "holds", "network", "layer", "shape",
                "bytes");
    std::int64_t total = 0;
    for (const ModelFile& file : files) {
        std::array<char, 32> shape{};
        std::snprintf(shape.data(), shape.size(), "%d x %d", file.rows, file.cols);
        const std::string network = file.network == 0 ? "all" : std::to_string(file.network);
        std::printf("%-8s %-12s %7s %-6s %11s %10lld\n", file.name.c_str(), nameOf(file.kind),
                    network.c_str(), file.layer.c_str(), shape.data(),
                    static_cast<long long>(byteCount(file)));
        total += byteCount(file);
    }
    std::printf("%zu files, %lld bytes\n", files.size(), static_cast<long long>(total));
}

void printFingerprint(const std::string& folder) {
    std::printf("%s\n", hexadecimal(modelFingerprint(folder)).c_str());
}

void pack(const std::string& folder, const std::string& file) {
    const PackSummary summary = packModel(folder, file);
    std::printf("%s: %lld bytes, %d files of %lld bytes\n", file.c_str(),
                static_cast<long long>(summary.packBytes), summary.files,
                static_cast<long long>(summary.folderBytes));
}

void unpack(const std::string& file, const ModelRequest& request) {
    const PackSummary summary = unpackModel(file, request.folder, request.replace);
    std::printf("%s: %d files, %lld bytes\n", request.folder.string().c_str(), summary.files,
                static_cast<long long>(summary.folderBytes));
}

// A full disk behind a redirected standard output shows only here.
void flushOutput() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        throw std::runtime_error("cannot write to standard output: " +
                                 std::generic_category().message(errno));
    }
}

// The conversion to an unsigned number alone would wrap -1 around.
std::string notNegative(const std::string& text) {
    return text.starts_with('-') ? "must not be negative" : "";
}

struct Arguments {
    ModelRequest request;
    std::string folder;
    std::string pack;
    std::string weights = "random";
};

const std::map<std::string, WeightKind>& weightKinds() {
    static const std::map<std::string, WeightKind> kinds = {{"random", WeightKind::random},
                                                            {"integer", WeightKind::integer}};
    return kinds;
}

CLI::App* addMake(CLI::App& app, Arguments& arguments) {
    CLI::App* command = app.add_subcommand("make", "Write a complete model folder");
    command->add_option("DIR", arguments.folder, "The folder; absent or empty")->required();
    command->add_option("--seed", arguments.request.seed, "What all numbers follow from")
        ->check(notNegative)
        ->capture_default_str();
    command
        ->add_option("--weights", arguments.weights,
                     "random: normal-like, means over drawn faces; "
                     "integer: exact sums, the same bytes on every machine")
        ->check(CLI::IsMember(weightKinds()))
        ->capture_default_str();
    command
        ->add_option("--faces", arguments.request.faces, "Drawn faces behind the means of random")
        ->check(CLI::Range(2, 2000))
        ->capture_default_str();
    command->add_flag("--force", arguments.request.replace, "Replace a model that is there");
    return command;
}

// What the options mean together.
void completeRequest(Arguments& arguments, const CLI::App& makeCommand) {
    ModelRequest& request = arguments.request;
    request.folder = arguments.folder;
    request.weights = weightKinds().at(arguments.weights);
    if (request.weights == WeightKind::integer && makeCommand.count("--faces") > 0) {
        throw CLI::ValidationError("--faces", "integer models are made without faces");
    }
}

int run(int argc, char** argv) {
    CLI::App app("Makes, checks, lists, packs and unpacks the files of a ZOMU model folder.",
                 "zomu-model");
    app.allow_windows_style_options(false);  // a path may begin with a slash
    app.require_subcommand(1);
    Arguments arguments;
    const CLI::App* makeCommand = addMake(app, arguments);
    CLI::App* checkCommand = app.add_subcommand("check", "Say what is wrong with a model folder");
    checkCommand->add_option("DIR", arguments.folder, "The folder")->required();
    CLI::App* fingerprintCommand = app.add_subcommand(
        "fingerprint", "Print the SHA-256 of all files, which tells one model from another");
    fingerprintCommand->add_option("DIR", arguments.folder, "The folder")->required();
    CLI::App* packCommand =
        app.add_subcommand("pack", "Write a model folder as one small file, with some loss");
    packCommand->add_option("DIR", arguments.folder, "The folder")->required();
    packCommand->add_option("FILE", arguments.pack, "The packed model")->required();
    CLI::App* unpackCommand =
        app.add_subcommand("unpack", "Write the folder that a packed model holds");
    unpackCommand->add_option("FILE", arguments.pack, "The packed model")->required();
    unpackCommand->add_option("DIR", arguments.folder, "The folder; absent or empty")->required();
    unpackCommand->add_flag("--force", arguments.request.replace, "Replace a model that is there");
    const CLI::App* listCommand =
        app.add_subcommand("list", "Print all files with shapes and sizes");
    try {
        app.parse(argc, argv);
        completeRequest(arguments, *makeCommand);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);  // help was asked for
        }
        std::fprintf(stderr, "zomu-model: %s\n", error.what());
        return kWrongUsage;
    }

    if (makeCommand->parsed()) {
        make(arguments.request);
    } else if (checkCommand->parsed()) {
        check(arguments.folder);
    } else if (fingerprintCommand->parsed()) {
        printFingerprint(arguments.folder);
    } else if (listCommand->parsed()) {
        list();
    } else if (packCommand->parsed()) {
        pack(arguments.folder, arguments.pack);
    } else if (unpackCommand->parsed()) {
        unpack(arguments.pack, arguments.request);
    }
    flushOutput();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const Interruption& interruption) {
        std::fprintf(stderr, "zomu-model: %s\n", interruption.what());
        return kSignalled + static_cast<int>(g_signal);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "zomu-model: %s\n", problem.what());
        return kFailed;
    }
}
