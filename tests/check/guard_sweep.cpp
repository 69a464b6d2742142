// How many wrong records the check refuses, how high those score that it accepts, and how many good ones it
// refuses; and scores of one face at many places of a large picture.
//
//   zomu_guard_sweep MANIFEST GOOD_TABLE WRONG_TABLE
//
// MANIFEST lists photographs of people, GOOD_TABLE good landmarks of many more. The wrong records go to
// WRONG_TABLE, each with what the check said of it. Prints tables; exit status 1 if a good record is refused,
// or if a score depends on the place.
#include <sys/mman.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "check/landmark_cases.h"
#include "check/wrong_records.h"
#include "manifest/manifest.h"
#include "support/program.h"
#include "zomu.hpp"

namespace {

constexpr int kRecordsOfAKind = 1000;
constexpr double kError = 0.03;

struct Photo {
    std::string person;
    FacePicture face;
    ZomuTemplate good;
};

ZomuPixels viewOf(const BgrPicture& picture) {
    return {picture.pixels.data(), picture.width, picture.height, 3 * picture.width};
}

std::vector<Photo> loadPhotos(const char* manifest, ZomuExtractor& extractor) {
    std::vector<Photo> photos;
    std::vector<ManifestRow> rows = readManifest(manifest);
    rows.push_back({"portrait", ZOMU_SAMPLES "/portrait.png", ZOMU_SAMPLES "/portrait.csv"});
    for (const ManifestRow& row : rows) {
        photos.push_back(
            {row.person, loadFacePicture(row.photo.string(), row.landmarks.string()), {}});
        Photo& photo = photos.back();
        photo.good = extractor.extract(viewOf(photo.face.picture), photo.face.landmarks);
    }
    return photos;
}

// Landmarks with the error of a detector: sums of uniform numbers, of which 12 have a spread of 1.
void addError(LandmarkRecord& record, Random& random) {
    const LandmarkEntry* entries = record.entries;
    const auto spread = static_cast<float>(kError) *
                        std::hypot(entries[0].x - entries[1].x, entries[0].y - entries[1].y);
    for (LandmarkEntry& entry : record.entries) {
        for (float* value : {&entry.x, &entry.y}) {
            for (int i = 0; i < 12; ++i) {
                *value += random.uniform(-0.5F, 0.5F) * spread;
            }
        }
    }
}

struct Accepted {
    const Photo* photo;
    ZomuTemplate made;
};

void writeCase(std::ofstream& table, const char* name, const FacePicture& face,
               const LandmarkRecord& record, ZomuLandmarkFault fault) {
    table << name << ';' << face.picture.width << ';' << face.picture.height << ';'
          << ZomuLandmarkFaultName(fault) << ';';
    for (int i = 0; i < record.count; ++i) {
        char entry[64];
        std::snprintf(entry, sizeof entry, "%s%d %.9g %.9g", i == 0 ? "" : ",",
                      record.entries[i].id, static_cast<double>(record.entries[i].x),
                      static_cast<double>(record.entries[i].y));
        table << entry;
    }
    table << '\n';
}

void printRow(const char* name, int records, const std::vector<Accepted>& accepted,
              const std::vector<Photo>& photos) {
    float own = 2.0F;
    float others = -1.0F;
    float among = -1.0F;
    for (std::size_t i = 0; i < accepted.size(); ++i) {
        const Accepted& one = accepted[i];
        own = std::min(own, one.made.scoreAgainst(one.photo->good));
        for (const Photo& photo : photos) {
            if (photo.person != one.photo->person) {
                others = std::max(others, one.made.scoreAgainst(photo.good));
            }
        }
        for (std::size_t j = 0; j < i; ++j) {
            if (accepted[j].photo->person != one.photo->person) {
                among = std::max(among, one.made.scoreAgainst(accepted[j].made));
            }
        }
    }
    std::printf("%-20s %8d %8zu", name, records,
                static_cast<std::size_t>(records) - accepted.size());
    if (accepted.empty()) {
        std::printf(" %10s %10s %10s\n", "-", "-", "-");
        return;
    }
    std::printf(" %10.3f %10.3f %10.3f\n", static_cast<double>(own), static_cast<double>(others),
                static_cast<double>(among));
}

void sweepMistakes(const std::vector<Photo>& photos, ZomuExtractor& extractor, const char* path) {
    std::ofstream table(path);
    table << "name;width;height;fault;id x y,...\n";
    std::printf("%-20s %8s %8s %10s %10s %10s\n", "mistake", "records", "refused", "lowest own",
                "others", "each other");
    std::vector<Accepted> good;
    for (const Photo& photo : photos) {
        good.push_back({&photo, photo.good});
    }
    printRow("none", static_cast<int>(photos.size()), good, photos);
    Random random(16);
    std::map<std::string, int> faults;
    for (const Mistake& mistake : kMistakes) {
        std::vector<Accepted> accepted;
        for (int i = 0; i < kRecordsOfAKind; ++i) {
            const Photo& photo = random.oneOf(photos);
            const Photo* other = &random.oneOf(photos);
            while (other->person == photo.person) {
                other = &random.oneOf(photos);
            }
            FacePicture face = photo.face;
            addError(face.landmarks, random);
            const LandmarkRecord record = mistake.make({face, other->face.landmarks, random});
            const ZomuLandmarkFault fault =
                ZomuCheckLandmarks(&record, face.picture.width, face.picture.height, nullptr);
            writeCase(table, mistake.name, face, record, fault);
            ++faults[ZomuLandmarkFaultName(fault)];
            if (fault == ZOMU_LANDMARKS_GOOD) {
                accepted.push_back(
                    {&photo, extractor.extractUnchecked(viewOf(face.picture), record)});
            }
        }
        printRow(mistake.name, kRecordsOfAKind, accepted, photos);
    }
    for (const auto& [fault, count] : faults) {
        std::printf("%s%d %s", fault == faults.begin()->first ? "" : ", ", count, fault.c_str());
    }
    std::printf("\n\n");
}

// Refused ones of the table, with all points and without the sides of the head.
int falseAlarms(const char* path) {
    int records = 0;
    int refused = 0;
    for (LandmarkCase one : landmarkCases(path)) {
        for (const bool isWhole : {true, false}) {
            if (!isWhole) {
                std::erase_if(one.entries, [](const LandmarkEntry& entry) {
                    return entry.id == 240 || entry.id == 241 || entry.id == 315 || entry.id == 316;
                });
            }
            const auto block = one.block();
            ZomuLandmarkReport report;
            ++records;
            if (ZomuCheckLandmarks(reinterpret_cast<const LandmarkRecord*>(block.get()), one.width,
                                   one.height, &report) != ZOMU_LANDMARKS_GOOD) {
                ++refused;
                std::printf("%s: %s\n", one.name.c_str(), report.text);
            }
        }
    }
    std::printf(
        "good records: %d of %d refused (%d photographs, each with 29 and with 25 landmarks)\n",
        refused, records, records / 2);
    return records == 0 ? 1 : refused;
}

// The portrait at 100 places of a picture of 20,000 x 20,000: the largest differences of its score with the
// portrait from that with itself, near the face and as the library takes it.
float placeDifference(const Photo& portrait, ZomuExtractor& extractor, ZomuContext* context) {
    constexpr int kSide = 20000;
    constexpr std::size_t kStride = 3 * std::size_t{kSide};
    void* memory = mmap(nullptr, kStride * kSide, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::runtime_error("no room for a large picture");
    }
    auto* pixels = static_cast<std::uint8_t*>(memory);
    const BgrPicture& picture = portrait.face.picture;
    const float self = portrait.good.scoreAgainst(portrait.good);
    Random random(2);
    float nearFace = 0.0F;
    float asItIs = 0.0F;
    for (int i = 0; i < 100; ++i) {
        madvise(memory, kStride * kSide, MADV_DONTNEED);
        const int x0 = random.between(0, kSide - picture.width);
        const int y0 = random.between(0, kSide - picture.height);
        for (int y = 0; y < picture.height; ++y) {
            std::memcpy(pixels + static_cast<std::size_t>(y0 + y) * kStride +
                            3 * static_cast<std::size_t>(x0),
                        picture.at(0, y), 3 * static_cast<std::size_t>(picture.width));
        }
        const LandmarkRecord record = changed(portrait.face.landmarks, [=](LandmarkEntry& entry) {
            entry.x += static_cast<float>(x0);
            entry.y += static_cast<float>(y0);
        });
        const ZomuTemplate made = extractor.extract({pixels, kSide, kSide, kStride}, record);
        nearFace = std::max(nearFace, std::fabs(made.scoreAgainst(portrait.good) - self));
        FaceTemplate direct;
        ZomuExtractTemplate(context, pixels, kSide, kSide, kStride, &record, &direct);
        asItIs =
            std::max(asItIs, std::fabs(ZomuCompareTemplates(&direct, &portrait.good.face) - self));
    }
    munmap(memory, kStride * kSide);
    std::printf(
        "100 places of 20000 x 20000: the portrait's score differs by at most %.5f near the face, "
        "%.5f as it is\n",
        static_cast<double>(nearFace), static_cast<double>(asItIs));
    return nearFace;
}

int sweep(const char* manifest, const char* goodTable, const char* wrongTable) {
    ZomuExtractor extractor;
    const std::unique_ptr<ZomuContext, void (*)(ZomuContext*)> context(ZomuCreate(), ZomuDestroy);
    const std::vector<Photo> photos = loadPhotos(manifest, extractor);
    sweepMistakes(photos, extractor, wrongTable);
    const int alarms = falseAlarms(goodTable);
    const float difference = placeDifference(photos.back(), extractor, context.get());
    return alarms == 0 && difference <= 0.001F ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        return wrongUsage("zomu_guard_sweep MANIFEST GOOD_TABLE WRONG_TABLE");
    }
    return runProgram("zomu_guard_sweep", 2, [&] { return sweep(argv[1], argv[2], argv[3]); });
}
