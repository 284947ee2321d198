// Static R-tree over axis-aligned boxes, bulk loaded along a Hilbert curve at the first query.
#pragma once
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace ORBI_LOCATE2 {

// One indexed box with the caller's opaque object.
struct Entry {
    void* pObject;
    double xmin, ymin, xmax, ymax;
};

class RTree {
public:
    // Entries per leaf and children per inner node. Measured on the segment checker's work
    // (build, then one query per box of 1M short segments, in leaf order): 6 to 16 tie,
    // 4 is about 10% slower, 32 about 13% and 64 about 37%; 16 is the smallest of the
    // fastest trees.
    static const size_t DEFAULT_NODE_CAPACITY = 16;
    // Bits per axis of the grid on which the Hilbert keys are computed.
    static const int HILBERT_ORDER = 30;

    explicit RTree(size_t nodeCapacity = DEFAULT_NODE_CAPACITY);

    // ---- collecting -----------------------------------------------------------------
    // Adds a closed box (a point or an axis-parallel line is legal) carrying pObject.
    void addObject(void* pObject, double xmin, double ymin, double xmax, double ymax);
    size_t size() const { return vEntries.size(); }

    // ---- queries (the first one builds the tree) ------------------------------------
    // Appends to vOut the object of every entry whose closed box meets the closed query box.
    void query(const Entry& box, std::vector<void*>& vOut);
    void query(double xmin, double ymin, double xmax, double ymax, std::vector<void*>& vOut) {
        query(Entry{nullptr, xmin, ymin, xmax, ymax}, vOut);
    }

    // Appends every object in leaf order (builds the tree if needed): neighbours in this order
    // are near each other, so queries made in this order reuse the cached paths of the tree.
    void getObjectsInLeafOrder(std::vector<void*>& vOut);

    // ---- diagnostics ----------------------------------------------------------------
    size_t getNodeCapacity() const { return nodeCapacity; }
    size_t getNumberOfNodes() const { return vNodes.size(); }
    // Levels from the root down to the leaves (0 before the tree is built).
    size_t getHeight() const;
    // Hilbert index of cell (ix, iy) on a 2^order grid; consecutive indices are adjacent cells.
    static uint64_t hilbertKey(uint32_t ix, uint32_t iy, int order);

private:
    // Children of an inner node are the consecutive nodes [first, last) of vNodes; a leaf
    // covers the consecutive sorted entries [first, last).
    struct Node {
        double xmin, ymin, xmax, ymax;
        uint32_t parent;
        uint32_t first, last;
        bool bLeaf;
    };
    static const uint32_t NO_PARENT = UINT32_MAX;

    void build();
    static bool overlaps(const Entry& q, double xmin, double ymin, double xmax, double ymax) {
        return q.xmax >= xmin && q.ymax >= ymin && xmax >= q.xmin && ymax >= q.ymin;
    }

    size_t nodeCapacity;
    std::vector<Entry> vEntries;  // order of addObject until the build, then leaf order
    std::vector<std::pair<uint64_t, const Entry*>> vKeyPairs;  // (Hilbert key, entry), sorted
    std::vector<Node> vNodes;
    const Node* pRoot{nullptr};
    double unionXmin, unionYmin, unionXmax, unionYmax;
    std::vector<uint32_t> vStack;  // reused by every query
};

} // namespace ORBI_LOCATE2
