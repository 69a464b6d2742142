// The model folder, and the process-wide tables read from it when the library is loaded.
#ifndef ZOMU_SERVICE_MODEL_TABLES_H
#define ZOMU_SERVICE_MODEL_TABLES_H

#include "service/platform.h"

constexpr int kNetCount = 25;
constexpr int kMeanImageRoom = 9075;   // floats of the largest patch: 3 planes of 55 x 55
constexpr int kFeatureCount = 8000;    // 25 networks x 2 crops x 160 outputs
constexpr int kProjectionCount = 500;  // rows of each projection table
constexpr char kModelFolderName[] = "~zvplugintmp~";

// All of it is plain static storage, so that no order of initialisation can matter. The tables read
// as zero until attachLibrary has run, and wherever a file is missing or short; they are written
// nowhere else, so that any thread may read them.
extern char tempPath[kTempPathRoom];  // without its final separator
// `tempPath`, a separator, the folder's name (whose size counts a NUL), a separator.
extern char modelDir[kTempPathRoom + sizeof kModelFolderName + 1];
extern float meanImages[kNetCount][kMeanImageRoom];  // slot k is subtracted from patch k
extern float featureMean[kFeatureCount];
extern float projectionA[kProjectionCount][kFeatureCount];  // behind quadraticTerm
extern float projectionB[kProjectionCount][kFeatureCount];  // behind projection

// The two halves of attachLibrary. findModelDirectory fills `tempPath` and `modelDir`; it ends the
// process where the temporary directory is too long to be used. loadModelTables reads below
// `modelDir`, in the order mean images 1 to 25, "6-0", "6-1", "6-2", and prints "load <path>
// failed" for each file that cannot be opened.
void findModelDirectory();
void loadModelTables();

#endif
