// The facade: every call goes unchanged to the one Dt2 behind it.
#include "Lumo_2D.h"
#include "Dt2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

Lumo_2D::Lumo_2D(unsigned numExpectedVertices) : pImpl(new Dt2(numExpectedVertices)) {}
Lumo_2D::~Lumo_2D() { delete pImpl; }

Point2* Lumo_2D::insert(const Point2& p) { return pImpl->insert(p); }
void Lumo_2D::insert(const std::vector<Point2>& vInputPoints) { pImpl->insertVector(vInputPoints, nullptr); }
void Lumo_2D::insert(const std::vector<Point2>& vInputPoints, std::vector<Point2*>& vHandlesOut) {
    pImpl->insertVector(vInputPoints, &vHandlesOut);
}
void Lumo_2D::insert(int numPoints, double* aCoordinates, Point2** aHandles) {
    pImpl->insertArray(numPoints, aCoordinates, aHandles);
}

bool Lumo_2D::is2D() const { return pImpl->is2D(); }
size_t Lumo_2D::numberOfPoints() const { return pImpl->numberOfPoints(); }
size_t Lumo_2D::numberOfTriangles() const { return pImpl->numberOfTriangles(); }
void Lumo_2D::getTrianglePointers(std::vector<Triangle2*>& vAllTriangles) const {
    pImpl->getTrianglePointers(vAllTriangles);
}
void Lumo_2D::getVertexPointers(std::vector<Point2*>& vAllPoints) const { pImpl->getVertexPointers(vAllPoints); }
Bbox2 Lumo_2D::computeBoundingBox() const { return pImpl->computeBoundingBox(); }
int Lumo_2D::setNumCPU(int numCPU) { return pImpl->setNumCPU(numCPU); }
void Lumo_2D::enableMultithreading() { pImpl->setNumCPU(0); }
int Lumo_2D::getNumCPU() const { return pImpl->getNumCPU(); }

Triangle2* Lumo_2D::locate(const Point2& q) { return pImpl->locate(q); }
Triangle2* Lumo_2D::getAdjacentTriangle(Point2* p0, Point2* p1) const { return pImpl->getAdjacentTriangle(p0, p1); }
void Lumo_2D::getIncidentTriangles(Point2* pVtx, std::vector<Triangle2*>& vIncidentT) const {
    pImpl->getIncidentTriangles(pVtx, vIncidentT);
}
void Lumo_2D::getConvexHull(bool bAllVertices, std::vector<Point2*>& vConvexHullPoints) const {
    pImpl->getConvexHull(bAllVertices, vConvexHullPoints);
}
bool Lumo_2D::checkValidity(bool bCheckEmptyCircleProperty, const std::string& msg) const {
    return pImpl->checkValidity(bCheckEmptyCircleProperty, msg);
}
void Lumo_2D::statistics(const std::string& name) const { pImpl->statistics(name); }

ConstraintGraph2* Lumo_2D::createConstraint(std::vector<Segment2>& vSegments, ConstraintInsertionStrategy cis,
                                            bool orientedSegments) {
    if (vSegments.empty()) {
        reportWarning("Lumo_2D::createConstraint()", "You have not supplied any segments. Returning NULL!");
        return nullptr;
    }
    return pImpl->createConstraint(vSegments, cis, orientedSegments);
}
void Lumo_2D::applyConstraintsAndZones() { pImpl->applyConstraintsAndZones(); }
void Lumo_2D::writeConstraintsBIN(const std::string& prefix) const {
    pImpl->getConstraintMgr().writeConstraintsBIN(prefix);
}
void Lumo_2D::writeConstraints(const std::string& prefix) const { pImpl->getConstraintMgr().writeConstraints(prefix); }

void Lumo_2D::subscribe(MsgType msgType, MsgBase* pMsg) { pImpl->subscribe(msgType, pMsg); }
void Lumo_2D::unsubscribe(MsgType msgType, MsgBase* pMsg) { pImpl->unsubscribe(msgType, pMsg); }

} // namespace ORBI_LUMO2D
