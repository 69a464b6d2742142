// The driver of an extraction: patches, networks, template.
#ifndef ZOMU_SERVICE_EXTRACTION_H
#define ZOMU_SERVICE_EXTRACTION_H

#include <cstdint>

#include "model/model_tables.h"
#include "service/context.h"
#include "zomu.h"

// Why these arguments cannot give a template, as a short text, or null if they can.
const char* whyTemplateIsRefused(const std::uint8_t* image, std::int32_t width, std::int32_t height,
                                 const LandmarkRecord* landmarks);

// What the 25 networks compute for one face: 8000 features, each half of each network's output
// scaled to unit length, the feature mean not yet subtracted. The arguments must not have been
// refused.
void computeFeatures(ZomuContext& context, const MeanImages& meanImages, const std::uint8_t* image,
                     std::int32_t width, std::int32_t height, std::int32_t stride,
                     const LandmarkRecord& landmarks, float* features);

// The template of one face. The arguments must not have been refused.
void extractTemplate(ZomuContext& context, const ModelTables& tables, const std::uint8_t* image,
                     std::int32_t width, std::int32_t height, std::int32_t stride,
                     const LandmarkRecord& landmarks, FaceTemplate& templateOut);

#endif
