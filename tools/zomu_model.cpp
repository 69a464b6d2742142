// zomu-model: makes, checks, names, lists, packs, unpacks and installs the files of a model folder.
#include <array>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

#include "command_line/command_line.h"
#include "command_line/interruption.h"
#include "model/installed_pack.h"
#include "model/model_check.h"
#include "model/model_files.h"
#include "model/model_maker.h"
#include "model/model_pack.h"
#include "model/progress_bar.h"
#include "model/required_model.h"
#include "zomu_model.hpp"

namespace {

void make(const ModelRequest& request) {
    catchSignals();
    ModelSummary summary;
    {
        ProgressBar bar(stdout);
        summary = makeModel(request, [&bar](int done, int total, const std::string& stage) {
            stopIfInterrupted();
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
    std::printf("%s\n", ZomuModel::hexadecimal(ZomuModel::fingerprint(folder)).c_str());
}

void pack(const std::string& folder, const std::string& file) {
    const PackSummary summary = packModel(folder, file);
    std::printf("%s: %lld bytes, %d files of %lld bytes\n", file.c_str(),
                static_cast<long long>(summary.packBytes), summary.files,
                static_cast<long long>(summary.folderBytes));
}

void unpack(const std::string& file, const ModelRequest& request) {
    catchSignals();
    const PackSummary summary =
        unpackModel(file, request.folder, request.replace, stopIfInterrupted);
    std::printf("%s: %d files, %lld bytes\n", request.folder.string().c_str(), summary.files,
                static_cast<long long>(summary.folderBytes));
}

struct Arguments {
    ModelRequest request;
    std::string folder;
    std::string pack;
    std::string weights = "random";
};

void install(const Arguments& arguments) {
    ModelRequest request = arguments.request;
    request.folder = placeOfModel();
    const bool isDemonstration = arguments.pack.empty();
    unpack(isDemonstration ? installedPack().string() : arguments.pack, request);
    if (isDemonstration) {
        std::printf(
            "This is the demonstration model: it was trained on drawn heads, and cannot identify "
            "real people.\n");
    }
    if (request.folder == "/tmp/~zvplugintmp~/") {
        std::printf(
            "Many systems empty /tmp when they start. To keep the model, set TMPDIR to another "
            "folder "
            "and install again.\n");
    }
}

// A full disk behind a redirected standard output shows only here.
void flushOutput() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        throw std::runtime_error("cannot write to standard output: " +
                                 std::generic_category().message(errno));
    }
}

struct Commands {
    Command make;
    Command check;
    Command fingerprint;
    Command pack;
    Command unpack;
    Command install;
    Command list;
};

Commands addCommands(Command& tool, Arguments& arguments) {
    const char* theFolder = "The folder";
    const char* theNewFolder = "The folder; must be absent or empty";
    const char* thePack = "The packed model";
    const char* replaceModel = "Replace an existing model";
    ModelRequest& request = arguments.request;

    Command make = tool.addCommand("make", "Write a complete model folder");
    make.addArgument("DIR", arguments.folder, theNewFolder);
    make.addOption("--seed", request.seed, "The seed of all numbers");
    make.addOption("--weights", arguments.weights, {"random", "integer"},
                   "random: normal-like; integer: sums without rounding, so that templates are "
                   "the same on every machine");
    make.addFlag("--force", request.replace, replaceModel);

    Command check = tool.addCommand("check", "Say what is wrong with a model folder");
    check.addArgument("DIR", arguments.folder, theFolder);

    Command fingerprint = tool.addCommand(
        "fingerprint", "Print the SHA-256 of all files, which tells one model from another");
    fingerprint.addArgument("DIR", arguments.folder, theFolder);

    Command pack = tool.addCommand(
        "pack", "Write a model folder as one small file, which loses some accuracy");
    pack.addArgument("DIR", arguments.folder, theFolder);
    pack.addArgument("FILE", arguments.pack, thePack);

    Command unpack = tool.addCommand("unpack", "Write the folder that a packed model holds");
    unpack.addArgument("FILE", arguments.pack, thePack);
    unpack.addArgument("DIR", arguments.folder, theNewFolder);
    unpack.addFlag("--force", request.replace, replaceModel);

    Command install =
        tool.addCommand("install", "Unpack a model into the folder where the library looks for it");
    install.addOptionalArgument("FILE", arguments.pack,
                                "The packed model; by default the demonstration model");
    install.addFlag("--force", request.replace, replaceModel);

    const Command list = tool.addCommand("list", "Print all files with shapes and sizes");
    return {make, check, fingerprint, pack, unpack, install, list};
}

void work(const Commands& commands, Arguments& arguments) {
    arguments.request.folder = arguments.folder;
    if (commands.make.isGiven()) {
        if (arguments.weights == "integer") {
            arguments.request.weights = WeightKind::integer;
        }
        make(arguments.request);
    } else if (commands.check.isGiven()) {
        check(arguments.folder);
    } else if (commands.fingerprint.isGiven()) {
        printFingerprint(arguments.folder);
    } else if (commands.pack.isGiven()) {
        pack(arguments.folder, arguments.pack);
    } else if (commands.unpack.isGiven()) {
        unpack(arguments.pack, arguments.request);
    } else if (commands.install.isGiven()) {
        install(arguments);
    } else {
        list();
    }
    flushOutput();
}

}  // namespace

int main(int argc, char** argv) {
    Arguments arguments;
    std::optional<Commands> commands;
    return runTool(
        "zomu-model",
        "Makes, checks, lists, packs, unpacks and installs the files of a ZOMU model folder.", argc,
        argv, [&](Command& tool) { commands = addCommands(tool, arguments); },
        [&] { work(*commands, arguments); });
}
