// Construction, state and the boxes behind the Hilbert keys.
#include "Dt2.h"
#include <algorithm>
#include <sstream>
#include <thread>
#include "tools.h"

namespace ORBI_LUMO2D {


Dt2::Dt2(unsigned numExpectedVertices)
    // Vertex pairs are keyed in address order (a constraint segment's source is its lower
    // vertex), and the way a segment goes in follows it; vertex records therefore come from one
    // address range in creation order, so that the same input gives the same mesh whatever the
    // heap held before.
    : poolPoints(3125000, true), poolTriangles(2083333), inserter(&poolTriangles, &vertexVault),
      bbox(&inserter.getGeomTest()) {
    // The estimate only sizes the first blocks; it is capped so that 2n+10 stays an int.
    const int32_t n = numExpectedVertices < 3 ? 3 : int32_t(std::min<unsigned>(numExpectedVertices, 1000000000u));
    poolPoints.init(n);
    poolTriangles.init(2 * n + 10);
}

Dt2::~Dt2() {
    destroyZones();
    delete pMsgPublisher;
}

// ---- state -----------------------------------------------------------------------------------

size_t Dt2::numberOfTriangles() const {
    const size_t numAllT = poolTriangles.numAllocated();
    const size_t numDeadT = inserter.getStore().numDead();
    LUMO_ASSERT(numDeadT<=numAllT);
    return numAllT - numDeadT;
}

void Dt2::getTrianglePointers(std::vector<Triangle2*>& vAllTriangles) const {
    vAllTriangles.reserve(vAllTriangles.size() + numberOfTriangles());
    // Dead triangles are cleared, so a null corner marks them.
    poolTriangles.forEach([&](Triangle2* pT) {
        if (pT->getCorner(0) != nullptr) vAllTriangles.push_back(pT);
    });
}

void Dt2::getVertexPointers(std::vector<Point2*>& vAllPoints) const {
    vAllPoints.reserve(vAllPoints.size() + vertexVault.size());
    for (const VaultEntry& e : vertexVault.getEntries())
        if (e.pVtx != nullptr) vAllPoints.push_back(e.pVtx);
}

void Dt2::getFreshTriangles(std::vector<Triangle2*>& vFreshTriangles) {
    size_t idx = 0;
    poolTriangles.forEach([&](Triangle2* pT) {
        // Records a multithreaded insertion took but left unused are dead (null corner).
        if (idx++ >= numTrianglesAtLastFresh && pT->getCorner(0) != nullptr) vFreshTriangles.push_back(pT);
    });
    numTrianglesAtLastFresh = idx;
}

int Dt2::setNumCPU(int numCPU_) {
    if (numCPU_ >= 1) numCPU = numCPU_;
    else if (numCPU_ == 0) numCPU = std::max(1, int(std::thread::hardware_concurrency()));
    else numCPU = 1;
    return numCPU;
}

void Dt2::subscribe(MsgType type, MsgBase* pReceiver) {
    if (pMsgPublisher == nullptr) {
        pMsgPublisher = new MsgPublisher("Lumo_2D");
        inserter.setProgress(pMsgPublisher);
    }
    pMsgPublisher->subscribe(type, pReceiver);
}

void Dt2::unsubscribe(MsgType type, MsgBase* pReceiver) {
    if (pMsgPublisher != nullptr) pMsgPublisher->unsubscribe(type, pReceiver);
}

// ---- boxes and keys ----------------------------------------------------------------------------

void Dt2::reportBadPoint(double x, double y) {
    std::ostringstream oss;
    oss << "point (" << x << ", " << y << ") has a NaN or infinite coordinate and is ignored";
    reportWarning("Dt2::insert()", oss.str());
}

void Dt2::updateGeomBound() {
    const double m = std::max(std::max(std::fabs(bbox.get_minX()), std::fabs(bbox.get_minY())),
                              std::max(std::fabs(bbox.get_maxX()), std::fabs(bbox.get_maxY())));
    GeomTest& geomTest = inserter.getGeomTest();
    if (m > geomTest.getCoordinateBound()) geomTest.setBound(m);
}

void Dt2::growBoxes(double minX, double minY, double maxX, double maxY) {
    const Point2 pMin(minX, minY), pMax(maxX, maxY);
    // Refinement inserts hundreds of thousands of vertices inside the box, one by one.
    if (bboxVertices.isInBox(pMin) && bboxVertices.isInBox(pMax)) return;
    bboxVertices.add(pMin);
    bboxVertices.add(pMax);
    inserter.getGeomTest().setDifferenceBound(bboxVertices.getMaxRange());
    if (bbox.isInBox(pMin) && bbox.isInBox(pMax)) return;
    // The key box grows with room to spare so that re-keying stays rare.
    bbox.add(pMin);
    bbox.add(pMax);
    bbox.doubleTheBox();
    updateGeomBound();
    hc = HC2(bbox.get_minX(), bbox.get_minY(), bbox.get_maxX(), bbox.get_maxY(), 30);
    vertexVault.rekeyAll(hc);
}

} // namespace ORBI_LUMO2D
