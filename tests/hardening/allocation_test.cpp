// The n-th request for memory fails, for every n of every call: std::bad_alloc comes out of the
// exported function, nothing is lost, and the library works on.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "model/weight_files.h"
#include "hardening/failing_allocator.h"
#include "hardening/same_templates.h"
#include "hardening/sweep_form.h"
#include "library/host/host.h"
#include "matrix/matrix.h"
#include "support/nets.h"

namespace {

// Which requests of `total` fail, one after the other. A sample holds the first ones, the last ones
// and some in between.
std::vector<long> requestsToFail(long total, long ends, long between) {
    const long step = isFullSweep() ? 1 : std::max(total / between, 1L);
    std::vector<long> requests;
    for (long n = 1; n <= total; ++n) {
        if (n <= ends || n > total - ends || n % step == 0) {
            requests.push_back(n);
        }
    }
    return requests;
}

Failing kindOf(long n) {
    return n % 2 == 0 ? Failing::once : Failing::fromThenOn;
}

// Runs `call` with request n failing; true if std::bad_alloc came out.
template <typename Call>
bool failsAt(long n, Failing kind, const Call& call) {
    failAllocations(n, kind);
    try {
        call();
        stopFailing();
        return false;
    } catch (const std::bad_alloc&) {
        stopFailing();
        return true;
    }
}

template <typename Call>
long requestsOf(const Call& call) {
    failAllocations(0, Failing::once);
    call();
    return stopFailing();
}

constexpr unsigned char kMark = 0xA5;  // in each byte of a template before it is written

bool isUntouched(const FaceTemplate& result) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&result);
    return std::all_of(bytes, bytes + sizeof result,
                       [](unsigned char byte) { return byte == kMark; });
}

// One library, opened before memory is ever short, and the template that it owes.
class AllocationFailure : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        setenv("TMPDIR", ZOMU_EXACT_MODEL, 1);
        library = new Library(ZOMU_LIBRARY);
        face = new Scene(scene(0));
        const Context context(*library);
        expected = context.extract(*face);
        context.extract(*face);  // the team's threads have what they keep
    }
    static void TearDownTestSuite() {
        delete face;
        delete library;
    }

    static void extract(ZomuContext* context, FaceTemplate& result) {
        const Picture& picture = face->picture;
        library->extract(context, picture.topRow(), picture.width, picture.height, picture.stride,
                         &face->record, &result);
    }

    static testing::AssertionResult isExpected(const FaceTemplate& result) {
        return sameTemplates(expected, result);
    }

    // Extracts with request n failing. Either std::bad_alloc comes out and the template is
    // untouched, or nobody need know (a sort that finds no room for a buffer does without) and it
    // is whole.
    static testing::AssertionResult failsCleanly(ZomuContext* context, long n, Failing kind) {
        FaceTemplate result;
        std::memset(&result, kMark, sizeof result);
        if (failsAt(n, kind, [&] { extract(context, result); })) {
            return isUntouched(result) ? testing::AssertionSuccess()
                                       : testing::AssertionFailure() << "a template in part";
        }
        return quietFailures() == 0 ? testing::AssertionFailure() << "std::bad_alloc went lost"
                                    : isExpected(result);
    }

    // A new context, used and destroyed.
    static testing::AssertionResult newContextWorks() {
        const Context context(*library);
        return isExpected(context.extract(*face));
    }

    static Library* library;
    static Scene* face;
    static FaceTemplate expected;
};

Library* AllocationFailure::library = nullptr;
Scene* AllocationFailure::face = nullptr;
FaceTemplate AllocationFailure::expected;

}  // namespace

// A create that fails leaves the description that it was reading behind, of which there are fewer
// blocks than of a whole one. What has been lost shows after a create that went well, so that there
// is one after every 100 failures.
TEST_F(AllocationFailure, leavesCreateAndLosesNothing) {
    ASSERT_TRUE(newContextWorks());
    long before = outstandingBlocks();
    ZomuContext* context = nullptr;
    const long total = requestsOf([&] { context = library->create(); });
    library->destroy(context);
    ASSERT_EQ(outstandingBlocks(), before);
    ASSERT_GT(total, 25 * 11 * 4);

    long failures = 0;
    const std::vector<long> requests = requestsToFail(total, 60, 120);
    before = outstandingBlocks();
    for (const long n : requests) {
        for (const Failing kind : {Failing::once, Failing::fromThenOn}) {
            if (!isFullSweep() && kind != kindOf(n)) {
                continue;
            }
            ASSERT_TRUE(failsAt(n, kind, [&] { library->create(); })) << "request " << n;
            ASSERT_LE(outstandingBlocks(), before) << "request " << n;
            if (++failures % 100 == 0) {
                ASSERT_TRUE(newContextWorks()) << "request " << n;
                ASSERT_EQ(outstandingBlocks(), before) << "up to request " << n;
            }
        }
    }
    EXPECT_TRUE(newContextWorks());
    EXPECT_EQ(outstandingBlocks(), before);
    std::printf("create: %ld failures at %ld requests, %ld blocks lost\n", failures, total,
                outstandingBlocks() - before);
}

// The first extraction of a context shapes the layers' outputs. Here each failure meets a new one.
TEST_F(AllocationFailure, leavesTheFirstExtractionAndTheContextWorksOn) {
    ASSERT_TRUE(newContextWorks());
    FaceTemplate result;
    long total = 0;
    {
        const Context context(*library);
        total = requestsOf([&] { extract(context.get(), result); });
    }
    ASSERT_GT(total, 25 * 13);

    long failures = 0;
    const std::vector<long> requests = requestsToFail(total, 12, 12);
    const long before = outstandingBlocks();
    for (const long n : requests) {
        const Context context(*library);
        ASSERT_TRUE(failsCleanly(context.get(), n, kindOf(n))) << "request " << n;
        extract(context.get(), result);
        ASSERT_TRUE(isExpected(result)) << "request " << n;
        ++failures;
    }
    EXPECT_EQ(outstandingBlocks(), before);
    EXPECT_TRUE(newContextWorks());
    std::printf("first extraction: %ld failures at %ld requests, %ld blocks lost\n", failures,
                total, outstandingBlocks() - before);
}

TEST_F(AllocationFailure, leavesALaterExtractionAndTheContextWorksOn) {
    const Context context(*library);
    FaceTemplate result;
    extract(context.get(), result);
    const long total = requestsOf([&] { extract(context.get(), result); });
    ASSERT_GT(total, 25);

    long failures = 0;
    const std::vector<long> requests = requestsToFail(total, 12, 25);
    const long before = outstandingBlocks();
    for (const long n : requests) {
        for (const Failing kind : {Failing::once, Failing::fromThenOn}) {
            if (!isFullSweep() && kind != kindOf(n)) {
                continue;
            }
            ASSERT_TRUE(failsCleanly(context.get(), n, kind)) << "request " << n;
            ASSERT_EQ(outstandingBlocks(), before) << "request " << n;
            extract(context.get(), result);
            ASSERT_TRUE(isExpected(result)) << "request " << n;
            ++failures;
        }
    }
    EXPECT_TRUE(newContextWorks());
    std::printf("later extraction: %ld failures at %ld requests, %ld blocks lost\n", failures,
                total, outstandingBlocks() - before);
}

// A refusal is told in a line and NaN, a score in a float: there is nothing to ask memory for.
TEST_F(AllocationFailure, hasNoPlaceInDestroyCompareAndRefusal) {
    const long before = outstandingBlocks();
    ZomuContext* context = library->create();
    FaceTemplate result;
    long requests = requestsOf([&] { library->compare(&expected, &expected); });
    testing::internal::CaptureStdout();
    requests +=
        requestsOf([&] { library->extract(context, nullptr, 9, 9, 27, &face->record, &result); });
    testing::internal::GetCapturedStdout();
    requests += requestsOf([&] { library->destroy(context); });
    EXPECT_EQ(requests, 0);
    EXPECT_EQ(outstandingBlocks(), before);
    std::printf("destroy, compare and refusal: %ld requests\n", requests);
}

TEST(MatrixAllocation, failedResizeLeavesAnEmptyMatrixThatWorksOn) {
    Matrix matrix(3, 5);
    const long before = outstandingBlocks();
    ASSERT_TRUE(failsAt(1, Failing::once, [&] { matrix.resize(4, 5); }));
    EXPECT_EQ(outstandingBlocks(), before - 1);
    EXPECT_EQ(matrix.data, nullptr);
    EXPECT_EQ(matrix.numRows, 0);
    EXPECT_EQ(matrix.numCols, 0);
    EXPECT_EQ(matrix.numElements, 0);
    EXPECT_TRUE(matrix.ownsData);

    matrix.resize(4, 5);
    ASSERT_EQ(matrix.numElements, 20);
    matrix.apply(ElementFunction::One);
    EXPECT_EQ(matrix.at(3, 4), 1.0F);
    EXPECT_EQ(outstandingBlocks(), before);
}

TEST(MatrixAllocation, resizeWithinTheStorageAsksForNothing) {
    Matrix matrix(3, 4);
    EXPECT_FALSE(failsAt(1, Failing::fromThenOn, [&] { matrix.resize(6, 2); }));
    EXPECT_EQ(matrix.numRows, 6);
    EXPECT_EQ(matrix.numElements, 12);
}

TEST(MatrixAllocation, failedCopyLeavesTheSourceAlone) {
    Matrix matrix(2, 2);
    matrix.apply(ElementFunction::One);
    Matrix target(1, 1);
    ASSERT_TRUE(failsAt(1, Failing::once, [&] { matrix.copy(target); }));
    EXPECT_EQ(target.numElements, 0);
    EXPECT_EQ(matrix.at(1, 1), 1.0F);
    for (const long n : {1L, 2L}) {
        EXPECT_TRUE(failsAt(n, Failing::once, [&] { matrix.copy(); })) << n;
        EXPECT_TRUE(failsAt(n, Failing::once, [&] { matrix.transpose(); })) << n;
    }
}

TEST(DescriptionAllocation, failedParseLosesNothing) {
    const char* text = "[Net]\nLayerCount=1\nLayerNames=d\n[d]\ntype=data\ninputs=a_b\n";
    const auto parse = [&] { parseDescription(text); };
    const long total = requestsOf(parse);
    for (long n = 1; n <= total; ++n) {
        ASSERT_TRUE(failsAt(n, kindOf(n), parse)) << "request " << n;
    }
    EXPECT_NE(getSection(parseDescription(text), "Net"), nullptr);
}

TEST(ConvNetAllocation, failedBuildLosesNothing) {
    const std::string folder = "/no/such/folder/of/weights/";
    const auto build = [&] { ConvNet("[Net]\nLayerCount=0\n", folder); };
    const long total = requestsOf(build);
    for (long n = 1; n <= total; ++n) {
        ASSERT_TRUE(failsAt(n, kindOf(n), build)) << "request " << n;
    }
}
