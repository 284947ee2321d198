#include "RTree.h"
#include <algorithm>
#include <cfloat>
#include <cmath>
#include "tools.h"

namespace ORBI_LOCATE2 {

namespace {
// The four-state Hilbert tables: row 4*state + quadrant gives the digit and the next state.
const uint8_t HILBERT_DIGIT[16] = {0, 1, 3, 2, 0, 3, 1, 2, 2, 1, 3, 0, 2, 3, 1, 0};
const uint8_t HILBERT_NEXT[16] = {1, 0, 2, 0, 0, 3, 1, 1, 2, 2, 0, 3, 3, 1, 3, 2};

// Cell coordinate of value v on a grid of 2^order cells over [lo, lo + range).
inline uint32_t gridCell(double v, double lo, double scale, double maxCell) {
    double t = (v - lo) * scale;
    if (!(t >= 0.0)) t = 0.0;  // also catches NaN from infinite ranges
    if (t > maxCell) t = maxCell;
    return static_cast<uint32_t>(t);
}
} // namespace

RTree::RTree(size_t nodeCapacity_)
    : nodeCapacity(std::max<size_t>(2, nodeCapacity_)),
      unionXmin(DBL_MAX), unionYmin(DBL_MAX), unionXmax(-DBL_MAX), unionYmax(-DBL_MAX) {}

void RTree::addObject(void* pObject, double xmin, double ymin, double xmax, double ymax) {
    LUMO_ASSERT(xmin<=xmax);
    LUMO_ASSERT(ymin<=ymax);
    if (pRoot != nullptr) {
        // A late addition invalidates the built tree; the next query builds it again.
        pRoot = nullptr;
        vNodes.clear();
        vKeyPairs.clear();
    }
    vEntries.push_back(Entry{pObject, xmin, ymin, xmax, ymax});
    unionXmin = std::min(unionXmin, xmin);
    unionYmin = std::min(unionYmin, ymin);
    unionXmax = std::max(unionXmax, xmax);
    unionYmax = std::max(unionYmax, ymax);
}

uint64_t RTree::hilbertKey(uint32_t ix, uint32_t iy, int order) {
    uint64_t key = 0;
    unsigned state = 0;
    for (int bit = order - 1; bit >= 0; --bit) {
        const unsigned row = 4 * state + 2 * ((ix >> bit) & 1u) + ((iy >> bit) & 1u);
        key = (key << 2) | HILBERT_DIGIT[row];
        state = HILBERT_NEXT[row];
    }
    return key;
}

void RTree::build() {
    const size_t n = vEntries.size();
    if (n == 0) return;
    // Order the entries by the Hilbert key of their box centres.
    const double maxCell = std::ldexp(1.0, HILBERT_ORDER) - 1.0;
    const double rangeX = unionXmax - unionXmin, rangeY = unionYmax - unionYmin;
    const double scaleX = rangeX > 0.0 && rangeX < DBL_MAX ? (maxCell + 1.0) / rangeX : 0.0;
    const double scaleY = rangeY > 0.0 && rangeY < DBL_MAX ? (maxCell + 1.0) / rangeY : 0.0;
    vKeyPairs.resize(n);
    for (size_t i = 0; i < n; ++i) {
        const Entry& e = vEntries[i];
        const uint32_t ix = gridCell(0.5 * e.xmin + 0.5 * e.xmax, unionXmin, scaleX, maxCell);
        const uint32_t iy = gridCell(0.5 * e.ymin + 0.5 * e.ymax, unionYmin, scaleY, maxCell);
        vKeyPairs[i] = {hilbertKey(ix, iy, HILBERT_ORDER), &e};
    }
    std::sort(vKeyPairs.begin(), vKeyPairs.end());
    // Store the entries in leaf order so that a leaf scans contiguous memory.
    std::vector<Entry> vSorted(n);
    for (size_t i = 0; i < n; ++i) {
        vSorted[i] = *vKeyPairs[i].second;
        vKeyPairs[i].second = &vSorted[i];
    }
    vEntries.swap(vSorted);  // the key pairs keep pointing at the same buffer

    // Leaves: runs of nodeCapacity consecutive entries.
    size_t numNodes = 0;
    for (size_t count = n; ; count = (count + nodeCapacity - 1) / nodeCapacity) {
        const size_t level = (count + nodeCapacity - 1) / nodeCapacity;
        numNodes += level;
        if (level == 1) break;
    }
    vNodes.clear();
    vNodes.reserve(numNodes);
    for (size_t first = 0; first < n; first += nodeCapacity) {
        const size_t last = std::min(n, first + nodeCapacity);
        Node leaf{DBL_MAX, DBL_MAX, -DBL_MAX, -DBL_MAX, NO_PARENT, uint32_t(first), uint32_t(last), true};
        for (size_t i = first; i < last; ++i) {
            const Entry& e = vEntries[i];
            leaf.xmin = std::min(leaf.xmin, e.xmin);
            leaf.ymin = std::min(leaf.ymin, e.ymin);
            leaf.xmax = std::max(leaf.xmax, e.xmax);
            leaf.ymax = std::max(leaf.ymax, e.ymax);
        }
        vNodes.push_back(leaf);
    }
    // Inner levels: group consecutive nodes of the level below until one root remains.
    size_t levelBegin = 0, levelEnd = vNodes.size();
    while (levelEnd - levelBegin > 1) {
        for (size_t first = levelBegin; first < levelEnd; first += nodeCapacity) {
            const size_t last = std::min(levelEnd, first + nodeCapacity);
            const uint32_t self = uint32_t(vNodes.size());
            Node inner{DBL_MAX, DBL_MAX, -DBL_MAX, -DBL_MAX, NO_PARENT, uint32_t(first), uint32_t(last), false};
            for (size_t c = first; c < last; ++c) {
                Node& child = vNodes[c];
                child.parent = self;
                inner.xmin = std::min(inner.xmin, child.xmin);
                inner.ymin = std::min(inner.ymin, child.ymin);
                inner.xmax = std::max(inner.xmax, child.xmax);
                inner.ymax = std::max(inner.ymax, child.ymax);
            }
            vNodes.push_back(inner);
        }
        levelBegin = levelEnd;
        levelEnd = vNodes.size();
    }
    LUMO_ASSERT(vNodes.size()==numNodes);
    pRoot = &vNodes.back();
}

void RTree::query(const Entry& box, std::vector<void*>& vOut) {
    if (pRoot == nullptr) build();
    if (pRoot == nullptr) return;
    const Node* const nodes = vNodes.data();
    vStack.clear();
    vStack.push_back(uint32_t(pRoot - nodes));
    while (!vStack.empty()) {
        const Node& node = nodes[vStack.back()];
        vStack.pop_back();
        if (node.bLeaf) {
            for (uint32_t i = node.first; i < node.last; ++i) {
                const Entry& e = vEntries[i];
                if (overlaps(box, e.xmin, e.ymin, e.xmax, e.ymax)) vOut.push_back(e.pObject);
            }
            continue;
        }
        for (uint32_t c = node.first; c < node.last; ++c) {
            const Node& child = nodes[c];
            if (overlaps(box, child.xmin, child.ymin, child.xmax, child.ymax)) vStack.push_back(c);
        }
    }
}

void RTree::getObjectsInLeafOrder(std::vector<void*>& vOut) {
    if (pRoot == nullptr) build();
    vOut.reserve(vOut.size() + vEntries.size());
    for (const Entry& e : vEntries) vOut.push_back(e.pObject);
}

size_t RTree::getHeight() const {
    if (pRoot == nullptr) return 0;
    size_t height = 1;
    for (const Node* p = &vNodes.front(); p->parent != NO_PARENT; p = &vNodes[p->parent]) ++height;
    return height;
}

} // namespace ORBI_LOCATE2
