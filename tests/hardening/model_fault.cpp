#include "hardening/model_fault.h"

#include <sys/stat.h>

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

struct FaultRow {
    Fault fault;
    const char* name;
    bool isReported;
    Effect effects[groupCount];
};

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
using enum Effect;
constexpr FaultRow kFaults[] = {
    {Fault::absent, "absent", true, {zeros, zeros, noOutput, noOutput, zeros, zeros}},
    {Fault::empty, "empty", false, {zeros, zeros, noOutput, noOutput, noOutput, noOutput}},
    {Fault::oneByte, "one byte", false, {zeros, firstByte, noOutput, noOutput, noOutput, noOutput}},
    {Fault::half, "half", false, {firstHalf, firstHalf, noOutput, noOutput, noOutput, noOutput}},
    {Fault::hugeHeader,
     "header huge",
     false,
     {none, firstNan, noMemory, noMemory, noMemory, noMemory}},
    {Fault::zeroHeader, "header zero", false, {zeros, firstZero, noOutput, noOutput, zeros, zeros}},
    {Fault::negativeHeader,
     "header negative",
     false,
     {zeros, firstNan, noMemory, noMemory, noMemory, noMemory}},
    {Fault::bothNegative, "both negative", false, {none, none, noOutput, noOutput, none, noOutput}},
    {Fault::trailingBytes, "trailing bytes", false, {none, none, none, none, none, none}},
    {Fault::nan,
     "NaN inside",
     false,
     {middleNan, middleNan, middleNan, middleNan, middleNan, middleNan}},
    {Fault::folder, "a folder", true, {zeros, zeros, noOutput, noOutput, zeros, zeros}},
    {Fault::unreadable, "unreadable", true, {zeros, zeros, noOutput, noOutput, zeros, zeros}},
    {Fault::linkLoop, "a link to itself", true, {zeros, zeros, noOutput, noOutput, zeros, zeros}},
    {Fault::namedPipe, "a named pipe", true, {zeros, zeros, noOutput, noOutput, zeros, zeros}},
    {Fault::device, "a device", true, {zeros, zeros, noOutput, noOutput, zeros, zeros}},
};

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
    std::memcpy(bytes.data(), header.data(), header.size() * sizeof(std::int32_t));
    return bytes;
}

}  // namespace

const char* nameOf(Fault fault) {
    return kFaults[static_cast<std::size_t>(fault)].name;
}

bool FaultCase::isTable() const {
    const Group group = groupOf(file);
    return group == meanImage || group == table;
}

std::vector<FaultCase> listFaultCases() {
    std::vector<FaultCase> cases;
    for (const ModelFile& file : listModelFiles()) {
        const Group group = groupOf(file);
        for (const FaultRow& row : kFaults) {
            if (row.fault != Fault::bothNegative || headerOf(file).size() == 2) {
                cases.push_back({file, row.fault, row.effects[group], row.isReported});
            }
        }
    }
    return cases;
}

void inflict(const FaultCase& faultCase, const LinkedModel& model) {
    const std::string& name = faultCase.file.name;
    const std::string path = model.pathOf(name);
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
        case Fault::namedPipe:
            if (mkfifo(path.c_str(), 0600) != 0) {
                throw std::runtime_error("cannot make a named pipe");
            }
            break;
        case Fault::device:
            std::filesystem::create_symlink("/dev/zero", path);
            break;
        case Fault::unreadable:
            std::filesystem::copy_file(model.goodPathOf(name), path);
            std::filesystem::permissions(path, std::filesystem::perms::none);
            break;
        default:
            model.replace(name, damagedBytes(faultCase, readFile(model.goodPathOf(name))));
    }
}
