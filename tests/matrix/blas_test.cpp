// The BLAS under the load that the networks put on it: many threads of the host at once, each with
// an OpenMP team of its own. A build of the BLAS that cannot do that gives wrong products now and
// then, and this is where it shows.
#include "matrix/blas.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <barrier>
#include <cstdint>
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
};

// Every product of a large and of a small network.
constexpr Shape kShapes[] = {
    {16, 48, 2704}, {32, 144, 576}, {48, 288, 100},
    {64, 192, 16},  {2, 1024, 160}, {2, 1200, 160, 1.0F},  // adds to the product before it
    {16, 16, 1936}, {32, 144, 400}, {48, 288, 64},
    {64, 192, 9},   {2, 576, 160},  {2, 768, 160, 1.0F},
};

constexpr int kHostThreads = 4;
constexpr int kTeam = 3;
constexpr int kWorkers = kHostThreads * kTeam;

// One product with its operands, its former result and its result.
struct Product {
    Product(const Shape& of, Random& random, bool isInteger)
        : shape(of), a(of.rows, of.inner), b(of.inner, of.cols) {
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

    std::vector<float> run() const {
        std::vector<float> c = former;
        multiply(1.0F, a, b, shape.beta, c.data());
        return c;
    }

    // Integers this small have exact sums, whatever their order: 1200 x 64 is below 2^24.
    std::vector<float> runPlainLoop() const {
        std::vector<float> c(former.size());
        for (std::int32_t i = 0; i < shape.rows; ++i) {
            for (std::int32_t k = 0; k < shape.inner; ++k) {
                for (std::int32_t j = 0; j < shape.cols; ++j) {
                    const auto at = static_cast<std::size_t>(i * shape.cols + j);
                    c[at] += a.at(i, k) * b.at(k, j);
                }
            }
        }
        for (std::size_t at = 0; at < c.size(); ++at) {
            c[at] += shape.beta * former[at];
        }
        return c;
    }

    Shape shape;
    Matrix a;
    Matrix b;
    std::vector<float> former;
};

// The products of one worker, all of them its own.
std::vector<Product> productsOf(int worker, bool isInteger) {
    Random random(100 + static_cast<std::uint64_t>(worker));
    std::vector<Product> products;
    for (const Shape& shape : kShapes) {
        products.emplace_back(shape, random, isInteger);
    }
    return products;
}

using Results = std::vector<std::vector<float>>;

struct Load {
    std::vector<Product> products;
    Results expected;
    int wrongResults = 0;
    std::string firstMessage;
};

// All shapes again and again, compared with what is expected of each.
void work(Load& load, int rounds) {
    for (int round = 0; round < rounds; ++round) {
        for (std::size_t i = 0; i < load.products.size(); ++i) {
            const auto same = sameFloats(load.expected[i], load.products[i].run());
            if (!same && load.wrongResults++ == 0) {
                const Shape& shape = load.products[i].shape;
                load.firstMessage = std::to_string(shape.rows) + " x " +
                                    std::to_string(shape.inner) + " x " +
                                    std::to_string(shape.cols) + ": " + same.message();
            }
        }
    }
}

// Every host thread opens a team; every member of every team is one worker. All start together.
void workOnAllThreads(std::vector<Load>& loads, int rounds) {
    std::barrier start(kHostThreads);
    std::vector<std::thread> threads;
    for (int host = 0; host < kHostThreads; ++host) {
        threads.emplace_back([&loads, &start, host, rounds] {
            start.arrive_and_wait();
#pragma omp parallel for num_threads(kTeam) schedule(static)
            for (int member = 0; member < kTeam; ++member) {
                work(loads[static_cast<std::size_t>(host * kTeam + member)], rounds);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void expectNoWrongResults(const std::vector<Load>& loads, int rounds) {
    int wrong = 0;
    std::string message;
    for (const Load& load : loads) {
        wrong += load.wrongResults;
        message = message.empty() ? load.firstMessage : message;
    }
    EXPECT_EQ(wrong, 0) << "of " << rounds * kWorkers * static_cast<int>(std::size(kShapes))
                        << " products; the first: " << message;
}

}  // namespace

TEST(Blas, productsOfManyTeamsAtOnceAreExact) {
    constexpr int kRounds = 20;
    std::vector<Load> loads(kWorkers);
    for (int worker = 0; worker < kWorkers; ++worker) {
        Load& load = loads[static_cast<std::size_t>(worker)];
        load.products = productsOf(worker, true);
        for (const Product& product : load.products) {
            load.expected.push_back(product.runPlainLoop());
        }
    }
    workOnAllThreads(loads, kRounds);
    expectNoWrongResults(loads, kRounds);
}

// Any floats: what a team member gets, it also gets as the only one of its team that works, while
// nothing else runs.
TEST(Blas, productsOfManyTeamsAtOnceHaveTheBitsOfOneThread) {
    constexpr int kRounds = 10;
    std::vector<Load> loads(kWorkers);
#pragma omp parallel for num_threads(2) schedule(static, kWorkers)
    for (int worker = 0; worker < kWorkers; ++worker) {
        Load& load = loads[static_cast<std::size_t>(worker)];
        load.products = productsOf(worker, false);
        for (const Product& product : load.products) {
            load.expected.push_back(product.run());
        }
    }
    workOnAllThreads(loads, kRounds);
    expectNoWrongResults(loads, kRounds);
}
