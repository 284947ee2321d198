// Quality mesh generation by Delaunay refinement inside a zone.
#include <iostream>
#include "Dt2.h"
#include "InnerVtxMgr.h"
#include "MeshGenParams.h"
#include "Zone2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

void Dt2::refineMain3(MeshGenParams* pParams) {
    if (pParams->innerVertexFlag) getInnerVtxMgr().clear();
    Zone2* pZone = pParams->pZone;
    if (pZone == nullptr) {
        reportError("Dt2::refineMain2(..)", "pZone==NULL");
        return;
    }
    if (pZone->getZoneLocation() != ZL_INSIDE && pZone->getZoneLocation() != ZL_BOUNDED) {
        reportError("Dt2::refineMain2()", "The zoneLocation must be ZL_INSIDE or ZL_BOUNDED. Please convert the zone "
                                          "using pZone->convertToBoundedZone(..)");
        return;
    }
    if (pParams->minAngleDegree > 30.0) {
        reportError("Dt2::refine(..)", "minAngleDegree must be <=30.0, return");
        return;
    }
}

} // namespace ORBI_LUMO2D
