// Networks of two data layers, `d` and `e`, and a test's own layers behind them.
#ifndef ZOMU_TESTS_LAYERS_TWO_INPUT_NET_H
#define ZOMU_TESTS_LAYERS_TWO_INPUT_NET_H

#include <memory>
#include <string>

#include "support/nets.h"

// `names` lists the layers behind the two, separated by `_`; `sections` describes them. A run takes
// the matrix of `d`, then that of `e`.
inline std::string textBehindTwoInputs(const std::string& names, const std::string& sections) {
    const auto count = std::to_string(2 + splitList(names).size());
    return "[Net]\nLayerCount=" + count + "\nLayerNames=d_e_" + names +
           "\n[d]\ntype=data\ndataIdx=0\nactsTarget=0\n"
           "[e]\ntype=data\ndataIdx=1\nactsTarget=0\n" +
           sections;
}

inline std::unique_ptr<ConvNet> netBehindTwoInputs(const std::string& names,
                                                   const std::string& sections,
                                                   const std::string& folder = "") {
    return buildNet(textBehindTwoInputs(names, sections), folder);
}

#endif
