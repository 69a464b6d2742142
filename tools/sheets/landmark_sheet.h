// The sheet with the landmarks of a face: the face enlarged, every landmark marked and named.
#ifndef ZOMU_TOOLS_SHEETS_LANDMARK_SHEET_H
#define ZOMU_TOOLS_SHEETS_LANDMARK_SHEET_H

#include <string>

#include "sheets/face_picture.h"

// `title` heads the sheet. The landmarks keep the library's contract.
BgrPicture drawLandmarkSheet(const FacePicture& face, const std::string& title);

#endif
