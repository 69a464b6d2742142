#include "layers/layer.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "support/nets.h"

namespace {

// Notes the arguments of computeActs and does nothing else.
class NotingLayer : public Layer {
  public:
    using Layer::Layer;
    void computeActs(std::int32_t inputIndex, float targetScale) override {
        calls.emplace_back(inputIndex, targetScale);
    }
    std::vector<std::pair<std::int32_t, float>> calls;
};

using Calls = std::vector<std::pair<std::int32_t, float>>;

// Two sources that only hand on a matrix, and one layer behind both.
class LayerTest : public testing::Test {
  protected:
    void join(const std::string& targetKeys) {
        describe("[a]\ntype=x\n[b]\n[joined]\n" + targetKeys);
        first = std::make_unique<NotingLayer>(net, "a");
        second = std::make_unique<NotingLayer>(net, "b");
        joined = std::make_unique<NotingLayer>(net, "joined");
        joined->prev = {first.get(), second.get()};
        first->next = {joined.get()};
        second->next = {joined.get()};
    }

    ConvNet net = ConvNet(0, "", "");
    std::unique_ptr<NotingLayer> first;
    std::unique_ptr<NotingLayer> second;
    std::unique_ptr<NotingLayer> joined;
};

}  // namespace

TEST_F(LayerTest, readsTypeAndTakesAMatrixOfItsOwnWithoutActsTarget) {
    join("type=noting\n");
    EXPECT_EQ(joined->name, "joined");
    EXPECT_EQ(joined->type, "noting");
    EXPECT_EQ(joined->actsTarget, -1);
    EXPECT_EQ(joined->net, &net);
    ASSERT_NE(joined->getActs(), nullptr);
    EXPECT_EQ(joined->getActs()->numElements, 0);
    EXPECT_EQ(joined->getActs()->trans, kRowMajor);
    EXPECT_TRUE(joined->getActs()->ownsData);
    EXPECT_EQ(second->type, "");
}

TEST_F(LayerTest, keepsAMatrixOfItsOwnWhereActsTargetIsNoNumber) {
    join("actsTarget=abc\n");
    EXPECT_EQ(joined->actsTarget, -1);
    EXPECT_NE(joined->getActs(), nullptr);
}

TEST_F(LayerTest, waitsUntilAllInputsHaveFinished) {
    join("");
    joined->reset();
    joined->inputReady();
    EXPECT_TRUE(joined->calls.empty());
    EXPECT_EQ(joined->received, 1);
    joined->inputReady();
    EXPECT_EQ(joined->calls.size(), 2U);
    EXPECT_EQ(joined->received, 2);
}

TEST_F(LayerTest, overwritesWithItsFirstInputAndAddsTheSecond) {
    join("");
    joined->inputReady();
    joined->inputReady();
    EXPECT_EQ(joined->calls, (Calls{{0, 0.0F}, {1, 1.0F}}));
    EXPECT_EQ(joined->inputs, (MatrixList{first->getActs(), second->getActs()}));
}

TEST_F(LayerTest, startsWithTheInputWhoseMatrixItShares) {
    join("actsTarget=1\n");
    EXPECT_EQ(joined->getActs(), nullptr);
    joined->inputReady();
    joined->inputReady();
    EXPECT_EQ(joined->calls, (Calls{{1, 0.0F}, {0, 1.0F}}));
    EXPECT_EQ(joined->getActs(), second->getActs());
}

TEST_F(LayerTest, tellsItsFollowersInOrderAfterItsOwnWork) {
    join("");
    describe("[c]\n[d]\n");
    NotingLayer c(net, "c");
    NotingLayer d(net, "d");
    c.prev = {joined.get()};
    d.prev = {joined.get()};
    std::vector<std::string> fired;
    FiringProbe probeC(c, fired);
    FiringProbe probeD(d, fired);
    joined->next = {&d, &c};
    joined->inputReady();
    joined->inputReady();
    EXPECT_EQ(fired, (std::vector<std::string>{"d", "c"}));
    EXPECT_EQ(c.inputs, MatrixList{joined->getActs()});
}

TEST_F(LayerTest, keepsItsOutputWhereResetIsForgotten) {
    join("");
    joined->inputReady();
    joined->inputReady();
    joined->inputReady();
    joined->inputReady();
    EXPECT_EQ(joined->calls.size(), 2U) << "fired again without a reset";
    joined->reset();
    EXPECT_EQ(joined->received, 0);
    EXPECT_EQ(joined->backCount, 0);
    joined->inputReady();
    joined->inputReady();
    EXPECT_EQ(joined->calls.size(), 4U);
}

TEST(DataLayer, handsOnTheEntryOfItsIndexItself) {
    const auto net =
        buildNet("[Net]\nLayerCount=1\nLayerNames=d\n[d]\ntype=data\ndataIdx=2\nactsTarget=0\n");
    Matrix entries[3];
    EXPECT_EQ(net->layers[0]->getActs(), nullptr);
    const Matrix* out = runNet(*net, {&entries[0], &entries[1], &entries[2]});
    EXPECT_EQ(out, &entries[2]);
    EXPECT_TRUE(net->layers[0]->inputs.empty());
}

TEST(DataLayer, firesTheLayerBehindItAtOnce) {
    const auto net = buildNet(
        "[Net]\nLayerCount=2\nLayerNames=d_n\n[d]\ntype=data\ndataIdx=0\nactsTarget=0\n"
        "[n]\ntype=neuron\nneuron=relu\ninputs=d\nactsTarget=0\n");
    Matrix patch = matrixOf(1, 2, {-1, 2});
    EXPECT_EQ(runNet(*net, {&patch}), &patch);
    EXPECT_EQ(net->layers[1]->received, 1);
    EXPECT_EQ(valuesOf(patch), (std::vector<float>{0, 2}));
}

TEST(DataLayer, refusesInputs) {
    const auto net = buildNet(
        "[Net]\nLayerCount=2\nLayerNames=d_e\n[d]\ntype=data\ndataIdx=0\nactsTarget=0\n"
        "[e]\ntype=data\ndataIdx=0\nactsTarget=0\ninputs=d\n");
    Matrix patch(1, 1);
    try {
        runNet(*net, {&patch});
        FAIL() << "nothing thrown";
    } catch (const std::string& words) {
        EXPECT_EQ(words, "No data given!");
    }
}
