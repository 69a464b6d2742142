// The template that a damaged model must give, by the plain second writing of the whole path: what
// a fault does to the numbers of a file is done to numbers in memory, and no damaged file is read.
#ifndef ZOMU_TESTS_HARDENING_EXPECTED_TEMPLATE_H
#define ZOMU_TESTS_HARDENING_EXPECTED_TEMPLATE_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "hardening/model_fault.h"
#include "library/host/scene.h"
#include "reference/reference_network.h"
#include "zomu.h"

class ExpectedTemplates {
  public:
    // `good` is the temporary directory of an undamaged integer model.
    ExpectedTemplates(const std::string& good, const Scene& face);

    // Of the undamaged model.
    const FaceTemplate& undamaged() const { return whole; }

    // Of the model with the case's effect, which must not be noMemory.
    const FaceTemplate& of(const FaultCase& faultCase);

  private:
    std::vector<float> featuresOf(int network, const ReferenceNetwork& weights,
                                  const std::vector<float>& images) const;
    FaceTemplate templateOf(std::vector<float> ofNetworks, const std::vector<float>& mean,
                            const std::vector<float>& a, const std::vector<float>& b) const;
    FaceTemplate compute(const FaultCase& faultCase) const;

    std::string folder;
    const Scene& scene;
    std::vector<float> meanImageTable;  // 25 slots of 9075
    std::vector<float> featureMeans;
    std::vector<float> tableA;
    std::vector<float> tableB;
    std::vector<float> features;  // of all networks, undamaged
    FaceTemplate whole;
    std::map<std::pair<std::string, Effect>, FaceTemplate> known;
};

#endif
