// Reproducible random numbers, points and segments, and points on an ellipse, for examples
// and stress tests. The random generators use the C library's rand(): a non-zero seed gives
// the same output for the same arguments; seed 0 draws a fresh sequence on every call. A
// range whose width is not finite (an infinite bound, or max-min overflowing) warns and
// generates nothing.
#pragma once
#include <cstddef>
#include <vector>
#include "Lumo2D_defs.h"

namespace ORBI_LUMO2D {

// ---- numbers and points ---------------------------------------------------------------

// Resizes vRandomNumbersOut to num values in [min, max) on a grid of 32768 steps.
// Requires min<max (assertion).
LUMO2D_API void generateRandomNumbers(size_t num, double min, double max,
                                      std::vector<double>& vRandomNumbersOut, unsigned int seed = 0);
// Appends numRandomPoints points with coordinates in [min, max), drawn as 2*num numbers
// (x values first, then y values). Requires min<max (assertion).
LUMO2D_API void generateRandomPoints(size_t numRandomPoints, double min, double max,
                                     std::vector<Point2>& vRandomPointsOut, unsigned int seed = 0);
// Appends numPoints points on the ellipse around (x, y) with radii radiusX, radiusY,
// counterclockwise from angle 0. Warns and does nothing for numPoints<=0.
LUMO2D_API void generateCircle(int numPoints, double x, double y, double radiusX, double radiusY,
                               std::vector<Point2>& vCirclePointsOut);

// ---- segments -------------------------------------------------------------------------

// Appends a simple (non-self-intersecting) closed polygon of numSegments counterclockwise
// segments inside the square [min, max]^2: star-shaped around the centre, one vertex per
// angular sector of 2pi/numSegments at a random angle and radius. Requires max-min>0
// (assertion); warns and does nothing for fewer than 3 segments.
LUMO2D_API void generateRandomPolygon(size_t numSegments, double min, double max,
                                      std::vector<Segment2>& vPolygonOut, unsigned int seed = 0);
// Appends numSegments segments: a random source in [min, max)^2, a random direction and a
// random length below maxLen; the target is clamped into [min, max]^2, which only shortens
// the segment. Every segment is at most maxLen long. Requires min<max and maxLen>0 (assertions).
LUMO2D_API void generateRandomSegments(size_t numSegments, double min, double max, double maxLen,
                                       std::vector<Segment2>& vSegmentsOut, unsigned int seed = 0);
// Appends a polyline of numPeriods*numSegmentsPerPeriod connected segments along the curve
// (xOffset + xFactor*t, yOffset + yFactor*sin(t)), t from 0 to numPeriods*2pi; with bSwapXY
// the two coordinates of every point are exchanged (a vertical wave). Warns and does nothing
// when a count is not positive or their product exceeds the int range.
LUMO2D_API void generateSineSegments(int numPeriods, int numSegmentsPerPeriod, double xOffset, double xFactor,
                                     double yOffset, double yFactor, bool bSwapXY,
                                     std::vector<Segment2>& vSineSegmentsOut);

} // namespace ORBI_LUMO2D
