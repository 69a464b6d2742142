// The common look of the sheets that zomu-inspect draws: colours, margins, text.
#ifndef ZOMU_TOOLS_SHEETS_SHEET_STYLE_H
#define ZOMU_TOOLS_SHEETS_SHEET_STYLE_H

#include <string>

#include "sheets/canvas.h"

constexpr Colour kPaper = {0.98, 0.98, 0.97};
constexpr Colour kInk = {0.13, 0.14, 0.17};
constexpr Colour kFaintInk = {0.42, 0.44, 0.48};
constexpr double kSheetMargin = 32.0;

struct TextStyle {
    double size;  // pixels
    bool bold = false;
    Colour colour = kInk;
};

// `place` is the left end of the base line. Returns where the text ends.
Point drawText(const Canvas& canvas, Point place, const std::string& text, TextStyle style);

double textWidth(const Canvas& canvas, const std::string& text, TextStyle style);

// A decimal number with a point, whatever the locale.
std::string decimal(double value, int digits);

#endif
