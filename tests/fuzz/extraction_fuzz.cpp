// A whole extraction through the exported call: any arguments, and one network with weight files of
// any contents. The networks are small ones of the same layers as the embedded, so that an input
// takes milliseconds.
//
// Whatever is given, the template is NaN in all values or in none; a refused call and a file that
// is too short make it NaN, and a second call gives the same bits. Weights that cannot be allocated
// end the build in std::bad_alloc.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "fuzz/fuzz_target.h"
#include "fuzz/memory_file.h"
#include "model/model_tables.h"
#include "network/conv_net.h"
#include "reference/reference_tables.h"
#include "service/extraction.h"
#include "support/face_generator.h"
#include "support/random.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// One file of a network: the sizes that it should have.
struct FileShape {
    std::int32_t rows;
    std::int32_t cols;
};

constexpr std::size_t kFileCount = 7;

struct NetShape {
    explicit NetShape(int index)
        : channels(kReferencePatches[index].isColour ? 3 : 1),
          side(kReferencePatches[index].size),
          first((side - 4) / 4 + 1),
          pooled(first / 2),
          second(pooled - 2),
          files{{16 * channels, 2},         {2, 1},  {18, 3}, {3, 1}, {3 * second * second, 160},
                {2 * pooled * pooled, 160}, {1, 160}} {}

    int channels;
    int side;    // of the patch
    int first;   // of what the first convolution makes of it
    int pooled;  // of that, pooled
    int second;  // of what the second convolution makes of that
    FileShape files[kFileCount];
};

// Two convolutions, a pool between them, and a full connection to both ends, with the files
// `names`.
std::string netText(int index, const std::vector<std::string>& names) {
    const NetShape net(index);
    const auto text = [](int number) { return std::to_string(number); };
    return "[Net]\nLayerCount=7\nLayerNames=d_c_n_p_l_m_f\n[d]\ntype=data\nactsTarget=0\ndataIdx=" +
           text(index) +
           "\n[c]\ntype=conv\ninputs=d\nfilters=2\npadding=0\nstride=4\nfilterSize=4" +
           "\nfilterPixels=16\nchannels=" + text(net.channels) + "\nimgSize=" + text(net.side) +
           "\nimgPixels=" + text(net.side * net.side) + "\nmodulesX=" + text(net.first) +
           "\nweights=" + names[0] + "\nbiases=" + names[1] +
           "\n[n]\ntype=neuron\nneuron=relu\ninputs=c\nactsTarget=0\n[p]\ntype=pool\npool=max" +
           "\ninputs=n\nstart=0\nsizeX=2\nstride=2\nchannels=2\noutputsX=" + text(net.pooled) +
           "\n[l]\ntype=conv\ninputs=p\nfilters=3\npadding=0\nstride=1\nfilterSize=3" +
           "\nfilterPixels=9\nchannels=2\nimgSize=" + text(net.pooled) +
           "\nimgPixels=" + text(net.pooled * net.pooled) + "\nmodulesX=" + text(net.second) +
           "\nweights=" + names[2] + "\nbiases=" + names[3] +
           "\n[m]\ntype=neuron\nneuron=relu\ninputs=l\nactsTarget=0\n[f]\ntype=fc\noutputs=160" +
           "\ninputs=m_p\nweights=" + names[4] + "_" + names[5] + "\nbiases=" + names[6] + "\n";
}

// Mostly positive, so that the rectifiers leave something.
Bytes madeFile(FileShape shape, Random& random) {
    const auto count = static_cast<std::size_t>(shape.rows) * static_cast<std::size_t>(shape.cols);
    const std::vector<float> values = random.floats(count, -0.3F, 0.7F);
    Bytes bytes(sizeof shape + count * sizeof(float));
    std::memcpy(bytes.data(), &shape, sizeof shape);
    std::memcpy(bytes.data() + sizeof shape, values.data(), count * sizeof(float));
    return bytes;
}

// Puts other bytes into a file, changes its sizes, cuts it or lengthens it.
void changeFile(Random& input, Bytes& file) {
    switch (input.between(0, 5)) {
        case 0:
            file.resize(static_cast<std::size_t>(
                input.between(0, static_cast<int>(std::min<std::size_t>(file.size(), 65535)))));
            break;
        case 1:
            file.resize(file.size() + static_cast<std::size_t>(input.between(0, 9000)));
            break;
        case 2: {
            const FileShape shape = {input.between(0, 400), input.between(0, 400)};
            std::memcpy(file.data(), &shape, std::min(sizeof shape, file.size()));
            break;
        }
        case 3: {
            const FileShape shape = {input.integer(), input.integer()};
            std::memcpy(file.data(), &shape, std::min(sizeof shape, file.size()));
            break;
        }
        case 4: {
            // The same number of elements in another shape.
            FileShape shape;
            if (file.size() >= sizeof shape) {
                std::memcpy(&shape, file.data(), sizeof shape);
                shape = {shape.cols, shape.rows};
                std::memcpy(file.data(), &shape, sizeof shape);
            }
            break;
        }
        default: {
            const Bytes other = input.upTo(static_cast<std::size_t>(input.between(0, 40)));
            const std::size_t room = file.size() > 8 ? file.size() - 8 : 0;
            const std::size_t size = std::min(other.size(), room);
            const std::size_t place =
                8 + (size == room
                         ? 0
                         : static_cast<std::size_t>(input.between(0, 65535)) % (room - size + 1));
            if (size > 0) {
                std::memcpy(file.data() + place, other.data(), size);
            }
        }
    }
}

// True where a file is shorter than its own sizes say.
bool isShort(const Bytes& file) {
    FileShape shape;
    if (file.size() < sizeof shape) {
        return true;
    }
    std::memcpy(&shape, file.data(), sizeof shape);
    return static_cast<std::int64_t>(file.size() - sizeof shape) / 4 <
           static_cast<std::int64_t>(shape.rows) * shape.cols;
}

// The context, its files and its tables, made once.
class Model {
  public:
    Model() {
        Random random(93);
        for (auto& image : g_modelTables.meanImages) {
            for (float& value : image) {
                value = random.uniform(90, 150);
            }
        }
        for (float& value : g_modelTables.featureMean) {
            value = random.uniform(-0.1F, 0.1F);
        }
        for (auto* table : {&g_modelTables.projectionA, &g_modelTables.projectionB}) {
            for (auto& row : *table) {
                for (float& value : row) {
                    value = random.uniform(-0.1F, 0.1F);
                }
            }
        }
        for (std::size_t i = 0; i < kFileCount; ++i) {
            names.push_back(files[i].name());
        }
        for (int k = 0; k < kNetCount; ++k) {
            for (const FileShape& shape : NetShape(k).files) {
                good[static_cast<std::size_t>(k)].push_back(madeFile(shape, random));
            }
            build(k, goodFiles(k));
        }
    }

    const std::vector<Bytes>& goodFiles(int index) const {
        return good[static_cast<std::size_t>(index)];
    }

    void build(int index, const std::vector<Bytes>& contents) {
        for (std::size_t i = 0; i < kFileCount; ++i) {
            files[i].hold(contents[i].data(), contents[i].size());
        }
        context.nets[static_cast<std::size_t>(index)] =
            std::make_unique<ConvNet>(netText(index, names).c_str(), kMemoryFileFolder);
    }

    ZomuContext context;

  private:
    MemoryFile files[kFileCount];
    std::vector<std::string> names;
    std::vector<Bytes> good[kNetCount];
};

constexpr std::size_t kValueCount = sizeof(FaceTemplate) / sizeof(float);

FaceTemplate filledWith(unsigned char byte) {
    FaceTemplate result;
    std::memset(&result, byte, sizeof result);
    return result;
}

bool sameBytes(const FaceTemplate& a, const FaceTemplate& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// One NaN spreads over the whole of a template: all values or none.
bool isNan(const FaceTemplate& result) {
    float values[kValueCount];
    std::memcpy(values, &result, sizeof result);
    const auto count =
        std::count_if(values, values + kValueCount, [](float value) { return std::isnan(value); });
    REQUIRE(count == 0 || count == static_cast<std::ptrdiff_t>(kValueCount));
    return count > 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Model model;
    static FaceGenerator faces;
    Random input(data, size);
    const int index = input.between(0, kNetCount - 1);
    std::vector<Bytes> contents = model.goodFiles(index);
    for (int changes = input.between(0, 3); changes > 0; --changes) {
        changeFile(input, contents[static_cast<std::size_t>(input.between(0, kFileCount - 1))]);
    }
    bool isUnusable = std::any_of(contents.begin(), contents.end(), isShort);
    try {
        model.build(index, contents);
    } catch (const std::bad_alloc&) {
        model.build(index, model.goodFiles(index));  // nothing of the failed one may stay behind
        isUnusable = false;
    }

    const Face face = faces.make(input);
    const int odd = input.between(0, 31);
    const std::uint8_t* image = odd == 1 ? nullptr : face.image.bytes;
    const LandmarkRecord* record = odd == 2 ? nullptr : &face.record;
    const std::int32_t width = odd == 3 ? input.between(0, 2) - 1 : face.image.width;
    const std::int32_t height = odd == 4 ? input.between(0, 2) - 1 : face.image.height;
    const auto extract = [&](ZomuContext* context) {
        FaceTemplate result = filledWith(0x11);
        ZomuExtractTemplate(context, image, width, height, face.image.stride, record, &result);
        return result;
    };

    const FaceTemplate result = extract(&model.context);
    const bool isRefused = whyTemplateIsRefused(image, width, height, record) != nullptr;
    REQUIRE(isNan(result) || !(isRefused || isUnusable));
    if (odd == 5) {
        REQUIRE(sameBytes(extract(nullptr), filledWith(0x11)));
    }
    if (!isNan(result) && isChosen(data, size, 16)) {
        REQUIRE(sameBytes(extract(&model.context), result));
    }
    model.build(index, model.goodFiles(index));
    return 0;
}
