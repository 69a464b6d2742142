#include "service/extraction.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>

#include "layers/unusable_layer.h"
#include "matrix/float_mode.h"
#include "network/conv_net.h"
#include "patches/patch_layout.h"

static_assert(kPatchCount == kNetCount, "network k reads patch k");
static_assert(kNetworkOutputs == kOutputUnits);

namespace {

// The networks in the order in which they start: first those that take longest (large patches, then
// colour), so that at the end no thread waits long for another.
constexpr int kNetOrder[kNetCount] = {0, 1, 2, 4, 7,  10, 13, 16, 18, 20, 22, 24, 3,
                                      5, 6, 8, 9, 11, 12, 14, 15, 17, 19, 21, 23};

using Faces = std::span<const FaceRequest>;

// Makes room for `faces`, as far as an earlier extraction has not.
void makeRoom(ZomuContext& context, std::size_t faces) {
    context.members.resize(static_cast<std::size_t>(context.team.mostMembers()));
    for (auto& member : context.members) {
        if (member == nullptr) {
            member = std::make_unique<MemberScratch>();
        }
        member->stages.resize(std::max(member->stages.size(), 2 * faces));
        member->outputs.resize(std::max(member->outputs.size(), 2 * faces));
    }
    while (context.work.size() < faces) {
        context.work.push_back(std::make_unique<FaceWork>());
    }
    context.features.resize(std::max(context.features.size(), faces * kFeatureCount));
    context.rows.resize(std::max(context.rows.size(), faces));
}

bool fitsPlan(const NetworkPlan& plan, const PatchList& patches) {
    const auto index = static_cast<std::size_t>(plan.patch);
    if (index >= patches.size()) {
        return false;
    }
    const int pixels = plan.weights.side * plan.weights.side;
    return patches[index]->numCols == plan.weights.channels * pixels;
}

// The 2 x 160 outputs of one network for each face, by the kernels.
void runPlan(const Kernels& kernels, const NetworkPlan& plan, const ZomuContext& context,
             std::size_t faces, MemberScratch& scratch) {
    const NetworkWeights& weights = plan.weights;
    const NetworkSides sides(weights.side);
    // The weights of the full connection are fetched while the first two images are convolved.
    const FloatRange ahead[] = {{weights.fromLast, sides.lastValues() * kNetworkOutputs},
                                {weights.fromPooled, sides.pooledValues() * kNetworkOutputs}};
    for (std::size_t i = 0; i < 2 * faces; ++i) {
        const Matrix& patch = *context.work[i / 2]->patches[static_cast<std::size_t>(plan.patch)];
        kernels.runConvolutions(weights, patch.data + (i % 2 == 0 ? 0 : patch.numCols),
                                i < 2 ? ahead[i] : FloatRange{}, scratch.network,
                                scratch.stages[i]);
    }
    kernels.runFullConnection(weights, scratch.stages.data(), static_cast<int>(faces),
                              &scratch.outputs[0].values);
}

// The outputs of one network for each face, by its layers. If the layers do not match, or their output
// has another size, the features are NaN, and so is every value of the template.
void runLayers(ConvNet& net, const PatchList& patches, float* destination) {
    MatrixList pointers;
    pointers.reserve(patches.size());
    for (const auto& patch : patches) {
        pointers.push_back(patch.get());
    }
    try {
        const Matrix* out = runNet(net, pointers);
        requireUsable(out != nullptr && out->numElements == kOutputValues);
        storeNetworkOutput(out->data, destination);
    } catch (const UnusableLayer&) {
        std::fill_n(destination, kOutputValues, std::numeric_limits<float>::quiet_NaN());
    }
}

// Runs one network on the patches of all faces and stores its 320 features of each.
void runNetwork(ZomuContext& context, std::size_t number, std::size_t faces, MemberScratch& scratch,
                float* features) {
    ConvNet& net = *context.nets[number];
    float* destination = features + number * kOutputValues;
    const bool isPlanned = context.kernels->runConvolutions != nullptr && net.plan != nullptr &&
                           fitsPlan(*net.plan, context.work[0]->patches);
    if (isPlanned) {
        runPlan(*context.kernels, *net.plan, context, faces, scratch);
    }
    for (std::size_t i = 0; i < faces; ++i, destination += kFeatureCount) {
        if (isPlanned) {
            // Both halves, one after the other.
            storeNetworkOutput(scratch.outputs[2 * i].values, destination);
        } else {
            runLayers(net, context.work[i]->patches, destination);
        }
    }
}

}  // namespace

// A thread may take any canvas of any face: each has canvases of its own.
void cutPatches(ZomuContext& context, const MeanImages& meanImages, Faces faces) {
    makeRoom(context, faces.size());
    for (std::size_t i = 0; i < faces.size(); ++i) {
        context.work[i]->alignment = alignFace(*faces[i].landmarks);
    }
    const int canvases = kCanvasCount * static_cast<int>(faces.size());
    context.team.run(canvases, [&](int index, int member) {
        const DefaultFloatMode mode;
        const auto face = static_cast<std::size_t>(index / kCanvasCount);
        FaceWork& work = *context.work[face];
        cutCanvas(index % kCanvasCount, work.alignment,
                  context.members[static_cast<std::size_t>(member)]->canvases, meanImages,
                  faces[face].image, work.patches);
    });
}

// A network belongs to one task and writes its own slices of `features`: which thread runs it changes
// no bit.
void runNetworks(ZomuContext& context, std::size_t faces, float* features) {
    context.team.run(kNetCount, [&](int index, int member) {
        const DefaultFloatMode mode;  // for this thread
        runNetwork(context, static_cast<std::size_t>(kNetOrder[index]), faces,
                   *context.members[static_cast<std::size_t>(member)], features);
    });
}

void projectFaces(ZomuContext& context, const ModelTables& tables, Faces faces) {
    context.team.run(kProjectionParts, [&](int part, int) {
        const DefaultFloatMode mode;
        projectPart(*context.kernels, tables.projection, part, context.features.data(),
                    static_cast<int>(faces.size()), context.rows.data());
    });
    for (std::size_t i = 0; i < faces.size(); ++i) {
        finishTemplate(context.rows[i], *faces[i].templateOut);
    }
}

const char* whyTemplateIsRefused(const std::uint8_t* image, std::int32_t width, std::int32_t height,
                                 const LandmarkRecord* landmarks, RecordCopy& copy) {
    if (image == nullptr) {
        return "no image";
    }
    if (width < 2 || height < 2) {
        return "an image smaller than 2 x 2 pixels";
    }
    if (landmarks == nullptr) {
        return "no landmarks";
    }
    return copy.take(*landmarks);
}

void computeFeatures(ZomuContext& context, const MeanImages& meanImages, const std::uint8_t* image,
                     std::int32_t width, std::int32_t height, std::int32_t stride,
                     const LandmarkRecord& landmarks, float* features) {
    const FaceRequest face = {{image, width, height, stride}, &landmarks, nullptr};
    cutPatches(context, meanImages, {&face, 1});
    runNetworks(context, 1, features);
}

namespace {

void extractSome(ZomuContext& context, const ModelTables& tables, Faces faces) {
    cutPatches(context, tables.meanImages, faces);
    runNetworks(context, faces.size(), context.features.data());
    for (std::size_t i = 0; i < faces.size(); ++i) {
        subtractFeatureMean(tables.featureMean, &context.features[i * kFeatureCount]);
    }
    projectFaces(context, tables, faces);
}

}  // namespace

void extractTemplates(ZomuContext& context, const ModelTables& tables, Faces faces) {
    for (; !faces.empty(); faces = faces.subspan(std::min(faces.size(), kFacesAtOnce))) {
        extractSome(context, tables, faces.first(std::min(faces.size(), kFacesAtOnce)));
    }
}

void extractTemplate(ZomuContext& context, const ModelTables& tables, const std::uint8_t* image,
                     std::int32_t width, std::int32_t height, std::int32_t stride,
                     const LandmarkRecord& landmarks, FaceTemplate& templateOut) {
    const FaceRequest face = {{image, width, height, stride}, &landmarks, &templateOut};
    extractTemplates(context, tables, {&face, 1});
}
