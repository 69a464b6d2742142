#include "service/context.h"

#include <cstddef>

#include "network/conv_net.h"
#include "network/net_texts.h"

static_assert(kDescriptionCount == kNetCount, "network k is built from description k");

// The canvases stay uninitialised: each patch writes the pixels that it reads.
ZomuContext::ZomuContext() = default;

ZomuContext::ZomuContext(const std::string& weightFolder) {
    for (std::size_t k = 0; k < nets.size(); ++k) {
        nets[k] = std::make_unique<ConvNet>(netDescriptionTexts[k], weightFolder);
    }
}

ZomuContext::~ZomuContext() = default;
