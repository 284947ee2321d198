// QuadMesher: pairs the triangles of a zone into convex quadrilaterals (the algorithm is
// described in QMesh.h). One object per call of Lumo_2D::createQuadMesh.
#pragma once
#include <cmath>
#include <cstdint>
#include <vector>
#include "QMesh.h"
#include "Triangle2.h"

namespace ORBI_LUMO2D {

class Dt2;

// The cosine and the sine of the corner angle at b, turning from b->c to b->a; scale-free, so
// that tiny and huge coordinates give the same shape measures as moderate ones.
inline void cornerCosSin(const Point2& a, const Point2& b, const Point2& c, double& cosOut, double& sinOut) {
    const double ux = c.x() - b.x(), uy = c.y() - b.y(), vx = a.x() - b.x(), vy = a.y() - b.y();
    const double uu = ux * ux + uy * uy, vv = vx * vx + vy * vy;
    if (uu > 1e-150 && uu < 1e150 && vv > 1e-150 && vv < 1e150) {   // no product under- or overflows
        const double d = std::sqrt(uu * vv);
        cosOut = (ux * vx + uy * vy) / d;
        sinOut = (ux * vy - uy * vx) / d;
        return;
    }
    const double lu = std::hypot(ux, uy), lv = std::hypot(vx, vy);
    cosOut = (ux / lu) * (vx / lv) + (uy / lu) * (vy / lv);
    sinOut = (ux / lu) * (vy / lv) - (uy / lu) * (vx / lv);
}

class QuadMesher {
public:
    QuadMesher(Dt2& dt, const QuadMeshParams& params) : dt(dt), params(params) {}
    // Replaces meshOut by the quad mesh of the given triangles (distinct live triangles of dt).
    void run(const std::vector<Triangle2*>& vZoneTriangles, QMesh& meshOut);

private:
    static constexpr uint32_t NONE = UINT32_MAX;
    void findCandidates(const std::vector<Triangle2*>& vT);
    void pairGreedily();
    // One alternating breadth-first search from the free triangle root; true when it added a pair.
    bool augmentFrom(uint32_t root);
    void fillMesh(const std::vector<Triangle2*>& vT, QMesh& meshOut) const;

    Dt2& dt;
    const QuadMeshParams params;
    // Per zone triangle k: the zone triangle across edge i that may pair with it (or NONE).
    std::vector<std::array<uint32_t, 3>> vPartner;
    std::vector<uint32_t> vMate;
    // Candidate pairs, one 64-bit key each so that a plain integer sort orders them best first:
    // the quality (a float in [0, 1], whose bits order as integers) above the lower triangle's
    // number and the index of the shared edge in it (k * 4 + i).
    std::vector<uint64_t> vCandidates;
    // Scratch of the augmenting searches.
    std::vector<uint32_t> vStamp, vPred, vQueue;
    uint32_t stamp{0};
};

} // namespace ORBI_LUMO2D
