#include "network/net_texts.h"

#include <cstddef>
#include <string_view>

namespace {

// Sizes that follow from the input's side, by stage: index 0 to 3 for conv1, conv2, local3 and
// local4.
struct NetGeometry {
    int S[4];  // side of the stage's input, imgSize
    int P[4];  // its pixels, imgPixels
    int M[4];  // side of the convolution's output, modulesX
    int O[3];  // side of the pooled output, outputsX; local4 has no pool
};

constexpr NetGeometry kGeometry55 = {
    {55, 26, 12, 5}, {3025, 676, 144, 25}, {52, 24, 10, 4}, {26, 12, 5}};
constexpr NetGeometry kGeometry47 = {
    {47, 22, 10, 4}, {2209, 484, 100, 16}, {44, 20, 8, 3}, {22, 10, 4}};

// Networks 1 and 2 read the larger patches.
constexpr int kLargeNets = 2;

// Planes of each network's patch: three in colour, one in grey.
constexpr int kInputChannels[kDescriptionCount] = {3, 3, 3, 1, 3, 1, 1, 3, 1, 1, 3, 1, 1,
                                                   3, 1, 1, 3, 1, 3, 1, 3, 1, 3, 1, 3};

// What all networks share. `$` marks what differs: $N the network's number, $I its index, $C the
// planes of its input, and a letter of NetGeometry followed by the stage, counted from 0, or for O
// by the pool, counted from 1. Every line end becomes space, LF, space in the finished text.
constexpr std::string_view kTemplate = R"([Net]
LayerCount=13
LayerNames=data_conv1_neuron1_pool1_conv2_neuron2_pool2_local3_neuron3_pool3_local4_neuron4_fc

[data]
type=data
dataIdx=$I
actsTarget=0

[conv1]
type=conv
inputs=data
channels=$C
filters=16
padding=0
stride=1
filterSize=4
weights=1-$N-1
biases=1-$N-2
filterPixels=16
imgSize=$S0
imgPixels=$P0
modulesX=$M0

[neuron1]
type=neuron
neuron=relu
inputs=conv1
actsTarget=0

[pool1]
type=pool
pool=max
inputs=neuron1
start=0
sizeX=2
stride=2
outputsX=$O1
channels=16

[conv2]
type=conv
inputs=pool1
channels=16
filters=32
padding=0
stride=1
filterSize=3
weights=2-$N-1
biases=2-$N-2
filterPixels=9
imgSize=$S1
imgPixels=$P1
modulesX=$M1

[neuron2]
type=neuron
neuron=relu
inputs=conv2
actsTarget=0

[pool2]
type=pool
pool=max
inputs=neuron2
start=0
sizeX=2
stride=2
outputsX=$O2
channels=32

[local3]
type=conv
inputs=pool2
channels=32
filters=48
padding=0
stride=1
filterSize=3
weights=3-$N-1
biases=3-$N-2
filterPixels=9
imgSize=$S2
imgPixels=$P2
modulesX=$M2

[neuron3]
type=neuron
neuron=relu
inputs=local3
actsTarget=0

[pool3]
type=pool
pool=max
inputs=neuron3
start=0
sizeX=2
stride=2
outputsX=$O3
channels=48

[local4]
type=conv
inputs=pool3
filters=64
padding=0
stride=1
filterSize=2
channels=48
weights=4-$N-1
biases=4-$N-2
filterPixels=4
imgSize=$S3
imgPixels=$P3
modulesX=$M3

[neuron4]
type=neuron
neuron=relu
inputs=local4
actsTarget=0

[fc]
type=fc
outputs=160
inputs=local4_pool3
weights=5-$N-1_5-$N-2
biases=5-$N-3
)";

// Room for the longest text with its NUL; a longer one would not compile.
constexpr std::size_t kTextRoom = 1689;

// A text under construction, then the finished text padded with zeros.
struct NetText {
    char bytes[kTextRoom] = {};
    std::size_t length = 0;

    constexpr void append(char byte) { bytes[length++] = byte; }

    constexpr void append(int number) {
        if (number >= 10) {
            append(number / 10);
        }
        append(static_cast<char>('0' + number % 10));
    }
};

constexpr NetText writeNetText(int index) {
    const NetGeometry& geometry = index < kLargeNets ? kGeometry55 : kGeometry47;
    NetText text;
    for (std::size_t i = 0; i < kTemplate.size(); ++i) {
        if (kTemplate[i] == '\n') {
            text.append(' ');
            text.append('\n');
            text.append(' ');
        } else if (kTemplate[i] != '$') {
            text.append(kTemplate[i]);
        } else {
            const char letter = kTemplate[++i];
            if (letter == 'N') {
                text.append(index + 1);
            } else if (letter == 'I') {
                text.append(index);
            } else if (letter == 'C') {
                text.append(kInputChannels[index]);
            } else {
                const int stage = kTemplate[++i] - '0';
                text.append(letter == 'S'   ? geometry.S[stage]
                            : letter == 'P' ? geometry.P[stage]
                            : letter == 'M' ? geometry.M[stage]
                                            : geometry.O[stage - 1]);
            }
        }
    }
    return text;
}

// Built at compile time, each in a separate constant evaluation, which keeps the number of steps
// below the compiler's limit.
template <int kIndex>
constexpr NetText kNetText = writeNetText(kIndex);

}  // namespace

const char* const netDescriptionTexts[kDescriptionCount] = {
    kNetText<0>.bytes,  kNetText<1>.bytes,  kNetText<2>.bytes,  kNetText<3>.bytes,
    kNetText<4>.bytes,  kNetText<5>.bytes,  kNetText<6>.bytes,  kNetText<7>.bytes,
    kNetText<8>.bytes,  kNetText<9>.bytes,  kNetText<10>.bytes, kNetText<11>.bytes,
    kNetText<12>.bytes, kNetText<13>.bytes, kNetText<14>.bytes, kNetText<15>.bytes,
    kNetText<16>.bytes, kNetText<17>.bytes, kNetText<18>.bytes, kNetText<19>.bytes,
    kNetText<20>.bytes, kNetText<21>.bytes, kNetText<22>.bytes, kNetText<23>.bytes,
    kNetText<24>.bytes};

// Lengths with and without the second digit of a number.
static_assert(kNetText<1>.length == 1677 && kNetText<2>.length == 1676);
static_assert(kNetText<9>.length == 1687 && kNetText<24>.length == kTextRoom - 1);
