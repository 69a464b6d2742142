#include "layers/layer_kinds.h"

#include <cstddef>

#include "description/parameters.h"

namespace {

class DataLayer : public Layer {
  public:
    DataLayer(ConvNet& owner, const std::string& sectionName) : Layer(owner, sectionName) {
        getInt(name, "dataIdx", dataIdx);
    }

    void computeActs(std::int32_t, float) override {}

    void fprop(const MatrixList& given) override {
        outputs = given[static_cast<std::size_t>(dataIdx)];
        notifyNext();
    }

    // A data layer has no inputs. One that is given some has been described wrongly.
    void inputReady() override { throw std::string("No data given!"); }

    std::int32_t dataIdx = 0;
};

}  // namespace

std::unique_ptr<Layer> createDataLayer(ConvNet& net, const std::string& name) {
    return std::make_unique<DataLayer>(net, name);
}
