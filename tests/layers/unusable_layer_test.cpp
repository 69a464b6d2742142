// Layers whose settings, weights and inputs do not fit each other.
#include "layers/unusable_layer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "layers/weight_folder.h"

namespace {

struct Size {
    std::int32_t rows, cols;
};

struct Unusable {
    const char* what;
    std::string section;
    // Sizes of the inputs.
    Size a = {1, 4};
    Size b = {1, 4};
    Size c = {1, 4};
};

// `section` with changes.
struct Of {
    const std::string& section;
    Unusable operator()(const char* what, const std::string& changes, Size a = {1, 4},
                        Size b = {1, 4}) const {
        return {what, with(section, changes), a, b};
    }
};
const Of conv = {kConv}, local = {kLocal}, full = {kFullyConnected};

const std::string kPool =
    "type=pool\ninputs=a\nchannels=1\nsizeX=1\nstart=0\nstride=1\noutputsX=2\n";
const std::string kNorm = "type=cmrnorm\ninputs=a\nsizeX=3\nscale=1\npow=1\n";

const Unusable kUnusable[] = {
    {"a data layer beyond the inputs", "type=data\ndataIdx=3\n"},
    {"a data layer in front of them", "type=data\ndataIdx=-1\n"},
    {"a single row without an element 0", "type=softmax\ninputs=a\n", {1, 0}},
    {"a norm without channels", kNorm},
    {"a norm of negative channels", kNorm + "channels=-1\n"},
    {"a norm of more channels than columns", kNorm + "channels=5\n"},
    {"a max pool without channels", with(kPool, "pool=max\nchannels=\n")},
    {"an avg pool that shrinks its input", with(kPool, "pool=avg\noutputsX=-1\nactsTarget=0\n")},
    {"a shorter second", "type=eltsum\ninputs=a_b\ncoeffs=1_1\n", {1, 4}, {3, 1}},
    {"a shorter third", "type=eltsum\ninputs=a_b_c\ncoeffs=1_1_1\n", {1, 4}, {1, 4}, {1, 3}},
    {"a longer, shared", "type=eltsum\ninputs=a_b\ncoeffs=1_1\nactsTarget=1\n", {1, 4}, {1, 5}},
    {"the greater with a shorter first", "type=eltmax\ninputs=a_b\n", {1, 3}, {1, 4}},
    {"the greater with a first of shorter rows", "type=eltmax\ninputs=a_b\n", {2, 2}, {2, 3}},
    {"the greatest with a shorter third", "type=eltmax\ninputs=a_b_c\n", {1, 4}, {1, 4}, {1, 3}},
    {"the greater in a longer first", "type=eltmax\ninputs=a_b\nactsTarget=0\n", {1, 5}, {1, 4}},
    {"the greater in a shorter first", "type=eltmax\ninputs=a_b\nactsTarget=0\n", {1, 3}, {1, 4}},

    conv("filters that are not square", "weights=twoElements\n"),
    conv("four elements for filters of three planes", "channels=3\nweights=bank\n", {1, 12}),
    conv("filters that leave room for one module of four", "weights=bank\n"),
    conv("more columns than can be counted", "weights=wide\nimgSize=182\nmodulesX=182\n",
         {1, 182 * 182}),
    conv("more biases than filters", "biases=threeBiases\n"),
    conv("more biases in a row than modules", "biases=fiveInARow\n"),
    conv("a later input of more filters", "inputs=a_b\nweights=one_w12\nbiases=oneBias\n"),
    conv("a later input of more rows", "inputs=a_b\nweights=w12_w56\n", {1, 4}, {2, 4}),
    conv("a smaller result in its input", "actsTarget=0\nchannels=2\nweights=sum\nbiases=oneBias\n",
         {1, 8}),

    local("too few weights for an element each", "weights=three\n"),
    local("filters that are not square", "weights=eight\n"),
    local("no modules", "modulesX=0\n"),
    local("nine modules for four positions", "modulesX=3\nweights=nine\n"),
    local("fewer biases than it needs", "biases=seven\n"),
    local("a single bias", "biases=oneBias\n"),
    local("a later input of more filters", "inputs=a_b\nweights=oneBank_bank\n"),
    local("a later input of more rows", "inputs=a_b\nweights=bank_bank2\n", {1, 4}, {2, 4}),
    local("a smaller result in its input", "actsTarget=0\nchannels=2\nweights=eightInOne\n",
          {1, 8}),

    full("weights of fewer rows than the input has values", "weights=three\nbiases=absent\n"),
    full("an input of no values", "", {1, 0}),
    full("a column of more biases than rows", "biases=threeBiases\n"),
    full("a row of more biases than outputs", "biases=fiveInARow\n"),
    full("a later input of more outputs", "inputs=a_b\nweights=fc0_four\n"),
    full("a later input of more rows", "inputs=a_b\nweights=fc0_fc1\n", {1, 4}, {2, 4}),
    full("a later input of fewer rows of weights", "inputs=a_b\nweights=fc0_three\n"),
    full("its own input as output", "weights=four\nactsTarget=0\nbiases=absent\n"),
    full("its second input as output",
         "inputs=a_b\nweights=four_four\nactsTarget=1\nbiases=absent\n"),
};

// What none of the three kinds with weights can use: files that are absent, not named, too few or
// too short, matrices of nothing, and its own input as the place for a larger result.
const std::string kUnusableWeights[] = {
    "weights=absent", "weights=",           "inputs=a_b",        "weights=head", "weights=half",
    "weights=empty",  "weights=noElements", "weights=noFilters", "biases=head",  "actsTarget=0",
};

std::vector<Unusable> allUnusable() {
    std::vector<Unusable> all(std::begin(kUnusable), std::end(kUnusable));
    for (const std::string& section : {kConv, kLocal, kFullyConnected}) {
        for (const std::string& changes : kUnusableWeights) {
            all.push_back({changes.c_str(), with(section, changes)});
        }
    }
    return all;
}

class UnusableLayerTest : public WeightFolderTest {
  protected:
    UnusableLayerTest() {
        const std::int32_t sizes[2] = {4, 2};
        writeFile(file("head"), sizes, sizeof sizes);
        writeFile(file("half"), sizes, sizeof sizes / 2);
        writeFile(file("empty"), sizes, 0);
        const std::pair<const char*, Size> ones[] = {
            {"noElements", {0, 2}}, {"noFilters", {4, 0}},  {"twoElements", {2, 2}},
            {"three", {3, 2}},      {"four", {4, 4}},       {"seven", {7, 1}},
            {"eight", {8, 2}},      {"eightInOne", {8, 1}}, {"nine", {9, 2}},
            {"wide", {1, 65536}},   {"sum", {2, 1}},        {"threeBiases", {3, 1}},
            {"fiveInARow", {1, 5}},
        };
        for (const auto& [name, size] : ones) {
            writeOnes(name, size.rows, size.cols);
        }
    }
};

Matrix onesOf(Size size) {
    Matrix matrix(size.rows, size.cols);
    std::fill_n(matrix.data, matrix.numElements, 1.0F);
    return matrix;
}

}  // namespace

TEST_F(UnusableLayerTest, throwsBeforeItTouchesAnything) {
    for (const Unusable& unusable : allUnusable()) {
        SCOPED_TRACE(unusable.what + std::string("\n") + unusable.section);
        OneLayer net(unusable.section, folder.prefix());
        EXPECT_THROW(net.run(onesOf(unusable.a), onesOf(unusable.b), onesOf(unusable.c)),
                     UnusableLayer);
        EXPECT_TRUE(sameFloats(valuesOf(onesOf(unusable.a)), valuesOf(net.a)));
        EXPECT_TRUE(sameFloats(valuesOf(onesOf(unusable.b)), valuesOf(net.b)));
        EXPECT_TRUE(sameFloats(valuesOf(onesOf(unusable.c)), valuesOf(net.c)));
        // What the first input gave stays; of a first input that is refused nothing comes.
        const bool isLater = unusable.section.find("inputs=a_b") != std::string::npos;
        EXPECT_TRUE(isLater || net.output() == nullptr || net.output() == &net.a ||
                    net.output()->numElements == 0);
    }
}

TEST_F(UnusableLayerTest, throwsTheRangeErrorOfListsBeforeItLooksAtWeights) {
    for (const std::string& section :
         {with(kConv, "weights=w12_w56\n"), with(kLocal, "weights=bank_bank2\n")}) {
        for (const std::string list : {"channels=1", "stride=1", "padding=0", "imgSize=2"}) {
            const std::string none = list.substr(0, list.find('=') + 1);
            for (const std::string& changes : {"inputs=a_b\n" + list, "weights=absent\n" + none}) {
                OneLayer net(with(section, changes), folder.prefix());
                try {
                    net.run(onesOf({1, 4}), onesOf({1, 4}));
                    ADD_FAILURE() << changes;
                } catch (const std::out_of_range& error) {
                    EXPECT_STREQ(error.what(), "invalid vector<T> subscript") << changes;
                }
            }
        }
    }
}

TEST(UnusableLayer, isOneThatWouldReadATransposedInputBeyondItsEnd) {
    // Its last element in the first row stands behind a column of three.
    const auto column = [] { return matrixOf(3, 2, {1, 2, 3, 4, 5, 6}, kTransposed); };
    OneLayer sum("type=eltsum\ninputs=a_b\ncoeffs=1_1\n");
    EXPECT_THROW(sum.run(rowOf({1, 1, 1}), column()), UnusableLayer);
    OneLayer max("type=eltmax\ninputs=a_b\n");
    EXPECT_THROW(max.run(column(), rowOf({1, 1, 1})), UnusableLayer);
    EXPECT_TRUE(sameFloats({1, 4, 2, 5}, max.run(column(), matrixOf(2, 2, {0, 0, 0, 0}))));
}

TEST(UnusableLayer, needsAsMuchOfAMatrixAsItReads) {
    const struct {
        std::int64_t rows, cols;
        bool asRuns, asElements, transposed;
    } cases[] = {
        // Runs may go on in the next row, as transposed columns in the next column.
        {2, 3, true, true, true},    {1, 6, true, true, false},
        {1, 7, false, false, false}, {2, 4, false, false, false},
        {3, 1, false, false, true},  {4, 2, false, false, true},
        {5, 2, false, false, false}, {0, 100, true, true, true},
        {100, 0, true, true, true},  {1 << 30, 1 << 30, false, false, false},
    };
    for (const auto& [rows, cols, asRuns, asElements, transposed] : cases) {
        Matrix matrix(2, 3);
        EXPECT_EQ(holdsRows(matrix, rows, cols), asRuns) << rows << " x " << cols;
        EXPECT_EQ(holdsElements(matrix, rows, cols), asElements) << rows << " x " << cols;
        matrix.trans = kTransposed;
        EXPECT_EQ(holdsElements(matrix, rows, cols), transposed) << rows << " x " << cols;
    }
}
