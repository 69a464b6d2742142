// The BLAS under the load that the networks put on it: many threads of the host at once, each with
// an OpenMP team of its own. A build of the BLAS that cannot do that gives wrong products now and
// then, and this is where it shows.
#include "matrix/blas.h"

#include <gtest/gtest.h>
#include <omp.h>
#include <unistd.h>

#include <barrier>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "matrix/matrix.h"
#include "support/bits.h"
#include "support/random.h"

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
    std::barrier start(kHostThreads);
    std::vector<std::thread> threads;
    for (int host = 0; host < kHostThreads; ++host) {
        threads.emplace_back([&loads, &start, host] {
            start.arrive_and_wait();
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

// OpenMP grants no second thread here, while its default team is larger. A BLAS that counts on the
// whole team waits for the missing threads for ever: then the alarm ends the program.
TEST(Blas, productWhereNoSecondThreadIsGrantedComesBack) {
    Random random(7);
    const Product product({32, 144, 576}, random, true);
    std::vector<float> expected(product.former.size());
    product.runPlainLoopInto(expected);
    std::vector<float> c;
    const int teamSize = omp_get_max_threads();
    const int levels = omp_get_max_active_levels();
    omp_set_num_threads(4);
    omp_set_max_active_levels(0);
    alarm(60);
    product.runInto(c);
    alarm(0);
    EXPECT_TRUE(sameFloats(expected, c));
    EXPECT_EQ(omp_get_max_threads(), 4) << "the caller's setting has changed";
    omp_set_max_active_levels(levels);
    omp_set_num_threads(teamSize);
}
