// A drawing surface over Cairo: owned, and read back as the pixels that the library takes.
#ifndef ZOMU_TOOLS_SHEETS_CANVAS_H
#define ZOMU_TOOLS_SHEETS_CANVAS_H

#include <cairo.h>

#include <cstdint>
#include <memory>
#include <vector>

struct Point {
    double x, y;
};

inline Point operator+(Point a, Point b) {
    return {a.x + b.x, a.y + b.y};
}
inline Point operator-(Point a, Point b) {
    return {a.x - b.x, a.y - b.y};
}
inline Point operator*(Point a, double t) {
    return {a.x * t, a.y * t};
}
inline Point between(Point a, Point b, double t) {
    return a + (b - a) * t;
}
double distance(Point a, Point b);

// 0 to 1 each.
struct Colour {
    double r, g, b;
};

struct CairoRelease {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
    void operator()(cairo_t* cairo) const { cairo_destroy(cairo); }
};

using Surface = std::unique_ptr<cairo_surface_t, CairoRelease>;

// Points are in pixels with Cairo's convention: whole numbers are pixel corners, so that the centre
// of the first pixel is (0.5, 0.5).
class Canvas {
  public:
    Canvas(int width, int height);

    cairo_t* cairo() const { return m_cairo.get(); }
    int width() const { return m_width; }
    int height() const { return m_height; }

    void setColour(Colour colour, double alpha = 1.0) const;
    void paint(Colour colour) const;

    // Add to the current path.
    void line(Point from, Point to) const;
    void disc(Point centre, double radius) const;

    void fill(Colour colour, double alpha = 1.0) const;
    void stroke(Colour colour, double width, double alpha = 1.0) const;

    // Blue, green, red; packed rows.
    std::vector<std::uint8_t> pixels() const;

    // Puts a picture of packed blue, green, red pixels at `place`, each pixel `zoom` wide: as
    // squares, or smoothed.
    void drawPixels(const std::uint8_t* pixels, int width, int height, Point place, double zoom,
                    bool smooth) const;

    // Covers the canvas with such a picture, which continues beyond its edges as its own
    // reflection. `toPicture` maps the canvas to the picture. Smaller pictures are averaged, larger
    // ones interpolated.
    void coverWith(const std::uint8_t* pixels, int width, int height,
                   const cairo_matrix_t& toPicture) const;

  private:
    int m_width, m_height;
    Surface m_surface;
    std::unique_ptr<cairo_t, CairoRelease> m_cairo;
};

#endif
