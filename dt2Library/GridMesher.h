// GridMesher: the start of a grid mesh. Before refinement proper, it splits the zone's
// constraint segments where grid lines cross them and inserts the grid vertices that lie inside
// the zone and away from its border; refinement then fills the band along the border. The grid
// and the rules are described with MeshGenParams::gridLength.
#pragma once
#include <cstdint>
#include <set>
#include <vector>
#include "Point2.h"

namespace ORBI_LUMO2D {

class ConstraintSegment2;
class Dt2;
class MeshGenParams;
class Triangle2;

class GridMesher {
public:
    // sLocked: the segment pieces that must stay whole.
    GridMesher(Dt2& dt, const MeshGenParams& params, const std::set<ConstraintSegment2*>& sLocked);
    // Finds the grid vertices and the segment splits without changing anything; false (after
    // one message) when the grid would be too fine to hold.
    bool plan();
    // Splits the segments and inserts the grid vertices through the normal insertion path.
    void apply();
    size_t numberOfGridVertices() const { return vGridPoints.size(); }
    size_t numberOfPlannedSplits() const { return numSplits; }
    // The vertices that the splits put on the segments.
    const std::vector<Point2*>& getSplitVertices() const { return vSplitVertices; }

private:
    // Grid coordinates (s, t): p = origin + s*u + t*v.
    void toGrid(const Point2& p, double& s, double& t) const;
    Point2 gridPoint(int64_t i, int64_t j) const;
    void collectCandidates(Triangle2* pT);
    void excludeNear(const Point2& a, const Point2& b);
    void planSplits(ConstraintSegment2* pCSeg);

    Dt2& dt;
    const MeshGenParams& params;
    const std::set<ConstraintSegment2*>& sLocked;
    double ox{0}, oy{0}, ex{0}, ey{0}, ux{0}, uy{0}, vx{0}, vy{0};   // origin, unit direction, grid steps
    std::vector<uint64_t> vCandidates, vExcluded;   // grid keys (i, j)
    std::vector<Point2> vGridPoints;
    struct Split {
        ConstraintSegment2* pCSeg;
        std::vector<double> vLambda;   // increasing, strictly inside (0, 1), from source to target
    };
    std::vector<Split> vSplits;
    size_t numSplits{0};
    std::vector<Point2*> vSplitVertices;
};

} // namespace ORBI_LUMO2D
