#include "layers/neuron.h"

#include <gtest/gtest.h>

#include <bit>
#include <cctype>
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
constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kLargest = std::numeric_limits<float>::max();
constexpr float kSubnormal = 0x1p-149F;

float narrow(double x) {
    return static_cast<float>(x);
}

double wide(float x) {
    return static_cast<double>(x);
}

// What a kind makes of x, step by step.
using Formula = float (*)(float x, float a, float b);

struct Twin {
    const char* keyword;
    Formula formula;
};

const Twin kTwins[] = {
    {"relu", [](float x, float, float) { return x > 0.0F ? x : 0.0F; }},
    {"softrelu",
     [](float x, float, float) {
         const float e = narrow(std::exp(wide(x)));
         const float t = e + 1.0F;
         return narrow(std::log(wide(t)));
     }},
    {"brelu",
     [](float x, float a, float) {
         float m = 0.0F;
         if (x > 0.0F) {
             m = x;
         }
         if (a > m) {
             return m;
         }
         return a;
     }},
    {"abs",
     [](float x, float, float) {
         return std::bit_cast<float>(std::bit_cast<std::uint32_t>(x) & 0x7FFFFFFFU);
     }},
    {"logistic",
     [](float x, float, float) {
         const float negated = -1.0F * x;
         const float e = narrow(std::exp(wide(negated)));
         const float t = 1.0F + e;
         return 1.0F / t;
     }},
    {"tanh",
     [](float x, float a, float b) {
         const float p = x * b;
         const float t = narrow(std::tanh(wide(p)));
         return t * a;
     }},
    {"square", [](float x, float, float) { return x * x; }},
    {"sqrt", [](float x, float, float) { return narrow(std::sqrt(wide(x))); }},
    {"linear",
     [](float x, float a, float b) {
         const float p = x * a;
         return p + b;
     }},
    {"ident", [](float x, float, float) { return x; }},
};

// A formula that comes close: a rounding left out, or another way to the same value.
struct Careless {
    const char* keyword;
    const char* omission;
    Formula formula;
};

const Careless kCareless[] = {
    {"softrelu", "exp not narrowed",
     [](float x, float, float) { return narrow(std::log(wide(narrow(std::exp(wide(x)) + 1.0)))); }},
    {"softrelu", "sum in 64 bits",
     [](float x, float, float) { return narrow(std::log(wide(narrow(std::exp(wide(x)))) + 1.0)); }},
    {"logistic", "exp not narrowed",
     [](float x, float, float) { return 1.0F / narrow(1.0 + std::exp(wide(-x))); }},
    {"logistic", "sum in 64 bits",
     [](float x, float, float) { return narrow(1.0 / (1.0 + wide(narrow(std::exp(wide(-x)))))); }},
    {"logistic", "by way of tanh",
     [](float x, float, float) { return 0.5F * (narrow(std::tanh(wide(0.5F * x))) + 1.0F); }},
    {"tanh", "argument in 64 bits",
     [](float x, float a, float b) { return narrow(std::tanh(wide(x) * wide(b))) * a; }},
    {"tanh", "tanh not narrowed",
     [](float x, float a, float b) { return narrow(std::tanh(wide(x * b)) * wide(a)); }},
    {"linear", "product not rounded", [](float x, float a, float b) { return std::fma(x, a, b); }},
};

struct Parameters {
    const char* keys;
    float a;
    float b;
};

const Parameters kParameters[] = {
    {"a=1.375\nb=0.28125\n", 1.375F, 0.28125F},
    {"b=-0.75\na=-2.5\n", -2.5F, -0.75F},
    {"", 0.0F, 0.0F},
};

std::unique_ptr<Neuron> neuronWith(const std::string& keyword, const std::string& keys) {
    describe("[n]\n" + keys);
    return createNeuron("n", keyword);
}

std::vector<float> transformed(const std::string& keyword, const std::string& keys,
                               const std::vector<float>& values) {
    Matrix matrix = matrixOf(1, static_cast<std::int32_t>(values.size()), values);
    neuronWith(keyword, keys)->run(&matrix);
    return valuesOf(matrix);
}

float transformed(const std::string& keyword, const std::string& keys, float value) {
    return transformed(keyword, keys, std::vector<float>{value})[0];
}

// Everything special, the middle of the functions, and any bit pattern: 6 x 1001 values.
std::vector<float> sample() {
    std::vector<float> values = {kNaN,       -kNaN,       kInfinity, -kInfinity, 0.0F,      -0.0F,
                                 kSubnormal, -kSubnormal, kLargest,  -kLargest,  0x1p-126F, 1.0F,
                                 88.7F,      88.8F,       -88.8F,    200.0F,     -200.0F,   -1.0F};
    Random random(42);
    while (values.size() < 4004) {
        values.push_back(random.uniform(-20.0F, 20.0F));
    }
    while (values.size() < 6006) {
        values.push_back(random.anyFloat());
    }
    return values;
}

std::vector<float> applied(Formula formula, const Parameters& parameters,
                           const std::vector<float>& values) {
    std::vector<float> result;
    for (const float x : values) {
        result.push_back(formula(x, parameters.a, parameters.b));
    }
    return result;
}

std::uint32_t bitsAfter(const std::string& keyword, std::uint32_t bits) {
    Matrix matrix(1, 1);
    matrix.data[0] = std::bit_cast<float>(bits);
    neuronWith(keyword, "")->run(&matrix);
    return std::bit_cast<std::uint32_t>(matrix.data[0]);
}

}  // namespace

TEST(NeuronKinds, standInTheOrderInWhichTheyAreCompared) {
    const std::vector<std::string> expected = {"relu", "softrelu", "brelu", "abs",    "logistic",
                                               "tanh", "square",   "sqrt",  "linear", "ident"};
    std::vector<std::string> actual;
    for (const NeuronKind& kind : kNeuronKinds) {
        actual.emplace_back(kind.keyword);
    }
    EXPECT_EQ(actual, expected);
    EXPECT_EQ(kNeuronKindCount, 10);
}

TEST(NeuronKinds, makeWhatTheirKeywordSays) {
    describe("[n]\na=2\nb=0.5\n");
    const std::vector<float> values = {0.25F, -3.0F, 4.0F, -0.0F};
    for (std::size_t i = 0; i < std::size(kTwins); ++i) {
        Matrix matrix = matrixOf(1, 4, values);
        kNeuronKinds[i].create("n")->run(&matrix);
        EXPECT_TRUE(
            sameFloats(applied(kTwins[i].formula, {"", 2.0F, 0.5F}, values), valuesOf(matrix)))
            << kNeuronKinds[i].keyword;
    }
}

TEST(Neuron, followsItsFormulaStepByStepForAnyFloat) {
    const std::vector<float> values = sample();
    for (const Twin& twin : kTwins) {
        for (const Parameters& parameters : kParameters) {
            EXPECT_TRUE(sameFloats(applied(twin.formula, parameters, values),
                                   transformed(twin.keyword, parameters.keys, values)))
                << twin.keyword << "\n"
                << parameters.keys;
        }
    }
}

TEST(Neuron, roundsEveryStepOnItsOwn) {
    const std::vector<float> values = sample();
    for (const Careless& careless : kCareless) {
        EXPECT_FALSE(sameFloats(applied(careless.formula, kParameters[0], values),
                                transformed(careless.keyword, kParameters[0].keys, values)))
            << careless.keyword << ": " << careless.omission << " would not be seen";
    }
}

TEST(Neuron, walksTheWholeStorageOnceWhateverTheShapeAndOrder) {
    const std::vector<float> values = sample();
    for (const Twin& twin : kTwins) {
        for (const std::int32_t trans : {kRowMajor, kTransposed}) {
            for (const auto& [rows, cols] : {std::pair{1, 1}, {3, 7}, {7, 3}, {1001, 6}, {1, 33}}) {
                const auto count = static_cast<std::size_t>(rows * cols);
                const std::vector<float> start(values.end() - static_cast<std::ptrdiff_t>(count),
                                               values.end());
                GuardedBuffer<float> buffer(count, 1);
                std::copy(start.begin(), start.end(), buffer.data());
                Matrix matrix = Matrix::view(buffer.data(), rows, cols);
                matrix.trans = trans;
                neuronWith(twin.keyword, kParameters[1].keys)->run(&matrix);
                const std::vector<float> expected = applied(twin.formula, kParameters[1], start);
                EXPECT_TRUE(sameFloats(expected.data(), buffer.data(), count)) << twin.keyword;
                EXPECT_TRUE(buffer.guardsIntact()) << twin.keyword;
                EXPECT_EQ(matrix.data, buffer.data());
                EXPECT_EQ(matrix.numRows, rows);
                EXPECT_EQ(matrix.numCols, cols);
                EXPECT_EQ(matrix.trans, trans) << twin.keyword;
            }
        }
    }
}

TEST(Neuron, leavesAMatrixWithoutElementsAlone) {
    for (const Twin& twin : kTwins) {
        Matrix empty;
        neuronWith(twin.keyword, "")->run(&empty);
        EXPECT_EQ(empty.data, nullptr) << twin.keyword;
        EXPECT_EQ(empty.numElements, 0);

        GuardedBuffer<float> buffer(0);
        Matrix rowless = Matrix::view(buffer.data(), 0, 5);
        neuronWith(twin.keyword, "")->run(&rowless);
        EXPECT_TRUE(buffer.guardsIntact()) << twin.keyword;
        EXPECT_EQ(rowless.data, buffer.data());
        EXPECT_EQ(rowless.numCols, 5);
    }
}

TEST(Neuron, remembersTheMatrixOfItsLastRun) {
    for (const Twin& twin : kTwins) {
        const auto neuron = neuronWith(twin.keyword, "");
        EXPECT_FALSE(neuron->activated);
        EXPECT_EQ(neuron->acts, nullptr);
        Matrix first = matrixOf(1, 1, {1});
        Matrix second = matrixOf(1, 1, {1});
        neuron->run(&first);
        EXPECT_TRUE(neuron->activated);
        EXPECT_EQ(neuron->acts, &first);
        neuron->run(&second);
        EXPECT_EQ(neuron->acts, &second);
        EXPECT_TRUE(sameFloats(valuesOf(first), valuesOf(second)));
    }
}

TEST(Neuron, theBaseClassIsTheIdentity) {
    Matrix matrix = matrixOf(1, 2, {-1, -0.0F});
    Neuron().run(&matrix);
    EXPECT_TRUE(sameFloats({-1, -0.0F}, valuesOf(matrix)));
}

TEST(Neuron, namesTheUnknownKeyword) {
    std::vector<std::string> unknown = {"",      "Relu",       "relu6",      "rel",      " relu",
                                        "relu ", "brelu[0.5]", "brelu(0.5)", "identity", "elu"};
    for (const Twin& twin : kTwins) {
        std::string capitals = twin.keyword;
        for (char& letter : capitals) {
            letter = static_cast<char>(std::toupper(letter));
        }
        unknown.push_back(capitals);
    }
    describe("[n]\na=1\n");
    for (const std::string& keyword : unknown) {
        try {
            createNeuron("n", keyword);
            ADD_FAILURE() << keyword << " was accepted";
        } catch (const std::string& words) {
            EXPECT_EQ(words, "Unknown neuron type: " + keyword);
        }
    }
}

TEST(ReluNeuron, keepsOnlyWhatIsAboveZero) {
    EXPECT_TRUE(sameFloats({2, 0, 0, 0, 0, 0, kSubnormal, 0, kInfinity, 0},
                           transformed("relu", "",
                                       {2, -2, -0.0F, 0.0F, kNaN, -kNaN, kSubnormal, -kSubnormal,
                                        kInfinity, -kInfinity})));
}

TEST(SoftReluNeuron, isInfiniteOnceTheExponentialIs) {
    EXPECT_TRUE(sameFloat(kInfinity, transformed("softrelu", "", 88.8F)));
    EXPECT_TRUE(sameFloat(kInfinity, transformed("softrelu", "", kLargest)));
    EXPECT_TRUE(sameFloat(kInfinity, transformed("softrelu", "", kInfinity)));
    EXPECT_NEAR(88.7, wide(transformed("softrelu", "", 88.7F)), 1e-5);
}

TEST(SoftReluNeuron, isZeroOnceTheExponentialIsLostBesideOne) {
    EXPECT_TRUE(sameFloats({0, 0, 0}, transformed("softrelu", "", {-17.5F, -200, -kInfinity})));
    // Beside 1 the exponential of -16 counts as one unit in the last place.
    EXPECT_TRUE(sameFloat(narrow(std::log(1.0 + 0x1p-23)), transformed("softrelu", "", -16.0F)));
    EXPECT_TRUE(sameFloat(narrow(std::log(2.0)), transformed("softrelu", "", -0.0F)));
}

TEST(BoundedReluNeuron, liesBetweenZeroAndItsBound) {
    EXPECT_TRUE(sameFloats(
        {0, 0, 0, 0.25F, 0.5F, 0.5F, 0.5F, 0, kSubnormal},
        transformed("brelu", "a=0.5\n",
                    {-1, -0.0F, 0, 0.25F, 0.5F, 0.75F, kInfinity, -kInfinity, kSubnormal})));
}

TEST(BoundedReluNeuron, takesANaNForZero) {
    EXPECT_TRUE(sameFloat(0.0F, transformed("brelu", "a=0.5\n", kNaN)));
    EXPECT_TRUE(sameFloat(0.0F, transformed("brelu", "a=0\n", kNaN)));
    EXPECT_TRUE(sameFloat(0.0F, transformed("brelu", "", kNaN)));
    EXPECT_TRUE(sameFloat(-0.5F, transformed("brelu", "a=-0.5\n", kNaN)));
}

TEST(BoundedReluNeuron, isItsBoundEverywhereWhereThatIsNotPositive) {
    const std::vector<float> values = {-1, -0.0F, 0, 2, kInfinity, -kInfinity, kNaN};
    EXPECT_TRUE(sameFloats(std::vector<float>(7, 0.0F), transformed("brelu", "", values)));
    EXPECT_TRUE(sameFloats(std::vector<float>(7, -1.5F), transformed("brelu", "a=-1.5\n", values)));
    EXPECT_TRUE(sameFloats(std::vector<float>(7, -0.0F), transformed("brelu", "a=-0\n", values)));
}

TEST(AbsNeuron, clearsTheSignBitAndNoOther) {
    EXPECT_EQ(bitsAfter("abs", 0x80000000U), 0x00000000U);
    EXPECT_EQ(bitsAfter("abs", 0x80000001U), 0x00000001U);
    EXPECT_EQ(bitsAfter("abs", 0xFF800000U), 0x7F800000U);
    EXPECT_EQ(bitsAfter("abs", 0xFFC12345U), 0x7FC12345U);  // NaN keeps its payload,
    EXPECT_EQ(bitsAfter("abs", 0xFF812345U), 0x7F812345U);  // quiet or not
    EXPECT_EQ(bitsAfter("abs", 0x7FC12345U), 0x7FC12345U);
    EXPECT_EQ(bitsAfter("abs", 0x3F800001U), 0x3F800001U);
}

TEST(LogisticNeuron, goesToZeroByWayOfInfinityAndHasNoClamp) {
    EXPECT_TRUE(sameFloats(
        {0, 0, 0, 1, 1, 0.5F, 0.5F, kNaN},
        transformed("logistic", "", {-200, -88.8F, -kInfinity, 200, kInfinity, 0, -0.0F, kNaN})));
    // Just before the exponential overflows the result is a subnormal.
    const float last = transformed("logistic", "", -88.7F);
    EXPECT_GT(last, 0.0F);
    EXPECT_LT(last, std::numeric_limits<float>::min());
}

TEST(TanhNeuron, multipliesByBInsideAndByAOutside) {
    const float expected = narrow(std::tanh(0.5)) * 3.0F;
    EXPECT_TRUE(sameFloat(expected, transformed("tanh", "a=3\nb=0.25\n", 2.0F)));
    EXPECT_TRUE(sameFloat(expected, transformed("tanh", "b=0.25\na=3\n", 2.0F)));
    EXPECT_TRUE(sameFloat(-expected, transformed("tanh", "a=-3\nb=0.25\n", 2.0F)));
    EXPECT_TRUE(sameFloat(-expected, transformed("tanh", "a=3\nb=-0.25\n", 2.0F)));
    EXPECT_TRUE(sameFloats({3, -3, kNaN},
                           transformed("tanh", "a=3\nb=1\n", {kInfinity, -kInfinity, kNaN})));
}

TEST(TanhNeuron, isZeroWithoutItsKeysButForInfinityAndNaN) {
    const std::vector<float> values = {1, 0, -1, kInfinity, -kInfinity, kNaN};
    const std::vector<float> expected = {0, 0, -0.0F, kNaN, kNaN, kNaN};
    EXPECT_TRUE(sameFloats(expected, transformed("tanh", "", values)));
    EXPECT_TRUE(sameFloats(expected, transformed("tanh", "a=5\n", values)));
    EXPECT_TRUE(sameFloats({0, 0, -0.0F, 0, -0.0F, kNaN}, transformed("tanh", "b=5\n", values)));
}

TEST(SquareNeuron, overflowsAndUnderflowsAsAProduct) {
    EXPECT_TRUE(sameFloats(
        {9, 0, kInfinity, kInfinity, 0, 0x1p-140F, kNaN},
        transformed("square", "", {-3, -0.0F, 2e19F, -kInfinity, kSubnormal, 0x1p-70F, kNaN})));
}

TEST(SqrtNeuron, followsTheRootOfTheLibraryForSpecialValues) {
    EXPECT_TRUE(sameFloats(
        {3, -0.0F, 0, kNaN, kNaN, kInfinity, kNaN, narrow(std::sqrt(0x1p-149))},
        transformed("sqrt", "",
                    {9, -0.0F, 0, -kSubnormal, -kInfinity, kInfinity, kNaN, kSubnormal})));
}

TEST(LinearNeuron, multipliesByAAndAddsB) {
    EXPECT_TRUE(sameFloat(5.0F, transformed("linear", "a=3\nb=-1\n", 2.0F)));
    EXPECT_TRUE(sameFloat(5.0F, transformed("linear", "b=-1\na=3\n", 2.0F)));
    EXPECT_TRUE(sameFloat(-5.0F, transformed("linear", "a=-3\nb=1\n", 2.0F)));
    EXPECT_TRUE(sameFloats({kInfinity, -kInfinity, kNaN},
                           transformed("linear", "a=3\nb=1\n", {kInfinity, -kInfinity, kNaN})));
}

TEST(LinearNeuron, roundsTheProductBeforeTheSum) {
    // (1 + 2^-12)^2 = 1 + 2^-11 + 2^-24, whose last term the rounding drops.
    EXPECT_TRUE(sameFloat(
        0.0F, transformed("linear", "a=1.000244140625\nb=-1.00048828125\n", 1.0F + 0x1p-12F)));
}

TEST(LinearNeuron, isZeroWithoutItsKeysButForInfinityAndNaN) {
    const std::vector<float> values = {1, 0, -1, -0.0F, kInfinity, -kInfinity, kNaN};
    EXPECT_TRUE(sameFloats({0, 0, 0, 0, kNaN, kNaN, kNaN}, transformed("linear", "", values)));
    EXPECT_TRUE(sameFloats({5, 5, 5, 5, kNaN, kNaN, kNaN}, transformed("linear", "b=5\n", values)));
    EXPECT_TRUE(sameFloats({5, 0, -5, 0, kInfinity, -kInfinity, kNaN},
                           transformed("linear", "a=5\n", values)));
}

TEST(IdentNeuron, leavesEveryBit) {
    for (const std::uint32_t bits :
         {0x80000000U, 0x80000001U, 0xFFC12345U, 0x7F812345U, 0xFF800000U, 0x3F800001U}) {
        EXPECT_EQ(bitsAfter("ident", bits), bits);
    }
}

TEST(NeuronParameters, areZeroWhereTheyAreNoNumber) {
    EXPECT_TRUE(sameFloat(0.0F, transformed("brelu", "a=abc\n", 2.0F)));
    EXPECT_TRUE(sameFloat(0.0F, transformed("brelu", "a=\n", 2.0F)));
    EXPECT_TRUE(sameFloat(0.0F, transformed("brelu", "a=-\n", 2.0F)));
    EXPECT_TRUE(sameFloat(6.0F, transformed("linear", "a=3\nb=abc\n", 2.0F)));
    EXPECT_TRUE(sameFloat(3.0F, transformed("linear", "a=abc\nb=3\n", 2.0F)));
    EXPECT_TRUE(sameFloat(0.0F, transformed("tanh", "a=abc\nb=1\n", 2.0F)));
    EXPECT_TRUE(sameFloat(0.0F, transformed("tanh", "a=1\nb=abc\n", 2.0F)));
}

TEST(NeuronParameters, comeFromTheKeysOfTheOwnSectionOnly) {
    const std::string description = "[m]\na=1\nb=2\n[n]\na=3\nb=4\n[o]\nc=5\n";
    for (const auto& [section, expected] : {std::pair{"m", 12.0F}, {"n", 34.0F}, {"o", 0.0F}}) {
        describe(description);
        Matrix matrix = matrixOf(1, 1, {10});
        createNeuron(section, "linear")->run(&matrix);
        EXPECT_TRUE(sameFloat(expected, matrix.data[0])) << section;
    }
    EXPECT_TRUE(sameFloat(0.0F, transformed("brelu", "b=5\n", 2.0F)));
    EXPECT_TRUE(sameFloat(0.0F, transformed("brelu", "brelu=5\n", 2.0F)));
}

TEST(NeuronParameters, areReadOnceWhenTheNeuronIsMade) {
    const auto neuron = neuronWith("linear", "a=2\nb=1\n");
    describe("[n]\na=5\nb=7\n");
    Matrix matrix = matrixOf(1, 1, {3});
    neuron->run(&matrix);
    EXPECT_TRUE(sameFloat(7.0F, matrix.data[0]));
}
