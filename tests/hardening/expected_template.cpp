#include "hardening/expected_template.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <span>
#include <stdexcept>

#include "model/model_tables.h"
#include "reference/reference_arithmetic.h"
#include "reference/reference_patches.h"
#include "support/read_file.h"

namespace {

constexpr std::size_t kSlot = 9075;
constexpr std::size_t kOutputs = 320;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// The floats of a file behind its header.
std::vector<float> readFloats(const std::string& path, std::size_t headerBytes) {
    const std::string bytes = readFile(path);
    if (bytes.size() <= headerBytes) {
        throw std::runtime_error("no good model file: " + path);
    }
    std::vector<float> values((bytes.size() - headerBytes) / sizeof(float));
    std::memcpy(values.data(), bytes.data() + headerBytes, values.size() * sizeof(float));
    return values;
}

// `values` are the floats of the file.
void apply(Effect effect, const ModelFile& file, std::span<float> values) {
    auto* bytes = reinterpret_cast<unsigned char*>(values.data());
    const std::size_t size = values.size_bytes();
    const std::size_t header = headerOf(file).size() * 4;
    std::size_t kept = size;
    switch (effect) {
        case Effect::none:
            break;
        case Effect::zeros:
            kept = 0;
            break;
        case Effect::firstHalf:
            kept = (header + size) / 2 - header;
            break;
        case Effect::firstByte:
            kept = 1;
            break;
        case Effect::firstZero:
            values[0] = 0;
            break;
        case Effect::firstNan:
            values[0] = kNan;
            break;
        case Effect::middleNan:
            values[values.size() / 2] = kNan;
            break;
        default:
            throw std::logic_error("an effect beyond numbers");
    }
    std::fill(bytes + kept, bytes + size, static_cast<unsigned char>(0));
}

// The numbers of weight file `name`, such as 3-17-2: its stage, its network, its place there.
std::vector<float>& valuesOf(ReferenceNetwork& network, const std::string& name) {
    const std::size_t stage = static_cast<std::size_t>(name.front() - '1');
    const char place = name.back();
    if (stage < 4) {
        return (place == '1' ? network.filters[stage] : network.biases[stage]).values;
    }
    return (place == '1'   ? network.fromLocal4
            : place == '2' ? network.fromPool3
                           : network.outputBiases)
        .values;
}

}  // namespace

ExpectedTemplates::ExpectedTemplates(const std::string& good, const Scene& face)
    : folder(good + "/" + kModelFolderName + "/"),
      scene(face),
      meanImageTable(25 * kSlot),
      featureMeans(readFloats(folder + "6-0", 0)),
      tableA(readFloats(folder + "6-1", 0)),
      tableB(readFloats(folder + "6-2", 0)) {
    for (std::size_t k = 0; k < 25; ++k) {
        const std::vector<float> image =
            readFloats(folder + "0-" + std::to_string(k + 1) + "-0", 4);
        std::copy(image.begin(), image.end(),
                  meanImageTable.begin() + static_cast<std::ptrdiff_t>(k * kSlot));
    }
    for (int number = 1; number <= 25; ++number) {
        const std::vector<float> part =
            featuresOf(number, readReferenceNetwork(folder, number), meanImageTable);
        features.insert(features.end(), part.begin(), part.end());
    }
    whole = templateOf(features, featureMeans, tableA, tableB);
}

const FaceTemplate& ExpectedTemplates::of(const FaultCase& faultCase) {
    if (faultCase.effect == Effect::none) {
        return whole;
    }
    const auto [place, isNew] = known.try_emplace({faultCase.file.name, faultCase.effect});
    if (isNew) {
        place->second = compute(faultCase);
    }
    return place->second;
}

std::vector<float> ExpectedTemplates::featuresOf(int network, const ReferenceNetwork& weights,
                                                 const std::vector<float>& images) const {
    const Picture& picture = scene.picture;
    const std::vector<ReferenceFloats> patches =
        referencePatches(picture.topRow(), picture.width, picture.height, picture.stride,
                         scene.record, images.data());
    const ReferenceOutput output =
        runReferenceNetwork(weights, patches[static_cast<std::size_t>(network - 1)].data());
    // Whole numbers below 2^24 are exact in both widths, and so is their sum in any order.
    if (output.largestSum >= 0x1p24) {
        throw std::runtime_error("sums are not exact");
    }
    const std::vector<float> values(output.values.begin(), output.values.end());
    std::vector<float> result(kOutputs);
    referenceStoreNetworkOutput(values.data(), result.data());
    return result;
}

FaceTemplate ExpectedTemplates::templateOf(std::vector<float> ofNetworks,
                                           const std::vector<float>& mean,
                                           const std::vector<float>& a,
                                           const std::vector<float>& b) const {
    FaceTemplate result;
    referenceSubtractFeatureMean(ofNetworks.data(), mean.data());
    referenceProjectFeatures(ofNetworks.data(), a.data(), b.data(), result);
    return result;
}

FaceTemplate ExpectedTemplates::compute(const FaultCase& faultCase) const {
    const ModelFile& file = faultCase.file;
    std::vector<float> ofNetworks = features;
    std::vector<float> mean = featureMeans;
    std::vector<float> a = tableA;
    std::vector<float> b = tableB;
    if (file.network == 0) {
        apply(faultCase.effect, file, file.name == "6-0" ? mean : file.name == "6-1" ? a : b);
        return templateOf(ofNetworks, mean, a, b);
    }
    std::vector<float> part(kOutputs, kNan);
    if (faultCase.effect != Effect::noOutput) {
        ReferenceNetwork weights = readReferenceNetwork(folder, file.network);
        std::vector<float> images = meanImageTable;
        const auto k = static_cast<std::size_t>(file.network - 1);
        if (file.kind == ModelFileKind::meanImage) {
            const auto count = static_cast<std::size_t>(floatCount(file));
            apply(faultCase.effect, file, std::span(images).subspan(k * kSlot, count));
        } else {
            apply(faultCase.effect, file, valuesOf(weights, file.name));
        }
        part = featuresOf(file.network, weights, images);
    }
    std::copy(part.begin(), part.end(),
              ofNetworks.begin() + static_cast<std::ptrdiff_t>(kOutputs) * (file.network - 1));
    return templateOf(ofNetworks, mean, a, b);
}
