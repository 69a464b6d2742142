#include "sheets/sheet_style.h"

#include <charconv>
#include <iterator>
#include <system_error>

namespace {

void selectFont(const Canvas& canvas, TextStyle style) {
    cairo_select_font_face(canvas.cairo(), "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL,
                           style.bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(canvas.cairo(), style.size);
}

}  // namespace

double textWidth(const Canvas& canvas, const std::string& text, TextStyle style) {
    selectFont(canvas, style);
    cairo_text_extents_t extents;
    cairo_text_extents(canvas.cairo(), text.c_str(), &extents);
    return extents.x_advance;
}

Point drawText(const Canvas& canvas, Point place, const std::string& text, TextStyle style) {
    const double width = textWidth(canvas, text, style);
    canvas.setColour(style.colour);
    cairo_move_to(canvas.cairo(), place.x, place.y);
    cairo_show_text(canvas.cairo(), text.c_str());
    cairo_new_path(canvas.cairo());
    return {place.x + width, place.y};
}

std::string decimal(double value, int digits) {
    char text[64];
    const auto [end, error] =
        std::to_chars(std::begin(text), std::end(text), value, std::chars_format::fixed, digits);
    return error == std::errc() ? std::string(text, end) : "too large";
}
