#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include "GeomTest.h"
#include "LumoFiles.h"
#include "LumoVersion.h"
#include "tools.h"

namespace ORBI_LUMO2D {

// ---- free orientation functions ----------------------------------------------------

Orientation2 getOrientation2(const Point2* p0, const Point2* p1, const Point2* p2) {
    LUMO_ASSERT(p0!=0);
    LUMO_ASSERT(p1!=0);
    LUMO_ASSERT(p2!=0);
    static GeomTest geomTest;
    geomTest.updateBound(p0, p1, p2);
    return geomTest.getOrientation2(p0, p1, p2);
}

Orientation2 getOrientation2_mt(const Point2* p0, const Point2* p1, const Point2* p2) {
    LUMO_ASSERT(p0!=0);
    LUMO_ASSERT(p1!=0);
    LUMO_ASSERT(p2!=0);
    GeomTest geomTest;
    geomTest.updateBound(p0, p1, p2);
    return geomTest.getOrientation2(p0, p1, p2);
}

// Called by Bbox2 when a linked box is enlarged.
void setPredicateBound(GeomTest* pGeomTest, double coordinateBound) { pGeomTest->setBound(coordinateBound); }

std::string getString(Orientation2 ori) {
    switch (ori) {
    case ORIENTATION2_COLLINEAR: return "ORIENTATION2_COLLINEAR";
    case ORIENTATION2_CCW: return "ORIENTATION2_CCW";
    case ORIENTATION2_CW: return "ORIENTATION2_CW";
    }
    return "UNKNOWN";
}

// ---- point and segment files ---------------------------------------------------------
//
// Binary layout: int32 file type, uint64 record count, then the records as doubles, in the
// machine's byte order and without padding (the count starts at byte 4).

namespace {
const int32_t FT_POINTS2 = 20;
const int32_t FT_SEGMENTS2 = 21;
const int32_t FT_POINTS3 = 30;
const int32_t FT_SEGMENTS3 = 31;
const size_t HEADER_BYTES = 4 + 8;
// Records are moved through a buffer of this many doubles rather than one value at a time.
const size_t CHUNK_DOUBLES = 3 * 4096;

void printFileFailure(const char* filename, const std::string& text) {
    std::cout << filename << text << std::endl;
}

// A null file name can't even be named in the message: a warning from the function instead.
bool isNullName(const char* filename, const char* where) {
    if (filename != nullptr) return false;
    reportWarning(where, "filename is null, nothing done");
    return true;
}

// A null entry in a vector of points to write: nothing is written then, not even the file.
bool hasNullPoint(const std::vector<Point2*>& vPoints, const char* where) {
    for (size_t i = 0; i < vPoints.size(); ++i) {
        if (vPoints[i] != nullptr) continue;
        reportWarning(where, "point " + std::to_string(i) + " is null, nothing written");
        return true;
    }
    return false;
}

bool writeHeader(std::ofstream& f, int32_t fileType, uint64_t count) {
    f.write(reinterpret_cast<const char*>(&fileType), sizeof(fileType));
    f.write(reinterpret_cast<const char*>(&count), sizeof(count));
    return bool(f);
}

void writeDoubles(std::ofstream& f, const std::vector<double>& buf) {
    f.write(reinterpret_cast<const char*>(buf.data()), std::streamsize(buf.size() * sizeof(double)));
}

enum HeaderState { HEADER_NO_TYPE, HEADER_NO_COUNT, HEADER_COMPLETE };

// Reads the type and the count of an opened binary file and the number of bytes after the
// header; tells how much of the header the file holds.
HeaderState readHeader(std::ifstream& f, int32_t& fileType, uint64_t& count, uint64_t& payloadBytes) {
    f.seekg(0, std::ios::end);
    const std::streamoff size = f.tellg();
    f.seekg(0, std::ios::beg);
    if (size < std::streamoff(sizeof(fileType)) || !f.read(reinterpret_cast<char*>(&fileType), sizeof(fileType)))
        return HEADER_NO_TYPE;
    if (size < std::streamoff(HEADER_BYTES) || !f.read(reinterpret_cast<char*>(&count), sizeof(count)))
        return HEADER_NO_COUNT;
    payloadBytes = uint64_t(size) - HEADER_BYTES;
    return HEADER_COMPLETE;
}

// Reads `count` records of `stride` doubles and hands each to `emit`. Records missing at the
// end of a truncated file are reported once; the complete ones are kept. Bytes after the
// announced records and records with a NaN or infinite coordinate are read as the format
// says, with one warning each.
template <class Emit>
bool readRecords(std::ifstream& f, const char* filename, uint64_t count, uint64_t payloadBytes,
                 size_t stride, size_t dim, Emit emit) {
    // x and y of every point of a record; a z, which is dropped, does not count.
    auto isFiniteRecord = [stride, dim](const double* r) {
        for (size_t k = 0; k < stride; k += dim)
            if (!std::isfinite(r[k]) || !std::isfinite(r[k + 1])) return false;
        return true;
    };
    const uint64_t recordBytes = stride * sizeof(double);
    const uint64_t available = payloadBytes / recordBytes;
    const uint64_t numRead = count < available ? count : available;
    const size_t recordsPerChunk = CHUNK_DOUBLES / stride;
    std::vector<double> buf;
    uint64_t numNonFinite = 0, firstNonFinite = 0;
    for (uint64_t done = 0; done < numRead;) {
        const size_t n = size_t(std::min<uint64_t>(recordsPerChunk, numRead - done));
        buf.resize(n * stride);
        f.read(reinterpret_cast<char*>(buf.data()), std::streamsize(buf.size() * sizeof(double)));
        if (!f) break;
        for (size_t i = 0; i < n; ++i) {
            const double* r = &buf[i * stride];
            if (!isFiniteRecord(r) && numNonFinite++ == 0)
                firstNonFinite = done + i;
            emit(r);
        }
        done += n;
    }
    if (numNonFinite > 0)
        printFileFailure(filename, " holds " + std::to_string(numNonFinite) +
                                       " record(s) with a NaN or infinite coordinate, the first one at index " +
                                       std::to_string(firstNonFinite));
    if (!f || numRead < count) {
        printFileFailure(filename, " is truncated");
        return false;
    }
    if (payloadBytes > count * recordBytes)
        printFileFailure(filename, " has " + std::to_string(payloadBytes - count * recordBytes) + " byte(s) after the " +
                                       std::to_string(count) + " announced record(s); they are ignored");
    return true;
}

// Writes the header and `count` records; fill(buf, i) appends the doubles of record i.
template <class Fill>
bool writeBinary(const char* filename, const char* where, int32_t fileType, size_t count, Fill fill) {
    if (isNullName(filename, where)) return false;
    std::ofstream f(filename, std::ios::out | std::ios::binary | std::ios::trunc);
    if (!f || !writeHeader(f, fileType, count)) {
        printFileFailure(filename, " can't be written");
        return false;
    }
    std::vector<double> buf;
    buf.reserve(CHUNK_DOUBLES + 6);
    for (size_t i = 0; i < count; ++i) {
        fill(buf, i);
        if (buf.size() >= CHUNK_DOUBLES) {
            writeDoubles(f, buf);
            buf.clear();
        }
    }
    writeDoubles(f, buf);
    f.close();
    if (!f) {
        printFileFailure(filename, " can't be written");
        return false;
    }
    return true;
}

// Reads a binary file of 2D (type2) or 3D (type3) records of `dim` coordinates per point and
// `pointsPerRecord` points; emit(r, b3D) receives each record. wrongType(t) is the reader's
// own message for an unexpected type.
template <class WrongType, class Emit>
bool readBinary(const char* filename, const char* where, int32_t type2, int32_t type3, size_t pointsPerRecord,
                WrongType wrongType, Emit emit) {
    if (isNullName(filename, where)) return false;
    std::ifstream f(filename, std::ios::in | std::ios::binary);
    if (!f) {
        printFileFailure(filename, " can't be read");
        return false;
    }
    int32_t fileType(0);
    uint64_t count(0), payloadBytes(0);
    const HeaderState header = readHeader(f, fileType, count, payloadBytes);
    if (header == HEADER_NO_TYPE) {
        // A stream that fails outright (a directory, say) was not readable in the first place.
        printFileFailure(filename, f.bad() ? " can't be read" : " is truncated");
        return false;
    }
    if (fileType != type3 && fileType != type2) {
        printFileFailure(filename, wrongType(fileType));
        return false;
    }
    if (header != HEADER_COMPLETE) {
        printFileFailure(filename, " is truncated");
        return false;
    }
    const bool b3D = fileType == type3;
    const size_t stride = pointsPerRecord * (b3D ? 3 : 2);
    return readRecords(f, filename, count, payloadBytes, stride, b3D ? 3 : 2, [&](const double* r) { emit(r, b3D); });
}
} // namespace

bool writePointsBIN(const char* filename, std::vector<Point2*>& vPoints) {
    if (hasNullPoint(vPoints, "writePointsBIN()")) return false;
    return writeBinary(filename, "writePointsBIN()", FT_POINTS2, vPoints.size(), [&](std::vector<double>& buf, size_t i) {
        buf.push_back(vPoints[i]->x());
        buf.push_back(vPoints[i]->y());
    });
}

bool writePointsBIN(const char* filename, std::vector<Point2>& vPoints) {
    std::vector<Point2*> vPointers;
    vPointers.reserve(vPoints.size());
    for (Point2& p : vPoints) vPointers.push_back(&p);
    return writePointsBIN(filename, vPointers);
}

bool readPointsBIN(const char* filename, std::vector<Point2>& vPointsOut) {
    return readBinary(
        filename, "readPointsBIN()", FT_POINTS2, FT_POINTS3, 1,
        [](int32_t t) { return " has wrong filetype " + std::to_string(t) + ", expected: 30 or 20"; },
        [&](const double* r, bool) { vPointsOut.emplace_back(r[0], r[1]); });
}

bool writeSegmentsBIN(const char* filename, std::vector<Segment2>& vSegments) {
    return writeBinary(filename, "writeSegmentsBIN()", FT_SEGMENTS2, vSegments.size(), [&](std::vector<double>& buf, size_t i) {
        const Point2 src(vSegments[i].getSrc()), trg(vSegments[i].getTrg());
        buf.insert(buf.end(), {src.x(), src.y(), trg.x(), trg.y()});
    });
}

bool readSegmentsBIN(const char* filename, std::vector<Segment2>& vSegmentsOut) {
    return readBinary(
        filename, "readSegmentsBIN()", FT_SEGMENTS2, FT_SEGMENTS3, 2,
        [](int32_t t) { return " has wrong file type: " + std::to_string(t) + " instead of 31 or 21"; },
        [&](const double* r, bool b3D) {
            const double* t = r + (b3D ? 3 : 2);
            vSegmentsOut.emplace_back(Point2(r[0], r[1]), Point2(t[0], t[1]));
        });
}

bool writePointsASCII(const char* filename, const std::vector<Point2*>& vPoints) {
    if (isNullName(filename, "writePointsASCII()") || hasNullPoint(vPoints, "writePointsASCII()")) return false;
    std::ofstream f(filename, std::ios::out | std::ios::trunc);
    if (!f) {
        printFileFailure(filename, " can't be written");
        return false;
    }
    f.precision(18);
    for (const Point2* p : vPoints) f << p->x() << " " << p->y() << "\n";
    f.close();
    if (!f) {
        printFileFailure(filename, " can't be written");
        return false;
    }
    return true;
}

bool writePointsASCII(const char* filename, const std::vector<Point2>& vPoints) {
    std::vector<Point2*> vPointers;
    vPointers.reserve(vPoints.size());
    for (const Point2& p : vPoints) vPointers.push_back(const_cast<Point2*>(&p));
    return writePointsASCII(filename, vPointers);
}

bool readXY(const char* filename, std::vector<Point2>& vPointsOut) {
    if (isNullName(filename, "readXY()")) return false;
    std::ifstream f(filename);
    if (!f) {
        printFileFailure(filename, " is unreadable");
        return false;
    }
    double x, y;
    size_t numPoints = 0;
    bool bLoneX = false;
    while (f >> x) {
        if (!(f >> y)) {
            bLoneX = true;
            break;
        }
        vPointsOut.emplace_back(x, y);
        ++numPoints;
    }
    // A failing stream (a directory, say) is unreadable.
    if (f.bad()) {
        printFileFailure(filename, " is unreadable");
        return false;
    }
    // A token that is not a number ends the data; what was read so far stays, and the caller
    // learns that the file held more.
    const std::string after = " after " + std::to_string(numPoints) + " point(s)";
    if (!f.eof())
        printFileFailure(filename, " has a token that is not a number" + after + "; reading stopped there");
    else if (bLoneX)
        printFileFailure(filename, " ends with an x value without y" + after + "; it is ignored");
    return true;
}

// ---- version ----------------------------------------------------------------------------

namespace {
// The numbers come from the build (the project version); the text is fixed at start-up.
const std::string versionText = "Lumo2D " + std::to_string(LUMO2D_VERSION_MAJOR) + "." +
                                std::to_string(LUMO2D_VERSION_MINOR) + "." + std::to_string(LUMO2D_VERSION_PATCH);
} // namespace

int getMajorVersionNumber() { return LUMO2D_VERSION_MAJOR; }
int getMinorVersionNumber() { return LUMO2D_VERSION_MINOR; }
int getRevisionNumber() { return LUMO2D_VERSION_PATCH; }
// A published version, not a development snapshot.
bool isRelease() { return true; }
std::string getLumo2DVersion() { return versionText; }

} // namespace ORBI_LUMO2D
