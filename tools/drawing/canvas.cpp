#include "drawing/canvas.h"

#include <cmath>
#include <cstring>
#include <numbers>
#include <stdexcept>
#include <string>

double distance(Point a, Point b) {
    return std::hypot(b.x - a.x, b.y - a.y);
}

Colour mix(Colour a, Colour b, double t) {
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

Canvas::Canvas(int width, int height)
    : m_width(width),
      m_height(height),
      m_surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)),
      m_cairo(cairo_create(m_surface.get())) {
    const cairo_status_t status = cairo_status(m_cairo.get());
    if (status != CAIRO_STATUS_SUCCESS) {
        throw std::runtime_error("no canvas of " + std::to_string(width) + " x " +
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

void Canvas::curve(const Curve& curve, bool continues) const {
    const std::vector<Point>& p = curve.points;
    const std::size_t n = p.size();
    const auto at = [&](std::size_t i, int step) {
        if (curve.closed) {
            return p[(i + n + static_cast<std::size_t>(step + 2) - 2) % n];
        }
        const std::size_t last = n - 1;
        return step < 0 ? p[i == 0 ? 0 : i - 1]
                        : p[std::min(i + static_cast<std::size_t>(step), last)];
    };
    if (continues) {
        cairo_line_to(cairo(), p[0].x, p[0].y);
    } else {
        cairo_move_to(cairo(), p[0].x, p[0].y);
    }
    const std::size_t pieces = curve.closed ? n : n - 1;
    for (std::size_t i = 0; i < pieces; ++i) {
        const Point from = at(i, 0);
        const Point to = at(i, 1);
        const Point first = from + (to - at(i, -1)) * (1.0 / 6.0);
        const Point second = to - (at(i, 2) - from) * (1.0 / 6.0);
        cairo_curve_to(cairo(), first.x, first.y, second.x, second.y, to.x, to.y);
    }
    if (curve.closed) {
        cairo_close_path(cairo());
    }
}

// One cubic whose halfway point is `middle`; `roundness` is the share of the chord that its two
// inner control points lie apart.
void Canvas::arcThrough(Point from, Point middle, Point to, double roundness) const {
    const Point control = (middle * 8.0 - from - to) * (1.0 / 6.0);
    const Point half = (to - from) * (0.5 * roundness);
    const Point first = control - half;
    const Point second = control + half;
    cairo_line_to(cairo(), from.x, from.y);
    cairo_curve_to(cairo(), first.x, first.y, second.x, second.y, to.x, to.y);
}

void Canvas::ellipse(Point centre, double xRadius, double yRadius, double angle) const {
    cairo_save(cairo());
    cairo_translate(cairo(), centre.x, centre.y);
    cairo_rotate(cairo(), angle);
    cairo_scale(cairo(), xRadius, yRadius);
    cairo_new_sub_path(cairo());
    cairo_arc(cairo(), 0.0, 0.0, 1.0, 0.0, 2.0 * std::numbers::pi);
    cairo_restore(cairo());
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

void Canvas::fillCurve(const Curve& outline, Colour colour, double alpha) const {
    curve(outline);
    fill(colour, alpha);
}

void Canvas::softStroke(const Curve& line, Colour colour, double width, double alpha) const {
    constexpr int kLayers = 8;
    for (int layer = 1; layer <= kLayers; ++layer) {
        curve(line);
        stroke(colour, width * layer / kLayers, 1.5 * alpha / kLayers);
    }
}

void Canvas::softSpot(Point centre, double xRadius, double yRadius, Colour colour,
                      double alpha) const {
    cairo_save(cairo());
    cairo_translate(cairo(), centre.x, centre.y);
    cairo_scale(cairo(), xRadius, yRadius);
    cairo_pattern_t* spot = cairo_pattern_create_radial(0.0, 0.0, 0.0, 0.0, 0.0, 1.0);
    cairo_pattern_add_color_stop_rgba(spot, 0.0, colour.r, colour.g, colour.b, alpha);
    cairo_pattern_add_color_stop_rgba(spot, 0.5, colour.r, colour.g, colour.b, 0.5 * alpha);
    cairo_pattern_add_color_stop_rgba(spot, 1.0, colour.r, colour.g, colour.b, 0.0);
    cairo_set_source(cairo(), spot);
    cairo_pattern_destroy(spot);
    cairo_arc(cairo(), 0.0, 0.0, 1.0, 0.0, 2.0 * std::numbers::pi);
    cairo_fill(cairo());
    cairo_restore(cairo());
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
            std::uint32_t pixel;  // red in bits 16 to 23, whatever the byte order
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
    const std::unique_ptr<cairo_surface_t, Release> surface(
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
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
