#include "SegmentChecker.h"
#include <algorithm>
#include <cmath>
#include <iostream>
#include <map>
#include <sstream>
#include "GeomTest.h"
#include "MsgPublisher.h"
#include "LicenseCheck.h"
#include "SegmentCheckerInspector.h"
#include "spatial_index/RTree.h"
#include "Visualizer2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

struct SegmentCheckerData {
    // Each R-tree entry carries the address of the segment's slot in vSegments, so that a
    // candidate's index is a pointer difference rather than a map lookup.
    ORBI_LOCATE2::RTree rTree;
    std::vector<Segment2*> vSegments;
    std::map<Segment2*, int> mSegmentIndex;
    // Index under which a segment counts in the illegal set: the map's index of its pointer,
    // so that a pointer given twice is reported once.
    std::vector<uint32_t> vCanonicalIndex;
    MsgPublisher* pPublisher{nullptr};
    GeomTest geomTest;
    SegmentCheckerWork lastIllegalSearch;
    std::vector<void*> vQueryBuffer;  // R-tree answers, reused by every search

    ~SegmentCheckerData() { delete pPublisher; }
};

std::string getIntersectionTypeString(SegmentIntersectionType sit) {
    switch (sit) {
    case SIT_UNINITIALIZED: return "SIT_UNINITIALIZED";
    case SIT_NONE: return "SIT_NONE";
    case SIT_SEGMENT: return "SIT_SEGMENT";
    case SIT_POINT: return "SIT_POINT";
    case SIT_ENDPOINT: return "SIT_ENDPOINT";
    }
    return "UNKNOWN SIT";
}

namespace {
// p lies in the closed axis-aligned box of a and b; for p collinear with a and b this is
// exactly "p lies on the closed segment ab".
inline bool isInBox(const Point2& p, const Point2& a, const Point2& b) {
    return std::min(a.x(), b.x()) <= p.x() && p.x() <= std::max(a.x(), b.x()) &&
           std::min(a.y(), b.y()) <= p.y() && p.y() <= std::max(a.y(), b.y());
}

inline bool isOnSegment(GeomTest& geomTest, const Point2& p, const Point2& a, const Point2& b) {
    return isInBox(p, a, b) && geomTest.getOrientation2(&a, &b, &p) == ORIENTATION2_COLLINEAR;
}

// The orientation filter is only valid within the coordinate bound: grow it for points
// from outside the checker's own set.
inline void coverPoints(GeomTest& geomTest, const Point2& p1, const Point2& p2, const Point2& p3,
                        const Point2& p4) {
    const double m = std::max(std::max(p1.getMaxAbs(), p2.getMaxAbs()), std::max(p3.getMaxAbs(), p4.getMaxAbs()));
    if (m > geomTest.getCoordinateBound()) geomTest.setBound(m);
}

// Why a segment can't take part in a classification, or null when it can.
const char* whyUnusable(const Segment2* pSeg) {
    if (pSeg == nullptr) return "null segment";
    const Point2 a(pSeg->getSrc()), b(pSeg->getTrg());
    if (std::isfinite(a.x()) && std::isfinite(a.y()) && std::isfinite(b.x()) && std::isfinite(b.y())) return nullptr;
    return "segment with a NaN or infinite coordinate";
}

// Reports (once, for the first offender) a pair that can't be classified.
bool isUsablePair(const char* where, const Segment2* pA, const Segment2* pB, const char* consequence) {
    const char* why = whyUnusable(pA);
    if (why == nullptr) why = whyUnusable(pB);
    if (why == nullptr) return true;
    reportWarning(where, std::string(why) + ", " + consequence);
    return false;
}
} // namespace

// ---- construction ---------------------------------------------------------------------------

SegmentChecker::SegmentChecker(const std::vector<Segment2*>& vSegments) : pSCD(new SegmentCheckerData) {
    try {
        enforceLicense(LIMIT_CHECKED_SEGMENTS, vSegments.size(), "SegmentChecker::SegmentChecker()");
        addSegments(vSegments);
    } catch (...) {
        delete pSCD;  // the destructor does not run for a throwing constructor
        throw;
    }
}

SegmentChecker::~SegmentChecker() { delete pSCD; }

// Called once, by the constructor: the slots of vSegments must not move once their
// addresses are in the R-tree.
void SegmentChecker::addSegments(const std::vector<Segment2*>& vNewSegments) {
    const size_t offset = pSCD->vSegments.size();
    pSCD->vSegments.insert(pSCD->vSegments.end(), vNewSegments.begin(), vNewSegments.end());
    double maxAbs = pSCD->geomTest.getCoordinateBound();
    size_t numDegenerate = 0, firstDegenerate = 0, numUnusable = 0, firstUnusable = 0;
    for (size_t i = 0; i < vNewSegments.size(); ++i) {
        Segment2* pSeg = vNewSegments[i];
        pSCD->mSegmentIndex[pSeg] = int(offset + i);
        // A null or non-finite segment keeps its index but stays out of the tree: no search
        // ever meets it, and the other segments are checked as if it were absent.
        if (whyUnusable(pSeg) != nullptr) {
            if (numUnusable++ == 0) firstUnusable = offset + i;
            continue;
        }
        const Point2 a(pSeg->getSrc()), b(pSeg->getTrg());
        pSCD->rTree.addObject(&pSCD->vSegments[offset + i], std::min(a.x(), b.x()), std::min(a.y(), b.y()),
                              std::max(a.x(), b.x()), std::max(a.y(), b.y()));
        maxAbs = std::max(maxAbs, std::max(a.getMaxAbs(), b.getMaxAbs()));
        if (a == b && numDegenerate++ == 0) firstDegenerate = offset + i;
    }
    pSCD->geomTest.setBound(maxAbs);
    pSCD->vCanonicalIndex.resize(pSCD->vSegments.size());
    for (size_t i = 0; i < pSCD->vSegments.size(); ++i)
        pSCD->vCanonicalIndex[i] = uint32_t(pSCD->mSegmentIndex[pSCD->vSegments[i]]);
    if (numUnusable > 0) {
        std::ostringstream text;
        text << numUnusable << " segment(s) null or with a NaN or infinite coordinate, the first one at index "
             << firstUnusable << "; they are left out of every check";
        reportWarning("SegmentChecker::SegmentChecker()", text.str());
    }
    if (numDegenerate > 0) {
        std::ostringstream text;
        text << numDegenerate << " degenerate segment(s) with equal endpoints, the first one at index "
             << firstDegenerate << "; one that meets another segment's line away from a shared endpoint fails "
             << "the assertion p1!=p2";
        reportWarning("SegmentChecker::SegmentChecker()", text.str());
    }
}

size_t SegmentChecker::getNumberOfSegments() const { return pSCD->vSegments.size(); }

Segment2* SegmentChecker::getSegment(size_t i) const {
    LUMO_ASSERT(i<pSCD->vSegments.size());
    return pSCD->vSegments[i];
}

int SegmentChecker::getIndex(Segment2* pSegment) const {
    auto it = pSCD->mSegmentIndex.find(pSegment);
    if (it == pSCD->mSegmentIndex.end()) {
        reportWarning("SegmentChecker::getIndex()", "No such segment");
        return -1;
    }
    return it->second;
}

// ---- classification --------------------------------------------------------------------------

SegmentIntersectionType SegmentChecker::getIntersectionType(const Segment2* pA, const Segment2* pB) const {
    if (!isUsablePair("SegmentChecker::getIntersectionType()", pA, pB, "no classification (SIT_UNINITIALIZED)"))
        return SIT_UNINITIALIZED;
    GeomTest& geomTest = pSCD->geomTest;
    const Point2 p1(pA->getSrc()), p2(pA->getTrg()), p3(pB->getSrc()), p4(pB->getTrg());
    coverPoints(geomTest, p1, p2, p3, p4);

    // A shared endpoint: a touch, unless both leave it in the same direction. A zero-length
    // segment is no exception: its free end is the shared point itself, which lies on the
    // other segment, so it overlaps (SIT_SEGMENT).
    if (p1 == p3 || p1 == p4 || p2 == p3 || p2 == p4) {
        const bool bSharedSrc = p1 == p3 || p1 == p4;
        const Point2& shared = bSharedSrc ? p1 : p2;
        const Point2& freeA = bSharedSrc ? p2 : p1;
        const Point2& freeB = shared == p3 ? p4 : p3;
        if (geomTest.getOrientation2(&shared, &freeA, &freeB) != ORIENTATION2_COLLINEAR) return SIT_ENDPOINT;
        if (isInBox(freeA, p3, p4) || isInBox(freeB, p1, p2)) return SIT_SEGMENT;
        return SIT_ENDPOINT;
    }
    LUMO_ASSERT(p1!=p3 && p1!=p4 && p2!=p3 && p2!=p4);

    const Orientation2 ori123 = geomTest.getOrientation2(&p1, &p2, &p3);
    const Orientation2 ori124 = geomTest.getOrientation2(&p1, &p2, &p4);
    if (ori123 == ORIENTATION2_COLLINEAR && ori124 == ORIENTATION2_COLLINEAR)
        return getIntersectionType_degeneratePart(p1, p2, p3, p4);
    if (ori123 == ori124) return SIT_NONE;  // b strictly on one side of a's line

    // b reaches a's line (crossing it or ending on it) in a single point, which lies on the
    // segment a exactly when a's endpoints are separated by b's line. An endpoint of a on
    // b's line with b ending on a's line would make the lines equal or share an endpoint.
    const Orientation2 ori341 = geomTest.getOrientation2(&p3, &p4, &p1);
    const Orientation2 ori342 = geomTest.getOrientation2(&p3, &p4, &p2);
    if (ori123 == ORIENTATION2_COLLINEAR || ori124 == ORIENTATION2_COLLINEAR) {
        LUMO_ASSERT(ori341!=ORIENTATION2_COLLINEAR);
        LUMO_ASSERT(ori342!=ORIENTATION2_COLLINEAR);
    }
    return ori341 != ori342 ? SIT_POINT : SIT_NONE;
}

SegmentIntersectionType SegmentChecker::getIntersectionType_degeneratePart(const Point2& p1, const Point2& p2,
                                                                           const Point2& p3, const Point2& p4) const {
    LUMO_ASSERT(p1!=p2);
    LUMO_ASSERT(p3!=p4);
    // All four points lie on one line. Projected on an axis that the line is not
    // perpendicular to, distinct points stay distinct, so the comparison is exact.
    const bool bUseX = p1.x() != p2.x();
    const double a0 = bUseX ? p1.x() : p1.y(), a1 = bUseX ? p2.x() : p2.y();
    const double b0 = bUseX ? p3.x() : p3.y(), b1 = bUseX ? p4.x() : p4.y();
    const double lo = std::max(std::min(a0, a1), std::min(b0, b1));
    const double hi = std::min(std::max(a0, a1), std::max(b0, b1));
    // Equal ends would be a shared endpoint, which the caller has ruled out.
    return lo < hi ? SIT_SEGMENT : SIT_NONE;
}

// ---- intersection geometry ------------------------------------------------------------------------

bool SegmentChecker::getIntersectionPoint(SegmentIntersectionType sit, const Segment2& a, const Segment2& b,
                                          Point2& ip) const {
    if (!isUsablePair("SegmentChecker::getIntersectionPoint()", &a, &b, "no intersection point")) return false;
    const SegmentIntersectionType actual = getIntersectionType(&a, &b);
    if (sit != actual || (sit != SIT_POINT && sit != SIT_ENDPOINT)) {
        if (sit == SIT_ENDPOINT)
            reportWarning("SegmentChecker::getIntersectionPoint()",
                          "SIT_ENDPOINT is a wrong SegmentIntersectionType for the preset segments");
        else
            reportWarning("SegmentChecker::getIntersectionPoint()", "wrong SegmentIntersectionType provided");
        return false;
    }
    const Point2 p1(a.getSrc()), p2(a.getTrg()), p3(b.getSrc()), p4(b.getTrg());
    if (sit == SIT_ENDPOINT) {
        ip = (p1 == p3 || p1 == p4) ? p1 : p2;
        return true;
    }
    // An endpoint on the other segment (a T-junction or a single-point segment) is the
    // answer itself, without arithmetic.
    GeomTest& geomTest = pSCD->geomTest;
    for (const Point2* p : {&p3, &p4}) {
        if (isOnSegment(geomTest, *p, p1, p2)) { ip = *p; return true; }
    }
    for (const Point2* p : {&p1, &p2}) {
        if (isOnSegment(geomTest, *p, p3, p4)) { ip = *p; return true; }
    }
    ip = geomTest.getIntersectionCoords_gmp(a, b);
    return true;
}

bool SegmentChecker::getIntersectionSegment(const Segment2& a, const Segment2& b, Segment2& iSeg) const {
    if (!isUsablePair("SegmentChecker::getIntersectionSegment()", &a, &b, "no intersection segment")) return false;
    GeomTest& geomTest = pSCD->geomTest;
    const Point2 p1(a.getSrc()), p2(a.getTrg()), p3(b.getSrc()), p4(b.getTrg());
    coverPoints(geomTest, p1, p2, p3, p4);
    bool bCollinear;
    if (p1 != p2)
        bCollinear = geomTest.getOrientation2(&p1, &p2, &p3) == ORIENTATION2_COLLINEAR &&
                     geomTest.getOrientation2(&p1, &p2, &p4) == ORIENTATION2_COLLINEAR;
    else
        bCollinear = p3 == p4 || geomTest.getOrientation2(&p3, &p4, &p1) == ORIENTATION2_COLLINEAR;
    if (!bCollinear) {
        reportWarning("SegmentChecker::getIntersectionSegment()", "segments seem to be non-collinear");
        return false;
    }
    // Along a common line the lexicographic order of the points is their order on the line.
    Point2 aPoints[4] = {p1, p2, p3, p4};
    std::sort(aPoints, aPoints + 4);
    iSeg = Segment2(aPoints[1], aPoints[2]);
    return true;
}

// ---- searching the set ----------------------------------------------------------------------------

void SegmentChecker::getIntersectors(Segment2* pSegment, bool bAlsoEndPointIntersections,
                                     std::vector<std::pair<Segment2*, SegmentIntersectionType>>& vIntersectors) const {
    vIntersectors.clear();
    if (!isUsablePair("SegmentChecker::getIntersectors()", pSegment, pSegment, "no intersectors")) return;
    const Point2 a(pSegment->getSrc()), b(pSegment->getTrg());
    std::vector<void*>& vCandidates = pSCD->vQueryBuffer;
    vCandidates.clear();
    pSCD->rTree.query(std::min(a.x(), b.x()), std::min(a.y(), b.y()), std::max(a.x(), b.x()),
                      std::max(a.y(), b.y()), vCandidates);
    // Index order, whatever order the tree answers in.
    std::sort(vCandidates.begin(), vCandidates.end());
    for (void* pSlot : vCandidates) {
        Segment2* pOther = *static_cast<Segment2**>(pSlot);
        if (pOther == pSegment) continue;
        const SegmentIntersectionType sit = getIntersectionType(pSegment, pOther);
        switch (sit) {
        case SIT_NONE: break;
        case SIT_SEGMENT:
        case SIT_POINT: vIntersectors.emplace_back(pOther, sit); break;
        case SIT_ENDPOINT:
            if (bAlsoEndPointIntersections) vIntersectors.emplace_back(pOther, sit);
            break;
        default: assertionFailed("impossible case", __FILE__, __LINE__, __PRETTY_FUNCTION__);
        }
    }
}

void SegmentChecker::getIllegalSegments(bool bAlsoEndPointIntersections,
                                        std::vector<Segment2*>& vIllegalSegments) const {
    vIllegalSegments.clear();
    const size_t numSegments = pSCD->vSegments.size();
    MsgPublisher* pPublisher = pSCD->pPublisher;
    if (pPublisher != nullptr) pPublisher->start("getIllegalSegments", numSegments);

    Segment2* const* const pFirstSlot = pSCD->vSegments.data();
    const std::vector<uint32_t>& vCanonical = pSCD->vCanonicalIndex;
    std::vector<char> vIllegal(numSegments, 0);  // by canonical index
    std::vector<void*>& vCandidates = pSCD->vQueryBuffer;
    vCandidates.reserve(1000);
    SegmentCheckerWork& work = pSCD->lastIllegalSearch;
    work = SegmentCheckerWork();
    // The segments are visited in the tree's leaf order rather than by index: consecutive
    // queries then descend the same paths, which halves the time on large sets. The result
    // does not depend on the order, since a pair is missed only when both of its segments
    // are already known to be illegal.
    std::vector<void*> vOrder;
    pSCD->rTree.getObjectsInLeafOrder(vOrder);
    for (void* pOwnSlot : vOrder) {
        if (pPublisher != nullptr) pPublisher->step();
        const size_t i = size_t(static_cast<Segment2* const*>(pOwnSlot) - pFirstSlot);
        const uint32_t si = vCanonical[i];
        if (vIllegal[si]) continue;
        Segment2* pSeg = pFirstSlot[i];
        const Point2 a(pSeg->getSrc()), b(pSeg->getTrg());
        vCandidates.clear();
        pSCD->rTree.query(std::min(a.x(), b.x()), std::min(a.y(), b.y()), std::max(a.x(), b.x()),
                          std::max(a.y(), b.y()), vCandidates);
        ++work.numQueries;
        work.numCandidates += vCandidates.size();
        for (void* pSlot : vCandidates) {
            const uint32_t ci = vCanonical[static_cast<Segment2* const*>(pSlot) - pFirstSlot];
            if (ci == si) continue;                     // the segment itself
            if (vIllegal[si] && vIllegal[ci]) continue;  // nothing left to learn from this pair
            ++work.numClassified;
            const SegmentIntersectionType sit = getIntersectionType(pSeg, pSCD->vSegments[ci]);
            switch (sit) {
            case SIT_NONE: break;
            case SIT_SEGMENT:
            case SIT_POINT: vIllegal[si] = vIllegal[ci] = 1; break;
            case SIT_ENDPOINT:
                if (bAlsoEndPointIntersections) vIllegal[si] = vIllegal[ci] = 1;
                break;
            default: LUMO_ASSERT(false);
            }
        }
    }
    for (size_t i = 0; i < numSegments; ++i)
        if (vIllegal[i]) vIllegalSegments.push_back(pFirstSlot[i]);
    if (pPublisher != nullptr) pPublisher->finish();
}

SegmentCheckerWork SegmentCheckerInspector::lastIllegalSearch(const SegmentChecker& checker) {
    return checker.pSCD->lastIllegalSearch;
}

// ---- progress ---------------------------------------------------------------------------------------

void SegmentChecker::subscribe(MsgType msgType, MsgBase* pMsg) {
    if (pMsg == nullptr) {
        reportWarning("SegmentChecker::subscribe()", "pMsg is null, nothing subscribed");
        return;
    }
    if (pSCD->pPublisher == nullptr) pSCD->pPublisher = new MsgPublisher("SEGCHECK");
    pSCD->pPublisher->subscribe(msgType, pMsg);
}

void SegmentChecker::unsubscribe(MsgType msgType, MsgBase* pMsg) {
    if (pSCD->pPublisher == nullptr) {
        reportWarning("SegmentChecker::unsubscribe()", "No publisher present");
        return;
    }
    pSCD->pPublisher->unsubscribe(msgType, pMsg);
}

// ---- drawing -------------------------------------------------------------------------------------------

namespace {
// Segment i with its index at its midpoint.
void drawLabelledSegment(Visualizer2& vis, const Segment2& seg, size_t i, const Color& c) {
    vis.addObject(seg, c);
    const Point2 a(seg.getSrc()), b(seg.getTrg());
    vis.addObject(Label(Point2(0.5 * a.x() + 0.5 * b.x(), 0.5 * a.y() + 0.5 * b.y()), std::to_string(i), 6), c);
}
} // namespace

void SegmentChecker::showSegments(const std::string& filename) const {
    const size_t numSegments = pSCD->vSegments.size();
    std::cout << "SegmentChecker::showSegments(), numSegments=" << numSegments << std::endl;
    Visualizer2 vis(filename);
    vis.addHeaderLine("Segments: " + std::to_string(numSegments));
    const Color black(CBLACK, 0.3f, false);
    for (size_t i = 0; i < numSegments; ++i)
        if (whyUnusable(pSCD->vSegments[i]) == nullptr) drawLabelledSegment(vis, *pSCD->vSegments[i], i, black);
    vis.writeFile();
}

void SegmentChecker::showIllegalSegments(bool bAlsoEndPointIntersections, const std::string& filename) const {
    std::vector<Segment2*> vIllegal;
    getIllegalSegments(bAlsoEndPointIntersections, vIllegal);
    const size_t numSegments = pSCD->vSegments.size();
    std::cout << "SegmentChecker::showIllegalSegments()" << std::endl;
    std::cout << "Number of segments: " << numSegments << std::endl;
    std::cout << "Legal segments: " << numSegments - vIllegal.size() << std::endl;
    std::cout << "Illegal segments: " << vIllegal.size() << std::endl;

    Visualizer2 vis(filename);
    vis.addHeaderLine("Number of segments: " + std::to_string(numSegments));
    vis.addHeaderLine("Legal segments: " + std::to_string(numSegments - vIllegal.size()) + " (green)");
    vis.addHeaderLine("Illegal segments: " + std::to_string(vIllegal.size()) + " (red)");
    vis.addHeaderLine("Intersection points (blue), shared pieces (orange)");
    const Color legal(CGREEN, 0.3f, false), illegal(CRED, 0.3f, false);
    const Color point(CBLUE, 0.5f, false), piece(CORANGE, 1.5f, false);
    std::vector<char> vIsIllegal(numSegments, 0);
    for (Segment2* pSeg : vIllegal) vIsIllegal[size_t(getIndex(pSeg))] = 1;
    std::vector<std::pair<Segment2*, SegmentIntersectionType>> vIntersectors;
    for (size_t i = 0; i < numSegments; ++i) {
        Segment2* pSeg = pSCD->vSegments[i];
        if (whyUnusable(pSeg) != nullptr) continue;  // left out at construction, not drawable
        const size_t canonical = pSCD->vCanonicalIndex[i];
        if (!vIsIllegal[canonical]) {
            drawLabelledSegment(vis, *pSeg, i, legal);
            continue;
        }
        drawLabelledSegment(vis, *pSeg, i, illegal);
        if (canonical != i) continue;  // the meetings of a repeated pointer are drawn once
        getIntersectors(pSeg, bAlsoEndPointIntersections, vIntersectors);
        for (const auto& intersector : vIntersectors) {
            if (pSCD->vCanonicalIndex[size_t(getIndex(intersector.first))] < canonical) continue;  // drawn already
            if (intersector.second == SIT_SEGMENT) {
                Segment2 shared;
                if (getIntersectionSegment(*pSeg, *intersector.first, shared)) vis.addObject(shared, piece);
            } else {
                Point2 ip;
                if (getIntersectionPoint(intersector.second, *pSeg, *intersector.first, ip)) vis.addObject(ip, point);
            }
        }
    }
    vis.writeFile();
}

} // namespace ORBI_LUMO2D
