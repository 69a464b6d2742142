// What stands behind the public handle.
#ifndef ZOMU_SERVICE_CONTEXT_H
#define ZOMU_SERVICE_CONTEXT_H

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "service/model_tables.h"

struct ConvNet;

constexpr int kCanvasSide = 160;

// The canvases are scratch: every patch of their kind overwrites them. `nets[k]` is built from
// description k and fed patch k.
struct ZomuContext {
    ZomuContext();                                          // without networks: cuts patches only
    explicit ZomuContext(const std::string& weightFolder);  // a separator at its end
    ~ZomuContext();
    ZomuContext(const ZomuContext&) = delete;
    ZomuContext& operator=(const ZomuContext&) = delete;

    std::uint8_t greyCanvas[kCanvasSide * kCanvasSide];
    std::uint8_t colourCanvas[kCanvasSide * kCanvasSide * 3];  // interleaved, in the source's order
    std::array<std::unique_ptr<ConvNet>, kNetCount> nets;
};

#endif
