// Rings are found by one walk over numbered vertices, whichever form the edges come in
// (segments matched by coordinates, triangulation edges by vertex identity); the walk's only
// geometric question, which edge turns sharpest to the left, goes to GeomTest.
#include "PolygonHelpers.h"
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include "GeomTest.h"
#include "SegmentChecker.h"
#include "TriangleSet.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {

struct WalkEdge {
    size_t a, b;   // vertex numbers, a -> b the given direction
};
// One edge of a ring: its number and whether the ring runs against its direction.
struct RingStep {
    size_t edge;
    bool bReversed;
};

// Splits edges into closed rings that pass no vertex twice (see PolygonHelpers.h for the rule).
// Edges that can lie on no ring are pruned first (vertices left with no way on), so the walk
// meets few dead ends; those it meets (bridges, leftovers of branching vertices) are taken back
// and left over too.
class RingWalker {
public:
    // vPos: the position of each vertex; bDirected: edges may only be walked from a to b.
    // vUsable[e] false: edge e is left over from the start (zero length, given twice).
    RingWalker(const std::vector<const Point2*>& vPos_, const std::vector<WalkEdge>& vEdges_,
               std::vector<bool> vUsable, bool bDirected_)
        : vPos(vPos_), vEdges(vEdges_), bDirected(bDirected_), vState(vEdges_.size(), FREE) {
        double maxAbs = 0.0;
        for (const Point2* p : vPos) maxAbs = std::max(maxAbs, p->getMaxAbs());
        geomTest.setBound(maxAbs);
        for (size_t e = 0; e < vEdges.size(); ++e)
            if (!vUsable[e]) vState[e] = LEFT_OVER;
        buildIncidences();
        pruneDeadEnds();
    }

    // Appends the rings in the order found; vLeftOver[e] tells which edges close no ring.
    void walk(std::vector<std::vector<RingStep>>& vvRings, std::vector<bool>& vLeftOver) {
        std::vector<long> vPathPos(vPos.size(), -1);   // a vertex's place on the current path
        std::vector<size_t> vPath;                       // vertices
        std::vector<RingStep> vSteps;                    // vSteps[i] leads from vPath[i] to vPath[i+1]
        for (size_t e0 = 0; e0 < vEdges.size(); ++e0) {
            if (vState[e0] != FREE) continue;
            vState[e0] = USED;
            vPath.assign({vEdges[e0].a, vEdges[e0].b});
            vSteps.assign(1, RingStep{e0, false});
            vPathPos[vPath[0]] = 0;
            vPathPos[vPath[1]] = 1;
            while (!vSteps.empty()) {
                const size_t v = vPath.back(), u = vPath[vPath.size() - 2];
                RingStep next;
                size_t w;
                if (!chooseNext(v, u, next, w)) {
                    // Nothing leads on from v: the step into v closes no ring.
                    vState[vSteps.back().edge] = LEFT_OVER;
                    vSteps.pop_back();
                    vPathPos[v] = -1;
                    vPath.pop_back();
                    continue;
                }
                vState[next.edge] = USED;
                vSteps.push_back(next);
                if (vPathPos[w] < 0) {
                    vPathPos[w] = long(vPath.size());
                    vPath.push_back(w);
                    continue;
                }
                // Back at w: the loop from there is a ring; the walk goes on from w.
                const size_t k = size_t(vPathPos[w]);
                vvRings.emplace_back(vSteps.begin() + long(k), vSteps.end());
                for (size_t i = k + 1; i < vPath.size(); ++i) vPathPos[vPath[i]] = -1;
                vPath.resize(k + 1);
                vSteps.resize(k);
            }
            vPathPos[vPath[0]] = -1;
        }
        vLeftOver.assign(vEdges.size(), false);
        for (size_t e = 0; e < vEdges.size(); ++e) vLeftOver[e] = vState[e] == LEFT_OVER;
    }

private:
    enum State : uint8_t { FREE, USED, LEFT_OVER };
    struct Incidence {
        size_t edge;
        size_t other;     // the vertex at the other end
        bool bOutgoing;   // the edge may be walked away from this vertex
    };

    void buildIncidences() {
        vFirst.assign(vPos.size() + 1, 0);
        for (size_t e = 0; e < vEdges.size(); ++e)
            if (vState[e] == FREE) {
                ++vFirst[vEdges[e].a + 1];
                ++vFirst[vEdges[e].b + 1];
            }
        for (size_t v = 0; v < vPos.size(); ++v) vFirst[v + 1] += vFirst[v];
        vInc.resize(vFirst.back());
        std::vector<size_t> vNext(vFirst.begin(), vFirst.end() - 1);
        for (size_t e = 0; e < vEdges.size(); ++e) {
            if (vState[e] != FREE) continue;
            const WalkEdge& ed = vEdges[e];
            vInc[vNext[ed.a]++] = Incidence{e, ed.b, true};
            vInc[vNext[ed.b]++] = Incidence{e, ed.a, !bDirected};
        }
    }

    // A vertex with no free way in or no free way out lies on no ring: its edges are left
    // over, which may strand its neighbours in turn.
    void pruneDeadEnds() {
        std::vector<size_t> vIn(vPos.size(), 0), vOut(vPos.size(), 0);
        for (size_t e = 0; e < vEdges.size(); ++e) {
            if (vState[e] != FREE) continue;
            if (bDirected) {
                ++vOut[vEdges[e].a];
                ++vIn[vEdges[e].b];
            } else {
                // Undirected, a vertex needs two edges: count each as a way in and a way out.
                for (size_t v : {vEdges[e].a, vEdges[e].b}) ++vIn[v], ++vOut[v];
            }
        }
        auto isDeadEnd = [&](size_t v) {
            return bDirected ? (vIn[v] == 0) != (vOut[v] == 0) : vIn[v] == 1;
        };
        std::vector<size_t> vStack;
        for (size_t v = 0; v < vPos.size(); ++v)
            if (isDeadEnd(v)) vStack.push_back(v);
        while (!vStack.empty()) {
            const size_t v = vStack.back();
            vStack.pop_back();
            for (size_t i = vFirst[v]; i < vFirst[v + 1]; ++i) {
                const size_t e = vInc[i].edge;
                if (vState[e] != FREE) continue;
                vState[e] = LEFT_OVER;
                const WalkEdge& ed = vEdges[e];
                if (bDirected) {
                    --vOut[ed.a];
                    --vIn[ed.b];
                } else {
                    --vIn[ed.a], --vOut[ed.a], --vIn[ed.b], --vOut[ed.b];
                }
                const size_t other = vInc[i].other;
                if (isDeadEnd(other)) vStack.push_back(other);
            }
        }
    }

    // The free edge leaving v with the sharpest left turn after arriving from u; false if none.
    bool chooseNext(size_t v, size_t u, RingStep& step, size_t& w) {
        const Incidence* pBest = nullptr;
        for (size_t i = vFirst[v]; i < vFirst[v + 1]; ++i) {
            const Incidence& c = vInc[i];
            if (!c.bOutgoing || vState[c.edge] != FREE) continue;
            if (pBest == nullptr || turnsSharperLeft(v, u, c, *pBest)) pBest = &c;
        }
        if (pBest == nullptr) return false;
        step = RingStep{pBest->edge, vEdges[pBest->edge].a != v};
        w = pBest->other;
        return true;
    }

    // Where w lies when turning clockwise from the ray v->u: 0 in the half-turn to the right,
    // 1 straight on, 2 in the half-turn to the left, 3 back along the ray itself.
    int sector(size_t v, size_t u, size_t w) {
        const Point2 *pV = vPos[v], *pU = vPos[u], *pW = vPos[w];
        switch (geomTest.getOrientation2(pV, pU, pW)) {
        case ORIENTATION2_CW: return 0;
        case ORIENTATION2_CCW: return 2;
        default: break;
        }
        // On the line through v and u: the same side as u or the other (exact comparisons).
        const bool bOther = pU->x() != pV->x() ? (pW->x() > pV->x()) != (pU->x() > pV->x())
                                               : (pW->y() > pV->y()) != (pU->y() > pV->y());
        return bOther ? 1 : 3;
    }

    // Whether c turns sharper to the left than d: it comes first clockwise from the ray v->u.
    // Edges in the same direction keep the input order.
    bool turnsSharperLeft(size_t v, size_t u, const Incidence& c, const Incidence& d) {
        const int sc = sector(v, u, c.other), sd = sector(v, u, d.other);
        if (sc != sd) return sc < sd;
        if (sc == 0 || sc == 2) {
            const Orientation2 o = geomTest.getOrientation2(vPos[v], vPos[c.other], vPos[d.other]);
            if (o != ORIENTATION2_COLLINEAR) return o == ORIENTATION2_CW;
        }
        return c.edge < d.edge;
    }

    const std::vector<const Point2*>& vPos;
    const std::vector<WalkEdge>& vEdges;
    const bool bDirected;
    std::vector<State> vState;
    std::vector<size_t> vFirst;      // incidences of vertex v: vInc[vFirst[v] .. vFirst[v+1])
    std::vector<Incidence> vInc;
    GeomTest geomTest;
};

bool isFinite(const Point2& p) { return std::isfinite(p.x()) && std::isfinite(p.y()); }

// Index of the first segment with a NaN or infinite coordinate, or the size.
size_t firstNonFinite(const std::vector<Segment2>& vSegments) {
    for (size_t i = 0; i < vSegments.size(); ++i)
        if (!isFinite(vSegments[i].getSrc()) || !isFinite(vSegments[i].getTrg())) return i;
    return vSegments.size();
}
bool warnNonFinite(const std::vector<Segment2>& vSegments, const char* where, const char* consequence) {
    const size_t i = firstNonFinite(vSegments);
    if (i == vSegments.size()) return false;
    reportWarning(where, "segment " + std::to_string(i) + " has a NaN or infinite coordinate, " + consequence);
    return true;
}

// Edges given twice (the same vertex pair; in either direction unless bDirected) are usable once.
std::vector<bool> firstOfEachPair(const std::vector<WalkEdge>& vEdges, bool bDirected) {
    std::vector<std::pair<std::pair<size_t, size_t>, size_t>> vKeys;
    vKeys.reserve(vEdges.size());
    for (size_t e = 0; e < vEdges.size(); ++e) {
        const WalkEdge& ed = vEdges[e];
        const bool bSwap = !bDirected && ed.b < ed.a;
        vKeys.push_back({{bSwap ? ed.b : ed.a, bSwap ? ed.a : ed.b}, e});
    }
    std::sort(vKeys.begin(), vKeys.end());
    std::vector<bool> vUsable(vEdges.size(), true);
    for (size_t i = 0; i < vKeys.size(); ++i) {
        const WalkEdge& ed = vEdges[vKeys[i].second];
        if (ed.a == ed.b || (i > 0 && vKeys[i].first == vKeys[i - 1].first)) vUsable[vKeys[i].second] = false;
    }
    return vUsable;
}

// The rings of finite segments, as steps over the segments' indices.
void segmentRings(const std::vector<Segment2>& vSegments, std::vector<std::vector<RingStep>>& vvRings,
                  std::vector<bool>& vLeftOver) {
    // Endpoints with equal coordinates get one number.
    std::vector<Point2> vEnds;
    vEnds.reserve(2 * vSegments.size());
    for (const Segment2& s : vSegments) {
        vEnds.push_back(s.getSrc());
        vEnds.push_back(s.getTrg());
    }
    std::vector<size_t> vOrder(vEnds.size());
    for (size_t i = 0; i < vOrder.size(); ++i) vOrder[i] = i;
    std::sort(vOrder.begin(), vOrder.end(), [&](size_t i, size_t j) { return vEnds[i] < vEnds[j]; });
    std::vector<size_t> vNumber(vEnds.size());
    std::vector<const Point2*> vPos;
    for (size_t k = 0; k < vOrder.size(); ++k) {
        if (k == 0 || vEnds[vOrder[k - 1]] != vEnds[vOrder[k]]) vPos.push_back(&vEnds[vOrder[k]]);
        vNumber[vOrder[k]] = vPos.size() - 1;
    }
    std::vector<WalkEdge> vEdges(vSegments.size());
    for (size_t e = 0; e < vSegments.size(); ++e) vEdges[e] = WalkEdge{vNumber[2 * e], vNumber[2 * e + 1]};
    RingWalker walker(vPos, vEdges, firstOfEachPair(vEdges, false), false);
    walker.walk(vvRings, vLeftOver);
}

Segment2 stepSegment(const std::vector<Segment2>& vSegments, const RingStep& step) {
    const Segment2& s = vSegments[step.edge];
    return step.bReversed ? Segment2(s.getTrg(), s.getSrc()) : s;
}

// The one ring of vRing as a chain from vRing[0]; false (quietly) when it is not one ring.
bool chainOfOneRing(const std::vector<Segment2>& vRing, std::vector<Segment2>& vChain) {
    std::vector<std::vector<RingStep>> vvRings;
    std::vector<bool> vLeftOver;
    segmentRings(vRing, vvRings, vLeftOver);
    if (vvRings.size() != 1 || vvRings[0].size() != vRing.size()) return false;
    // The walk started with segment 0 as given and closed the ring at its source.
    vChain.clear();
    for (const RingStep& step : vvRings[0]) vChain.push_back(stepSegment(vRing, step));
    return true;
}

// Validates a set of triangles and lists each once; false after the warning on a bad one.
bool distinctTriangles(const std::vector<Triangle2*>& vTriangles, const char* where,
                       std::vector<Triangle2*>& vDistinct, std::unordered_map<const Triangle2*, size_t>& mIndex) {
    for (size_t i = 0; i < vTriangles.size(); ++i) {
        const Triangle2* pT = vTriangles[i];
        if (pT == nullptr || pT->getCorner(0) == nullptr || pT->getCorner(1) == nullptr || pT->getCorner(2) == nullptr) {
            reportWarning(where, "Unable to handle the triangle at position " + std::to_string(i) +
                                     " (null or dead), nothing appended");
            return false;
        }
    }
    mIndex.reserve(vTriangles.size());
    for (Triangle2* pT : vTriangles)
        if (mIndex.emplace(pT, vDistinct.size()).second) vDistinct.push_back(pT);
    return true;
}

} // namespace

// ---- rings from edges ----------------------------------------------------------------------------

void edgesToPolygons(const std::vector<Segment2>& vEdges, std::vector<std::vector<Segment2>>& vvPolygonsOut,
                     std::vector<Segment2>& vRemainingEdgesOut) {
    if (warnNonFinite(vEdges, "edgesToPolygons()", "nothing appended")) return;
    std::vector<std::vector<RingStep>> vvRings;
    std::vector<bool> vLeftOver;
    segmentRings(vEdges, vvRings, vLeftOver);
    for (const std::vector<RingStep>& vRing : vvRings) {
        vvPolygonsOut.emplace_back();
        for (const RingStep& step : vRing) vvPolygonsOut.back().push_back(stepSegment(vEdges, step));
    }
    for (size_t e = 0; e < vEdges.size(); ++e)
        if (vLeftOver[e]) vRemainingEdgesOut.push_back(vEdges[e]);
}

void edgesToPolygons(const std::vector<Edge2>& vEdges, std::vector<std::vector<Edge2>>& vvPolygonsOut,
                     std::vector<Edge2>& vRemainingEdgesOut) {
    for (size_t i = 0; i < vEdges.size(); ++i) {
        const Triangle2* pT = vEdges[i].getTriangle();
        if (pT == nullptr || pT->getCorner(0) == nullptr || pT->getCorner(1) == nullptr || pT->getCorner(2) == nullptr) {
            reportWarning("edgesToPolygons()", "edge " + std::to_string(i) + " has no triangle, nothing appended");
            return;
        }
    }
    std::unordered_map<const Point2*, size_t> mNumber;
    std::vector<const Point2*> vPos;
    std::vector<WalkEdge> vWalk(vEdges.size());
    auto number = [&](const Point2* p) {
        auto it = mNumber.emplace(p, vPos.size());
        if (it.second) vPos.push_back(p);
        return it.first->second;
    };
    for (size_t e = 0; e < vEdges.size(); ++e) vWalk[e] = WalkEdge{number(vEdges[e].getSrc()), number(vEdges[e].getTrg())};
    std::vector<std::vector<RingStep>> vvRings;
    std::vector<bool> vLeftOver;
    RingWalker walker(vPos, vWalk, firstOfEachPair(vWalk, true), true);
    walker.walk(vvRings, vLeftOver);
    for (const std::vector<RingStep>& vRing : vvRings) {
        vvPolygonsOut.emplace_back();
        for (const RingStep& step : vRing) vvPolygonsOut.back().push_back(vEdges[step.edge]);
    }
    for (size_t e = 0; e < vEdges.size(); ++e)
        if (vLeftOver[e]) vRemainingEdgesOut.push_back(vEdges[e]);
}

// ---- one ring ----------------------------------------------------------------------------------------

namespace {
// chainOfOneRing for the public entry point `where`, with its warnings.
bool chainOrWarn(const std::vector<Segment2>& vRing, const char* where, std::vector<Segment2>& vChain) {
    if (warnNonFinite(vRing, where, "nothing appended")) return false;
    if (chainOfOneRing(vRing, vChain)) return true;
    reportWarning(where, "the " + std::to_string(vRing.size()) + " segment(s) are not one closed ring, nothing appended");
    return false;
}
} // namespace

bool sortRing(const std::vector<Segment2>& vRing, std::vector<Segment2>& vChainOut) {
    std::vector<Segment2> vChain;
    if (!chainOrWarn(vRing, "sortRing()", vChain)) return false;
    vChainOut.insert(vChainOut.end(), vChain.begin(), vChain.end());
    return true;
}

bool sortRingCCW(const std::vector<Segment2>& vRing, std::vector<Segment2>& vChainOut) {
    std::vector<Segment2> vChain;
    if (!chainOrWarn(vRing, "sortRingCCW()", vChain)) return false;
    std::vector<Point2> vVertices;
    for (const Segment2& s : vChain) vVertices.push_back(s.getSrc());
    GeomTest geomTest;
    const int sign = geomTest.getRingAreaSign(vVertices.data(), vVertices.size());
    if (sign == 0) {
        reportWarning("sortRingCCW()", "the ring has no area, its orientation is undefined; nothing appended");
        return false;
    }
    if (sign < 0) {
        // The same ring backwards, still starting with vRing[0] (now reversed).
        std::reverse(vChain.begin() + 1, vChain.end());
        for (Segment2& s : vChain) s.swapSrcTrg();
    }
    vChainOut.insert(vChainOut.end(), vChain.begin(), vChain.end());
    return true;
}

bool isSimplePolygon(const std::vector<Segment2>& vRing) {
    if (warnNonFinite(vRing, "isSimplePolygon()", "not simple")) return false;
    std::vector<Segment2> vChain;
    if (vRing.size() < 3 || !chainOfOneRing(vRing, vChain)) return false;
    // One ring with every vertex on exactly two segments: only consecutive segments share an
    // endpoint, so any crossing, touching or overlap makes some segment illegal.
    std::vector<Segment2*> vPointers;
    for (Segment2& s : vChain) vPointers.push_back(&s);
    SegmentChecker checker(vPointers);
    std::vector<Segment2*> vIllegal;
    checker.getIllegalSegments(false, vIllegal);
    return vIllegal.empty();
}

// ---- polylines -------------------------------------------------------------------------------------

void pointsToPolyline(const std::vector<Point2>& vPoints, bool bClose, std::vector<Segment2>& vSegmentsOut) {
    for (size_t i = 0; i < vPoints.size(); ++i)
        if (!isFinite(vPoints[i])) {
            reportWarning("pointsToPolyline()",
                          "point " + std::to_string(i) + " has a NaN or infinite coordinate, nothing appended");
            return;
        }
    std::vector<const Point2*> vKept;
    for (const Point2& p : vPoints)
        if (vKept.empty() || *vKept.back() != p) vKept.push_back(&p);
    if (bClose) {
        if (vKept.size() > 1 && *vKept.back() == *vKept.front()) vKept.pop_back();
        if (vKept.size() < 3) {
            reportWarning("pointsToPolyline()", "a closed polyline needs three distinct consecutive points, " +
                                                    std::to_string(vKept.size()) + " given; nothing appended");
            return;
        }
    }
    for (size_t i = 0; i + 1 < vKept.size(); ++i) vSegmentsOut.emplace_back(*vKept[i], *vKept[i + 1]);
    if (bClose) vSegmentsOut.emplace_back(*vKept.back(), *vKept.front());
}

// ---- edges of a set of triangles -------------------------------------------------------------------

void getBorders(const std::vector<Triangle2*>& vTriangles, std::vector<Edge2>& vBorderEdgesOut) {
    std::vector<Triangle2*> vDistinct;
    std::unordered_map<const Triangle2*, size_t> mIndex;
    if (!distinctTriangles(vTriangles, "getBorders()", vDistinct, mIndex)) return;
    appendBorderEdges(vDistinct, [&mIndex](const Triangle2* pT) { return mIndex.count(pT) != 0; }, vBorderEdgesOut);
}

void getBorders(const std::vector<Triangle2*>& vTriangles, std::vector<std::vector<Edge2>>& vvRingsOut) {
    std::vector<Triangle2*> vDistinct;
    std::unordered_map<const Triangle2*, size_t> mIndex;
    if (!distinctTriangles(vTriangles, "getBorders()", vDistinct, mIndex)) return;
    std::vector<Edge2> vBorder, vRemaining;
    appendBorderEdges(vDistinct, [&mIndex](const Triangle2* pT) { return mIndex.count(pT) != 0; }, vBorder);
    // Every border vertex has as many border edges in as out, so no edge is left over.
    edgesToPolygons(vBorder, vvRingsOut, vRemaining);
    LUMO_ASSERT(vRemaining.empty());
}

void getDirectedEdges(const std::vector<Triangle2*>& vTriangles, std::vector<Edge2>& vEdgesOut) {
    std::vector<Triangle2*> vDistinct;
    std::unordered_map<const Triangle2*, size_t> mIndex;
    if (!distinctTriangles(vTriangles, "getDirectedEdges()", vDistinct, mIndex)) return;
    for (Triangle2* pT : vDistinct)
        for (int i = 0; i < 3; ++i) vEdgesOut.emplace_back(pT, i);
}

void getUndirectedEdges(const std::vector<Triangle2*>& vTriangles, std::vector<Edge2>& vEdgesOut) {
    std::vector<Triangle2*> vDistinct;
    std::unordered_map<const Triangle2*, size_t> mIndex;
    if (!distinctTriangles(vTriangles, "getUndirectedEdges()", vDistinct, mIndex)) return;
    for (size_t k = 0; k < vDistinct.size(); ++k)
        for (int i = 0; i < 3; ++i) {
            auto it = mIndex.find(vDistinct[k]->getOppositeTriangle(i));
            if (it == mIndex.end() || it->second > k) vEdgesOut.emplace_back(vDistinct[k], i);
        }
}

} // namespace ORBI_LUMO2D
