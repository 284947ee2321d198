// VertexVault: the vertex store of one triangulation. Vertices are kept under their Hilbert keys
// (a leading run sorted by key, later additions behind it until the next re-sort), so that a
// nearby start triangle for a point-location walk is one binary search away.
#pragma once
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>
#include "HC2.h"

namespace ORBI_LUMO2D {

class Bbox2;
class GeomTest;
class Point2;
class Triangle2;

struct VaultEntry {
    // Uninitialised by default: a bulk insertion appends millions of entries and fills them in
    // parallel, so that no thread first zeroes them all.
    VaultEntry() {}
    VaultEntry(uint32_t key_, bool bActive_, Point2* pVtx_) : key(key_), bActive(bActive_), pVtx(pVtx_) {}
    uint32_t key;
    bool bActive;   // part of the triangulation (has an incident triangle)
    Point2* pVtx;
    bool operator<(const VaultEntry& e) const { return key < e.key; }
};

class VertexVault {
public:
    VertexVault() = default;
    ~VertexVault();
    VertexVault(const VertexVault&) = delete;
    VertexVault& operator=(const VertexVault&) = delete;

    // ---- storage -------------------------------------------------------------------------
    // Room for n entries, asked for in 2 MB pages when large; the threads that fill them fault them in.
    void reserve(size_t n);
    // Appends p under key behind the sorted run.
    void addVertex(uint32_t key, Point2* p) { vIdxVtxAct.push_back(VaultEntry{key, false, p}); }
    // Appends m entries for the caller to fill (behind the sorted run); returns the first.
    VaultEntry* appendEntries(size_t m) {
        vIdxVtxAct.resize(vIdxVtxAct.size() + m);
        return end() - m;
    }
    // Number of stored vertices (entries of removed vertices not counted).
    size_t size() const { return vIdxVtxAct.size() - numRemoved; }
    // Recomputes every key with hc (after the bounding box grew) and, once triangles exist,
    // sorts everything.
    void rekeyAll(const HC2& hc);
    // Stable sort by key (keys of at most 30 bits).
    static void sortByKey(VaultEntry* pBegin, VaultEntry* pEnd);
    // Sorts the unsorted tail in place; the tail is then a key-ordered range of its own.
    void sortTail();
    // Before the first triangle (nothing sorted yet): sorts the first n entries, which become
    // the sorted run; the rest stays the tail.
    void sortRun(size_t n);
    // Merges the (sorted) tail into the sorted run.
    void mergeTail();
    // Single insertions append to the tail; merge once the tail is large enough to matter.
    void mergeTailIfLarge();
    VaultEntry* begin() { return vIdxVtxAct.data(); }
    VaultEntry* end() { return vIdxVtxAct.data() + vIdxVtxAct.size(); }
    // The entries; while removed vertices await compaction their entries have a null pVtx.
    const std::vector<VaultEntry>& getEntries() const { return vIdxVtxAct; }

    // ---- removal ------------------------------------------------------------------------------
    // Index of the entry of p stored under key (a binary search over the sorted run, then a
    // lookup in the tail's index), or size_t(-1) when p is not stored here.
    size_t findEntry(uint32_t key, const Point2* p) const;
    // Takes the entry out: its pVtx becomes null until the next compaction, which runs when
    // removed entries make up an eighth of all, so that a removal costs no shift of the array.
    void removeEntry(size_t idx);
    // Drops the entries of removed vertices, keeping the key order.
    void compact();
    // The triangulation fell back below two dimensions: no entry is active, nothing is sorted.
    void resetToLowerDimensional();

    // ---- start triangles ------------------------------------------------------------------
    // A triangle near key: the active entry at or after it in the sorted run, else before it,
    // else the active tail entry with the closest key.
    Triangle2* getCloseTriangle(uint32_t key) const;
    // The same, or null when no vertex is in the triangulation yet.
    Triangle2* findCloseTriangle(uint32_t key) const;
    Triangle2* getOneValidTriangle() const;
    size_t getIdxOfActiveVtx(const Point2* pQuery) const;
    // Three non-collinear stored vertices, counterclockwise; false if none exist.
    bool getThreeInitialPoints(Point2*& a, Point2*& b, Point2*& c, GeomTest& geomTest) const;

    // ---- duplicates -----------------------------------------------------------------------
    void registerDup(Point2* pNew, Point2* pExisting);
    // After a single insertion: the survivor if p was a duplicate (its entry is dropped), else p.
    Point2* treatOneDupGetHandle(Point2* p);
    // After a bulk insertion: duplicates in aHandles (may be null) are replaced by their
    // survivors and their entries are dropped.
    void treatDupsAndHandles(Point2** aHandles, size_t numHandles);
    // Registers exact coordinate duplicates among all stored vertices (used while no triangle
    // exists, when no walk can find them).
    void findDupsBySorting();
    bool dupIsClean() const { return mRedundant2UniqueVtx.empty(); }

    // ---- fake box (multithreaded bulk insertion) ----------------------------------------------
    // Four vertices strictly outside bbox (enlarged by 1%); false, and nothing installed, when
    // the corners would not be finite.
    bool installFakeBox(const Bbox2& bbox);
    Point2* getFakeBoxCorner(size_t i) const;
    void removeFakeBox();
    bool hasFakeBox() const { return !vFakeBoxHandles.empty(); }

    bool bFullDimensional{false};

private:
    std::vector<VaultEntry> vIdxVtxAct;
    size_t numSorted{0};
    size_t numRemoved{0};   // entries with a null pVtx
    std::unordered_map<Point2*, Point2*> mRedundant2UniqueVtx;
    std::vector<Point2*> vFakeBoxHandles;
    // Removal's shortcut into the sorted run: for each value of a key's top DIRECTORY_BITS bits,
    // the index of the first sorted entry at or above it. Built on the first lookup in a large
    // vault; it may go stale when entries move, which a lookup detects (the narrowed range is
    // checked against its neighbours) and answers by the full binary search instead.
    size_t narrowSortedRange(uint32_t key, size_t& hi) const;
    // The tail's index: the entries of the tail by vertex address (open addressing, a power of
    // two of slots), so that removing vertices that were inserted one by one does not scan a
    // tail that may hold half of all entries. Built lazily by lookups, over the entries from
    // numSorted up to tailIndexedEnd; whatever moves tail entries drops it. A slot holds an
    // entry's index plus one (0: empty), the address is read from the entry: four bytes a slot,
    // for an index that may grow to several times a tail of hundreds of thousands.
    size_t tailLookup(const Point2* p) const;
    void dropTailIndex() const {
        vTailIndex.clear();
        tailIndexedEnd = 0;
    }
    mutable std::vector<uint32_t> vTailIndex;
    mutable size_t tailIndexedEnd{0};
    static const int DIRECTORY_BITS = 16;
    mutable std::vector<uint32_t> vKeyDirectory;
    mutable size_t numStaleLookups{0};
};

} // namespace ORBI_LUMO2D
