// A whole extraction through the exported call: any arguments, and one network with weight files of
// any contents. The networks are small ones of the same layers as the embedded, so that an input
// takes milliseconds.
//
// Whatever is given, the template is NaN in all values or in none; a refused call and a file that
// is too short make it NaN, and a second call gives the same bits. Weights that cannot be allocated
// end the build in std::bad_alloc.
#include <algorithm>
#include <array>
#include <bit>
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

// The sizes that a file of a network has at its start.
struct FileShape {
    std::int32_t rows, cols;
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

    int channels, side;  // of the patch
    int first, pooled;   // sides of what the first convolution makes of it, and of that, pooled
    int second;          // of what the second convolution makes of that
    FileShape files[kFileCount];
};

// Two convolutions, a pool between them, and a full connection to both ends, with the files
// `names`.
std::string netText(int index, const std::vector<std::string>& names) {
    const NetShape net(index);
    const auto setting = [](const char* key, int number) {
        return std::string("\n") + key + "=" + std::to_string(number);
    };
    const auto convolution = [&](int channels, int side, int modules, std::size_t file) {
        return setting("channels", channels) + setting("imgSize", side) +
               setting("imgPixels", side * side) + setting("modulesX", modules) +
               "\nweights=" + names[file] + "\nbiases=" + names[file + 1];
    };
    return "[Net]\nLayerCount=7\nLayerNames=d_c_n_p_l_m_f\n[d]\ntype=data\nactsTarget=0" +
           setting("dataIdx", index) +
           "\n[c]\ntype=conv\ninputs=d\nfilters=2\npadding=0\nstride=4\nfilterSize=4"
           "\nfilterPixels=16" +
           convolution(net.channels, net.side, net.first, 0) +
           "\n[n]\ntype=neuron\nneuron=relu\ninputs=c\nactsTarget=0\n[p]\ntype=pool\npool=max"
           "\ninputs=n\nstart=0\nsizeX=2\nstride=2\nchannels=2" +
           setting("outputsX", net.pooled) +
           "\n[l]\ntype=conv\ninputs=p\nfilters=3\npadding=0\nstride=1\nfilterSize=3"
           "\nfilterPixels=9" +
           convolution(2, net.pooled, net.second, 2) +
           "\n[m]\ntype=neuron\nneuron=relu\ninputs=l\nactsTarget=0\n[f]\ntype=fc\noutputs=160"
           "\ninputs=m_p\nweights=" +
           names[4] + "_" + names[5] + "\nbiases=" + names[6] + "\n";
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

FileShape shapeOf(const Bytes& file) {
    FileShape shape = {0, 0};
    std::memcpy(&shape, file.data(), std::min(sizeof shape, file.size()));
    return shape;
}

// Cuts a file, lengthens it, changes its sizes, or puts other bytes behind them.
void changeFile(Random& input, Bytes& file) {
    const auto any = [&](std::size_t most) {
        return static_cast<std::size_t>(
            input.between(0, static_cast<int>(std::min<std::size_t>(most, 65535))));
    };
    FileShape shape = shapeOf(file);
    switch (input.between(0, 5)) {
        case 0:
            file.resize(any(file.size()));
            break;
        case 1:
            file.resize(file.size() + any(9000));
            break;
        case 2:
            shape = {input.between(0, 400), input.between(0, 400)};
            break;
        case 3:
            shape = {input.integer(), input.integer()};
            break;
        case 4:
            shape = {shape.cols, shape.rows};  // the same number of elements
            break;
        default: {
            const Bytes other = input.upTo(any(40));
            const std::size_t room = file.size() > sizeof shape ? file.size() - sizeof shape : 0;
            const std::size_t size = std::min(other.size(), room);
            const std::size_t place =
                sizeof shape + (size == room ? 0 : any(65535) % (room - size));
            if (size > 0) {
                std::memcpy(file.data() + place, other.data(), size);
            }
        }
    }
    std::memcpy(file.data(), &shape, std::min(sizeof shape, file.size()));
}

// True where a file is shorter than its own sizes say.
bool isShort(const Bytes& file) {
    const FileShape shape = shapeOf(file);
    return file.size() < sizeof shape || static_cast<std::int64_t>(file.size() - sizeof shape) / 4 <
                                             static_cast<std::int64_t>(shape.rows) * shape.cols;
}

// The context, its files and its tables, made once.
class Model {
  public:
    Model() {
        Random random(93);
        auto* values = reinterpret_cast<float*>(&g_modelTables);
        constexpr std::size_t kImages = sizeof g_modelTables.meanImages / sizeof(float);
        for (std::size_t i = 0; i < sizeof g_modelTables / sizeof(float); ++i) {
            values[i] = i < kImages ? random.uniform(90, 150) : random.uniform(-0.1F, 0.1F);
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

using Template = std::array<float, sizeof(FaceTemplate) / sizeof(float)>;
using Bits = std::array<std::uint32_t, sizeof(FaceTemplate) / sizeof(float)>;

// One NaN spreads over the whole of a template: all values or none.
bool isNan(const Template& values) {
    const auto count =
        std::count_if(values.begin(), values.end(), [](float value) { return std::isnan(value); });
    REQUIRE(count == 0 || count == static_cast<std::ptrdiff_t>(values.size()));
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
        FaceTemplate result;
        std::memset(&result, 0x11, sizeof result);
        ZomuExtractTemplate(context, image, width, height, face.image.stride, record, &result);
        return std::bit_cast<Template>(result);
    };

    const Template result = extract(&model.context);
    RecordCopy copy;
    const bool isRefused = whyTemplateIsRefused(image, width, height, record, copy) != nullptr;
    REQUIRE(isNan(result) || !(isRefused || isUnusable));
    if (odd == 5) {
        Bits untouched;
        untouched.fill(0x11111111U);
        REQUIRE(std::bit_cast<Bits>(extract(nullptr)) == untouched);
    }
    if (!isNan(result) && isChosen(data, size, 16)) {
        REQUIRE(std::bit_cast<Bits>(extract(&model.context)) == std::bit_cast<Bits>(result));
    }
    model.build(index, model.goodFiles(index));
    return 0;
}
