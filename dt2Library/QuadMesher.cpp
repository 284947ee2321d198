#include "QuadMesher.h"
#include <algorithm>
#include <cmath>
#include <cstring>
#include "Dt2.h"
#include "GeomTest.h"
#include "TriangleSet.h"

namespace ORBI_LUMO2D {

namespace {
// |cos| of the corner angle at b: 0 for a right angle, towards 1 for a flat or a sharp one,
// 1 where the shape can't be measured (differences beyond the double range). Only ranks
// candidates, so rounding is harmless here.
double absCos(const Point2* a, const Point2* b, const Point2* c) {
    double cosine, sine;
    cornerCosSin(*a, *b, *c, cosine, sine);
    const double r = std::fabs(cosine);
    return r <= 1.0 ? r : 1.0;   // also for NaN
}
// Reserves room for n elements and faults its pages in with one system call: where page faults
// are expensive (virtual machines) that beats one fault per 4 KB page of a fresh array.
template <class V> void reservePopulated(V& v, size_t n) {
    v.reserve(n);
    populateForWrite(v.data(), n * sizeof(typename V::value_type));
}
} // namespace

void QuadMesher::run(const std::vector<Triangle2*>& vZoneTriangles, QMesh& meshOut) {
    findCandidates(vZoneTriangles);
    pairGreedily();
    size_t numGreedy = 0;
    for (uint32_t m : vMate) numGreedy += (m != NONE);
    numGreedy /= 2;
    if (params.augmentingSearchLimit > 0 && numGreedy * 2 + 1 < vMate.size()) {
        reservePopulated(vStamp, vMate.size());
        reservePopulated(vPred, vMate.size());
        vStamp.assign(vMate.size(), 0);
        vPred.assign(vMate.size(), NONE);
        stamp = 0;
        for (size_t round = 0; round < params.augmentingRounds; ++round) {
            bool bFound = false;
            for (uint32_t k = 0; k < uint32_t(vMate.size()); ++k) {
                if (vMate[k] == NONE && augmentFrom(k)) bFound = true;
            }
            if (!bFound) break;
        }
    }
    fillMesh(vZoneTriangles, meshOut);
    meshOut.stats.numGreedyQuads = numGreedy;
}

void QuadMesher::findCandidates(const std::vector<Triangle2*>& vT) {
    const size_t n = vT.size();
    LUMO_ASSERT(n<(size_t(1)<<30));   // k * 4 + i fits 32 bits
    // Zone triangles by their pool record: a dense array instead of a hash of a million pointers.
    PoolRecordIndex<Triangle2> recordIndex(dt.getTrianglePool());
    std::vector<uint32_t> vLocal;
    reservePopulated(vLocal, recordIndex.numRecords());
    vLocal.assign(recordIndex.numRecords(), NONE);
    for (size_t k = 0; k < n; ++k) vLocal[recordIndex.indexOf(vT[k])] = uint32_t(k);

    reservePopulated(vPartner, n);
    reservePopulated(vMate, n);
    reservePopulated(vCandidates, n * 3 / 2 + 1);
    vPartner.assign(n, {NONE, NONE, NONE});
    vMate.assign(n, NONE);
    vCandidates.clear();
    GeomTest& geom = dt.getGeomTest();
    for (uint32_t k = 0; k < uint32_t(n); ++k) {
        const Triangle2* pT = vT[k];
        for (int i = 0; i < 3; ++i) {
            const Triangle2* pN = pT->getOppositeTriangle(i);
            if (pN == nullptr) continue;
            const uint32_t m = vLocal[recordIndex.indexOf(pN)];
            if (m == NONE || m < k) continue;   // outside the zone, or examined from m already
            const int j = pN->getIntraTriangleIndex(pT);
            Point2* a = pT->getCorner(i);
            Point2* b = pT->getCorner(incIndexBy1(i));
            Point2* c = pT->getCorner(incIndexBy2(i));
            Point2* q = pN->getCorner(j);
            if (!params.bPairAcrossConstraints && dt.isConstraintEdge(b, c)) continue;
            // The quadrilateral a, b, q, c: both triangles are counterclockwise, so it is
            // strictly convex exactly when the corners at b and c turn left.
            if (geom.getOrientation2(a, b, q) != ORIENTATION2_CCW || geom.getOrientation2(q, c, a) != ORIENTATION2_CCW)
                continue;
            const double badness = std::max(std::max(absCos(c, a, b), absCos(a, b, q)), std::max(absCos(b, q, c), absCos(q, c, a)));
            vPartner[k][size_t(i)] = m;
            vPartner[m][size_t(j)] = k;
            const float quality = float(badness);
            uint32_t bits;
            std::memcpy(&bits, &quality, sizeof bits);
            vCandidates.push_back(uint64_t(bits) << 32 | uint64_t(k) << 2 | uint64_t(i));
        }
    }
}

void QuadMesher::pairGreedily() {
    std::sort(vCandidates.begin(), vCandidates.end());
    for (uint64_t c : vCandidates) {
        const uint32_t k = uint32_t(c) >> 2, m = vPartner[k][c & 3];
        if (vMate[k] == NONE && vMate[m] == NONE) {
            vMate[k] = m;
            vMate[m] = k;
        }
    }
}

bool QuadMesher::augmentFrom(uint32_t root) {
    if (++stamp == 0) {   // the stamps wrapped around: start afresh
        std::fill(vStamp.begin(), vStamp.end(), 0);
        stamp = 1;
    }
    vStamp[root] = stamp;
    vQueue.assign(1, root);
    size_t numVisited = 1;
    // Queued triangles are the even ones of the alternating tree: the root and the mates of
    // the odd ones, which were reached over a free edge.
    for (size_t head = 0; head < vQueue.size(); ++head) {
        const uint32_t x = vQueue[head];
        for (uint32_t y : vPartner[x]) {
            if (y == NONE || vStamp[y] == stamp) continue;
            if (vMate[y] == NONE) {
                // Re-pair along the path y - x - mate(x) - pred(mate(x)) - ... - root.
                uint32_t even = x, odd = y;
                for (;;) {
                    const uint32_t w = vMate[even];
                    vMate[even] = odd;
                    vMate[odd] = even;
                    if (w == NONE) return true;   // even is the root
                    odd = w;
                    even = vPred[w];
                }
            }
            if (numVisited + 2 > params.augmentingSearchLimit) return false;
            const uint32_t z = vMate[y];
            vStamp[y] = vStamp[z] = stamp;
            vPred[y] = x;
            vQueue.push_back(z);
            numVisited += 2;
        }
    }
    return false;
}

void QuadMesher::fillMesh(const std::vector<Triangle2*>& vT, QMesh& meshOut) const {
    meshOut.clear();
    // Vertex numbers by pool record, as for the triangles.
    PoolRecordIndex<Point2> recordIndex(dt.getPointPool());
    std::vector<uint32_t> vNumber;
    reservePopulated(vNumber, recordIndex.numRecords());
    vNumber.assign(recordIndex.numRecords(), NONE);
    reservePopulated(meshOut.vVertices, vT.size() / 2 + 3);
    auto index = [&](const Point2* p) {
        uint32_t& number = vNumber[recordIndex.indexOf(p)];
        if (number == NONE) {
            number = uint32_t(meshOut.vVertices.size());
            meshOut.vVertices.push_back(*p);
        }
        return size_t(number);
    };
    size_t numQuads = 0;
    for (uint32_t m : vMate) numQuads += (m != NONE);
    reservePopulated(meshOut.vQuads, numQuads / 2);
    reservePopulated(meshOut.vTriangles, vT.size() - numQuads);
    for (uint32_t k = 0; k < uint32_t(vT.size()); ++k) {
        const uint32_t m = vMate[k];
        if (m == NONE || m < k) continue;
        const Triangle2* pT = vT[k];
        const int i = vPartner[k][0] == m ? 0 : (vPartner[k][1] == m ? 1 : 2);
        const Triangle2* pN = vT[m];
        meshOut.vQuads.push_back({index(pT->getCorner(i)), index(pT->getCorner(incIndexBy1(i))),
                                  index(pN->getCorner(pN->getIntraTriangleIndex(pT))), index(pT->getCorner(incIndexBy2(i)))});
    }
    for (uint32_t k = 0; k < uint32_t(vT.size()); ++k) {
        if (vMate[k] != NONE) continue;
        meshOut.vTriangles.push_back({index(vT[k]->getCorner(0)), index(vT[k]->getCorner(1)), index(vT[k]->getCorner(2))});
    }

    QuadMeshStatistics& s = meshOut.stats;
    s.numZoneTriangles = vT.size();
    s.numQuads = meshOut.vQuads.size();
    s.numTriangles = meshOut.vTriangles.size();
    s.pairedFraction = vT.empty() ? 0.0 : 2.0 * double(s.numQuads) / double(vT.size());
    double sum = 0.0;
    for (size_t q = 0; q < s.numQuads; ++q) {
        for (int c = 0; c < 4; ++c) {
            const double dev = std::fabs(meshOut.getQuadAngle(q, c) - 90.0);
            s.maxAngleDeviation = std::max(s.maxAngleDeviation, dev);
            sum += dev;
        }
    }
    s.meanAngleDeviation = s.numQuads > 0 ? sum / double(4 * s.numQuads) : 0.0;
}

} // namespace ORBI_LUMO2D
