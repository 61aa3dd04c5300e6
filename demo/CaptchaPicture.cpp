#include "demo/CaptchaPicture.h"

#include "demo/Random.h"

#include <cairo.h>

#include <memory>
#include <numbers>
#include <stdexcept>

namespace Demo {

namespace {

constexpr int width = 300;
constexpr int height = 114;
constexpr double margin = 24;
constexpr double fontSize = 66;

struct SurfaceDestroy {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
struct ContextDestroy {
    void operator()(cairo_t* cr) const { cairo_destroy(cr); }
};

double between(double low, double high) {
    constexpr std::uint32_t steps = 10'000;
    return low + (high - low) * Random::below(steps + 1) / steps;
}

void paintGround(cairo_t* cr) {
    std::unique_ptr<cairo_pattern_t, decltype(&cairo_pattern_destroy)> ground(
        cairo_pattern_create_linear(0, 0, width, height), cairo_pattern_destroy);
    cairo_pattern_add_color_stop_rgb(ground.get(), 0, 0.93, 0.92, 0.99);
    cairo_pattern_add_color_stop_rgb(ground.get(), 1, 0.85, 0.84, 0.96);
    cairo_set_source(cr, ground.get());
    cairo_paint(cr);
}

void drawWave(cairo_t* cr, double lineWidth, double opacity) {
    cairo_move_to(cr, 0, between(20, height - 20));
    cairo_curve_to(cr, width * 0.33, between(-30, height + 30), width * 0.66, between(-30, height + 30),
                   width, between(20, height - 20));
    cairo_set_line_width(cr, lineWidth);
    cairo_set_source_rgba(cr, 0.32, 0.27, 0.72, opacity);
    cairo_stroke(cr);
}

void drawSpecks(cairo_t* cr) {
    for (int n = 0; n < 90; ++n) {
        cairo_arc(cr, between(0, width), between(0, height), between(0.8, 2.2), 0, 2 * std::numbers::pi);
        cairo_set_source_rgba(cr, 0.32, 0.27, 0.72, between(0.15, 0.5));
        cairo_fill(cr);
    }
}

void drawCharacter(cairo_t* cr, const std::string& character, double centre, double size) {
    cairo_save(cr);
    cairo_translate(cr, centre + between(-4, 4), height / 2.0 + between(-9, 9));
    cairo_rotate(cr, between(-0.42, 0.42));
    cairo_set_font_size(cr, size * between(0.92, 1.1));
    cairo_text_extents_t extents;
    cairo_text_extents(cr, character.c_str(), &extents);
    cairo_move_to(cr, -extents.x_bearing - extents.width / 2, -extents.y_bearing - extents.height / 2);
    cairo_set_source_rgb(cr, between(0.12, 0.24), between(0.08, 0.16), between(0.36, 0.55));
    cairo_show_text(cr, character.c_str());
    cairo_restore(cr);
}

void drawText(cairo_t* cr, const std::string& text) {
    const double pitch = (width - 2 * margin) / static_cast<double>(text.size());
    const double size = std::min(fontSize, pitch * 1.35);
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
    double centre = margin + pitch / 2;
    for (const char character : text) {
        drawCharacter(cr, std::string(1, character), centre, size);
        centre += pitch;
    }
}

cairo_status_t append(void* closure, const unsigned char* data, unsigned length) {
    static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
    return CAIRO_STATUS_SUCCESS;
}

} // namespace

std::string drawCaptcha(const std::string& text) {
    const std::unique_ptr<cairo_surface_t, SurfaceDestroy> surface(
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
    const std::unique_ptr<cairo_t, ContextDestroy> context(cairo_create(surface.get()));
    cairo_t* cr = context.get();
    paintGround(cr);
    drawSpecks(cr);
    drawWave(cr, 3, 0.45);
    drawText(cr, text);
    drawWave(cr, 4, 0.55);
    drawWave(cr, 2.5, 0.55);

    std::string png;
    const cairo_status_t status = cairo_surface_write_to_png_stream(surface.get(), append, &png);
    if (status != CAIRO_STATUS_SUCCESS || cairo_status(cr) != CAIRO_STATUS_SUCCESS)
        throw std::runtime_error(std::string("The picture cannot be drawn: ") +
                                 cairo_status_to_string(status));
    return png;
}

} // namespace Demo
