#include "layers/layer_registry.h"

#include <cstddef>

#include "description/parameters.h"
#include "layers/unusable_layer.h"

namespace {

class DataLayer : public Layer {
  public:
    explicit DataLayer(const LayerSource& source) : Layer(source) {
        getInt(source.section, "dataIdx", dataIdx);
    }

    void computeActs(std::int32_t, float) override {}

    void fprop(const MatrixList& given) override {
        const auto index = static_cast<std::size_t>(dataIdx);
        // A negative dataIdx is a huge index here.
        requireUsable(index < given.size());
        outputs = given[index];
        runNext();
    }

    // A data layer has no inputs. A description that gives it some is wrong, which shows only when
    // the network runs.
    void inputReady() override { throw std::string("No data given!"); }

    std::int32_t dataIdx = 0;
};

}  // namespace

std::unique_ptr<Layer> createDataLayer(const LayerSource& source) {
    return std::make_unique<DataLayer>(source);
}
