#include "Color.h"
#include "tools.h"

namespace ORBI_LUMO2D {

uint64_t Color::currentColorName = 0;

namespace {
const float aRGB[17][3] = {
    {1.0f, 0.0f, 0.0f},       // CRED
    {0.0f, 1.0f, 0.0f},       // CGREEN
    {0.0f, 0.0f, 1.0f},       // CBLUE
    {0.0f, 0.0f, 0.0f},       // CBLACK
    {1.0f, 0.4f, 0.7f},       // CPINK
    {0.3f, 0.3f, 0.3f},       // CGRAY
    {1.0f, 0.627f, 0.0f},     // CORANGE
    {0.0f, 0.749f, 1.0f},     // CLIGHTBLUE
    {0.823f, 0.705f, 0.549f}, // CLIGHTBROWN
    {0.545f, 0.271f, 0.074f}, // CDARKBROWN
    {0.627f, 0.125f, 0.941f}, // CPURPLE
    {0.5f, 0.5f, 0.0f},       // COLIVE
    {0.49f, 0.99f, 0.0f},     // CLAWNGREEN
    {0.6f, 0.98f, 0.6f},      // CPALEGREEN
    {0.0f, 1.0f, 1.0f},       // CCYAN
    {1.0f, 1.0f, 0.0f},       // CYELLOW
    {1.0f, 1.0f, 1.0f},       // CWHITE
};
} // namespace

Color::Color() : r(0.0f), g(0.0f), b(0.0f), width(0.01f), bFill(false) {}

Color::Color(double r_, double g_, double b_, double width_, bool bFill_)
    : r(float(r_)), g(float(g_)), b(float(b_)), width(float(width_)), bFill(bFill_) {}

Color::Color(Colorname c, float width_, bool bFill_) : r(0.0f), g(0.0f), b(0.0f), width(width_), bFill(bFill_) {
    const unsigned idx = unsigned(c);
    if (idx > unsigned(CWHITE)) {
        reportWarning("Color::Color", "Colorname unknown, returning black");
        return;
    }
    r = aRGB[idx][0];
    g = aRGB[idx][1];
    b = aRGB[idx][2];
}

bool Color::operator==(const Color& o) const {
    return r == o.r && g == o.g && b == o.b && width == o.width && bFill == o.bFill;
}

bool Color::operator<(const Color& o) const {
    if (r != o.r) return r < o.r;
    if (g != o.g) return g < o.g;
    if (b != o.b) return b < o.b;
    if (width != o.width) return width < o.width;
    return bFill < o.bFill;
}

Colorname Color::getNextColorName() {
    // Skip first, wrap second: this order keeps red, yellow and white out of the cycle.
    uint64_t next = currentColorName + 1;
    if (next == 15 || next == 16) ++next;
    next = next % 15;
    currentColorName = next;
    if (next > uint64_t(CWHITE)) {
        reportWarning("Color::getNextColorName()", "undefined color index, returning CBLACK");
        return CBLACK;
    }
    return Colorname(next);
}

} // namespace ORBI_LUMO2D
