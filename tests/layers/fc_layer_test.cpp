#include "layers/random_filters.h"
#include "layers/weight_folder.h"
#include "reference/reference_layers.h"

namespace {

class FCLayerTest : public WeightFolderTest {
  protected:
    FCLayerTest() : WeightFolderTest(kFullyConnected) {}
};

Matrix twoRows() {
    return matrixOf(2, 4, {1, 2, 3, 4, 0, 0, 1, 1});
}

}  // namespace

TEST_F(FCLayerTest, equalsTheDefinitionForManyShapes) {
    Random random(17);
    const auto whole = [&] { return static_cast<float>(random.between(-9, 9)); };
    for (int round = 0; round < 40; ++round) {
        const int rows = random.between(1, 4);
        const int inner = random.between(1, 20);
        const int cols = random.between(1, 20);
        Matrix x = filled(rows, inner, whole);
        const Matrix w = filled(inner + random.between(0, 2), cols, whole);  // some rows to spare
        const Matrix b = filled(1, cols, whole);
        write("w", w.numRows, cols, valuesOf(w));
        write("b", 1, cols, valuesOf(b));
        std::vector<float> expected = referenceProduct(x.data, w.data, rows, inner, cols);
        for (std::size_t i = 0; i < expected.size(); ++i) {
            expected[i] += b.data[i % static_cast<std::size_t>(cols)];
        }
        ASSERT_TRUE(sameFloats(expected, run("weights=w\nbiases=b\n", std::move(x)))) << round;
    }
}

TEST_F(FCLayerTest, multipliesEachRowByItsWeightsAsTheyAreStoredAndAddsTheBias) {
    OneLayer net = changed("outputs=160\n");
    const std::vector<float> expected = {15, 26, 37, 11, 21, 32};
    EXPECT_TRUE(sameFloats(expected, net.run(twoRows())));
    EXPECT_EQ(dynamic_cast<WeightLayer&>(net.layer()).weights[0]->matrix->numRows, 4);
    EXPECT_TRUE(
        sameFloats(expected, net.run(matrixOf(2, 4, {1, 0, 2, 0, 3, 1, 4, 1}, kTransposed))));
}

TEST_F(FCLayerTest, addsTheBiasBetweenItsTwoProducts) {
    EXPECT_TRUE(sameFloats({35, 46, 57}, run("inputs=a_b\nweights=fc0_fc1\n")));
    // The order shows in the rounding: (2^24 + 1) + 1 stays at 2^24, (1 + 1) + 2^24 does not.
    write("big", 1, 1, {0x1p24F});
    write("small", 1, 1, {1});
    const std::string keys = "inputs=a_b\nbiases=small\nweights=";
    EXPECT_TRUE(sameFloats({0x1p24F}, run(keys + "big_small\n", rowOf({1}), rowOf({1}))));
    EXPECT_TRUE(sameFloats({0x1p24F + 2}, run(keys + "small_big\n", rowOf({1}), rowOf({1}))));
}

TEST_F(FCLayerTest, readsAsManyRowsOfItsWeightsAsTheInputHasValues) {
    EXPECT_TRUE(sameFloats({11, 22, 33}, run("", rowOf({1, 2, 3}))));
    EXPECT_TRUE(
        sameFloats({15, 150, 0, 0}, run("weights=bank\nbiases=absent\n", matrixOf(2, 1, {15, 0}))));
}

TEST_F(FCLayerTest, addsALaterInputOfFewerOutputsOrRowsToTheFirst) {
    writeOnes("narrow", 4, 2);
    const std::string keys = "inputs=a_b\nweights=fc0_narrow\n";
    EXPECT_TRUE(sameFloats({115, 126, 37, 13, 23, 32},
                           run(keys, twoRows(), matrixOf(2, 4, {10, 20, 30, 40, 0, 1, 0, 1}))));
    EXPECT_TRUE(sameFloats({115, 126, 37, 11, 21, 32}, run(keys, twoRows())));
}

TEST_F(FCLayerTest, addsBiasesByTheirShape) {
    write("columnBias", 2, 1, {100, 200});
    EXPECT_TRUE(sameFloats({105, 106, 107, 201, 201, 202}, run("biases=columnBias\n", twoRows())))
        << "a column has one for each row";
    EXPECT_TRUE(sameFloats({5, 6, 7}, run("biases=absent\n")));
    EXPECT_TRUE(sameFloats({105, 6, 7}, run("biases=oneBias\n")));
}
