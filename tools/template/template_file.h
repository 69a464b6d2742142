// Templates in files, each with the model that made it: templates of two models cannot be compared.
#ifndef ZOMU_TOOLS_TEMPLATE_TEMPLATE_FILE_H
#define ZOMU_TOOLS_TEMPLATE_TEMPLATE_FILE_H

#include <string>

#include "model/sha256.h"
#include "zomu.h"

//  byte  holds
//     0  the mark "ZOMUTPL1"
//     8  the model's fingerprint, 32 bytes
//    40  the template: 502 floats, little-endian
//  2048  end
struct StoredTemplate {
    Sha256Digest model;
    FaceTemplate face;
};

// Throws std::runtime_error, with path and reason: no such file, no template file, values that are
// not finite.
StoredTemplate loadTemplate(const std::string& path);

void saveTemplate(const std::string& path, const StoredTemplate& stored);

// False where a value is NaN or infinite.
bool isFinite(const FaceTemplate& face);

#endif
