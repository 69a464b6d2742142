// The sheet with the 25 patches of a face, each beside its mirrored counterpart.
#ifndef ZOMU_TOOLS_SHEETS_PATCH_SHEET_H
#define ZOMU_TOOLS_SHEETS_PATCH_SHEET_H

#include <string>

#include "sheets/face_picture.h"

// `title` heads the sheet. The landmarks keep the library's contract and the picture is at least
// 2 x 2. Clears the library's mean images, so that the patches show plain pixels.
BgrPicture drawPatchSheet(const FacePicture& face, const std::string& title);

#endif
