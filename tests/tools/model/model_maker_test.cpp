// Whole model folders: the same bytes for the same seed, exact integer networks, and nothing left
// behind by work that fails.
#include "model/model_maker.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "model/exact_sums.h"
#include "model/model_check.h"
#include "model/model_files.h"
#include "network/conv_net.h"
#include "network/net_texts.h"
#include "reference/reference_network.h"
#include "reference/reference_tables.h"
#include "support/made_model.h"
#include "support/random.h"
#include "support/read_file.h"
#include "support/temporary_folder.h"
#include "zomu_model.hpp"

namespace fs = std::filesystem;

// The fingerprints were made by this program for seed 1. They hold on every machine: only integer
// arithmetic, the standard's own engine and operations of 64-bit floats that are rounded alike
// everywhere stand behind the bytes.
TEST(ModelMaker, modelsOfASeedNeverChangeAndDifferFromThoseOfAnother) {
    for (const auto& [kind, fingerprint] :
         {std::pair{WeightKind::integer,
                    "caba7674f7713a3fba3ef3dbf6c11291b3609060447e3f982382d28597b94cad"},
          {WeightKind::random,
           "730c6905473cd290e4f901a89f35d57bc8c0eb0e1179b9417e2d57d714177fc2"}}) {
        const TemporaryFolder parent;
        ModelRequest request = requestFor(parent.path() / "a", kind);
        makeModel(request, noProgress);
        EXPECT_TRUE(checkModelFolder(request.folder).empty());
        EXPECT_EQ(ZomuModel::hexadecimal(ZomuModel::fingerprint(request.folder)), fingerprint);
        request.folder = parent.path() / "b";
        request.seed = 2;
        makeModel(request, noProgress);
        for (const ModelFile& file : listModelFiles()) {
            EXPECT_FALSE(readFile(parent.path() / "a" / file.name) ==
                         readFile(parent.path() / "b" / file.name))
                << file.name;
        }
    }
}

// One network of each of the three shapes. The twin computes in 64-bit floats, where these integers
// are exact; equality to the bit shows that the library rounded nowhere.
TEST(ModelMaker, integerNetworksComputeWithoutRounding) {
    const TemporaryFolder parent;
    const std::string folder = parent.prefix() + "model/";
    const ModelSummary summary = makeModelIn(folder);
    EXPECT_LT(summary.largestSum, kExactLimit);
    Random random(3);
    for (const int number : {2, 11, 10}) {
        ConvNet net(netDescriptionTexts[number - 1], folder);
        const ReferencePatch& kind = kReferencePatches[number - 1];
        const int columns = (kind.isColour ? 3 : 1) * kind.size * kind.size;
        for (const bool extreme : {false, true}) {
            std::vector<float> patch(2 * static_cast<std::size_t>(columns));
            for (float& value : patch) {
                value = static_cast<float>(extreme ? (random.oneIn(2) ? 159 : -159)
                                                   : random.between(-159, 159));
            }
            const ReferenceOutput expected =
                runReferenceNetwork(readReferenceNetwork(folder, number), patch.data());
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

class Stop : public std::exception {};

// The program's tests replace a model; see also staged_folder_test.cpp.
TEST(ModelMaker, stoppedWorkLeavesWhatWasThere) {
    for (const auto& [kind, isThere] :
         {std::pair{WeightKind::integer, true}, {WeightKind::random, false}}) {
        const int total = 303;
        for (const int steps : {0, 200, total}) {
            const TemporaryFolder parent;
            ModelRequest request = requestFor(parent.path() / "model", kind);
            const std::string former = isThere ? "of a former model" : "";
            if (isThere) {
                fs::create_directory(request.folder);
                std::ofstream(request.folder / "6-0") << former;
                request.replace = true;
            }
            int seen = 0;
            EXPECT_THROW(makeModel(request,
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
            EXPECT_EQ(readFile(request.folder / "6-0"), former);
            const fs::directory_iterator entries(parent.path());
            EXPECT_EQ(std::distance(begin(entries), end(entries)), isThere ? 1 : 0);
        }
    }
}
