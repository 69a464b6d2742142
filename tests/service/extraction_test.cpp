#include "service/extraction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

#include "support/bits.h"
#include "support/faces.h"
#include "support/nets.h"
#include "support/pictures.h"

namespace {

// A context whose networks only hand on their patch, which is no output of a network.
class Extraction : public testing::Test {
  protected:
    Extraction() : random(8), picture(randomPicture(random, 200, 200, 600)) {
        for (std::size_t k = 0; k < context.nets.size(); ++k) {
            context.nets[k] = std::make_unique<ConvNet>(
                ("[Net]\nLayerCount=1\nLayerNames=d\n[d]\ntype=data\nactsTarget=0\ndataIdx=" +
                 std::to_string(k) + "\n")
                    .c_str(),
                "");
        }
    }

    ZomuContext context;
    Random random;
    Picture picture;
    LandmarkRecord face = projectFace({});
};

// Stands behind a data layer and looks at a template while the networks run.
class TemplateWatcher : public Layer {
  public:
    TemplateWatcher(Layer& watched, const FaceTemplate& watchedTemplate)
        : Layer(bareLayer(watched.name)), faceTemplate(watchedTemplate), before(watchedTemplate) {
        watched.next.push_back(this);
    }

    void computeActs(std::int32_t, float) override {}
    void inputReady() override {
        wasAsked = true;
        isUntouched = std::memcmp(&faceTemplate, &before, sizeof before) == 0;
    }

    bool wasAsked = false;
    bool isUntouched = false;

  private:
    const FaceTemplate& faceTemplate;
    const FaceTemplate before;
};

// Not inlined, so that the sum stays between the changes of mode around the call.
[[gnu::noinline]] bool roundsUpward() {
    volatile float one = 1.0F;
    volatile float little = 1e-10F;
    return one + little > one;
}

// Stands behind a data layer and looks at how its thread rounds.
class RoundingWatcher : public Layer {
  public:
    explicit RoundingWatcher(Layer& watched) : Layer(bareLayer(watched.name)) {
        watched.next.push_back(this);
    }

    void computeActs(std::int32_t, float) override {}
    void inputReady() override { sawNearest = !roundsUpward(); }

    bool sawNearest = false;
};

}  // namespace

TEST_F(Extraction, roundsToNearestOnEveryThreadOfTheTeam) {
    std::vector<std::unique_ptr<RoundingWatcher>> watchers;
    for (const auto& net : context.nets) {
        watchers.push_back(std::make_unique<RoundingWatcher>(*net->layers[0]));
    }
    // The threads exist before the extraction, and have the host's mode. There are run times that
    // hand the mode of the thread outside on to the team and put it back behind it.
    std::fesetround(FE_UPWARD);
#pragma omp parallel
    std::fesetround(FE_UPWARD);
    FaceTemplate result;
    extractTemplate(context, g_modelTables, picture.topRow(), picture.width, picture.height,
                    picture.stride, face, result);
    int keptUpward = 0;
    int threads = 0;
#pragma omp parallel reduction(+ : keptUpward, threads)
    {
        keptUpward += roundsUpward() ? 1 : 0;
        threads += 1;
        std::fesetround(FE_TONEAREST);
    }
    std::fesetround(FE_TONEAREST);
    for (const auto& watcher : watchers) {
        EXPECT_TRUE(watcher->sawNearest);
    }
    EXPECT_EQ(keptUpward, threads);
}

TEST_F(Extraction, doesNotTouchTheTemplateWhileTheNetworksRun) {
    FaceTemplate result;
    std::fill(std::begin(result.projection), std::end(result.projection), 7.0F);
    result.quadraticTerm = 8.0F;
    result.projectionNorm = 9.0F;
    TemplateWatcher first(*context.nets[0]->layers[0], result);
    TemplateWatcher last(*context.nets[24]->layers[0], result);
    extractTemplate(context, g_modelTables, picture.topRow(), picture.width, picture.height,
                    picture.stride, face, result);
    EXPECT_TRUE(first.wasAsked && first.isUntouched);
    EXPECT_TRUE(last.wasAsked && last.isUntouched);
    EXPECT_TRUE(std::isnan(result.projection[0])) << "written in the end";
}

TEST_F(Extraction, givesEachNetworkASliceOfItsOwn) {
    // Network 7 hands on two rows of 160 values, the others an output of another size.
    Matrix output = matrixOf(2, 160, std::vector<float>(320, 2));
    context.nets[7]->layers[0]->next.clear();
    class Handing : public Layer {
      public:
        explicit Handing(Matrix& matrix) : Layer(bareLayer("d")) { outputs = &matrix; }
        void computeActs(std::int32_t, float) override {}
        void inputReady() override {}
    };
    context.nets[7]->layers.push_back(std::make_unique<Handing>(output));
    std::vector<float> features(8000, -1);
    computeFeatures(context, g_modelTables.meanImages, picture.topRow(), picture.width,
                    picture.height, picture.stride, face, features.data());
    const float unit = 2.0F / std::sqrt(640.0F);
    for (std::size_t n = 0; n < features.size(); ++n) {
        if (n / 320 == 7) {
            ASSERT_NEAR(features[n], unit, 1e-7F) << n;
        } else {
            ASSERT_TRUE(std::isnan(features[n])) << n;
        }
    }
}

// One network of the first thread's block and one of the last: whichever thread runs them.
TEST_F(Extraction, handsOnAnExceptionOfANetworkAndWorksOn) {
    class Throwing : public Layer {
      public:
        Throwing(Layer& input, std::string text) : Layer(bareLayer("d")), reason(std::move(text)) {
            input.next.push_back(this);
        }
        void computeActs(std::int32_t, float) override {}
        void inputReady() override { throw std::runtime_error(reason); }

      private:
        std::string reason;
    };
    FaceTemplate result;
    std::memset(&result, 0xA5, sizeof result);
    const FaceTemplate before = result;
    const auto extract = [&] {
        extractTemplate(context, g_modelTables, picture.topRow(), picture.width, picture.height,
                        picture.stride, face, result);
    };
    Throwing last(*context.nets[24]->layers[0], "network 24");
    Throwing first(*context.nets[3]->layers[0], "network 3");
    try {
        extract();
        ADD_FAILURE() << "the exception went lost";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "network 3");
    }
    EXPECT_EQ(std::memcmp(&before, &result, sizeof before), 0);

    context.nets[3]->layers[0]->next.clear();
    context.nets[24]->layers[0]->next.clear();
    extract();
    EXPECT_TRUE(std::isnan(result.projection[0])) << "written now";
}

TEST_F(Extraction, saysWhyItRefuses) {
    const std::uint8_t pixel[12] = {};
    EXPECT_STREQ(whyTemplateIsRefused(nullptr, 9, 9, &face), "no image");
    EXPECT_STREQ(whyTemplateIsRefused(pixel, 1, 9, &face), "an image smaller than 2 x 2 pixels");
    EXPECT_STREQ(whyTemplateIsRefused(pixel, 9, 1, &face), "an image smaller than 2 x 2 pixels");
    EXPECT_STREQ(whyTemplateIsRefused(pixel, -9, 9, &face), "an image smaller than 2 x 2 pixels");
    EXPECT_STREQ(whyTemplateIsRefused(pixel, 2, 2, nullptr), "no landmarks");
    EXPECT_EQ(whyTemplateIsRefused(pixel, 2, 2, &face), nullptr);
    face.count = 24;
    EXPECT_STREQ(whyTemplateIsRefused(pixel, 2, 2, &face), "fewer than 25 landmarks");
}
