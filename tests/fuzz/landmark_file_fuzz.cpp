// Landmark files of any contents. What is accepted keeps the record's contract and comes back from
// a file that is written of it; what is refused has a reason of one line.
#include "landmark_file.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>
#include <string>

#include "fuzz/fuzz_problem.h"
#include "fuzz/fuzz_target.h"
#include "fuzz/memory_file.h"
#include "reference/reference_tables.h"
#include "support/temporary_folder.h"

namespace {

bool isLandmark(std::int32_t id) {
    return std::ranges::any_of(kReferenceLandmarks, [id](const auto& l) { return l.id == id; });
}

void checkContract(const LandmarkRecord& record) {
    REQUIRE(25 <= record.count && record.count <= ZOMU_LANDMARK_COUNT);
    std::set<std::int32_t> ids;
    int sides = 0;
    for (int i = 0; i < record.count; ++i) {
        const LandmarkEntry& entry = record.entries[i];
        REQUIRE(isLandmark(entry.id) && ids.insert(entry.id).second);
        REQUIRE(std::isfinite(entry.x) && std::isfinite(entry.y));
        sides += entry.id == 240 || entry.id == 241 || entry.id == 315 || entry.id == 316 ? 1 : 0;
    }
    REQUIRE(record.count - sides == 25);
}

void checkWayBack(const LandmarkRecord& record) {
    static const TemporaryFolder folder;
    static const std::string path = folder.prefix() + "written.csv";
    Problem problem;
    REQUIRE(writeLandmarks(path.c_str(), &record, &problem));
    LandmarkRecord again;
    REQUIRE(readLandmarks(path.c_str(), &again, &problem));
    REQUIRE(std::memcmp(&again, &record, sizeof record) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const MemoryFile file;
    file.hold(data, size);
    LandmarkRecord record;
    Problem problem;
    std::memset(&problem, 'x', sizeof problem);
    if (readLandmarks(file.path().c_str(), &record, &problem)) {
        checkContract(record);
        checkWayBack(record);
    } else {
        checkReason(problem);
    }
    return 0;
}
