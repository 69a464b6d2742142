#include "network/network_plan.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "network/net_texts.h"
#include "support/bits.h"
#include "support/model_folder.h"
#include "support/nets.h"
#include "support/random.h"
#include "support/temporary_folder.h"

namespace {

// A folder with the weights of network `number`, counted from 1, and what is built from them.
class PlannedNetwork {
  public:
    explicit PlannedNetwork(int networkNumber) : number(networkNumber) {
        Random random(51);
        writeNetWeights(folder.prefix(), number, random);
    }

    std::unique_ptr<ConvNet> build() const { return buildNet(text, folder.prefix()); }

    // With `from` replaced in the text.
    bool isPlannedWith(const std::string& from, const std::string& to) const {
        std::string other = text;
        const std::size_t place = other.find(from);
        EXPECT_NE(place, std::string::npos) << from;
        return buildNet(other.replace(place, from.size(), to), folder.prefix())->plan != nullptr;
    }

    const int number;
    const std::string text = netDescriptionTexts[number - 1];
    const TemporaryFolder folder;
};

// The outputs for two images, by the layers and by the kernels.
struct Outputs {
    std::vector<float> layers;
    std::vector<float> kernels;
};

Outputs outputsOf(ConvNet& net, const Kernels& kernels, std::vector<float> patch) {
    Matrix rows = Matrix::view(patch.data(), 2, static_cast<std::int32_t>(patch.size() / 2));
    MatrixList list(25, nullptr);
    list[static_cast<std::size_t>(net.plan->patch)] = &rows;
    Outputs outputs = {valuesOf(*runNet(net, list)), std::vector<float>(320)};
    const auto scratch = std::make_unique<NetworkScratch>();
    std::vector<StageValues> stages(2);
    for (std::size_t i = 0; i < 2; ++i) {
        kernels.runConvolutions(net.plan->weights, &patch[i * patch.size() / 2], {}, *scratch,
                                stages[i]);
    }
    kernels.runFullConnection(net.plan->weights, stages.data(), 1,
                              reinterpret_cast<float(*)[160]>(outputs.kernels.data()));
    return outputs;
}

std::vector<float> wholeNumbers(Random& random, std::size_t count, int largest) {
    std::vector<float> values(count);
    for (float& value : values) {
        value = static_cast<float>(random.between(-largest, largest));
    }
    return values;
}

}  // namespace

TEST(NetworkPlan, isMadeForEveryEmbeddedNetworkAndPatch) {
    for (const int number : {1, 3, 4}) {
        const PlannedNetwork network(number);
        const auto net = network.build();
        ASSERT_NE(net->plan, nullptr) << number;
        EXPECT_EQ(net->plan->patch, number - 1);
        EXPECT_EQ(net->plan->weights.side, number == 1 ? 55 : 47);
        EXPECT_EQ(net->plan->weights.channels, number == 4 ? 1 : 3);
        EXPECT_TRUE(network.isPlannedWith("dataIdx=" + std::to_string(number - 1), "dataIdx=7"));
    }
}

TEST(NetworkPlan, isNotMadeForAnotherText) {
    const PlannedNetwork network(4);
    const char* const changes[][2] = {
        {"LayerCount=13", "LayerCount=12"},
        {"neuron=relu", "neuron=abs"},
        {"pool=max", "pool=avg"},
        {"start=0", "start=-1"},
        {"padding=0", "padding=1"},
        {"stride=1", "stride=2"},
        {"inputs=local4_pool3", "inputs=local4"},
        {"actsTarget=0", "actsTarget=-1"},
        {"imgSize=47", "imgSize=55"},
        {"type=fc", "type=fc \n more=1"},
        {"[fc]", "[more] \n more=1 \n [fc]"},
    };
    for (const auto& [from, to] : changes) {
        EXPECT_FALSE(network.isPlannedWith(from, to)) << to;
    }
}

// Each file of a network in turn: missing, too short, or of another shape.
TEST(NetworkPlan, isNotMadeForWeightsThatDoNotFit) {
    const PlannedNetwork network(4);
    for (const WeightFile& file : weightFilesOf(network.number)) {
        const std::string path = network.folder.prefix() + file.name(network.number);
        const std::vector<float> values(
            static_cast<std::size_t>(file.rows) * static_cast<std::size_t>(file.cols), 0.5F);
        EXPECT_NE(network.build()->plan, nullptr);
        writeFloats(path, {values.begin(), values.end() - 1}, {file.rows, file.cols});
        EXPECT_EQ(network.build()->plan, nullptr) << "short " << path;
        writeFloats(path, values,
                    {file.cols == 1 ? 1 : file.rows * file.cols, file.cols == 1 ? file.rows : 1});
        EXPECT_EQ(network.build()->plan, nullptr) << "reshaped " << path;
        std::remove(path.c_str());
        EXPECT_EQ(network.build()->plan, nullptr) << "no " << path;
        writeWeightFile(path, file.rows, file.cols, values);
    }
}

// With whole numbers every sum is exact, in the BLAS's order and in the kernels'. Infinities and NaN
// among the weights and pixels go the same ways.
TEST(NetworkPlan, computesWhatTheLayersCompute) {
    Random random(52);
    constexpr float kOdd[] = {std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(),
                              std::numeric_limits<float>::quiet_NaN()};
    for (int round = 0; round < 12; ++round) {
        const PlannedNetwork network(round % 3 == 0 ? 1 : 2 + round % 3);
        for (const WeightFile& file : weightFilesOf(network.number)) {
            std::vector<float> values = wholeNumbers(
                random, static_cast<std::size_t>(file.rows) * static_cast<std::size_t>(file.cols),
                file.stage == 5 ? 2 : 1);
            if (round >= 3 && random.oneIn(3)) {
                random.oneOf(values) = random.oneOf(kOdd);
            }
            writeWeightFile(network.folder.prefix() + file.name(network.number), file.rows,
                            file.cols, values);
        }
        const auto net = network.build();
        ASSERT_NE(net->plan, nullptr);
        const NetworkWeights& weights = net->plan->weights;
        std::vector<float> patch = wholeNumbers(
            random, 2 * static_cast<std::size_t>(weights.channels * weights.side * weights.side),
            1);
        if (round >= 6) {
            random.oneOf(patch) = random.oneOf(kOdd);
        }
        for (const Kernels* kernels : runnableKernels()) {
            if (kernels->runConvolutions == nullptr) {
                continue;
            }
            const Outputs outputs = outputsOf(*net, *kernels, patch);
            for (std::size_t i = 0; i < 320; ++i) {
                ASSERT_TRUE((std::isnan(outputs.layers[i]) && std::isnan(outputs.kernels[i])) ||
                            outputs.layers[i] == outputs.kernels[i])
                    << kernels->name << ", round " << round << ", output " << i << ": "
                    << outputs.layers[i] << " and " << outputs.kernels[i];
            }
        }
    }
}
