// The n-th request for memory fails, for every n of every call: std::bad_alloc comes out of the
// exported function, nothing is lost, and the library works on.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "hardening/common.h"
#include "library/host/host.h"
#include "matrix/matrix.h"
#include "model/model_tables.h"
#include "service/attach.h"
#include "support/failing_allocator.h"
#include "support/model_folder.h"
#include "support/nets.h"
#include "support/temporary_folder.h"

namespace {

Failing kindOf(long n) {
    return n % 2 == 0 ? Failing::once : Failing::fromThenOn;
}

// Runs `call` with request n failing; true if std::bad_alloc came out.
bool failsAt(long n, Failing kind, const std::function<void()>& call) {
    bool isFailed = false;
    failAllocations(n, kind);
    try {
        call();
    } catch (const std::bad_alloc&) {
        isFailed = true;
    }
    stopFailing();
    return isFailed;
}

long requestsOf(const std::function<void()>& call) {
    failAllocations(0, Failing::once);
    call();
    return stopFailing();
}

bool isUntouched(const FaceTemplate& result) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&result);
    return std::all_of(bytes, bytes + sizeof result,
                       [](unsigned char byte) { return byte == kUnwritten; });
}

// One library, opened before memory is ever short, and the template that it owes.
class AllocationFailure : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        setenv("TMPDIR", ZOMU_EXACT_MODEL, 1);
        const std::string path = ZOMU_LIBRARY;
        loadRequests = requestsOf([&] { library = new Library(path); }) - 1;
        unsetenv("TMPDIR");
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
        extractScene(library->extract, context, *face, result);
    }

    static testing::AssertionResult isExpected(const FaceTemplate& result) {
        return sameTemplates(expected, result);
    }

    // Extracts with request n failing. Either std::bad_alloc comes out and the template is
    // untouched, or nobody need know (a sort that finds no room for a buffer does without) and it
    // is whole.
    static testing::AssertionResult failsCleanly(ZomuContext* context, long n, Failing kind) {
        FaceTemplate result;
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

    // Lets each of a call's `total` requests fail, or a sample: the first and the last ones and some
    // in between. In turn one way and the other, or, in a full sweep and where it is asked for, both
    // ways. `check` makes the call and says whether it failed as it should. Nothing may be lost, and
    // a new context must work.
    static void sweep(const char* call, long total, long ends, long between, bool bothWays,
                      const std::function<bool(long, Failing)>& check) {
        ASSERT_TRUE(newContextWorks());
        const long step = isFullSweep() ? 1 : std::max(total / between, 1L);
        const long before = outstandingBlocks();
        long failures = 0;
        for (long n = 1; n <= total; ++n) {
            const bool isChosen = n <= ends || n > total - ends || n % step == 0;
            for (const Failing kind : {Failing::once, Failing::fromThenOn}) {
                if (isChosen && (kind == kindOf(n) || (bothWays && isFullSweep()))) {
                    ASSERT_TRUE(check(n, kind)) << "request " << n;
                    ASSERT_EQ(outstandingBlocks(), before) << "request " << n;
                    ++failures;
                }
            }
        }
        EXPECT_TRUE(newContextWorks());
        EXPECT_EQ(outstandingBlocks(), before);
        std::printf("%s: %ld failures at %ld requests, %ld blocks lost\n", call, failures, total,
                    outstandingBlocks() - before);
    }

    // Fails at the request, and works when it is called again.
    static testing::AssertionResult failsAndRecovers(const Context& context, long n, Failing kind) {
        const testing::AssertionResult isClean = failsCleanly(context.get(), n, kind);
        return isClean ? isExpected(context.extract(*face)) : isClean;
    }

    static Library* library;
    static long loadRequests;
    static Scene* face;
    static FaceTemplate expected;
};

// A file of a table, and where the one value that it holds, which is 1, goes.
struct TableFile {
    std::string name;
    float* value;
};

std::vector<TableFile> writeTables(const std::string& model) {
    std::filesystem::create_directory(model);
    std::vector<TableFile> files;
    for (int number = 1; number <= kNetCount; ++number) {
        writeMeanImage(model, number, {1});
        files.push_back(
            {"0-" + std::to_string(number) + "-0", g_modelTables.meanImages[number - 1]});
    }
    files.push_back({"6-0", g_modelTables.featureMean});
    files.push_back({"6-1", &g_modelTables.projection.at(0, 0)});
    files.push_back({"6-2", &g_modelTables.projection.at(kProjectionCount, 0)});
    for (const char* name : {"6-0", "6-1", "6-2"}) {
        writeFloats(model + name, {1});
    }
    return files;
}

Library* AllocationFailure::library = nullptr;
long AllocationFailure::loadRequests = 0;
Scene* AllocationFailure::face = nullptr;
FaceTemplate AllocationFailure::expected;

}  // namespace

TEST_F(AllocationFailure, leavesCreateAndLosesNothing) {
    ASSERT_TRUE(newContextWorks());
    ZomuContext* context = nullptr;
    const long total = requestsOf([&] { context = library->create(); });
    library->destroy(context);
    ASSERT_GT(total, 25 * 11 * 4);
    sweep("create", total, 60, 120, true,
          [&](long n, Failing kind) { return failsAt(n, kind, [&] { library->create(); }); });
}

// The first extraction of a context allocates its buffers. Here each failure meets a new one.
TEST_F(AllocationFailure, leavesTheFirstExtractionAndTheContextWorksOn) {
    ASSERT_TRUE(newContextWorks());
    FaceTemplate result;
    long total = 0;
    {
        const Context context(*library);
        total = requestsOf([&] { extract(context.get(), result); });
    }
    ASSERT_GT(total, 25);
    sweep("first extraction", total, 12, 12, false,
          [&](long n, Failing kind) { return failsAndRecovers(Context(*library), n, kind); });
}

TEST_F(AllocationFailure, hasFewPlacesInALaterExtractionAndTheContextWorksOn) {
    const Context context(*library);
    FaceTemplate result = context.extract(*face);
    const long total = requestsOf([&] { extract(context.get(), result); });
    EXPECT_LE(total, 10);
    sweep("later extraction", total, 12, 25, true,
          [&](long n, Failing kind) { return failsAndRecovers(context, n, kind); });
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

// Nothing may be thrown through the loader. Only the two files of projections ask for memory, once each,
// and count as files that cannot be opened if there is none.
TEST_F(AllocationFailure, ofALoadCostsTheFilesThatItMeets) {
    const TemporaryFolder folder;
    const std::vector<TableFile> files = writeTables(folder.prefix() + kModelFolderName + "/");
    setenv("TMPDIR", ZOMU_EXACT_MODEL, 1);
    EXPECT_EQ(loadRequests, requestsOf(attachLibrary)) << "the library asks for more than its load";
    setenv("TMPDIR", folder.path().c_str(), 1);
    const long total = requestsOf(attachLibrary);
    ASSERT_EQ(total, 2);
    const auto count = static_cast<long>(files.size());
    for (long n = 1; n <= total; ++n) {
        for (const Failing kind : {Failing::once, Failing::fromThenOn}) {
            const long first = count - 3 + n;
            std::string lines;
            for (const auto& [name, value] : files) {
                *value = 0;
            }
            startCapture();
            const bool isThrown = failsAt(n, kind, attachLibrary);
            const std::string output = endCapture();
            for (long file = 0; file < count; ++file) {
                const auto& [name, value] = files[static_cast<std::size_t>(file)];
                const bool isMissing = kind == Failing::once ? file == first : file >= first;
                lines +=
                    isMissing ? std::string("load ") + modelDir + "/" + name + " failed\n" : "";
                ASSERT_EQ(*value, isMissing ? 0 : 1) << name << ", request " << n;
            }
            ASSERT_FALSE(isThrown) << "request " << n;
            ASSERT_EQ(output, lines) << "request " << n;
        }
    }
    std::printf("load: %ld failures at %ld requests\n", 2 * total, total);
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

TEST(BuildAllocation, failedParseOrBuildLosesNothing) {
    const char* text = "[Net]\nLayerCount=1\nLayerNames=d\n[d]\ntype=data\ninputs=a_b\n";
    const std::string folder = "/no/such/folder/of/weights/";
    const std::function<void()> calls[] = {[&] { parseDescription(text); },
                                           [&] { ConvNet("[Net]\nLayerCount=0\n", folder); }};
    const long before = outstandingBlocks();
    for (const auto& call : calls) {
        const long total = requestsOf(call);
        ASSERT_GT(total, 0);
        for (long n = 1; n <= total; ++n) {
            ASSERT_TRUE(failsAt(n, kindOf(n), call)) << "request " << n;
            ASSERT_EQ(outstandingBlocks(), before) << "request " << n;
        }
    }
}
