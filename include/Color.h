// Color: an RGB drawing colour with a line width and a fill flag, for Visualizer2.
#pragma once
#include <cstdint>
#include "Lumo2D_defs.h"

namespace ORBI_LUMO2D {

// Named colours; Color(Colorname, ...) maps each to a fixed RGB triple.
enum Colorname {
    CRED, CGREEN, CBLUE, CBLACK, CPINK, CGRAY, CORANGE, CLIGHTBLUE, CLIGHTBROWN,
    CDARKBROWN, CPURPLE, COLIVE, CLAWNGREEN, CPALEGREEN, CCYAN, CYELLOW, CWHITE
};

class LUMO2D_API Color {
public:
    // Black, hairline, not filled.
    Color();
    // Components in 0..1; width is the PostScript line width.
    Color(double r, double g, double b, double width, bool bFill);
    // The named colour; a value past CWHITE warns and gives black.
    Color(Colorname c, float width, bool bFill);

    // ---- components ------------------------------------------------------------
    float getR() const { return r; }
    float getG() const { return g; }
    float getB() const { return b; }
    float getWidth() const { return width; }
    bool isFill() const { return bFill; }
    void setWidth(float w) { width = w; }
    void setFill(bool b_) { bFill = b_; }

    // ---- ordering (colours key the drawing groups) ------------------------------
    bool operator==(const Color& o) const;
    bool operator!=(const Color& o) const { return !(*this == o); }
    // Lexicographic on (r, g, b, width, fill).
    bool operator<(const Color& o) const;

    // Next colour of a fixed cycle: 1, 2, ..., 14, 1, 2, ... (never red, yellow or white
    // after the first call), driven by the process-wide counter currentColorName.
    static Colorname getNextColorName();
    static uint64_t currentColorName;

private:
    float r, g, b;
    float width;
    bool bFill;
};

} // namespace ORBI_LUMO2D
