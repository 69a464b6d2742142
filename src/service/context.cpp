#include "service/context.h"

#include "description/conv_net.h"
#include "description/net_texts.h"

// The canvases need no values: each patch writes its own before it reads.
ZomuContext::ZomuContext() = default;

ZomuContext::ZomuContext(const std::string& weightFolder) {
    for (int k = 0; k < kNetCount; ++k) {
        nets[static_cast<std::size_t>(k)] =
            std::make_unique<ConvNet>(k, netDescriptionTexts[k], weightFolder);
    }
}

ZomuContext::~ZomuContext() = default;
