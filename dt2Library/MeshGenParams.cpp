// The parameter object of quality mesh generation: defaults, copying, the per-triangle bounds.
#include "MeshGenParams.h"
#include <cfloat>
#include <iostream>
#include "Zone2.h"

namespace ORBI_LUMO2D {

MeshGenParams::MeshGenParams(Zone2* pZone_)
    : pZone(pZone_), minAngleDegree(20.0), minEdgeLength(0.001), maxEdgeLength(DBL_MAX), maxTriangleArea(DBL_MAX),
      allowConstraintSplitting(true), growFactor(DBL_MAX), growFactorMinArea(0.001), aspectLimit(10.0),
      gridVector(0.0, 0.0), gridLength(0.0), innerVertexFlag(true), debugMode(0), lockedConstraints(nullptr) {
    const bool bUsable = pZone != nullptr && (pZone->getZoneLocation() == ZL_INSIDE || pZone->getZoneLocation() == ZL_BOUNDED);
    if (!bUsable) {
        std::cerr << "\n\n\nMeshGenParams::MeshGenParams(..), ERROR: \n\tbehavior since Lumo 1.39: The zoneLocation "
                     "must be ZL_INSIDE or ZL_BOUNDED. Please convert the zone using pZone->convertToBoundedZone(..)\n\n"
                  << std::endl;
        return;
    }
    gridVector = Vector2(1.0, 0.0);
}

// The locked set is owned: a copy gets its own.
MeshGenParams::MeshGenParams(const MeshGenParams& other) : lockedConstraints(nullptr) { *this = other; }

MeshGenParams& MeshGenParams::operator=(const MeshGenParams& other) {
    if (this == &other) return *this;
    std::set<ConstraintSegment2*>* pCopy =
        other.lockedConstraints == nullptr ? nullptr : new std::set<ConstraintSegment2*>(*other.lockedConstraints);
    delete lockedConstraints;
    pZone = other.pZone;
    minAngleDegree = other.minAngleDegree;
    minEdgeLength = other.minEdgeLength;
    maxEdgeLength = other.maxEdgeLength;
    maxTriangleArea = other.maxTriangleArea;
    allowConstraintSplitting = other.allowConstraintSplitting;
    growFactor = other.growFactor;
    growFactorMinArea = other.growFactorMinArea;
    aspectLimit = other.aspectLimit;
    gridVector = other.gridVector;
    gridLength = other.gridLength;
    innerVertexFlag = other.innerVertexFlag;
    debugMode = other.debugMode;
    lockedConstraints = pCopy;
    return *this;
}

MeshGenParams::~MeshGenParams() { delete lockedConstraints; }

double MeshGenParams::getMaxTriangleArea(Triangle2* /*pT*/) { return maxTriangleArea; }
double MeshGenParams::getMaxEdgeLength(Triangle2* /*pT*/) { return maxEdgeLength; }

void MeshGenParams::addLockedConstraint(ConstraintSegment2* pCSeg) {
    if (lockedConstraints == nullptr) lockedConstraints = new std::set<ConstraintSegment2*>;
    lockedConstraints->insert(pCSeg);
}

} // namespace ORBI_LUMO2D
