// Work counters of the segment checker, for benchmarks and tests (not part of the public API).
#pragma once
#include <cstdint>
#include "SegmentChecker.h"

namespace ORBI_LUMO2D {

// What the last getIllegalSegments call did: R-tree queries (segments not skipped as already
// illegal), candidates the tree returned (the segment itself included), and pairs classified.
struct SegmentCheckerWork {
    uint64_t numQueries{0};
    uint64_t numCandidates{0};
    uint64_t numClassified{0};
};

struct SegmentCheckerInspector {
    static SegmentCheckerWork lastIllegalSearch(const SegmentChecker& checker);
};

} // namespace ORBI_LUMO2D
