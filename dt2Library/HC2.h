// HC2: keys on a Hilbert curve over a bounding box, used to order vertices spatially.
#pragma once
#include <cstdint>

namespace ORBI_LUMO2D {

class HC2 {
public:
    HC2() {}
    // Grid of 2^(bitLength/2) cells per axis over the box; an odd bit length or one above 32
    // is reported and the object keys everything to 0.
    HC2(double minX_, double minY_, double maxX_, double maxY_, int bitLength_ = 30);

    // Key of (x, y); points outside the box are clamped to its border cells.
    uint32_t getKey(double x, double y) const {
        const uint32_t X = toCell((x - minX) * scaleX);
        const uint32_t Y = toCell((y - minY) * scaleY);
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
        if (v >= maxCell) return uint32_t(maxCell);
        return uint32_t(v);
    }

    static const uint8_t aPosition[16];
    static const uint8_t aNext[16];
    // aSpread[b] spreads the 3 bits of b to the even bit positions (b2 b1 b0 -> b2 0 b1 0 b0).
    static const uint8_t aSpread[8];
    // For a state and three quadrant codes (interleaved as bitX, bitY per level, top level
    // first): the 6 key bits in the low bits and the next state in the top two bits.
    static const uint8_t* const aTriple;
    double minX{0.0}, minY{0.0};
    double scaleX{0.0}, scaleY{0.0};
    double maxCell{0.0};
    int numLevels{0};
};

} // namespace ORBI_LUMO2D
