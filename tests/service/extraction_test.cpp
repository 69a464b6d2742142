#include "service/extraction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cfenv>
#include <cmath>
#include <cstring>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

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
            context.nets[k] = buildNet(
                "[Net]\nLayerCount=1\nLayerNames=d\n[d]\ntype=data\nactsTarget=0\ndataIdx=" +
                std::to_string(k) + "\n");
        }
    }

    void extract() {
        extractTemplate(context, g_modelTables, picture.topRow(), picture.width, picture.height,
                        picture.stride, face, result);
    }

    ZomuContext context;
    FaceTemplate result;
    Random random;
    Picture picture;
    LandmarkRecord face = projectFace({});
};

// Not inlined, so that the sum stays between the changes of mode around the call.
[[gnu::noinline]] bool roundsUpward() {
    volatile float one = 1.0F;
    volatile float little = 1e-10F;
    return one + little > one;
}

// Stands behind a data layer and does this when the network runs.
class Watcher : public Layer {
  public:
    Watcher(Layer& watched, std::function<void()> whatToDo)
        : Layer(bareLayer(watched.name)), action(std::move(whatToDo)) {
        watched.next.push_back(this);
    }

    void computeActs(std::int32_t, float) override {}
    void inputReady() override { action(); }

  private:
    std::function<void()> action;
};

}  // namespace

TEST_F(Extraction, roundsToNearestOnEveryThreadOfTheTeam) {
    std::vector<std::unique_ptr<Watcher>> watchers;
    std::array<bool, 25> sawNearest = {};
    for (std::size_t k = 0; k < 25; ++k) {
        watchers.push_back(std::make_unique<Watcher>(
            *context.nets[k]->layers[0], [&sawNearest, k] { sawNearest[k] = !roundsUpward(); }));
    }
    // The threads exist before the extraction, and have the host's mode. There are run times that
    // hand the mode of the thread outside on to the team and put it back behind it.
    std::fesetround(FE_UPWARD);
#pragma omp parallel
    std::fesetround(FE_UPWARD);
    extract();
    int keptUpward = 0;
    int threads = 0;
#pragma omp parallel reduction(+ : keptUpward, threads)
    {
        keptUpward += roundsUpward() ? 1 : 0;
        threads += 1;
        std::fesetround(FE_TONEAREST);
    }
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(std::ranges::count(sawNearest, true), 25);
    EXPECT_EQ(keptUpward, threads);
}

TEST_F(Extraction, doesNotTouchTheTemplateWhileTheNetworksRun) {
    std::fill(std::begin(result.projection), std::end(result.projection), 7.0F);
    result.quadraticTerm = 8.0F;
    result.projectionNorm = 9.0F;
    const FaceTemplate before = result;
    std::atomic<int> untouched = 0;
    const auto look = [&] {
        untouched += std::memcmp(&result, &before, sizeof before) == 0 ? 1 : 0;
    };
    const Watcher first(*context.nets[0]->layers[0], look);
    const Watcher last(*context.nets[24]->layers[0], look);
    extract();
    EXPECT_EQ(untouched, 2);
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

// The one of the network that starts first (large before small, colour before grey), whichever threads
// run them.
TEST_F(Extraction, handsOnAnExceptionOfANetworkAndWorksOn) {
    std::memset(&result, 0xA5, sizeof result);
    const FaceTemplate before = result;
    const Watcher last(*context.nets[24]->layers[0],
                       [] { throw std::runtime_error("network 24"); });
    const Watcher first(*context.nets[3]->layers[0], [] { throw std::runtime_error("network 3"); });
    try {
        extract();
        ADD_FAILURE() << "the exception went lost";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "network 24");
    }
    EXPECT_EQ(std::memcmp(&before, &result, sizeof before), 0);

    context.nets[3]->layers[0]->next.clear();
    context.nets[24]->layers[0]->next.clear();
    extract();
    EXPECT_TRUE(std::isnan(result.projection[0])) << "written now";
}

// Of 17 faces the first 16 are computed together, and the last one alone, here without success.
TEST_F(Extraction, writesTheTemplatesOfFacesThatAreComputedTogetherInTheEnd) {
    std::vector<FaceTemplate> results(17);
    std::memset(results.data(), 0xA5, results.size() * sizeof results[0]);
    const FaceTemplate before = results[0];
    const auto written = [&] {
        return std::ranges::count_if(results, [&](const FaceTemplate& one) {
            return std::memcmp(&one, &before, sizeof before) != 0;
        });
    };
    std::vector<FaceRequest> requests;
    for (FaceTemplate& templateOut : results) {
        requests.push_back({{picture.topRow(), picture.width, picture.height, picture.stride},
                            &face,
                            &templateOut});
    }
    std::vector<std::ptrdiff_t> writtenBefore;  // each run of network 24
    const Watcher watcher(*context.nets[24]->layers[0], [&] {
        writtenBefore.push_back(written());
        if (writtenBefore.size() == 17) {
            throw std::bad_alloc();
        }
    });
    EXPECT_THROW(extractTemplates(context, g_modelTables, requests), std::bad_alloc);
    std::vector<std::ptrdiff_t> expected(16, 0);
    expected.push_back(16);
    EXPECT_EQ(writtenBefore, expected);
    EXPECT_EQ(written(), 16);

    extractTemplates(context, g_modelTables, requests);
    EXPECT_EQ(written(), 17);
}
