// What the public handle points to.
#ifndef ZOMU_SERVICE_CONTEXT_H
#define ZOMU_SERVICE_CONTEXT_H

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "kernels/kernels.h"
#include "model/model_tables.h"
#include "patches/canvases.h"
#include "patches/face_patches.h"
#include "platform/process.h"
#include "template/template_arithmetic.h"
#include "threads/team.h"

struct ConvNet;

struct NetworkOutput {
    float values[kNetworkOutputs];
};

// What one thread of the team writes while it works, with room for the two images of each face.
struct MemberScratch {
    FaceCanvases canvases;
    NetworkScratch network;
    std::vector<StageValues> stages;
    std::vector<NetworkOutput> outputs;
};

// What the stages hand over for one face.
struct FaceWork {
    FaceAlignment alignment;
    PatchList patches = PatchList(kNetCount);
};

// `nets[k]` is built from description k and fed patch k.
struct ZomuContext {
    ZomuContext();  // without networks
    // The folder's path ends in a separator.
    explicit ZomuContext(const std::string& weightFolder, int threads = defaultTeamSize());
    ~ZomuContext();
    ZomuContext(const ZomuContext&) = delete;
    ZomuContext& operator=(const ZomuContext&) = delete;

    // Threads run the library's code as long as there is a context. The first to be made, the last to go.
    LibraryHold library;

    const Kernels* kernels = runnableKernels().front();
    std::array<std::unique_ptr<ConvNet>, kNetCount> nets;

    // Buffers, which the first extraction allocates for all others.
    std::vector<std::unique_ptr<MemberScratch>> members;
    std::vector<std::unique_ptr<FaceWork>> work;
    std::vector<float> features;  // kFeatureCount for each face
    std::vector<ProjectedRows> rows;

    // The last to be made and the first to go.
    Team team;
};

// Destroys a context and returns what has kept the library in memory, for closeLibrary.
template <class Context>
void* destroyContext(Context* context) {
    const std::unique_ptr<Context> owned(context);
    return owned->library.handOver();
}

#endif
