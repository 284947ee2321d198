// SegmentChecker: finds and classifies the intersections within a set of segments,
// exactly, e.g. to validate constraint segments before they are inserted.
#pragma once
#include <string>
#include <utility>
#include <vector>
#include "Lumo2D_defs.h"
#include "MsgBase.h"
#include "Point2.h"
#include "Segment2.h"

namespace ORBI_LUMO2D {

// How two segments meet.
enum SegmentIntersectionType {
    SIT_UNINITIALIZED = 0,  // no classification made; never a valid answer
    SIT_NONE = 1,           // the segments do not meet
    SIT_SEGMENT = 2,        // collinear, sharing a piece of positive length
    SIT_POINT = 3,          // one common point, interior to at least one of them
    SIT_ENDPOINT = 4        // they touch only in an endpoint that both share
};

// The enumerator's name, e.g. "SIT_POINT"; "UNKNOWN SIT" for any other value.
LUMO2D_API std::string getIntersectionTypeString(SegmentIntersectionType sit);

struct SegmentCheckerData;

// The checker keeps pointers to the caller's segments: they must outlive it and must not
// change while it lives.
// - A null segment or one with a NaN or infinite coordinate keeps its index (getSegment,
//   getIndex) but is left out of every check, with one warning at construction: it is never
//   illegal and never an intersector, and the others are checked as if it were absent. The
//   pairwise questions answer such a segment with a warning and a neutral result.
// - A degenerate segment (both endpoints equal) is accepted with one warning at construction
//   and classified by the same steps as any other: against a segment sharing that point it
//   overlaps (SIT_SEGMENT); one that meets another segment's line anywhere else breaks the
//   precondition of the collinear case, the assertion "p1!=p2" (or "p3!=p4").
class LUMO2D_API SegmentChecker {
public:
    explicit SegmentChecker(const std::vector<Segment2*>& vSegments);
    ~SegmentChecker();
    SegmentChecker(const SegmentChecker&) = delete;
    SegmentChecker& operator=(const SegmentChecker&) = delete;

    // ---- the segment set ------------------------------------------------------------------
    size_t getNumberOfSegments() const;
    // The segment at position i of the constructor's vector (i out of range: assertion).
    Segment2* getSegment(size_t i) const;
    // Position of pSegment in the constructor's vector (the last one if it occurs twice);
    // an unknown pointer warns "No such segment" and returns -1.
    int getIndex(Segment2* pSegment) const;

    // ---- pairwise questions -----------------------------------------------------------------
    // Exact classification of how pA and pB meet (they need not belong to this checker). A
    // null or non-finite segment warns and gives SIT_UNINITIALIZED.
    SegmentIntersectionType getIntersectionType(const Segment2* pA, const Segment2* pB) const;
    // For a pair of type SIT_POINT or SIT_ENDPOINT: the meeting point, i.e. the shared or
    // touching endpoint itself, or else the crossing of the two lines rounded once. A type
    // that the pair does not have warns and leaves ip unset. Returns whether ip was set.
    bool getIntersectionPoint(SegmentIntersectionType sit, const Segment2& a, const Segment2& b,
                              Point2& ip) const;
    // For collinear segments: the piece between the two inner ones of the four endpoints
    // (the shared piece of a SIT_SEGMENT pair). Non-collinear segments warn and leave iSeg
    // unset. Returns whether iSeg was set.
    bool getIntersectionSegment(const Segment2& a, const Segment2& b, Segment2& iSeg) const;

    // ---- searching the whole set ------------------------------------------------------------
    // Replaces vIntersectors by every other segment meeting pSegment as SIT_SEGMENT or
    // SIT_POINT (and SIT_ENDPOINT when bAlsoEndPointIntersections), each with its type. A
    // null or non-finite pSegment warns and leaves vIntersectors empty.
    void getIntersectors(Segment2* pSegment, bool bAlsoEndPointIntersections,
                         std::vector<std::pair<Segment2*, SegmentIntersectionType>>& vIntersectors) const;
    // Replaces vIllegalSegments by every segment that crosses, overlaps or touches another
    // (touches at shared endpoints only when bAlsoEndPointIntersections), in index order.
    // Reports progress as the task "getIllegalSegments" to subscribed receivers.
    void getIllegalSegments(bool bAlsoEndPointIntersections, std::vector<Segment2*>& vIllegalSegments) const;

    // ---- drawing ------------------------------------------------------------------------------
    // PostScript drawing of all segments, labelled with their indices.
    void showSegments(const std::string& filename) const;
    // PostScript drawing with legal and illegal segments, intersection points and shared
    // pieces in different colours; prints the counts.
    void showIllegalSegments(bool bAlsoEndPointIntersections, const std::string& filename) const;

    // ---- progress ----------------------------------------------------------------------------
    // Registers pMsg (once per type); the first call creates the publisher "SEGCHECK". A null
    // pMsg warns and registers nothing.
    void subscribe(MsgType msgType, MsgBase* pMsg);
    // Removes pMsg; warns "No publisher present" when nothing was ever subscribed.
    void unsubscribe(MsgType msgType, MsgBase* pMsg);

private:
    friend struct SegmentCheckerInspector;  // work counters for benchmarks, internal
    void addSegments(const std::vector<Segment2*>& vSegments);
    SegmentIntersectionType getIntersectionType_degeneratePart(const Point2& p1, const Point2& p2,
                                                               const Point2& p3, const Point2& p4) const;

    SegmentCheckerData* pSCD;
};

} // namespace ORBI_LUMO2D
