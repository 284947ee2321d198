// Zones on the triangulation: creation in every form, the zone list, and the flood fill that
// all zone queries share.
#include <algorithm>
#include <string>
#include <vector>
#include "ConstraintGraph2.h"
#include "ConstraintMgr.h"
#include "Dt2.h"
#include "TriangleSet.h"
#include "Zone2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
bool isResultLocation(ZoneLocation zoneLoc) { return zoneLoc >= ZL_RESULT_UNION && zoneLoc <= ZL_RESULT_SYM_DIFFERENCE; }

// Graphs of another triangulation would make the zone read foreign vertices.
bool hasForeignGraph(const Dt2* pDt2, const std::vector<ConstraintGraph2*>& vGraphs) {
    for (const ConstraintGraph2* pG : vGraphs) {
        if (pG != nullptr && pG->getDt2() != pDt2) {
            reportWarning("Dt2::createZone()", "The constraint graph belongs to another triangulation. Returning NULL");
            return true;
        }
    }
    return false;
}

bool hasNullGraph(const std::vector<ConstraintGraph2*>& vGraphs) {
    return vGraphs.empty() || std::find(vGraphs.begin(), vGraphs.end(), nullptr) != vGraphs.end();
}

// A new oriented graph of the border edges of the (distinct) triangles, the triangles on the
// left of each: they are edges already, so constraining them changes no triangle.
ConstraintGraph2* constrainBorder(Dt2& dt, const std::vector<Triangle2*>& vTriangles) {
    std::vector<Edge2> vBorder;
    appendBorderEdges(dt.getTrianglePool(), vTriangles, vBorder);
    std::vector<std::pair<Point2*, Point2*>> vPairs;
    vPairs.reserve(vBorder.size());
    for (const Edge2& e : vBorder) vPairs.emplace_back(e.getSrc(), e.getTrg());
    return dt.getConstraintMgr().createConstraint(vPairs, CIS_CONSTRAINED_DELAUNAY, true);
}

const char* const noTrianglesYet = "called on a triangulation which has no triangles yet. Returning NULL";

// An edge of an alive segment that one of the graphs owns (directly or through a split parent).
bool isZoneBarrier(const ConstraintMgr* pMgr, const std::vector<ConstraintGraph2*>& vGraphs, const Point2* pA,
                   const Point2* pB) {
    const ConstraintSegment2* pCSeg = pMgr->getConstraintSegment(pA, pB);
    if (pCSeg == nullptr || !pCSeg->isAlive()) return false;
    const std::set<ConstraintGraph2*>& sOwners = pCSeg->getOwners();
    for (ConstraintGraph2* pG : vGraphs)
        if (sOwners.count(pG) != 0) return true;
    return false;
}
} // namespace

// ---- the zone list ----------------------------------------------------------------------------------

void Dt2::destroyZones() {
    for (Zone2* pZone : vZones) delete pZone;
    vZones.clear();
}

bool Dt2::hasZone(const Zone2* pZone) const {
    return pZone != nullptr && std::find(vZones.begin(), vZones.end(), pZone) != vZones.end();
}

void Dt2::deleteZone(Zone2* pZone) {
    auto it = std::find(vZones.begin(), vZones.end(), pZone);
    if (pZone == nullptr || it == vZones.end()) {
        reportWarning("Dt2::deleteZone(..)", "trying to delete a non-existing zone");
        return;
    }
    // A result zone reads its operands on every query: they must outlive it.
    for (const Zone2* pOther : vZones) {
        if (pOther->pInputZone0 == pZone || pOther->pInputZone1 == pZone) {
            reportWarning("Dt2::deleteZone(..)", "the zone is an operand of a result zone, delete that one first. Nothing deleted");
            return;
        }
    }
    vZones.erase(it);
    delete pZone;
}

// ---- creation ---------------------------------------------------------------------------------------

Zone2* Dt2::createZone(ConstraintGraph2* pGraph, ZoneLocation zoneLoc) {
    if (!is2D()) {
        reportWarning("Dt2::createZone", noTrianglesYet);
        return nullptr;
    }
    Zone2* pZone = nullptr;
    if (zoneLoc == ZL_GLOBAL || isResultLocation(zoneLoc)) {
        pZone = new Zone2(this, zoneLoc);
    } else if (pGraph == nullptr) {
        reportWarning("Dt::createZone()", "pConstraintGraph==NULL, but zoneLoc!=ZL_GLOBAL or ZL_RESULT. Returning NULL");
        return nullptr;
    } else if (hasForeignGraph(this, {pGraph})) {
        return nullptr;
    } else if (!pGraph->isOriented()) {
        reportWarning("Dt2::createZone()", "The constraint graph is not oriented, returning NULL");
        return nullptr;
    } else {
        pZone = new Zone2(this, zoneLoc);
        pZone->vConstraintGraphs.push_back(pGraph);
    }
    vZones.push_back(pZone);
    return pZone;
}

Zone2* Dt2::createZone(const std::vector<ConstraintGraph2*>& vGraphs, ZoneLocation zoneLoc) {
    if (zoneLoc != ZL_INSIDE && zoneLoc != ZL_OUTSIDE) {
        reportWarning("Dt2::createZone()", "This overloaded version of createZone accepts only ZL_INSIDE and ZL_OUTSIDE as zoneLocation. Returning NULL");
        return nullptr;
    }
    // Every graph passes the checks of the single-graph form, which creates the zone.
    if (hasNullGraph(vGraphs)) return createZone(static_cast<ConstraintGraph2*>(nullptr), zoneLoc);
    for (size_t k = 1; k < vGraphs.size(); ++k) {
        if (hasForeignGraph(this, {vGraphs[k]})) return nullptr;
        if (!vGraphs[k]->isOriented()) {
            reportWarning("Dt2::createZone()", "The constraint graph is not oriented, returning NULL");
            return nullptr;
        }
    }
    Zone2* pZone = createZone(vGraphs[0], zoneLoc);
    if (pZone != nullptr) pZone->vConstraintGraphs = vGraphs;
    return pZone;
}

Zone2* Dt2::createZone(const std::vector<ConstraintGraph2*>& vGraphs, ZoneLocation zoneLoc, const Point2& startPoint) {
    if (zoneLoc != ZL_GROW) {
        reportWarning("Dt2::createZone()", "This overloaded version of createZone accepts only ZL_GROW as zoneLocation. Returning NULL");
        return nullptr;
    }
    if (!is2D()) {
        reportWarning("Dt2::createZone", noTrianglesYet);
        return nullptr;
    }
    if (std::find(vGraphs.begin(), vGraphs.end(), nullptr) != vGraphs.end()) {
        reportWarning("Dt::createZone()", "pConstraintGraph==NULL, but zoneLoc!=ZL_GLOBAL or ZL_RESULT. Returning NULL");
        return nullptr;
    }
    if (hasForeignGraph(this, vGraphs)) return nullptr;
    if (!isFinitePoint(startPoint.x(), startPoint.y())) {
        reportWarning("Dt2::createZone()", "The start point has a NaN or infinite coordinate. Returning NULL");
        return nullptr;
    }
    Zone2* pZone = new Zone2(this, ZL_GROW);
    pZone->vConstraintGraphs = vGraphs;
    pZone->vStartPoints.push_back(startPoint);
    vZones.push_back(pZone);
    return pZone;
}

Zone2* Dt2::createBoundedZone(ConstraintGraph2* pGraph, ZoneLocation zoneLoc) {
    if (zoneLoc != ZL_BOUNDED) {
        reportWarning("Dt2::createZone()", "This overloaded version of createZone accepts only ZL_BOUNDED as zoneLocation. Returning NULL");
        return nullptr;
    }
    return createZone(pGraph, zoneLoc);
}

Zone2* Dt2::createResultZone(ZoneLocation zoneLoc, Zone2* pZone0, Zone2* pZone1) {
    Zone2* pZone = createZone(static_cast<ConstraintGraph2*>(nullptr), zoneLoc);
    if (pZone == nullptr) return nullptr;
    pZone->pInputZone0 = pZone0;
    pZone->pInputZone1 = pZone1;
    return pZone;
}

Zone2* Dt2::createZoneFromBorder(const std::vector<Triangle2*>& vTriangles) {
    if (vTriangles.empty()) return nullptr;
    return createBoundedZone(constrainBorder(*this, vTriangles), ZL_BOUNDED);
}

Zone2* Dt2::createZone(std::vector<Triangle2*>& vTriangles) {
    const char* where = "Dt2::createZone()";
    if (!is2D()) {
        reportWarning("Dt2::createZone", noTrianglesYet);
        return nullptr;
    }
    if (vTriangles.empty()) {
        reportWarning(where, "vTriangles is empty. Returning NULL");
        return nullptr;
    }
    TriangleSet sIn(poolTriangles);
    std::vector<Triangle2*> vDistinct;
    for (size_t k = 0; k < vTriangles.size(); ++k) {
        Triangle2* pT = vTriangles[k];
        // Dead triangles are cleared: a null corner.
        if (pT == nullptr || !poolTriangles.contains(pT) || pT->getCorner(0) == nullptr) {
            reportWarning(where, "Unable to handle the triangle vTriangles[" + std::to_string(k) +
                                     "]: null, dead or not of this triangulation. Returning NULL");
            return nullptr;
        }
        if (sIn.insert(pT)) vDistinct.push_back(pT);
    }
    // One start point per edge-connected part: a point strictly inside one of its triangles.
    std::vector<Point2> vStarts;
    std::vector<Triangle2*> vBorderT;   // one triangle per part that has a start point
    TriangleSet sSeen(poolTriangles);
    std::vector<Triangle2*> vPart;
    for (Triangle2* pFirst : vDistinct) {
        if (sSeen.contains(pFirst)) continue;
        collectEdgeConnectedPart(pFirst, sIn, sSeen, vPart);
        bool bFound = false;
        for (Triangle2* pT : vPart) {
            const Point2 c = pT->getBarycenter();
            if (orient(pT->getCorner(0), pT->getCorner(1), &c) == ORIENTATION2_CCW &&
                orient(pT->getCorner(1), pT->getCorner(2), &c) == ORIENTATION2_CCW &&
                orient(pT->getCorner(2), pT->getCorner(0), &c) == ORIENTATION2_CCW) {
                vStarts.push_back(c);
                bFound = true;
                break;
            }
        }
        if (!bFound) {
            reportWarning(where, "A connected component of the zone is almost degenerate: " + std::to_string(vPart.size()) +
                                     " triangle(s), none with a point of double coordinates strictly inside");
            reportWarning(where, "An almost degenerate part of the zone has no start point for zone growing!");
        }
    }
    if (vStarts.empty()) return nullptr;
    Zone2* pZone = new Zone2(this, ZL_GROW);
    pZone->vConstraintGraphs.push_back(constrainBorder(*this, vDistinct));
    pZone->vStartPoints = vStarts;
    vZones.push_back(pZone);
    return pZone;
}

// ---- the flood fill ---------------------------------------------------------------------------------

void Dt2::growFromSeeds(const std::vector<ConstraintGraph2*>& vGraphs, const std::vector<Triangle2*>& vSeeds,
                        TriangleSet& sReached, std::vector<Triangle2*>& vTrianglesOut) {
    const ConstraintMgr* pMgr = vGraphs.empty() ? nullptr : findConstraintMgr();
    size_t head = vTrianglesOut.size();
    for (Triangle2* pSeed : vSeeds)
        if (sReached.insert(pSeed)) vTrianglesOut.push_back(pSeed);
    // The output doubles as the queue of the breadth-first search.
    for (; head < vTrianglesOut.size(); ++head) {
        Triangle2* pT = vTrianglesOut[head];
        for (int i = 0; i < 3; ++i) {
            Triangle2* pN = pT->getOppositeTriangle(i);
            if (pN == nullptr || sReached.contains(pN)) continue;
            if (pMgr != nullptr && isZoneBarrier(pMgr, vGraphs, pT->getCorner(incIndexBy1(i)), pT->getCorner(incIndexBy2(i))))
                continue;
            sReached.insert(pN);
            vTrianglesOut.push_back(pN);
        }
    }
}

void Dt2::growZoneArea(const std::vector<ConstraintGraph2*>& vGraphs, const std::vector<Point2>& vStartPoints,
                       std::vector<Triangle2*>& vTrianglesOut) {
    std::vector<Triangle2*> vSeeds;
    for (const Point2& p : vStartPoints) {
        Triangle2* pStartT = locate(p);
        if (pStartT == nullptr) reportWarning("Dt2::growZoneArea()", "pStartT==NULL, no triangles");
        else vSeeds.push_back(pStartT);
    }
    TriangleSet sReached(poolTriangles);
    growFromSeeds(vGraphs, vSeeds, sReached, vTrianglesOut);
}

} // namespace ORBI_LUMO2D
