// Zone2: the triangles of a zone, found anew on every query, what is derived from them, the
// set operations and the zones derived from a zone's triangles.
#include "Zone2.h"
#include <iostream>
#include <map>
#include <unordered_set>
#include "ConstraintGraph2.h"
#include "Dt2.h"
#include "TriangleSet.h"
#include "tools.h"

namespace ORBI_LUMO2D {

UserPredicateT::~UserPredicateT() {}

Zone2::Zone2(Dt2* pOwner_, ZoneLocation zoneLoc_) : pOwner(pOwner_), zoneLoc(zoneLoc_) {}
Zone2::~Zone2() {}

void Zone2::getConstraintGraphs(std::vector<ConstraintGraph2*>& vGraphsOut) const {
    vGraphsOut.insert(vGraphsOut.end(), vConstraintGraphs.begin(), vConstraintGraphs.end());
}

ConstraintGraph2* Zone2::getConstraintGraph() const {
    return vConstraintGraphs.empty() ? nullptr : vConstraintGraphs[0];
}

// ---- the triangles ------------------------------------------------------------------------------------

void Zone2::getTriangles(std::vector<Triangle2*>& vTrianglesOut) const {
    if (!pOwner->is2D()) return;
    if (zoneLoc >= ZL_RESULT_UNION && zoneLoc <= ZL_RESULT_SYM_DIFFERENCE) getTriangles_RESULT(vTrianglesOut);
    else getBasicTriangles(vTrianglesOut);
}

void Zone2::getBasicTriangles(std::vector<Triangle2*>& vTrianglesOut) const {
    std::vector<Triangle2*> vSeeds;
    switch (zoneLoc) {
    case ZL_GLOBAL:
        // The triangles of a triangulation are connected across edges: the growth from any one
        // of them is all of them.
        pOwner->getTrianglePointers(vTrianglesOut);
        return;
    case ZL_INSIDE:
    case ZL_BOUNDED:
    case ZL_OUTSIDE: {
        initWorkspace(zoneLoc != ZL_OUTSIDE, vSeeds);
        TriangleSet sReached(pOwner->getTrianglePool());
        pOwner->growFromSeeds(vConstraintGraphs, vSeeds, sReached, vTrianglesOut);
        return;
    }
    case ZL_GROW:
        pOwner->growZoneArea(vConstraintGraphs, vStartPoints, vTrianglesOut);
        return;
    default:
        reportWarning("Zone2::getTriangles()", "unknown zoneLoc value");
    }
}

void Zone2::initWorkspace(bool bInside, std::vector<Triangle2*>& vSeedsOut) const {
    if (zoneLoc != ZL_INSIDE && zoneLoc != ZL_OUTSIDE && zoneLoc != ZL_BOUNDED) {
        reportWarning("Zone2::initWorkspace", "Wrong zoneLocation");
        return;
    }
    std::vector<std::pair<Point2*, Point2*>> vDirected;
    std::vector<ConstraintSegment2*> vChain;
    for (ConstraintGraph2* pGraph : vConstraintGraphs) {
        vChain.clear();
        pGraph->getAliveConstraintChain(vChain);
        for (ConstraintSegment2* pCSeg : vChain) {
            if (pGraph->isReverse(pCSeg)) vDirected.emplace_back(pCSeg->getTrg(), pCSeg->getSrc());
            else vDirected.emplace_back(pCSeg->getSrc(), pCSeg->getTrg());
        }
    }
    // An edge given in both directions bounds nothing on the inside.
    std::map<std::pair<Point2*, Point2*>, int> mCount;
    if (bInside)
        for (const auto& ab : vDirected) ++mCount[std::minmax(ab.first, ab.second)];
    for (const auto& ab : vDirected) {
        if (bInside && mCount[std::minmax(ab.first, ab.second)] > 1) continue;
        LUMO_ASSERT(ab.first->getIncidentTriangle()!=0);
        // Left of a->b is the triangle with a->b counterclockwise; right of it the one with b->a.
        Triangle2* pT = bInside ? pOwner->getAdjacentTriangle(ab.first, ab.second)
                                : pOwner->getAdjacentTriangle(ab.second, ab.first);
        if (pT != nullptr) vSeedsOut.push_back(pT);
    }
}

namespace {
void combine(const SimplePool<Triangle2>& pool, ZoneLocation zoneLoc, const std::vector<Triangle2*>& vA,
             const std::vector<Triangle2*>& vB, std::vector<Triangle2*>& vOut) {
    TriangleSet sA(pool), sB(pool);
    if (zoneLoc == ZL_RESULT_UNION || zoneLoc == ZL_RESULT_SYM_DIFFERENCE)
        for (Triangle2* pT : vA) sA.insert(pT);
    if (zoneLoc != ZL_RESULT_UNION)
        for (Triangle2* pT : vB) sB.insert(pT);
    switch (zoneLoc) {
    case ZL_RESULT_UNION:
        vOut = vA;
        for (Triangle2* pT : vB)
            if (!sA.contains(pT)) vOut.push_back(pT);
        break;
    case ZL_RESULT_INTERSECTION:
        for (Triangle2* pT : vA)
            if (sB.contains(pT)) vOut.push_back(pT);
        break;
    case ZL_RESULT_DIFFERENCE:
        for (Triangle2* pT : vA)
            if (!sB.contains(pT)) vOut.push_back(pT);
        break;
    default:   // symmetric difference
        for (Triangle2* pT : vA)
            if (!sB.contains(pT)) vOut.push_back(pT);
        for (Triangle2* pT : vB)
            if (!sA.contains(pT)) vOut.push_back(pT);
    }
}
} // namespace

void Zone2::getTriangles_RESULT(std::vector<Triangle2*>& vTrianglesOut) const {
    // Results of results can nest deeply (a union grown one zone at a time): they are evaluated
    // bottom up with an explicit stack, each operand once even when it is used twice.
    std::map<const Zone2*, std::vector<Triangle2*>> mDone;
    std::vector<std::pair<const Zone2*, bool>> vStack{{this, false}};
    while (!vStack.empty()) {
        const Zone2* pZone = vStack.back().first;
        const bool bOperandsDone = vStack.back().second;
        vStack.pop_back();
        if (mDone.count(pZone) != 0) continue;
        const bool bResult = pZone->zoneLoc >= ZL_RESULT_UNION && pZone->zoneLoc <= ZL_RESULT_SYM_DIFFERENCE;
        if (!bResult) {
            pZone->getBasicTriangles(mDone[pZone]);
        } else if (!bOperandsDone) {
            vStack.emplace_back(pZone, true);
            vStack.emplace_back(pZone->pInputZone1, false);
            vStack.emplace_back(pZone->pInputZone0, false);
        } else {
            combine(pOwner->getTrianglePool(), pZone->zoneLoc, mDone[pZone->pInputZone0], mDone[pZone->pInputZone1], mDone[pZone]);
        }
    }
    const std::vector<Triangle2*>& vMine = mDone[this];
    vTrianglesOut.insert(vTrianglesOut.end(), vMine.begin(), vMine.end());
}

// ---- derived from the triangles ---------------------------------------------------------------------

size_t Zone2::getNumberOfTriangles() const {
    std::vector<Triangle2*> vT;
    getTriangles(vT);
    return vT.size();
}

double Zone2::getArea2D() const {
    std::vector<Triangle2*> vT;
    getTriangles(vT);
    // Half the cross product of two edges (more accurate than Heron for thin triangles),
    // summed in extended precision.
    long double sum = 0;
    for (const Triangle2* pT : vT) {
        const Point2 &a = *pT->getCorner(0), &b = *pT->getCorner(1), &c = *pT->getCorner(2);
        sum += 0.5L * ((static_cast<long double>(b.x()) - a.x()) * (static_cast<long double>(c.y()) - a.y()) -
                       (static_cast<long double>(b.y()) - a.y()) * (static_cast<long double>(c.x()) - a.x()));
    }
    return double(sum);
}

void Zone2::getVertices(std::vector<Point2*>& vVerticesOut) const {
    std::vector<Triangle2*> vT;
    getTriangles(vT);
    std::unordered_set<Point2*> sSeen;
    for (Triangle2* pT : vT)
        for (int i = 0; i < 3; ++i)
            if (sSeen.insert(pT->getCorner(i)).second) vVerticesOut.push_back(pT->getCorner(i));
}

void Zone2::getBorderEdges(std::vector<Edge2>& vBorderEdgesOut) const {
    std::vector<Triangle2*> vT;
    getTriangles(vT);
    appendBorderEdges(pOwner->getTrianglePool(), vT, vBorderEdgesOut);
}

void Zone2::getBoundaryEdges(std::vector<Edge2>& vBoundaryEdgesOut) const { getBorderEdges(vBoundaryEdgesOut); }

void Zone2::getBoundarySegments(std::vector<Segment2>& vSegmentsOut) const {
    std::vector<Edge2> vEdges;
    getBorderEdges(vEdges);
    for (const Edge2& e : vEdges) vSegmentsOut.emplace_back(*e.getSrc(), *e.getTrg());
}

Bbox2 Zone2::getBoundingBox() const {
    std::vector<Point2*> vVertices;
    getVertices(vVertices);
    return Bbox2(vVertices.begin(), vVertices.end());
}

void Zone2::statistics(const std::string& name) const {
    std::vector<Triangle2*> vT;
    getTriangles(vT);
    std::vector<Point2*> vVertices;
    getVertices(vVertices);
    std::vector<Edge2> vBorder;
    getBorderEdges(vBorder);
    std::cout << "\n\n\n********* ZONE STATISTICS (" << name << ") **********\n\n"
              << "Number of triangles: " << vT.size() << "\nNumber of vertices: " << vVertices.size()
              << "\nNumber of border edges: " << vBorder.size() << "\nArea: " << getArea2D() << std::endl;
}

void Zone2::debug() const {
    std::cout << "Zone2::debug(): zoneLoc=" << int(zoneLoc) << ", constraint graphs: " << vConstraintGraphs.size()
              << ", start points: " << vStartPoints.size() << ", triangles: " << getNumberOfTriangles() << std::endl;
    for (const Point2& p : vStartPoints) std::cout << "  start point " << p.x() << " " << p.y() << std::endl;
}

// ---- zones derived from this one ----------------------------------------------------------------------

Zone2* Zone2::convertToBoundedZone() {
    std::vector<Triangle2*> vT;
    getTriangles(vT);
    if (vT.empty()) {
        reportWarning("Zone2::convertToBoundedZone()", "The zone has no triangles. Returning NULL");
        return nullptr;
    }
    return pOwner->createZoneFromBorder(vT);
}

void Zone2::getComponentZones(std::vector<Zone2*>& vComponentZonesOut) {
    std::vector<Triangle2*> vT;
    getTriangles(vT);
    TriangleSet sIn(pOwner->getTrianglePool()), sSeen(pOwner->getTrianglePool());
    for (Triangle2* pT : vT) sIn.insert(pT);
    std::vector<Triangle2*> vPart;
    for (Triangle2* pFirst : vT) {
        if (sSeen.contains(pFirst)) continue;
        collectEdgeConnectedPart(pFirst, sIn, sSeen, vPart);
        vComponentZonesOut.push_back(pOwner->createZoneFromBorder(vPart));
    }
}

// ---- set operations and peeling ------------------------------------------------------------------

namespace {
Zone2* setOperation(Zone2* pZone0, Zone2* pZone1, ZoneLocation zoneLoc, const char* where) {
    if (pZone0 == nullptr || pZone1 == nullptr) {
        reportWarning(where, "A zone is NULL! Returning NULL");
        return nullptr;
    }
    if (pZone0->getDt2() != pZone1->getDt2()) {
        reportWarning(where, "The zones must belong to the same triangulation! Returning NULL");
        return nullptr;
    }
    return pZone0->getDt2()->createResultZone(zoneLoc, pZone0, pZone1);
}
} // namespace

// The three others report under the union's name, as they always have.
Zone2* zoneUnion(Zone2* pZone0, Zone2* pZone1) { return setOperation(pZone0, pZone1, ZL_RESULT_UNION, "Zone2::zoneUnion(...)"); }
Zone2* zoneIntersection(Zone2* pZone0, Zone2* pZone1) {
    return setOperation(pZone0, pZone1, ZL_RESULT_INTERSECTION, "zoneUnion(...)");
}
Zone2* zoneDifference(Zone2* pZone0, Zone2* pZone1) {
    return setOperation(pZone0, pZone1, ZL_RESULT_DIFFERENCE, "zoneUnion(...)");
}
Zone2* zoneSymmetricDifference(Zone2* pZone0, Zone2* pZone1) {
    return setOperation(pZone0, pZone1, ZL_RESULT_SYM_DIFFERENCE, "zoneUnion(...)");
}

Zone2* peelOffIf(Zone2* pZone, UserPredicateT* pPredicate, bool bVerbose) {
    if (pZone == nullptr || pPredicate == nullptr) {
        reportWarning("peelOffIf()", std::string(pZone == nullptr ? "pZone" : "pPredicate") + " is NULL. Returning NULL");
        return nullptr;
    }
    std::vector<Triangle2*> vT;
    pZone->getTriangles(vT);
    const SimplePool<Triangle2>& pool = pZone->getDt2()->getTrianglePool();
    TriangleSet sIn(pool), sAsked(pool), sPeeled(pool);
    for (Triangle2* pT : vT) sIn.insert(pT);
    // The queue starts with the border triangles; a peeled triangle exposes its neighbours.
    std::vector<Edge2> vBorder;
    appendBorderEdges(pool, vT, vBorder);
    std::vector<Triangle2*> vQueue;
    for (const Edge2& e : vBorder)
        if (sAsked.insert(e.getTriangle())) vQueue.push_back(e.getTriangle());
    for (size_t head = 0; head < vQueue.size(); ++head) {
        Triangle2* pT = vQueue[head];
        if (!(*pPredicate)(pT)) continue;
        sPeeled.insert(pT);
        for (int i = 0; i < 3; ++i) {
            Triangle2* pN = pT->getOppositeTriangle(i);
            if (pN != nullptr && sIn.contains(pN) && sAsked.insert(pN)) vQueue.push_back(pN);
        }
    }
    std::vector<Triangle2*> vRest;
    for (Triangle2* pT : vT)
        if (!sPeeled.contains(pT)) vRest.push_back(pT);
    if (bVerbose)
        std::cout << "peelOffIf: " << sPeeled.size() << " triangle(s) peeled off, " << vRest.size() << " left" << std::endl;
    if (vRest.empty()) return nullptr;
    return pZone->getDt2()->createZoneFromBorder(vRest);
}

} // namespace ORBI_LUMO2D
