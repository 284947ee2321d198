// The refinement candidate: measures, the walk towards the circumcenter, and the decision
// whether the triangle is refined.
#include "RefCand3.h"
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <iostream>
#include "ConstraintMgr.h"
#include "ConstraintSegment2.h"
#include "Dt2.h"
#include "MeshGenParams.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
const double RAD_TO_DEG = 57.295779513;

// A zero vector stays zero (with the warning): a degenerate corner gives a 90 degree angle.
void normalize(double& x, double& y) {
    const double len = std::sqrt(x * x + y * y);
    if (len == 0.0) {
        std::cout << "warning: normalize(const Vector2& other), Null length vector!" << std::endl;
        x = y = 0.0;
        return;
    }
    x /= len;
    y /= len;
}
double clampedDot(double ux, double uy, double vx, double vy) {
    return std::max(-1.0, std::min(1.0, ux * vx + uy * vy));
}
} // namespace

double smallestAngleDegree(const Point2* a, const Point2* b, const Point2* c, int& minIdx) {
    double abx = b->x() - a->x(), aby = b->y() - a->y();
    double acx = c->x() - a->x(), acy = c->y() - a->y();
    double bcx = c->x() - b->x(), bcy = c->y() - b->y();
    normalize(abx, aby);
    normalize(acx, acy);
    normalize(bcx, bcy);
    const double cosA = clampedDot(abx, aby, acx, acy), cosB = clampedDot(-abx, -aby, bcx, bcy);
    const double cosC = clampedDot(acx, acy, bcx, bcy);
    // The smallest angle has the largest cosine. When that is clearly largest, its arc cosine
    // alone is the measure, taken with the corners relabelled to start there (the cosine at c
    // is that of the unit vectors a-c and b-c): the margin dwarfs every rounding of the three
    // angles, so the smallest stays the smallest.
    const double margin = 1e-6;
    const double aCos[3] = {cosA, cosB, cosC};
    const int k = cosA >= cosB ? (cosA >= cosC ? 0 : 2) : (cosB >= cosC ? 1 : 2);
    if (aCos[k] > aCos[incIndexBy1(k)] + margin && aCos[k] > aCos[incIndexBy2(k)] + margin) {
        minIdx = k;
        return std::acos(aCos[k]) * RAD_TO_DEG;
    }
    const double angA = std::acos(cosA) * RAD_TO_DEG;
    const double angB = std::acos(cosB) * RAD_TO_DEG;
    const double angC = 180.0 - angA - angB;
    minIdx = 0;
    double best = angA;
    if (angB < best) { best = angB; minIdx = 1; }
    if (angC < best) { best = angC; minIdx = 2; }
    return best;
}

void RefCand3::takeCorners(Dt2* pDt2_, Triangle2* pT_) {
    pDt2 = pDt2_;
    pT = pT_;
    for (int i = 0; i < 3; ++i) aCorners[i] = pT->getCorner(i);
    pLocT = nullptr;
    locIdx = LOC_NONE;
    bDebug = false;
    for (int i = 0; i < 3; ++i) {   // edge i lies opposite corner i
        const Point2 &p = *aCorners[incIndexBy1(i)], &q = *aCorners[incIndexBy2(i)];
        aSqLen[i] = (q.x() - p.x()) * (q.x() - p.x()) + (q.y() - p.y()) * (q.y() - p.y());
    }
    const double* l = aSqLen;
    maxIdx = int8_t(l[1] > l[0] ? (l[2] > l[1] ? 2 : 1) : (l[2] > l[0] ? 2 : 0));
    sqLongest = l[maxIdx];
}

void RefCand3::restore(Dt2* pDt2_, Triangle2* pT_, double minAngle_, int minIdx_, bool bSizeBad_) {
    takeCorners(pDt2_, pT_);
    minAngle = minAngle_;
    minIdx = int8_t(minIdx_);
    bHasAngle = true;
    bSizeBad = bSizeBad_;
}

bool RefCand3::init(Dt2* pDt2_, Triangle2* pT_, MeshGenParams& params, double cosMinAngle) {
    takeCorners(pDt2_, pT_);
    const double* l = aSqLen;
    const Point2 &a = *aCorners[0], &b = *aCorners[1], &c = *aCorners[2];
    const int shortIdx = l[1] < l[0] ? (l[2] < l[1] ? 2 : 1) : (l[2] < l[0] ? 2 : 0);
    area = 0.5 * std::fabs((b.x() - a.x()) * (c.y() - a.y()) - (b.y() - a.y()) * (c.x() - a.x()));
    bSizeBad = std::sqrt(sqLongest) > params.getMaxEdgeLength(pT) || area > params.getMaxTriangleArea(pT) ||
               (params.growFactor != DBL_MAX && needRefinementDueToGrowth(params));
    // The smallest angle lies opposite the shortest edge. Within these bounds the squared
    // lengths are exact to rounding and their products neither overflow nor underflow.
    const double la = l[shortIdx], lb = l[incIndexBy1(shortIdx)], lc = l[incIndexBy2(shortIdx)];
    cosSmallest = la >= 1e-150 && sqLongest <= 1e150 ? (lb + lc - la) / (2.0 * std::sqrt(lb * lc)) : NAN;
    bHasAngle = false;
    if (bSizeBad) {
        if (!std::isnan(cosSmallest)) return true;
    } else if (cosSmallest < cosMinAngle - 1e-9) {
        // A cosine clearly below that of the bound decides without the arc cosines (the
        // margin keeps borderline cases exact).
        return false;
    }
    int k;
    minAngle = smallestAngleDegree(aCorners[0], aCorners[1], aCorners[2], k);
    minIdx = int8_t(k);
    bHasAngle = true;
    return bSizeBad || minAngle < params.minAngleDegree;
}

bool RefCand3::needRefinementDueToGrowth(MeshGenParams& params) const {
    if (area < params.growFactorMinArea) return false;
    for (int i = 0; i < 3; ++i) {
        const Triangle2* pN = pT->getOppositeTriangle(i);
        if (pN == nullptr) continue;
        const Point2 &a = *pN->getCorner(0), &b = *pN->getCorner(1), &c = *pN->getCorner(2);
        const double nArea = 0.5 * std::fabs((b.x() - a.x()) * (c.y() - a.y()) - (b.y() - a.y()) * (c.x() - a.x()));
        if (area > params.growFactor * nArea) return true;
    }
    return false;
}

void RefCand3::computeLocation() {
    pLocT = nullptr;
    locIdx = LOC_NONE;
    const Point2 &a = *aCorners[0], &b = *aCorners[1], &c = *aCorners[2];
    const double bx = b.x() - a.x(), by = b.y() - a.y(), cx = c.x() - a.x(), cy = c.y() - a.y();
    const double d = 2.0 * (bx * cy - by * cx);
    const double sb = bx * bx + by * by, sc = cx * cx + cy * cy;
    const double ux = (cy * sb - by * sc) / d, uy = (bx * sc - cx * sb) / d;
    circumcenter = Point2(a.x() + ux, a.y() + uy);
    if (d == 0.0 || !std::isfinite(circumcenter.x()) || !std::isfinite(circumcenter.y())) return;
    GeomTest& geom = pDt2->getGeomTest();
    const Point2* q = &circumcenter;
    auto beyond = [&](const Triangle2* t, int i) {
        return geom.getOrientation2(t->getCorner(incIndexBy1(i)), t->getCorner(incIndexBy2(i)), q) == ORIENTATION2_CW;
    };
    // q lies in the closed triangle t: on a constraint edge it is blocked there, on a corner
    // it is no new vertex.
    auto finish = [&](Triangle2* t) {
        for (int i = 0; i < 3; ++i)
            if (t->getCorner(i)->x() == q->x() && t->getCorner(i)->y() == q->y()) return;
        pLocT = t;
        for (int i = 0; i < 3; ++i) {
            Point2* p1 = t->getCorner(incIndexBy1(i));
            Point2* p2 = t->getCorner(incIndexBy2(i));
            if (geom.getOrientation2(p1, p2, q) == ORIENTATION2_COLLINEAR && pDt2->isConstraintEdge(p1, p2)) {
                locIdx = i;
                return;
            }
        }
        locIdx = LOC_REACHED;
    };
    // Leave the own triangle over the longest edge when q lies beyond it (the only edge it can
    // lie beyond, up to rounding), else over the edge it lies beyond.
    Triangle2* t = pT;
    int exitIdx = beyond(t, maxIdx) ? int(maxIdx) : -1;
    for (int i = 0; i < 3 && exitIdx < 0; ++i)
        if (beyond(t, i)) exitIdx = i;
    if (exitIdx < 0) {
        finish(t);
        return;
    }
    // The walk follows the line from the midpoint of that edge to q: where q lies beyond both
    // far edges of a triangle, the side of the line its apex is on decides (an apex on the line
    // counts as left, a consistent perturbation of the line).
    const Point2 origin(0.5 * (t->getCorner(incIndexBy1(exitIdx))->x() + t->getCorner(incIndexBy2(exitIdx))->x()),
                        0.5 * (t->getCorner(incIndexBy1(exitIdx))->y() + t->getCorner(incIndexBy2(exitIdx))->y()));
    size_t maxSteps = 1024;
    for (size_t step = 0;; ++step) {
        if (step == maxSteps) {
            // Long walks are legal in a large mesh; more steps than triangles are not.
            const size_t numRecords = pDt2->getTrianglePool().numAllocated();
            if (maxSteps < numRecords + 1024) {
                maxSteps = numRecords + 1024;
            } else {
                reportWarning("RefCand3::computeLocation()", "the walk towards the circumcenter does not end, "
                                                             "triangle skipped");
                return;
            }
        }
        if (pDt2->isConstraintEdge(t->getCorner(incIndexBy1(exitIdx)), t->getCorner(incIndexBy2(exitIdx)))) {
            pLocT = t;
            locIdx = exitIdx;
            return;
        }
        Triangle2* pN = t->getOppositeTriangle(exitIdx);
        if (pN == nullptr) {
            pLocT = t;
            return;   // beyond the convex hull: LOC_NONE
        }
        const int e = pN->getIntraTriangleIndex(t);
        const int iRight = incIndexBy1(e), iLeft = incIndexBy2(e);   // edges (v, b) and (a, v)
        const bool bRight = beyond(pN, iRight), bLeft = beyond(pN, iLeft);
        t = pN;
        if (!bRight && !bLeft) {
            finish(t);
            return;
        }
        if (bRight && bLeft)
            exitIdx = geom.getOrientation2(&origin, q, t->getCorner(e)) == ORIENTATION2_CW ? iLeft : iRight;
        else
            exitIdx = bRight ? iRight : iLeft;
    }
}

bool RefCand3::isSafe() {
    if (pLocT == pT && locIdx >= 0 && locIdx <= 2 && locIdx != maxIdx) {
        reportWarning("RefCand3::isSafe()", "splitIndex!=maxIdx, numeric");
        return false;
    }
    return true;
}

bool RefCand3::isAtPrecisionLimit() const {
    double m = 0.0;
    for (const Point2* p : aCorners) m = std::max({m, std::fabs(p->x()), std::fabs(p->y())});
    const double limit = m * 0x1p-46;   // 64 units in the last place (2^6 * 2^-52), or more
    const double sqShortest = std::min({aSqLen[0], aSqLen[1], aSqLen[2]});
    // Below the smallest normal double the squared lengths, and every measure made of them, are lost.
    return sqShortest < DBL_MIN || sqShortest < limit * limit;
}

bool RefCand3::isSmallInputAngle() const {
    const int k = minIdx;
    Point2* pApex = aCorners[k];
    return pDt2->isConstraintEdge(pApex, aCorners[incIndexBy1(k)]) &&
           pDt2->isConstraintEdge(pApex, aCorners[incIndexBy2(k)]);
}

bool mayRefinementSplit(Dt2* pDt2, const Point2* p1, const Point2* p2, const MeshGenParams& params,
                        const std::set<ConstraintSegment2*>* pLocked, bool bDebug) {
    if (!params.allowConstraintSplitting) return false;
    if (pLocked != nullptr && !pLocked->empty()) {
        const ConstraintMgr* pMgr = pDt2->findConstraintMgr();
        ConstraintSegment2* pCSeg = pMgr == nullptr ? nullptr : pMgr->getConstraintSegment(p1, p2);
        if (pCSeg != nullptr && pLocked->count(pCSeg) != 0) {
            if (bDebug) std::cout << "RefC: the blocking constraint is locked" << std::endl;
            return false;
        }
    }
    const double dx = p2->x() - p1->x(), dy = p2->y() - p1->y();
    if (2.0 * params.minEdgeLength > std::hypot(dx, dy)) {
        if (bDebug) std::cout << "RefC: the blocking constraint is too short" << std::endl;
        return false;
    }
    return true;
}

bool RefCand3::needRefinement(MeshGenParams& params, const std::set<ConstraintSegment2*>* pLocked) {
    if (params.debugMode == 1) bDebug = true;
    if (locIdx >= 0 && locIdx <= 2) {
        if (!mayRefinementSplit(pDt2, pLocT->getCorner(incIndexBy1(locIdx)), pLocT->getCorner(incIndexBy2(locIdx)), params,
                                pLocked, bDebug))
            return false;
    } else if (locIdx == LOC_NONE) {
        return false;
    } else if (locIdx != LOC_REACHED) {
        reportWarning("RefCand3::needRefinement", "bug, unexpected case");
        return false;
    }
    if (!isSafe() || isAtPrecisionLimit()) return false;
    if (bSizeBad) return true;
    if (isSmallInputAngle()) {
        if (bDebug) std::cout << "RefC: small input angle, " << minAngle << std::endl;
        return false;
    }
    if (bDebug) std::cout << "RefC: minAngle, current=" << minAngle << std::endl;
    return minAngle < params.minAngleDegree;
}

} // namespace ORBI_LUMO2D
