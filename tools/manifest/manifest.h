// A list of photographs with the people in them: what training and evaluation read.
#ifndef ZOMU_TOOLS_MANIFEST_MANIFEST_H
#define ZOMU_TOOLS_MANIFEST_MANIFEST_H

#include <filesystem>
#include <string>
#include <vector>

struct ManifestRow {
    std::string person;               // any text
    std::filesystem::path photo;      // PNG or JPEG
    std::filesystem::path landmarks;  // CSV, see landmark_file.h
};

// Reads lines `person,photo,landmarks` after a first line of these very words; csv.h says how they
// are quoted. Paths are relative to the manifest's own folder. Throws std::runtime_error with path,
// line and reason; a manifest without photographs is refused, too, and one of more than 256 MiB.
std::vector<ManifestRow> readManifest(const std::filesystem::path& path);

// Writes such a list, with the paths as they are in the rows.
void writeManifest(const std::filesystem::path& path, const std::vector<ManifestRow>& rows);

#endif
