// The routines of the BLAS: their arithmetic, that they stay on the calling thread, and the load
// that the networks put on them: many threads of the host at once, each with an OpenMP team of its
// own. A build of the BLAS that cannot do that gives wrong products now and then, and this is where
// it shows.
#include "matrix/blas.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "matrix/matrix.h"
#include "reference/reference_matrix.h"
#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/random.h"
#include "support/start_line.h"
#include "support/threads.h"

namespace {

struct Shape {
    std::int32_t rows;
    std::int32_t inner;
    std::int32_t cols;
    float beta = 0;
    std::int32_t transOfB = kRowMajor;
    int repetitions = 1;
};

constexpr Shape kShapes[] = {
    // Every product of a large network, then of a small one. A beta of 1 adds to what is there.
    {16, 48, 2704},
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
    // As little work as possible between taking a scratch buffer and giving it back. In this form
    // no kernel for small matrices, which needs no buffer, steps in.
    {1, 8, 8, 0, kTransposed, 300},
};

// Far more workers than processors: what goes wrong goes wrong when a thread loses its processor
// inside the BLAS.
constexpr int kHostThreads = 8;
constexpr int kTeam = 3;
constexpr int kWorkers = kHostThreads * kTeam;
constexpr int kRounds = 60;

// One product: its operands, what stands in the result before, and what is expected of it.
struct Product {
    Product(const Shape& of, Random& random, bool isInteger)
        : shape(of), a(of.rows, of.inner), b(of.inner, of.cols) {
        b.trans = of.transOfB;
        for (Matrix* m : {&a, &b}) {
            for (std::int32_t i = 0; i < m->numElements; ++i) {
                m->data[i] =
                    isInteger ? static_cast<float>(random.between(-8, 8)) : random.uniform(-1, 1);
            }
        }
        former.resize(static_cast<std::size_t>(of.rows) * static_cast<std::size_t>(of.cols));
        for (float& value : former) {
            value = static_cast<float>(random.between(-8, 8));
        }
    }

    void runInto(std::vector<float>& c) const {
        c = former;
        multiply(1.0F, a, b, shape.beta, c.data());
    }

    // Integers this small have exact sums, whatever their order: 1200 x 64 is below 2^24.
    void runPlainLoopInto(std::vector<float>& c) const {
        for (std::int32_t i = 0; i < shape.rows; ++i) {
            float* row = c.data() + static_cast<std::ptrdiff_t>(i) * shape.cols;
            for (std::int32_t k = 0; k < shape.inner; ++k) {
                const float factor = a.at(i, k);
                for (std::int32_t j = 0; j < shape.cols; ++j) {
                    row[j] += factor * b.at(k, j);
                }
            }
        }
        for (std::size_t i = 0; i < c.size(); ++i) {
            c[i] += shape.beta * former[i];
        }
    }

    Shape shape;
    Matrix a;
    Matrix b;
    std::vector<float> former;
    std::vector<float> expected;
};

// A worker's products, all of them its own, and what became of them.
struct Load {
    std::vector<Product> products;
    int wrongResults = 0;
    std::string firstMessage;
};

std::vector<Load> loadsOfAll(bool isInteger) {
    std::vector<Load> loads(kWorkers);
    Random random(100);
    for (Load& load : loads) {
        for (const Shape& shape : kShapes) {
            load.products.emplace_back(shape, random, isInteger);
        }
    }
    return loads;
}

void workOnce(Load& load, const Product& product, std::vector<float>& c) {
    product.runInto(c);
    const bool isRight =
        std::memcmp(c.data(), product.expected.data(), c.size() * sizeof(float)) == 0;
    if (isRight || load.wrongResults++ > 0) {
        return;
    }
    const Shape& shape = product.shape;
    load.firstMessage = std::to_string(shape.rows) + " x " + std::to_string(shape.inner) + " x " +
                        std::to_string(shape.cols) + ": " +
                        sameFloats(product.expected, c).message();
}

// All shapes again and again.
void work(Load& load) {
    std::vector<float> c;
    for (int round = 0; round < kRounds; ++round) {
        for (const Product& product : load.products) {
            for (int i = 0; i < product.shape.repetitions; ++i) {
                workOnce(load, product, c);
            }
        }
    }
}

// Every host thread opens a team, and every member of every team is one worker. All start together.
void workOnAllThreads(std::vector<Load>& loads) {
    StartLine start(kHostThreads);
    std::vector<std::thread> threads;
    for (int host = 0; host < kHostThreads; ++host) {
        threads.emplace_back([&loads, &start, host] {
            start.arriveAndWait();
#pragma omp parallel for num_threads(kTeam) schedule(static)
            for (int member = 0; member < kTeam; ++member) {
                work(loads[static_cast<std::size_t>(host * kTeam + member)]);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void expectNoWrongResults(const std::vector<Load>& loads) {
    int wrong = 0;
    std::string message;
    for (const Load& load : loads) {
        wrong += load.wrongResults;
        message = message.empty() ? load.firstMessage : message;
    }
    EXPECT_EQ(wrong, 0) << "products; the first: " << message;
}

// alpha * a * b + beta * c, all of whose sums are exact for small integers.
std::vector<float> plainProduct(float alpha, const ReferenceMatrix& a, const ReferenceMatrix& b,
                                float betaTimesC) {
    std::vector<float> c;
    for (const std::vector<float>& row : a.elements) {
        for (std::size_t j = 0; j < b.elements[0].size(); ++j) {
            float sum = 0;
            for (std::size_t k = 0; k < row.size(); ++k) {
                sum += row[k] * b.elements[k][j];
            }
            c.push_back(alpha * sum + betaTimesC);
        }
    }
    return c;
}

// n elements `step` apart, and small integers between them as well.
class StridedVector {
  public:
    StridedVector(std::int32_t n, std::int32_t step, Random& random)
        : buffer(n == 0 ? 0 : static_cast<std::size_t>((n - 1) * step + 1)) {
        for (std::size_t i = 0; i < buffer.count(); ++i) {
            buffer[i] = static_cast<float>(random.between(-8, 8));
        }
    }

    float* data() { return buffer.data(); }
    std::vector<float> values() const { return {buffer.data(), buffer.data() + buffer.count()}; }
    testing::AssertionResult guardsIntact() const { return buffer.guardsIntact(); }

  private:
    GuardedBuffer<float> buffer;
};

void expectSumOfThePlainLoop(std::int32_t n, float alpha, std::int32_t step, Random& random) {
    StridedVector x(n, 1, random);
    StridedVector y(n, step, random);
    std::vector<float> expected = y.values();
    for (std::int32_t i = 0; i < n; ++i) {
        expected[static_cast<std::size_t>(i * step)] += alpha * x.data()[i];
    }
    addScaled(n, alpha, x.data(), y.data(), step);
    EXPECT_TRUE(sameFloats(expected, y.values())) << n << ", " << alpha << ", step " << step;
    EXPECT_TRUE(y.guardsIntact());
}

void expectScalingOfThePlainLoop(std::int32_t n, float alpha, std::int32_t step, Random& random) {
    StridedVector x(n, step, random);
    std::vector<float> expected = x.values();
    for (std::int32_t i = 0; i < n; ++i) {
        expected[static_cast<std::size_t>(i * step)] *= alpha;
    }
    scaleInPlace(n, alpha, x.data(), step);
    EXPECT_TRUE(sameFloats(expected, x.values())) << n << ", " << alpha << ", step " << step;
    EXPECT_TRUE(x.guardsIntact());
}

// Above 10,000 elements the BLAS would divide a sum among threads, above 2^20 a scaling as well.
constexpr std::int32_t kManyElements = 20001;
constexpr std::int32_t kVeryManyElements = (1 << 20) + 12345;

// The caller's setting of OpenMP's team size, for the duration of a test.
class TeamSize {
  public:
    explicit TeamSize(int size) : former(omp_get_max_threads()) { omp_set_num_threads(size); }
    ~TeamSize() { omp_set_num_threads(former); }
    TeamSize(const TeamSize&) = delete;
    TeamSize& operator=(const TeamSize&) = delete;

  private:
    int former;
};

// OpenMP grants no second thread here, while its default team is larger. A BLAS that counts on the
// whole team waits for the missing threads for ever: then the alarm ends the program.
class NoSecondThread {
  public:
    NoSecondThread() : team(4), levels(omp_get_max_active_levels()), alarm(60) {
        omp_set_max_active_levels(0);
    }
    ~NoSecondThread() { omp_set_max_active_levels(levels); }
    NoSecondThread(const NoSecondThread&) = delete;
    NoSecondThread& operator=(const NoSecondThread&) = delete;

  private:
    TeamSize team;
    int levels;
    Alarm alarm;
};

}  // namespace

TEST(Blas, productsOfManyTeamsAtOnceAreExact) {
    std::vector<Load> loads = loadsOfAll(true);
    for (Load& load : loads) {
        for (Product& product : load.products) {
            product.expected.resize(product.former.size());
            product.runPlainLoopInto(product.expected);
        }
    }
    workOnAllThreads(loads);
    expectNoWrongResults(loads);
}

TEST(Blas, productsOfManyTeamsAtOnceHaveTheBitsOfASingleThread) {
    std::vector<Load> loads = loadsOfAll(false);
    for (Load& load : loads) {
        for (Product& product : load.products) {
            product.runInto(product.expected);
        }
    }
    workOnAllThreads(loads);
    expectNoWrongResults(loads);
}

TEST(Blas, productTakesOperandsInEveryPairOfOrders) {
    Random random(51);
    const std::pair<RowsAndCols, RowsAndCols> shapes[] = {{{1, 1}, {1, 1}},
                                                          {{1, 5}, {5, 3}},
                                                          {{7, 1}, {1, 9}},
                                                          {{5, 7}, {7, 3}},
                                                          {{17, 33}, {33, 9}}};
    for (const auto& [shapeOfA, shapeOfB] : shapes) {
        const ReferenceMatrix a = smallIntegers(shapeOfA, random);
        const ReferenceMatrix b = smallIntegers(shapeOfB, random);
        for (const std::int32_t orderOfA : kOrders) {
            for (const std::int32_t orderOfB : kOrders) {
                SCOPED_TRACE(testing::Message() << a.rows << " x " << a.cols << " x " << b.cols
                                                << ", orders " << orderOfA << " " << orderOfB);
                const Matrix first = storedAs(a, orderOfA);
                const Matrix second = storedAs(b, orderOfB);
                for (const float beta : {0.0F, 1.0F, 2.0F}) {
                    std::vector<float> c(a.elements.size() * b.elements[0].size(), 3.0F);
                    multiply(3.0F, first, second, beta, c.data());
                    EXPECT_TRUE(sameFloats(plainProduct(3.0F, a, b, beta * 3.0F), c)) << beta;
                }
            }
        }
    }
}

TEST(Blas, productWithBetaZeroDoesNotReadTheFormerContents) {
    Random random(52);
    for (const RowsAndCols shape : {RowsAndCols{1, 8}, RowsAndCols{2, 40}, RowsAndCols{32, 144}}) {
        const ReferenceMatrix a = smallIntegers(shape, random);
        const ReferenceMatrix b = smallIntegers({shape.cols, 160}, random);
        for (const std::int32_t order : kOrders) {
            std::vector<float> c(a.elements.size() * 160, std::numeric_limits<float>::quiet_NaN());
            multiply(1.0F, storedAs(a, kRowMajor), storedAs(b, order), 0.0F, c.data());
            EXPECT_TRUE(sameFloats(plainProduct(1.0F, a, b, 0.0F), c)) << order;
        }
    }
}

TEST(Blas, addScaledTakesEveryLengthAndStep) {
    Random random(53);
    for (std::int32_t n = 0; n <= 70; ++n) {
        for (const std::int32_t step : {1, 2, 3, 7}) {
            for (const float alpha : {1.0F, -3.0F, 0.5F, 0.0F}) {
                expectSumOfThePlainLoop(n, alpha, step, random);
            }
        }
    }
}

TEST(Blas, scaleInPlaceTakesEveryLengthAndStep) {
    Random random(54);
    for (std::int32_t n = 0; n <= 70; ++n) {
        for (const std::int32_t step : {1, 2, 3, 7}) {
            for (const float alpha : {1.0F, -0.3F, 1e-40F, 0.0F}) {
                expectScalingOfThePlainLoop(n, alpha, step, random);
            }
        }
    }
}

TEST(Blas, countOfZeroNeedsNoArrays) {
    addScaled(0, 2.0F, nullptr, nullptr, 1);
    addScaled(0, 2.0F, nullptr, nullptr, 0);
    for (const float alpha : {2.0F, 0.0F, std::numeric_limits<float>::quiet_NaN()}) {
        scaleInPlace(0, alpha, nullptr, 1);
        scaleInPlace(0, alpha, nullptr, 0);
    }
}

TEST(Blas, infinityAndNaNComeThroughEveryScaling) {
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    for (const std::int32_t step : {1, 2}) {
        for (const float alpha : {0.0F, -0.0F, kNaN, kInfinity, 2.0F}) {
            std::vector<float> x = {1, -1, 0, -0.0F, kInfinity, -kInfinity, kNaN, 3, 4, 5, 6};
            std::vector<float> expected = x;
            for (std::size_t i = 0; i < x.size(); i += static_cast<std::size_t>(step)) {
                expected[i] = alpha * x[i];
            }
            scaleInPlace(step == 1 ? 11 : 6, alpha, x.data(), step);
            EXPECT_TRUE(sameFloats(expected, x)) << alpha << ", step " << step;
        }
    }
    float y[] = {1, 2, 3};
    const float x[] = {0, kInfinity, 1};
    addScaled(3, kNaN, x, y, 1);
    for (const float value : y) {
        EXPECT_TRUE(sameFloat(kNaN, value));
    }
}

TEST(Blas, longVectorsGiveTheElementsOfThePlainLoop) {
    Random random(55);
    const TeamSize four(4);
    for (const std::int32_t step : {1, 2}) {
        for (const std::int32_t n : {10000, 10001, kManyElements, 100003}) {
            expectSumOfThePlainLoop(n, -3.0F, step, random);
            expectScalingOfThePlainLoop(n, -0.3F, step, random);
        }
        expectScalingOfThePlainLoop(kVeryManyElements, -0.3F, step, random);
    }
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
    expectSumOfThePlainLoop(kManyElements, 2.0F, 1, random);
    EXPECT_EQ(omp_get_max_threads(), 5);
    EXPECT_LE(threadsOfThisProcess(), threads);
    for (const float alpha : {2.0F, 0.0F}) {
        expectScalingOfThePlainLoop(kVeryManyElements, alpha, 1, random);
        EXPECT_EQ(omp_get_max_threads(), 5);
        EXPECT_LE(threadsOfThisProcess(), threads);
    }
}

TEST(Blas, productWhereNoSecondThreadIsGrantedComesBack) {
    Random random(7);
    const Product product({32, 144, 576}, random, true);
    std::vector<float> expected(product.former.size());
    product.runPlainLoopInto(expected);
    std::vector<float> c;
    const NoSecondThread here;
    product.runInto(c);
    EXPECT_TRUE(sameFloats(expected, c));
    EXPECT_EQ(omp_get_max_threads(), 4) << "the caller's setting has changed";
}

TEST(Blas, longVectorsWhereNoSecondThreadIsGrantedComeBack) {
    Random random(57);
    const NoSecondThread here;
    expectSumOfThePlainLoop(kManyElements, 2.0F, 1, random);
    expectScalingOfThePlainLoop(kVeryManyElements, -0.3F, 1, random);
    EXPECT_EQ(omp_get_max_threads(), 4) << "the caller's setting has changed";
}
