// One network with a layer of each kind:
//
//   d  data     1 x 4 x 4
//   c  conv     2 filters of 3 x 3, padded: 2 x 4 x 4
//   n  neuron   relu, in place in c
//   r  rnorm    hands on the matrix of c
//   p  pool     the greatest of 2 x 2: 2 x 2 x 2
//   m  cmrnorm  over both planes
//   k  cnorm    hands on the matrix of m
//   l  local    1 x 1 filters: 2 x 2 x 2
//   s  eltsum   k - l / 2
//   x  eltmax   of l and s
//   f  fc       p to 3 values
//   t  softmax  of these
//
// Everything up to p, and f, is whole numbers, so that the order of a sum does not matter there.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "reference/reference_layers.h"
#include "support/bits.h"
#include "support/model_folder.h"
#include "support/nets.h"
#include "support/random.h"
#include "support/temporary_folder.h"

namespace {

using Values = std::vector<float>;

const char* const kText =
    "[Net]\nLayerCount=12\nLayerNames=d_c_n_r_p_m_k_l_s_x_f_t\n"
    "[d]\ntype=data\ndataIdx=0\nactsTarget=0\n"
    "[c]\ntype=conv\ninputs=d\nweights=c\nbiases=cb\nchannels=1\nfilters=2\npadding=1\n"
    "stride=1\nfilterSize=3\nfilterPixels=9\nimgSize=4\nimgPixels=16\nmodulesX=4\n"
    "[n]\ntype=neuron\nneuron=relu\ninputs=c\nactsTarget=0\n"
    "[r]\ntype=rnorm\ninputs=n\nactsTarget=0\nchannels=2\nsizeX=3\nscale=9\npow=2\n"
    "[p]\ntype=pool\npool=max\ninputs=r\nchannels=2\nsizeX=2\nstart=0\nstride=2\noutputsX=2\n"
    "[m]\ntype=cmrnorm\ninputs=p\nchannels=2\nsizeX=3\nscale=0.3\npow=0.75\n"
    "[k]\ntype=cnorm\ninputs=m\nactsTarget=0\nchannels=2\nsizeX=3\nscale=9\npow=2\nimgSize=2\n"
    "[l]\ntype=local\ninputs=k\nweights=l\nbiases=lb\nchannels=2\nfilters=2\npadding=0\n"
    "stride=1\nfilterSize=1\nfilterPixels=1\nimgSize=2\nimgPixels=4\nmodulesX=2\n"
    "[s]\ntype=eltsum\ninputs=k_l\ncoeffs=1_-0.5\n"
    "[x]\ntype=eltmax\ninputs=l_s\n"
    "[f]\ntype=fc\ninputs=p\nweights=f\nbiases=fb\noutputs=3\n"
    "[t]\ntype=softmax\ninputs=f\n";

Values wholeNumbers(Random& random, std::size_t count, int limit) {
    Values values(count);
    for (float& value : values) {
        value = static_cast<float>(random.between(-limit, limit));
    }
    return values;
}

// A row for each filter or output; the files of the network hold them with rows and columns
// exchanged.
struct EveryKindWeights {
    Values filters;  // 2 x 9
    Values filterBiases;
    Values bank;  // 2 filters x 4 places x 2 planes
    Values bankBiases;
    Values full;  // 3 x 8
    Values fullBiases;
};

template <typename Function>
Values combined(const Values& first, const Values& second, Function function) {
    Values out;
    for (std::size_t i = 0; i < first.size(); ++i) {
        // A second list that is shorter has an entry for each of as many equal parts of the first.
        out.push_back(function(first[i], second[i * second.size() / first.size()]));
    }
    return out;
}

// What each layer that has a matrix of its own makes of one image of 4 x 4.
std::map<std::string, Values> referenceEveryKind(const EveryKindWeights& weights,
                                                 const float* image) {
    const auto plus = [](float x, float y) { return x + y; };
    std::map<std::string, Values> acts;
    const ReferenceFilters conv = {1, 1, 4, 4, 2, 3, 1, 1};
    const auto sums =
        combined(referenceFilterSums(conv, ReferenceBank::Shared, image, weights.filters.data()),
                 weights.filterBiases, plus);
    // The rectifier works in the same matrix.
    acts["c"] = combined(sums, {0}, [](float x, float y) { return std::max(x, y); });

    acts["p"] = referencePool(ReferencePool::Max, {2, 2, 0, 2, 2}, rowOf(acts["c"]));
    const Values& p = acts["p"];
    acts["m"] = referenceNorm({2, 3, 0.3F, 0.75F}, rowOf(p));
    const Values& m = acts["m"];
    const ReferenceFilters local = {1, 2, 2, 2, 2, 1, 0, 1};
    acts["l"] = combined(
        referenceFilterSums(local, ReferenceBank::PerModule, m.data(), weights.bank.data()),
        weights.bankBiases, plus);
    acts["s"] = combined(m, acts["l"], [](float x, float y) { return x - 0.5F * y; });
    acts["x"] = combined(acts["l"], acts["s"], [](float x, float y) { return y > x ? y : x; });
    const ReferenceFilters full = {1, 8, 1, 1, 3, 1, 0, 1};
    acts["f"] =
        combined(referenceFilterSums(full, ReferenceBank::PerModule, p.data(), weights.full.data()),
                 weights.fullBiases, plus);
    acts["t"] = referenceSoftmax({acts["f"]});
    return acts;
}

class EveryKindNet : public testing::Test {
  protected:
    EveryKindNet() {
        Random random(67);
        weights = {wholeNumbers(random, 18, 2), wholeNumbers(random, 2, 1),
                   random.floats(16, -1, 1),    random.floats(8, -1, 1),
                   wholeNumbers(random, 24, 1), wholeNumbers(random, 3, 2)};
        images = wholeNumbers(random, 48, 3);
        write("c", 2, weights.filters);
        write("cb", 1, weights.filterBiases);
        write("l", 2, weights.bank);
        write("lb", 1, weights.bankBiases);
        write("f", 3, weights.full);
        writeWeightFile(folder.prefix() + "fb", 1, 3, weights.fullBiases);
        net = buildNet(kText, folder.prefix());
    }

    // Writes a file whose columns are the rows of `values`.
    void write(const std::string& name, std::int32_t rowCount, const Values& values) const {
        const auto cols = static_cast<std::int32_t>(values.size()) / rowCount;
        const auto exchanged = matrixOf(rowCount, cols, values).transpose();
        writeWeightFile(folder.prefix() + name, cols, rowCount, valuesOf(*exchanged));
    }

    const Matrix* run(int rows) {
        patch = matrixOf(rows, 16, {images.begin(), images.begin() + std::ptrdiff_t{16} * rows});
        return runNet(*net, {&patch});
    }

    std::map<std::string, Values> expected(int rows) const {
        std::map<std::string, Values> all;
        for (int row = 0; row < rows; ++row) {
            const float* image = images.data() + std::ptrdiff_t{16} * row;
            for (const auto& [name, values] : referenceEveryKind(weights, image)) {
                all[name].insert(all[name].end(), values.begin(), values.end());
            }
        }
        return all;
    }

    TemporaryFolder folder;
    EveryKindWeights weights;
    Values images;  // three
    std::unique_ptr<ConvNet> net;
    Matrix patch;
};

}  // namespace

TEST_F(EveryKindNet, computesEveryLayerAsThePlainLoopsForAnyNumberOfImages) {
    for (const int rows : {2, 3, 2, 2}) {
        const std::map<std::string, Values> all = expected(rows);
        std::map<std::string, const float*> storage;
        for (const auto& [name, values] : all) {
            // What stands there from the run before must not matter.
            Matrix& acts = *layerNamed(*net, name)->getActs();
            std::fill_n(acts.data, acts.numElements, std::numeric_limits<float>::quiet_NaN());
            storage[name] = acts.numRows == rows ? acts.data : nullptr;
        }
        EXPECT_EQ(run(rows), layerNamed(*net, "t")->getActs());
        for (const auto& [name, values] : all) {
            const Matrix& acts = *layerNamed(*net, name)->getActs();
            EXPECT_EQ(acts.numRows, rows) << name;
            EXPECT_TRUE(sameFloats(values, valuesOf(acts))) << name;
            EXPECT_TRUE(storage[name] == nullptr || storage[name] == acts.data) << name;
        }
    }
}

TEST_F(EveryKindNet, firesInTheOrderOfItsDescriptionAndHandsOnTheMatricesThatItsLayersShare) {
    FiringOrder order(*net);
    run(2);
    EXPECT_EQ(order.fired, splitList("d_c_n_r_p_m_k_l_s_x_f_t"));
    EXPECT_EQ(layerNamed(*net, "d")->getActs(), &patch);
    EXPECT_EQ(layerNamed(*net, "n")->getActs(), layerNamed(*net, "c")->getActs());
    EXPECT_EQ(layerNamed(*net, "r")->getActs(), layerNamed(*net, "c")->getActs());
    EXPECT_EQ(layerNamed(*net, "k")->getActs(), layerNamed(*net, "m")->getActs());
    EXPECT_TRUE(sameFloats({images.begin(), images.begin() + 32}, valuesOf(patch)));
}
