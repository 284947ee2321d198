// The licence record is process-wide: a host registers it once for every triangulation and
// checker it creates. The limits are read on every insertion, so they sit in atomics apart
// from the record; the record itself changes only under the mutex.
#include "License.h"
#include <atomic>
#include <iostream>
#include <mutex>
#include "LicenseCheck.h"
#include "LumoException.h"
#include "LumoVersion.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
std::mutex& recordMutex() {
    static std::mutex m;
    return m;
}
LicenseRecord& record() {
    static LicenseRecord r;
    return r;
}
std::atomic<size_t> aLimits[3] = {{0}, {0}, {0}};

const char* limitName(LicenseLimit limit) {
    switch (limit) {
    case LIMIT_POINTS: return "points";
    case LIMIT_MESH_TRIANGLES: return "mesh-generation triangles";
    case LIMIT_CHECKED_SEGMENTS: return "checked segments";
    }
    return "units";
}

std::string limitText(size_t limit) { return limit == 0 ? std::string("none") : std::to_string(limit); }
} // namespace

bool setLic(const LicenseRecord& rec) {
    const bool bLimited = rec.maxPoints != 0 || rec.maxMeshTriangles != 0 || rec.maxCheckedSegments != 0;
    if (rec.licensee.empty() && (bLimited || !rec.key.empty())) {
        reportWarning("setLic()", "a license record needs the licensee's name, the license in force is unchanged");
        return false;
    }
    std::lock_guard<std::mutex> lock(recordMutex());
    record() = rec;
    aLimits[LIMIT_POINTS] = rec.maxPoints;
    aLimits[LIMIT_MESH_TRIANGLES] = rec.maxMeshTriangles;
    aLimits[LIMIT_CHECKED_SEGMENTS] = rec.maxCheckedSegments;
    return true;
}

LicenseRecord getLic() {
    std::lock_guard<std::mutex> lock(recordMutex());
    return record();
}

void printLicense() {
    const LicenseRecord rec = getLic();
    std::cout << getLumo2DVersion() << ", open source under the MIT license\n";
    if (rec.licensee.empty()) {
        std::cout << "  no license record registered: no limits" << std::endl;
        return;
    }
    // A key is a secret of the host: enough of it to tell keys apart, not to reuse one.
    const size_t numShown = rec.key.size() < 4 ? 0 : 4;
    std::cout << "  licensed to: " << rec.licensee << "\n"
              << "  key: " << std::string(rec.key.size() - numShown, '*') << rec.key.substr(rec.key.size() - numShown)
              << "\n  limits: points " << limitText(rec.maxPoints) << ", mesh-generation triangles "
              << limitText(rec.maxMeshTriangles) << ", checked segments " << limitText(rec.maxCheckedSegments)
              << std::endl;
}

bool licenseAllows(LicenseLimit limit, size_t numAfter, const char* where) {
    const size_t maxAllowed = licenseLimit(limit);
    if (maxAllowed == 0 || numAfter <= maxAllowed) return true;
    reportError(where, "the license of " + getLic().licensee + " permits at most " + std::to_string(maxAllowed) + " " +
                           limitName(limit) + ", the operation would reach " + std::to_string(numAfter) +
                           "; it is stopped");
    return false;
}

size_t licenseLimit(LicenseLimit limit) { return aLimits[limit].load(std::memory_order_relaxed); }

void enforceLicense(LicenseLimit limit, size_t numAfter, const char* where) {
    if (!licenseAllows(limit, numAfter, where)) throw LumoLicenseException();
}

std::string editionText() {
    const std::string licensee = getLic().licensee;
    return getLumo2DVersion() + " - robust 2D Delaunay triangulation, " +
           (licensee.empty() ? std::string("community edition") : "licensed to " + licensee);
}

} // namespace ORBI_LUMO2D
