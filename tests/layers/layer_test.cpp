#include "layers/layer.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/nets.h"

namespace {

using Calls = std::vector<std::pair<std::int32_t, float>>;

// Notes the arguments of computeActs and does nothing else.
class NotingLayer : public Layer {
  public:
    using Layer::Layer;
    void computeActs(std::int32_t inputIndex, float targetScale) override {
        calls.emplace_back(inputIndex, targetScale);
    }
    Calls calls;
};

// Two sources that only hand on a matrix, and one layer behind both.
class LayerTest : public testing::Test {
  protected:
    LayerTest() { join(""); }

    void join(const std::string& targetKeys) {
        const NetDescription description =
            parseDescription(("[a]\ntype=x\n[joined]\n" + targetKeys).c_str());
        first = layerOf(description, "a");
        second = layerOf(description, "b");
        joined = layerOf(description, "joined");
        joined->prev = {first.get(), second.get()};
        first->next = {joined.get()};
        second->next = {joined.get()};
    }

    static std::unique_ptr<NotingLayer> layerOf(const NetDescription& description,
                                                const std::string& name) {
        LayerSource source = bareLayer(name);
        source.section = getSection(description, name);
        return std::make_unique<NotingLayer>(source);
    }

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
    ASSERT_NE(joined->getActs(), nullptr);
    EXPECT_EQ(joined->getActs()->numElements, 0);
    EXPECT_EQ(joined->getActs()->trans, kRowMajor);
    EXPECT_TRUE(joined->getActs()->ownsData);
    EXPECT_EQ(second->type, "") << "a layer that is not described";
    for (const auto& [keys, target] : {std::pair{"actsTarget=abc", -1}, {"actsTarget=-2", -2}}) {
        join(keys);
        EXPECT_EQ(joined->actsTarget, target);
        EXPECT_NE(joined->getActs(), nullptr) << keys;
    }
}

TEST_F(LayerTest, keepsItsOutputWhereResetIsForgotten) {
    for (int i = 0; i < 4; ++i) {
        joined->inputReady();
    }
    EXPECT_EQ(joined->calls.size(), 2U) << "fired again without a reset";
    joined->reset();
    joined->fprop({first->getActs(), second->getActs()});
    EXPECT_EQ(joined->received, 2);
    joined->inputReady();
    EXPECT_EQ(joined->calls.size(), 4U) << "fired again after it was given its inputs";
    joined->backCount = 7;
    joined->reset();
    EXPECT_EQ(joined->received, 0);
    EXPECT_EQ(joined->backCount, 0);
    joined->inputReady();
    joined->inputReady();
    EXPECT_EQ(joined->calls.size(), 6U);
}
