// The BLAS: its arithmetic, that it stays on the calling thread, and the load that the networks put
// on it: many threads of the host at once, each with an OpenMP team. A build of the BLAS that
// cannot do that gives wrong products now and then, and this is where it shows.
#include "matrix/blas.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numeric>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "matrix/matrix.h"
#include "reference/reference_matrix.h"
#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/random.h"
#include "support/start_line.h"
#include "support/threads.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Shape {
    std::int32_t rows;
    std::int32_t inner;
    std::int32_t cols;
    float beta = 0;
    std::int32_t transOfB = kRowMajor;
    int repetitions = 1;
};

// Every product of a large network, then of a small one; a beta of 1 adds to what is there. Last,
// as little work as possible between taking a scratch buffer and giving it back: in this form no
// kernel for small matrices, which needs no buffer, steps in.
constexpr Shape kShapes[] = {{16, 48, 2704},
                             {32, 144, 576},
                             {48, 288, 100},
                             {64, 192, 16},
                             {2, 1024, 160},
                             {2, 1200, 160, 1},
                             {16, 16, 1936},
                             {32, 144, 400},
                             {48, 288, 64},
                             {64, 192, 9},
                             {2, 576, 160},
                             {2, 768, 160, 1},
                             {1, 8, 8, 0, kTransposed, 300}};

// Far more workers than processors: what goes wrong goes wrong when a thread loses its processor
// inside the BLAS.
constexpr int kHostThreads = 8;
constexpr int kTeam = 3;
constexpr int kRounds = 60;

// Integers this small have exact sums, whatever their order: 1200 x 64 is below 2^24.
ReferenceMatrix smallIntegers(RowsAndCols shape, Random& random) {
    return {shape, [&] { return static_cast<float>(random.between(-8, 8)); }};
}

// One product: its operands, what stands in the result before, and what is expected of it: for
// integers the sums of the plain loop, else what one thread alone gets.
struct Product {
    Product(const Shape& of, Random& random, bool isInteger)
        : shape(of), a(of.rows, of.inner), b(of.inner, of.cols) {
        const auto draw = [&] {
            return isInteger ? static_cast<float>(random.between(-8, 8)) : random.uniform(-1, 1);
        };
        const ReferenceMatrix first({of.rows, of.inner}, draw);
        const ReferenceMatrix second({of.inner, of.cols}, draw);
        b.trans = of.transOfB;
        std::ranges::copy(referenceStorage(first, kRowMajor), a.data);
        std::ranges::copy(referenceStorage(second, of.transOfB), b.data);
        former = referenceStorage(smallIntegers({of.rows, of.cols}, random), kRowMajor);
        if (isInteger) {
            expected = referenceProduct(1.0F, first, second, of.beta, former, of.cols);
        } else {
            runInto(expected);
        }
    }

    void runInto(std::vector<float>& c) const {
        c = former;
        multiply(1.0F, a, b, shape.beta, c.data(), shape.cols);
    }

    Shape shape;
    Matrix a;
    Matrix b;
    std::vector<float> former;
    std::vector<float> expected;
};

// A worker's products, all of them its own, and the first that went wrong.
struct Load {
    void work() {
        std::vector<float> c;
        for (int round = 0; round < kRounds; ++round) {
            for (const Product& product : products) {
                for (int i = 0; i < product.shape.repetitions && message.empty(); ++i) {
                    product.runInto(c);
                    if (std::memcmp(c.data(), product.expected.data(), 4 * c.size()) != 0) {
                        message = "inner length " + std::to_string(product.shape.inner) + ": " +
                                  sameFloats(product.expected, c).message();
                    }
                }
            }
        }
    }

    std::vector<Product> products;
    std::string message;
};

// Every host thread opens a team, and every member of every team is one worker. All start together.
void expectNoWrongResultOnAnyThread(bool isInteger) {
    std::vector<Load> loads(kHostThreads * kTeam);
    Random random(100);
    for (Load& load : loads) {
        for (const Shape& shape : kShapes) {
            load.products.emplace_back(shape, random, isInteger);
        }
    }
    StartLine start(kHostThreads);
    std::vector<std::thread> threads;
    for (int host = 0; host < kHostThreads; ++host) {
        threads.emplace_back([&loads, &start, host] {
            start.arriveAndWait();
#pragma omp parallel for num_threads(kTeam) schedule(static)
            for (int member = 0; member < kTeam; ++member) {
                loads[static_cast<std::size_t>(host * kTeam + member)].work();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const Load& load : loads) {
        EXPECT_EQ(load.message, "");
    }
}

// Into rows of c that stand `step` apart, with nothing written between them; with beta 0 the former
// contents are not read. Rows of b that a has no columns for do not count.
void expectProduct(const ReferenceMatrix& a, const ReferenceMatrix& b, std::int32_t orderOfA,
                   std::int32_t orderOfB, float beta, std::int32_t step) {
    ReferenceMatrix longer = b;
    longer.elements.emplace_back(b.elements[0].size(), kNaN);
    ++longer.rows;
    const std::vector<float> former(static_cast<std::size_t>(a.rows * step), beta == 0 ? kNaN : 3);
    GuardedBuffer<float> c(former.size());
    std::ranges::copy(former, c.data());
    multiply(3.0F, GuardedMatrix(a, orderOfA).matrix, GuardedMatrix(longer, orderOfB).matrix, beta,
             c.data(), step);
    const std::vector<float> expected = referenceProduct(3.0F, a, b, beta, former, step);
    EXPECT_TRUE(sameFloats(expected.data(), c.data(), c.count()))
        << a.rows << " x " << a.cols << " x " << b.cols << ", orders " << orderOfA << " "
        << orderOfB << ", beta " << beta << ", step " << step;
    EXPECT_TRUE(c.guardsIntact());
}

// Both routines on vectors of small integers; y's stand `step` apart, with others between them.
void expectElementsOfThePlainLoop(std::int32_t n, float alpha, std::int32_t step, Random& random) {
    SCOPED_TRACE(testing::Message() << n << " elements, factor " << alpha << ", step " << step);
    const std::vector<float> x = referenceStorage(smallIntegers({1, n}, random), kRowMajor);
    const std::vector<float> y =
        referenceStorage(smallIntegers({1, n == 0 ? 0 : (n - 1) * step + 1}, random), kRowMajor);
    GuardedBuffer<float> result(y.size());
    std::ranges::copy(y, result.data());
    addScaled(n, alpha, x.data(), result.data(), step);
    const std::vector<float> sums = referenceAddScaled(alpha, x, y, step);
    EXPECT_TRUE(sameFloats(sums.data(), result.data(), sums.size()));

    std::ranges::copy(y, result.data());
    scaleInPlace(n, alpha, result.data(), step);
    const std::vector<float> products = referenceScaled(alpha, y, step);
    EXPECT_TRUE(sameFloats(products.data(), result.data(), products.size()));
    EXPECT_TRUE(result.guardsIntact());
}

// Above 10,000 elements the BLAS would divide a sum among threads, above 2^20 a scaling as well.
constexpr std::int32_t kVeryManyElements = (1 << 20) + 12345;

// The caller's settings of OpenMP, for the duration of a test.
using TeamSize = Setting<omp_get_max_threads, omp_set_num_threads>;
using ActiveLevels = Setting<omp_get_max_active_levels, omp_set_max_active_levels>;

}  // namespace

TEST(Blas, productsOfManyTeamsAtOnceAreExactAndHaveTheBitsOfASingleThread) {
    expectNoWrongResultOnAnyThread(true);
    expectNoWrongResultOnAnyThread(false);
}

TEST(Blas, productTakesOperandsInEveryPairOfOrders) {
    Random random(51);
    for (const auto& [rows, inner, cols] :
         {std::tuple(1, 1, 1), {1, 5, 3}, {7, 1, 9}, {5, 7, 3}, {17, 33, 9}, {2, 40, 160}}) {
        const ReferenceMatrix a = smallIntegers({rows, inner}, random);
        const ReferenceMatrix b = smallIntegers({inner, cols}, random);
        for (const std::int32_t orderOfA : kOrders) {
            for (const std::int32_t orderOfB : kOrders) {
                for (const float beta : {0.0F, 1.0F, 2.0F}) {
                    expectProduct(a, b, orderOfA, orderOfB, beta, cols);
                    expectProduct(a, b, orderOfA, orderOfB, beta, cols + 3);
                }
            }
        }
    }
}

// Short ones, and those that the BLAS would divide among threads.
TEST(Blas, vectorsOfEveryLengthAndStepGiveTheElementsOfThePlainLoop) {
    Random random(53);
    const TeamSize four(4);
    std::vector<std::int32_t> lengths(71);
    std::iota(lengths.begin(), lengths.end(), 0);
    lengths.insert(lengths.end(), {10000, 10001, 20001, 100003, kVeryManyElements});
    for (const std::int32_t n : lengths) {
        for (const std::int32_t step : {1, 2, 3, 7}) {
            for (const float alpha : {1.0F, -3.0F, 0.5F, 1e-40F, 0.0F}) {
                if (n <= 70 || (alpha == -3.0F && step < 3)) {
                    expectElementsOfThePlainLoop(n, alpha, step, random);
                }
            }
        }
    }
}

TEST(Blas, countOfZeroNeedsNoArrays) {
    addScaled(0, 2.0F, nullptr, nullptr, 1);
    addScaled(0, 2.0F, nullptr, nullptr, 0);
    for (const float alpha : {2.0F, 0.0F, kNaN}) {
        scaleInPlace(0, alpha, nullptr, 1);
        scaleInPlace(0, alpha, nullptr, 0);
    }
}

TEST(Blas, infinityAndNaNComeThroughEveryScaling) {
    const std::vector<float> values = {1, -1, 0, -0.0F, kInfinity, -kInfinity, kNaN, 3, 4, 5, 6};
    for (const std::int32_t step : {1, 2}) {
        for (const float alpha : {0.0F, -0.0F, kNaN, kInfinity, 2.0F}) {
            std::vector<float> x = values;
            scaleInPlace(step == 1 ? 11 : 6, alpha, x.data(), step);
            EXPECT_TRUE(sameFloats(referenceScaled(alpha, values, step), x))
                << alpha << ", " << step;
        }
    }
    std::vector<float> y = {1, 2, 3};
    const float x[] = {0, kInfinity, 1};
    addScaled(3, kNaN, x, y.data(), 1);
    EXPECT_TRUE(sameFloats({kNaN, kNaN, kNaN}, y));
}

// Large enough for the BLAS to start the threads that are left to it.
TEST(Blas, noRoutineStartsAThreadOrChangesTheCallersTeamSize) {
    Random random(56);
    const TeamSize five(5);
    const std::ptrdiff_t threads = threadsOfThisProcess();
    const Product product({64, 288, 576}, random, true);
    std::vector<float> c;
    product.runInto(c);
    EXPECT_EQ(omp_get_max_threads(), 5);
    EXPECT_LE(threadsOfThisProcess(), threads);
    for (const float alpha : {2.0F, 0.0F}) {
        expectElementsOfThePlainLoop(kVeryManyElements, alpha, 1, random);
        EXPECT_EQ(omp_get_max_threads(), 5);
        EXPECT_LE(threadsOfThisProcess(), threads);
    }
}

// OpenMP grants no second thread here, while its default team is larger. A BLAS that counts on the
// whole team waits for the missing threads for ever: then the alarm ends the program.
TEST(Blas, whereNoSecondThreadIsGrantedEveryRoutineComesBack) {
    Random random(7);
    const Product product({32, 144, 576}, random, true);
    std::vector<float> c;
    const TeamSize four(4);
    const ActiveLevels none(0);
    const Alarm alarm(60);
    product.runInto(c);
    EXPECT_TRUE(sameFloats(product.expected, c));
    expectElementsOfThePlainLoop(kVeryManyElements, -3.0F, 1, random);
    EXPECT_EQ(omp_get_max_threads(), 4) << "the caller's setting has changed";
}
