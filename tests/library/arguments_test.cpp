// Pictures, records and nulls, good and bad, on their way through the exported functions.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "library/host_run.h"
#include "support/bits.h"
#include "support/environment.h"

namespace {

enum class Outcome {
    Same,     // the template of the same face in ordinary memory
    Nearly,   // but for the last bits, which move some bytes of the patches by one
    Similar,  // not the same, for the fit has four points less
    Finite,
    Any,  // no promise about the values
    Refused,
};

struct Argument {
    const char* name;
    std::vector<std::string> pictureAndRecord;
    Outcome outcome;
    const char* reason = "";
};

// The length of the difference of two projections, in units of the first.
double distanceOf(const HostRun& first, const HostRun& second) {
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

constexpr const char* kTooSmall = "an image smaller than 2 x 2 pixels";
constexpr const char* kTooFew = "fewer than 25 landmarks";
constexpr const char* kTooFewKept = "fewer than 25 landmarks besides the sides of the head";
constexpr const char* kTooManyKept = "more than 25 landmarks besides the sides of the head";
constexpr const char* kBadId = "a landmark id outside 0 to 317";

// Around the pictures stand guards where nothing may be read; padding holds bytes that would show.
const Argument kArguments[] = {
    {"pictureStartsBehindGuard", {"starts-behind-guard", "good"}, Outcome::Same},
    {"pictureIsPadded", {"padded", "good"}, Outcome::Same},
    {"pictureIsBottomUp", {"bottom-up", "good"}, Outcome::Same},
    {"pictureIsBottomUpBehindGuard", {"bottom-up-behind-guard", "good"}, Outcome::Same},
    {"pictureIsBottomUpPadded", {"bottom-up-padded", "good"}, Outcome::Same},
    {"rowsBetweenGuards", {"rows-between-guards", "good"}, Outcome::Same},
    {"rowsBottomUpBetweenGuards", {"bottom-up-rows-between-guards", "good"}, Outcome::Same},
    {"pictureOf2By2Pixels", {"smallest", "good"}, Outcome::Finite},
    {"recordEndsAtGuard", {"ends-at-guard", "good"}, Outcome::Same},
    {"recordWithReservedBytes", {"ends-at-guard", "reserved"}, Outcome::Same},
    {"recordShuffled", {"ends-at-guard", "shuffled"}, Outcome::Nearly},
    {"recordWithoutTheSides", {"ends-at-guard", "without-sides"}, Outcome::Similar},
    {"landmarksOutside", {"ends-at-guard", "outside"}, Outcome::Any},
    {"landmarksFarOutside", {"ends-at-guard", "far-outside"}, Outcome::Any},
    {"landmarksInOnePoint", {"ends-at-guard", "one-point"}, Outcome::Any},
    {"landmarksInfinite", {"ends-at-guard", "infinite"}, Outcome::Any},
    {"landmarksNan", {"ends-at-guard", "nan"}, Outcome::Any},
    {"noPicture", {"null", "good", "200", "100"}, Outcome::Refused, "no image"},
    {"oneColumn", {"forbidden", "good", "1", "5"}, Outcome::Refused, kTooSmall},
    {"oneRow", {"forbidden", "good", "5", "1"}, Outcome::Refused, kTooSmall},
    {"noPixels", {"forbidden", "good", "0", "0"}, Outcome::Refused, kTooSmall},
    {"negativeSizes", {"forbidden", "good", "-200", "-100"}, Outcome::Refused, kTooSmall},
    {"noRecord", {"ends-at-guard", "none"}, Outcome::Refused, "no landmarks"},
    {"negativeCount", {"ends-at-guard", "negative-count"}, Outcome::Refused, kTooFew},
    {"24Entries", {"ends-at-guard", "24-entries"}, Outcome::Refused, kTooFew},
    {"24KeptEntries", {"ends-at-guard", "24-kept-entries"}, Outcome::Refused, kTooFewKept},
    {"26KeptEntries", {"ends-at-guard", "26-kept-entries"}, Outcome::Refused, kTooManyKept},
    {"hugeCount", {"ends-at-guard", "huge-count"}, Outcome::Refused, kTooManyKept},
    {"idBelow0", {"ends-at-guard", "id-below-0"}, Outcome::Refused, kBadId},
    {"id318", {"ends-at-guard", "id-318"}, Outcome::Refused, kBadId},
};

class Arguments : public testing::TestWithParam<Argument> {};

}  // namespace

// And the context then gives the next template as if nothing had been.
TEST_P(Arguments, haveTheirOutcomeAndDoNoHarm) {
    const auto& [name, pictureAndRecord, outcome, reason] = GetParam();
    std::vector<std::string> scenario = {"extract-from"};
    scenario.insert(scenario.end(), pictureAndRecord.begin(), pictureAndRecord.end());
    const HostRun run = runHost(sharedTemporaryDirectory(), scenario);
    const HostRun plain = plainRun();
    const bool isRefused = outcome == Outcome::Refused;
    ASSERT_TRUE(ended(run, isRefused ? std::string("template refused: ") + reason + "\n" : "",
                      2 * kTemplateSize));
    EXPECT_TRUE(sameTemplate(plain, 0, run, 1));
    EXPECT_TRUE(outcome == Outcome::Any || isRefused || isFiniteTemplate(run, 0));
    EXPECT_TRUE(!isRefused || isNanTemplate(run, 0));
    EXPECT_TRUE(outcome != Outcome::Same || sameTemplate(plain, 0, run, 0));
    if (outcome == Outcome::Nearly || outcome == Outcome::Similar) {
        EXPECT_LT(distanceOf(plain, run), outcome == Outcome::Nearly ? 1e-3 : 0.01);
    }
}

INSTANTIATE_TEST_SUITE_P(Library, Arguments, testing::ValuesIn(kArguments),
                         [](const auto& test) { return test.param.name; });

TEST(NullArguments, leaveEverythingUntouched) {
    const HostRun run = runHost(sharedTemporaryDirectory(), {"pass-nulls"});
    ASSERT_TRUE(ended(run, "", 2 * kTemplateSize));
    for (std::size_t i = 0; i < run.results.size(); ++i) {
        EXPECT_EQ(run.results[i], static_cast<float>(i % kTemplateSize));
    }
}

// With no model and no context. Worked by hand: (2 x 25 - 20) / 25 + 1.
TEST(Comparison, needsNoContext) {
    const HostRun run = runHost(kNowhere, {"compare"});
    ASSERT_TRUE(ended(run, tableLines(kNowhere), 5));
    EXPECT_TRUE(sameFloat(30.0F / 25.0F + 1.0F, run.results[0]));
    EXPECT_TRUE(sameFloat(run.results[1], run.results[2]));
    EXPECT_NEAR(run.results[1], (2 * 2.1 - 10.3) / (5 * 2.1) + 1, 1e-6);
    EXPECT_TRUE(std::isnan(run.results[3]));
    EXPECT_TRUE(sameFloat(-std::numeric_limits<float>::infinity(), run.results[4]));
}
