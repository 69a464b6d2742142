// The topologies of the networks, in the notation of description/description_reader.h.
#ifndef ZOMU_NETWORK_NET_TEXTS_H
#define ZOMU_NETWORK_NET_TEXTS_H

constexpr int kDescriptionCount = 25;

// NUL-terminated. Entry i describes network number i + 1: it reads patch i (`dataIdx`) and the
// model files whose middle number is i + 1.
extern const char* const netDescriptionTexts[kDescriptionCount];

#endif
