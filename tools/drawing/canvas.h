// A drawing surface over Cairo: owned, and read back as the pixels the library takes.
#ifndef ZOMU_TOOLS_DRAWING_CANVAS_H
#define ZOMU_TOOLS_DRAWING_CANVAS_H

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

Colour mix(Colour a, Colour b, double t);

// Curves go through every point; neighbours set the tangents (Catmull and Rom).
struct Curve {
    std::vector<Point> points;
    bool closed = false;
};

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
    void curve(const Curve& curve, bool continues = false) const;
    void arcThrough(Point from, Point middle, Point to, double roundness) const;
    void ellipse(Point centre, double xRadius, double yRadius, double angle = 0.0) const;

    void fill(Colour colour, double alpha = 1.0) const;
    void stroke(Colour colour, double width, double alpha = 1.0) const;
    void fillCurve(const Curve& outline, Colour colour, double alpha = 1.0) const;

    // A stroke and a spot without edges.
    void softStroke(const Curve& line, Colour colour, double width, double alpha) const;
    void softSpot(Point centre, double xRadius, double yRadius, Colour colour, double alpha) const;

    // Blue, green, red; packed rows.
    std::vector<std::uint8_t> pixels() const;

    // Puts a picture of packed blue, green, red pixels at `place`, each pixel `zoom` wide: as
    // squares, or smoothed.
    void drawPixels(const std::uint8_t* pixels, int width, int height, Point place, double zoom,
                    bool smooth) const;

  private:
    struct Release {
        void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
        void operator()(cairo_t* cairo) const { cairo_destroy(cairo); }
    };

    int m_width, m_height;
    std::unique_ptr<cairo_surface_t, Release> m_surface;
    std::unique_ptr<cairo_t, Release> m_cairo;
};

#endif
