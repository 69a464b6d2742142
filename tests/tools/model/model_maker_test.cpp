// Whole model folders: the same bytes for the same seed, exact integer networks, scores, and
// nothing left behind by work that fails.
#include "model/model_maker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "network/conv_net.h"
#include "network/net_texts.h"
#include "drawing/drawn_face.h"
#include "model/exact_sums.h"
#include "model/face_averages.h"
#include "model/model_check.h"
#include "model/model_files.h"
#include "reference/reference_network.h"
#include "reference/reference_patches.h"
#include "reference/reference_tables.h"
#include "service/context.h"
#include "service/extraction.h"
#include "model/model_tables.h"
#include "support/bits.h"
#include "support/random.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"
#include "support/zeroed_tables.h"
#include "zomu.h"

namespace fs = std::filesystem;

static void noProgress(int, int, const std::string&) {}

static ModelRequest requestFor(const fs::path& folder, WeightKind kind) {
    ModelRequest request;
    request.folder = folder;
    request.weights = kind;
    request.faces = 2;
    return request;
}

// The 64-bit FNV-1a hash over all files of a model, in the order of their list.
static std::uint64_t digestOf(const fs::path& folder) {
    std::uint64_t hash = 0xcbf29ce484222325U;
    for (const ModelFile& file : listModelFiles()) {
        for (const char c : readFile(folder / file.name)) {
            hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
        }
    }
    return hash;
}

// The library's tables and a context with the weights of one model folder.
class LoadedModel {
    const ZeroedTables tables;

  public:
    explicit LoadedModel(const fs::path& folder) {
        const std::string prefix = (folder / "").string();
        if (prefix.size() >= sizeof modelDir) {
            throw std::runtime_error("the temporary folder has too long a name");
        }
        std::strcpy(modelDir, prefix.c_str());
        loadModelTables(g_modelTables);
        context = std::make_unique<ZomuContext>(modelDir);
    }

    ~LoadedModel() { modelDir[0] = '\0'; }

    LoadedModel(const LoadedModel&) = delete;
    LoadedModel& operator=(const LoadedModel&) = delete;

    std::vector<float> features(const DrawnFace& face) {
        std::vector<float> values(kFeatureCount);
        computeFeatures(*context, g_modelTables.meanImages, face.pixels.data(), face.width, face.height, 3 * face.width,
                        face.landmarks, values.data());
        return values;
    }

    FaceTemplate extract(const DrawnFace& face) {
        FaceTemplate result;
        ZomuExtractTemplate(context.get(), face.pixels.data(), face.width, face.height,
                            3 * face.width, &face.landmarks, &result);
        return result;
    }

  private:
    std::unique_ptr<ZomuContext> context;
};

TEST(ModelMaker, integerModelsAreTheSameBytesForTheSameSeed) {
    const TemporaryFolder parent;
    ModelRequest request = requestFor(parent.path() / "a", WeightKind::integer);
    const ModelSummary summary = makeModel(request, noProgress);
    EXPECT_EQ(summary.files, 303);
    EXPECT_EQ(summary.bytes, 58271424);
    EXPECT_TRUE(checkModelFolder(request.folder).empty());
    request.folder = parent.path() / "b";
    makeModel(request, noProgress);
    request.folder = parent.path() / "c";
    request.seed = 2;
    makeModel(request, noProgress);
    for (const ModelFile& file : listModelFiles()) {
        const std::string bytes = readFile(parent.path() / "a" / file.name);
        EXPECT_TRUE(bytes == readFile(parent.path() / "b" / file.name)) << file.name;
        EXPECT_FALSE(bytes == readFile(parent.path() / "c" / file.name)) << file.name;
    }
}

// Made by this program for seed 1. It holds on every machine: only integer arithmetic, scaling by
// powers of two and the standard's own engine stand behind the bytes.
TEST(ModelMaker, integerModelOfSeedOneNeverChanges) {
    const TemporaryFolder parent;
    const ModelRequest request = requestFor(parent.path() / "model", WeightKind::integer);
    makeModel(request, noProgress);
    EXPECT_EQ(digestOf(request.folder), 14830795086265709501U);
}

TEST(ModelMaker, randomModelsAreTheSameBytesForTheSameSeed) {
    const TemporaryFolder parent;
    const ModelRequest request = requestFor(parent.path() / "a", WeightKind::random);
    makeModel(request, noProgress);
    EXPECT_TRUE(checkModelFolder(request.folder).empty());
    const ModelRequest again = requestFor(parent.path() / "b", WeightKind::random);
    makeModel(again, noProgress);
    EXPECT_EQ(digestOf(request.folder), digestOf(again.folder));
}

// One network of each of the three shapes. The twin computes in 64-bit floats, where these integers
// are exact; equality to the bit shows that the library rounded nowhere.
TEST(ModelMaker, integerNetworksComputeWithoutRounding) {
    const TemporaryFolder parent;
    const ModelRequest request = requestFor(parent.path() / "model", WeightKind::integer);
    const ModelSummary summary = makeModel(request, noProgress);
    EXPECT_LT(summary.largestSum, kExactLimit);
    Random random(3);
    for (const int number : {2, 11, 10}) {
        ConvNet net(number - 1, netDescriptionTexts[number - 1], (request.folder / "").string());
        const ReferencePatch& kind = kReferencePatches[number - 1];
        const int columns = (kind.isColour ? 3 : 1) * kind.size * kind.size;
        for (const bool extreme : {false, true}) {
            std::vector<float> patch(2 * static_cast<std::size_t>(columns));
            for (float& value : patch) {
                value = static_cast<float>(extreme ? (random.oneIn(2) ? 159 : -159)
                                                   : random.between(-159, 159));
            }
            const ReferenceOutput expected = runReferenceNetwork(
                readReferenceNetwork((request.folder / "").string(), number), patch.data());
            Matrix rows = Matrix::view(patch.data(), 2, columns);
            MatrixList list(25, nullptr);
            list[static_cast<std::size_t>(number - 1)] = &rows;
            const Matrix* out = runNet(net, list);
            ASSERT_EQ(out->numElements, 320);
            for (std::size_t i = 0; i < 320; ++i) {
                ASSERT_EQ(static_cast<double>(out->data[i]), expected.values[i])
                    << "network " << number << ", index " << i;
            }
            EXPECT_LE(expected.largestSum, static_cast<double>(summary.largestSum));
            EXPECT_GT(expected.largestSum, 1000.0);
        }
    }
}

static DrawnFace paintedOver(DrawnFace face, std::uint8_t level) {
    face.pixels.assign(face.pixels.size(), level);
    return face;
}

// NaN would come from a half of zeros. The fewest outputs of a half that are not 0 tell how far
// away that is.
TEST(ModelMaker, noNetworkFallsSilentOnOrdinaryPictures) {
    const TemporaryFolder parent;
    for (const WeightKind kind : {WeightKind::integer, WeightKind::random}) {
        const std::string name = kind == WeightKind::integer ? "integer" : "random";
        makeModel(requestFor(parent.path() / name, kind), noProgress);
        LoadedModel model(parent.path() / name);
        const DrawnFace face = drawFace(5);
        for (const DrawnFace& picture : {face, drawFace(6), paintedOver(face, 0),
                                         paintedOver(face, 128), paintedOver(face, 255)}) {
            const std::vector<float> features = model.features(picture);
            for (std::size_t half = 0; half < 50; ++half) {
                int active = 0;
                for (std::size_t n = 160 * half; n < 160 * (half + 1); ++n) {
                    ASSERT_TRUE(std::isfinite(features[n])) << "feature " << n;
                    active += features[n] != 0.0F ? 1 : 0;
                }
                EXPECT_GE(active, 100) << name << ", half " << half;
            }
        }
    }
}

TEST(ModelMaker, onlyEqualTemplatesScoreOne) {
    const TemporaryFolder parent;
    for (const WeightKind kind : {WeightKind::integer, WeightKind::random}) {
        const std::string name = kind == WeightKind::integer ? "integer" : "random";
        ModelRequest request = requestFor(parent.path() / name, kind);
        request.faces = 4;
        makeModel(request, noProgress);
        LoadedModel model(request.folder);
        std::vector<FaceTemplate> templates;
        for (std::uint64_t seed = 1; seed <= 4; ++seed) {
            templates.push_back(model.extract(drawFace(seed)));
            const FaceTemplate again = model.extract(drawFace(seed));
            EXPECT_TRUE(sameFloat(1.0F, ZomuCompareTemplates(&templates.back(), &again)));
        }
        for (std::size_t i = 0; i < templates.size(); ++i) {
            for (std::size_t j = 0; j < i; ++j) {
                EXPECT_LT(ZomuCompareTemplates(&templates[i], &templates[j]), 0.9F)
                    << name << " " << i << " " << j;
            }
        }
    }
}

// Rare noise on the pixels changes a picture less than another face does.
TEST(ModelMaker, randomModelsTellFacesFromVariants) {
    const TemporaryFolder parent;
    ModelRequest request = requestFor(parent.path() / "model", WeightKind::random);
    request.faces = 12;
    makeModel(request, noProgress);
    LoadedModel model(request.folder);
    Random random(9);
    std::vector<FaceTemplate> templates;
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        DrawnFace face = drawFace(seed);
        templates.push_back(model.extract(face));
        for (std::uint8_t& byte : face.pixels) {
            byte = static_cast<std::uint8_t>(byte ^ random.between(0, 3));
        }
        const FaceTemplate variant = model.extract(face);
        EXPECT_GT(ZomuCompareTemplates(&templates.back(), &variant), 0.9F) << "face " << seed;
    }
    for (std::size_t i = 0; i < templates.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            EXPECT_LT(ZomuCompareTemplates(&templates[i], &templates[j]), 0.7F) << i << " " << j;
        }
    }
}

// The mean images against patches cut by the plain twin, the feature mean against the networks.
TEST(ModelMaker, meansAreThoseOfTheDrawnFaces) {
    const TemporaryFolder parent;
    ModelRequest request = requestFor(parent.path() / "model", WeightKind::random);
    request.faces = 3;
    makeModel(request, noProgress);
    LoadedModel model(request.folder);
    const std::vector<DrawnFace> faces = drawFaces(request.seed, 3, [] {});
    const std::vector<float> noMeans(static_cast<std::size_t>(kNetCount) * kMeanImageRoom, 0.0F);
    std::vector<std::vector<double>> pixelSums(kNetCount, std::vector<double>(kMeanImageRoom, 0.0));
    std::vector<double> featureSums(kFeatureCount, 0.0);
    for (const DrawnFace& face : faces) {
        const std::vector<ReferenceFloats> patches =
            referencePatches(face.pixels.data(), face.width, face.height, 3 * face.width,
                             face.landmarks, noMeans.data());
        for (std::size_t k = 0; k < patches.size(); ++k) {
            for (std::size_t e = 0; e < patches[k].size(); ++e) {
                pixelSums[k][e % (patches[k].size() / 2)] += static_cast<double>(patches[k][e]);
            }
        }
        const std::vector<float> features = model.features(face);
        for (std::size_t n = 0; n < features.size(); ++n) {
            featureSums[n] += static_cast<double>(features[n]);
        }
    }
    for (std::size_t k = 0; k < pixelSums.size(); ++k) {
        for (std::size_t e = 0; e < pixelSums[k].size(); ++e) {
            ASSERT_TRUE(sameFloat(static_cast<float>(pixelSums[k][e] / 6), g_modelTables.meanImages[k][e]))
                << "patch " << k << ", element " << e;
        }
    }
    for (std::size_t n = 0; n < featureSums.size(); ++n) {
        ASSERT_TRUE(sameFloat(static_cast<float>(featureSums[n] / 3), g_modelTables.featureMean[n])) << n;
    }
}

// Stops the work after `steps` steps.
class Stop : public std::exception {};

static void expectNothingLeft(const fs::path& parent) {
    for (const fs::directory_entry& entry : fs::directory_iterator(parent)) {
        ADD_FAILURE() << entry.path() << " is left";
    }
}

TEST(ModelMaker, stoppedWorkLeavesNothing) {
    for (const WeightKind kind : {WeightKind::integer, WeightKind::random}) {
        const int total = kind == WeightKind::integer ? 303 : 303 + 3 * 2;
        for (const int steps : {0, 200, total}) {
            const TemporaryFolder parent;
            int seen = 0;
            EXPECT_THROW(makeModel(requestFor(parent.path() / "model", kind),
                                   [&](int done, int all, const std::string&) {
                                       EXPECT_EQ(all, total);
                                       EXPECT_GE(done, seen);
                                       seen = done;
                                       if (done == steps) {
                                           throw Stop();
                                       }
                                   }),
                         Stop);
            EXPECT_EQ(seen, steps);
            expectNothingLeft(parent.path());
        }
    }
}

static std::string problemWith(const ModelRequest& request) {
    try {
        makeModel(request, noProgress);
    } catch (const std::runtime_error& problem) {
        return problem.what();
    }
    return "no problem";
}

TEST(ModelMaker, occupiedPlacesAreRefused) {
    const TemporaryFolder parent;
    ModelRequest request = requestFor(parent.path() / "place", WeightKind::integer);
    const std::string name = request.folder.string();

    std::ofstream(request.folder) << "a file";
    EXPECT_EQ(problemWith(request), name + " is there already and is no folder");
    request.replace = true;
    EXPECT_EQ(problemWith(request), name + " is there already and is no folder");
    EXPECT_EQ(readFile(request.folder), "a file");

    fs::remove(request.folder);
    fs::create_directory(request.folder);
    std::ofstream(request.folder / "6-0") << "a model file";
    request.replace = false;
    EXPECT_EQ(problemWith(request), name + " is not empty");
    EXPECT_EQ(readFile(request.folder / "6-0"), "a model file");

    std::ofstream(request.folder / "letter") << "dear";
    request.replace = true;
    EXPECT_EQ(problemWith(request),
              name + " holds letter, which is no model file: it is not replaced");
    EXPECT_EQ(readFile(request.folder / "letter"), "dear");
}

TEST(ModelMaker, replacesAModelWhenAsked) {
    const TemporaryFolder parent;
    ModelRequest request = requestFor(parent.path() / "model", WeightKind::integer);
    fs::create_directory(request.folder);
    std::ofstream(request.folder / "6-0") << "of a former model";
    request.replace = true;
    EXPECT_THROW(makeModel(request,
                           [](int done, int, const std::string&) {
                               if (done == 100) {
                                   throw Stop();
                               }
                           }),
                 Stop);
    EXPECT_EQ(readFile(request.folder / "6-0"), "of a former model");
    EXPECT_EQ(problemWith(request), "no problem");
    EXPECT_TRUE(checkModelFolder(request.folder).empty());
    EXPECT_EQ(std::distance(fs::directory_iterator(parent.path()), fs::directory_iterator()), 1);
}

TEST(ModelMaker, senselessRequestsAreRefused) {
    const TemporaryFolder parent;
    ModelRequest request = requestFor(parent.path() / "model", WeightKind::random);
    request.faces = 1;
    EXPECT_EQ(problemWith(request), "means need 2 faces at least");
    request = requestFor("", WeightKind::integer);
    EXPECT_EQ(problemWith(request), "the name of the folder is empty");
    expectNothingLeft(parent.path());
}
