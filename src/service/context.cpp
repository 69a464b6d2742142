#include "service/context.h"

#include <cstddef>

#include "network/conv_net.h"
#include "network/net_texts.h"

static_assert(kDescriptionCount == kNetCount, "network k is built from description k");

ZomuContext::ZomuContext() : team(defaultTeamSize()) {}

ZomuContext::ZomuContext(const std::string& weightFolder, int threads) : team(threads) {
    for (std::size_t k = 0; k < nets.size(); ++k) {
        nets[k] = std::make_unique<ConvNet>(netDescriptionTexts[k], weightFolder);
    }
}

ZomuContext::~ZomuContext() = default;
