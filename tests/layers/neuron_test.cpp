#include "layers/neuron.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "support/bits.h"
#include "support/guarded_buffer.h"
#include "support/nets.h"
#include "support/random.h"

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kLargest = std::numeric_limits<float>::max();
constexpr float kTiny = 0x1p-149F;

float narrow(double x) {
    return static_cast<float>(x);
}

double wide(float x) {
    return static_cast<double>(x);
}

float expOf(float x) {
    return narrow(std::exp(wide(x)));
}

// What a kind makes of x; each operation on floats is a rounding.
using Formula = float (*)(float x, float a, float b);

struct Twin {
    const char* keyword;
    Formula formula;
};

const Twin kTwins[] = {
    {"relu", [](float x, float, float) { return x > 0.0F ? x : 0.0F; }},
    {"softrelu", [](float x, float, float) { return narrow(std::log(wide(expOf(x) + 1.0F))); }},
    {"brelu",
     [](float x, float a, float) { return x > 0.0F ? std::min(a, x) : std::min(a, 0.0F); }},
    {"abs", [](float x, float, float) { return std::copysign(x, 1.0F); }},
    {"logistic", [](float x, float, float) { return 1.0F / (1.0F + expOf(-x)); }},
    {"tanh", [](float x, float a, float b) { return narrow(std::tanh(wide(x * b))) * a; }},
    {"square", [](float x, float, float) { return x * x; }},
    {"sqrt", [](float x, float, float) { return narrow(std::sqrt(wide(x))); }},
    {"linear", [](float x, float a, float b) { return x * a + b; }},
    {"ident", [](float x, float, float) { return x; }},
};

struct Parameters {
    std::string keys;
    float a, b;
};

const Parameters kParameters[] = {
    {"\na=1.375\nb=0.28125\n", 1.375F, 0.28125F},
    {"\nb=-0.75\na=-2.5\n", -2.5F, -0.75F},
    {"\na=-0\nb=-0\n", -0.0F, -0.0F},
    {"", 0.0F, 0.0F},
    // What is no number is 0, and what another section or another key says does not count.
    {"\na=abc\nb=abc\nbrelu=5\n[m]\na=5\nb=5\n", 0.0F, 0.0F},
};

// `text` is the keyword, then lines of keys.
std::unique_ptr<Neuron> neuronOf(const std::string& text) {
    const NetDescription description = parseDescription(("[n]\nneuron=" + text).c_str());
    return createNeuron(getSection(description, "n"), text.substr(0, text.find('\n')));
}

std::vector<float> transformed(const std::string& text, const std::vector<float>& values) {
    Matrix matrix = rowOf(values);
    neuronOf(text)->run(&matrix);
    return valuesOf(matrix);
}

std::vector<float> applied(Formula formula, const Parameters& parameters,
                           const std::vector<float>& values) {
    std::vector<float> result;
    for (const float x : values) {
        result.push_back(formula(x, parameters.a, parameters.b));
    }
    return result;
}

// Everything special, the middle of the functions, and any bit pattern: 6 x 1001 values.
std::vector<float> sample() {
    std::vector<float> values = {kNaN,  -kNaN,  kInf,     -kInf,     0.0F,      -0.0F,
                                 kTiny, -kTiny, kLargest, -kLargest, 0x1p-126F, 1.0F,
                                 88.7F, 88.8F,  -88.8F,   200.0F,    -200.0F,   -1.0F};
    Random random(42);
    while (values.size() < 6006) {
        values.push_back(values.size() < 4004 ? random.uniform(-20.0F, 20.0F) : random.anyFloat());
    }
    return values;
}

std::uint32_t bitsAfter(const std::string& keyword, std::uint32_t bits) {
    return std::bit_cast<std::uint32_t>(transformed(keyword, {std::bit_cast<float>(bits)})[0]);
}

}  // namespace

TEST(Neuron, followsItsFormulaStepByStepForAnyFloat) {
    ASSERT_EQ(std::size(kTwins), std::size_t{kNeuronKindCount});
    const std::vector<float> values = sample();
    for (const Twin& twin : kTwins) {
        for (const Parameters& parameters : kParameters) {
            EXPECT_TRUE(sameFloats(applied(twin.formula, parameters, values),
                                   transformed(twin.keyword + parameters.keys, values)))
                << twin.keyword << parameters.keys;
        }
    }
}

TEST(Neuron, walksTheWholeStorageOnceWhateverTheShapeAndOrder) {
    const std::vector<float> values = sample();
    for (const Twin& twin : kTwins) {
        for (const auto& [rows, cols, trans] : {std::array{1, 1, kRowMajor},
                                                {3, 7, kTransposed},
                                                {7, 3, kRowMajor},
                                                {1, 33, kRowMajor},
                                                {0, 5, kTransposed}}) {
            const auto count = static_cast<std::size_t>(rows * cols);
            const std::vector<float> start(values.begin(), values.begin() + rows * cols);
            GuardedBuffer<float> buffer(count, 1);
            std::copy(start.begin(), start.end(), buffer.data());
            Matrix matrix = Matrix::view(buffer.data(), rows, cols);
            matrix.trans = trans;
            neuronOf(twin.keyword + kParameters[1].keys)->run(&matrix);
            const std::vector<float> expected = applied(twin.formula, kParameters[1], start);
            EXPECT_TRUE(sameFloats(expected.data(), buffer.data(), count)) << twin.keyword;
            EXPECT_TRUE(buffer.guardsIntact()) << twin.keyword;
            EXPECT_EQ(matrix.numRows, rows);
            EXPECT_EQ(matrix.trans, trans) << twin.keyword;
        }
        Matrix empty;
        neuronOf(twin.keyword)->run(&empty);
        EXPECT_EQ(empty.data, nullptr) << twin.keyword;
    }
}

TEST(Neuron, remembersTheMatrixOfItsLastRun) {
    Matrix matrices[2];
    for (const Twin& twin : kTwins) {
        const auto neuron = neuronOf(twin.keyword);
        EXPECT_FALSE(neuron->activated);
        EXPECT_EQ(neuron->acts, nullptr);
        for (Matrix& matrix : matrices) {
            neuron->run(&matrix);
            EXPECT_TRUE(neuron->activated);
            EXPECT_EQ(neuron->acts, &matrix);
        }
    }
}

TEST(Neuron, clearsTheSignBitAndNoOtherForAbsAndNoneForIdent) {
    for (const std::uint32_t bits :
         {0x80000000U, 0x80000001U, 0xFF800000U, 0x7FC12345U, 0x3F800001U, 0xFFC12345U,
          0xFF812345U}) {  // NaN keeps its payload, quiet or not
        EXPECT_EQ(bitsAfter("abs", bits), bits & 0x7FFFFFFFU);
        EXPECT_EQ(bitsAfter("ident", bits), bits);
    }
}
