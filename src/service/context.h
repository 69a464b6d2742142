// What the public handle points to.
#ifndef ZOMU_SERVICE_CONTEXT_H
#define ZOMU_SERVICE_CONTEXT_H

#include <array>
#include <memory>
#include <string>

#include "model/model_tables.h"
#include "patches/canvases.h"

struct ConvNet;

// `nets[k]` is built from description k and fed patch k.
struct ZomuContext {
    ZomuContext();                                          // without networks
    explicit ZomuContext(const std::string& weightFolder);  // ends in a separator
    ~ZomuContext();
    ZomuContext(const ZomuContext&) = delete;
    ZomuContext& operator=(const ZomuContext&) = delete;

    FaceCanvases canvases;
    std::array<std::unique_ptr<ConvNet>, kNetCount> nets;
};

#endif
