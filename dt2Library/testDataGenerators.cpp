#include "testDataGenerators.h"
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include "Point2.h"
#include "Segment2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
// rand() reduced to 0..32767 whatever RAND_MAX the C library has (15 high bits when wider).
int rand15() {
    static const unsigned divisor = (unsigned(RAND_MAX) + 1u) / 32768u;
    return int(unsigned(rand()) / divisor);
}

// One step of the 32768-step grid: values are rand15() * (range * UNIT) + min.
const double UNIT = 3.0517578125e-5;   // 1/32768
const double TWO_PI = 6.283185307179586;

// A non-zero seed restarts the sequence; seed 0 mixes the clock with a call counter so that
// two calls within the same second still differ.
void seedRandom(unsigned int seed) {
    static unsigned long numSeedZeroCalls = 0;
    if (seed != 0) {
        srand(seed);
        return;
    }
    srand(unsigned(time(nullptr)));
    for (unsigned long i = 0; i < numSeedZeroCalls; ++i) srand(unsigned(rand()));
    ++numSeedZeroCalls;
}

// A draw in [0, 1) on the grid.
double unitDraw() { return rand15() * UNIT; }

// Bounds whose difference overflows (or an infinite bound) would give NaN coordinates;
// they are refused with a warning. An empty or NaN range stays the caller's assertion.
bool isRangeRefused(const char* where, double min, double max) {
    if (!(min < max) || std::isfinite(max - min)) return false;
    reportWarning(where, "the range [min, max) is not finite, nothing generated");
    return true;
}
} // namespace

void generateRandomNumbers(size_t num, double min, double max, std::vector<double>& vRandomNumbersOut,
                           unsigned int seed) {
    if (isRangeRefused("generateRandomNumbers()", min, max)) return;
    vRandomNumbersOut.resize(num);
    seedRandom(seed);
    LUMO_ASSERT(min<max);
    const double factor = (max - min) * UNIT;
    for (size_t i = 0; i < num; ++i) vRandomNumbersOut[i] = rand15() * factor + min;
}

void generateRandomPoints(size_t numRandomPoints, double min, double max, std::vector<Point2>& vRandomPointsOut,
                          unsigned int seed) {
    LUMO_ASSERT(min<max);
    if (isRangeRefused("generateRandomPoints()", min, max)) return;
    std::vector<double> vNumbers;
    generateRandomNumbers(2 * numRandomPoints, min, max, vNumbers, seed);
    vRandomPointsOut.reserve(vRandomPointsOut.size() + numRandomPoints);
    for (size_t k = 0; k < numRandomPoints; ++k) vRandomPointsOut.emplace_back(vNumbers[k], vNumbers[numRandomPoints + k]);
}

void generateCircle(int numPoints, double x, double y, double radiusX, double radiusY,
                    std::vector<Point2>& vCirclePointsOut) {
    if (numPoints <= 0) {
        reportWarning("generateCircle()", "numPoints=" + std::to_string(numPoints));
        return;
    }
    // The truncated two pi is deliberate: existing data sets were generated with it.
    const double step = 6.28318 / numPoints;
    vCirclePointsOut.reserve(vCirclePointsOut.size() + size_t(numPoints));
    for (int i = 0; i < numPoints; ++i)
        vCirclePointsOut.emplace_back(x + radiusX * std::cos(i * step), y + radiusY * std::sin(i * step));
}

void generateRandomPolygon(size_t numSegments, double min, double max, std::vector<Segment2>& vPolygonOut,
                           unsigned int seed) {
    const double range = max - min;
    LUMO_ASSERT(range>0);
    if (isRangeRefused("generateRandomPolygon()", min, max)) return;
    if (numSegments < 3) {
        reportWarning("generateRandomPolygon()", "numSegments<3");
        return;
    }
    std::vector<double> vNumbers;
    generateRandomNumbers(2 * numSegments, min, max, vNumbers, seed);
    // Vertex i lies in the sector [i, i+0.4) * 2pi/n: consecutive angles differ by less than pi
    // even for a triangle, so the centre sees every edge from inside and the polygon is simple.
    // Radii stay between a tenth and the whole half range to keep edges away from the centre.
    const double cx = min + 0.5 * range, cy = cx, halfRange = 0.5 * range;
    const double sector = TWO_PI / double(numSegments);
    std::vector<Point2> vCorners;
    vCorners.reserve(numSegments);
    for (size_t i = 0; i < numSegments; ++i) {
        const double uAngle = (vNumbers[i] - min) / range, uRadius = (vNumbers[numSegments + i] - min) / range;
        const double angle = (double(i) + 0.4 * uAngle) * sector;
        const double radius = halfRange * (0.1 + 0.9 * uRadius);
        vCorners.emplace_back(cx + radius * std::cos(angle), cy + radius * std::sin(angle));
    }
    vPolygonOut.reserve(vPolygonOut.size() + numSegments);
    for (size_t i = 0; i < numSegments; ++i)
        vPolygonOut.emplace_back(vCorners[i], vCorners[i + 1 == numSegments ? 0 : i + 1]);
}

void generateRandomSegments(size_t numSegments, double min, double max, double maxLen,
                            std::vector<Segment2>& vSegmentsOut, unsigned int seed) {
    LUMO_ASSERT(min<max);
    LUMO_ASSERT(maxLen>0);
    if (isRangeRefused("generateRandomSegments()", min, max)) return;
    seedRandom(seed);
    const double range = max - min;
    // Compared in floating point with a margin far above its rounding error, so the bound also
    // holds for the exact length.
    const double sqMaxLen = maxLen * maxLen * (1.0 - 1e-9);
    vSegmentsOut.reserve(vSegmentsOut.size() + numSegments);
    for (size_t i = 0; i < numSegments; ++i) {
        const double sx = min + range * unitDraw(), sy = min + range * unitDraw();
        const double angle = TWO_PI * unitDraw();
        double len = maxLen * unitDraw();   // at most 32767/32768 of the bound
        for (;;) {
            // Clamping into the box moves the target towards the source on each axis: never longer.
            const double tx = std::min(max, std::max(min, sx + len * std::cos(angle)));
            const double ty = std::min(max, std::max(min, sy + len * std::sin(angle)));
            const double dx = tx - sx, dy = ty - sy;
            if (dx * dx + dy * dy <= sqMaxLen) {
                vSegmentsOut.emplace_back(Point2(sx, sy), Point2(tx, ty));
                break;
            }
            // Only when maxLen is a few units in the last place of the coordinates can the
            // rounded target land beyond the bound; a shorter try ends at the latest at len 0.
            len *= 0.5;
        }
    }
}

void generateSineSegments(int numPeriods, int numSegmentsPerPeriod, double xOffset, double xFactor, double yOffset,
                          double yFactor, bool bSwapXY, std::vector<Segment2>& vSineSegmentsOut) {
    // The product must stay an int (it counts the segments).
    if (numPeriods <= 0 || numSegmentsPerPeriod <= 0 || int64_t(numPeriods) * numSegmentsPerPeriod > INT32_MAX) {
        reportWarning("generateSineSegments()", "numPeriods=" + std::to_string(numPeriods) +
                                                    ", numSegmentsPerPeriod=" + std::to_string(numSegmentsPerPeriod));
        return;
    }
    const int numSegments = numPeriods * numSegmentsPerPeriod;
    const double step = TWO_PI / numSegmentsPerPeriod;
    auto curvePoint = [&](int i) {
        const double t = i * step;
        const double px = xOffset + xFactor * t, py = yOffset + yFactor * std::sin(t);
        return bSwapXY ? Point2(py, px) : Point2(px, py);
    };
    vSineSegmentsOut.reserve(vSineSegmentsOut.size() + size_t(numSegments));
    Point2 prev(curvePoint(0));
    for (int i = 1; i <= numSegments; ++i) {
        const Point2 next(curvePoint(i));
        vSineSegmentsOut.emplace_back(prev, next);
        prev = next;
    }
}

} // namespace ORBI_LUMO2D
