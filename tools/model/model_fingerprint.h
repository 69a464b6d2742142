// What tells one model from another: a digest of all its files.
#ifndef ZOMU_TOOLS_MODEL_MODEL_FINGERPRINT_H
#define ZOMU_TOOLS_MODEL_MODEL_FINGERPRINT_H

#include <filesystem>

#include "model/sha256.h"

// SHA-256 over the contents of all 303 files, one after another in the order of listModelFiles.
// Sizes are fixed, so that no byte can move from one file to the next. Throws std::runtime_error,
// with path and reason, where a file is missing or has another size.
Sha256Digest modelFingerprint(const std::filesystem::path& folder);

#endif
