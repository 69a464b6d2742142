// Pictures, records and nulls, good and bad, on their way through the exported functions.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "library/host_run.h"
#include "support/bits.h"
#include "support/environment.h"

static HostRun plainRun() {
    return runHost(sharedTemporaryDirectory(), {"extract", "1"});
}

class PictureLayouts : public testing::TestWithParam<const char*> {};

// Guards stand where nothing may be read; padding holds bytes that would show.
TEST_P(PictureLayouts, giveTheSameTemplate) {
    const HostRun run = runHost(sharedTemporaryDirectory(), {"extract-from-layout", GetParam()});
    ASSERT_TRUE(ended(run, "", kTemplateSize));
    EXPECT_TRUE(isFiniteTemplate(run, 0));
    EXPECT_TRUE(sameTemplate(plainRun(), 0, run, 0));
}

static std::string nameOf(const testing::TestParamInfo<const char*>& info) {
    std::string name = info.param;
    for (char& letter : name) {
        letter = letter == '-' ? '_' : letter;
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Arguments, PictureLayouts,
                         testing::Values("ends-at-guard", "starts-behind-guard", "padded",
                                         "bottom-up", "bottom-up-behind-guard", "bottom-up-padded",
                                         "rows-between-guards", "bottom-up-rows-between-guards"),
                         nameOf);

TEST(Arguments, pictureOf2By2PixelsIsEnough) {
    const HostRun run = runHost(sharedTemporaryDirectory(), {"extract-from-smallest-picture"});
    ASSERT_TRUE(ended(run, "", kTemplateSize));
    EXPECT_TRUE(isFiniteTemplate(run, 0));
}

TEST(Arguments, reservedBytesHaveNoEffect) {
    const HostRun run = runHost(sharedTemporaryDirectory(), {"extract-from-record", "reserved"});
    ASSERT_TRUE(ended(run, "", kTemplateSize));
    EXPECT_TRUE(sameTemplate(plainRun(), 0, run, 0));
}

// The length of the difference of two projections, in units of the first.
static double distanceOf(const HostRun& first, const HostRun& second) {
    double square = 0;
    double length = 0;
    for (std::size_t i = 0; i < 500; ++i) {
        const auto a = static_cast<double>(first.results.at(i));
        const auto b = static_cast<double>(second.results.at(i));
        square += (a - b) * (a - b);
        length += a * a;
    }
    return std::sqrt(square / length);
}

// The kept landmarks are the same. The measure of the face is a sum in record order, whose last
// bits change; they move some bytes of the patches by one.
TEST(Arguments, shuffledRecordGivesNearlyTheSameTemplate) {
    const HostRun run = runHost(sharedTemporaryDirectory(), {"extract-from-record", "shuffled"});
    ASSERT_TRUE(ended(run, "", kTemplateSize));
    EXPECT_LT(distanceOf(plainRun(), run), 1e-3);
}

// Four points less in the fit: a somewhat other measure, and so a somewhat other template.
TEST(Arguments, recordWithoutTheSidesOfTheHeadGivesASimilarTemplate) {
    const HostRun run =
        runHost(sharedTemporaryDirectory(), {"extract-from-record", "without-sides"});
    ASSERT_TRUE(ended(run, "", kTemplateSize));
    const HostRun plain = plainRun();
    EXPECT_FALSE(sameTemplate(plain, 0, run, 0));
    EXPECT_LT(distanceOf(plain, run), 0.01);
}

class OddLandmarks : public testing::TestWithParam<const char*> {};

// No promise about the values, but the call comes back and says nothing.
TEST_P(OddLandmarks, areTakenAsTheyCome) {
    const HostRun run = runHost(sharedTemporaryDirectory(), {"extract-from-record", GetParam()});
    EXPECT_TRUE(ended(run, "", kTemplateSize));
}

INSTANTIATE_TEST_SUITE_P(Arguments, OddLandmarks,
                         testing::Values("outside", "far-outside", "one-point", "infinite", "nan"),
                         nameOf);

TEST(Arguments, nullsLeaveEverythingUntouched) {
    const HostRun run = runHost(sharedTemporaryDirectory(), {"pass-nulls"});
    ASSERT_TRUE(ended(run, "", 2 * kTemplateSize));
    for (std::size_t i = 0; i < run.results.size(); ++i) {
        EXPECT_EQ(run.results[i], static_cast<float>(i % kTemplateSize));
    }
}

struct Refusal {
    const char* name;
    std::vector<std::string> scenario;
    const char* reason;
};

class RefusedArguments : public testing::TestWithParam<Refusal> {};

TEST_P(RefusedArguments, giveALineANanTemplateAndNoHarm) {
    const Refusal& refusal = GetParam();
    const HostRun run = runHost(sharedTemporaryDirectory(), refusal.scenario);
    ASSERT_TRUE(
        ended(run, std::string("template refused: ") + refusal.reason + "\n", 2 * kTemplateSize));
    EXPECT_TRUE(isNanTemplate(run, 0));
    EXPECT_TRUE(sameTemplate(plainRun(), 0, run, 1));
}

static const char* const kTooSmall = "an image smaller than 2 x 2 pixels";
static const char* const kTooManyKept = "more than 25 landmarks besides the sides of the head";
static const char* const kBadId = "a landmark id outside 0 to 317";

INSTANTIATE_TEST_SUITE_P(
    Arguments, RefusedArguments,
    testing::Values(
        Refusal{"nullPicture", {"extract-from-bad-picture", "null", "200", "100"}, "no image"},
        Refusal{"oneColumn", {"extract-from-bad-picture", "guard", "1", "5"}, kTooSmall},
        Refusal{"oneRow", {"extract-from-bad-picture", "guard", "5", "1"}, kTooSmall},
        Refusal{"noPixels", {"extract-from-bad-picture", "guard", "0", "0"}, kTooSmall},
        Refusal{"negativeSizes", {"extract-from-bad-picture", "guard", "-200", "-100"}, kTooSmall},
        Refusal{"nullRecord", {"extract-without-record"}, "no landmarks"},
        Refusal{"negativeCount",
                {"extract-from-bad-record", "negative-count"},
                "fewer than 25 landmarks"},
        Refusal{"24Entries", {"extract-from-bad-record", "24-entries"}, "fewer than 25 landmarks"},
        Refusal{"24KeptEntries",
                {"extract-from-bad-record", "24-kept-entries"},
                "fewer than 25 landmarks besides the sides of the head"},
        Refusal{"26KeptEntries", {"extract-from-bad-record", "26-kept-entries"}, kTooManyKept},
        Refusal{"hugeCount",
                {"extract-from-bad-record", "26-kept-entries-and-a-huge-count"},
                kTooManyKept},
        Refusal{"idBelow0", {"extract-from-bad-record", "id-below-0"}, kBadId},
        Refusal{"id318", {"extract-from-bad-record", "id-318"}, kBadId}),
    [](const auto& test) { return test.param.name; });

// With no model and no context. Worked by hand: (2 x 25 - 20) / 25 + 1.
TEST(Arguments, comparisonNeedsNoContext) {
    const HostRun run = runHost(kNowhere, {"compare"});
    ASSERT_TRUE(ended(run, tableLines(kNowhere), 5));
    EXPECT_TRUE(sameFloat(30.0F / 25.0F + 1.0F, run.results[0]));
    EXPECT_TRUE(sameFloat(run.results[1], run.results[2]));
    EXPECT_NEAR(run.results[1], (2 * 2.1 - 10.3) / (5 * 2.1) + 1, 1e-6);
    EXPECT_TRUE(std::isnan(run.results[3]));
    EXPECT_TRUE(sameFloat(-std::numeric_limits<float>::infinity(), run.results[4]));
}
