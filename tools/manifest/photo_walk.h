// Walks through the photographs of a manifest, several at a time.
#ifndef ZOMU_TOOLS_MANIFEST_PHOTO_WALK_H
#define ZOMU_TOOLS_MANIFEST_PHOTO_WALK_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "manifest/manifest.h"
#include "sheets/face_picture.h"

// How many photographs are worked on before their results are stored.
constexpr std::size_t kWalkBlock = 128;

struct PhotoWork {
    // Makes of a face what is to be stored, in slot 0 to kWalkBlock - 1; `thread` counts from 0.
    // Called from the threads of an OpenMP team, each slot once in a block.
    std::function<void(const FacePicture& face, int thread, std::size_t slot)> compute;
    // Takes the slot's result away. Called in the order of the manifest, one at a time.
    std::function<void(const ManifestRow& row, std::size_t slot)> store;
    // One line, without its end, about a photograph that is left out.
    std::function<void(const std::string& line)> report;
    // Whether landmarks are taken as they are. Otherwise photographs are left out if zomu_check.h finds
    // that theirs are not those of a face.
    bool isUnchecked = false;
};

// Returns how many photographs were stored. One that cannot be read, or whose landmarks or size the
// library would refuse, is reported and left out. Anything else that is thrown ends the walk.
std::size_t walkPhotos(const std::vector<ManifestRow>& rows, const PhotoWork& work);

#endif
