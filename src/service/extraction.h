// The driver of an extraction: patches, networks, template.
#ifndef ZOMU_SERVICE_EXTRACTION_H
#define ZOMU_SERVICE_EXTRACTION_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "model/model_tables.h"
#include "patches/landmarks.h"
#include "service/context.h"
#include "zomu.h"

// Faces that a network runs on at a time: so many that reading its weights hardly counts.
constexpr std::size_t kFacesAtOnce = 16;

// A face to extract.
struct FaceRequest {
    SourceImage image;
    const LandmarkRecord* landmarks;
    FaceTemplate* templateOut;
};

// Why these arguments cannot give a template, as a short text, or null if they can. Then `copy` holds the
// landmarks, and the host's are not to be read again.
const char* whyTemplateIsRefused(const std::uint8_t* image, std::int32_t width, std::int32_t height,
                                 const LandmarkRecord* landmarks, RecordCopy& copy);

// The stages of an extraction of some faces, each from the results of the one before it. cutPatches makes
// room for what all of them write. projectFaces reads the context's features, less the feature mean.
void cutPatches(ZomuContext& context, const MeanImages& meanImages,
                std::span<const FaceRequest> faces);
void runNetworks(ZomuContext& context, std::size_t faces, float* features);
void projectFaces(ZomuContext& context, const ModelTables& tables,
                  std::span<const FaceRequest> faces);

// What the 25 networks compute for one face: 8000 features, each half of each network's output
// scaled to unit length, the feature mean not yet subtracted. The arguments must not have been
// refused.
void computeFeatures(ZomuContext& context, const MeanImages& meanImages, const std::uint8_t* image,
                     std::int32_t width, std::int32_t height, std::int32_t stride,
                     const LandmarkRecord& landmarks, float* features);

// The templates of some faces, none of which must have been refused. Weights and tables are read once
// for all. A template has the same bits whatever it is computed together with.
void extractTemplates(ZomuContext& context, const ModelTables& tables,
                      std::span<const FaceRequest> faces);

// The template of one face. The arguments must not have been refused.
void extractTemplate(ZomuContext& context, const ModelTables& tables, const std::uint8_t* image,
                     std::int32_t width, std::int32_t height, std::int32_t stride,
                     const LandmarkRecord& landmarks, FaceTemplate& templateOut);

#endif
