// The model folder, and the process-wide tables read from it when the library is loaded.
#ifndef ZOMU_MODEL_MODEL_TABLES_H
#define ZOMU_MODEL_MODEL_TABLES_H

#include "kernels/kernels.h"
#include "platform/platform.h"

constexpr int kNetCount = 25;
constexpr int kMeanImageRoom = 9075;   // floats of the largest patch: 3 planes of 55 x 55
constexpr int kFeatureCount = 8000;    // 25 networks x 2 crops x 160 outputs
constexpr int kProjectionCount = 500;  // rows of each projection table
constexpr char kModelFolderName[] = "~zvplugintmp~";

using MeanImages = float[kNetCount][kMeanImageRoom];  // slot k is subtracted from patch k

// Both projections as one table of 1000 rows: those of "6-1", which give quadraticTerm, then those of
// "6-2", which give the template's projection. Laid out for reading: the rows of a group advance side
// by side, so that their values at one column are contiguous. What remains is a short group.
struct ProjectionTable {
    static constexpr int kRows = 2 * kProjectionCount;
    static constexpr int kGroups = kRows / kGroupRows;
    static constexpr int kRestRows = kRows % kGroupRows;

    float groups[kGroups][kFeatureCount][kGroupRows];
    float rest[kFeatureCount][kRestRows];

    float& at(int row, int column) {
        return row < kGroups * kGroupRows ? groups[row / kGroupRows][column][row % kGroupRows]
                                          : rest[column][row % kGroupRows];
    }
    float at(int row, int column) const {
        return const_cast<ProjectionTable*>(this)->at(row, column);
    }
};

// What the model folder contains besides the networks' weights.
struct ModelTables {
    MeanImages meanImages;
    float featureMean[kFeatureCount];
    alignas(64) ProjectionTable projection;
};

// All of it is plain static storage: the order of initialisation does not matter. It is zero until
// the library has been loaded, and wherever a file is missing or short. Nothing writes it
// afterwards, and any thread may read it. Only the service uses these names; lower levels get what
// they need as arguments.
extern char tempPath[kTempPathRoom];  // without its final separator
// `tempPath`, a separator, the folder's name (its size includes a NUL), a separator.
extern char modelDir[kTempPathRoom + sizeof kModelFolderName + 1];
extern ModelTables g_modelTables;

// Fills `tempPath` and `modelDir`; ends the process if the temporary directory is too long to be
// used.
void findModelDirectory();

// Reads mean images 1 to 25, "6-0", "6-1" and "6-2" from `modelDir`, in that order. Prints "load
// <path> failed" for each file that cannot be opened.
void loadModelTables(ModelTables& tables);

#endif
