// The driver of an extraction: grey copy, patches, networks, template.
#ifndef ZOMU_SERVICE_EXTRACTION_H
#define ZOMU_SERVICE_EXTRACTION_H

#include <cstdint>

#include "service/context.h"
#include "zomu.h"

// Why no template can be made of these arguments, as a short text, or null if nothing speaks
// against.
const char* whyTemplateIsRefused(const std::uint8_t* image, std::int32_t width, std::int32_t height,
                                 const LandmarkRecord* landmarks);

// The template of one face. The arguments have not been refused.
void extractTemplate(ZomuContext& context, const std::uint8_t* image, std::int32_t width,
                     std::int32_t height, std::int32_t stride, const LandmarkRecord& landmarks,
                     FaceTemplate& templateOut);

#endif
