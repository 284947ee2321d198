// Grid vertices are found per zone triangle, row by row of the grid: a cheap double-precision
// window proposes the grid points near the triangle and the exact orientation test decides
// which of them lie in it. Points near the border are dropped by a distance rule; that is a
// choice of spacing, not a geometric decision, so doubles suffice there.
#include "GridMesher.h"
#include <algorithm>
#include <cmath>
#include <string>
#include "ConstraintGraph2.h"
#include "ConstraintSegment2.h"
#include "Dt2.h"
#include "LumoException.h"
#include "MeshGenParams.h"
#include "Zone2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {

// In grid lengths: grid vertices closer than this to the border are dropped, and segment
// pieces between grid-line crossings are not made shorter than this.
const double BAND = 0.5;
// The most grid vertices (and, separately, segment splits) one run may plan.
const double MAX_GRID_VERTICES = 1e8;

uint64_t gridKey(int64_t i, int64_t j) { return uint64_t(uint32_t(int32_t(i))) << 32 | uint32_t(int32_t(j)); }
int64_t keyI(uint64_t key) { return int32_t(uint32_t(key >> 32)); }
int64_t keyJ(uint64_t key) { return int32_t(uint32_t(key)); }

// Distance from (ps, pt) to the segment (as, at)-(bs, bt).
double distanceToSegment(double ps, double pt, double as, double at, double bs, double bt) {
    const double ds = bs - as, dt = bt - at, dd = ds * ds + dt * dt;
    double lambda = dd > 0.0 ? ((ps - as) * ds + (pt - at) * dt) / dd : 0.0;
    lambda = std::max(0.0, std::min(1.0, lambda));
    return std::hypot(ps - (as + lambda * ds), pt - (at + lambda * dt));
}

} // namespace

GridMesher::GridMesher(Dt2& dt_, const MeshGenParams& params_, const std::set<ConstraintSegment2*>& sLocked_)
    : dt(dt_), params(params_), sLocked(sLocked_) {
    const double gx = params.gridVector.x(), gy = params.gridVector.y();
    const double len = std::hypot(gx, gy);
    ex = gx / len;
    ey = gy / len;
    ux = params.gridLength * ex;
    uy = params.gridLength * ey;
    vx = -uy;
    vy = ux;
    const Point2 origin = params.pZone->getBoundingBox().getMinPoint();
    ox = origin.x();
    oy = origin.y();
}

// Projections on the unit directions, in grid lengths: no product of two coordinates, so that
// huge and tiny domains neither overflow nor underflow.
void GridMesher::toGrid(const Point2& p, double& s, double& t) const {
    const double dx = (p.x() - ox) / params.gridLength, dy = (p.y() - oy) / params.gridLength;
    s = dx * ex + dy * ey;
    t = dy * ex - dx * ey;
}

Point2 GridMesher::gridPoint(int64_t i, int64_t j) const {
    const double di = double(i), dj = double(j);
    return Point2(ox + (di * ux + dj * vx), oy + (di * uy + dj * vy));
}

bool GridMesher::plan() {
    std::vector<Triangle2*> vZoneT;
    params.pZone->getTriangles(vZoneT);
    // The size of the job first, in grid cells and grid lengths, before anything is allocated.
    double area = 0.0, perimeter = 0.0;
    for (Triangle2* pT : vZoneT) {
        double s[3], t[3];
        for (int k = 0; k < 3; ++k) toGrid(*pT->getCorner(k), s[k], t[k]);
        area += 0.5 * std::fabs((s[1] - s[0]) * (t[2] - t[0]) - (t[1] - t[0]) * (s[2] - s[0]));
        for (int i = 0; i < 3; ++i) {
            const Point2 *pA = pT->getCorner(incIndexBy1(i)), *pB = pT->getCorner(incIndexBy2(i));
            if (pT->getOppositeTriangle(i) == nullptr || dt.isConstraintEdge(pA, pB))
                perimeter += std::hypot(s[incIndexBy2(i)] - s[incIndexBy1(i)], t[incIndexBy2(i)] - t[incIndexBy1(i)]);
        }
    }
    if (!(area <= MAX_GRID_VERTICES && perimeter <= MAX_GRID_VERTICES)) {
        reportError("Dt2::refineMain3()", "gridLength is too small for the zone (more than " +
                                              std::to_string(size_t(MAX_GRID_VERTICES)) + " grid vertices), return");
        return false;
    }
    for (Triangle2* pT : vZoneT) {
        collectCandidates(pT);
        for (int i = 0; i < 3; ++i) {
            Point2 *pA = pT->getCorner(incIndexBy1(i)), *pB = pT->getCorner(incIndexBy2(i));
            if (pT->getOppositeTriangle(i) == nullptr || dt.isConstraintEdge(pA, pB)) excludeNear(*pA, *pB);
            excludeNear(*pA, *pA);   // a vertex inside the zone, which stays
        }
    }
    std::sort(vCandidates.begin(), vCandidates.end());
    vCandidates.erase(std::unique(vCandidates.begin(), vCandidates.end()), vCandidates.end());
    std::sort(vExcluded.begin(), vExcluded.end());
    std::vector<uint64_t> vKeys;
    std::set_difference(vCandidates.begin(), vCandidates.end(), vExcluded.begin(), vExcluded.end(),
                        std::back_inserter(vKeys));
    vGridPoints.reserve(vKeys.size());
    for (uint64_t key : vKeys) vGridPoints.push_back(gridPoint(keyI(key), keyJ(key)));
    vCandidates = std::vector<uint64_t>();
    vExcluded = std::vector<uint64_t>();

    if (params.allowConstraintSplitting) {
        std::vector<ConstraintGraph2*> vGraphs;
        params.pZone->getConstraintGraphs(vGraphs);
        std::vector<ConstraintSegment2*> vAlive;
        for (ConstraintGraph2* pG : vGraphs) pG->getChildConstraintSegments(vAlive);
        std::sort(vAlive.begin(), vAlive.end());
        vAlive.erase(std::unique(vAlive.begin(), vAlive.end()), vAlive.end());
        for (ConstraintSegment2* pCSeg : vAlive)
            if (pCSeg->isAlive() && sLocked.count(pCSeg) == 0) planSplits(pCSeg);
    }
    return true;
}

// The grid points in the closed triangle but not on its corners. Each row j gets the window of
// s that the triangle covers for t in [j-1, j+1], widened by one: the rounding of s and t is
// far below that.
void GridMesher::collectCandidates(Triangle2* pT) {
    Point2* aP[3] = {pT->getCorner(0), pT->getCorner(1), pT->getCorner(2)};
    double s[3], t[3];
    for (int k = 0; k < 3; ++k) toGrid(*aP[k], s[k], t[k]);
    const double tMin = std::min({t[0], t[1], t[2]}), tMax = std::max({t[0], t[1], t[2]});
    GeomTest& geom = dt.getGeomTest();
    for (int64_t j = int64_t(std::floor(tMin)); j <= int64_t(std::ceil(tMax)); ++j) {
        double lo = HUGE_VAL, hi = -HUGE_VAL;
        for (int k = 0; k < 3; ++k) {
            if (t[k] >= double(j - 1) && t[k] <= double(j + 1)) lo = std::min(lo, s[k]), hi = std::max(hi, s[k]);
            const int n = (k + 1) % 3;
            for (double level : {double(j - 1), double(j + 1)}) {
                if ((t[k] - level) * (t[n] - level) >= 0.0) continue;
                const double sAt = s[k] + (level - t[k]) / (t[n] - t[k]) * (s[n] - s[k]);
                lo = std::min(lo, sAt), hi = std::max(hi, sAt);
            }
        }
        if (lo > hi) continue;
        for (int64_t i = int64_t(std::floor(lo)) - 1; i <= int64_t(std::ceil(hi)) + 1; ++i) {
            const Point2 p = gridPoint(i, j);
            int numOn = 0;
            bool bOut = false;
            for (int k = 0; k < 3 && !bOut; ++k) {
                const Orientation2 o = geom.getOrientation2(aP[k], aP[(k + 1) % 3], &p);
                bOut = o == ORIENTATION2_CW;
                numOn += o == ORIENTATION2_COLLINEAR;
            }
            if (!bOut && numOn < 2) vCandidates.push_back(gridKey(i, j));
        }
    }
}

// Marks the grid points closer than BAND grid lengths to the segment a-b (a point when a == b),
// piece by piece along it so that the work follows its length, not its box.
void GridMesher::excludeNear(const Point2& a, const Point2& b) {
    double sa, ta, sb, tb;
    toGrid(a, sa, ta);
    toGrid(b, sb, tb);
    const int64_t numPieces = std::max<int64_t>(1, int64_t(std::ceil(std::hypot(sb - sa, tb - ta))));
    for (int64_t k = 0; k < numPieces; ++k) {
        const double l0 = double(k) / double(numPieces), l1 = double(k + 1) / double(numPieces);
        const double s0 = sa + l0 * (sb - sa), s1 = sa + l1 * (sb - sa), t0 = ta + l0 * (tb - ta), t1 = ta + l1 * (tb - ta);
        for (int64_t i = int64_t(std::floor(std::min(s0, s1) - BAND)) - 1; i <= int64_t(std::ceil(std::max(s0, s1) + BAND)) + 1; ++i)
            for (int64_t j = int64_t(std::floor(std::min(t0, t1) - BAND)) - 1; j <= int64_t(std::ceil(std::max(t0, t1) + BAND)) + 1; ++j)
                if (distanceToSegment(double(i), double(j), sa, ta, sb, tb) < BAND) vExcluded.push_back(gridKey(i, j));
    }
}

// The crossings of the segment with the grid lines of both families, thinned from the source
// on so that no piece is shorter than BAND grid lengths or minEdgeLength.
void GridMesher::planSplits(ConstraintSegment2* pCSeg) {
    const Point2 &a = *pCSeg->getSrc(), &b = *pCSeg->getTrg();
    double c0[2], c1[2];
    toGrid(a, c0[0], c0[1]);
    toGrid(b, c1[0], c1[1]);
    std::vector<double> vLambda;
    for (int f = 0; f < 2; ++f) {
        if (c0[f] == c1[f]) continue;
        const double lo = std::min(c0[f], c1[f]), hi = std::max(c0[f], c1[f]);
        for (int64_t k = int64_t(std::ceil(lo)); k <= int64_t(std::floor(hi)); ++k) {
            const double lambda = (double(k) - c0[f]) / (c1[f] - c0[f]);
            if (lambda > 0.0 && lambda < 1.0) vLambda.push_back(lambda);
        }
    }
    std::sort(vLambda.begin(), vLambda.end());
    const double len = std::hypot(b.x() - a.x(), b.y() - a.y());
    const double minPiece = std::max(BAND * params.gridLength, params.minEdgeLength);
    Split split{pCSeg, {}};
    double last = 0.0;
    for (double lambda : vLambda) {
        if ((lambda - last) * len < minPiece || (1.0 - lambda) * len < minPiece) continue;
        split.vLambda.push_back(lambda);
        last = lambda;
    }
    if (split.vLambda.empty()) return;
    numSplits += split.vLambda.size();
    vSplits.push_back(std::move(split));
}

void GridMesher::apply() {
    for (const Split& split : vSplits) {
        const Point2 a = *split.pCSeg->getSrc();
        Point2* pB = split.pCSeg->getTrg();
        ConstraintSegment2* pCur = split.pCSeg;
        for (double lambda : split.vLambda) {
            if (!pCur->isAlive()) break;   // enforcing a piece split it further: leave the rest to refinement
            Point2* pSplit = pCur->insertAndSplit(Point2(a.x() + lambda * (pB->x() - a.x()), a.y() + lambda * (pB->y() - a.y())));
            if (pSplit == nullptr) continue;
            vSplitVertices.push_back(pSplit);
            ConstraintSegment2 *pKid0, *pKid1;
            Point2* pAt;
            pCur->getChildrenAndSplitPoint(pKid0, pKid1, pAt);
            pCur = (pKid0->getSrc() == pB || pKid0->getTrg() == pB) ? pKid0 : pKid1;
        }
    }
    if (!vGridPoints.empty()) dt.insertVector(vGridPoints, nullptr);
}

} // namespace ORBI_LUMO2D
