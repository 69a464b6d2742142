#include "sheets/canvas.h"

#include <cmath>
#include <cstring>
#include <numbers>
#include <stdexcept>
#include <string>

double distance(Point a, Point b) {
    return std::hypot(b.x - a.x, b.y - a.y);
}

namespace {

// A copy of packed blue, green, red pixels in Cairo's own layout: red in bits 16 to 23 of a number
// of 32 bits, whatever the byte order.
Surface surfaceOf(const std::uint8_t* pixels, int width, int height) {
    Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
    unsigned char* data = cairo_image_surface_get_data(surface.get());
    if (data == nullptr) {
        throw std::runtime_error("a picture is too large to draw");
    }
    cairo_surface_flush(surface.get());
    const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface.get()));
    for (int y = 0; y < height; ++y) {
        unsigned char* row = data + static_cast<std::size_t>(y) * stride;
        for (int x = 0; x < width; ++x, pixels += 3) {
            const std::uint32_t pixel = std::uint32_t{pixels[0]} | std::uint32_t{pixels[1]} << 8 |
                                        std::uint32_t{pixels[2]} << 16;
            std::memcpy(row + 4 * static_cast<std::size_t>(x), &pixel, sizeof pixel);
        }
    }
    cairo_surface_mark_dirty(surface.get());
    return surface;
}

}  // namespace

Canvas::Canvas(int width, int height)
    : m_width(width),
      m_height(height),
      m_surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)),
      m_cairo(cairo_create(m_surface.get())) {
    const cairo_status_t status = cairo_status(m_cairo.get());
    if (status != CAIRO_STATUS_SUCCESS) {
        throw std::runtime_error("cannot make a canvas of " + std::to_string(width) + " x " +
                                 std::to_string(height) + ": " + cairo_status_to_string(status));
    }
    cairo_set_line_cap(cairo(), CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(cairo(), CAIRO_LINE_JOIN_ROUND);
}

void Canvas::setColour(Colour colour, double alpha) const {
    cairo_set_source_rgba(cairo(), colour.r, colour.g, colour.b, alpha);
}

void Canvas::paint(Colour colour) const {
    setColour(colour);
    cairo_paint(cairo());
}

void Canvas::line(Point from, Point to) const {
    cairo_move_to(cairo(), from.x, from.y);
    cairo_line_to(cairo(), to.x, to.y);
}

void Canvas::disc(Point centre, double radius) const {
    cairo_new_sub_path(cairo());
    cairo_arc(cairo(), centre.x, centre.y, radius, 0.0, 2.0 * std::numbers::pi);
}

void Canvas::fill(Colour colour, double alpha) const {
    setColour(colour, alpha);
    cairo_fill(cairo());
}

void Canvas::stroke(Colour colour, double width, double alpha) const {
    setColour(colour, alpha);
    cairo_set_line_width(cairo(), width);
    cairo_stroke(cairo());
}

std::vector<std::uint8_t> Canvas::pixels() const {
    cairo_surface_flush(m_surface.get());
    const unsigned char* data = cairo_image_surface_get_data(m_surface.get());
    const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(m_surface.get()));
    std::vector<std::uint8_t> result;
    result.reserve(static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height) * 3);
    for (int y = 0; y < m_height; ++y) {
        const unsigned char* row = data + static_cast<std::size_t>(y) * stride;
        for (int x = 0; x < m_width; ++x) {
            std::uint32_t pixel;
            std::memcpy(&pixel, row + 4 * static_cast<std::size_t>(x), sizeof pixel);
            result.push_back(static_cast<std::uint8_t>(pixel));
            result.push_back(static_cast<std::uint8_t>(pixel >> 8));
            result.push_back(static_cast<std::uint8_t>(pixel >> 16));
        }
    }
    return result;
}

void Canvas::drawPixels(const std::uint8_t* pixels, int width, int height, Point place, double zoom,
                        bool smooth) const {
    const Surface surface = surfaceOf(pixels, width, height);
    cairo_save(cairo());
    cairo_translate(cairo(), place.x, place.y);
    cairo_rectangle(cairo(), 0.0, 0.0, zoom * width, zoom * height);
    cairo_clip(cairo());
    cairo_scale(cairo(), zoom, zoom);
    cairo_set_source_surface(cairo(), surface.get(), 0.0, 0.0);
    cairo_pattern_t* pattern = cairo_get_source(cairo());
    cairo_pattern_set_filter(pattern, smooth ? CAIRO_FILTER_GOOD : CAIRO_FILTER_NEAREST);
    cairo_pattern_set_extend(pattern, CAIRO_EXTEND_PAD);
    cairo_paint(cairo());
    cairo_restore(cairo());
}

void Canvas::coverWith(const std::uint8_t* pixels, int width, int height,
                       const cairo_matrix_t& toPicture) const {
    const Surface surface = surfaceOf(pixels, width, height);
    cairo_set_source_surface(cairo(), surface.get(), 0.0, 0.0);
    cairo_pattern_t* pattern = cairo_get_source(cairo());
    cairo_pattern_set_matrix(pattern, &toPicture);
    cairo_pattern_set_filter(pattern, CAIRO_FILTER_GOOD);
    cairo_pattern_set_extend(pattern, CAIRO_EXTEND_REFLECT);
    cairo_paint(cairo());
}
