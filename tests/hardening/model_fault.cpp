#include "hardening/model_fault.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <string>

#include "support/model_folder.h"
#include "support/read_file.h"

namespace {

constexpr Fault kFaults[] = {
    Fault::absent,        Fault::empty,      Fault::oneByte,        Fault::half,
    Fault::hugeHeader,    Fault::zeroHeader, Fault::negativeHeader, Fault::bothNegative,
    Fault::trailingBytes, Fault::nan,        Fault::folder,         Fault::unreadable,
    Fault::linkLoop,
};

// Files that one and the same fault meets in one and the same way.
enum Group { meanImage, table, filters, outputWeights, filterBiases, outputBiases, groupCount };

Group groupOf(const ModelFile& file) {
    const bool isOutput = file.layer == "fc";
    switch (file.kind) {
        case ModelFileKind::meanImage:
            return meanImage;
        case ModelFileKind::meanFeatures:
        case ModelFileKind::projection:
            return table;
        case ModelFileKind::weights:
            return isOutput ? outputWeights : filters;
        case ModelFileKind::biases:
            return isOutput ? outputBiases : filterBiases;
    }
    throw std::logic_error("no such kind of file");
}

// What must follow, by group, from what is promised:
//   - a table that cannot be opened, or a count that says so, leaves zeros; a short one keeps what
//     is there; a count beyond the file's end reads to that end;
//   - weights that cannot be opened are missing from their layer, and short ones are never used, as
//     are sizes of 0 or less: no output;
//   - biases that cannot be opened, or are of no elements, add nothing; short ones are never used;
//   - sizes whose product is no number of elements fail in the allocator;
//   - two negative sizes give a positive number of elements. Biases of filters are then a column of
//     the right length. Biases of the output are no row any more, and a column must not be longer
//     than the two rows of the output;
//   - what follows the floats is not read;
//   - NaN is a number like any other.
Effect effectOf(Fault fault, Group group) {
    using enum Effect;
    static constexpr Effect kUnopened[groupCount] = {zeros,    zeros, noOutput,
                                                     noOutput, zeros, zeros};
    static constexpr Effect kEmpty[groupCount] = {zeros,    zeros,    noOutput,
                                                  noOutput, noOutput, noOutput};
    static constexpr Effect kOneByte[groupCount] = {zeros,    firstByte, noOutput,
                                                    noOutput, noOutput,  noOutput};
    static constexpr Effect kHalf[groupCount] = {firstHalf, firstHalf, noOutput,
                                                 noOutput,  noOutput,  noOutput};
    static constexpr Effect kHuge[groupCount] = {none,     firstNan, noMemory,
                                                 noMemory, noMemory, noMemory};
    static constexpr Effect kZero[groupCount] = {zeros,    firstZero, noOutput,
                                                 noOutput, zeros,     zeros};
    static constexpr Effect kNegative[groupCount] = {zeros,    firstNan, noMemory,
                                                     noMemory, noMemory, noMemory};
    static constexpr Effect kBothNegative[groupCount] = {none,     none, noOutput,
                                                         noOutput, none, noOutput};
    switch (fault) {
        case Fault::absent:
        case Fault::folder:
        case Fault::unreadable:
        case Fault::linkLoop:
            return kUnopened[group];
        case Fault::empty:
            return kEmpty[group];
        case Fault::oneByte:
            return kOneByte[group];
        case Fault::half:
            return kHalf[group];
        case Fault::hugeHeader:
            return kHuge[group];
        case Fault::zeroHeader:
            return kZero[group];
        case Fault::negativeHeader:
            return kNegative[group];
        case Fault::bothNegative:
            return kBothNegative[group];
        case Fault::trailingBytes:
            return none;
        case Fault::nan:
            return middleNan;
    }
    throw std::logic_error("no such fault");
}

bool isUnopened(Fault fault) {
    return fault == Fault::absent || fault == Fault::folder || fault == Fault::unreadable ||
           fault == Fault::linkLoop;
}

void putInt32(std::string& bytes, std::size_t at, std::int32_t value) {
    std::memcpy(bytes.data() + at, &value, sizeof value);
}

// The good file's bytes with the fault in them.
std::string damagedBytes(const FaultCase& faultCase, std::string bytes) {
    const ModelFile& file = faultCase.file;
    std::vector<std::int32_t> header = headerOf(file);
    const std::size_t headerBytes = header.size() * sizeof(std::int32_t);
    if (header.empty()) {
        header = {16};  // nothing but a place for the faults of headers
    }
    switch (faultCase.fault) {
        case Fault::empty:
            return "";
        case Fault::oneByte:
            return bytes.substr(0, 1);
        case Fault::half:
            return bytes.substr(0, bytes.size() / 2);
        case Fault::hugeHeader:
            header.assign(header.size(), std::numeric_limits<std::int32_t>::max());
            break;
        case Fault::zeroHeader:
            header.assign(header.size(), 0);
            break;
        case Fault::negativeHeader:
            header[0] = -header[0];
            break;
        case Fault::bothNegative:
            header = {-header[0], -header[1]};
            break;
        case Fault::trailingBytes:
            return bytes + std::string(67, '\x7F');
        case Fault::nan: {
            const float nan = std::numeric_limits<float>::quiet_NaN();
            const auto middle = static_cast<std::size_t>(floatCount(file) / 2);
            std::memcpy(bytes.data() + headerBytes + middle * sizeof nan, &nan, sizeof nan);
            return bytes;
        }
        default:
            throw std::logic_error("no fault in the bytes");
    }
    for (std::size_t i = 0; i < header.size(); ++i) {
        putInt32(bytes, i * sizeof(std::int32_t), header[i]);
    }
    return bytes;
}

}  // namespace

const char* nameOf(Fault fault) {
    static constexpr const char* kNames[] = {
        "absent",      "empty",           "one byte",         "half",           "header huge",
        "header zero", "header negative", "both negative",    "trailing bytes", "NaN inside",
        "a folder",    "unreadable",      "a link to itself",
    };
    return kNames[static_cast<std::size_t>(fault)];
}

bool FaultCase::isTable() const {
    const Group group = groupOf(file);
    return group == meanImage || group == table;
}

std::vector<FaultCase> listFaultCases() {
    std::vector<FaultCase> cases;
    for (const ModelFile& file : listModelFiles()) {
        const Group group = groupOf(file);
        for (const Fault fault : kFaults) {
            if (fault != Fault::bothNegative || headerOf(file).size() == 2) {
                cases.push_back({file, fault, effectOf(fault, group), isUnopened(fault)});
            }
        }
    }
    return cases;
}

void inflict(const FaultCase& faultCase, const LinkedModel& model) {
    const std::string& name = faultCase.file.name;
    const std::filesystem::path path = model.pathOf(name);
    model.remove(name);
    switch (faultCase.fault) {
        case Fault::absent:
            break;
        case Fault::folder:
            std::filesystem::create_directory(path);
            break;
        case Fault::linkLoop:
            std::filesystem::create_symlink(path, path);
            break;
        case Fault::unreadable:
            std::filesystem::copy_file(model.goodPathOf(name), path);
            std::filesystem::permissions(path, std::filesystem::perms::none);
            break;
        default: {
            const std::string bytes =
                damagedBytes(faultCase, readFile(model.goodPathOf(name).string()));
            writeFile(path.string(), bytes.data(), bytes.size());
        }
    }
}
