#include "HC2.h"
#include <cfloat>
#include <cmath>
#include "ExactDiffPredicates.h"
#include "tools.h"

namespace ORBI_LUMO2D {

// Rows are the curve states 0..3, columns the quadrant code d = bitY + 2*bitX.
const uint8_t HC2::aPosition[16] = {0, 1, 3, 2, 0, 3, 1, 2, 2, 1, 3, 0, 2, 3, 1, 0};
const uint8_t HC2::aNext[16] = {1, 0, 2, 0, 0, 3, 1, 1, 2, 2, 0, 3, 3, 1, 3, 2};

const uint8_t HC2::aSpread[8] = {0, 1, 4, 5, 16, 17, 20, 21};

namespace {
const uint8_t* buildTripleTable() {
    static uint8_t table[256];
    static const uint8_t pos[16] = {0, 1, 3, 2, 0, 3, 1, 2, 2, 1, 3, 0, 2, 3, 1, 0};
    static const uint8_t nxt[16] = {1, 0, 2, 0, 0, 3, 1, 1, 2, 2, 0, 3, 3, 1, 3, 2};
    for (uint32_t state0 = 0; state0 < 4; ++state0) {
        for (uint32_t d6 = 0; d6 < 64; ++d6) {
            // d6 holds, per level from the top, the pair (bitX, bitY) as bits (2k+1, 2k).
            uint32_t state = state0, key = 0;
            for (int level = 2; level >= 0; --level) {
                const uint32_t bx = (d6 >> (2 * level + 1)) & 1u, by = (d6 >> (2 * level)) & 1u;
                const uint32_t idx = state << 2 | (by | bx << 1);
                key = key << 2 | pos[idx];
                state = nxt[idx];
            }
            table[state0 << 6 | d6] = uint8_t(key | state << 6);
        }
    }
    return table;
}
} // namespace

const uint8_t* const HC2::aTriple = buildTripleTable();

HC2::HC2(double minX_, double minY_, double maxX_, double maxY_, int bitLength) {
    if (bitLength % 2 != 0 || bitLength > 32 || bitLength < 0) {
        reportError("HC2::HC2(..)", "invalid bitlength");
        return;
    }
    numLevels = bitLength / 2;
    const double numCells = std::ldexp(1.0, numLevels);
    cellMask = uint32_t(numCells - 1.0);
    setupAxis(minX_, maxX_, numCells, aPreX, minX, scaleX);
    setupAxis(minY_, maxY_, numCells, aPreY, minY, scaleY);
}

void HC2::setupAxis(double lo, double hi, double numCells, double* aPre, double& origin, double& scale) {
    lo = std::fmax(lo, -DBL_MAX);
    hi = std::fmin(hi, DBL_MAX);
    aPre[0] = aPre[1] = 1.0;
    origin = lo;
    scale = 0.0;
    if (!(hi > lo)) return;  // zero range (or NaN): one cell
    const double range = hi - lo;
    scale = numCells / range;
    if (std::isfinite(range) && std::isfinite(scale)) return;
    // The range overflows (a box across most of the double range) or its reciprocal does (a
    // subnormal range): work on coordinates times 2^k, k chosen so that the larger bound's
    // magnitude becomes about 2^500. Both results are then finite, and the scaled range is at
    // least an ulp of 2^500 apart from zero, so the scale is finite too.
    const int k = 500 - adaptive::exponentOf(std::fmax(std::fabs(lo), std::fabs(hi)));
    const int k0 = k / 2;
    aPre[0] = adaptive::pow2(k0);
    aPre[1] = adaptive::pow2(k - k0);
    origin = lo * aPre[0] * aPre[1];
    scale = numCells / (hi * aPre[0] * aPre[1] - origin);
}

} // namespace ORBI_LUMO2D
