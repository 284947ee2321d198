// Strict point readers: every line is checked, the first line at fault is named.
#include "PointFileReaders.h"
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include "PointFileReaders_internal.h"

namespace ORBI_LUMO2D {

// ---- lines and fields ----------------------------------------------------------------------

bool TextLineReader::next(std::string& line) {
    while (std::getline(in, line)) {
        ++numLine;
        const size_t hash = line.find('#');
        if (hash != std::string::npos) line.erase(hash);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.find_first_not_of(" \t\r") != std::string::npos) return true;
    }
    return false;
}

bool TextLineReader::failAtLine(const std::string& text) const {
    std::cout << name << ":" << numLine << ": " << text << std::endl;
    return false;
}

bool TextLineReader::fail(const std::string& text) const {
    std::cout << name << ": " << text << std::endl;
    return false;
}

std::vector<std::string> splitFields(const std::string& line, char separator) {
    std::vector<std::string> vFields;
    if (separator == ' ') {
        std::istringstream ss(line);
        for (std::string f; ss >> f;) vFields.push_back(f);
        return vFields;
    }
    size_t begin = 0;
    while (true) {
        const size_t end = line.find(separator, begin);
        vFields.push_back(line.substr(begin, end == std::string::npos ? std::string::npos : end - begin));
        if (end == std::string::npos) return vFields;
        begin = end + 1;
    }
}

namespace {
std::string trimmed(const std::string& s) {
    const size_t b = s.find_first_not_of(" \t");
    if (b == std::string::npos) return "";
    return s.substr(b, s.find_last_not_of(" \t") - b + 1);
}
} // namespace

bool parseFinite(const std::string& field, double& value) {
    const std::string f = trimmed(field);
    if (f.empty()) return false;
    char* stop = nullptr;
    errno = 0;
    value = std::strtod(f.c_str(), &stop);
    // strtod flags subnormal results with ERANGE; they are ordinary finite numbers here.
    return *stop == '\0' && std::isfinite(value);
}

bool parseInteger(const std::string& field, long long& value) {
    const std::string f = trimmed(field);
    if (f.empty()) return false;
    char* stop = nullptr;
    errno = 0;
    value = std::strtoll(f.c_str(), &stop, 10);
    return *stop == '\0' && errno == 0;
}

std::string notANumber(const std::string& field) {
    const std::string f = trimmed(field);
    return "'" + (f.size() > 20 ? f.substr(0, 20) + "..." : f) + "' is not a finite number";
}

// ---- the formats ----------------------------------------------------------------------------

namespace {
// The usual line, two finite numbers between blanks, parsed in place (splitting every line
// into strings made reading a million points take a second); false for anything else, which
// the general way then reads or words the message for.
bool parseTwoNumbers(const std::string& line, double xy[2]) {
    const char* p = line.c_str();
    auto isBlank = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    for (int i = 0; i < 2; ++i) {
        while (isBlank(*p)) ++p;
        char* stop = nullptr;
        xy[i] = std::strtod(p, &stop);
        if (stop == p || !std::isfinite(xy[i]) || !(*stop == '\0' || isBlank(*stop))) return false;
        p = stop;
    }
    while (isBlank(*p)) ++p;
    return *p == '\0';
}
} // namespace

bool readPointsXY(std::istream& in, const std::string& name, std::vector<Point2>& vPointsOut) {
    TextLineReader reader(in, name);
    std::vector<Point2> vRead;
    for (std::string line; reader.next(line);) {
        double xy[2];
        if (parseTwoNumbers(line, xy)) {
            vRead.emplace_back(xy[0], xy[1]);
            continue;
        }
        const std::vector<std::string> vFields = splitFields(line, ' ');
        for (size_t i = 0; i < vFields.size() && i < 2; ++i)
            if (!parseFinite(vFields[i], xy[i])) return reader.failAtLine(notANumber(vFields[i]));
        if (vFields.size() != 2)
            return reader.failAtLine("expected 2 numbers (x y), found " + std::to_string(vFields.size()));
        vRead.emplace_back(xy[0], xy[1]);
    }
    if (in.bad()) return reader.fail("cannot be read");
    vPointsOut.insert(vPointsOut.end(), vRead.begin(), vRead.end());
    return true;
}

bool readPointsCSV(std::istream& in, const std::string& name, std::vector<Point2>& vPointsOut) {
    TextLineReader reader(in, name);
    std::vector<Point2> vRead;
    size_t numColumns = 2, xColumn = 0, yColumn = 1;
    bool bFirst = true;
    for (std::string line; reader.next(line); bFirst = false) {
        const std::vector<std::string> vFields = splitFields(line, ',');
        if (bFirst) {
            bool bAllNumbers = true;
            double v;
            for (const std::string& f : vFields) bAllNumbers = bAllNumbers && parseFinite(f, v);
            if (!bAllNumbers) {
                // The header: find the columns x and y.
                numColumns = vFields.size();
                xColumn = yColumn = numColumns;
                for (size_t i = 0; i < numColumns; ++i) {
                    std::string label = trimmed(vFields[i]);
                    if (label.size() >= 2 && label.front() == '"' && label.back() == '"')
                        label = trimmed(label.substr(1, label.size() - 2));
                    for (char& c : label) c = char(std::tolower(static_cast<unsigned char>(c)));
                    if (label == "x" && xColumn == numColumns) xColumn = i;
                    if (label == "y" && yColumn == numColumns) yColumn = i;
                }
                if (xColumn == numColumns || yColumn == numColumns)
                    return reader.failAtLine("the CSV header names no column \"x\" and \"y\"");
                continue;
            }
        }
        if (vFields.size() != numColumns) {
            return reader.failAtLine("expected " + std::to_string(numColumns) + " comma-separated fields, found " +
                                     std::to_string(vFields.size()));
        }
        double x, y;
        if (!parseFinite(vFields[xColumn], x)) return reader.failAtLine(notANumber(vFields[xColumn]));
        if (!parseFinite(vFields[yColumn], y)) return reader.failAtLine(notANumber(vFields[yColumn]));
        vRead.emplace_back(x, y);
    }
    if (in.bad()) return reader.fail("cannot be read");
    vPointsOut.insert(vPointsOut.end(), vRead.begin(), vRead.end());
    return true;
}

bool readNodeSection(TextLineReader& reader, std::vector<Point2>& vPointsOut) {
    std::string line;
    if (!reader.next(line)) return reader.fail("no .node header (\"points 2 attributes markers\")");
    const std::vector<std::string> vHeader = splitFields(line, ' ');
    long long aHeader[4];
    bool bHeader = vHeader.size() == 4;
    for (size_t i = 0; bHeader && i < 4; ++i) bHeader = parseInteger(vHeader[i], aHeader[i]) && aHeader[i] >= 0;
    if (!bHeader) return reader.failAtLine("expected a .node header of four counts: points 2 attributes markers");
    const long long numPoints = aHeader[0], numAttributes = aHeader[2], numMarkers = aHeader[3];
    if (aHeader[1] != 2) return reader.failAtLine("dimension " + vHeader[1] + ", expected 2");
    if (numMarkers > 1) return reader.failAtLine("marker count " + vHeader[3] + ", expected 0 or 1");
    const size_t numFields = size_t(3 + numAttributes + numMarkers);
    std::vector<Point2> vRead;
    long long firstIndex = 0;
    for (long long k = 0; k < numPoints; ++k) {
        if (!reader.next(line)) {
            return reader.fail("the header announces " + std::to_string(numPoints) + " points, the file holds " +
                               std::to_string(k));
        }
        const std::vector<std::string> vFields = splitFields(line, ' ');
        if (vFields.size() != numFields) {
            return reader.failAtLine("expected " + std::to_string(numFields) + " fields (index x y" +
                                     (numAttributes > 0 ? " " + std::to_string(numAttributes) + " attributes" : "") +
                                     (numMarkers > 0 ? " marker" : "") + "), found " + std::to_string(vFields.size()));
        }
        long long index;
        if (!parseInteger(vFields[0], index)) return reader.failAtLine("'" + vFields[0] + "' is not a point index");
        if (k == 0) firstIndex = index;
        if (index != firstIndex + k) {
            return reader.failAtLine("point index " + vFields[0] + ", expected " + std::to_string(firstIndex + k) +
                                     " (indices run consecutively)");
        }
        double v[2];
        for (size_t i = 1; i < numFields; ++i) {
            double d;
            if (!parseFinite(vFields[i], d)) return reader.failAtLine(notANumber(vFields[i]));
            if (i <= 2) v[i - 1] = d;
        }
        vRead.emplace_back(v[0], v[1]);
        vRead.back().setCustomIndex(int(index));
    }
    vPointsOut.insert(vPointsOut.end(), vRead.begin(), vRead.end());
    return true;
}

bool readPointsNode(std::istream& in, const std::string& name, std::vector<Point2>& vPointsOut) {
    TextLineReader reader(in, name);
    std::vector<Point2> vRead;
    if (!readNodeSection(reader, vRead)) return false;
    std::string line;
    if (reader.next(line)) {
        return reader.failAtLine("more lines than the " + std::to_string(vRead.size()) +
                                 " points that the header announces");
    }
    if (in.bad()) return reader.fail("cannot be read");
    vPointsOut.insert(vPointsOut.end(), vRead.begin(), vRead.end());
    return true;
}

namespace {
const int32_t FT_POINTS2 = 20;
const int32_t FT_POINTS3 = 30;
const size_t BINARY_HEADER_BYTES = 4 + 8;

bool readBytes(std::istream& in, void* p, size_t n) {
    return bool(in.read(static_cast<char*>(p), std::streamsize(n)));
}
} // namespace

bool readPointsBinary(std::istream& in, const std::string& name, std::vector<Point2>& vPointsOut) {
    TextLineReader reader(in, name);
    int32_t type = 0;
    uint64_t count = 0;
    if (!readBytes(in, &type, 4) || !readBytes(in, &count, 8)) return reader.fail("binary point file shorter than its header");
    if (type != FT_POINTS2 && type != FT_POINTS3)
        return reader.fail("neither text nor a binary point file (type " + std::to_string(type) + ", expected 20 or 30)");
    const std::string payload((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const uint64_t recordDoubles = type == FT_POINTS2 ? 2 : 3;
    const uint64_t recordBytes = recordDoubles * sizeof(double);
    if (count > payload.size() / recordBytes || payload.size() != count * recordBytes) {
        return reader.fail("binary point file (type " + std::to_string(type) + ") announces " + std::to_string(count) +
                           " points but holds " + std::to_string(payload.size()) + " bytes of coordinates");
    }
    std::vector<Point2> vRead;
    vRead.reserve(size_t(count));
    for (uint64_t k = 0; k < count; ++k) {
        double xy[2];
        std::memcpy(xy, payload.data() + k * recordBytes, sizeof xy);
        if (!std::isfinite(xy[0]) || !std::isfinite(xy[1]))
            return reader.fail("point " + std::to_string(k + 1) + " has a non-finite coordinate");
        vRead.emplace_back(xy[0], xy[1]);
    }
    vPointsOut.insert(vPointsOut.end(), vRead.begin(), vRead.end());
    return true;
}

// ---- detection --------------------------------------------------------------------------------

const char* getString(PointFileFormat format) {
    switch (format) {
    case PFF_AUTO: return "auto";
    case PFF_XY: return "xy";
    case PFF_CSV: return "csv";
    case PFF_NODE: return "node";
    case PFF_BINARY: return "binary";
    }
    return "unknown";
}

namespace {
bool endsWith(const std::string& s, const char* suffix) {
    const size_t n = std::strlen(suffix);
    if (s.size() < n) return false;
    for (size_t i = 0; i < n; ++i)
        if (std::tolower(static_cast<unsigned char>(s[s.size() - n + i])) != suffix[i]) return false;
    return true;
}
} // namespace

PointFileFormat detectPointFileFormat(const std::string& head, const std::string& name) {
    int32_t type = 0;
    if (head.size() >= BINARY_HEADER_BYTES) std::memcpy(&type, head.data(), 4);
    // Text holds no NUL byte; the type field of a binary file does.
    if (type == FT_POINTS2 || type == FT_POINTS3 || head.find('\0') != std::string::npos) return PFF_BINARY;
    if (endsWith(name, ".node")) return PFF_NODE;
    if (endsWith(name, ".csv")) return PFF_CSV;
    std::istringstream ss(head);
    TextLineReader reader(ss, name);
    std::string line;
    if (!reader.next(line)) return PFF_XY;
    if (line.find(',') != std::string::npos) return PFF_CSV;
    const std::vector<std::string> vFields = splitFields(line, ' ');
    long long v;
    bool bNodeHeader = vFields.size() == 4 && parseInteger(vFields[1], v) && v == 2;
    for (size_t i = 0; bNodeHeader && i < 4; ++i) bNodeHeader = parseInteger(vFields[i], v) && v >= 0;
    return bNodeHeader ? PFF_NODE : PFF_XY;
}

bool readPointStream(std::istream& in, const std::string& name, PointFileFormat format,
                     std::vector<Point2>& vPointsOut, PointFileFormat* pFormatOut) {
    if (format == PFF_AUTO) {
        // Detection needs the first line at least; the stream may be a pipe, so read it all.
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (in.bad()) {
            std::cout << name << ": cannot be read" << std::endl;
            return false;
        }
        std::istringstream whole(bytes);
        return readPointStream(whole, name, detectPointFileFormat(bytes.substr(0, 4096), name), vPointsOut, pFormatOut);
    }
    if (pFormatOut != nullptr) *pFormatOut = format;
    switch (format) {
    case PFF_XY: return readPointsXY(in, name, vPointsOut);
    case PFF_CSV: return readPointsCSV(in, name, vPointsOut);
    case PFF_NODE: return readPointsNode(in, name, vPointsOut);
    case PFF_BINARY: return readPointsBinary(in, name, vPointsOut);
    case PFF_AUTO: break;
    }
    std::cout << name << ": unknown point file format " << int(format) << std::endl;
    return false;
}

bool readPointFile(const char* filename, PointFileFormat format, std::vector<Point2>& vPointsOut,
                   PointFileFormat* pFormatOut) {
    if (filename == nullptr) {
        std::cout << "readPointFile: no file name" << std::endl;
        return false;
    }
    std::ifstream f(filename, std::ios::binary);
    if (!f) {
        std::cout << filename << ": cannot be opened: " << std::strerror(errno) << std::endl;
        return false;
    }
    return readPointStream(f, filename, format, vPointsOut, pFormatOut);
}

} // namespace ORBI_LUMO2D
