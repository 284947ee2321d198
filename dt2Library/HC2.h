// HC2: keys on a Hilbert curve over a bounding box, used to order vertices spatially.
#pragma once
#include <cstdint>

namespace ORBI_LUMO2D {

class HC2 {
public:
    HC2() {}
    // Grid of 2^(bitLength/2) cells per axis over the box; an odd bit length or one above 32
    // is reported and the object keys everything to 0. Infinite bounds count as +-DBL_MAX; an
    // axis of zero range keys to one cell.
    HC2(double minX_, double minY_, double maxX_, double maxY_, int bitLength_ = 30);

    // Key of (x, y). A cell coordinate is the truncation of (x - minX) * scaleX, of which the
    // key uses the low bitLength/2 bits (so the upper border maps to cell 0). Where the range
    // or the scale of an axis overflows, the same is computed on coordinates times a power of
    // two (exact), so that keys stay spread for every finite box. Points left of or below the
    // box get cell 0, points very far right or above the last cell.
    uint32_t getKey(double x, double y) const {
        const uint32_t X = toCell(((x * aPreX[0]) * aPreX[1] - minX) * scaleX);
        const uint32_t Y = toCell(((y * aPreY[0]) * aPreY[1] - minY) * scaleY);
        uint32_t key = 0, state = 0;
        int bit = numLevels - 1;
        // Three levels at a time through the combined table, the rest one by one.
        for (; bit >= 2; bit -= 3) {
            const uint32_t xs = (X >> (bit - 2)) & 7u, ys = (Y >> (bit - 2)) & 7u;
            const uint32_t d = aSpread[xs] << 1 | aSpread[ys];
            const uint8_t v = aTriple[state << 6 | d];
            key = (key << 6) | (v & 63u);
            state = v >> 6;
        }
        for (; bit >= 0; --bit) {
            const uint32_t d = ((Y >> bit) & 1u) | (((X >> bit) & 1u) << 1);
            const uint32_t idx = (state << 2) | d;
            key = (key << 2) | aPosition[idx];
            state = aNext[idx];
        }
        return key;
    }

private:
    uint32_t toCell(double v) const {
        if (!(v > 0.0)) return 0;  // also NaN
        if (v >= 4294967296.0) return cellMask;
        return uint32_t(v) & cellMask;
    }
    // Sets the origin, scale and power-of-two pre-factors of one axis.
    static void setupAxis(double lo, double hi, double numCells, double* aPre, double& origin, double& scale);

    static const uint8_t aPosition[16];
    static const uint8_t aNext[16];
    // aSpread[b] spreads the 3 bits of b to the even bit positions (b2 b1 b0 -> b2 0 b1 0 b0).
    static const uint8_t aSpread[8];
    // For a state and three quadrant codes (interleaved as bitX, bitY per level, top level
    // first): the 6 key bits in the low bits and the next state in the top two bits.
    static const uint8_t* const aTriple;
    double aPreX[2]{1.0, 1.0}, aPreY[2]{1.0, 1.0};  // products of powers of two, 1 normally
    double minX{0.0}, minY{0.0};                   // the box's lower corner, times the pre-factors
    double scaleX{0.0}, scaleY{0.0};
    uint32_t cellMask{0};
    int numLevels{0};
};

} // namespace ORBI_LUMO2D
