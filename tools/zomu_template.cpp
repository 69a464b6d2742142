// zomu-template: templates in files that know their model, and scores of two of them.
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>

#include "command_line/command_line.h"
#include "model/model_tables.h"
#include "model/required_model.h"
#include "service/attach.h"
#include "sheets/face_picture.h"
#include "zomu.hpp"

namespace {

struct Arguments {
    std::string picture;
    std::string landmarks;
    std::string output;
    std::string first;
    std::string second;
    bool isUnchecked = false;
};

// The model is looked for where the library looks for it, and must be complete.
void extract(const Arguments& arguments) {
    const FacePicture face = loadFacePicture(arguments.picture, arguments.landmarks);
    if (face.picture.width < 2 || face.picture.height < 2) {
        throw std::runtime_error(arguments.picture + ": is smaller than 2 x 2 pixels");
    }
    if (!arguments.isUnchecked) {
        requireFace(face, arguments.landmarks);
    }
    const ZomuFingerprint model = ZomuModel::fingerprint(requireModel());
    attachLibrary();
    ZomuExtractor extractor(model);
    const ZomuPixels pixels = {face.picture.pixels.data(), face.picture.width, face.picture.height,
                               3 * face.picture.width};
    const ZomuTemplate extracted = extractor.extractUnchecked(pixels, face.landmarks);
    if (!extracted.isUsable()) {
        throw std::runtime_error(std::string(modelDir) +
                                 ": gives no template; zomu-model check says what is wrong");
    }
    extracted.save(arguments.output);
}

std::string startOf(const ZomuFingerprint& model) {
    return ZomuModel::hexadecimal(model).substr(0, 16);
}

void compare(const Arguments& arguments) {
    const ZomuTemplate first = ZomuTemplate::load(arguments.first);
    const ZomuTemplate second = ZomuTemplate::load(arguments.second);
    if (first.model != second.model) {
        throw std::runtime_error("made with two models, " + startOf(first.model) + "... and " +
                                 startOf(second.model) + "...: their templates cannot be compared");
    }
    const float score = first.scoreAgainst(second);
    if (std::printf("%.9g\n", static_cast<double>(score)) < 0 || std::fflush(stdout) != 0) {
        throw std::runtime_error("cannot write to standard output");
    }
}

}  // namespace

int main(int argc, char** argv) {
    Arguments arguments;
    std::optional<Command> extractCommand;
    return runTool(
        "zomu-template", "Keeps faces as templates, each with its model, and scores two of them.",
        argc, argv,
        [&](Command& tool) {
            extractCommand = tool.addCommand("extract", "Write the template of a face");
            extractCommand->addArgument("PICTURE", arguments.picture, "PNG or JPEG file");
            extractCommand->addLandmarks(arguments.landmarks);
            extractCommand->addArgument("FILE", arguments.output, "the template file to write");
            extractCommand->addUnchecked(arguments.isUnchecked);
            Command compareCommand = tool.addCommand(
                "compare", "Print the score of two templates: the larger, the more alike");
            compareCommand.addArgument("FIRST", arguments.first, "a template file");
            compareCommand.addArgument("SECOND", arguments.second,
                                       "another one, made with the same model");
        },
        [&] { extractCommand->isGiven() ? extract(arguments) : compare(arguments); });
}
